// Texts and symbolic names of error numbers. Stateless; any thread may call.
#pragma once

/// The text of an error number: "No error" for 0, else what strerror(3) says, also of a number that it does not know.
/// Static or thread-local storage of the C library; not to be freed. Leaves errno alone.
const char* ErrorString(int error);

/// ErrorString of errno at the moment of the call.
const char* LastErrorString();

/// The symbolic name of an error number of Linux (errno(3)): "ENOENT" for 2, "Success" for 0 and "Unknown" for a number
/// that has no name here, negative ones included. Of two names for one number the one of POSIX.1-1990 is given:
/// "EAGAIN" for 11, "EDEADLK" for 35; 95 is "ENOTSUP". Static storage.
const char* ErrorName(int error);

/// ErrorName of errno at the moment of the call.
const char* LastErrorName();
