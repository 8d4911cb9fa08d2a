#include <quill/component_log.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>
#include <syslog.h>

#include <string>

#include "support/case_file.h"
#include "support/failing_alloc.h"
#include "support/log_daemon.h"
#include "support/private_device.h"

namespace quill::test {
namespace {

// Returns the printed line and the logged record of a message, for two thresholds and a level.
std::string logs(int stderr_level, int syslog_level, int level) {
    LogDaemon daemon;
    LogHandle *log = CreateLog(stderr_level, syslog_level, "placed", 99, LOG_DAEMON);
    testing::internal::CaptureStderr();
    QuillLog(log, level, "%d %s", 7, "m");
    const std::string shown = testing::internal::GetCapturedStderr() + without_time(daemon.receive());
    DestroyLog(log);
    return shown;
}

TEST(ComponentLog, Cases) {
    ENTER_PRIVATE_DEVICE();
    expect_cases("hash/component_log.cases", QUILL_CASE_FUNCTIONS(logs));
}

TEST(ComponentLog, NamesAreCutAndErrnoIsTheCallers) {
    ENTER_PRIVATE_DEVICE();
    LogDaemon daemon;
    const std::string name = "a-name-of-more-than-thirty-characters";
    LogHandle *log = CreateLog(5, 5, name.c_str(), 0, 0);
    EXPECT_EQ(offsetof(LogHandle, name), 12u);
    testing::internal::CaptureStderr();
    errno = ERANGE;
    QuillLog(log, 5, std::string("%m").c_str(), 0);  // the format is hidden from the compiler, which would warn

    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), name.substr(0, 30) + ": " + strerror(ERANGE) + "\n");
    EXPECT_EQ(without_time(daemon.receive()), "<431>" + name + ": " + strerror(ERANGE) + "$");
    DestroyLog(log);
    DestroyLog(nullptr);
}

TEST(ComponentLog, WithoutMemoryTheSystemLogStaysAsItWas) {
    ENTER_PRIVATE_DEVICE();
    LogDaemon daemon;
    openlog("before", 0, 0);
    expect_failures_survived(
        [] {
            LogHandle *log = CreateLog(5, 5, "after", 0, 0);
            if (log) DestroyLog(log);
            return log != nullptr;
        },
        [&] {
            syslog(LOG_ERR, "m");
            EXPECT_EQ(without_time(daemon.receive()), "<427>before: m$");
        });
    closelog();
}

}  // namespace
}  // namespace quill::test
