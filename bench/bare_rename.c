/* bare_rename FILE: renames files; each two lines of FILE are a name and the new one. What mending an update costs at
   least. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int next_name(FILE* names, char** name, size_t* size) {
    if (getline(name, size, names) == -1) return 0;
    (*name)[strcspn(*name, "\n")] = '\0';
    return 1;
}

int main(int argc, char** argv) {
    FILE* const names = argc == 2 ? fopen(argv[1], "r") : NULL;
    if (names == NULL) return EXIT_FAILURE;
    char *from = NULL, *to = NULL;
    size_t from_size = 0, to_size = 0;
    while (next_name(names, &from, &from_size) && next_name(names, &to, &to_size)) {
        if (rename(from, to) != 0) {
            perror(from);
            return EXIT_FAILURE;
        }
    }
    free(from);
    free(to);
    fclose(names);
    return EXIT_SUCCESS;
}
