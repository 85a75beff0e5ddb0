/* bench_bare_replace LIST: BareReplace as a program, with its log on the standard error like qvpost's. */
#include "bare_replace.h"

int main(int argc, char** argv) { return argc == 2 ? BareReplace(argv[1], 2) : 2; }
