// Remainders of many numbers by one divisor, without a division: small cores have no division instruction, or a slow
// one.
#pragma once

#include <stdint.h>

namespace quill {

// The reciprocal r of d is 2^64 / d, rounded up (2^64, which wraps to 0, for 1). n r modulo 2^64 is then the fractional
// part of n / d; this part times d is the remainder. Exact for all 32-bit n and d (Lemire, Kaser and Kurz 2019, "Faster
// remainder by direct computation").
constexpr uint64_t reciprocal_of(uint32_t divisor) { return UINT64_MAX / divisor + 1; }

constexpr uint32_t remainder(uint32_t number, uint32_t divisor, uint64_t reciprocal) {
    const uint64_t fraction = reciprocal * number;
#ifdef __SIZEOF_INT128__
    __extension__ using Wide = unsigned __int128;
    // cppcheck-suppress shiftTooManyBits // cppcheck does not know this type
    return static_cast<uint32_t>(Wide{fraction} * divisor >> 64);
#else
    const uint64_t low = (fraction & UINT32_MAX) * divisor, high = (fraction >> 32) * divisor;
    return static_cast<uint32_t>((high + (low >> 32)) >> 32);
#endif
}

}  // namespace quill
