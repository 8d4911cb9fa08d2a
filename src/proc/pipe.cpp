#include <quill/pipe.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/errno.h"
#include "proc/child.h"

// Both ends of a pipe are created close-on-exec, so that a program that another thread starts inherits neither. Only
// quill_popen() then clears the flag of the parent's end. With an inherited write end open, a reader would never see
// the end of file. The child gets its end by dup2, which does not copy the flag. If the end already has the right
// number, the flag is cleared instead.

namespace {

using quill::Descriptor;
using quill::NoCancellation;

// Whether programs that the caller starts in other ways inherit the parent's end.
enum Inheritance { kInherited, kCloseOnExec };

struct ShellOnPipe {
    quill::Shell shell;
    int parents_end, childs_end;
    int place;  // the child's standard descriptor for the pipe
};

void run_on_pipe(const void *argument) {
    const ShellOnPipe &command = *static_cast<const ShellOnPipe *>(argument);
    close(command.parents_end);
    if (command.childs_end == command.place) {
        fcntl(command.place, F_SETFD, 0);
    } else {
        close(command.place);
        dup2(command.childs_end, command.place);
        close(command.childs_end);
    }
    umask(quill::kChildUmask);
    command.shell.run();
}

FILE *give_up(FILE *stream) {
    const quill::ErrnoGuard errno_guard;
    fclose(stream);
    return nullptr;
}

FILE *open_pipe(const char *command, const char *mode, Inheritance inheritance, int *child) {
    const bool reads = mode && mode[0] == 'r', writes = mode && mode[0] == 'w';
    if ((!reads && !writes) || mode[1]) {
        errno = EINVAL;
        return nullptr;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    Descriptor parents_end(ends[reads ? 0 : 1]);
    const Descriptor childs_end(ends[reads ? 1 : 0]);
    if (inheritance == kInherited) fcntl(parents_end.get(), F_SETFD, 0);
    FILE *const stream = fdopen(parents_end.get(), mode);
    if (!stream) return nullptr;

    const ShellOnPipe on_pipe = {quill::Shell(command), parents_end.release(), childs_end.get(),
                                 reads ? STDOUT_FILENO : STDIN_FILENO};
    const pid_t started = quill::start_child(run_on_pipe, &on_pipe);
    if (started == -1) return give_up(stream);
    *child = started;
    return stream;
}

int close_pipe(FILE *stream, pid_t child) {
    int status;
    if (fclose(stream) != 0) return -1;
    // waitpid is not repeated after a signal: callers treat -1 as a failure, and may wait for the child themselves.
    return waitpid(child, &status, 0) == -1 ? -1 : status;
}

}  // namespace

FILE *quill_popen(const char *command, const char *mode) {
    const NoCancellation no_cancellation;
    int child;  // not used: quill_pclose waits for the child that ends first
    return open_pipe(command, mode, kInherited, &child);
}

int quill_pclose(FILE *stream) {
    const NoCancellation no_cancellation;
    constexpr pid_t kAnyChild = -1;
    return close_pipe(stream, kAnyChild);
}

FILE *quill_popen_thr(const char *command, const char *mode, int *child) {
    const NoCancellation no_cancellation;
    *child = -1;
    return open_pipe(command, mode, kCloseOnExec, child);
}

int quill_pclose_thr(FILE *stream, int child) {
    const NoCancellation no_cancellation;
    return close_pipe(stream, child);
}
