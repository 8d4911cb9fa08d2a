// quill dump: the library writes the dump in a process of its own, and this one tells how far it has come. A section is
// a command that the dump runs: its end is told by the signal that a parent gets, its name by what runs meanwhile.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <quill/machine_info.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <span>

#include "command.h"

namespace quill::cli {

constexpr char kDumpHelp[] =
    "usage: quill dump [--quiet] PATH\n"
    "\n"
    "Appends the diagnostic dump to the file at PATH: versions, memory, kernel log,\n"
    "connections, processes, file systems and configuration. Each section is told on\n"
    "standard error when it is done, with the bytes that it added. A tool that this\n"
    "machine lacks leaves its error text in the dump.\n"
    "\n"
    "  --quiet  tell nothing\n"
    "\n"
    "example: quill dump /flash/machine_info\n";

namespace {

constexpr int kPatience = 20;  // milliseconds
constexpr size_t kNameSize = 80;

int done_pipe[2];

void on_child(int) {
    const int interrupted_errno = errno;
    const char one = 0;
    (void)!write(done_pipe[1], &one, 1);  // fails when nobody reads any more
    errno = interrupted_errno;
}

[[noreturn]] void write_dump(const char *path) {
    struct sigaction action = {};
    action.sa_handler = on_child;
    action.sa_flags = SA_RESTART;
    sigaction(SIGCHLD, &action, nullptr);
    close(done_pipe[0]);
    _exit(saveMachineInfo(path) ? 0 : errno ? errno : EINVAL);
}

size_t read_small_file(const char *path, char *out, size_t size) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    const ssize_t got = read(fd, out, size - 1);
    close(fd);
    out[got > 0 ? got : 0] = '\0';
    return got > 0 ? static_cast<size_t>(got) : 0;
}

// What the shell that the process runs now was told to do, up to where its output goes; kept when none runs. False when
// this kernel does not tell (CONFIG_PROC_CHILDREN).
bool find_section(pid_t process, char (&name)[kNameSize]) {
    char path[64], children[32], line[512];
    snprintf(path, sizeof path, "/proc/%d/task/%d/children", static_cast<int>(process), static_cast<int>(process));
    if (!read_small_file(path, children, sizeof children)) return access(path, R_OK) == 0;
    snprintf(path, sizeof path, "/proc/%d/cmdline", atoi(children));
    const size_t size = read_small_file(path, line, sizeof line);
    for (size_t i = 0; i + 4 < size; i++) {  // "sh", "-c", the command
        if (memcmp(line + i, "\0-c", 4) != 0) continue;
        char *const command = line + i + 4;
        if (char *output = strstr(command, " >> ")) *output = '\0';
        snprintf(name, sizeof name, "%s", command);
        break;
    }
    return true;
}

off_t size_of(const char *path) {
    struct stat file;
    return stat(path, &file) == 0 ? file.st_size : 0;
}

void tell(unsigned number, const char *name, off_t added) {
    if (!*name) name = "(over before it was seen)";
    fprintf(stderr, "%3u  %8lld bytes  ", number, static_cast<long long>(added));
    for (const char *c = name; *c; c++) fputc(isprint(static_cast<unsigned char>(*c)) ? *c : '?', stderr);
    fputc('\n', stderr);
}

// Until the dump's end of the pipe is closed. Returns how many sections there were.
unsigned follow_dump(pid_t process, const char *path, off_t before, bool quiet) {
    char name[kNameSize] = "";
    unsigned sections = 0;
    bool names_told = true;
    for (struct pollfd done = {done_pipe[0], POLLIN, 0};;) {
        // The next command starts at once and may be over in a millisecond: no pause before its name is known.
        const bool search = names_told && !*name;
        if (poll(&done, 1, search ? 0 : kPatience) == 0) {
            names_told = names_told && find_section(process, name);
            if (search) sched_yield();
            continue;
        }
        char byte;
        const ssize_t got = read(done_pipe[0], &byte, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return sections;
        const off_t now = size_of(path);
        sections++;
        if (!quiet) tell(sections, name, now - before);
        before = now;
        name[0] = '\0';
    }
}

}  // namespace

int dump(Arguments &arguments) {
    const bool quiet = arguments.take("--quiet");
    const char *path = arguments.operands(1, 1)[0];
    const int file =
        open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);  // nobody else tells that it cannot be
    if (file < 0) fail("cannot write %s: %s", path, strerror(errno));
    close(file);
    const off_t before = size_of(path);
    if (pipe2(done_pipe, O_CLOEXEC) != 0) fail("cannot make a pipe: %s", strerror(errno));
    fflush(nullptr);
    const pid_t process = fork();
    if (process < 0) fail("cannot start a process: %s", strerror(errno));
    if (process == 0) write_dump(path);
    close(done_pipe[1]);
    const unsigned sections = follow_dump(process, path, before, quiet);
    int status;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status)) fail("the dump was ended by signal %d", WTERMSIG(status));
    if (WEXITSTATUS(status) != 0) fail("cannot dump to %s: %s", path, strerror(WEXITSTATUS(status)));
    const off_t added = size_of(path) - before;
    if (added <= 0) fail("nothing could be written to %s", path);  // each dump has a heading
    printf("%s: %u sections, %lld bytes\n", path, sections, static_cast<long long>(added));
    return kDone;
}

}  // namespace quill::cli
