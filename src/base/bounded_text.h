// Copies of texts into buffers of a given size, as strlcpy and strlcat do it, which not every C library has.
#pragma once

#include <stddef.h>
#include <string.h>

#include <algorithm>

namespace quill {

// Both keep a NUL at the end, cut what does not fit, write nothing when size is 0, and return the length that they tried
// to make. The texts must not overlap.
inline size_t append(char *out, size_t size, const char *text) {
    const size_t used = strnlen(out, size), length = strlen(text);
    if (used < size) {
        const size_t fits = std::min(length, size - used - 1);
        memcpy(out + used, text, fits);
        out[used + fits] = '\0';
    }
    return used + length;
}

inline size_t copy(char *out, size_t size, const char *text) {
    if (size > 0) *out = '\0';
    return append(out, size, text);
}

}  // namespace quill
