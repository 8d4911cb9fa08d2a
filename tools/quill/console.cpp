#include "console.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace quill::cli {
namespace {

bool wants_colour(int fd) {
    const char *none = getenv("NO_COLOR"), *terminal = getenv("TERM");
    return isatty(fd) && !(none && *none) && terminal && strcmp(terminal, "dumb") != 0;
}

const char *on_output(const char *sequence) {
    static int wanted = -1;
    if (wanted < 0) wanted = wants_colour(STDOUT_FILENO);
    return wanted ? sequence : "";
}

const char *on_errors(const char *sequence) { return wants_colour(STDERR_FILENO) ? sequence : ""; }

bool is_printable(uint8_t c) { return c >= 0x20 && c < 0x7f; }

}  // namespace

const char *bold() { return on_output("\033[1m"); }
const char *faint() { return on_output("\033[2m"); }
const char *plain() { return on_output("\033[0m"); }
const char *colour_of_errors() { return on_errors("\033[1;31m"); }
const char *end_of_colour_of_errors() { return on_errors("\033[0m"); }

size_t utf8_length(std::string_view text) {
    const auto at = [=](size_t i) { return static_cast<uint8_t>(i < text.size() ? text[i] : 0); };
    const uint8_t first = at(0);
    if (text.empty()) return 0;
    if (first < 0x80) return 1;
    const size_t length = first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
    for (size_t i = 1; i < length; i++)
        if ((at(i) & 0xc0) != 0x80) return 0;
    // Refuses encodings that are longer than necessary, halves of UTF-16 pairs, and values beyond Unicode.
    const uint8_t second = at(1);
    const bool refused = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                         (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return refused ? 0 : length;
}

bool is_control(std::string_view text) {
    const auto byte = static_cast<uint8_t>(text.empty() ? 'a' : text[0]);
    return byte < 0x20 || byte == 0x7f ||
           (byte == 0xc2 && utf8_length(text) == 2 && static_cast<uint8_t>(text[1]) < 0xa0);
}

void print_text(std::string_view text) {
    if (isatty(STDOUT_FILENO))
        print_escaped(text);
    else
        fwrite(text.data(), 1, text.size(), stdout);
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

void print_escaped(std::string_view text, char quote) {
    while (!text.empty()) {
        const char c = text[0];
        const auto byte = static_cast<uint8_t>(c);
        const size_t whole = utf8_length(text), length = is_control(text) ? 0 : whole;
        if (quote && (c == '\\' || c == quote))
            printf("\\%c", c);
        else if (c == '\n')
            fputs("\\n", stdout);
        else if (c == '\t')
            fputs("\\t", stdout);
        else if (c == '\r')
            fputs("\\r", stdout);
        else if (length > 1 || is_printable(byte))
            fwrite(text.data(), 1, length, stdout);
        else
            printf("\\x%02x", byte);
        text.remove_prefix(length ? length : 1);
    }
}

void print_hex(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) printf("%02x", byte);
}

void write_message(std::span<const uint8_t> bytes, bool hex) {
    if (hex) {
        print_hex(bytes);
        putchar('\n');
    } else {
        fwrite(bytes.data(), 1, bytes.size(), stdout);
    }
}

void print_dump(std::span<const uint8_t> bytes, const char *indent) {
    constexpr size_t kRow = 16;
    for (size_t start = 0; start < bytes.size(); start += kRow) {
        const auto row = bytes.subspan(start, bytes.size() - start < kRow ? bytes.size() - start : kRow);
        printf("%s%s%04zx%s ", indent, faint(), start, plain());
        for (size_t i = 0; i < kRow; i++) {
            if (i < row.size())
                printf(i == kRow / 2 ? "  %02x" : " %02x", row[i]);
            else
                fputs(i == kRow / 2 ? "    " : "   ", stdout);
        }
        printf("  %s|", faint());
        for (const uint8_t byte : row) putchar(is_printable(byte) ? byte : '.');
        printf("|%s\n", plain());
    }
}

}  // namespace quill::cli
