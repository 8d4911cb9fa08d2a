// Drivers of the board's devices, for requests made by ioctl on "/dev/mxc" and "/dev/sam0" of a private device. Linked
// into a test, they see every ioctl of it; those on other files go to the kernel.
#pragma once

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace quill::test {

struct FakeDrivers {
    struct Request {
        std::string device;
        unsigned long code;
        std::vector<uint32_t> words;  // of the record, as it came in
        size_t length;
        int access;  // O_RDONLY, O_WRONLY or O_RDWR
        bool operator==(const Request &) const = default;
    };
    std::vector<Request> requests;
    std::map<uint32_t, uint32_t> registers;
    uint8_t machine_type = 0;
    int error = 0;  // not 0: what every request fails with

    // The drivers of this test. They forget everything, and their devices are there.
    static FakeDrivers &install();
};

}  // namespace quill::test
