/* bench_bare_replace [-n] LIST: works through an update list (no escapes) with the system calls of a replacement and
 * nothing else. Each line takes 2 renames, 4 writes of texts as long as those of qvpost, and 1 unlink. Before the
 * renames it stats the names of the ten leftovers, the destination and the backup; with -n it reads the names of each
 * directory once instead, for all consecutive lines in it. The list is deleted. */
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define LENGTH(literal) (sizeof(literal) - 1)

static size_t prefix; /* the length of what stands before each text */

static int Write(size_t length) {
    static const char text[8192];
    return write(2, text, prefix + length) == -1;
}

static int Rename(const char* from, const char* to) {
    return Write(LENGTH("Renaming '' as ''.\n") + strlen(from) + strlen(to)) || rename(from, to) != 0;
}

/* Writes the name of the backup, and returns its end. */
static char* Backup(char* name, const char* destination) { return stpcpy(stpcpy(name, destination), ".temporary"); }

/* The name of the backup ends at end and has room for a digit. */
static int StatLeftovers(const char* destination, char* name, char* end) {
    struct stat record;
    if (stat(name, &record) == 0) return 1;
    end[1] = '\0';
    for (*end = '1'; *end <= '9'; ++*end) {
        if (stat(name, &record) == 0) return 1;
    }
    *end = '\0';
    return stat(destination, &record) != 0 || stat(name, &record) == 0;
}

/* Reads the directory of a file, unless it was read last. */
static int ReadDirectory(const char* file) {
    static char last[1024];
    const size_t length = (size_t)(strrchr(file, '/') - file);
    if (strncmp(last, file, length) == 0 && last[length] == '\0') return 0;
    *(char*)mempcpy(last, file, length) = '\0';
    DIR* stream = opendir(last);
    if (stream == NULL) return 1;
    while (readdir(stream) != NULL) continue;
    return closedir(stream);
}

static int Replace(int stats, const char* source, const char* destination) {
    char name[1024];
    char* end = Backup(name, destination);
    if (stats ? StatLeftovers(destination, name, end) : ReadDirectory(destination)) return 1;
    return Rename(destination, name) || Rename(source, destination);
}

int main(int argc, char** argv) {
    const char* list = argv[argc - 1];
    const int file = open(list, O_RDONLY | O_CLOEXEC);
    struct stat record;
    if (file == -1 || fstat(file, &record) != 0) return 1;
    const size_t size = (size_t)record.st_size;
    char* text = calloc(size + 1, 1);
    char** kept = malloc(size); /* a pointer is shorter than a line */
    if (text == NULL || kept == NULL || read(file, text, size) != (ssize_t)size) return 1;
    prefix = (size_t)snprintf(NULL, 0, "%d %d 00:00:00 000.000 PostMain: ", (int)getpid(), (int)getpid());

    size_t count = 0;
    for (char *at = text, *newline; (newline = strchr(at, '\n')) != NULL; at = newline + 1) {
        if (Write(LENGTH("Parsing update line '\n'.\n") + (size_t)(newline - at))) return 1;
        char* comma = memchr(at, ',', (size_t)(newline - at));
        if (comma == NULL) return 1;
        *comma = *newline = '\0';
        kept[count++] = comma + LENGTH(",destination=");
        if (Replace(argc == 2, at + LENGTH("source="), kept[count - 1])) return 1;
    }
    unlink(list);
    for (size_t i = 0; i < count; ++i) {
        char name[1024];
        if (Write(LENGTH("Removing ''.\n") + (size_t)(Backup(name, kept[i]) - name)) || unlink(name) != 0) return 1;
    }
    return 0;
}
