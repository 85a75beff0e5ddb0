// Owned C strings: a char* field that is null or points to a new[] block with a NUL-terminated text, owned by its
// record and freed with delete[]. Operations take the address of the field. Two threads must not work on one owned
// string at once; different strings are independent. They fail only by std::bad_alloc and leave errno alone. A source
// text may lie inside the string that it replaces or extends.
#pragma once

/// The text, or "nil" for null: what a log line shows of a text that may be missing.
inline const char* StringOrNil(const char* text) { return text != nullptr ? text : "nil"; }

/// Replaces *dst by a copy of src (null: by null) and frees the old text. The same pointer twice changes nothing.
void StringSet(char** dst, const char* src);

/// Sets a field that holds no value yet to a copy of src, or to null. The old content is not freed.
void StringInit(char** dst, const char* src);

/// A new copy of src that the caller owns; null for null.
char* StringCopy(const char* src);

/// Frees *dst and sets it to null; null stays null.
void StringReset(char** dst);

/// Appends up to four texts to *dst, in this order; null texts are skipped, a null *dst counts as empty. When all is
/// empty, *dst stays as it is (null stays null); otherwise *dst is a new block, also where nothing was added to a text.
void StringAdd(char** dst, const char* a, const char* b, const char* c, const char* d);

/// Appends count raw bytes, which may lack a NUL, and terminates the result. Null bytes or a count of 0 or less change
/// nothing; a null *dst counts as empty.
void StringAddBytes(char** dst, const char* bytes, int count);

/// Sets *dst to a new block of size bytes (at least 1) that holds the empty text. The old value is not freed.
void StringAllocate(char** dst, int size);

/// StringAllocate with the fixed line size of 1024 bytes.
void StringAllocateLine(char** dst);

/// StringAllocateLine, then a copy of at most 1023 characters of src; null leaves the text empty.
void StringInitLine(char** dst, const char* src);

/// Sets *dst, without freeing it, to a new block of count + 1 bytes with at most count characters of src, filled up
/// with NULs; to null for a null src. A negative count counts as 0.
void StringInitPart(char** dst, const char* src, int count);

/// What StringInitPart would store; the caller owns it.
char* StringCopyPart(const char* src, int count);

/// Replaces every occurrence of pattern in *text, from left to right and without overlap, and returns their number;
/// with 0 *text stays the same block. No argument may be null, pattern may not be empty.
int StringReplaceAll(char** text, const char* pattern, const char* replacement);
