// Decimal numbers in texts: ASCII digits in every locale, and a defined result for numbers of any size. The C library's
// atoi and scanf leave the result of large numbers undefined.
#pragma once

#include <limits.h>
#include <stdint.h>

#include <algorithm>

#include "base/ascii.h"

namespace quill {

// How a number beyond the largest value is handled.
enum class Overflow {
    kWraps,   // the result is the number modulo 2 to the 32
    kClamps,  // the result is the largest value
    kStops,   // the result is the number read so far, and its other digits are not read
};

constexpr int kAnyNumber = -1;

// Reads at most kMost digits, moves text past them and returns their value; 0 if there is no digit.
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

// Reads a number as scanf's %d does (white space, sign, digits), and moves text past it. Values outside int are clamped
// or wrap. Returns false, with nothing changed, if there is no digit.
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

// Returns the number at the start of the text; 0 if the text starts with no number.
template <Overflow kOverflow>
constexpr int int_of(const char *text) {
    int number = 0;
    return read_int<kOverflow>(text, number) ? number : 0;
}

}  // namespace quill
