#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/pipe.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/child_process.h"
#include "support/device_test.h"
#include "support/log_daemon.h"
#include "support/private_device.h"

namespace {

using quill::test::read_file;

std::string read_all(FILE *stream) {
    std::string text;
    for (int c; (c = fgetc(stream)) != EOF;) text += static_cast<char>(c);
    return text;
}

class Pipe : public quill::test::DeviceTest {};

TEST_F(Pipe, ReadsAndWritesAndGivesTheStatus) {
    const mode_t callers = umask(077);
    for (const int code : {0, 2, 255}) {
        int child = 0;
        FILE *const from = quill_popen_thr(("umask; exit " + std::to_string(code)).c_str(), "r", &child);
        ASSERT_TRUE(from && child > 0);
        EXPECT_EQ(fcntl(fileno(from), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(read_all(from), "0022\n");
        EXPECT_EQ(quill_pclose_thr(from, child), code << 8);

        // Sees the end, too.
        FILE *const to = quill_popen_thr(("cat >/tmp/got; exit " + std::to_string(code)).c_str(), "w", &child);
        ASSERT_TRUE(to && child > 0);
        fputs("what was written", to);
        EXPECT_EQ(quill_pclose_thr(to, child), code << 8);
        EXPECT_EQ(read_file("/tmp/got"), "what was written");

        FILE *const plain = quill_popen(("cat >/tmp/got; exit " + std::to_string(code)).c_str(), "w");
        ASSERT_TRUE(plain);
        EXPECT_EQ(quill_pclose(plain), code << 8);
    }
    EXPECT_EQ(umask(callers), 077u);
}

TEST_F(Pipe, RefusesOtherModes) {
    for (const char *mode : {"", "re", "rw", "r+", "x", "R", "w ", static_cast<const char *>(nullptr)}) {
        int child = 5;
        errno = 0;
        EXPECT_EQ(quill_popen_thr("exit 2", mode, &child), nullptr);
        EXPECT_EQ(child, -1);
        EXPECT_EQ(errno, EINVAL);
        errno = 0;
        EXPECT_EQ(quill_popen("exit 2", mode), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
}

// Its end is left open for what the program runs, and its close takes the child that ends first.
TEST_F(Pipe, ThePlainPairKeepsNoRecordOfItsChild) {
    const pid_t other = fork();
    if (other == 0) _exit(7);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT);
    FILE *const from = quill_popen("echo text; sleep 0.3; exit 3", "r");
    ASSERT_TRUE(from);
    EXPECT_EQ(fcntl(fileno(from), F_GETFD), 0);
    char line[8];
    EXPECT_STREQ(fgets(line, sizeof line, from), "text\n");
    EXPECT_EQ(quill_pclose(from), 7 << 8);
    int status;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 3 << 8);
}

TEST_F(Pipe, ClosesThatFail) {
    int child, status;
    FILE *stream = quill_popen_thr("exit 3", "r", &child);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(quill_pclose_thr(stream, child), -1) << "the child was waited for elsewhere";
    EXPECT_EQ(errno, ECHILD);

    // What is left in the stream finds no reader any more: nothing is waited for.
    const auto callers_action = signal(SIGPIPE, SIG_IGN);
    stream = quill_popen_thr("exit 4", "w", &child);
    fputs("unread", stream);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
    EXPECT_EQ(quill_pclose_thr(stream, child), -1);
    EXPECT_EQ(errno, EPIPE);
    signal(SIGPIPE, callers_action);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 4 << 8);
}

TEST_F(Pipe, WithoutAShellTheExitCodeIs255) {
    ASSERT_EQ(mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr), 0);
    int child;
    FILE *const stream = quill_popen_thr("exit 0", "r", &child);
    ASSERT_TRUE(stream);
    EXPECT_EQ(quill_pclose_thr(stream, child), 255 << 8);
}

// The ends of a pipe come to stand where the program has closed its standard descriptors.
TEST_F(Pipe, WhateverStandardDescriptorsAreClosed) {
    quill::test::with_standard_descriptors_closed([] {
        int child;
        FILE *const from = quill_popen_thr("echo to the reader; exit 5", "r", &child);
        EXPECT_TRUE(from && read_all(from) == "to the reader\n" && quill_pclose_thr(from, child) == 5 << 8);
        FILE *const to = quill_popen_thr("cat >/tmp/got; exit 6", "w", &child);
        EXPECT_TRUE(to && fputs("to the command", to) >= 0 && quill_pclose_thr(to, child) == 6 << 8);
        EXPECT_EQ(read_file("/tmp/got"), "to the command");
    });
}

// --- signals: as with any program that is run, but nothing of the caller's is run in the child

constexpr unsigned long long bit(int number) { return 1ull << (number - 1); }

// Of /proc/self/status, in a command.
unsigned long long signals_of_a_command(const std::string &name) {
    int child;
    FILE *const from =
        quill_popen_thr(("exec sed -n 's/^" + name + ":[ \t]*//p' /proc/self/status").c_str(), "r", &child);
    const std::string text = read_all(from);
    quill_pclose_thr(from, child);
    return std::stoull(text, nullptr, 16);
}

TEST_F(Pipe, SignalsOfTheCommandAreTheCallers) {
    const auto handler = [](int) {};
    signal(SIGTERM, handler);
    signal(SIGUSR2, SIG_IGN);
    sigset_t blocked, callers;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &callers);
    EXPECT_EQ(signals_of_a_command("SigBlk"), bit(SIGUSR1));
    const auto ignored = signals_of_a_command("SigIgn");
    EXPECT_TRUE(ignored & bit(SIGUSR2));
    EXPECT_FALSE(ignored & bit(SIGTERM));
    EXPECT_FALSE(signals_of_a_command("SigCgt") & bit(SIGTERM));
    pthread_sigmask(SIG_SETMASK, &callers, nullptr);
    EXPECT_EQ(signal(SIGTERM, SIG_DFL), static_cast<void (*)(int)>(handler)) << "the caller's action is its own";
    signal(SIGUSR2, SIG_DFL);
}

// While a message is on its way, the log client has the action on a broken pipe.
TEST_F(Pipe, WhileAnotherThreadLogsABrokenPipeIsIgnoredWhereTheCallerDoes) {
    for (const bool ignored : {true, false}) {
        signal(SIGPIPE, ignored ? SIG_IGN : SIG_DFL);
        quill::test::LogDaemon daemon;
        std::atomic<bool> done = false;
        std::thread logger([&] {
            for (int i = 0; i < 1000; i++) syslog(LOG_ERR, "until there is no room");
            done = true;
        });
        const auto logging = [] {
            struct sigaction action;
            sigaction(SIGPIPE, nullptr, &action);
            return action.sa_handler != SIG_IGN && action.sa_handler != SIG_DFL;
        };
        for (int times = 0; times < 50; usleep(1000)) times = logging() ? times + 1 : 0;
        EXPECT_EQ((signals_of_a_command("SigIgn") & bit(SIGPIPE)) != 0, ignored);
        while (!done) daemon.receive(1);
        logger.join();
        closelog();
    }
}

}  // namespace
