#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/command.h>
#include <quill/pipe.h>
#include <sys/stat.h>
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

// By a descriptor that no command inherits, unlike a stream's.
string read_list(const string &file) {
    char text[512];
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, text, sizeof text);
    close(fd);
    return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

// A command by one of the ways to run it, and its status. The shell itself says what it has open, into the file; the
// one that it reads the folder with included.
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

// Each descriptor is what it was opened as until it is closed: nobody else closes it.
void open_and_close(const std::atomic<bool> &done) {
    for (unsigned n = 0; !done; n++, std::this_thread::yield()) {
        int fds[4];
        struct stat opened, found;
        const char *const device = n % 2 ? "/dev/null" : "/dev/zero";
        for (int &fd : fds) fd = open(device, O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(stat(device, &opened), 0);
        for (const int fd : fds) {
            ASSERT_EQ(fstat(fd, &found), 0);
            ASSERT_EQ(found.st_ino, opened.st_ino);
            ASSERT_EQ(close(fd), 0);
        }
    }
}

TEST(CommandThreads, EachHasItsOwnStatusAndNoOthersDescriptors) {
    ENTER_PRIVATE_DEVICE();
#if defined(__SANITIZE_THREAD__) || defined(__powerpc__)
    constexpr int kCommands = 60;  // a child is a copy of the process here, or of the emulator
#else
    constexpr int kCommands = 500;
#endif
    // With a thread that has come and gone: a sanitizer may open something with the first one.
    std::thread([] {}).join();
    const int before = open_descriptors();
    string alone[kWays];
    for (int way = 0; way < kWays; way++) {
        ASSERT_EQ(run(way, "/tmp/alone", 7), 7 << 8) << way;
        alone[way] = read_list("/tmp/alone");
        ASSERT_NE(alone[way].find("/proc/self/fd/2"), string::npos);
    }
    std::atomic<bool> done = false;
    std::atomic<int> wrong_statuses = 0, leaks = 0;
    std::thread opener([&] { open_and_close(done); });
    quill::test::Threads(8, [&](int t) {
        const string file = "/tmp/list" + std::to_string(t);
        for (int i = 0; i < kCommands; i++) {
            const int way = i % kWays, code = (t * 31 + i) % 256;
            wrong_statuses += run(way, file, code) != code << 8;
            leaks += read_list(file) != alone[way];
            unlink(file.c_str());
        }
    });
    done = true;
    opener.join();
    EXPECT_TRUE(wrong_statuses == 0 && leaks == 0) << wrong_statuses << " wrong statuses, " << leaks << " leaks";
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
