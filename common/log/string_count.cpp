// The one entry of the string texts that logs.
#include <algorithm>

#include "common/log/error_is.h"
#include "common/log/logger.h"
#include "common/util/string_text.h"

int StringCountLines(const char* buffer, int length, char separator) {
    const auto count = static_cast<int>(std::count(buffer, buffer + std::max(length, 0), separator));
    const ErrnoRestorer kept;
    Log() << "String: Found " << count << " lines with separator " << int{static_cast<signed char>(separator)} << ".\n";
    return count;
}
