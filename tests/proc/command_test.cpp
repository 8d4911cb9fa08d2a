#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/command.h>
#include <quill/pipe.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/case_file.h"
#include "support/child_process.h"
#include "support/device_test.h"

// --- calls that can be made to fail; the program is linked with --wrap for them

namespace {
int failing_fork, failing_close;  // the n-th call from now on; 0 for none
bool failing_start, awkward_writes;
}  // namespace

extern "C" {
pid_t __real_fork();
pid_t __wrap_fork() {
    if (failing_fork == 0 || --failing_fork > 0) return __real_fork();
    errno = EAGAIN;
    return -1;
}
int __real_close(int fd);
int __wrap_close(int fd) {
    const int result = __real_close(fd);
    if (failing_close == 0 || --failing_close > 0) return result;
    errno = EIO;
    return -1;
}
// Writes are partial and interrupted, in turn.
ssize_t __real_write(int fd, const void *bytes, size_t length);
ssize_t __wrap_write(int fd, const void *bytes, size_t length) {
    static int calls;
    if (!awkward_writes) return __real_write(fd, bytes, length);
    errno = EINTR;
    return calls++ % 2 ? __real_write(fd, bytes, length < 1000 ? length : 1000) : -1;
}
// quill::start_child, which starts all children except those of fork
pid_t __real__ZN5quill11start_childEPFvPKvES1_(void (*body)(const void *), const void *argument);
pid_t __wrap__ZN5quill11start_childEPFvPKvES1_(void (*body)(const void *), const void *argument) {
    if (!failing_start) return __real__ZN5quill11start_childEPFvPKvES1_(body, argument);
    errno = EAGAIN;
    return -1;
}
}

namespace {

namespace fs = std::filesystem;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

constexpr int kExit1 = 0x100;

int run(string command, const char *output = nullptr, const char *errors = nullptr) {
    return execute_command_status_no_io(command.data(), output, errors);
}

int mode_of(const char *path) { return static_cast<int>(fs::status(path).permissions()); }

// Sends a signal at each interval, to interrupt waits. An interval of 0 ends the signals.
void interrupt_every(useconds_t microseconds) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    ualarm(microseconds, microseconds);
}

bool gets_orphans;  // false under qemu-user
int held_by_worker;

class Command : public quill::test::DeviceTest {
protected:
    // The test becomes the parent of orphans in place of init, so that the test can wait for the worker of a detached
    // command.
    void SetUp() override {
        DeviceTest::SetUp();
        gets_orphans = prctl(PR_SET_CHILD_SUBREAPER, 1) == 0;
        signal(SIGPIPE, SIG_DFL);
    }
};

int launch(const string &command, const char *status_file = "/tmp/status", const char *output = "",
           const char *errors = "") {
    write_file("/tmp/remove", "");
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const int result = execute_command_status_no_io_nowait(command.c_str(), output, errors, status_file, "/tmp/remove");
    close(ends[1]);
    held_by_worker = ends[0];
    return result;
}

// Waits until the worker has ended, and expects its status.
void expect_end(int status = 0) {
    char byte;
    EXPECT_EQ(read(held_by_worker, &byte, 1), 0);
    close(held_by_worker);
    int found = -1;
    if (gets_orphans) (void)waitpid(-1, &found, 0);
    EXPECT_EQ(found, gets_orphans ? status : -1);
}

// --- what the cases call

string direct(const char *command) {
    const int status = execute_command_status_no_io(const_cast<char *>(command), "/tmp/words", "/tmp/errors");
    string words = read_file("/tmp/words");
    std::replace(words.begin(), words.end(), '\0', '|');
    return std::to_string(status) + " " + words;
}

string detached(const char *command) {
    EXPECT_EQ(launch(command), 0);
    expect_end();
    return read_file("/tmp/status") + (fs::exists("/tmp/remove") ? "is kept" : "has gone");
}

string detached_into_files(const char *command) {
    const mode_t callers = umask(0);
    EXPECT_EQ(launch(command, "/tmp/status", "/tmp/out", "/tmp/err"), 0);
    expect_end();
    EXPECT_EQ(umask(callers), 0u);
    return read_file("/tmp/status") + read_file("/tmp/out") + read_file("/tmp/err");
}

string named(const char *process) {
    unlink("/tmp/args");
    const string result = std::to_string(process_normal(process));
    return result + read_file("/tmp/args");
}

// Returns the error, and the size of the destination.
string failed_copy(const char *to, const char *from) {
    const int standard_input = fcntl(0, F_DUPFD_CLOEXEC, 10);
    interrupt_every(20000);
    failing_close = 1;  // errors during the clean-up are not reported
    EXPECT_EQ(cp_file_to_from(to, from), 0) << to;
    string shown = std::to_string(errno);
    interrupt_every(0);
    failing_close = 0;
    if (fs::exists(to)) shown += ", " + std::to_string(fs::file_size(to));
    if (fcntl(0, F_GETFD) == -1) shown += ", and descriptor 0 is closed";
    dup2(standard_input, 0);
    close(standard_input);
    return shown;
}

TEST_F(Command, Cases) {
    // A killall that prints its arguments and finds every process.
    mkdir("/tmp/bin", 0755);
    write_file("/tmp/bin/killall", "#!/bin/sh\nprintf '[%s]' \"$@\" >/tmp/args\n");
    chmod("/tmp/bin/killall", 0755);
    setenv("PATH", (string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
    // For copies: a file system with too little room, and a pipe whose writer writes nothing.
    write_file("/tmp/from", string(100000, 'x'));
    write_file("/tmp/there", "untouched");
    mkdir("/tmp/full", 0755);
    ASSERT_EQ(mount("tmpfs", "/tmp/full", "tmpfs", 0, "size=64k"), 0);
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    const int fifo = open("/tmp/fifo", O_RDWR | O_CLOEXEC);
    FILE *const buffered = fopen("/tmp/buffered", "we");
    fputs("once", buffered);  // no child may write what the caller has only buffered
    quill::test::expect_cases("proc/command.cases",
                              QUILL_CASE_FUNCTIONS(detached, detached_into_files, direct, execute_command,
                                                   execute_command_no_io, execute_command_status, failed_copy, named));
    fclose(buffered);
    EXPECT_EQ(read_file("/tmp/buffered"), "once");
    close(fifo);
    EXPECT_EQ(process_normal(string(244, '\'').c_str()), 1);
    EXPECT_EQ(process_normal(string(245, 'a').c_str()), 0);
    EXPECT_FALSE(fs::exists("/tmp/x"));
}

// --- by the shell, and directly

TEST_F(Command, FilesForOutput) {
    const mode_t callers = umask(0);
    quill::test::with_standard_descriptors_closed([] {
        write_file("/tmp/out", "what stood there before, and is longer");
        chmod("/tmp/out", 0600);
        EXPECT_EQ(run("ls /mnt /no-such-file", "/tmp/out", "/tmp/err"), 2 << 8);
        EXPECT_EQ(read_file("/tmp/out"), "/mnt:\nusbdisk\n");
        EXPECT_NE(read_file("/tmp/err").find("no-such-file"), string::npos);
        EXPECT_TRUE(mode_of("/tmp/out") == 0600 && mode_of("/tmp/err") == 0644);
        EXPECT_EQ(umask(0), 0u) << "the caller's umask has changed";
    });
    umask(callers);
    // If the file cannot be opened, for example because its name is empty, the command's descriptor is closed.
    for (const char *path : {"/no-such-folder/out", ""}) {
        EXPECT_EQ(run("cat /proc/self/cmdline", path, "/tmp/err"), kExit1);
        EXPECT_NE(read_file("/tmp/err").find("Bad file descriptor"), string::npos);
    }
    // The files for output are made even if the program is not found.
    errno = ERANGE;
    EXPECT_EQ(run("no-such-program", "/tmp/new"), kExit1);
    EXPECT_EQ(errno, ERANGE) << "the child's error is not the caller's";
    EXPECT_TRUE(fs::exists("/tmp/new"));
    EXPECT_EQ(execute_command_status_no_io(nullptr, nullptr, nullptr), kExit1);
}

TEST_F(Command, WhatCannotBeStarted) {
    int child = 5;
    failing_start = true;
    EXPECT_EQ(execute_command("exit 3"), 0);
    EXPECT_EQ(execute_command_status("exit 3"), 0) << "as after success, on purpose";
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(run("true"), -1);
    EXPECT_TRUE(!quill_popen_thr("exit 3", "r", &child) && child == -1 && !quill_popen("exit 3", "w"));
    failing_start = false;
    failing_fork = 1;
    EXPECT_EQ(execute_command_status_no_io_nowait("exit 3", nullptr, nullptr, "/tmp/status", nullptr), -1);
    EXPECT_EQ(execute_command_status_no_io_nowait(nullptr, nullptr, nullptr, "/tmp/status", nullptr), -1);
    EXPECT_FALSE(fs::exists("/tmp/status"));
}

TEST_F(Command, WaitsThatFail) {
    for (const auto call : {+[] { return run("sh -c sleep\t0.4;exit\t3"); },
                            +[] { return execute_command_status("sleep 0.4; exit 3"); }}) {
        int status;
        interrupt_every(20000);
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(errno, EINTR);
        interrupt_every(0);
        waitpid(-1, &status, 0);
        EXPECT_EQ(status, 3 << 8) << "the child is the caller's to wait for";
    }
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("true"), -1);
    EXPECT_EQ(execute_command_status("true"), -1);
    EXPECT_EQ(execute_command("true"), 1);
    // A detached command still gets its status.
    EXPECT_EQ(launch("exit 0"), -1);
    expect_end(-1);
    EXPECT_EQ(read_file("/tmp/status"), "3\n");
    signal(SIGCHLD, SIG_DFL);
}

// The cancelled thread ends after the call, which has waited for its command.
TEST_F(Command, ACancelledThreadFinishesItsCall) {
    static char status[16];
    pthread_t thread;
    const auto body = [](void *) -> void * {
        char direct_command[] = "sh -c exit\t4";
        pthread_cancel(pthread_self());
        const int by_shell = execute_command_status("exit 3");
        snprintf(status, sizeof status, "%x %x", by_shell,
                 execute_command_status_no_io(direct_command, nullptr, nullptr));
        pthread_testcancel();
        return nullptr;
    };
    void *result;
    ASSERT_TRUE(pthread_create(&thread, nullptr, body, nullptr) == 0 && pthread_join(thread, &result) == 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_STREQ(status, "300 400");
}

// --- detached

// If the status file cannot be made, the command is not run.
TEST_F(Command, AStatusFileMayBeNull) {
    EXPECT_EQ(launch("exit 0", nullptr, nullptr, nullptr), 0);
    expect_end();
    EXPECT_FALSE(fs::exists("/tmp/remove"));
    EXPECT_EQ(launch("touch /tmp/run", "/no-such-folder/status"), 0);
    expect_end(255 << 8);
    EXPECT_FALSE(fs::exists("/tmp/run"));
}

// When the second fork fails, the call returns in the first child too, as a second copy of the caller.
TEST_F(Command, ASecondForkThatFailsReturnsTwice) {
    const pid_t caller = getpid();
    failing_fork = 2;
    const int result = launch("touch /tmp/run");
    if (getpid() != caller) {
        write_file("/tmp/copy", std::to_string(result));
        _exit(0);
    }
    failing_fork = 0;
    EXPECT_EQ(result, 0);
    expect_end(-1);  // no worker was started
    EXPECT_EQ(read_file("/tmp/copy"), "-1");
    EXPECT_FALSE(fs::exists("/tmp/status") || fs::exists("/tmp/run"));
}

// The worker, like any program that is run, does not keep a pipe open, so its reader sees the end.
TEST_F(Command, TheWorkerHoldsNoPipes) {
    for (const bool has_proc : {true, false}) {
        ASSERT_TRUE(has_proc || mount("none", "/proc", "tmpfs", 0, nullptr) == 0);
        unlink("/tmp/go");
        int child;
        FILE *const to = quill_popen_thr("cat >/tmp/got; exit 3", "w", &child);
        ASSERT_TRUE(to && launch("until [ -e /tmp/go ]; do sleep 0.01; done") == 0);
        EXPECT_EQ(quill_pclose_thr(to, child), 3 << 8);
        write_file("/tmp/go", "");
        expect_end();
    }
    umount2("/proc", MNT_DETACH);
}

// --- files

TEST_F(Command, FilesThatAreWritten) {
    write_file("/tmp/switch", "before");
    EXPECT_EQ(execute_command_proc('1', "/tmp/switch"), 1);
    EXPECT_EQ(read_file("/tmp/switch"), "1");
    testing::internal::CaptureStderr();
    EXPECT_EQ(execute_command_proc('1', "/no-such-folder/switch"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "execute_command_proc failure : No such file or directory\n");
    const mode_t callers = umask(027);
    for (const size_t size : {0u, 4096u, 100001u}) {
        string content(size, 'x');
        std::generate(content.begin(), content.end(), [i = 0]() mutable { return static_cast<char>(i += 7); });
        write_file("/tmp/from", content);
        unlink("/tmp/to");
        awkward_writes = size % 2;
        EXPECT_EQ(cp_file_to_from("/tmp/to", "/tmp/from"), 1);
        awkward_writes = false;
        EXPECT_TRUE(read_file("/tmp/to") == content) << size;
        EXPECT_EQ(mode_of("/tmp/to"), 0640);
    }
    umask(callers);
}

}  // namespace
