#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/command.h>
#include <quill/pipe.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/device_test.h"
#include "support/private_device.h"

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
// Writes that take a part, and are interrupted before they take anything, in turn.
ssize_t __real_write(int fd, const void *bytes, size_t length);
ssize_t __wrap_write(int fd, const void *bytes, size_t length) {
    static int calls;
    if (!awkward_writes) return __real_write(fd, bytes, length);
    errno = EINTR;
    return calls++ % 2 ? __real_write(fd, bytes, length < 1000 ? length : 1000) : -1;
}
// quill::start_child, in which all children but those of fork start
pid_t __real__ZN5quill11start_childEPFvPKvES1_(void (*body)(const void *), const void *argument);
pid_t __wrap__ZN5quill11start_childEPFvPKvES1_(void (*body)(const void *), const void *argument) {
    if (!failing_start) return __real__ZN5quill11start_childEPFvPKvES1_(body, argument);
    errno = EAGAIN;
    return -1;
}
}

namespace {

using quill::test::read_file;
using quill::test::write_file;

constexpr int kExit1 = 0x100;

int run(std::string command, const char *output = nullptr, const char *errors = nullptr) {
    return execute_command_status_no_io(command.data(), output, errors);
}

bool exists(const char *path) { return access(path, F_OK) == 0; }

mode_t mode_of(const char *path) {
    struct stat file = {};
    stat(path, &file);
    return file.st_mode & 07777;
}

// Signals that come all the time, to interrupt what waits.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const struct itimerval often = {{0, 20000}, {0, 20000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~Interruptions() {
        const struct itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        signal(SIGALRM, SIG_DFL);
    }
};

class Command : public quill::test::DeviceTest {};

// --- by the shell, and directly

TEST_F(Command, StatusesOfTheShellAreRaw) {
    signal(SIGPIPE, SIG_DFL);
    const struct {
        const char *command;
        int status;
    } cases[] = {
        {"", 0},
        {"exit 3", 0x300},
        {"exit 255", 0xff00},
        {"no-such-program 2>/dev/null", 127 << 8},
        {"kill -9 $$", SIGKILL},
        {"kill -TERM $$", SIGTERM},
        {"while echo output; do :; done", SIGPIPE},  // into the pipe that is closed
        {"trap '' PIPE; while echo output; do :; done 2>/dev/null; exit 4", 0x400},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(execute_command_status(c.command), c.status) << c.command;
        EXPECT_EQ(execute_command(c.command), 1) << c.command;
    }
}

TEST_F(Command, WordsOfADirectCommand) {
    std::string many = "cat /proc/self/cmdline", seen = "cat|/proc/self/cmdline|";
    for (int i = 2; i < 10000; i++) {
        many += i % 7 ? " -u" : "   -u";
        seen += "-u|";
    }
    // cat shows what it was run with.
    const struct {
        std::string command;
        int status;
        std::string words;
    } cases[] = {
        {"cat  /proc/self/cmdline   -u", 0, "cat|/proc/self/cmdline|-u|"},
        {"/bin/cat /proc/self/cmdline  ", 0, "/bin/cat|/proc/self/cmdline|"},
        {"cat /proc/self/cmdline 'a \\b", kExit1, "cat|/proc/self/cmdline|'a|\\b|"},
        {many, 0, seen},
        {"cat\t/proc/self/cmdline", kExit1, ""},
        {" cat /proc/self/cmdline", kExit1, ""},
        {"  ", kExit1, ""},
        {"", kExit1, ""},
        {"no-such-program", kExit1, ""},
        {"sh -c kill\t-9\t$$", SIGKILL, ""},
        {"sh -c exit\t3", 0x300, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.command.substr(0, 30));
        std::string command = c.command;
        EXPECT_EQ(execute_command_status_no_io(command.data(), "/tmp/words", "/tmp/errors"), c.status);
        std::string words = read_file("/tmp/words");
        std::replace(words.begin(), words.end(), '\0', '|');
        EXPECT_TRUE(words == c.words) << words.substr(0, 100);
        EXPECT_TRUE(command == c.command) << "the caller's text has changed";
    }
    errno = ERANGE;
    EXPECT_EQ(run("no-such-program"), kExit1);
    EXPECT_EQ(errno, ERANGE) << "the child's error is not the caller's";
    EXPECT_EQ(execute_command_status_no_io(nullptr, nullptr, nullptr), kExit1);
    char fine[] = "true", failing[] = "false";
    EXPECT_EQ(execute_command_no_io(fine), 1);
    EXPECT_EQ(execute_command_no_io(failing), 0);
}

TEST_F(Command, FilesForOutput) {
    const mode_t callers = umask(0);
    write_file("/tmp/out", "what stood there before, and is longer");
    chmod("/tmp/out", 0600);
    EXPECT_EQ(run("ls / /no-such-file", "/tmp/out", "/tmp/err"), 2 << 8);
    EXPECT_NE(read_file("/tmp/out").find("\nflash\n"), std::string::npos);
    EXPECT_EQ(read_file("/tmp/out").find("before"), std::string::npos);
    EXPECT_NE(read_file("/tmp/err").find("no-such-file"), std::string::npos);
    EXPECT_EQ(mode_of("/tmp/out"), 0600u);
    EXPECT_EQ(mode_of("/tmp/err"), 0644u);
    EXPECT_EQ(umask(callers), 0u) << "the caller's umask has changed";

    // Where the file cannot be opened, an empty name included, the command has nothing to write to.
    for (const char *path : {"/no-such-folder/out", ""}) {
        EXPECT_EQ(run("cat /proc/self/cmdline", path, "/tmp/err"), kExit1);
        EXPECT_NE(read_file("/tmp/err").find("Bad file descriptor"), std::string::npos);
    }
    // A program that is not found has its files nevertheless.
    EXPECT_EQ(run("no-such-program", "/tmp/new"), kExit1);
    EXPECT_TRUE(exists("/tmp/new"));
}

TEST_F(Command, FilesForOutputWhateverStandardDescriptorsAreClosed) {
    quill::test::with_standard_descriptors_closed([] {
        EXPECT_EQ(run("ls / /no-such-file", "/tmp/out", "/tmp/err"), 2 << 8);
        EXPECT_NE(read_file("/tmp/out").find("\nflash\n"), std::string::npos);
        EXPECT_NE(read_file("/tmp/err").find("no-such-file"), std::string::npos);
    });
}

TEST_F(Command, WhatCannotBeStarted) {
    failing_start = true;
    EXPECT_EQ(execute_command("exit 3"), 0);
    EXPECT_EQ(execute_command_status("exit 3"), 0) << "as after success, on purpose";
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(run("true"), -1);
    int child = 5;
    EXPECT_EQ(quill_popen_thr("exit 3", "r", &child), nullptr);
    EXPECT_EQ(child, -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(quill_popen("exit 3", "w"), nullptr);
    failing_start = false;
    failing_fork = 1;
    EXPECT_EQ(execute_command_status_no_io_nowait("exit 3", nullptr, nullptr, "/tmp/status", nullptr), -1);
    EXPECT_FALSE(exists("/tmp/status"));
}

TEST_F(Command, WaitsThatFail) {
    {
        const Interruptions interruptions;
        int status;
        EXPECT_EQ(run("sh -c sleep\t0.4;exit\t3"), -1);
        EXPECT_EQ(errno, EINTR);
        while (waitpid(-1, &status, 0) == -1) continue;
        EXPECT_EQ(status, 3 << 8) << "the child is the caller's to wait for";
        EXPECT_EQ(execute_command_status("sleep 0.4; exit 5"), -1);
        while (waitpid(-1, &status, 0) == -1) continue;
        EXPECT_EQ(status, 5 << 8);
    }
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("true"), -1);
    EXPECT_EQ(execute_command_status("true"), -1);
    EXPECT_EQ(execute_command("true"), 1);
    signal(SIGCHLD, SIG_DFL);
}

// The thread ends after the call, which has waited for its command.
TEST_F(Command, ACancelledThreadFinishesItsCall) {
    static int statuses[2];
    static char direct[] = "sh -c exit\t4";
    pthread_t thread;
    const auto body = [](void *) -> void * {
        pthread_cancel(pthread_self());
        statuses[0] = execute_command_status("exit 3");
        statuses[1] = execute_command_status_no_io(direct, nullptr, nullptr);
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    void *result;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(statuses[0], 3 << 8);
    EXPECT_EQ(statuses[1], 4 << 8);
}

// --- detached

class Detached : public Command {
protected:
    // In the place of init, so that it can wait for the worker.
    void SetUp() override {
        Command::SetUp();
        gets_orphans_ = prctl(PR_SET_CHILD_SUBREAPER, 1) == 0;  // not under qemu-user
    }
    int launch(const char *command, const char *status_file = "/tmp/status", const char *output = "",
               const char *errors = "") {
        write_file("/tmp/remove", "");
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const int result = execute_command_status_no_io_nowait(command, output, errors, status_file, "/tmp/remove");
        close(ends[1]);
        held_by_worker_ = ends[0];
        return result;
    }
    // Waits until the worker has ended, and expects its status.
    void expect_end(int status) {
        char byte;
        EXPECT_EQ(read(held_by_worker_, &byte, 1), 0);
        close(held_by_worker_);
        if (!gets_orphans_) return;
        int found = -1;
        (void)waitpid(-1, &found, 0);
        EXPECT_EQ(found, status);
    }

private:
    bool gets_orphans_;
    int held_by_worker_;
};

constexpr char kUntilTold[] = "until [ -e /tmp/go ]; do sleep 0.01; done; ";

TEST_F(Detached, TheStatusFileTellsHowItGoes) {
    umask(0);
    for (const int code : {0, 1}) {
        unlink("/tmp/go");
        const std::string command =
            kUntilTold + std::string("echo out; echo err >&2; umask; exit ") + std::to_string(code);
        ASSERT_EQ(launch(command.c_str(), "/tmp/status", "/tmp/out", "/tmp/err"), 0);
        // The second time it has the end of the first one, until it has the new beginning.
        for (std::string status = read_file("/tmp/status"); status != "1\n"; status = read_file("/tmp/status")) {
            EXPECT_TRUE(code == 0 || status != "") << "a file that is being written";
        }
        EXPECT_EQ(mode_of("/tmp/status"), 0644u);
        EXPECT_TRUE(exists("/tmp/remove"));
        write_file("/tmp/go", "");
        expect_end(0);
        EXPECT_EQ(read_file("/tmp/status"), code == 0 ? "3\n" : "2\n");
        EXPECT_EQ(exists("/tmp/remove"), code != 0);
        EXPECT_EQ(read_file("/tmp/out"), "out\n0022\n");
        EXPECT_EQ(read_file("/tmp/err"), "err\n");
        EXPECT_EQ(mode_of("/tmp/out"), 0644u);
    }
}

TEST_F(Detached, EndsThatDiffer) {
    const struct {
        const char *command, *status;
    } cases[] = {
        {"no-such-program 2>/dev/null", "2\n"},
        {"kill -9 $$", "2\n"},
        {"kill -INT $$; sleep 10", "2\n"},  // as at a terminal: the command ends and the worker does not
        {"kill -QUIT $$; sleep 10", "2\n"},
        {"kill -INT $PPID; kill -QUIT $PPID; exit 0", "3\n"},
        {"[ -e /proc/self/fd/1 ] && [ -e /proc/self/fd/2 ]", "3\n"},  // empty names leave the caller's output
    };
    for (const auto &c : cases) {
        EXPECT_EQ(launch(c.command), 0);
        expect_end(0);
        EXPECT_EQ(read_file("/tmp/status"), c.status) << c.command;
        EXPECT_EQ(exists("/tmp/remove"), c.status == std::string("2\n")) << c.command;
    }
    // Without a status file; with one that cannot be made, the command is not run.
    EXPECT_EQ(launch("exit 0", nullptr, nullptr, nullptr), 0);
    expect_end(0);
    EXPECT_FALSE(exists("/tmp/remove"));
    EXPECT_EQ(launch("touch /tmp/run", "/no-such-folder/status"), 0);
    expect_end(255 << 8);
    EXPECT_FALSE(exists("/tmp/run"));
    EXPECT_EQ(execute_command_status_no_io_nowait(nullptr, nullptr, nullptr, "/tmp/status", nullptr), -1);

    // The wait for the process in between fails, and the command has its status nevertheless.
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(launch("exit 0"), -1);
    expect_end(-1);
    EXPECT_EQ(read_file("/tmp/status"), "3\n");
    signal(SIGCHLD, SIG_DFL);
}

// The first child, in which the second fork fails, comes back as a second copy of the caller.
TEST_F(Detached, ASecondForkThatFailsReturnsTwice) {
    const pid_t caller = getpid();
    failing_fork = 2;
    const int result = launch("touch /tmp/run");
    if (getpid() != caller) {
        write_file("/tmp/copy", std::to_string(result));
        _exit(0);
    }
    failing_fork = 0;
    EXPECT_EQ(result, 0);
    expect_end(-1);  // there is no worker
    EXPECT_EQ(read_file("/tmp/copy"), "-1");
    EXPECT_FALSE(exists("/tmp/status") || exists("/tmp/run"));
}

// The worker does not keep a stream's reader from seeing the end, as a program that is run does not.
TEST_F(Detached, TheWorkerHoldsNoPipes) {
    for (const bool has_proc : {true, false}) {
        if (!has_proc) {
            ENTER_PRIVATE_PROC();
        }
        unlink("/tmp/go");
        int child;
        FILE *const to = quill_popen_thr("cat >/tmp/got; exit 3", "w", &child);
        ASSERT_TRUE(to);
        ASSERT_EQ(launch((std::string(kUntilTold) + "exit 0").c_str()), 0);
        EXPECT_EQ(quill_pclose_thr(to, child), 3 << 8);
        write_file("/tmp/go", "");
        expect_end(0);
    }
}

// What the caller has not written out yet is written once.
TEST_F(Detached, BuffersOfTheCallerAreItsOwn) {
    FILE *const file = fopen("/tmp/buffered", "w");
    fputs("once", file);
    EXPECT_EQ(launch("exit 0"), 0);
    expect_end(0);
    EXPECT_EQ(run("no-such-program"), kExit1);
    fclose(file);
    EXPECT_EQ(read_file("/tmp/buffered"), "once");
}

// --- names and files

// A killall that shows what it was run with, and finds everything.
TEST_F(Command, NamesOfProcessesAreOneWord) {
    mkdir("/tmp/bin", 0755);
    write_file("/tmp/bin/killall", "#!/bin/sh\nprintf '[%s]' \"$@\" >/tmp/args\n");
    chmod("/tmp/bin/killall", 0755);
    const std::string path = getenv("PATH");
    setenv("PATH", ("/tmp/bin:" + path).c_str(), 1);
    for (const std::string &name : std::vector<std::string>{
             "placementd", "a b", "a;touch /tmp/x", "$(touch /tmp/x)", "`touch /tmp/x`", "a'; touch /tmp/x; 'b", "'",
             "a\n", "&", "*", "~", "#", "\\", "\xff", std::string(244, '\''), "a|-b"}) {
        EXPECT_EQ(process_normal(name.c_str()), 1) << name;
        EXPECT_EQ(read_file("/tmp/args"), "[-0][" + name + "]");
    }
    unlink("/tmp/args");
    EXPECT_EQ(process_normal(nullptr), 0);
    EXPECT_EQ(process_normal(std::string(245, 'a').c_str()), 0);
    EXPECT_EQ(process_normal("--version"), 0);
    EXPECT_FALSE(exists("/tmp/args") || exists("/tmp/x"));
    setenv("PATH", path.c_str(), 1);
}

TEST_F(Command, ProcessesAreFoundByName) {
    if (execute_command_status("command -v killall >/dev/null") != 0)
        GTEST_SKIP() << "no killall (Debian package psmisc)";
    ASSERT_EQ(run("cp /bin/sleep /tmp/quill-sleeper"), 0);
    const pid_t sleeper = fork();
    if (sleeper == 0) {
        execl("/tmp/quill-sleeper", "/tmp/quill-sleeper", "60", static_cast<char *>(nullptr));
        _exit(1);
    }
    while (process_normal("quill-sleeper") == 0 && waitpid(sleeper, nullptr, WNOHANG) == 0) usleep(1000);
    EXPECT_EQ(process_normal("quill-sleeper"), 1);
    kill(sleeper, SIGTERM);
    waitpid(sleeper, nullptr, 0);
    EXPECT_EQ(process_normal("quill-sleeper"), 0);
}

TEST_F(Command, OneCharacterIntoAFile) {
    write_file("/tmp/switch", "before");
    EXPECT_EQ(execute_command_proc('1', "/tmp/switch"), 1);
    EXPECT_EQ(read_file("/tmp/switch"), "1");
    testing::internal::CaptureStderr();
    EXPECT_EQ(execute_command_proc('1', "/no-such-folder/switch"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "execute_command_proc failure : No such file or directory\n");
}

TEST_F(Command, CopiesOfFiles) {
    const mode_t callers = umask(027);
    for (const size_t size : {0u, 1u, 4095u, 4096u, 4097u, 100000u}) {
        std::string content(size, 'x');
        for (size_t i = 0; i < size; i++) content[i] = static_cast<char>(i * 7 / 3);
        write_file("/tmp/from", content);
        awkward_writes = size % 2;
        EXPECT_EQ(cp_file_to_from("/tmp/to", "/tmp/from"), 1);
        awkward_writes = false;
        EXPECT_TRUE(read_file("/tmp/to") == content) << size;
        EXPECT_EQ(mode_of("/tmp/to"), 0640u);
        unlink("/tmp/to");
    }
    umask(callers);
}

TEST_F(Command, CopiesThatFail) {
    write_file("/tmp/from", std::string(100000, 'x'));
    write_file("/tmp/there", "untouched");
    mkdir("/tmp/full", 0755);
    ASSERT_EQ(mount("tmpfs", "/tmp/full", "tmpfs", 0, "size=64k"), 0);
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    const int fifo = open("/tmp/fifo", O_RDWR | O_CLOEXEC);  // with a writer who writes nothing
    const struct {
        const char *to, *from;
        int error;
        long left;  // bytes in the destination; -1 for none
    } cases[] = {
        {"/tmp/there", "/tmp/from", EEXIST, 9},         {"/tmp/no-source", "/tmp/nothing", ENOENT, -1},
        {"/tmp/no-folder/to", "/tmp/from", ENOENT, -1}, {"/tmp/from-folder", "/tmp", EISDIR, 0},
        {"/tmp/full/to", "/tmp/from", ENOSPC, 65536},   {"/tmp/interrupted", "/tmp/fifo", EINTR, 0},
    };
    for (const auto &c : cases) {
        const Interruptions interruptions;
        failing_close = 1;  // of those that clean up, whose error is not told
        errno = 0;
        EXPECT_EQ(cp_file_to_from(c.to, c.from), 0) << c.to;
        EXPECT_EQ(errno, c.error) << c.to;
        failing_close = 0;
        struct stat file;
        EXPECT_EQ(stat(c.to, &file) == 0 ? static_cast<long>(file.st_size) : -1, c.left) << c.to;
    }
    close(fifo);
}

// The close of descriptor 0 is deliberate.
TEST_F(Command, ACopyWhoseCloseFailsClosesDescriptor0) {
    write_file("/tmp/from", "content");
    const int standard_input = fcntl(0, F_DUPFD_CLOEXEC, 10);
    failing_close = 1;
    errno = 0;
    EXPECT_EQ(cp_file_to_from("/tmp/to", "/tmp/from"), 0);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(read_file("/tmp/to"), "content");
    dup2(standard_input, 0);
    close(standard_input);
}

}  // namespace
