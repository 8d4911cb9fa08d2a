// A command line for the shell that contains one word from the caller. That word stays one word, whatever bytes it has.
//
// A word without special characters is inserted unchanged. Any other word is put between single quotes, in which only
// the quote itself is special to the shell:
//
//     placementd     placementd
//     a;reboot       'a;reboot'
//     it's           'it'\''s'
//                    ''            the empty word
#pragma once

#include <stdio.h>
#include <string.h>

#include <string_view>

#include "base/ascii.h"

namespace quill {

// kSize limits the line before quoting, so quoting does not shorten what a caller may pass.
template <size_t kSize = 256>
class ShellLine {
public:
    // Formats the line as printf does. The word replaces the first %s. The library's own words, without characters
    // special to the shell, replace the others. Returns false if the line does not fit.
    template <typename... Own>
    [[nodiscard]] bool format(const char *format, const char *word, Own... own) {
        if (!fits(format, word, own...)) return false;
        char quoted[kQuoted];
        quote(quoted, word);
        snprintf(text_, sizeof text_, format, quoted, own...);
        return true;
    }
    template <typename... Own>
    static bool fits(const char *format, const char *word, Own... own) {
        const int length = snprintf(nullptr, 0, format, word, own...);
        return length >= 0 && static_cast<size_t>(length) < kSize;
    }
    const char *text() const { return text_; }

private:
    static constexpr std::string_view kQuoteInQuotes = "'\\''";
    static constexpr size_t kQuoted = kSize * kQuoteInQuotes.size() + sizeof "''";

    static bool is_plain(char c) { return is_alphanumeric(c) || (c && strchr("_-./:,+@%=", c)); }
    static bool is_plain(const char *word) {
        if (!*word) return false;
        while (is_plain(*word)) word++;
        return !*word;
    }

    // There is room even if each character is quoted, because the word is shorter than the line.
    static void quote(char *to, const char *word) {
        if (is_plain(word)) {
            memcpy(to, word, strlen(word) + 1);
            return;
        }
        *to++ = '\'';
        for (; *word; word++) {
            if (*word != '\'') {
                *to++ = *word;
                continue;
            }
            memcpy(to, kQuoteInQuotes.data(), kQuoteInQuotes.size());
            to += kQuoteInQuotes.size();
        }
        *to++ = '\'';
        *to = '\0';
    }

    char text_[kSize + kQuoted];
};

}  // namespace quill
