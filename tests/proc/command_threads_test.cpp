#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/command.h>
#include <quill/pipe.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <iostream>
#include <string>
#include <thread>

#include "support/descriptors.h"
#include "support/private_device.h"
#include "support/threads.h"

namespace {

using quill::test::open_descriptors;

// The shell itself says what it has open, into the file; the one that it reads the folder with included.
std::string list_into(const std::string &file, int code) {
    return "echo /proc/self/fd/* >" + file + "; exit " + std::to_string(code);
}

// By a descriptor that no command inherits, unlike a stream's.
std::string read_list(const std::string &file) {
    char text[512];
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, text, sizeof text);
    close(fd);
    return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

// The ways to run a command, each of which answers its status.

int reading(const std::string &file, int code) {
    int child;
    FILE *const from = quill_popen_thr((list_into(file, code) + "; echo unread").c_str(), "r", &child);
    return from && fgetc(from) == EOF ? quill_pclose_thr(from, child) : -1;
}

int writing(const std::string &file, int code) {
    int child;
    FILE *const to = quill_popen_thr(("cat >/dev/null; " + list_into(file, code)).c_str(), "w", &child);
    return to && fputs("text", to) >= 0 ? quill_pclose_thr(to, child) : -1;
}

int unread(const std::string &file, int code) { return execute_command_status(list_into(file, code).c_str()); }

int direct(const std::string &file, int code) {
    std::string command = "sh -c echo\t/proc/self/fd/*;exit\t" + std::to_string(code);
    return execute_command_status_no_io(command.data(), file.c_str(), nullptr);
}

using Way = int (*)(const std::string &file, int code);
constexpr Way kWays[] = {reading, writing, unread, direct};

// Each descriptor is what it was opened as until it is closed: nobody else closes it.
void open_and_close(const std::atomic<bool> &done, std::atomic<int> &files) {
    for (unsigned n = 0; !done; n++) {
        int fds[4];
        struct stat opened, found;
        for (int &fd : fds) fd = open(n % 2 ? "/dev/null" : "/dev/zero", O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(stat(n % 2 ? "/dev/null" : "/dev/zero", &opened), 0);
        for (const int fd : fds) {
            ASSERT_EQ(fstat(fd, &found), 0);
            ASSERT_EQ(found.st_ino, opened.st_ino);
            ASSERT_EQ(close(fd), 0);
            files++;
        }
        std::this_thread::yield();
    }
}

TEST(CommandThreads, EachHasItsOwnStatusAndNoOthersDescriptors) {
    ENTER_PRIVATE_DEVICE();
#if defined(__SANITIZE_THREAD__) || defined(__powerpc__)
    constexpr int kCommands = 60;  // a child is a copy of the process here, or of the emulator
#else
    constexpr int kCommands = 500;
#endif
    constexpr int kThreads = 8;
    // With a thread that has come and gone: a sanitizer may open something with the first one.
    std::thread([] {}).join();
    const int before = open_descriptors();
    std::string alone[std::size(kWays)];
    for (size_t way = 0; way < std::size(kWays); way++) {
        ASSERT_EQ(kWays[way]("/tmp/alone", 7), 7 << 8) << way;
        alone[way] = read_list("/tmp/alone");
        ASSERT_NE(alone[way].find("/proc/self/fd/2"), std::string::npos);
    }

    std::atomic<bool> done = false;
    std::atomic<int> files = 0, wrong_statuses = 0, leaks = 0, commands = 0;
    std::thread opener(open_and_close, std::cref(done), std::ref(files));
    quill::test::Threads(kThreads, [&](int t) {
        const std::string file = "/tmp/list" + std::to_string(t);
        for (int i = 0; i < kCommands; i++) {
            const size_t way = static_cast<size_t>(i) % std::size(kWays);
            const int code = (t * 31 + i) % 256;
            wrong_statuses += kWays[way](file, code) != code << 8;
            leaks += read_list(file) != alone[way];
            unlink(file.c_str());
            commands++;
        }
    });
    done = true;
    opener.join();
    EXPECT_EQ(wrong_statuses, 0);
    EXPECT_EQ(leaks, 0);
    EXPECT_EQ(open_descriptors(), before);
    std::cout << kThreads << " threads, " << commands << " commands, " << files
              << " files opened and closed meanwhile; " << wrong_statuses << " wrong statuses, " << leaks
              << " commands with descriptors that are not theirs; " << before << " descriptors before, "
              << open_descriptors() << " after\n";
}

}  // namespace
