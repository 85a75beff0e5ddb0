#include "common/log/report.h"

#include <gtest/gtest.h>

#include "common/log/logger.h"
#include "tests/support/scopes.h"

namespace {

TEST(Report, WritesTwoLinesAndLeavesTheErrorNumber) {
    const void* const place = reinterpret_cast<const void*>(0x1f);
    const struct {
        std::function<void()> report;
        int error;
        const char *opening, *ending = "";
    } rows[] = {{[=] { ReportBadValue("C", place, "m", "x"); }, EINVAL, "Bad value '0x1f'"},
                {[] { ReportBadValue("C", "text", "m", "x"); }, EINVAL, "Bad value 'text'"},
                {[] { ReportNotImplemented("C", 5, "m", "x"); }, ENOSYS, "Not implemented", " value '5'"},
                {[] { ReportInvalidProtoOperation("C", "p", "m", "x"); }, EPROTO, "Invalid operation for proto 'p'"}};
    for (const auto& row : rows) {
        for (const int mode : {0, 1}) {
            const LogCapture log;
            logger_.mode_ = mode;
            row.report();
            EXPECT_EQ(errno, row.error);
            const std::string line = std::string(row.opening) + " in method 'C::m()' context [x]" + row.ending + ".\n";
            EXPECT_EQ(log.Text(), mode == 0 ? "" : "@ C: ERROR! " + line + "Error: " + line);
        }
    }
}

}  // namespace
