// The rules of the validators, in the plainest words.
#pragma once

#include <ctype.h>

#include <string>

namespace quill::test::validators {

inline const std::string kMeta = "<>*?[]|;&(){}#$\\!%^`";
inline const std::string kSpecial = kMeta + "@.\",/:=-+_~";
inline const std::string kVulnerable = ";\\&|`><$(){}!";
inline const std::string kLocalExtras = "!#$%&'*+-/=?^_`.{|}~";
inline const std::string kForbidden = "\\/:*\"<>|?";

inline bool in(const std::string &set, int c) { return set.find(static_cast<char>(c)) != std::string::npos; }
inline bool ascii_alnum(int c) { return c < 128 && isalnum(c); }
inline bool only(const std::string &text, const std::string &others) {
    for (const char c : text)
        if (!ascii_alnum(static_cast<unsigned char>(c)) && !in(others, c)) return false;
    return true;
}

inline int email_model(const std::string &text) {
    const size_t at = text.find('@');
    if (at == std::string::npos || at == 0 || at > 64) return -1;
    const std::string domain = text.substr(at + 1);
    if (domain.empty() || domain.size() > 255 || !only(text.substr(0, at), kLocalExtras)) return -1;
    if (domain.find('.') == std::string::npos || domain.find('.') == 0) return -1;
    return only(domain, "-.") && text.back() != '.' ? 0 : -1;
}

inline int domain_model(const std::string &text) {
    if (text.empty() || in("-.", text[0])) return 2;
    if (!only(text.substr(1), "-.")) return 1;
    return in("-.", text.back()) ? 2 : 0;
}

}  // namespace quill::test::validators
