#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/flash.h>
#include <signal.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "base/endian.h"
#include "support/child_process.h"
#include "support/device_test.h"
#include "support/fake_drivers.h"
#include "support/private_device.h"

// Interrupts a call once; the program is linked with --wrap for it.
namespace {
bool interrupted = false;
}

#ifdef __GLIBC__  // which has two
#define REAL_FALLOCATE __real_fallocate64
#define WRAP_FALLOCATE __wrap_fallocate64
#else
#define REAL_FALLOCATE __real_fallocate
#define WRAP_FALLOCATE __wrap_fallocate
#endif
extern "C" {
int REAL_FALLOCATE(int fd, int mode, int64_t offset, int64_t length);
int WRAP_FALLOCATE(int fd, int mode, int64_t offset, int64_t length) {
    if (!interrupted) return REAL_FALLOCATE(fd, mode, offset, length);
    interrupted = false;
    errno = EINTR;
    return -1;
}
}

namespace {

using quill::load_be;
using quill::test::FakeDrivers;
using quill::test::open_descriptors;
using quill::test::read_file;
using quill::test::write_file;
using std::string;
using std::vector;
using Words = vector<uint32_t>;

constexpr char kHistory[] = "/tmp/flashophist";

// What call prints to standard error.
template <typename Call>
string messages(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

struct Record {
    uint32_t time, offset, operation, length, duration;
    string process, parent;
};

Record record(const string &history, size_t i) {
    const char *const at = history.data() + 8 + 84 * i;
    return {load_be<uint32_t>(at),
            load_be<uint32_t>(at + 4),
            load_be<uint32_t>(at + 8),
            load_be<uint32_t>(at + 12),
            load_be<uint32_t>(at + 16),
            at + 20,
            at + 52};
}

// As the library has to write it: an emulator shows a process its own program, whatever stands in the private /proc.
string label(pid_t process) {
    char program[4096] = "";
    const string id = std::to_string(process);
    if (readlink(("/proc/" + id + "/exe").c_str(), program, sizeof program - 1) < 0) return "unknown";
    return string(strrchr(program, '/') ? strrchr(program, '/') + 1 : program) + "[" + id + "]";
}

uint32_t next_record(const string &history) { return load_be<uint32_t>(history.data() + 4); }

// One transfer in a process of its own, which has mapped nothing yet. Returns its result.
int transfer_in_new_process() {
    const pid_t child = fork();
    if (child == 0) {
        uint8_t byte;
        _exit(ReadApFlash(0, 1, &byte, "/dev/mtd0") == 0 ? 0 : 1);
    }
    int status;
    waitpid(child, &status, 0);
    return status;
}

int semaphore_value() { return semctl(semget(ftok("/tmp/mtd", 42), 1, 0), 0, GETVAL); }

class Flash : public quill::test::DeviceTest {
protected:
    void SetUp() override {
        kept_descriptors_ = 1;  // the history's
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        write_file("/dev/mtd0", string(65536, '\xff'));
        write_file("/tmp/mtd", "");
    }
};

}  // namespace

TEST_F(Flash, BoardRequestsToTheWord) {
    FakeDrivers &drivers = FakeDrivers::install();
    drivers.registers = {{7, 0xabcd1234}};
    uint8_t byte = 0;
    uint16_t half = 0;
    EXPECT_EQ(ReadCPLD(7, &byte), 0);
    EXPECT_EQ(byte, 0x34);
    EXPECT_EQ(ReadCPLD16(7, &half), 0);
    EXPECT_EQ(half, 0x1234);
    byte = 0xfe, half = 0xfedc;
    EXPECT_EQ(WriteCPLD(8, &byte), 0);
    EXPECT_EQ(drivers.registers[8], 0xfeu);
    EXPECT_EQ(WriteCPLD16(8, &half), 0);
    EXPECT_EQ(drivers.registers[8], 0xfedcu);
    EXPECT_EQ(ReadNvram(1, 0xffffffff, 3), 0);
    EXPECT_EQ(WriteNvram(4, 5, 0x80000000), 0);
    const vector<FakeDrivers::Request> expected = {
        {"/dev/mxc", 0x43590F, {7, 0}, 8, O_RDONLY},
        {"/dev/mxc", 0x43590F, {7, 0}, 8, O_RDONLY},
        {"/dev/mxc", 0x435910, {8, 0xfe}, 8, O_RDONLY},
        {"/dev/mxc", 0x435910, {8, 0xfedc}, 8, O_RDONLY},
        {"/dev/mxc", 0x435930, {1, 0xffffffff, 3}, 12, O_RDONLY},
        {"/dev/mxc", 0x435931, {4, 5, 0x80000000}, 12, O_RDONLY},
    };
    EXPECT_EQ(drivers.requests, expected);

    drivers.machine_type = 0xa5;
    uint8_t buffer[8] = {};
    EXPECT_EQ(ReadSamMachType(buffer), 0xa5);
    EXPECT_EQ(drivers.requests.back().access, O_RDONLY);
    EXPECT_EQ(tpm_hw_init(77), 77u);
    EXPECT_EQ(open_descriptors(), descriptors_);
}

TEST_F(Flash, BoardRequestsThatFail) {
    uint8_t byte = 0x55;
    uint16_t half = 0x5555;
    const struct {
        int (*call)(uint8_t *, uint16_t *);
    } calls[] = {
        {[](uint8_t *b, uint16_t *) { return ReadCPLD(1, b); }},
        {[](uint8_t *, uint16_t *h) { return ReadCPLD16(1, h); }},
        {[](uint8_t *b, uint16_t *) { return WriteCPLD(1, b); }},
        {[](uint8_t *, uint16_t *h) { return WriteCPLD16(1, h); }},
        {[](uint8_t *, uint16_t *) { return ReadNvram(1, 2, 3); }},
        {[](uint8_t *, uint16_t *) { return WriteNvram(1, 2, 3); }},
    };
    const auto expect_messages = [&](const string &board, const string &machine_type) {
        for (const auto &c : calls) {
            EXPECT_EQ(messages([&] { EXPECT_EQ(c.call(&byte, &half), -1); }), board);
        }
        EXPECT_EQ(messages([&] { EXPECT_EQ(ReadSamMachType(&byte), 0); }), machine_type);
        EXPECT_EQ(byte, 0x55);
        EXPECT_EQ(half, 0x5555);
        EXPECT_EQ(open_descriptors(), descriptors_);
    };
    expect_messages("/dev/mxc: No such file or directory\nopen /dev/mxc: No such file or directory\n",
                    "ReadFlash open /dev/sam0: No such file or directory\n");
    FakeDrivers::install().error = EIO;
    const std::string why = std::string(": ") + strerror(EIO) + "\n";
    expect_messages("ioctl /dev/mxc" + why, "ioctl /dev/sam0" + why);

    const int device = quill_open_device(O_RDWR);
    EXPECT_EQ(fcntl(device, F_GETFL) & O_ACCMODE, O_RDWR);
    close(device);
}

TEST_F(Flash, DeviceNameIsCutAndItsLengthTold) {
    EXPECT_STREQ(get_ap_flash_dev_name(), "/dev/mtd0");
    EXPECT_EQ(set_ap_flash_dev_name(string(200, 'n').c_str()), 200u);
    EXPECT_EQ(get_ap_flash_dev_name(), string(127, 'n'));
    EXPECT_EQ(set_ap_flash_dev_name(get_ap_flash_dev_name() + 7), 120u);
    EXPECT_EQ(get_ap_flash_dev_name(), string(120, 'n'));
    EXPECT_EQ(set_ap_flash_dev_name("/dev/other"), 10u);
    write_file("/dev/other", "content");
    char buffer[8] = {};
    EXPECT_EQ(ReadApFlash(3, 4, buffer, nullptr), 0);
    EXPECT_STREQ(buffer, "tent");
}

TEST_F(Flash, TransfersAndTheirFailures) {
    char buffer[8] = {};
    EXPECT_EQ(WriteApFlash(1000, 5, "flash", "/dev/mtd0"), 0);
    EXPECT_EQ(read_file("/dev/mtd0").substr(999, 7),
              "\xff"
              "flash\xff");
    EXPECT_EQ(ReadApFlash(1001, 4, buffer, nullptr), 0);
    EXPECT_STREQ(buffer, "lash");
    EXPECT_EQ(ReadApFlash(65532, 8, buffer, nullptr), 0) << "a part is a transfer";
    const string history = read_file(kHistory);
    EXPECT_EQ(next_record(history), 3u);

    const auto expect_failure = [&](int result, const string &said, auto call) {
        EXPECT_EQ(messages([&] { EXPECT_EQ(call(), result); }), said);
        EXPECT_EQ(read_file(kHistory), history) << "no record of it";
        EXPECT_EQ(semaphore_value(), 0);
        EXPECT_EQ(open_descriptors(), descriptors_ + 1);
    };
    expect_failure(0, "", [&] { return ReadApFlash(0, 0, buffer, nullptr); });
    expect_failure(0, "", [&] { return ReadApFlash(65536, 1, buffer, nullptr); });
    expect_failure(-1, "ReadFlash open /dev/none: No such file or directory",
                   [&] { return ReadApFlash(0, 1, buffer, "/dev/none"); });
    expect_failure(-1, "WriteFlash open /dev: Is a directory", [&] { return WriteApFlash(0, 1, buffer, "/dev"); });
    expect_failure(-1, "lseek: Invalid argument\n", [&] { return WriteApFlash(-1, 1, buffer, nullptr); });
    expect_failure(-1, "", [&] { return ReadApFlash(0, 1, buffer, "/dev"); });
    expect_failure(-1, "", [&] { return WriteApFlash(0, 1, "x", "/dev/full"); });

    // A program without standard descriptors: what is printed goes nowhere.
    const string content = read_file("/dev/mtd0");
    EXPECT_EQ(quill::test::exit_code_of([&] {
                  for (int fd = 0; fd <= STDERR_FILENO; fd++) close(fd);
                  WriteApFlash(-1, 1, buffer, nullptr);
                  const bool transferred = ReadApFlash(0, 1, buffer, nullptr) == 0;
                  _exit(transferred && write(1, "out", 3) == -1 && write(2, "err", 3) == -1 ? 0 : 1);
              }),
              0);
    EXPECT_EQ(read_file("/dev/mtd0"), content);

    // No semaphore to be had. The lock of the file is given back all the same.
    semctl(semget(ftok("/tmp/mtd", 42), 1, 0), 0, IPC_RMID);
    write_file("/proc/sys/kernel/sem", "1 1 1 0");
    EXPECT_EQ(messages([&] { EXPECT_EQ(ReadApFlash(0, 1, buffer, nullptr), -1); }),
              "open semaphore error: No space left on device\n");
    write_file("/proc/sys/kernel/sem", "32000 1024000000 500 32000");
    EXPECT_EQ(WriteApFlash(0, 1, "x", nullptr), 0);
}

TEST_F(Flash, NoKeyFileIsNoFailure) {
    unlink("/tmp/mtd");
    char byte;
    EXPECT_EQ(ReadApFlash(0, 1, &byte, nullptr), 0);
    EXPECT_EQ(semctl(semget(-1, 1, 0), 0, GETVAL), 0) << "the semaphore of the key that ftok fails with";
}

// The lock of the file is waited for first, without the semaphore; then the semaphore, with the lock.
TEST_F(Flash, LockThenSemaphore) {
    const int semaphore = semget(ftok("/tmp/mtd", 42), 1, IPC_CREAT | 0666);
    struct sembuf enter = {0, 1, 0}, leave = {0, -1, 0};
    const int device = open("/dev/mtd0", O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(device, LOCK_EX), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(device);
        char byte;
        const int result = ReadApFlash(0, 1, &byte, nullptr);
        _exit(result == 0 && WriteApFlash(0, 1, "x", nullptr) == 0 ? 0 : 1);
    }
    usleep(100000);
    EXPECT_EQ(semctl(semaphore, 0, GETVAL), 0) << "not entered before the lock is had";
    EXPECT_EQ(semctl(semaphore, 0, GETZCNT), 0);
    EXPECT_EQ(semop(semaphore, &enter, 1), 0);
    EXPECT_EQ(flock(device, LOCK_UN), 0);
    while (semctl(semaphore, 0, GETZCNT) == 0) usleep(1000);
    EXPECT_EQ(flock(device, LOCK_EX | LOCK_NB), -1) << "held while it waits";
    EXPECT_EQ(flock(device, LOCK_SH | LOCK_NB), 0) << "a reader's";
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    EXPECT_EQ(semop(semaphore, &leave, 1), 0);
    usleep(100000);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "the write waits for the reader here";
    close(device);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(semctl(semaphore, 0, GETVAL), 0);
}

// A signal, in either wait, lets no transfer in before its turn.
TEST_F(Flash, SignalsDoNotShortenTheWait) {
    const int semaphore = semget(ftok("/tmp/mtd", 42), 1, IPC_CREAT | 0666);
    struct sembuf enter = {0, 1, 0}, leave = {0, -1, 0};
    ASSERT_EQ(semop(semaphore, &enter, 1), 0);
    const pid_t child = fork();
    if (child == 0) {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        char byte;
        _exit(ReadApFlash(0, 1, &byte, nullptr) == 0 ? 0 : 1);
    }
    while (semctl(semaphore, 0, GETZCNT) == 0) usleep(1000);
    for (int i = 0; i < 20; i++) kill(child, SIGUSR1), usleep(1000);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    EXPECT_EQ(semctl(semaphore, 0, GETVAL), 1);
    ASSERT_EQ(semop(semaphore, &leave, 1), 0);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Flash, HistoryToTheByte) {
    ENTER_PRIVATE_PROC();
    const string process = std::to_string(getpid()), parent = std::to_string(getppid());
    for (const string &id : {process, parent}) mkdir(("/proc/" + id).c_str(), 0755);
    ASSERT_EQ(symlink("/usr/sbin/upgraded", ("/proc/" + process + "/exe").c_str()), 0);

    const auto *const mapped = static_cast<const char *>(flash_ophist_init());
    ASSERT_TRUE(mapped);
    EXPECT_EQ(flash_ophist_init(), mapped);
    EXPECT_EQ(read_file(kHistory), string("\0\0\0\xc8", 4) + string(16804, '\0'));
    struct stat file;
    EXPECT_EQ(stat(kHistory, &file), 0);
    EXPECT_EQ(file.st_mode & 0777u, 0600u);

    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    char buffer[16];
    EXPECT_EQ(ReadApFlash(0x1234, 16, buffer, nullptr), 0);
    ASSERT_EQ(symlink("init", ("/proc/" + parent + "/exe").c_str()), 0);
    EXPECT_EQ(WriteApFlash(65530, 16, buffer, nullptr), 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(history, string(mapped, 16808));
    EXPECT_EQ(history.substr(0, 8), string("\0\0\0\xc8\0\0\0\2", 8));
    const Record first = record(history, 0), second = record(history, 1);
    EXPECT_EQ(first.offset, 0x1234u);
    EXPECT_EQ(first.operation, 1u);
    EXPECT_EQ(first.length, 16u);
    EXPECT_LE(first.time - static_cast<uint32_t>(now.tv_sec), 60u);
    EXPECT_LT(first.duration, 60000u);
    EXPECT_EQ(first.process, label(getpid()));
    EXPECT_EQ(first.parent, "unknown");
    EXPECT_EQ(second.offset, 65530u);
    EXPECT_EQ(second.operation, 0u);
    EXPECT_EQ(second.length, 16u);
    EXPECT_EQ(second.parent, "init[" + parent + "]");
    EXPECT_EQ(history.substr(8 + 2 * 84), string(16800 - 2 * 84, '\0'));
}

TEST_F(Flash, TheRingComesRound) {
    uint8_t byte;
    for (uint32_t i = 0; i < 200; i++) ASSERT_EQ(ReadApFlash(static_cast<int>(i), 1, &byte, nullptr), 0);
    EXPECT_EQ(next_record(read_file(kHistory)), 0u);
    ASSERT_EQ(ReadApFlash(1000, 1, &byte, nullptr), 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(next_record(history), 1u);
    EXPECT_EQ(record(history, 0).offset, 1000u);
    for (uint32_t i = 1; i < 200; i++) EXPECT_EQ(record(history, i).offset, i);
}

TEST_F(Flash, TransfersAtTheSameTimeHaveARecordEach) {
    constexpr int kProcesses = 4, kTransfers = 2001;
    for (int i = 0; i < kProcesses; i++) {
        if (fork() != 0) continue;
        char byte;
        int failed = 0;
        for (int n = 0; n < kTransfers; n++) failed += ReadApFlash(n, 1, &byte, nullptr) != 0;
        _exit(failed != 0);
    }
    for (int status; wait(&status) != -1;) EXPECT_EQ(status, 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(next_record(history), static_cast<uint32_t>(kProcesses * kTransfers % 200))
        << "as many as there were transfers";
    for (size_t i = 0; i < 200; i++) EXPECT_EQ(record(history, i).length, 1u);
}

TEST_F(Flash, LongLabelsRunOnButNotOut) {
    ENTER_PRIVATE_PROC();
    const string process = std::to_string(getpid()), parent = std::to_string(getppid());
    const string name(255, 'n'), other(100, 'p');
    for (const string &id : {process, parent}) mkdir(("/proc/" + id).c_str(), 0755);
    ASSERT_EQ(symlink(("/bin/" + name).c_str(), ("/proc/" + process + "/exe").c_str()), 0);
    ASSERT_EQ(symlink(("/sbin/" + other).c_str(), ("/proc/" + parent + "/exe").c_str()), 0);
    uint8_t byte;
    ASSERT_EQ(ReadApFlash(0, 1, &byte, nullptr), 0);
    string expected(400, '\0');
    const string own = label(getpid()), parents = other + "[" + parent + "]";
    expected.replace(20, own.size() + 1, own + '\0');
    expected.replace(52, parents.size() + 1, parents + '\0');
    EXPECT_EQ(read_file(kHistory).substr(8 + 20, 300), expected.substr(20, 300));

    // The last record: what does not fit the file is left out.
    for (int i = 1; i < 200; i++) ASSERT_EQ(ReadApFlash(i, 1, &byte, nullptr), 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(history.size(), 16808u);
    EXPECT_EQ(history.substr(16808 - 32), parents.substr(0, 32));
}

TEST_F(Flash, AnyHistoryFileIsMadeFitOrLeftAlone) {
    const string header("\0\0\0\xc8\0\0\0\x07", 8), zeros(16808, '\0');
    string records(16800, 'r');
    const auto after_transfer = [](const string &content) {
        write_file(kHistory, content);
        EXPECT_EQ(transfer_in_new_process(), 0);
        return read_file(kHistory);
    };
    // Ours: the next record is written, and the others stay.
    string history = after_transfer(header + records);
    EXPECT_EQ(next_record(history), 8u);
    EXPECT_EQ(record(history, 7).length, 1u);
    EXPECT_EQ(history.substr(8, 7 * 84), records.substr(0, 7 * 84));
    EXPECT_EQ(history.substr(8 + 9 * 84), records.substr(9 * 84));
    // Too short: it grows, with what there is of it.
    history = after_transfer(header + records.substr(0, 500));
    EXPECT_EQ(history.size(), 16808u);
    EXPECT_EQ(next_record(history), 8u);
    EXPECT_EQ(history.substr(8, 500), records.substr(0, 500));
    EXPECT_EQ(after_transfer("x").size(), 16808u);
    // Too long: the part behind is not touched.
    history = after_transfer(header + records + string(5000, 'z'));
    EXPECT_EQ(next_record(history), 8u);
    EXPECT_EQ(history.substr(16808), string(5000, 'z'));
    // A next record beyond the capacity counts as 0.
    for (const string &index : {string("\0\0\0\xc8", 4), string("\xff\xff\xff\xff"), string("\x80\0\0\0", 4)}) {
        history = after_transfer(header.substr(0, 4) + index + records);
        EXPECT_EQ(next_record(history), 1u);
        EXPECT_EQ(record(history, 0).length, 1u);
        EXPECT_EQ(history.substr(8 + 2 * 84), records.substr(2 * 84));
    }
    // Another capacity: no history of ours, and begun anew.
    for (const string &capacity : {string("\0\0\0\xc9", 4), string("\xc8\0\0\0", 4), string("\xff\xff\xff\xff")}) {
        history = after_transfer(capacity + header.substr(4) + records);
        EXPECT_EQ(history.substr(0, 8), string("\0\0\0\xc8\0\0\0\1", 8));
        EXPECT_EQ(history.substr(8 + 84), zeros.substr(8 + 84));
    }
    // Just made by another process, which may have written its first record by now.
    history = after_transfer(string(8, '\0') + records);
    EXPECT_EQ(history.substr(0, 8), string("\0\0\0\xc8\0\0\0\1", 8));
    EXPECT_EQ(history.substr(8 + 84), records.substr(84));
}

TEST_F(Flash, WithoutAHistoryTransfersGoOn) {
    // No memory for it: /tmp is full.
    ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, "size=8k"), 0);
    write_file("/tmp/mtd", "");
    EXPECT_EQ(transfer_in_new_process(), 0);
    EXPECT_EQ(flash_ophist_init(), nullptr);
    EXPECT_EQ(open_descriptors(), descriptors_);
    ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", MS_REMOUNT, "size=1m"), 0);
    interrupted = true;
    EXPECT_NE(flash_ophist_init(), nullptr);
    EXPECT_FALSE(interrupted);
}
