// The files below a folder.
#pragma once
#include <functional>
#include <string>

/// Gives visit the name of every regular file and symbolic link below a folder, relative to it, in the byte order of
/// these names. prefix is the folder with its slash. False, said on the standard error, when a folder can't be read or
/// holds something else: a device, a socket or a pipe is nothing that an update brings.
bool TreeWalk(const std::string& prefix, const std::function<void(const std::string& name)>& visit);
