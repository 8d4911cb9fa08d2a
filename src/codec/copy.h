// Copies a few bytes without a call to the C library. Most parts of messages are that short.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace quill {

// Copies the first and the last T of the range. The two overlap if size is less than 2 * sizeof(T). Both are read
// before either is written, so source and destination may overlap.
template <typename T>
[[gnu::always_inline]] inline void copy_ends(void *to, const void *from, size_t size) {
    T first, last;
    memcpy(&first, from, sizeof first);
    memcpy(&last, static_cast<const char *>(from) + size - sizeof last, sizeof last);
    memcpy(to, &first, sizeof first);
    memcpy(static_cast<char *>(to) + size - sizeof last, &last, sizeof last);
}

// A memmove that is fast for small sizes, for which it does not call the C library.
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
