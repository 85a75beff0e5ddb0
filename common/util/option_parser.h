// A command-line option parser in the classic BSD form. It keeps its place in globals: one thread uses it, before
// others start. Unlike getopt(3) of the C library it never reorders the vector, ends at ANY argument that begins with
// "--"
// ("--name" as well as "--"), and has no optional arguments: a letter with two colons simply takes one.
#pragma once

extern int BSDoptind;    ///< Index of the next argument to scan, 1 at first; the first operand when the scan has ended.
extern int BSDopterr;    ///< 1 at first; 0 silences the two messages.
extern int BSDoptopt;    ///< The letter last examined, also an unknown one.
extern int BSDoptreset;  ///< Set to 1, with BSDoptind placed, to scan another vector; the parser clears it.
extern char* BSDoptarg;  ///< The argument of the option just returned, inside the vector; null for one that takes none;
                         ///< unchanged by an error and by the end.

/// The next option letter of argv[1..argc), as a signed byte widened to int. optstring holds the letters, each followed
/// by
/// ':' when it takes an argument (the rest of its own word, or the next word).
/// Returns -1 at the end of the options (an operand, a lone "-" unless '-' is an option, a word that begins with "--",
/// the end of the vector) and for a null optstring, which changes nothing. An unknown letter gives '?', a missing
/// argument too; both print a line on the standard error that begins with argv[0], unless BSDopterr is 0. A ':' that
/// leads optstring silences both lines, and a missing argument then gives ':'. errno means nothing afterwards.
int BSDgetopt(int argc, char* const* argv, const char* optstring);
