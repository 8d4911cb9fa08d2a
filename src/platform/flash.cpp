#include <quill/flash.h>
#include <quill/types.h>

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/errno.h"
#include "base/paths.h"
#include "platform/flash_history.h"
#include "platform/sysv_semaphore.h"

using quill::Descriptor;
using quill::ErrnoGuard;
using quill::FlashOperation;
using quill::monotonic_milliseconds;
using quill::NoCancellation;
using quill::repeat_if_interrupted;
using quill::SysvSemaphore;
namespace paths = quill::paths;

namespace {

class DeviceName {
public:
    constexpr explicit DeviceName(std::string_view name) { set(name); }

    // Cuts off what does not fit. `name` may be a part of the current name.
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

// No lock protects the name.
constinit DeviceName flash_device{paths::kFlashDevice};

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

// The drivers expect the size of the request as one more argument.
template <typename Request>
bool send_request(int device, const char *what, int code, Request *request) {
    if (ioctl(device, static_cast<unsigned>(code), request, sizeof *request) == 0) return true;
    perror(what);
    return false;
}

template <typename Request>
bool send_board_request(int code, Request *request) {
    const NoCancellation no_cancellation;
    const Descriptor device(quill::clear_of_standard_descriptors(quill_open_device(O_RDONLY | O_CLOEXEC)));
    if (!device) {
        perror("open /dev/mxc");  // the second message. Compatibility: logs are searched for both
        return false;
    }
    return send_request(device.get(), "ioctl /dev/mxc", code, request);
}

int send_nvram_request(int code, uint32_t word1, uint32_t word2, uint32_t word3) {
    NvramRequest request = {{word1, word2, word3}};
    return send_board_request(code, &request) ? 0 : -1;
}

template <typename Value>
int read_cpld(uint32_t reg, Value *value) {
    CpldRequest request = {reg, 0};
    if (!send_board_request(CpldRequest::kRead, &request)) return -1;
    *value = static_cast<Value>(request.value);
    return 0;
}

template <typename Value>
int write_cpld(uint32_t reg, const Value *value) {
    CpldRequest request = {reg, *value};
    return send_board_request(CpldRequest::kWrite, &request) ? 0 : -1;
}

// --- flash transfers

class FileLock {
public:
    FileLock(int file, int kind) : file_(file) {
        (void)repeat_if_interrupted([=] { return flock(file, kind); });
    }
    ~FileLock() {
        const ErrnoGuard errno_guard;
        (void)flock(file_, LOCK_UN);
    }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int file_;
};

// Allows one transfer at a time, over all processes. The semaphore is 1 during a transfer. If a process dies during its
// transfer, the kernel undoes the increment.
class OneTransfer {
public:
    explicit OneTransfer(const SysvSemaphore &semaphore) : semaphore_(semaphore) {
        const auto enter = [&] { return semaphore.operate({{0, 0, SEM_UNDO}, {0, 1, SEM_UNDO}}) ? 0 : -1; };
        entered_ = repeat_if_interrupted(enter) == 0;
    }
    ~OneTransfer() {
        const ErrnoGuard errno_guard;
        // A process that could not enter proceeds anyway, but must not release the semaphore of the process that could.
        if (entered_) (void)semaphore_.operate({{0, -1, SEM_UNDO}});
    }
    OneTransfer(const OneTransfer &) = delete;
    OneTransfer &operator=(const OneTransfer &) = delete;

private:
    const SysvSemaphore &semaphore_;
    bool entered_;
};

// The differences between the two kinds of transfer.
struct Kind {
    FlashOperation operation;
    int open_flags, lock;
    const char *open_failed;
};
constexpr Kind kReading = {FlashOperation::kRead, O_RDONLY, LOCK_SH, "ReadFlash open %s: %s"};
constexpr Kind kWriting = {FlashOperation::kWrite, O_RDWR, LOCK_EX, "WriteFlash open %s: %s"};

// Returns the result of call(descriptor), which is one read or write; -1 if it is not called.
template <typename Call>
ssize_t call_locked(const Kind &kind, const char *path, int offset, Call call) {
    // Not a standard descriptor, because messages are printed while the device is open.
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
                const OneTransfer one_transfer(semaphore);
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
    const ssize_t result = call_locked(kind, path ? path : flash_device.text(), offset, call);
    if (result <= 0) return static_cast<int>(result);
    const auto took = static_cast<uint32_t>(monotonic_milliseconds()) - start;
    quill::add_to_flash_history({kind.operation, static_cast<uint32_t>(offset), length, took});
    return 0;
}

}  // namespace

// --- board control

int quill_open_device(int flags) {
    const int device = open(paths::kBoardControl, flags, 0);
    if (device == -1) {
        const ErrnoGuard errno_guard;
        perror(paths::kBoardControl);
    }
    return device;
}

int ReadNvram(uint32_t word1, uint32_t word2, uint32_t word3) {
    return send_nvram_request(NvramRequest::kRead, word1, word2, word3);
}

int WriteNvram(uint32_t word1, uint32_t word2, uint32_t word3) {
    return send_nvram_request(NvramRequest::kWrite, word1, word2, word3);
}

int ReadCPLD(uint32_t reg, uint8_t *value) { return read_cpld(reg, value); }

int ReadCPLD16(uint32_t reg, uint16_t *value) { return read_cpld(reg, value); }

int WriteCPLD(uint32_t reg, const uint8_t *value) { return write_cpld(reg, value); }

int WriteCPLD16(uint32_t reg, const uint16_t *value) { return write_cpld(reg, value); }

int ReadSamMachType(uint8_t *buffer) {
    const NoCancellation no_cancellation;
    const Descriptor device(quill::clear_of_standard_descriptors(open(paths::kMachineType, O_RDONLY | O_CLOEXEC)));
    if (!device) {
        perror("ReadFlash open /dev/sam0");  // this device is not flash. Compatibility: logs are searched for this text
        return 0;
    }
    MachineTypeRequest request = {{0, 0}, buffer};
    return send_request(device.get(), "ioctl /dev/sam0", MachineTypeRequest::kRead, &request) ? buffer[0] : 0;
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

void *flash_ophist_init() { return quill::flash_history(); }

quill_word tpm_hw_init(quill_word word) { return word; }
