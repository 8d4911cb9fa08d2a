// Child processes that are about to run another program, at a cost that does not grow with the caller's memory.
#pragma once

#include <sys/types.h>

namespace quill {

// The umask of every child, whatever the caller's umask is.
inline constexpr mode_t kChildUmask = 022;

// Starts a child that runs body(argument), and returns its id, or -1 with errno. When the call returns, the body has
// run another program or ended with _exit.
//
// Until then the child shares the caller's memory, and the calling thread waits. So the body must not return, must call
// only async-signal-safe functions, and must write only to its own variables. Prepare what it needs before the start.
// The child has its own descriptors, umask and signal actions. It starts with the caller's descriptors, umask, signal
// mask and ignored signals, and with the default action in place of each handler. The caller must have cancellation
// disabled.
pid_t start_child(void (*body)(const void *argument), const void *argument);

// Closes all close-on-exec descriptors in a forked child that will not exec. Otherwise it keeps other threads' pipes
// open, and their readers never see end of file. Async-signal-safe.
void close_as_exec_would();

// A command for the shell. The parent constructs the object before it starts a child. The child calls run().
class Shell {
public:
    explicit Shell(const char *command);
    [[noreturn]] void run() const;  // exits with 255 if there is no shell

private:
    char *words_[4];
};

}  // namespace quill
