// Character classes, letter case and hexadecimal digits, for ASCII only: the meaning of a text must not depend on the
// program's locale. Bytes above 127 belong to no class.
#pragma once

#include <stdint.h>

namespace quill {

constexpr bool is_digit(int c) { return '0' <= c && c <= '9'; }

constexpr bool is_alphanumeric(int c) { return is_digit(c) || ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z'); }

// Blank, tab, newline, vertical tab, form feed and carriage return.
constexpr bool is_space(int c) { return c == ' ' || ('\t' <= c && c <= '\r'); }

// Returns 0 to 15, or -1 if c is not a hexadecimal digit.
constexpr int hex_value(int c) {
    if (is_digit(c)) return c - '0';
    const unsigned letter = (static_cast<unsigned>(c) | 0x20) - 'a';  // 0 for 'a' and 'A'
    return letter < 6 ? static_cast<int>(letter) + 10 : -1;
}

inline constexpr char lower_hex_digits[] = "0123456789abcdef";
inline constexpr char upper_hex_digits[] = "0123456789ABCDEF";

// Writes the byte as two digits, without a NUL. Returns the end of the digits.
constexpr char *write_hex_byte(char *to, uint8_t byte, const char *digits = lower_hex_digits) {
    *to++ = digits[byte >> 4];
    *to++ = digits[byte & 0xf];
    return to;
}

constexpr char fold_case(char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Compares the texts byte by byte, after folding letter case. Returns their order as strcmp does.
constexpr int compare_ignoring_case(const char *a, const char *b) {
    for (; *a && fold_case(*a) == fold_case(*b); a++) b++;
    return static_cast<unsigned char>(fold_case(*a)) - static_cast<unsigned char>(fold_case(*b));
}

// Returns whether part occurs in text, without regard to letter case. The empty part occurs in every text.
constexpr bool contains_ignoring_case(const char *text, const char *part) {
    for (;; text++) {
        int i = 0;
        while (part[i] && fold_case(text[i]) == fold_case(part[i])) i++;
        if (!part[i]) return true;
        if (!*text) return false;
    }
}

}  // namespace quill
