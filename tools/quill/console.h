// Output: in colour on a terminal, and foreign texts in a form that is safe for a terminal.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

namespace quill::cli {

// Escape sequences for standard output; those of errors are for standard error. They are empty if that is not a
// terminal, or if the user disables them (NO_COLOR, TERM=dumb).
const char *bold();
const char *faint();
const char *plain();
const char *colour_of_errors();
const char *end_of_colour_of_errors();

// Returns the number of bytes of the UTF-8 character (RFC 3629) at the start of a text, or 0.
size_t utf8_length(std::string_view text);
bool is_utf8(std::string_view text);
// Returns whether a text begins with a control character. This includes those of C1, which have two bytes in UTF-8:
// some terminals obey them.
bool is_control(std::string_view text);

// Prints a text with control characters, and bytes that are not UTF-8, as \n, \xff and so on. Between quotes, also
// escapes the quote and backslashes.
void print_escaped(std::string_view text, char quote = '\0');

// Prints a text unchanged into a pipe, and escaped on a terminal.
void print_text(std::string_view text);

// Writes a message as raw bytes, or as hexadecimal digits in one line.
void write_message(std::span<const uint8_t> bytes, bool hex);
void print_hex(std::span<const uint8_t> bytes);
// Prints rows of sixteen bytes, each after the indent: offset, bytes in hexadecimal, and the printable ones as text.
void print_dump(std::span<const uint8_t> bytes, const char *indent);

}  // namespace quill::cli
