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
    const struct {
        int stderr_level, syslog_level, level;
        const char *printed, *logged;
    } cases[] = {
        {1, 3, 0, "placed: 7 m\n", "<26>placed: 7 m$"},
        {1, 3, 1, "placed: 7 m\n", "<27>placed: 7 m$"},
        {1, 3, 2, "", "<28>placed: 7 m$"},
        {1, 3, 3, "", "<29>placed: 7 m$"},
        {3, 1, 3, "placed: 7 m\n", ""},
        {1, 3, 4, "", ""},
        {5, 5, 4, "placed: 7 m\n", "<30>placed: 7 m$"},
        {5, 5, 5, "placed: 7 m\n", "<31>placed: 7 m$"},
        {-1, -1, 0, "", ""},
        {-1, 0, INT_MIN, "placed: 7 m\n", "<26>placed: 7 m$"},  // clamped to the levels that there are
        {-1, INT_MAX, 6, "", "<31>placed: 7 m$"},
        {-1, INT_MAX, INT_MAX, "", "<31>placed: 7 m$"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.stderr_level << ' ' << c.syslog_level << ' ' << c.level);
        LogHandle *log = CreateLog(c.stderr_level, c.syslog_level, "placed", 99, LOG_DAEMON);
        ASSERT_TRUE(log);
        testing::internal::CaptureStderr();
        QuillLog(log, c.level, "%d %s", 7, "m");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.printed);
        EXPECT_EQ(without_time(daemon.receive()), c.logged);
        DestroyLog(log);
    }
}

TEST(ComponentLog, NamesAreCutAndErrnoIsTheCallers) {
    ENTER_PRIVATE_DEVICE();
    LogDaemon daemon;
    const std::string name = "a-name-of-more-than-thirty-characters";
    LogHandle *log = CreateLog(5, 5, name.c_str(), 0, 0);
    ASSERT_TRUE(log);
    EXPECT_EQ(offsetof(LogHandle, name), 12u);
    testing::internal::CaptureStderr();
    QuillLog(log, 5, "%s", "");
    errno = ERANGE;
    QuillLog(log, 5, std::string("%m").c_str(), 0);  // which the compiler does not see, as it would complain

    EXPECT_EQ(errno, ERANGE);
    const std::string start = name.substr(0, 30) + ": ";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), start + "\n" + start + strerror(ERANGE) + "\n");
    EXPECT_EQ(without_time(daemon.receive()), "<431>" + name + ": $");
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
