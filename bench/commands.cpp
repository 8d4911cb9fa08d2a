// Commands: starts /bin/true and waits for it, in a process with 16 MiB of memory and in one with 1 GiB.
#include <quill/command.h>
#include <quill/pipe.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench.h"

namespace {

// Resident memory: each page has been written.
std::shared_ptr<std::vector<char>> resident(size_t bytes) { return std::make_shared<std::vector<char>>(bytes, '\1'); }

int by_quill_popen() {
    FILE *stream = quill_popen("/bin/true", "r");
    return stream ? quill_pclose(stream) : -1;
}
int by_quill_popen_thr() {
    int child;
    FILE *stream = quill_popen_thr("/bin/true", "r", &child);
    return stream ? quill_pclose_thr(stream, child) : -1;
}
int by_popen() {
    FILE *stream = popen("/bin/true", "r");
    return stream ? pclose(stream) : -1;
}
int by_no_io() {
    char command[] = "/bin/true";
    return execute_command_status_no_io(command, nullptr, nullptr);
}
int by_system() { return system("/bin/true"); }
int by_posix_spawn() {
    char path[] = "/bin/true";
    char *words[] = {path, nullptr};
    pid_t child;
    int status = -1;
    if (posix_spawn(&child, path, nullptr, nullptr, words, environ) != 0) return -1;
    waitpid(child, &status, 0);
    return status;
}

void add_command(const char *work, const char *contender, int (*run)()) {
    for (const auto &[bytes, name] : {std::pair(size_t{16} << 20, ", 16 MiB"), {size_t{1} << 30, ", 1 GiB"}}) {
        bench::add(std::string("commands: ") + work + name, contender, 0, 1, [bytes = bytes, run] {
            return bench::Work{[memory = resident(bytes), run] { return static_cast<uint64_t>(run() == 0); }};
        });
    }
}

const bool added = [] {
    add_command("by pipe", "quill", by_quill_popen);
    add_command("by pipe", "quill, for threads", by_quill_popen_thr);
    add_command("by pipe", "popen", by_popen);
    add_command("direct", "quill", by_no_io);
    add_command("direct", "posix_spawn", by_posix_spawn);
    add_command("direct", "system", by_system);
    return true;
}();

}  // namespace
