// What joining and splitting of words give back.
#pragma once

#include <string>

namespace quill::test {

// A word that is not empty, loses nothing, and has a single quote only where joining puts it between double ones.
inline bool comes_back(const std::string &word) {
    const auto has = [&](const char *set) { return word.find_first_of(set) != std::string::npos; };
    return !word.empty() && !has("\r\n") && (!has("'") || has("<>;&| \t"));
}

}  // namespace quill::test
