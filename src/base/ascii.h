// Letter case of the ASCII letters alone: what a text equals must not depend on the locale that a program has set.
#pragma once

namespace quill {

constexpr char fold_case(char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The order of the folded texts, byte by byte.
constexpr int compare_ignoring_case(const char *a, const char *b) {
    while (*a && fold_case(*a) == fold_case(*b)) a++, b++;
    return static_cast<unsigned char>(fold_case(*a)) - static_cast<unsigned char>(fold_case(*b));
}

// Whether part occurs in text; the empty part occurs in every text.
constexpr bool contains_ignoring_case(const char *text, const char *part) {
    for (;; text++) {
        int i = 0;
        while (part[i] && fold_case(text[i]) == fold_case(part[i])) i++;
        if (!part[i]) return true;
        if (!*text) return false;
    }
}

}  // namespace quill
