// What is printed: in colour on a terminal, and texts of strangers without harm to one.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

namespace quill::cli {

// Escape sequences for standard output, empty where it is not a terminal or the user disables them (NO_COLOR,
// TERM=dumb).
const char *bold();
const char *faint();
const char *plain();
const char *colour_of_errors();
const char *end_of_colour_of_errors();

// The bytes of the UTF-8 character (RFC 3629) that a text begins with; 0 when it begins with none.
size_t utf8_length(std::string_view text);
bool is_utf8(std::string_view text);
// Whether it begins with a control character, the C1 ones included, which in UTF-8 have two bytes: some terminals obey
// them.
bool is_control(std::string_view text);

// With control characters and bytes that are not UTF-8 as \n, \xff and so on; between quotes, also the quote and
// backslashes.
void print_escaped(std::string_view text, char quote = '\0');

// As it is into a pipe, and escaped on a terminal.
void print_text(std::string_view text);

// A message as it is, or as digits in a line.
void write_message(std::span<const uint8_t> bytes, bool hex);
void print_hex(std::span<const uint8_t> bytes);
// Rows of sixteen: offset, bytes, and the printable ones again, each row after the indent.
void print_dump(std::span<const uint8_t> bytes, const char *indent);

}  // namespace quill::cli
