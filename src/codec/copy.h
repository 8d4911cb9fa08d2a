// Copies of a few bytes, without a call: what messages are made of.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace quill {

// Two words of T, which overlap where size is less than both: read first, so that the ranges may overlap as well.
template <typename T>
[[gnu::always_inline]] inline void copy_ends(void *to, const void *from, size_t size) {
    T first, last;
    memcpy(&first, from, sizeof first);
    memcpy(&last, static_cast<const char *>(from) + size - sizeof last, sizeof last);
    memcpy(to, &first, sizeof first);
    memcpy(static_cast<char *>(to) + size - sizeof last, &last, sizeof last);
}

// memmove, fast where size is small: a call within the library, and mostly none out of it.
[[gnu::noinline]] inline void copy_bytes(void *to, const void *from, size_t size) {
    struct Sixteen {
        uint64_t halves[2];
    };
    if (size > 32) {
        memmove(to, from, size);
    } else if (size > 16) {
        copy_ends<Sixteen>(to, from, size);
    } else if (size >= 8) {
        copy_ends<uint64_t>(to, from, size);
    } else if (size >= 4) {
        copy_ends<uint32_t>(to, from, size);
    } else if (size >= 2) {
        copy_ends<uint16_t>(to, from, size);
    } else if (size == 1) {
        *static_cast<char *>(to) = *static_cast<const char *>(from);
    }
}

}  // namespace quill
