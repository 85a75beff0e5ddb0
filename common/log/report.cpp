#include "common/log/report.h"

#include <cerrno>
#include <sstream>
#include <string>

#include "common/log/logger.h"

namespace {

struct Site {
    const char *className, *method, *context;
    std::string ending = {};  // after the context
};

template <class... Opening>
void Report(int error, const Site& site, Opening... opening) {
    const auto write = [&](std::ostream& out) {
        (out << ... << opening) << " in method '" << site.className << "::" << site.method << "()' context ["
                                << site.context << "]" << site.ending << ".\n";
    };
    write(Log() << site.className << ": ERROR! ");
    write(LogError());
    errno = error;
}

template <class Value>
void ReportNotImplementedValue(const char* className, const char* method, const char* context, Value value) {
    std::ostringstream ending;
    ending << " value '" << value << "'";
    Report(ENOSYS, {className, method, context, ending.str()}, "Not implemented");
}

}  // namespace

void ReportBadValue(const char* className, int value, const char* method, const char* context) {
    Report(EINVAL, {className, method, context}, "Bad value '", value, "'");
}

void ReportBadValue(const char* className, const void* value, const char* method, const char* context) {
    Report(EINVAL, {className, method, context}, "Bad value '", value, "'");
}

void ReportBadValue(const char* className, const char* value, const char* method, const char* context) {
    Report(EINVAL, {className, method, context}, "Bad value '", value, "'");
}

void ReportBadValueForType(const char* className, int type, int value, const char* method, const char* context) {
    Report(EINVAL, {className, method, context}, "Bad value '", value, "' for type '", type, "'");
}

void ReportBadPointer(const char* className, const void* pointer, const char* method, const char* context) {
    Report(EINVAL, {className, method, context}, "Bad pointer '", pointer, "'");
}

void ReportNotPermitted(const char* className, const char* method, const char* context) {
    Report(EPERM, {className, method, context}, "Operation not permitted");
}

void ReportNotImplemented(const char* className, const char* method, const char* context) {
    Report(ENOSYS, {className, method, context}, "Not implemented");
}

void ReportNotImplemented(const char* className, int value, const char* method, const char* context) {
    ReportNotImplementedValue(className, method, context, value);
}

void ReportNotImplemented(const char* className, const void* value, const char* method, const char* context) {
    ReportNotImplementedValue(className, method, context, value);
}

void ReportNoMemory(const char* className, const char* method, const char* context) {
    Report(ENOMEM, {className, method, context}, "Memory allocation failed");
}

void ReportInvalidState(const char* className, const char* method, const char* context) {
    Report(EACCES, {className, method, context}, "Invalid state for object");
}

void ReportBadDescriptorState(const char* className, const char* method, const char* context) {
    Report(EBADF, {className, method, context}, "Bad descriptor state");
}

void ReportBufferNotFound(const char* className, const char* method, const char* context) {
    Report(ENXIO, {className, method, context}, "Buffer not found");
}

void ReportInvalidBufferOwner(const char* className, const char* method, const char* context) {
    Report(EDEADLK, {className, method, context}, "Invalid buffer owner");
}

void ReportBadEvent(const char* className, const char* event, const char* method, const char* context) {
    Report(EBADE, {className, method, context}, "Bad event '", event, "'");
}

void ReportInvalidTypeOperation(const char* className, const char* type, const char* method, const char* context) {
    Report(EOPNOTSUPP, {className, method, context}, "Invalid operation for type '", type, "'");
}

void ReportInvalidProtoOperation(const char* className, const char* proto, const char* method, const char* context) {
    Report(EPROTO, {className, method, context}, "Invalid operation for proto '", proto, "'");
}
