// Child processes that are about to run another program, at a cost that does not grow with the caller's memory.
#pragma once

#include <sys/types.h>

namespace quill {

// What every child creates files with, whatever the caller has set.
inline constexpr mode_t kChildUmask = 022;

// Starts a child that runs body(argument), and returns its id, or -1 with errno. When the call returns, the body has
// run another program or ended with _exit.
//
// Until then the child shares the caller's memory, and the calling thread waits. So the body must not return; calls
// only what is async-signal-safe; and writes to nothing but its own variables: what it needs is made before the start.
// Its descriptors, umask and signal actions are its own. It starts with the caller's descriptors, umask and signal
// mask, the caller's ignored signals, and the default action in place of each handler. The caller has cancellation held
// off.
pid_t start_child(void (*body)(const void *argument), const void *argument);

// Closes all close-on-exec descriptors in a forked child that will not exec. Otherwise it keeps other threads' pipes
// open, and their readers never see end of file. Async-signal-safe.
void close_as_exec_would();

// A command for the shell: made before the start of a child, and run in it.
class Shell {
public:
    explicit Shell(const char *command);
    [[noreturn]] void run() const;  // with exit code 255 without a shell

private:
    char *words_[4];
};

}  // namespace quill
