#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quill/flash.h>
#include <signal.h>
#include <stdarg.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "base/endian.h"
#include "support/case_file.h"
#include "support/child_process.h"
#include "support/device_test.h"
#include "support/random.h"

// Replaces the drivers of the board's devices. The program is linked with --wrap=ioctl.

namespace {
std::string request;  // the last request: "DEVICE ACCESS CODE WORD..."
int driver_error;     // the error of every request
}  // namespace

extern "C" int __wrap_ioctl(int fd, unsigned long code, ...);
extern "C" int __wrap_ioctl(int fd, unsigned long code, ...) {
    va_list arguments;
    va_start(arguments, code);
    auto *const words = va_arg(arguments, uint32_t *);
    const size_t length = va_arg(arguments, size_t);
    va_end(arguments);
    std::ostringstream text;
    text << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)).string() << std::hex << " "
         << (fcntl(fd, F_GETFL) & O_ACCMODE) << " " << code;
    for (size_t i = 0; i < length / sizeof *words; i++) text << " " << words[i];
    request = text.str();
    errno = driver_error;
    if (driver_error) return -1;
    if (code == 0x435AE5) **reinterpret_cast<uint8_t **>(words + 2) = 0xa5;
    if (code == 0x43590F) words[1] = 0xabcd1234;
    return 0;
}

namespace {

using quill::load_be;
using quill::test::exit_code_of;
using quill::test::open_descriptors;
using quill::test::Random;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

constexpr char kHistory[] = "/tmp/flashophist";
constexpr size_t kSize = 16808, kRecord = 84;

uint32_t number(const string &history, size_t at) { return load_be<uint32_t>(history.data() + at); }
uint32_t next_record(const string &history) { return number(history, 4); }

// Returns a record as "OFFSET OPERATION LENGTH PROCESS PARENT".
string record(const string &history, size_t i) {
    const size_t at = 8 + kRecord * i;
    string text;
    for (const size_t word : {4u, 8u, 12u}) text += std::to_string(number(history, at + word)) + " ";
    return text + (history.data() + at + 20) + " " + (history.data() + at + 52);
}

// Returns the label that the library must write. Under an emulator, a process always sees its own program, even if the
// private /proc shows another one.
string label(pid_t process) {
    char program[4096] = "";
    const string id = std::to_string(process);
    if (readlink(("/proc/" + id + "/exe").c_str(), program, sizeof program - 1) < 0) return "unknown";
    return string(strrchr(program, '/') ? strrchr(program, '/') + 1 : program) + "[" + id + "]";
}

// Makes the private /proc show a program for a process.
void show_program(pid_t process, const string &path) {
    const string folder = "/proc/" + std::to_string(process);
    mkdir(folder.c_str(), 0755);
    ASSERT_EQ(symlink(path.c_str(), (folder + "/exe").c_str()), 0);
}

int transfer() {
    char byte;
    return ReadApFlash(0, 1, &byte, "/dev/mtd0");
}

int semaphore() { return semget(ftok("/tmp/mtd", 42), 1, IPC_CREAT | 0666); }
int semaphore_value() { return semctl(semaphore(), 0, GETVAL); }

class Flash : public quill::test::DeviceTest {
protected:
    void SetUp() override {
        kept_descriptors_ = 1;  // the descriptor of the history
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        write_file("/dev/mtd0", string(65536, '\xff'));
        write_file("/tmp/mtd", "");
    }
};

// --- what the cases call

void drivers(int error) {
    for (const char *device : {"/dev/mxc", "/dev/sam0"}) write_file(device, "");
    driver_error = error;
}

string asked() { return request; }

// Returns the text on standard error since the last call.
string said() {
    const string text = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return text;
}

string read_at(int offset, uint32_t length, const char *device) {
    char bytes[16] = "";
    const int result = ReadApFlash(offset, length, bytes, device);
    return std::to_string(result) + " " + bytes;
}

int write_at(int offset, const char *text, const char *device) {
    return WriteApFlash(offset, static_cast<uint32_t>(strlen(text)), text, device);
}

uint32_t records() { return next_record(read_file(kHistory)); }

// Starts a process with a history file of that size that begins with these numbers. Returns the capacity, the next
// record, and whether the records are kept, except for the one that the process adds.
string adopted(uint32_t capacity, uint32_t next, size_t size) {
    string content(size, 'r');
    content.resize(std::max(size, kSize));
    quill::store_be(content.data(), capacity);
    quill::store_be(content.data() + 4, next);
    write_file(kHistory, content.substr(0, size));
    EXPECT_EQ(exit_code_of([] { EXPECT_EQ(transfer(), 0); }), 0);  // a process that has not mapped the history yet
    string history = read_file(kHistory);
    unlink(kHistory);
    const size_t added = 8 + kRecord * (next_record(history) - 1);
    EXPECT_EQ(number(history, added + 12), 1u);
    const string result = std::to_string(number(history, 0)) + " " + std::to_string(next_record(history));
    for (string *records : {&content, &history}) records->erase(added, kRecord).erase(0, 8);
    return result + (history == content                             ? " kept"
                     : history == string(kSize - 8 - kRecord, '\0') ? " cleared"
                                                                    : " spoilt");
}

TEST_F(Flash, Cases) {
    testing::internal::CaptureStderr();
    quill::test::expect_cases(
        "platform/flash.cases",
        QUILL_CASE_FUNCTIONS(adopted, asked, drivers, read_at, ReadCPLD, ReadCPLD16, ReadNvram, ReadSamMachType,
                             records, said, tpm_hw_init, write_at, WriteCPLD, WriteCPLD16, WriteNvram));
    EXPECT_EQ(said(), "");
    EXPECT_EQ(semaphore_value(), 0);
    EXPECT_TRUE(request.starts_with("/dev/sam0 0 435ae5 0 0 ")) << request;
    // Without a semaphore, the lock of the file is still released.
    semctl(semaphore(), 0, IPC_RMID);
    write_file("/proc/sys/kernel/sem", "1 1 1 0");
    EXPECT_EQ(transfer(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "open semaphore error: No space left on device\n");
    EXPECT_EQ(open_descriptors(), descriptors_ + 1);
    write_file("/proc/sys/kernel/sem", "32000 1024000000 500 32000");
    EXPECT_EQ(WriteApFlash(0, 1, "x", nullptr), 0);
    unlink("/tmp/mtd");
    EXPECT_EQ(transfer(), 0) << "a missing key file is not a failure";
    EXPECT_EQ(semctl(semget(-1, 1, 0), 0, GETVAL), 0) << "the semaphore of the key that ftok fails with";
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
    set_ap_flash_dev_name("/dev/other");
    write_file("/dev/other", "content");
    EXPECT_EQ(read_at(3, 4, nullptr), "0 tent");
}

// Without standard error, the text that the library prints must not get into another file.
TEST_F(Flash, AProgramWithoutStandardDescriptors) {
    const string content = read_file("/dev/mtd0");
    EXPECT_EQ(exit_code_of([] {
                  for (int fd = 0; fd <= STDERR_FILENO; fd++) close(fd);
                  WriteApFlash(-1, 1, "x", nullptr);
                  _exit(transfer() == 0 && write(1, "out", 3) == -1 && write(2, "err", 3) == -1 ? 0 : 1);
              }),
              0);
    EXPECT_EQ(read_file("/dev/mtd0"), content);
}

// A transfer first waits for the lock of the file, without the semaphore. It then waits for the semaphore, with the
// lock. A signal during either wait does not start a transfer before its turn.
TEST_F(Flash, LockThenSemaphore) {
    struct sembuf enter = {0, 1, 0}, leave = {0, -1, 0};
    const int device = open("/dev/mtd0", O_RDWR | O_CLOEXEC), turn = semaphore();
    ASSERT_EQ(flock(device, LOCK_EX), 0);
    const pid_t child = fork();
    if (child == 0) {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        close(device);
        _exit(transfer() == 0 && WriteApFlash(0, 1, "x", nullptr) == 0 ? 0 : 1);
    }
    const auto expect_waiting = [=](const char *why) {
        usleep(100000);
        for (int i = 0; i < 20; i++) kill(child, SIGUSR1), usleep(1000);
        EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << why;
    };
    expect_waiting("for the lock");
    EXPECT_EQ(semctl(turn, 0, GETVAL), 0) << "not entered before the lock is had";
    EXPECT_EQ(semctl(turn, 0, GETZCNT), 0);
    EXPECT_EQ(semop(turn, &enter, 1), 0);
    EXPECT_EQ(flock(device, LOCK_UN), 0);
    while (semctl(turn, 0, GETZCNT) == 0) usleep(1000);
    EXPECT_EQ(flock(device, LOCK_EX | LOCK_NB), -1) << "held while it waits";
    EXPECT_EQ(flock(device, LOCK_SH | LOCK_NB), 0) << "a reader's";
    expect_waiting("for the semaphore");
    EXPECT_EQ(semctl(turn, 0, GETVAL), 1);
    EXPECT_EQ(semop(turn, &leave, 1), 0);
    expect_waiting("the write for the reader here");
    close(device);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(semctl(turn, 0, GETVAL), 0);
}

// --- the history

TEST_F(Flash, HistoryToTheByte) {
    ENTER_PRIVATE_PROC();
    show_program(getpid(), "/usr/sbin/upgraded");
    const auto *const mapped = static_cast<const char *>(flash_ophist_init());
    ASSERT_TRUE(mapped);
    EXPECT_EQ(flash_ophist_init(), mapped);
    EXPECT_EQ(read_file(kHistory), string("\0\0\0\xc8", 4) + string(kSize - 4, '\0'));
    struct stat file;
    EXPECT_TRUE(stat(kHistory, &file) == 0 && (file.st_mode & 0777) == 0600);

    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    char buffer[16];
    EXPECT_EQ(ReadApFlash(0x1234, 16, buffer, nullptr), 0);
    show_program(getppid(), "init");
    EXPECT_EQ(WriteApFlash(65530, 16, buffer, nullptr), 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(history, string(mapped, kSize));
    EXPECT_EQ(history.substr(0, 8), string("\0\0\0\xc8\0\0\0\2", 8));
    EXPECT_EQ(record(history, 0), "4660 1 16 " + label(getpid()) + " unknown");
    EXPECT_EQ(record(history, 1), "65530 0 16 " + label(getpid()) + " init[" + std::to_string(getppid()) + "]");
    EXPECT_LE(number(history, 8) - static_cast<uint32_t>(now.tv_sec), 60u);
    EXPECT_LT(number(history, 8 + 16), 60000u);
    EXPECT_EQ(history.substr(8 + 2 * kRecord), string(kSize - 8 - 2 * kRecord, '\0'));
}

TEST_F(Flash, TransfersOfProcessesHaveARecordEachInARing) {
    for (int i = 0; i < 4; i++)
        if (fork() == 0) {
            int failed = 0;
            for (int n = 0; n < 2001; n++) failed += transfer() != 0;
            _exit(failed != 0);
        }
    for (int status; wait(&status) != -1;) EXPECT_EQ(status, 0);
    EXPECT_EQ(next_record(read_file(kHistory)), 4u) << "as many as there were transfers";
    char bytes[2];
    for (int i = 4; i < 204; i++) ASSERT_EQ(ReadApFlash(i % 200, 2, bytes, nullptr), 0);
    const string history = read_file(kHistory);
    for (size_t i = 0; i < 200; i++) EXPECT_TRUE(record(history, i).starts_with(std::to_string(i) + " 1 2 ")) << i;
}

TEST_F(Flash, LongLabelsRunOnButNotOut) {
    ENTER_PRIVATE_PROC();
    show_program(getpid(), "/bin/" + string(255, 'n'));
    show_program(getppid(), "/sbin/" + string(100, 'p'));
    ASSERT_EQ(transfer(), 0);
    const string own = label(getpid()) + '\0', parents = label(getppid()) + '\0';
    string expected(400, '\0');
    expected.replace(20, own.size(), own).replace(52, parents.size(), parents);
    EXPECT_EQ(read_file(kHistory).substr(8 + 20, 300), expected.substr(20, 300));
    // In the last record, text that does not fit the file is left out.
    for (int i = 1; i < 200; i++) ASSERT_EQ(transfer(), 0);
    const string history = read_file(kHistory);
    EXPECT_EQ(history.size(), kSize);
    EXPECT_EQ(history.substr(kSize - 32), parents.substr(0, 32));
}

TEST_F(Flash, WithoutAHistoryTransfersGoOn) {
    // The history gets no memory, because /tmp is full.
    ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, "size=8k"), 0);
    write_file("/tmp/mtd", "");
    EXPECT_EQ(transfer(), 0);
    EXPECT_EQ(flash_ophist_init(), nullptr);
    EXPECT_EQ(open_descriptors(), descriptors_);
    ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", MS_REMOUNT, "size=1m"), 0);
    EXPECT_NE(flash_ophist_init(), nullptr);
}

// --- many processes, which are killed one after another at some point of their work

class FlashFaults : public Flash {};

// Each offset belongs to one length and one kind of transfer. A record that mixes two transfers is thus detected.
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

// Returns the number of records in the history that are not from one transfer alone.
int broken_records() {
    const string history = read_file(kHistory), parent = "[" + std::to_string(getpid()) + "]";
    int broken = history.size() == kSize ? 0 : 200;
    for (size_t at = 8; broken < 200 && at < history.size(); at += kRecord) {
        const uint32_t offset = number(history, at + 4);
        const string process = history.data() + at + 20, parents = history.data() + at + 52;
        broken += number(history, at + 12) != length_at(offset) || number(history, at + 8) != offset % 2 ||
                  !process.starts_with("flash_test[") || !process.ends_with("]") ||
                  !(parents.ends_with(parent) || process.ends_with(parent));
    }
    return broken;
}

TEST_F(FlashFaults, KilledProcessesLeaveTheLocksFreeAndTheHistoryWhole) {
    constexpr int kProcesses = 16, kRounds = 25, kKills = 20;
    alarm(300);  // ends the test if a semaphore was lost and all processes wait for it
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
        EXPECT_EQ(semaphore_value(), 0);
    }
}

}  // namespace
