#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/pipe.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/child_process.h"
#include "support/device_test.h"
#include "support/log_daemon.h"

namespace {

using std::string;

class Pipe : public quill::test::DeviceTest {};

// Returns a command's status and output.
string output_of(const string &command) {
    int child;
    FILE *const from = quill_popen_thr(command.c_str(), "r", &child);
    EXPECT_TRUE(from && child > 0 && fcntl(fileno(from), F_GETFD) == FD_CLOEXEC);
    string text;
    for (int c; (c = fgetc(from)) != EOF;) text += static_cast<char>(c);
    return std::to_string(quill_pclose_thr(from, child)) + " " + text;
}

// The pipe works even when its ends get the numbers of closed standard descriptors.
TEST_F(Pipe, ReadsAndWritesAndGivesTheStatus) {
    quill::test::with_standard_descriptors_closed([] {
        umask(077);
        EXPECT_EQ(output_of("umask; exit 0"), "0 0022\n");
        EXPECT_EQ(output_of("exit 255"), "65280 ");
        int child;
        FILE *const to = quill_popen_thr("cat >/tmp/got; exit 2", "w", &child);
        EXPECT_TRUE(to && child > 0 && fputs("what was written", to) >= 0);
        EXPECT_EQ(quill_pclose_thr(to, child), 2 << 8);
        EXPECT_EQ(quill::test::read_file("/tmp/got"), "what was written");
        EXPECT_EQ(umask(0), 077u) << "the caller's umask has changed";
    });
}

TEST_F(Pipe, RefusesOtherModes) {
    for (const char *mode : {"", "re", "w+", "x", static_cast<const char *>(nullptr)}) {
        int child = errno = 5;
        EXPECT_EQ(quill_popen_thr("exit 2", mode, &child), nullptr);
        EXPECT_TRUE(child == -1 && errno == EINVAL);
        EXPECT_EQ(quill_popen("exit 2", mode), nullptr);
    }
}

// Programs that the process runs inherit the end of the pipe, and the close waits for the child that ends first.
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
    FILE *const to = quill_popen("exec cat >/dev/null", "w");
    int status;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 3 << 8);
    EXPECT_EQ(quill_pclose(to), 0);
}

// The rest in the stream's buffer has no reader any more, so the close fails. The close then does not wait for the
// command.
TEST_F(Pipe, ACloseThatFails) {
    int child, status;
    const auto callers_action = signal(SIGPIPE, SIG_IGN);
    FILE *const stream = quill_popen_thr("exit 4", "w", &child);
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
    EXPECT_EQ(output_of("exit 0"), "65280 ");
}

// --- signals are inherited as by any program, and no handler of the caller runs in the child

constexpr unsigned long long bit(int number) { return 1ull << (number - 1); }

// Returns a field of /proc/self/status in a command.
unsigned long long signals_of_a_command(const string &name) {
    return std::stoull(output_of("exec sed -n 's/^" + name + ":[ \t]*//p' /proc/self/status").substr(2), nullptr, 16);
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
    EXPECT_EQ(signals_of_a_command("SigIgn") & (bit(SIGUSR2) | bit(SIGTERM)), bit(SIGUSR2));
    EXPECT_FALSE(signals_of_a_command("SigCgt") & bit(SIGTERM));
    pthread_sigmask(SIG_SETMASK, &callers, nullptr);
    EXPECT_EQ(signal(SIGTERM, SIG_DFL), static_cast<void (*)(int)>(handler)) << "the caller's action is its own";
    signal(SIGUSR2, SIG_DFL);
}

// While a message is sent, the log client's action on a broken pipe is set.
TEST_F(Pipe, WhileAnotherThreadLogsABrokenPipeIsIgnoredWhereTheCallerDoes) {
    for (const auto callers : {SIG_IGN, SIG_DFL}) {
        signal(SIGPIPE, callers);
        quill::test::LogDaemon daemon;
        std::atomic<bool> done = false;
        std::thread logger([&] {
            for (int i = 0; i < 1000; i++) syslog(LOG_ERR, "until there is no room");
            done = true;
        });
        struct sigaction action;
        for (int times = 0; times < 50; usleep(1000)) {
            sigaction(SIGPIPE, nullptr, &action);
            times = action.sa_handler == callers ? 0 : times + 1;
        }
        EXPECT_EQ((signals_of_a_command("SigIgn") & bit(SIGPIPE)) != 0, callers == SIG_IGN);
        while (!done) daemon.receive(1);
        logger.join();
        closelog();
    }
}

}  // namespace
