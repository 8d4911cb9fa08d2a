// A command line for the shell with one word of a caller's in it, which stays one word whatever bytes it has.
//
// A word of characters that mean nothing to the shell is put in as it is; any other stands in single quotes, in which
// the shell leaves everything alone but the quote itself:
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

class ShellLine {
public:
    // Puts the word in place of the %s in a format of printf. False when the line, with the word unquoted, does not fit
    // the 256 bytes that lines have had from the first: quoting takes nothing from what a caller may give.
    [[nodiscard]] bool format(const char *format, const char *word) {
        if (!fits(format, word)) return false;
        char quoted[kQuoted];
        quote(quoted, word);
        snprintf(text_, sizeof text_, format, quoted);
        return true;
    }
    static bool fits(const char *format, const char *word) {
        const int length = snprintf(nullptr, 0, format, word);
        return length >= 0 && length < kSize;
    }
    const char *text() const { return text_; }

private:
    static constexpr int kSize = 256;
    static constexpr std::string_view kQuoteInQuotes = "'\\''";
    static constexpr size_t kQuoted = kSize * kQuoteInQuotes.size() + sizeof "''";

    static bool is_plain(char c) { return is_alphanumeric(c) || (c && strchr("_-./:,+@%=", c)); }
    static bool is_plain(const char *word) {
        if (!*word) return false;
        while (is_plain(*word)) word++;
        return !*word;
    }

    // At most 255 characters, so there is room for each of them quoted.
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
