#include "common/log/log_direct.h"
#include "common/util/mutex.h"

void Mutex::ReportFailure(const char* what) {
    LogDirectPrefix() << "Mutex: ERROR! Failed to " << what << " the mutex.\n";
    LogDirectPrefix() << "Failed to " << what << " the mutex.\n";
}
