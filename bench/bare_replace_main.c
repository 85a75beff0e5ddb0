/* bench_bare_replace [-n] LIST: BareReplace as a program, with its log on the standard error like qvpost's; with -n
 * without its stats. */
#include "bare_replace.h"

#include <string.h>

int main(int argc, char** argv) {
    const int asks = argc < 2 || strcmp(argv[1], "-n") != 0;
    return argc == (asks ? 2 : 3) ? BareReplace(argv[argc - 1], 2, asks) : 2;
}
