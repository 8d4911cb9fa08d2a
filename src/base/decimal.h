// Decimal numbers in texts: digits of ASCII, whatever the locale, and a known result for numbers of any size, which the
// C library's atoi and scanf leave undefined.
#pragma once

#include <limits.h>
#include <stdint.h>

#include <algorithm>

#include "base/ascii.h"

namespace quill {

// What becomes of a number that grows beyond the largest one.
enum class Overflow {
    kWraps,   // it is what it is modulo 2 to the 32
    kClamps,  // it stays at the largest
    kStops,   // it is what it then is, and the rest of its digits is not read
};

constexpr int kAnyNumber = -1;

// Reads at most that many digits, moves text behind them and returns their number; 0 when there are none.
template <Overflow kOverflow, int kMost = kAnyNumber>
constexpr uint32_t read_digits(const char *&text, uint32_t largest = UINT32_MAX) {
    uint32_t number = 0;
    for (int read = 0; (kMost == kAnyNumber || read < kMost) && is_digit(*text); read++, text++) {
        if (kOverflow == Overflow::kStops && number > largest) break;
        const auto digit = static_cast<uint32_t>(*text - '0');
        if (kOverflow == Overflow::kClamps)
            number = static_cast<uint32_t>(std::min<uint64_t>(uint64_t{number} * 10 + digit, largest));
        else
            number = number * 10 + digit;
    }
    return number;
}

// Reads a number as scanf's %d takes it, and moves text behind it: white space, a sign, digits. A number that no int
// holds becomes the nearest that one does, or wraps. False when there is no digit; nothing is changed then.
template <Overflow kOverflow>
[[nodiscard]] constexpr bool read_int(const char *&text, int &number) {
    const char *at = text;
    while (is_space(*at)) at++;
    const bool negative = *at == '-';
    if (negative || *at == '+') at++;
    if (!is_digit(*at)) return false;
    const uint32_t magnitude = read_digits<kOverflow>(at, negative ? uint32_t{INT_MAX} + 1 : INT_MAX);
    number = static_cast<int>(negative ? 0 - magnitude : magnitude);
    text = at;
    return true;
}

// The number that a text begins with; 0 when there is none.
template <Overflow kOverflow>
constexpr int int_of(const char *text) {
    int number = 0;
    return read_int<kOverflow>(text, number) ? number : 0;
}

}  // namespace quill
