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

struct Text {
    char* at;
    size_t length;
};

static char prefix[64];
static size_t prefixLength;
static struct Text directory; /* that was read last */

static char* Put(char* out, const char* text, size_t length) { return (char*)memcpy(out, text, length) + length; }

#define PUT(out, literal) Put(out, literal, sizeof(literal) - 1)

static int Write(const char* text, const char* end) { return write(2, text, (size_t)(end - text)) == -1; }

static int Rename(struct Text from, struct Text to) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Renaming '");
    end = Put(end, from.at, from.length);
    end = PUT(end, "' as '");
    end = Put(end, to.at, to.length);
    end = PUT(end, "'.\n");
    return Write(text, end) || rename(from.at, to.at) != 0;
}

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

static int ReadDirectory(const char* path, size_t length) {
    if (directory.length == length && memcmp(directory.at, path, length) == 0) return 0;
    char name[1024];
    *Put(name, path, length) = '\0';
    DIR* stream = opendir(name);
    if (stream == NULL) return 1;
    while (readdir(stream) != NULL) continue;
    directory = (struct Text){(char*)path, length};
    return closedir(stream);
}

static int Line(int stats, struct Text line, struct Text* kept) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Parsing update line '");
    end = Put(end, line.at, line.length);
    end = PUT(end, "\n'.\n");
    if (Write(text, end)) return 1;

    const size_t key = sizeof("source=") - 1, second = sizeof(",destination=") - 1;
    char* comma = memchr(line.at, ',', line.length);
    if (comma == NULL) return 1;
    *comma = '\0';
    const struct Text source = {line.at + key, (size_t)(comma - line.at) - key};
    const struct Text destination = {comma + second, line.length - key - source.length - second};

    char name[1024];
    end = Put(name, destination.at, destination.length);
    end = PUT(end, ".temporary");
    *end = '\0';
    const struct Text backup = {name, (size_t)(end - name)};
    const size_t length = (size_t)(strrchr(destination.at, '/') - destination.at);
    if (stats ? StatLeftovers(destination.at, name, end) : ReadDirectory(destination.at, length)) return 1;
    *kept = destination;
    return Rename(destination, backup) || Rename(source, destination);
}

static int Remove(struct Text destination) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Removing '");
    char* name = end;
    end = Put(end, destination.at, destination.length);
    end = PUT(end, ".temporary");
    char* nameEnd = end;
    end = PUT(end, "'.\n");
    if (Write(text, end)) return 1;
    *nameEnd = '\0';
    return unlink(name);
}

int main(int argc, char** argv) {
    const int stats = argc == 2;
    const char* list = argv[argc - 1];
    const int file = open(list, O_RDONLY | O_CLOEXEC);
    struct stat record;
    if (file == -1 || fstat(file, &record) != 0) return 1;
    const size_t size = (size_t)record.st_size;
    char* text = malloc(size + 1);
    if (text == NULL || read(file, text, size) != (ssize_t)size) return 1;
    text[size] = '\0';
    prefixLength = (size_t)snprintf(prefix, sizeof prefix, "%d %d 00:00:00 000.000 ", (int)getpid(), (int)getpid());

    struct Text* kept = NULL;
    size_t capacity = 0, count = 0;
    for (char *at = text, *newline; (newline = strchr(at, '\n')) != NULL; at = newline + 1) {
        *newline = '\0';
        if (count == capacity) kept = realloc(kept, (capacity = 2 * capacity + 1024) * sizeof *kept);
        if (kept == NULL || Line(stats, (struct Text){at, (size_t)(newline - at)}, &kept[count++])) return 1;
    }
    unlink(list);
    for (size_t i = 0; i < count; ++i) {
        if (Remove(kept[i])) return 1;
    }
    return 0;
}
