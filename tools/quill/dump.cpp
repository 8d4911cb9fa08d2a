// quill dump: a child process watches the size of the file while the library writes the dump.
#include <errno.h>
#include <fcntl.h>
#include <quill/machine_info.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
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
    "connections, processes, file systems and configuration. Progress is printed on\n"
    "standard error every second. For a tool that this machine lacks, the dump\n"
    "contains the error text.\n"
    "\n"
    "  --quiet  print no progress\n"
    "\n"
    "example: quill dump /flash/machine_info\n";

namespace {

long long size_of(int file) {
    struct stat found;
    return fstat(file, &found) == 0 ? static_cast<long long>(found.st_size) : 0;
}

[[noreturn]] void tell_growth(int file, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const long long before = size_of(file);
    for (sleep(1); getppid() == parent; sleep(1)) fprintf(stderr, "%lld bytes\n", size_of(file) - before);
    _exit(0);
}

}  // namespace

int dump(Arguments &arguments) {
    const bool quiet = arguments.take("--quiet");
    const char *path = arguments.operands(1, 1)[0];
    // The file is opened here, because the library does not report a file that cannot be written.
    const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0) fail("cannot write %s: %s", path, strerror(errno));
    const long long before = size_of(file);
    if (!quiet) fputs("0 bytes\n", stderr);
    const pid_t parent = getpid(), child = quiet ? -1 : fork();
    if (child == 0) tell_growth(file, parent);
    errno = EINVAL;
    const bool done = saveMachineInfo(path) != 0;
    const int error = errno;
    if (child > 0) {
        kill(child, SIGTERM);
        waitpid(child, nullptr, 0);
    }
    if (!done) fail("cannot dump to %s: %s", path, strerror(error));
    const long long added = size_of(file) - before;
    if (added <= 0) fail("nothing could be written to %s", path);  // every dump contains some text
    printf("%s: %lld bytes\n", path, added);
    return kDone;
}

}  // namespace quill::cli
