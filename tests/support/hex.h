// Bytes as hexadecimal digits.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <span>
#include <string>

namespace quill::test {

inline std::string hex(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

}  // namespace quill::test
