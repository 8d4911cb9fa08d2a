// Flash transfers of many processes, one after the other of which is killed at some point of its work.
#include <gtest/gtest.h>
#include <quill/flash.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "base/endian.h"
#include "support/device_test.h"
#include "support/random.h"

namespace {

using quill::load_be;
using quill::test::Random;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

class FlashFaults : public quill::test::DeviceTest {};

// Each offset goes with one length and one kind of transfer, so that a record can be seen to be of one piece.
constexpr uint32_t kLongest = 3000;
uint32_t length_at(uint32_t offset) { return 1 + offset * 7 % kLongest; }

bool one_transfer(uint32_t offset) {
    static char buffer[kLongest];
    const auto at = static_cast<int>(offset);
    return (offset % 2 ? ReadApFlash(at, length_at(offset), buffer, nullptr)
                       : WriteApFlash(at, length_at(offset), buffer, nullptr)) == 0;
}

pid_t start_worker() {
    static uint64_t seed = 1;
    Random random(seed++);
    const pid_t child = fork();
    if (child != 0) return child;
    while (one_transfer(random.below(50000))) continue;
    _exit(1);
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

TEST_F(FlashFaults, KilledProcessesLeaveTheLocksFreeAndTheHistoryWhole) {
    constexpr int kProcesses = 16, kRounds = 25, kKills = 20;
    kept_descriptors_ = 1;  // the history's
    write_file("/dev/mtd0", string(60000, 'f'));
    write_file("/tmp/mtd", "");
    alarm(300);  // a lost semaphore would stop the test here
    Random random(1);
    for (int round = 0; round < kRounds; round++) {
        for (uint32_t i = 0; i < 200; i++) ASSERT_TRUE(one_transfer(i + 1));
        EXPECT_EQ(broken_records(), 0) << "nothing goes on breaking them";
        std::vector<pid_t> workers(kProcesses);
        for (pid_t &worker : workers) worker = start_worker();
        for (int kills = 0; kills < kKills + kProcesses; kills++) {
            if (kills < kKills) usleep(random.below(3000));
            pid_t &worker = workers[kills < kKills ? random.below(kProcesses) : static_cast<size_t>(kills - kKills)];
            int status;
            kill(worker, SIGKILL);
            ASSERT_EQ(waitpid(worker, &status, 0), worker);
            ASSERT_EQ(status, SIGKILL) << "no transfer has failed";
            if (kills < kKills) worker = start_worker();
        }
        EXPECT_LE(broken_records(), kKills + kProcesses) << "a kill breaks the one record that is being written";
        EXPECT_EQ(semctl(semget(ftok("/tmp/mtd", 42), 1, 0), 0, GETVAL), 0);
    }
}

}  // namespace
