// Flash transfers of many processes, one after the other of which is killed at some point of its work.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/flash.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
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
    std::atomic<bool> pause;
    std::atomic<unsigned> paused, transfers, overlaps, failures;
    std::array<std::atomic<pid_t>, kRounds * kKillsInRound> killed;  // filled in before the kill
    std::atomic<unsigned> kills;

    bool was_killed(pid_t process) const {
        return std::find(killed.begin(), killed.begin() + kills, process) != killed.begin() + kills;
    }
};
Shared *shared = nullptr;
int overlap_lock = -1;

struct flock lock_of(short type) {
    struct flock lock = {};
    lock.l_type = type;
    return lock;
}

// A lock that goes with the process that has it, like the library's own: a second one at the same time is an overlap,
// unless the first is in the process of being killed.
void begin_transfer() {
    struct flock lock = lock_of(F_WRLCK);
    while (fcntl(overlap_lock, F_SETLK, &lock) != 0) {
        struct flock other = lock_of(F_WRLCK);
        fcntl(overlap_lock, F_GETLK, &other);
        if (other.l_type == F_UNLCK || shared->was_killed(other.l_pid)) continue;
        shared->overlaps++;
        return;
    }
    if (random() % 8 == 0) usleep(100);  // more of the kills find a process in here
}

template <typename Call>
ssize_t watched(int fd, Call call) {
    struct stat flash, file;
    if (!shared || stat("/dev/mtd0", &flash) != 0 || fstat(fd, &file) != 0 || file.st_ino != flash.st_ino)
        return call();
    begin_transfer();
    const ssize_t result = call();
    struct flock lock = lock_of(F_UNLCK);
    fcntl(overlap_lock, F_SETLK, &lock);
    return result;
}

}  // namespace

extern "C" {

ssize_t __real_read(int fd, void *buffer, size_t length);
ssize_t __real_write(int fd, const void *buffer, size_t length);
ssize_t __wrap_read(int fd, void *buffer, size_t length);
ssize_t __wrap_write(int fd, const void *buffer, size_t length);

ssize_t __wrap_read(int fd, void *buffer, size_t length) {
    return watched(fd, [=] { return __real_read(fd, buffer, length); });
}
ssize_t __wrap_write(int fd, const void *buffer, size_t length) {
    return watched(fd, [=] { return __real_write(fd, buffer, length); });
}

}  // extern "C"

namespace {

// Each offset goes with one length and one kind of transfer, so that a record can be seen to be of one piece.
uint32_t length_at(uint32_t offset) { return 1 + offset * 7 % kLongest; }

bool one_transfer(uint32_t offset) {
    static char buffer[kLongest];
    shared->transfers++;
    return (offset % 2 ? ReadApFlash(static_cast<int>(offset), length_at(offset), buffer, nullptr)
                       : WriteApFlash(static_cast<int>(offset), length_at(offset), buffer, nullptr)) == 0;
}

pid_t start_worker(uint64_t seed) {
    const pid_t child = fork();
    if (child != 0) return child;
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

// How many of the history's records are not what one transfer writes.
int broken_records() {
    const string history = read_file("/tmp/flashophist"), parent = "[" + std::to_string(getpid()) + "]";
    int broken = history.size() == 16808 ? 0 : 200;
    for (size_t at = 8; broken < 200 && at < history.size(); at += 84) {
        const char *const record = history.data() + at;
        const auto offset = load_be<uint32_t>(record + 4);
        const string process = record + 20;
        broken += !(load_be<uint32_t>(record + 12) == length_at(offset) &&
                    load_be<uint32_t>(record + 8) == offset % 2 && process.starts_with("flash_faults_te") &&
                    process.ends_with("]") && (string(record + 52).ends_with(parent) || process.ends_with(parent)));
    }
    return broken;
}

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
    std::vector<pid_t> workers;
    for (size_t i = 0; i < kProcesses; i++) workers.push_back(start_worker(seed++));
    while (shared->transfers < 200 + kProcesses) usleep(1000);  // the history is full
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
        }
        shared->paused = 0;
        shared->pause = true;
        while (shared->paused < kProcesses) usleep(200);

        EXPECT_LE(broken_records(), kKillsInRound) << "a kill breaks the one record that is being written";
        EXPECT_EQ(semctl(semget(ftok("/tmp/mtd", 42), 1, 0), 0, GETVAL), 0);
        for (uint32_t i = 0; i < 200; i++) ASSERT_TRUE(one_transfer(i + 1));
        EXPECT_EQ(broken_records(), 0) << "nothing goes on breaking them";
    }
    for (const pid_t worker : workers) kill(worker, SIGKILL), waitpid(worker, nullptr, 0);
    EXPECT_TRUE(shared->overlaps == 0 && shared->failures == 0) << shared->overlaps << " " << shared->failures;
    EXPECT_GT(shared->transfers, 2000u);
}

}  // namespace
