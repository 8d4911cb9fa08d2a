#include <quill/component_log.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stddef.h>
#include <string.h>
#include <syslog.h>

#include <string>

#include "support/failing_alloc.h"
#include "support/log_daemon.h"
#include "support/private_device.h"

namespace {

using quill::test::LogDaemon;
using quill::test::without_time;

TEST(ComponentLog, EachPlaceHasItsThreshold) {
    ENTER_PRIVATE_DEVICE();
    LogDaemon daemon;
    // The two thresholds, the message's level, whether it is printed, and the priority that it is logged with, if it is.
    static constexpr int kCases[][5] = {{1, 3, 0, 1, 26},
                                        {1, 3, 1, 1, 27},
                                        {1, 3, 2, 0, 28},
                                        {1, 3, 3, 0, 29},
                                        {1, 3, 4, 0, 0},
                                        {3, 1, 3, 1, 0},
                                        {5, 5, 4, 1, 30},
                                        {5, 5, 5, 1, 31},
                                        {-1, -1, 0, 0, 0},
                                        {-1, 0, INT_MIN, 1, 26},
                                        {-1, INT_MAX, INT_MAX, 0, 31}};  // clamped to the levels that there are
    for (const auto &[stderr_level, syslog_level, level, printed, priority] : kCases) {
        SCOPED_TRACE(testing::Message() << stderr_level << ' ' << syslog_level << ' ' << level);
        LogHandle *log = CreateLog(stderr_level, syslog_level, "placed", 99, LOG_DAEMON);
        testing::internal::CaptureStderr();
        QuillLog(log, level, "%d %s", 7, "m");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), printed ? "placed: 7 m\n" : "");
        const std::string logged = "<" + std::to_string(priority) + ">placed: 7 m$";
        EXPECT_EQ(without_time(daemon.receive()), priority ? logged : "");
        DestroyLog(log);
    }
}

TEST(ComponentLog, NamesAreCutAndErrnoIsTheCallers) {
    ENTER_PRIVATE_DEVICE();
    LogDaemon daemon;
    const std::string name = "a-name-of-more-than-thirty-characters";
    LogHandle *log = CreateLog(5, 5, name.c_str(), 0, 0);
    EXPECT_EQ(offsetof(LogHandle, name), 12u);
    testing::internal::CaptureStderr();
    errno = ERANGE;
    QuillLog(log, 5, std::string("%m").c_str(), 0);  // which the compiler does not see, as it would complain

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
    quill::test::expect_failures_survived(
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
