#include "proc/child.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <charconv>

#include "base/descriptor.h"
#include "syslog/broken_pipe.h"

// How a child starts: fork copies the caller's page tables, which takes some 30 ms a gigabyte, and the exec discards
// the copy. vfork copies nothing. But parent and child then share memory until the exec, and three things that are
// harmless after a fork could harm the caller:
//
//     signals        A handler would run in the child and write the caller's data. All signals are blocked from before
//                    the start; the child puts the default action in place of its handlers before it unblocks them.
//     cancellation   The child calls open and close as the calling thread. A pending cancellation of that thread would
//                    take effect there. Callers disable cancellation before the start.
//     errno          The child's calls set the caller's errno. It is restored.
//
// Everything also works where vfork is really a fork (under qemu-user, with ThreadSanitizer), because the child returns
// nothing through the shared memory. It reports errors by its exit code.

namespace {

struct Start {
    void (*body)(const void *argument);
    const void *argument;
    sigset_t mask;
};

// Returns whether the action is the log client's handler, in a program that ignores broken pipes. A thread that is
// logging now has installed that handler.
bool in_place_of_ignoring(const struct sigaction &action) {
    return action.sa_handler == quill::broken_pipe.ours.load(std::memory_order_relaxed) &&
           quill::broken_pipe.callers_ignores.load(std::memory_order_relaxed);
}

void put_default_in_place_of_handlers() {
    for (int signal = 1; signal < NSIG; signal++) {
        struct sigaction action;
        if (sigaction(signal, nullptr, &action) != 0) continue;  // a signal that the C library reserves
        if (action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN) continue;
        const bool ignore = signal == SIGPIPE && in_place_of_ignoring(action);
        action = {};
        action.sa_handler = ignore ? SIG_IGN : SIG_DFL;
        sigaction(signal, &action, nullptr);
    }
}

[[noreturn, gnu::noinline]] void run_in_child(const Start &start) {
    put_default_in_place_of_handlers();
    sigprocmask(SIG_SETMASK, &start.mask, nullptr);
    start.body(start.argument);
    _exit(255);  // not reached
}

// This function has no variables that the child could change. It is never inlined into a function that has some.
[[gnu::noinline]] pid_t start_sharing_memory(const Start &start) {
    const pid_t child = vfork();
    // NOLINTNEXTLINE(clang-analyzer-unix.Vfork): the child does only what proc/child.h allows
    if (child == 0) run_in_child(start);
    return child;
}

}  // namespace

pid_t quill::start_child(void (*body)(const void *argument), const void *argument) {
    Start start = {body, argument, {}};
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &start.mask);
    const int callers_errno = errno;
    const pid_t child = start_sharing_memory(start);
    if (child != -1) errno = callers_errno;
    pthread_sigmask(SIG_SETMASK, &start.mask, nullptr);
    return child;
}

namespace {

void close_one_as_exec_would(int fd) {
    const int flags = fcntl(fd, F_GETFD);
    if (flags != -1 && (flags & FD_CLOEXEC)) close(fd);
}

// Used if /proc/self/fd cannot be opened. Checks only low numbers: the limit may be in the millions, but the numbers of
// open descriptors are seldom that high.
void close_low_ones_as_exec_would() {
    constexpr int kLow = 4096;
    for (int fd = 0; fd < kLow; fd++) close_one_as_exec_would(fd);
}

}  // namespace

void quill::close_as_exec_would() {
    // The directory is read without the C library's functions, because they allocate memory. linux_dirent64: inode and
    // offset of 8 bytes, length of the entry in 2, type in 1, name (getdents64(2)).
    constexpr size_t kLengthAt = 16, kNameAt = 19;
    alignas(8) char entries[1024];
    const Descriptor open_ones(open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!open_ones) return close_low_ones_as_exec_would();
    for (;;) {
        const long size = syscall(SYS_getdents64, open_ones.get(), entries, sizeof entries);
        if (size <= 0) return;
        uint16_t length;
        for (const char *entry = entries; entry < entries + size; entry += length) {
            memcpy(&length, entry + kLengthAt, sizeof length);
            const char *const name = entry + kNameAt;
            int fd = -1;
            std::from_chars(name, name + strlen(name), fd);
            if (fd == -1 || fd == open_ones.get()) continue;
            close_one_as_exec_would(fd);
        }
    }
}

quill::Shell::Shell(const char *command)
    : words_{const_cast<char *>("sh"), const_cast<char *>("-c"), const_cast<char *>(command), nullptr} {}

[[noreturn]] void quill::Shell::run() const {
    execv("/bin/sh", words_);
    _exit(255);
}
