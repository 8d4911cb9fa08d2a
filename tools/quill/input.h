// Input: files and standard input, as growing blocks of bytes, and numbers.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <span>
#include <string_view>

namespace quill::cli {

// A block of memory. The program ends when memory runs out.
class Bytes {
public:
    Bytes() = default;
    ~Bytes() { free(data_); }
    Bytes(Bytes &&other) noexcept : data_(other.data_), size_(other.size_), room_(other.room_) {
        other.data_ = nullptr;
    }
    Bytes &operator=(Bytes &&) = delete;

    uint8_t *data() { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void resize(size_t size);  // new bytes are not initialised
    void append(uint8_t byte);
    char *text();  // as a text: ended by a NUL, which does not count
    operator std::span<const uint8_t>() const { return {data_, size_}; }
    std::string_view view() const { return {reinterpret_cast<const char *>(data_), size_}; }

private:
    uint8_t *data_ = nullptr;
    size_t size_ = 0, room_ = 0;
};

inline std::string_view as_text(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

// Returns at most count characters of a text from a position on. Returns an empty text if the position is past the end,
// where the C++ library's substr throws.
inline std::string_view part(std::string_view text, size_t from, size_t count = SIZE_MAX) {
    if (from > text.size()) from = text.size();
    const size_t left = text.size() - from;
    return {text.data() + from, count < left ? count : left};
}

void append(Bytes &out, std::string_view text);
void append_number(Bytes &out, uint64_t number, size_t size);  // big-endian

// Returns the text without the blanks at its ends.
std::string_view trimmed(std::string_view text);
// The next line, without its end; false after the last one.
bool next_line(std::string_view &text, std::string_view &line);

// Opens a file for reading; null and "-" mean standard input. If that fails, the program ends.
FILE *open_input(const char *path);
void close_input(FILE *file, const char *path);
// The next line of a file without its end; false after the last one.
bool read_line(FILE *file, Bytes &line);
// Reads all of such a file.
Bytes read_input(const char *path);
// Returns the name of that input for error messages.
const char *name_of_input(const char *path);

// Returns the operand. Without an operand, returns a line of standard input, without its end.
Bytes read_text(std::span<char *> operands);

// The same for bytes that are written in hexadecimal, as parse_dump reads them. An operand that is not the name of a
// file may be the digits themselves. If the input cannot be read or is another text, the program ends.
Bytes read_dump(const char *path);

// Bytes as tools print them: plain digits, xxd, xxd -i and C arrays, hexdump -C, od -tx1, tcpdump -x and -X, strace -x,
// gdb's x/xb. Offsets must rise from line to line: that distinguishes them from bytes. Returns false, with the place of
// the fault, for other texts.
bool parse_dump(std::string_view text, Bytes &out, size_t &fault);

// Parses bytes as hexadecimal digits, two a byte. Blanks, colons and line ends may be anywhere between the bytes.
// False, with the place of the fault, for anything else.
bool parse_hex(std::string_view text, Bytes &out, size_t &fault);

// Parses the whole text as a number of at most `limit`, in decimal, or in hexadecimal after 0x.
bool parse_number(std::string_view text, uint64_t limit, uint64_t &out);

}  // namespace quill::cli
