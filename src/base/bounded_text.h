// Texts in buffers of a given size: copies, as strlcpy and strlcat make them, which not every C library has, and texts
// that are put together.
#pragma once

#include <stddef.h>
#include <string.h>

#include <algorithm>
#include <charconv>

namespace quill {

// Both keep a NUL at the end, cut what does not fit, write nothing when size is 0, and return the length that they
// tried to make. The texts must not overlap.
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

// Builds a text in a buffer of at least one byte, with a NUL behind it at all times; what does not fit is cut off.
class BoundedText {
public:
    BoundedText(char *buffer, size_t size) : start_(buffer), at_(buffer), end_(buffer + size - 1) { *at_ = '\0'; }

    bool is_empty() const { return at_ == start_; }

    void add(char c) {
        if (at_ == end_) return;
        *at_++ = c;
        *at_ = '\0';
    }
    void add(const char *text) { add(text, strlen(text)); }
    void add(int number) { add_number(number); }
    void add(unsigned number) { add_number(number); }

private:
    void add(const char *bytes, size_t length) {
        const size_t fits = std::min(length, static_cast<size_t>(end_ - at_));
        for (size_t i = 0; i < fits; i++) *at_++ = bytes[i];  // seldom more than a word, and so without a call
        *at_ = '\0';
    }
    template <typename Number>
    [[gnu::noinline]] void add_number(Number number) {
        char digits[11] = {};
        add(digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    }

    char *start_;
    char *at_;
    char *end_;
};

}  // namespace quill
