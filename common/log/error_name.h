// Texts and symbolic names of error numbers. Stateless; any thread may call.
#pragma once

/// The text of an error number: "No error" for 0, else the text of strerror(3), also for an unknown number. Static or
/// thread-local storage of the C library; not to be freed. Leaves errno alone.
const char* ErrorString(int error);

/// ErrorString of errno at the moment of the call.
const char* LastErrorString();

/// The symbolic name of an error number of Linux (errno(3)): "ENOENT" for 2, "Success" for 0 and "Unknown" for a number
/// that has no name here, negative ones included. If a number has two names, the one of POSIX.1-1990 is returned:
/// "EAGAIN" for 11, "EDEADLK" for 35; 95 is "ENOTSUP". Static storage.
const char* ErrorName(int error);

/// ErrorName of errno at the moment of the call.
const char* LastErrorName();
