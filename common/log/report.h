// Uniform reports of a programming or state error inside a method of some class. Each writes two lines, on the ordinary
// stream and on the level stream, for instance
//
//     Socket: ERROR! Bad value '7' in method 'Socket::setOption()' context [level].
//     Error: Bad value '7' in method 'Socket::setOption()' context [level].
//
// and then leaves the number named here in errno, for the method to return its failure value. className, method
// (without parentheses) and context are texts, not null: a null text would put the stream into its failed state, and
// with it every later line that goes there. Pointers are written in hexadecimal, a null pointer as 0. errno is set
// while the Logger is off, too. Any thread may call; another thread's line can fall between the two.
#pragma once

/// "Bad value '<value>' in method …". errno EINVAL.
void ReportBadValue(const char* className, int value, const char* method, const char* context);
void ReportBadValue(const char* className, const void* value, const char* method, const char* context);
void ReportBadValue(const char* className, const char* value, const char* method, const char* context);

/// "Bad value '<value>' for type '<type>' in method …". errno EINVAL.
void ReportBadValueForType(const char* className, int type, int value, const char* method, const char* context);

/// "Bad pointer '<pointer>' in method …". errno EINVAL.
void ReportBadPointer(const char* className, const void* pointer, const char* method, const char* context);

/// "Operation not permitted in method …". errno EPERM.
void ReportNotPermitted(const char* className, const char* method, const char* context);

/// "Not implemented in method …", with a value "… context [<context>] value '<value>'." errno ENOSYS.
void ReportNotImplemented(const char* className, const char* method, const char* context);
void ReportNotImplemented(const char* className, int value, const char* method, const char* context);
void ReportNotImplemented(const char* className, const void* value, const char* method, const char* context);

/// "Memory allocation failed in method …". errno ENOMEM.
void ReportNoMemory(const char* className, const char* method, const char* context);

/// "Invalid state for object in method …". errno EACCES.
void ReportInvalidState(const char* className, const char* method, const char* context);

/// "Bad descriptor state in method …". errno EBADF.
void ReportBadDescriptorState(const char* className, const char* method, const char* context);

/// "Buffer not found in method …". errno ENXIO.
void ReportBufferNotFound(const char* className, const char* method, const char* context);

/// "Invalid buffer owner in method …". errno EDEADLK.
void ReportInvalidBufferOwner(const char* className, const char* method, const char* context);

/// "Bad event '<event>' in method …". errno EBADE.
void ReportBadEvent(const char* className, const char* event, const char* method, const char* context);

/// "Invalid operation for type '<type>' in method …". errno EOPNOTSUPP.
void ReportInvalidTypeOperation(const char* className, const char* type, const char* method, const char* context);

/// "Invalid operation for proto '<proto>' in method …". errno EPROTO.
void ReportInvalidProtoOperation(const char* className, const char* proto, const char* method, const char* context);
