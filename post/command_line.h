// The command line.
#pragma once

/// The options of qvpost, as BSDgetopt takes them.
inline constexpr char kPostMainOptions[] = "f:s:c:p:v:ri";

/// Reads the options into PostData and logs each. What isn't right ends the run (action "init", error EINVAL).
void PostMainReadOptions(int argc, char** argv);

/// The value of an option isn't right: says so and takes the exit path.
[[noreturn]] void PostMainBadOption(char letter, const char* value);
