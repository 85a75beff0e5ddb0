// A command-line option parser in the classic BSD form. Its state is in globals: one thread uses it, before others
// start. Unlike getopt(3) of the C library it never reorders the vector, ends at ANY argument that begins with two
// dashes ("--name" as well as "--"), and has no optional arguments: a letter with two colons takes one.
#pragma once

/// Index of the next argument to scan, 1 at first; that of the first operand when the scan has ended.
extern int BSDoptind;

/// 1 at first; 0 silences the two messages.
extern int BSDopterr;

/// The letter last examined, also an unknown one; 0 at first.
extern int BSDoptopt;

/// 0 at first. To scan another vector or the same again, set it to 1 and set BSDoptind; the parser clears it.
extern int BSDoptreset;

/// The argument of the option just returned, inside the vector; null at first and for an option that takes none;
/// unchanged by an error and by the end.
extern char* BSDoptarg;

/// The next option letter of argv[1..argc), as a signed byte widened to int: a letter of 0x80 or above is returned as a
/// negative number. argv[0] must exist. optstring holds the letters, each followed by ':' when it takes an argument:
/// the rest of its own word, or the next word.
///
/// Returns -1 at the end of the options (an operand, a lone "-" unless '-' is an option, a word that begins with "--",
/// the end of the vector) and for a null optstring, which changes nothing; call it again only with BSDoptreset set. An
/// unknown letter or a missing argument gives '?' and prints a line on the standard error that begins with argv[0],
/// unless BSDopterr is 0. A ':' that leads optstring silences both lines, and a missing argument then gives ':'. errno
/// is undefined afterwards.
int BSDgetopt(int argc, char* const* argv, const char* optstring);
