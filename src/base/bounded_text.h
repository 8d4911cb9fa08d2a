// Texts in buffers of a given size. As with snprintf, text that does not fit is cut off but still counted.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace quill {

// A text that grows in a caller's buffer, with a NUL after it at all times. A buffer of size 0 is not written to. Texts
// that are added must not overlap the buffer.
class BoundedText {
public:
    BoundedText(char *buffer, size_t size) : start_(buffer), size_(size) {
        if (size_ > 0) *start_ = '\0';
    }
    // Continues the text that the buffer has. A buffer without a NUL is full.
    static BoundedText append_to(char *buffer, size_t size) { return {buffer, size, strnlen(buffer, size)}; }

    // Returns the length of all added text, including text that did not fit.
    size_t length() const { return length_; }
    bool is_cut() const { return length_ >= size_; }
    char *end() const { return start_ + kept(); }
    std::string_view view() const { return {start_, kept()}; }

    void add(char c) {
        if (length_ + 1 < size_) {
            start_[length_] = c;
            start_[length_ + 1] = '\0';
        }
        length_++;
    }
    [[gnu::noinline]] void add(std::string_view text) {
        if (!is_cut()) {
            const size_t fits = std::min(text.size(), size_ - 1 - length_);
            char *const to = end();
            memcpy(to, text.data(), fits);
            to[fits] = '\0';
        }
        length_ += text.size();
    }
    // Adds what vsnprintf writes. Returns false if the text is cut off or vsnprintf fails. Text written before a
    // failure stays.
    [[gnu::format(printf, 2, 0)]] bool add_format(const char *format, va_list arguments) {
        char *const to = end();
        const size_t room = size_ - kept();
        if (room > 0) *to = '\0';
        const int length = vsnprintf(to, room, format, arguments);
        length_ += length >= 0 ? static_cast<size_t>(length) : strnlen(to, room);
        return length >= 0 && !is_cut();
    }
    void add(int number) { add_number(number); }
    void add(unsigned number) { add_number(number); }

private:
    BoundedText(char *buffer, size_t size, size_t length) : start_(buffer), size_(size), length_(length) {}

    size_t kept() const { return std::min(length_, size_ > 0 ? size_ - 1 : 0); }

    template <typename Number>
    [[gnu::noinline]] void add_number(Number number) {
        char digits[11];
        add(std::string_view(digits,
                             static_cast<size_t>(std::to_chars(digits, std::end(digits), number).ptr - digits)));
    }

    char *start_;
    size_t size_;
    size_t length_ = 0;
};

// copy_text and append_text do what strlcpy and strlcat do, which not every C library has. Both return the length that
// the whole text would have.
inline size_t copy_text(char *out, size_t size, std::string_view text) {
    BoundedText copy(out, size);
    copy.add(text);
    return copy.length();
}
inline size_t append_text(char *out, size_t size, std::string_view text) {
    BoundedText whole = BoundedText::append_to(out, size);
    whole.add(text);
    return whole.length();
}

}  // namespace quill
