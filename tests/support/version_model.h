// Version texts cut by searching, and read by the C library.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <array>
#include <string>

namespace quill::test {

using Numbers = std::array<int32_t, 8>;

// The cut text and the output, found by searching.
struct Cut {
    std::string source, output;
};

inline Cut cut(const std::string &text, int mode, const std::string &before) {
    const size_t hyphen = text.find('-');
    if (hyphen == std::string::npos) return {text, text};
    const char after = text.c_str()[hyphen + 1];
    if (after < '0' || after > '9') return {text.substr(0, hyphen), text.substr(0, hyphen)};
    const std::string source = text.substr(0, text.find_first_of("-_", hyphen + 1));
    return {source, mode == 0 ? source.substr(hyphen + 1) : mode == 1 ? source : before};
}

// As the C library reads the text, cut.
inline int match_by_scanf(const std::string &text, Numbers &n) {
    const std::string quads = cut(text.substr(0, 128), 1, "").output.substr(0, 31);
    const int count =
        sscanf(quads.c_str(), "%d.%d.%d.%d-%d.%d.%d.%d", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7]);
    return count == 8 ? 8 : count >= 4 ? 4 : 0;
}

}  // namespace quill::test
