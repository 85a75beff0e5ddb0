// Option strings: key=value,key=value texts. A value carries ',', '=' and ' ' as the control bytes 30, 29 and 31.
// Stateless; any thread may call; nothing logs, none but OptionParseNumber touches errno. Texts are not null unless an
// entry says so; lengths are in bytes without the NUL.
#pragma once
#include <cstdint>

/// Replaces in place every ',' by byte 30, '=' by 29 and ' ' by 31.
void OptionEscape(char* text);

/// The reverse of OptionEscape. A text that held one of the three bytes before it was escaped does not come back as it
/// was.
void OptionUnescape(char* text);

/// 1 when value is not null, holds neither '=' nor ',', and is shorter than limit bytes; else -1. Limit 0 stands for
/// 1024, UINT32_MAX (-1) for no limit.
int OptionCheckValue(const char* value, uint32_t limit);

/// 1 when key passes OptionCheckValue with limit 0 and value passes it with limit, else -1. Either may be null.
int OptionCheckPair(const char* key, const char* value, uint32_t limit);

/// The decimal number that text begins with, at most 2147483647; -1 when it does not begin with a digit.
/// What follows the digits is ignored. errno: ERANGE for a number that no long holds.
int OptionParseNumber(const char* text);

/// 1 when text begins with name and then ends or continues with ',', else 0. A name that holds a ',' never matches.
int OptionMatchName(const char* text, const char* name);

/// StringReplacePrefix, but 0 and no change when prefix or replacement is null or empty.
int OptionReplacePrefix(char** string, const char* prefix, const char* replacement);

/// Replaces prefix at the start of the owned string (string_owned.h) by replacement, in a new block. Returns 1, or 0
/// with the string unchanged when it does not begin with prefix. None may be null.
int StringReplacePrefix(char** string, const char* prefix, const char* replacement);
