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
    char *text();  // adds a NUL at the end, which size() does not count
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
// Stores the next line without its newline, and removes it from text. Returns false after the last line.
bool next_line(std::string_view &text, std::string_view &line);

// Opens a file for reading; null and "-" mean standard input. If that fails, the program ends.
FILE *open_input(const char *path);
void close_input(FILE *file, const char *path);
// Reads the next line of a file without its newline. Returns false after the last line.
bool read_line(FILE *file, Bytes &line);
// Reads all of a file, or of standard input, as open_input() opens it.
Bytes read_input(const char *path);
// Returns the name of such an input for error messages.
const char *name_of_input(const char *path);

// Returns the operand. Without an operand, returns a line of standard input, without its newline.
Bytes read_text(std::span<char *> operands);

// Reads an input that has bytes in hexadecimal, in a form that parse_dump reads. If no file has the name `path`, `path`
// may be the digits themselves. If the input cannot be read or has another form, the program ends.
Bytes read_dump(const char *path);

// Bytes as tools print them: plain digits, xxd, xxd -i and C arrays, hexdump -C, od -tx1, tcpdump -x and -X, strace -x,
// gdb's x/xb. Each offset must be that of the next byte: that distinguishes offsets from bytes. Returns false, with the
// place of the fault, for other texts.
bool parse_dump(std::string_view text, Bytes &out, size_t &fault);

// Parses bytes as hexadecimal digits, two a byte. Blanks, colons and line ends may be anywhere between the bytes.
// Returns false, with the place of the fault, for anything else.
bool parse_hex(std::string_view text, Bytes &out, size_t &fault);

// Parses the whole text as a number of at most `limit`, in decimal, or in hexadecimal after 0x.
bool parse_number(std::string_view text, uint64_t limit, uint64_t &out);

}  // namespace quill::cli
