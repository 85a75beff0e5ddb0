// The three standard descriptors of a program that starts.
#pragma once

/// Opens each closed one of the descriptors 0, 1 and 2 on /dev/null, or on "/" if that device is missing. Otherwise the
/// next file or socket would get the number and receive the output. Call it first, on the only thread. errno may
/// change.
void SanitizeStandardStreams();
