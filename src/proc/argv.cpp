#include <quill/argv.h>

#include <limits.h>
#include <stdarg.h>
#include <string.h>

#include <algorithm>

#include "base/bounded_text.h"

namespace {

bool is_one_of(char c, const char *set) { return c && strchr(set, c); }

bool separates(char c) { return is_one_of(c, " \t\r\n"); }
bool wants_quotes(char c) { return is_one_of(c, "<>;&| \t\r\n"); }
bool is_line_end(char c) { return is_one_of(c, "\r\n"); }

// Removes the quotes and backslashes from the word at `at`, adds a NUL, and returns where the rest of the line begins.
// The result is never longer than the original word, so the NUL is at the separator or before it.
char *take_word(char *at) {
    char *to = at;
    bool escaped = false;
    char quote = '\0';  // the one that is open
    for (; *at; at++) {
        const char c = *at;
        if (escaped) {
            *to++ = c;
            escaped = false;
        } else if (!quote && separates(c)) {
            break;
        } else if (c == '\\') {
            escaped = true;
        } else if (quote ? c == quote : c == '\'' || c == '"') {
            quote = quote ? '\0' : c;
        } else {
            *to++ = c;
        }
    }
    char *const next = *at ? at + 1 : at;
    *to = '\0';
    return next;
}

// The line that words are joined into.
class Line {
public:
    Line(char *buffer, int size) : text_(buffer, static_cast<size_t>(size)) {}

    void append_word(const char *word) {
        if (words_++) text_.add(' ');
        bool quoted = false;
        for (const char *c = word; *c && !quoted; c++) quoted = wants_quotes(*c);
        if (quoted) text_.add('"');
        for (; *word; word++) {
            if (is_line_end(*word)) continue;
            if (*word == '"' || *word == '\\') text_.add('\\');
            text_.add(*word);
        }
        if (quoted) text_.add('"');
    }

    // The length also counts text that did not fit.
    int length() const { return static_cast<int>(std::min<size_t>(text_.length(), INT_MAX)); }

private:
    quill::BoundedText text_;
    size_t words_ = 0;
};

}  // namespace

int cmdline_to_argv(int capacity, char **words, char *line) {
    if (!line) return 0;
    int count = 0;
    while (*line) {
        if (separates(*line)) {
            line++;
            continue;
        }
        if (count < capacity) words[count] = line;
        count++;
        line = take_word(line);
    }
    return count;
}

int argv_to_cmdline(char *buffer, int size, int count, char *const *words) {
    if (size <= 0) return 0;
    Line line(buffer, size);
    for (int i = 0; i < count && words[i]; i++) line.append_word(words[i]);
    return line.length();
}

int args_to_cmdline(char *buffer, int size, ...) {
    va_list words;
    va_start(words, size);
    const char *word = va_arg(words, const char *);
    int length = 0;
    if (word && size > 0) {
        Line line(buffer, size);
        for (; word; word = va_arg(words, const char *)) line.append_word(word);
        length = line.length();
    }
    va_end(words);
    return length;
}
