// Tests and conversions of texts. Stateless; any thread may call. Texts are non-null unless an entry says otherwise;
// none touches errno.
#pragma once
#include <cstdint>

/// text when it begins with prefix (an empty prefix always matches), else null.
const char* StringStartsWith(const char* text, const char* prefix);

/// The position in text where suffix begins, when text ends with it; else null.
const char* StringEndsWith(const char* text, const char* suffix);

/// Ends text at its first byte that is neither printable ASCII (0x20 to 0x7E, whatever the locale) nor one of the
/// separators 0x1D, 0x1E, 0x1F that option strings carry. Returns text; null and empty texts come back unchanged.
char* StringCutUnprintable(char* text);

/// 1 when path begins with '/', else 0.
int StringIsAbsolute(const char* path);

/// 1 when path begins with "../" or holds "/../" at or behind its fourth character, else 0. This does not detect every
/// path that climbs: "a/../b", ".." and a trailing "/.." give 0.
int StringHasDotDot(const char* path);

/// Reads "a.b.c_d" with sscanf(3) and "%i" (decimal, 0 octal, 0x hexadecimal). Missing fields become -1.
/// Returns the number of fields read, or -1 for a text that is empty or all blanks.
int StringScanNumbers(const char* text, int* a, int* b, int* c, int* d);

/// The number of bytes equal to separator in the first length bytes of buffer, 0 for a length of 0 or less. Writes
/// "String: Found <count> lines with separator <its number>." on the ordinary stream.
int StringCountLines(const char* buffer, int length, char separator);

/// Writes the dotted text of an IPv4 address in network byte order into buffer, which must hold 16 bytes; returns
/// buffer.
char* StringAddressText(char* buffer, uint32_t address);

/// Replaces the owned string *dst (see string_owned.h) by a new[] block of 16 bytes with that text.
void StringSetAddress(char** dst, uint32_t address);
