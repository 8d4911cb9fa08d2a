#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/command.h>
#include <quill/pipe.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/descriptors.h"
#include "support/private_device.h"
#include "support/threads.h"

namespace {

using quill::test::open_descriptors;
using std::string;

// Reads the file by a descriptor that no command inherits. Commands would inherit the descriptor of a stream.
string read_list(const string &file) {
    char text[512];
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, text, sizeof text);
    close(fd);
    return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

// Runs a command in one of the ways and returns its status. The shell writes the list of its open descriptors into the
// file. The list includes the descriptor with which the shell reads the folder.
constexpr int kWays = 4;
int run(int way, const string &file, int code) {
    const string exit = ";exit\t" + std::to_string(code), list = "echo /proc/self/fd/* >" + file + exit;
    string direct = "sh -c echo\t/proc/self/fd/*" + exit;
    if (way == 0) return execute_command_status_no_io(direct.data(), file.c_str(), nullptr);
    if (way == 1) return execute_command_status(list.c_str());
    int child;
    FILE *const pipe = way == 2 ? quill_popen_thr(list.c_str(), "r", &child)
                                : quill_popen_thr(("cat >/dev/null; " + list).c_str(), "w", &child);
    const bool used = pipe && (way == 2 ? fgetc(pipe) == EOF : fputs("text", pipe) >= 0);
    return used ? quill_pclose_thr(pipe, child) : -1;
}

TEST(CommandThreads, EachHasItsOwnStatusAndNoOthersDescriptors) {
    ENTER_PRIVATE_DEVICE();
#if defined(__SANITIZE_THREAD__) || defined(__powerpc__)
    constexpr int kCommands = 60;  // slow here: a child is a copy of the process or of the emulator
#else
    constexpr int kCommands = 500;
#endif
    // Starts and ends a thread first, because a sanitizer may open a file with the first thread.
    std::thread([] {}).join();
    const int before = open_descriptors();
    string alone[kWays];
    for (int way = 0; way < kWays; way++) {
        ASSERT_EQ(run(way, "/tmp/alone", 7), 7 << 8) << way;
        alone[way] = read_list("/tmp/alone");
        ASSERT_NE(alone[way].find("/proc/self/fd/2"), string::npos);
    }
    std::atomic<int> wrong_statuses = 0, leaks = 0, closed_by_others = 0;
    quill::test::Threads(8, [&](int t) {
        const string file = "/tmp/list" + std::to_string(t);
        for (int i = 0; i < kCommands; i++) {
            const int way = i % kWays, code = (t * 31 + i) % 256;
            const int mine = open("/dev/null", O_RDONLY | O_CLOEXEC);
            wrong_statuses += run(way, file, code) != code << 8;
            leaks += read_list(file) != alone[way];
            closed_by_others += close(mine) != 0;
            unlink(file.c_str());
        }
    });
    EXPECT_EQ(wrong_statuses, 0);
    EXPECT_EQ(leaks, 0);
    EXPECT_EQ(closed_by_others, 0);
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
