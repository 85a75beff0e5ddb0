// The three standard descriptors of a program that starts.
#pragma once

/// Opens each of the descriptors 0, 1 and 2 that is closed on /dev/null, or on "/" where there is no such device. The
/// next file or socket would get its number otherwise, and what is printed would go there. Call it first, on the only
/// thread. errno is not kept.
void SanitizeStandardStreams();
