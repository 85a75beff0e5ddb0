// The command line.
#pragma once

/// The options of qvpost, in the form of BSDgetopt.
inline constexpr char kPostMainOptions[] = "f:s:c:p:v:ri";

/// Reads the options into PostData and logs each. An invalid option ends the run (action "init", error EINVAL).
void PostMainReadOptions(int argc, char** argv);

/// Reports an invalid value of an option and takes the exit path.
[[noreturn]] void PostMainBadOption(char letter, const char* value);
