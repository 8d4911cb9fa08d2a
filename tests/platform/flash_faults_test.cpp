// Flash transfers of many processes, one after the other of which is killed at some point of its work.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/flash.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <string>
#include <vector>

#include "base/endian.h"
#include "support/private_device.h"
#include "support/random.h"

namespace {

using quill::load_be;
using quill::test::Random;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

constexpr size_t kProcesses = 16;
constexpr int kRounds = 25, kKillsInRound = 20;
constexpr uint32_t kLongest = 3000;

// What the processes share.
struct Shared {
    std::atomic<bool> pause, copies_made;
    std::atomic<unsigned> paused, transfers, overlaps, failures;
    std::array<std::atomic<pid_t>, kRounds * kKillsInRound> killed;  // filled in before the kill
    std::atomic<unsigned> kills;

    bool was_killed(pid_t process) const {
        return std::find(killed.begin(), killed.begin() + kills, process) != killed.begin() + kills;
    }
};
Shared *shared = nullptr;
int overlap_lock = -1;

ino_t file_number(int fd) {
    struct stat file;
    return fstat(fd, &file) == 0 ? file.st_ino : 0;
}

// A lock that goes with the process that has it, like the library's own: a second one at the same time is an overlap,
// unless the first is in the process of being killed.
void begin_transfer() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    while (fcntl(overlap_lock, F_SETLK, &lock) != 0) {
        struct flock other = {};
        other.l_type = F_WRLCK;
        fcntl(overlap_lock, F_GETLK, &other);
        if (other.l_type != F_UNLCK && !shared->was_killed(other.l_pid)) {
            shared->overlaps++;
            return;
        }
    }
    if (random() % 8 == 0) usleep(100);  // more of the kills find a process in here
}

void end_transfer() {
    struct flock lock = {};
    lock.l_type = F_UNLCK;
    fcntl(overlap_lock, F_SETLK, &lock);
}

bool is_flash(int fd) {
    static ino_t flash = 0;
    if (flash == 0) {
        struct stat file;
        flash = stat("/dev/mtd0", &file) == 0 ? file.st_ino : 0;
    }
    return shared && file_number(fd) == flash;
}

}  // namespace

extern "C" {

ssize_t __real_read(int fd, void *buffer, size_t length);
ssize_t __real_write(int fd, const void *buffer, size_t length);
ssize_t __wrap_read(int fd, void *buffer, size_t length);
ssize_t __wrap_write(int fd, const void *buffer, size_t length);

ssize_t __wrap_read(int fd, void *buffer, size_t length) {
    const bool flash = is_flash(fd);
    if (flash) begin_transfer();
    const ssize_t result = __real_read(fd, buffer, length);
    if (flash) end_transfer();
    return result;
}

ssize_t __wrap_write(int fd, const void *buffer, size_t length) {
    const bool flash = is_flash(fd);
    if (flash) begin_transfer();
    const ssize_t result = __real_write(fd, buffer, length);
    if (flash) end_transfer();
    return result;
}

}  // extern "C"

namespace {

// Each offset goes with one length and one kind of transfer, so that a record can be seen to be of one piece.
uint32_t length_at(uint32_t offset) { return 1 + offset * 7 % kLongest; }

bool one_transfer(uint32_t offset) {
    static char buffer[kLongest];
    const bool done = offset % 2 ? ReadApFlash(static_cast<int>(offset), length_at(offset), buffer, nullptr) == 0
                                 : WriteApFlash(static_cast<int>(offset), length_at(offset), buffer, nullptr) == 0;
    shared->transfers++;
    return done;
}

[[noreturn]] void work(uint64_t seed) {
    Random random(seed);
    srandom(static_cast<unsigned>(seed));
    for (;;) {
        if (shared->pause) {
            shared->paused++;
            while (shared->pause) usleep(200);
        }
        if (!one_transfer(random.below(50000))) shared->failures++;
    }
}

pid_t start_worker(uint64_t seed) {
    const pid_t child = fork();
    if (child == 0) work(seed);
    return child;
}

// How many of the history's records are not what one transfer writes.
int broken_records() {
    const string history = read_file("/tmp/flashophist");
    const string parent = "[" + std::to_string(getpid()) + "]";
    int broken = history.size() == 16808 ? 0 : 200;
    for (size_t at = 8; broken < 200 && at < history.size(); at += 84) {
        const char *const record = history.data() + at;
        const auto offset = load_be<uint32_t>(record + 4);
        const string process = record + 20;
        const bool whole = load_be<uint32_t>(record + 12) == length_at(offset) &&
                           load_be<uint32_t>(record + 8) == offset % 2 && process.starts_with("flash_faults_te") &&
                           process.ends_with("]") &&
                           (string(record + 52).ends_with(parent) || process.ends_with(parent));
        broken += !whole;
    }
    return broken;
}

string copy_name(unsigned kill) { return "/tmp/copy." + std::to_string(kill); }

// Puts every copy in the history's place, in a process each that has mapped none: the exit code of one says whether the
// copy opened and took a record. Ends with how many did not, at most 255.
[[noreturn]] void open_copies() {
    while (!shared->copies_made) usleep(10000);
    int failed = 0;
    for (unsigned copy = 1; copy <= shared->kills; copy++) {
        if (rename(copy_name(copy).c_str(), "/tmp/flashophist") != 0) failed++;
        const pid_t child = fork();
        if (child == 0) {
            const uint32_t next = load_be<uint32_t>(read_file("/tmp/flashophist").data() + 4);
            const bool taken =
                one_transfer(77) && load_be<uint32_t>(read_file("/tmp/flashophist").data() + 4) == (next + 1) % 200;
            _exit(taken ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        failed += status != 0;
    }
    _exit(std::min(failed, 255));
}

}  // namespace

TEST(FlashFaults, KilledProcessesLeaveTheLocksFreeAndTheHistoryWhole) {
    ENTER_PRIVATE_DEVICE();
    write_file("/dev/mtd0", string(60000, 'f'));
    write_file("/tmp/mtd", "");
    write_file("/tmp/overlap", "");
    overlap_lock = open("/tmp/overlap", O_RDWR);
    void *const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared = new (memory) Shared();
    alarm(300);  // a lost semaphore would stop the test here

    Random random(1);
    uint64_t seed = 1;
    const pid_t opener = fork();
    if (opener == 0) open_copies();
    std::vector<pid_t> workers;
    for (size_t i = 0; i < kProcesses; i++) workers.push_back(start_worker(seed++));
    while (shared->transfers < 200 + kProcesses) usleep(1000);  // the history is full
    int broken = 0;
    for (int round = 0; round < kRounds; round++) {
        shared->pause = false;
        for (int kills = 0; kills < kKillsInRound; kills++) {
            usleep(random.below(3000));
            pid_t &worker = workers[random.below(kProcesses)];
            shared->killed[shared->kills] = worker;
            shared->kills++;
            kill(worker, SIGKILL);
            ASSERT_EQ(waitpid(worker, nullptr, 0), worker);
            worker = start_worker(seed++);
            // What a power cut would leave of the history, at this moment.
            write_file(copy_name(shared->kills), read_file("/tmp/flashophist"));
        }
        shared->paused = 0;
        shared->pause = true;
        while (shared->paused < kProcesses) usleep(200);

        // A kill breaks the one record that is being written.
        const int found = broken_records();
        broken += found;
        EXPECT_LE(found, kKillsInRound);
        EXPECT_EQ(semctl(semget(ftok("/tmp/mtd", 42), 1, 0), 0, GETVAL), 0);
        for (uint32_t i = 0; i < 200; i++) ASSERT_TRUE(one_transfer(i + 1));
        EXPECT_EQ(broken_records(), 0) << "nothing goes on breaking them";
    }
    for (const pid_t worker : workers) kill(worker, SIGKILL), waitpid(worker, nullptr, 0);
    shared->copies_made = true;
    int not_opened = -1;
    waitpid(opener, &not_opened, 0);
    std::cout << kProcesses << " processes, " << shared->kills << " killed, " << shared->transfers << " transfers, "
              << shared->overlaps << " overlapping, " << shared->failures << " failed, " << broken
              << " records broken by a kill, " << WEXITSTATUS(not_opened) << " of " << shared->kills
              << " copies do not open\n";
    EXPECT_EQ(shared->overlaps, 0u);
    EXPECT_EQ(shared->failures, 0u);
    EXPECT_EQ(not_opened, 0);
    EXPECT_GT(shared->transfers, 2000u);
}
