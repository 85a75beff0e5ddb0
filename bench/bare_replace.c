#include "bare_replace.h"

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
static struct Text folder; /* that was looked at last */

static char* Put(char* out, const char* text, size_t length) { return (char*)memcpy(out, text, length) + length; }

#define PUT(out, literal) Put(out, literal, sizeof(literal) - 1)

static int Write(int log, const char* text, const char* end) { return write(log, text, (size_t)(end - text)) == -1; }

static int Rename(int log, struct Text from, struct Text to) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Renaming '");
    end = Put(end, from.at, from.length);
    end = PUT(end, "' as '");
    end = Put(end, to.at, to.length);
    end = PUT(end, "'.\n");
    return Write(log, text, end) || rename(from.at, to.at) != 0;
}

/* Whether a leftover is in the way of the backup whose name ends at end and has room for a digit. */
static int LeftoverIsThere(const char* destination, char* name, char* end) {
    struct stat record;
    if (stat(name, &record) == 0) return 1;
    end[1] = '\0';
    for (char digit = '1'; digit <= '9'; ++digit) {
        *end = digit;
        if (stat(name, &record) == 0) return 1;
    }
    *end = '\0';
    return stat(destination, &record) != 0 || stat(name, &record) == 0;
}

/* Reads the names of the folder that a path lies in. */
static int Look(const char* path, size_t length) {
    char name[1024];
    *Put(name, path, length) = '\0';
    DIR* names = opendir(name);
    if (names == NULL) return 1;
    while (readdir(names) != NULL) continue;
    return closedir(names);
}

static int Line(int log, int asks, struct Text line, struct Text* kept) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Parsing update line '");
    end = Put(end, line.at, line.length);
    end = PUT(end, "\n'.\n");
    if (Write(log, text, end)) return 1;

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
    if (asks) {
        if (LeftoverIsThere(destination.at, name, end)) return 1;
    } else if (folder.length != length || memcmp(folder.at, destination.at, length) != 0) {
        if (Look(destination.at, length)) return 1;
        folder = (struct Text){destination.at, length};
    }
    if (Rename(log, destination, backup) || Rename(log, source, destination)) return 1;
    *kept = destination;
    return 0;
}

static int Remove(int log, struct Text destination) {
    char text[4096];
    char* end = Put(text, prefix, prefixLength);
    end = PUT(end, "PostMain: Removing '");
    char* name = end;
    end = Put(end, destination.at, destination.length);
    end = PUT(end, ".temporary");
    char* nameEnd = end;
    end = PUT(end, "'.\n");
    if (Write(log, text, end)) return 1;
    *nameEnd = '\0';
    return unlink(name);
}

int BareReplace(const char* list, int log, int asks) {
    prefixLength = (size_t)snprintf(prefix, sizeof prefix, "%d %d 00:00:00 000.000 ", (int)getpid(), (int)getpid());
    folder = (struct Text){NULL, 0};
    const int file = open(list, O_RDONLY | O_CLOEXEC);
    struct stat record;
    if (file == -1 || fstat(file, &record) != 0) return 1;
    const size_t size = (size_t)record.st_size;
    char* text = malloc(size + 1);
    if (text == NULL || read(file, text, size) != (ssize_t)size) return 1;
    text[size] = '\0';
    close(file);

    size_t capacity = 1024, count = 0;
    struct Text* kept = malloc(capacity * sizeof *kept);
    int failed = kept == NULL;
    for (char* at = text; !failed && *at != '\0';) {
        char* newline = strchr(at, '\n');
        if (newline == NULL) break;
        *newline = '\0';
        if (count == capacity) {
            capacity *= 2;
            struct Text* grown = realloc(kept, capacity * sizeof *kept);
            if (grown == NULL) {
                failed = 1;
                break;
            }
            kept = grown;
        }
        const struct Text line = {at, (size_t)(newline - at)};
        failed = Line(log, asks, line, &kept[count++]);
        at = newline + 1;
    }
    unlink(list);
    for (size_t i = 0; !failed && i < count; ++i) failed = Remove(log, kept[i]);
    free(kept);
    free(text);
    return failed;
}
