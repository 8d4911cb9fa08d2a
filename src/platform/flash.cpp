#include <quill/flash.h>

#include <quill/types.h>

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string_view>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/endian.h"
#include "base/fixed_file.h"
#include "base/paths.h"
#include "platform/sysv_semaphore.h"

using quill::Descriptor;
using quill::NoCancellation;
using quill::SysvSemaphore;
namespace paths = quill::paths;

namespace {

class DeviceName {
public:
    constexpr explicit DeviceName(std::string_view name) { set(name); }

    // Cuts off what does not fit. The name may be a part of this one.
    constexpr void set(std::string_view name) {
        const size_t kept = std::min(name.size(), sizeof text_ - 1);
        std::copy_n(name.begin(), kept, text_);
        text_[kept] = '\0';
    }
    char *text() { return text_; }

private:
    char text_[QUILL_FLASH_NAME_SIZE] = {};
};

// --- the state of the process

// Nothing guards it.
constinit DeviceName flash_device{paths::kFlashDevice};

// Set once, by the first thread that has the history mapped.
constinit std::atomic<uint8_t *> mapped_history = nullptr;

// --- calls that a signal interrupts

// Repeats a call that a signal has interrupted: no transfer starts before its turn, and no history is given up.
template <typename Call>
bool repeat_if_interrupted(Call call) {
    bool done;
    do done = call();
    while (!done && errno == EINTR);
    return done;
}

// --- requests to drivers, in the host's byte order

struct NvramRequest {
    static constexpr int kRead = 0x435930, kWrite = 0x435931;
    uint32_t words[3];
};

struct CpldRequest {
    static constexpr int kRead = 0x43590F, kWrite = 0x435910;
    uint32_t reg;
    uint32_t value;
};

struct MachineTypeRequest {
    static constexpr int kRead = 0x435AE5;
    uint32_t unused[2];
    void *buffer;
};

// The drivers want the record's length behind it.
template <typename Request>
bool ask(int device, const char *what, int code, Request *request) {
    if (ioctl(device, static_cast<unsigned>(code), request, sizeof *request) == 0) return true;
    perror(what);
    return false;
}

template <typename Request>
bool ask_board(int code, Request *request) {
    const NoCancellation no_cancellation;
    const Descriptor device(quill::clear_of_standard_descriptors(quill_open_device(O_RDONLY | O_CLOEXEC)));
    if (!device) {
        perror("open /dev/mxc");  // after the message of quill_open_device: both are looked for in logs
        return false;
    }
    return ask(device.get(), "ioctl /dev/mxc", code, request);
}

int ask_nvram(int code, uint32_t word1, uint32_t word2, uint32_t word3) {
    NvramRequest request = {{word1, word2, word3}};
    return ask_board(code, &request) ? 0 : -1;
}

template <typename Value>
int read_cpld(uint32_t reg, Value *value) {
    CpldRequest request = {reg, 0};
    if (!ask_board(CpldRequest::kRead, &request)) return -1;
    *value = static_cast<Value>(request.value);
    return 0;
}

template <typename Value>
int write_cpld(uint32_t reg, const Value *value) {
    CpldRequest request = {reg, *value};
    return ask_board(CpldRequest::kWrite, &request) ? 0 : -1;
}

// --- the history of flash transfers

uint64_t monotonic_milliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

enum class Operation : uint32_t { kWrite = 0, kRead = 1 };

struct Transfer {
    Operation operation;
    uint32_t offset, length;
};

constexpr uint32_t kRecords = QUILL_FLASH_HISTORY_RECORDS;
constexpr size_t kHistorySize = QUILL_FLASH_HISTORY_SIZE;
constexpr size_t kHeaderSize = 8, kRecordSize = QUILL_FLASH_HISTORY_RECORD_SIZE;
static_assert(kHeaderSize + kRecords * kRecordSize == kHistorySize);

// The mapped file. Its numbers are big-endian; those of the header are touched by several processes at a time.
class History {
public:
    explicit History(uint8_t *bytes) : bytes_(bytes) {}

    // Makes a history of what the file holds.
    void adopt() const {
        uint32_t capacity = word(kCapacity).load();
        // A file that another process has just made is all zeros, and may have a record in a moment: it is not cleared.
        // The capacity is replaced last, so that a process that is killed here leaves no history of foreign records.
        if (capacity != 0 && capacity != quill::big_endian(kRecords)) memset(bytes_ + kNext, 0, kHistorySize - kNext);
        word(kCapacity).store(quill::big_endian(kRecords));
    }

    void append(const Transfer &transfer, uint32_t milliseconds) const {
        uint8_t *const record = bytes_ + kHeaderSize + claim() * kRecordSize;
        quill::store_be(record + 0, static_cast<uint32_t>(monotonic_milliseconds() / 1000));
        quill::store_be(record + 4, transfer.offset);
        quill::store_be(record + 8, static_cast<uint32_t>(transfer.operation));
        quill::store_be(record + 12, transfer.length);
        quill::store_be(record + 16, milliseconds);
        write_label(record + 20, getpid());
        write_label(record + 52, getppid());
        msync(bytes_, kHistorySize, MS_SYNC);
    }

private:
    enum Header { kCapacity = 0, kNext = 4 };

    // Between processes, which share no lock for it.
    static_assert(std::atomic_ref<uint32_t>::is_always_lock_free);
    std::atomic_ref<uint32_t> word(Header at) const {
        return std::atomic_ref<uint32_t>(*reinterpret_cast<uint32_t *>(bytes_ + at));
    }

    // The record that is this caller's alone, also when another process asks at the same moment.
    uint32_t claim() const {
        uint32_t before = word(kNext).load(), mine;
        do {
            mine = quill::big_endian(before);
            if (mine >= kRecords) mine = 0;
        } while (!word(kNext).compare_exchange_weak(before, quill::big_endian((mine + 1) % kRecords)));
        return mine;
    }

    // With its NUL, over whatever a long one runs into, but not beyond the file.
    void write_label(uint8_t *to, pid_t process) const {
        constexpr size_t kId = sizeof "[-2147483648]";
        char path[32], program[PATH_MAX + kId];
        const char *label = "unknown";
        snprintf(path, sizeof path, paths::kProgramOf, static_cast<int>(process));
        if (const ssize_t length = readlink(path, program, PATH_MAX); length >= 0) {
            snprintf(program + length, kId, "[%d]", static_cast<int>(process));
            const char *const slash = strrchr(program, '/');
            label = slash ? slash + 1 : program;
        }
        const size_t room = static_cast<size_t>(bytes_ + kHistorySize - to);
        memcpy(to, label, std::min(strlen(label) + 1, room));
    }

    uint8_t *bytes_;
};

// Whether other users cannot cut the file off while it is mapped, which would end the process at its next write.
bool is_safe_to_map(const struct stat &file) {
    const bool own = file.st_uid == 0 || file.st_uid == geteuid();
    return own && !(file.st_mode & (S_IWGRP | S_IWOTH));
}

// Sizes the file and allocates its memory; false if that fails. Without the memory, a write to the mapping on a full
// /tmp would end the process.
bool make_room(int file) {
    struct stat found;
    if (fstat(file, &found) != 0 || !is_safe_to_map(found)) return false;
    if (found.st_size < static_cast<off_t>(kHistorySize) && ftruncate(file, kHistorySize) != 0) return false;
    const bool allocated = repeat_if_interrupted([=] { return fallocate(file, 0, 0, kHistorySize) == 0; });
    return allocated || errno == EOPNOTSUPP || errno == ENOSYS;
}

uint8_t *map_history() {
    const NoCancellation no_cancellation;
    Descriptor file = quill::open_fixed(paths::kFlashHistory, O_RDWR | O_CREAT, 0600);
    if (!file || !make_room(file.get())) return nullptr;
    void *const mapping = mmap(nullptr, kHistorySize, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (mapping == MAP_FAILED) return nullptr;
    const auto bytes = static_cast<uint8_t *>(mapping);
    History(bytes).adopt();

    uint8_t *first = nullptr;
    if (mapped_history.compare_exchange_strong(first, bytes)) {
        (void)file.release();  // open for the life of the process: it shows who uses the history
        return bytes;
    }
    munmap(mapping, kHistorySize);  // another thread was faster
    return first;
}

uint8_t *history() {
    uint8_t *const bytes = mapped_history.load(std::memory_order_acquire);
    return bytes ? bytes : map_history();
}

// --- flash transfers

class FileLock {
public:
    FileLock(int file, int kind) : file_(file) {
        (void)repeat_if_interrupted([=] { return flock(file, kind) == 0; });
    }
    ~FileLock() {
        const int kept_errno = errno;
        (void)flock(file_, LOCK_UN);
        errno = kept_errno;
    }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int file_;
};

// One transfer at a time over all processes. The semaphore is 1 while one is under way; the kernel takes back what a
// process that has died in it added.
class Turn {
public:
    explicit Turn(const SysvSemaphore &semaphore) : semaphore_(semaphore) {
        entered_ = repeat_if_interrupted([&] { return semaphore.operate({{0, 0, SEM_UNDO}, {0, 1, SEM_UNDO}}); });
    }
    ~Turn() {
        const int kept_errno = errno;
        // Who could not enter goes on, but must not end the turn of who could.
        if (entered_) (void)semaphore_.operate({{0, -1, SEM_UNDO}});
        errno = kept_errno;
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

private:
    const SysvSemaphore &semaphore_;
    bool entered_;
};

// What makes the two kinds of transfer differ.
struct Kind {
    Operation operation;
    int open_flags, lock;
    const char *open_failed;
};
constexpr Kind kReading = {Operation::kRead, O_RDONLY, LOCK_SH, "ReadFlash open %s: %s"};
constexpr Kind kWriting = {Operation::kWrite, O_RDWR, LOCK_EX, "WriteFlash open %s: %s"};

// The result of call(descriptor), which is one read or write; -1 when it does not come to that.
template <typename Call>
ssize_t in_turn(const Kind &kind, const char *path, int offset, Call call) {
    // Messages are printed while it is open.
    const Descriptor device(quill::clear_of_standard_descriptors(open(path, kind.open_flags | O_CLOEXEC)));
    if (!device) {
        fprintf(stderr, kind.open_failed, path, strerror(errno));
        return -1;
    }
    const char *failed;
    {
        const FileLock lock(device.get(), kind.lock);
        if (lseek(device.get(), offset, SEEK_SET) != -1) {
            const auto semaphore = SysvSemaphore::with_key(ftok(paths::kFlashLockKey, 42), IPC_CREAT | 0666);
            if (semaphore) {
                const Turn turn(semaphore);
                return call(device.get());
            }
            failed = "open semaphore error";
        } else {
            failed = "lseek";
        }
    }
    perror(failed);
    return -1;
}

template <typename Call>
int transfer_flash(const Kind &kind, const char *path, int offset, uint32_t length, Call call) {
    const NoCancellation no_cancellation;
    const auto start = static_cast<uint32_t>(monotonic_milliseconds());
    const ssize_t result = in_turn(kind, path ? path : flash_device.text(), offset, call);
    if (result <= 0) return static_cast<int>(result);
    if (uint8_t *const bytes = history()) {
        const Transfer transfer = {kind.operation, static_cast<uint32_t>(offset), length};
        History(bytes).append(transfer, static_cast<uint32_t>(monotonic_milliseconds()) - start);
    }
    return 0;
}

}  // namespace

// --- board control

int quill_open_device(int flags) {
    const int device = open(paths::kBoardControl, flags, 0);
    if (device == -1) {
        const int error = errno;
        perror(paths::kBoardControl);
        errno = error;
    }
    return device;
}

int ReadNvram(uint32_t word1, uint32_t word2, uint32_t word3) {
    return ask_nvram(NvramRequest::kRead, word1, word2, word3);
}

int WriteNvram(uint32_t word1, uint32_t word2, uint32_t word3) {
    return ask_nvram(NvramRequest::kWrite, word1, word2, word3);
}

int ReadCPLD(uint32_t reg, uint8_t *value) { return read_cpld(reg, value); }

int ReadCPLD16(uint32_t reg, uint16_t *value) { return read_cpld(reg, value); }

int WriteCPLD(uint32_t reg, const uint8_t *value) { return write_cpld(reg, value); }

int WriteCPLD16(uint32_t reg, const uint16_t *value) { return write_cpld(reg, value); }

int ReadSamMachType(uint8_t *buffer) {
    const NoCancellation no_cancellation;
    const Descriptor device(quill::clear_of_standard_descriptors(open(paths::kMachineType, O_RDONLY | O_CLOEXEC)));
    if (!device) {
        perror("ReadFlash open /dev/sam0");  // not flash, but the text that logs are searched for
        return 0;
    }
    MachineTypeRequest request = {{0, 0}, buffer};
    return ask(device.get(), "ioctl /dev/sam0", MachineTypeRequest::kRead, &request) ? buffer[0] : 0;
}

// --- the flash partition

size_t set_ap_flash_dev_name(const char *device) {
    const std::string_view name = device;
    flash_device.set(name);
    return name.size();
}

char *get_ap_flash_dev_name() { return flash_device.text(); }

int ReadApFlash(int offset, uint32_t length, void *buffer, const char *device) {
    return transfer_flash(kReading, device, offset, length, [=](int flash) { return read(flash, buffer, length); });
}

int WriteApFlash(int offset, uint32_t length, const void *buffer, const char *device) {
    return transfer_flash(kWriting, device, offset, length, [=](int flash) { return write(flash, buffer, length); });
}

void *flash_ophist_init() { return history(); }

quill_word tpm_hw_init(quill_word word) { return word; }
