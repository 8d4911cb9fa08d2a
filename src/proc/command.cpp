#include <quill/command.h>

#include <fcntl.h>
#include <quill/pipe.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/errno.h"
#include "base/memory.h"
#include "base/shell_line.h"
#include "base/text_file.h"
#include "proc/child.h"

// Children end with _exit, not exit: exit would write the caller's stdio buffers a second time, and run the caller's
// exit handlers in the child.

namespace {

using quill::Descriptor;
using quill::NoCancellation;
using quill::Owned;

// --- what children do before they run a program: async-signal-safe

// Called in the child: makes descriptor 1 or 2 refer to the file. If the file cannot be opened, the descriptor stays
// closed.
void redirect(int descriptor, const char *path) {
    close(descriptor);
    const int file = open(path, O_RDWR | O_CREAT | O_TRUNC, 0664);
    if (file == -1 || file == descriptor) return;
    dup2(file, descriptor);
    close(file);
}

// --- a program without a shell

// A command line split into words, in memory of its own.
class Words {
public:
    // A run of blanks is one separator, but a blank at the start makes the first word empty. If memory runs out or the
    // command is null, there are no words.
    explicit Words(const char *command) {
        if (!command) return;
        const size_t length = strlen(command);
        text_ = quill::new_zeroed<char>(length + 1);
        words_ = quill::new_zeroed<char *>(static_cast<size_t>(std::count(command, command + length, ' ')) + 2);
        if (!text_ || !words_) return;
        memcpy(text_.get(), command, length);
        char **word = words_.get();
        for (char *at = text_.get(); at && *at;) {
            *word++ = at;
            at = strchr(at, ' ');
            while (at && *at == ' ') *at++ = '\0';
        }
    }
    bool is_complete() const { return text_ && words_; }
    const char *program() const { return text_.get(); }  // the first word, even if it is empty
    char *const *vector() const { return words_.get(); }

private:
    Owned<char> text_;
    Owned<char *> words_;
};

struct DirectCommand {
    Words words;
    const char *output, *errors;
};

constexpr int kNotRun = 1;

void run_directly(const void *argument) {
    const DirectCommand &command = *static_cast<const DirectCommand *>(argument);
    if (!command.words.is_complete()) _exit(kNotRun);
    umask(quill::kChildUmask);
    if (command.output) redirect(STDOUT_FILENO, command.output);
    if (command.errors) redirect(STDERR_FILENO, command.errors);
    execvp(command.words.program(), command.words.vector());
    _exit(kNotRun);
}

// --- the worker of a detached command
//
// It may call only async-signal-safe functions: the process that forks it may have other threads, and the locks that
// these hold stay locked in the worker.

// Keeps a signal of the terminal from ending the worker, as system() does. The signal gets an empty handler, because
// the command would inherit an ignored signal. It does not inherit a handler.
void outlive(int signal) {
    struct sigaction action;
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
    action = {};
    action.sa_handler = [](int) {};
    sigaction(signal, &action, nullptr);
}

void run_shell(const void *shell) { static_cast<const quill::Shell *>(shell)->run(); }

// Does what system() does. system() itself cannot be called here: it takes a lock, which another thread may have held
// at the fork.
bool shell_succeeds(const char *command) {
    outlive(SIGINT);
    outlive(SIGQUIT);
    const quill::Shell shell(command);
    const pid_t child = quill::start_child(run_shell, &shell);
    if (child == -1) return false;
    int status;
    return quill::repeat_if_interrupted([&] { return waitpid(child, &status, 0); }) == child && status == 0;
}

[[noreturn]] void run_detached(const char *command, const char *output, const char *errors, const char *status_file,
                               const char *delete_on_success) {
    quill::close_as_exec_would();
    umask(quill::kChildUmask);
    if (output && *output) redirect(STDOUT_FILENO, output);
    if (errors && *errors) redirect(STDERR_FILENO, errors);
    if (status_file && !quill::replace_content(status_file, "1\n")) _exit(255);
    signal(SIGCHLD, SIG_DFL);
    const bool succeeded = shell_succeeds(command);
    if (succeeded && delete_on_success) unlink(delete_on_success);
    if (status_file) quill::replace_content(status_file, succeeded ? "3\n" : "2\n");
    _exit(0);
}

// --- files

bool copy_content(int from, int to) {
    char chunk[4096];
    for (;;) {
        const ssize_t length = read(from, chunk, sizeof chunk);
        if (length <= 0) return length == 0;
        if (!quill::write_all(to, {chunk, static_cast<size_t>(length)})) return false;
    }
}

}  // namespace

int execute_command(const char *command) {
    const NoCancellation no_cancellation;
    int child;
    FILE *const output = quill_popen_thr(command, "r", &child);
    if (!output) return 0;
    // Closed without reading, so that the command cannot block on a full pipe; if it writes, it gets SIGPIPE.
    (void)quill_pclose_thr(output, child);
    return 1;
}

int execute_command_status(const char *command) {
    const NoCancellation no_cancellation;
    int child;
    FILE *const output = quill_popen_thr(command, "r", &child);
    return output ? quill_pclose_thr(output, child) : 0;
}

int execute_command_status_no_io(char *command, const char *output, const char *errors) {
    const NoCancellation no_cancellation;
    const DirectCommand direct = {Words(command), output, errors};
    const pid_t child = quill::start_child(run_directly, &direct);
    if (child == -1) return -1;
    int status;
    // waitpid is not repeated after a signal: callers treat negative values as failures.
    return waitpid(child, &status, 0) == -1 ? -1 : status;
}

int execute_command_no_io(char *command) { return execute_command_status_no_io(command, nullptr, nullptr) == 0; }

int execute_command_status_no_io_nowait(const char *command, const char *output, const char *errors,
                                        const char *status_file, const char *delete_on_success) {
    if (!command) return -1;
    const NoCancellation no_cancellation;
    const pid_t child = fork();
    if (child == -1) return -1;
    if (child > 0) return waitpid(child, nullptr, 0) == -1 ? -1 : 0;
    const pid_t worker = fork();
    // Returns instead of exiting, although the caller now runs in two processes. An exit would look to the first
    // process like a launched command. Compatibility: programs know that -1 may be returned in a second process, and
    // clean up there.
    if (worker == -1) return -1;
    if (worker > 0) _exit(0);
    run_detached(command, output, errors, status_file, delete_on_success);
}

int process_normal(const char *name) {
    const NoCancellation no_cancellation;
    quill::ShellLine<> line;
    // killall would treat a name that begins with a dash as an option.
    if (!name || name[0] == '-' || !line.format("killall -0 %s", name)) return 0;
    return system(line.text()) == 0;
}

int execute_command_proc(int character, const char *path) {
    const NoCancellation no_cancellation;
    const char content = static_cast<char>(character);
    if (!quill::replace_content(path, {&content, 1})) perror("execute_command_proc failure ");
    return 1;
}

int cp_file_to_from(const char *destination, const char *source) {
    const NoCancellation no_cancellation;
    const Descriptor from(open(source, O_RDONLY | O_CLOEXEC));
    if (!from) return 0;
    Descriptor to(open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!to || !copy_content(from.get(), to.get())) return 0;
    if (to.close() == 0) return 1;
    // Compatibility: when close fails, descriptor 0 is closed as well. Daemons have /dev/null there and do not notice.
    const Descriptor also_closed(STDIN_FILENO);
    return 0;
}
