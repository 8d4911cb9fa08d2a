#include "support/fake_drivers.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <string.h>
#include <unistd.h>

#include "support/private_device.h"

namespace quill::test {

namespace {

FakeDrivers drivers;

struct MachineTypeRecord {
    uint32_t unused[2];
    uint8_t *buffer;
};

// What the drivers answer to a record of the right length; false when there is no such request.
bool answer(const std::string &device, unsigned long code, void *record, size_t length) {
    auto *const words = static_cast<uint32_t *>(record);
    if (device == "/dev/sam0" && code == 0x435AE5 && length == sizeof(MachineTypeRecord)) {
        *static_cast<MachineTypeRecord *>(record)->buffer = drivers.machine_type;
        return true;
    }
    if (device != "/dev/mxc") return false;
    switch (code) {
        case 0x435930:
        case 0x435931: return length == 12;
        case 0x43590F: words[1] = drivers.registers[words[0]]; return length == 8;
        case 0x435910: drivers.registers[words[0]] = words[1]; return length == 8;
        default: return false;
    }
}

}  // namespace

FakeDrivers &FakeDrivers::install() {
    drivers = {};
    for (const char *device : {"/dev/mxc", "/dev/sam0"}) write_file(device, "");
    return drivers;
}

extern "C" {

int __real_ioctl(int fd, unsigned long code, ...);
int __wrap_ioctl(int fd, unsigned long code, ...);

int __wrap_ioctl(int fd, unsigned long code, ...) {
    va_list arguments;
    va_start(arguments, code);
    void *const record = va_arg(arguments, void *);
    char path[PATH_MAX] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t found = readlink(link.c_str(), path, sizeof path - 1);
    const std::string device(path, found < 0 ? 0 : static_cast<size_t>(found));
    if (device != "/dev/mxc" && device != "/dev/sam0") {
        va_end(arguments);
        return __real_ioctl(fd, code, record);
    }
    const size_t length = va_arg(arguments, size_t);
    va_end(arguments);

    FakeDrivers::Request request = {device, code, std::vector<uint32_t>(length / 4), length,
                                    fcntl(fd, F_GETFL) & O_ACCMODE};
    memcpy(request.words.data(), record, length);
    drivers.requests.push_back(request);
    errno = drivers.error ? drivers.error : EINVAL;
    return !drivers.error && answer(device, code, record, length) ? 0 : -1;
}

}  // extern "C"

}  // namespace quill::test
