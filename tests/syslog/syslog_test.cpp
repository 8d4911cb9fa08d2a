#include <quill/syslog.h>

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <locale.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "support/case_file.h"
#include "support/child_process.h"
#include "support/descriptors.h"
#include "support/log_daemon.h"
#include "support/private_device.h"
#include "support/threads.h"

namespace {

using quill::test::exit_code_of;
using quill::test::kTime;
using quill::test::LogDaemon;
using quill::test::open_descriptors;
using quill::test::read_file;
using quill::test::Threads;
using quill::test::without_time;
using quill::test::write_file;
using std::string;

// The faults of the next calls of send. The last one is used first. If the list is empty, send works.
enum class Fault { kInterrupted, kFull, kShort };
constinit std::vector<Fault> *faults = nullptr;

}  // namespace

extern "C" ssize_t __real_send(int fd, const void *data, size_t size, int flags);
extern "C" ssize_t __wrap_send(int fd, const void *data, size_t size, int flags) {
    if (!faults || faults->empty()) return __real_send(fd, data, size, flags);
    const Fault fault = faults->back();
    faults->pop_back();
    if (fault == Fault::kShort) return __real_send(fd, data, std::min<size_t>(size, 3), flags);
    errno = fault == Fault::kInterrupted ? EINTR : EAGAIN;
    return -1;
}

namespace {

// Logs with formats about which the compiler would warn.
void log_unchecked(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_ERR, format, arguments);
    va_end(arguments);
}

// Returns the text in the buffer after the C library has refused the rest of a format. Some C libraries leave nothing.
string left_by_printf(const char *format, ...) {
    char left[32] = "";
    va_list arguments;
    va_start(arguments, format);
    EXPECT_EQ(vsnprintf(left, sizeof left, format, arguments), -1);
    va_end(arguments);
    return left;
}

string without_pid(string text) {
    const string pid = "[" + std::to_string(getpid()) + "]";
    if (const size_t at = text.find(pid); at != string::npos) text.replace(at, pid.size(), "[PID]");
    return text;
}
string shown(const string &record) { return without_pid(without_time(record)); }

class Syslog : public testing::Test {
protected:
    void SetUp() override { ENTER_PRIVATE_DEVICE(); }
    void TearDown() override { closelog(); }
};

// --- the mesh role; a process reads it once, so these tests run in children

// Returns whether the connection does not wait. The role file has one role at first, and another one when the
// connection is made.
int mesh_point(const char *at_first, const char *later) {
    LogDaemon daemon;
    if (at_first) write_file("/tmp/mesh_role", at_first);
    const int waits_not = exit_code_of([&] {
        openlog("role", 0, 0);
        write_file("/tmp/mesh_role", later);
        const int connection = open("/dev/null", O_RDONLY);
        close(connection);  // the lowest free one, which the connection will get
        openlog("role", LOG_NDELAY, 0);
        _exit(fcntl(connection, F_GETFL) & O_NONBLOCK ? 1 : 0);
    });
    unlink("/tmp/mesh_role");
    return waits_not;
}

// The records that arrive are in order, beginning with the first. Nothing goes to the console.
TEST_F(Syslog, AMeshPointNeverWaits) {
    write_file("/tmp/mesh_role", "1\n");
    for (const int type : {SOCK_DGRAM, SOCK_STREAM})
        EXPECT_EQ(exit_code_of([=] {
                      constexpr int kMessages = 2000;
                      alarm(30);
                      LogDaemon daemon(type);
                      openlog("mesh", LOG_CONS, 0);
                      for (int i = 0; i < kMessages; i++) syslog(LOG_ERR, "%0900d", i);
                      int received = 0;
                      for (string record; !(record = daemon.receive()).empty(); received++) {
                          ASSERT_EQ(record.size(), strlen("<427>") + kTime + strlen("mesh: ") + 900 + 1);
                          ASSERT_EQ(atoi(record.c_str() + record.size() - 5), received);
                      }
                      EXPECT_TRUE(received > 5 && received < kMessages) << received;
                      EXPECT_EQ(read_file("/dev/console"), "");
                      syslog(LOG_ERR, "room again");
                      EXPECT_EQ(shown(daemon.receive()), "<427>mesh: room again$");
                  }),
                  0);
    unlink("/tmp/mesh_role");
}

// --- one process

// Returns the record of a message on a connection of its own, for both kinds of daemon. After closelog, all settings
// must be the defaults.
string record(const char *identity, int options, int facility, int mask, int priority, const char *text) {
    std::set<string> records;
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        LogDaemon daemon(type);
        openlog(identity, options, facility);
        EXPECT_EQ(setlogmask(mask), 0xff);
        EXPECT_EQ(setlogmask(0), mask ? mask : 0xff);
        syslog(priority, "%s", text);
        records.insert(shown(daemon.receive()));
        closelog();
        __syslog_chk(LOG_ERR, 1, "%d", 7);
        EXPECT_EQ(shown(daemon.receive()), "<427>syslog: 7$") << "closelog has left something";
        closelog();
    }
    EXPECT_EQ(records.size(), 1u);
    return *records.begin();
}

string console(const char *identity, int options, const char *text) {
    write_file("/dev/console", "");
    openlog(identity, options, 0);
    syslog(LOG_ERR, "%s", text);
    closelog();
    return shown(">" + read_file("/dev/console")).substr(1);
}

string standard_error(const char *identity, int options, const char *text) {
    LogDaemon daemon;
    testing::internal::CaptureStderr();
    openlog(identity, options, 0);
    syslog(LOG_ERR, "%s", text);
    closelog();
    EXPECT_EQ(daemon.drain(), 1);
    return without_pid(testing::internal::GetCapturedStderr());
}

TEST_F(Syslog, Cases) {
    quill::test::expect_cases("syslog/syslog.cases", QUILL_CASE_FUNCTIONS(mesh_point, record, console, standard_error));
}

TEST_F(Syslog, LongMessagesAreMarkedAndCut) {
    const size_t header = strlen("<427>") + kTime + strlen("syslog: "), longest = 1022 - header;
    string text;
    while (text.size() < 2000) text += "abcdefghijklmnopqrstuvwxyz";
    for (const size_t length : {longest - 1, longest, longest + 1, text.size()}) {
        const string whole = text.substr(0, length), cut = "[truncated] " + text.substr(0, longest - 12);
        EXPECT_EQ(record(nullptr, 0, 0, 0, LOG_ERR, whole.c_str()),
                  "<427>syslog: " + (length <= longest ? whole : cut) + "$");
    }
    // A message is cut so that the line's end still fits.
    EXPECT_EQ(console("abc", LOG_CONS, text.c_str()),
              "abc: [truncated] " + text.substr(0, 1024 - 5 - 16 - 17 - 2) + "\r\n");
    EXPECT_EQ(standard_error("abc", LOG_PERROR, text.c_str()).substr(0, 19), "abc: [truncated] ab");
    // An identity that leaves no room is not written.
    const string longest_identity(959, 'i');
    EXPECT_EQ(record(longest_identity.c_str(), 0, 1016, 0, LOG_DEBUG, text.c_str()).substr(0, 983),
              "<1023>" + longest_identity + ": [truncated] abcd");
    EXPECT_EQ(record(string(960, 'i').c_str(), 0, 0, 0, LOG_ERR, "m"), "<427><BUFFER OVERRUN ATTEMPT>: m$");
}

// Formats that printf refuses after some text: a width out of range, and an argument that cannot be converted. printf
// may leave some of the text.
TEST_F(Syslog, FormatsThatPrintfRefuses) {
    LogDaemon daemon;
    setlocale(LC_ALL, "C");
    const auto expect_refused = [&](const char *format, auto argument) {
        log_unchecked(format, argument);
        EXPECT_EQ(shown(daemon.receive()), "<427>syslog: [truncated] " + left_by_printf(format, argument) + "$");
    };
    expect_refused("before %99999999999d after", 1);
    expect_refused("before %ls after", L"\x4e2d");
}

TEST_F(Syslog, ErrnoIsTheCallersBeforeAndAfter) {
    for (const bool there : {true, false}) {  // without a daemon, connecting fails in the meantime
        std::optional<LogDaemon> daemon;
        if (there) daemon.emplace();
        errno = ERANGE;
        openlog("e", LOG_CONS | LOG_NDELAY, 0);
        EXPECT_EQ(errno, ERANGE);
        log_unchecked("%m");
        EXPECT_EQ(errno, ERANGE);
        const string record = there ? daemon->receive() : read_file("/dev/console");
        EXPECT_NE(record.find(string("e: ") + strerror(ERANGE)), string::npos) << record;
        closelog();
    }
}

// The message after the second openlog is lost, and the next message connects again. This holds for both kinds of
// daemon, and with and without LOG_NDELAY.
TEST_F(Syslog, ASecondOpenlogWhileConnectedLosesOneMessage) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM})
        for (const int options : {0, LOG_NDELAY}) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", options " << options);
            LogDaemon daemon(type);
            openlog("first", options, 0);
            syslog(LOG_ERR, "1");
            EXPECT_EQ(shown(daemon.receive()), "<427>first: 1$");
            write_file("/dev/console", "");
            openlog("second", options | LOG_CONS, 0);
            syslog(LOG_ERR, "2");
            EXPECT_EQ(daemon.receive(), "");
            EXPECT_EQ(without_time(">" + read_file("/dev/console")), ">second: 2\r\n");
            syslog(LOG_ERR, "3");
            EXPECT_EQ(shown(daemon.receive()), "<427>second: 3$");
            closelog();
        }
}

TEST_F(Syslog, InterruptedAndShortSendsLoseNothing) {
    const std::vector<Fault> before = {Fault::kInterrupted, Fault::kFull, Fault::kInterrupted},
                             within = {Fault::kInterrupted, Fault::kShort, Fault::kFull, Fault::kShort, Fault::kShort};
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        LogDaemon daemon(type);
        openlog("a", LOG_CONS, 0);
        for (const auto &planned : {before, within}) {
            if (type == SOCK_DGRAM && planned == within) continue;  // a datagram goes as a whole or not at all
            std::vector<Fault> left = planned;
            faults = &left;
            syslog(LOG_ERR, "whole");
            faults = nullptr;
            EXPECT_TRUE(left.empty());
            EXPECT_EQ(shown(daemon.receive()), "<427>a: whole$");
        }
        syslog(LOG_ERR, "next");
        EXPECT_EQ(shown(daemon.receive()), "<427>a: next$");
        EXPECT_EQ(read_file("/dev/console"), "");
        closelog();
    }
}

TEST_F(Syslog, ConnectsAtOnceOnlyWhenAskedTo) {
    LogDaemon daemon(SOCK_STREAM);
    const int before = open_descriptors(), connection = open("/dev/null", O_RDONLY);
    close(connection);
    openlog("abc", 0, 0);
    EXPECT_EQ(open_descriptors(), before);
    openlog("abc", LOG_NDELAY, 0);
    EXPECT_EQ(open_descriptors(), before + 1);
    EXPECT_EQ(fcntl(connection, F_GETFD), FD_CLOEXEC);
    closelog();
    EXPECT_EQ(open_descriptors(), before);
}

volatile sig_atomic_t callers_handler_ran;

TEST_F(Syslog, TheCallersBrokenPipeHandlerIsBackAndDidNotRun) {
    struct sigaction callers = {}, now = {};
    callers.sa_handler = [](int) { callers_handler_ran = 1; };
    callers.sa_flags = SA_RESTART;
    sigaddset(&callers.sa_mask, SIGUSR1);
    ASSERT_EQ(sigaction(SIGPIPE, &callers, nullptr), 0);
    for (int round = 0; round < 3; round++) {
        {
            LogDaemon daemon(SOCK_STREAM);
            syslog(LOG_ERR, "m");
            EXPECT_EQ(daemon.drain(), 1);
        }
        syslog(LOG_ERR, "into a stream without a reader");
        ASSERT_EQ(sigaction(SIGPIPE, nullptr, &now), 0);
        EXPECT_EQ(now.sa_handler, callers.sa_handler);
        EXPECT_EQ(now.sa_flags & SA_RESTART, SA_RESTART);
        EXPECT_EQ(sigismember(&now.sa_mask, SIGUSR1), 1);
    }
    EXPECT_EQ(callers_handler_ran, 0);

    // Standard error is a pipe without a reader. The signal closes the connection while its thread has the lock, and
    // the message goes to the console.
    LogDaemon daemon;
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    close(pipe_ends[0]);
    const int old_stderr = dup(STDERR_FILENO);
    dup2(pipe_ends[1], STDERR_FILENO);
    close(pipe_ends[1]);
    openlog("broken", LOG_PERROR | LOG_CONS, 0);
    syslog(LOG_ERR, "m");
    dup2(old_stderr, STDERR_FILENO);
    close(old_stderr);
    EXPECT_EQ(callers_handler_ran, 0);
    EXPECT_EQ(daemon.receive(), "");
    EXPECT_EQ(without_time(">" + read_file("/dev/console")), ">broken: m\r\n");
}

// A thread that does not log gets a broken pipe while another thread waits for the daemon. The first thread continues
// at once, and the connection is made again afterwards.
TEST_F(Syslog, AnotherThreadsBrokenPipeDoesNotWaitForTheDaemon) {
    alarm(30);
    LogDaemon daemon;
    std::atomic<bool> through = false;
    std::thread logger([&] {
        for (int n = 0; n < 100; n++) syslog(LOG_ERR, "m");  // more than the daemon's queue holds
        through = true;
    });
    usleep(50'000);
    ASSERT_FALSE(through);
    raise(SIGPIPE);
    while (!through) daemon.receive(1);
    logger.join();
    daemon.drain();
    syslog(LOG_ERR, "after");
    EXPECT_EQ(shown(daemon.receive()), "<427>syslog: after$");
    alarm(0);
}

TEST_F(Syslog, TheTimeIsLocalAndMovesOn) {
    LogDaemon daemon;
    std::vector<string> stamps;
    for (const char *zone : {"AAA-5:30", "BBB+7"}) {
        setenv("TZ", zone, 1);
        const time_t before = time(nullptr);
        while (time(nullptr) == before) usleep(10'000);  // the time zone is checked once a second
        syslog(LOG_ERR, "m");
        stamps.push_back(daemon.receive().substr(5, 15));
        const time_t now = time(nullptr), earlier = now - 1;
        const string text = string(ctime(&now)).substr(4, 15);
        EXPECT_TRUE(stamps.back() == text || stamps.back() == string(ctime(&earlier)).substr(4, 15)) << zone;
    }
    EXPECT_NE(stamps[0].substr(7, 5), stamps[1].substr(7, 5));
}

TEST_F(Syslog, TheConnectionIsNotAStandardDescriptor) {
    LogDaemon daemon;
    const int old_stderr = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    openlog("abc", LOG_PERROR, 0);
    syslog(LOG_ERR, "m");
    dup2(old_stderr, STDERR_FILENO);
    close(old_stderr);
    EXPECT_EQ(shown(daemon.receive()), "<427>abc: m$");
    EXPECT_EQ(daemon.receive(), "");
}

TEST_F(Syslog, ADescriptorThatTheProgramHasClosedAndReusedIsLeftAlone) {
    LogDaemon daemon;
    const int before = open("/dev/null", O_RDONLY);
    close(before);  // the lowest free one, which the connection will get
    syslog(LOG_ERR, "1");
    daemon.drain();
    close(before);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends), 0);
    ASSERT_EQ(ends[0], before);
    syslog(LOG_ERR, "lost");
    char byte;
    EXPECT_EQ(read(ends[1], &byte, 1), -1);
    EXPECT_EQ(write(before, "x", 1), 1) << "closed";
    syslog(LOG_ERR, "2");
    EXPECT_EQ(shown(daemon.receive()), "<427>syslog: 2$");
    for (const int end : ends) close(end);
}

// Children are forked while other threads are logging. Each child must be able to log, and must have the program's own
// action for a broken pipe.
TEST_F(Syslog, AChildOfAThreadedProcessMayLog) {
    signal(SIGPIPE, SIG_IGN);
    LogDaemon daemon;
    openlog("threads", LOG_NDELAY, 0);
    std::atomic<bool> stop = false;
    Threads threads(3, [&](int) {
        for (; !stop; usleep(50)) syslog(LOG_ERR, "parent");
    });
    std::atomic<int> children_heard = 0;
    std::thread reader([&] {
        for (;;) {
            const bool last = stop;
            const string record = daemon.receive(10);
            if (record.empty() && last) return;
            children_heard += record.find("child") != string::npos;
        }
    });
    constexpr int kChildren = 100;
    int good = 0;
    for (int i = 0; i < kChildren; i++) {
        good += exit_code_of([] {
                    alarm(30);
                    struct sigaction action;
                    EXPECT_TRUE(sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_IGN);
                    syslog(LOG_ERR, "child");
                }) == 0;
    }
    stop = true;
    threads.join();
    reader.join();
    struct sigaction now;
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, SIG_IGN) << "exchanged by threads within each other's";
    EXPECT_EQ(good, kChildren);
    EXPECT_EQ(children_heard, kChildren);
}

TEST_F(Syslog, ACancelledThreadDoesNotKeepTheLock) {
    alarm(60);  // ends the test if the thread keeps the lock
    for (int i = 0; i < 50; i++) {
        LogDaemon daemon;
        pthread_t thread;
        ASSERT_EQ(pthread_create(
                      &thread, nullptr,
                      [](void *) -> void * {
                          for (;;) {
                              syslog(LOG_ERR, "m");
                              pthread_testcancel();
                          }
                      },
                      nullptr),
                  0);
        while (daemon.drain() == 0) usleep(100);
        pthread_cancel(thread);
        while (pthread_tryjoin_np(thread, nullptr) != 0) daemon.drain();
        daemon.drain();
        syslog(LOG_ERR, "after");
        EXPECT_EQ(shown(daemon.receive()), "<427>syslog: after$");
        closelog();
    }
    alarm(0);
}

}  // namespace
