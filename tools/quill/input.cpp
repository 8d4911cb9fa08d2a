#include "input.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "command.h"

namespace quill::cli {
namespace {

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool separates(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ':'; }

constexpr std::string_view kBlanks = " \t\r";

bool is_standard_input(const char *path) { return !path || strcmp(path, "-") == 0; }

}  // namespace

void Bytes::resize(size_t size) {
    if (size > room_) {
        const size_t room = size < 2 * room_ ? 2 * room_ : size;
        void *grown = realloc(data_, room);
        if (!grown) fail("out of memory");
        data_ = static_cast<uint8_t *>(grown);
        room_ = room;
    }
    size_ = size;
}

void Bytes::append(uint8_t byte) {
    resize(size_ + 1);
    data_[size_ - 1] = byte;
}

char *Bytes::text() {
    append('\0');
    size_--;
    return reinterpret_cast<char *>(data_);
}

void append(Bytes &out, std::string_view text) {
    for (const char c : text) out.append(static_cast<uint8_t>(c));
}

void append_number(Bytes &out, uint64_t number, size_t size) {
    for (size_t i = size; i-- > 0;) out.append(static_cast<uint8_t>(number >> 8 * i));
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return part(text, first, text.find_last_not_of(kBlanks) + 1 - first);
}

bool next_line(std::string_view &text, std::string_view &line) {
    if (text.empty()) return false;
    const size_t end = text.find('\n');
    line = part(text, 0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return true;
}

const char *name_of_input(const char *path) { return is_standard_input(path) ? "standard input" : path; }

FILE *open_input(const char *path) {
    FILE *const file = is_standard_input(path) ? stdin : fopen(path, "rbe");
    if (!file) fail("cannot open %s: %s", path, strerror(errno));
    return file;
}

void close_input(FILE *file, const char *path) {
    if (ferror(file)) fail("cannot read %s: %s", name_of_input(path), strerror(errno));
    if (file != stdin) fclose(file);
}

bool read_line(FILE *file, Bytes &line) {
    line.resize(0);
    int c;
    while ((c = getc(file)) != EOF && c != '\n') line.append(static_cast<uint8_t>(c));
    return c != EOF || !line.empty();
}

Bytes read_input(const char *path) {
    FILE *const file = open_input(path);
    Bytes bytes;
    constexpr size_t kPart = 65536;
    for (size_t got = kPart; got == kPart;) {  // a second read at the end would need a second Ctrl-D at a terminal
        const size_t used = bytes.size();
        bytes.resize(used + kPart);
        got = fread(bytes.data() + used, 1, kPart, file);
        bytes.resize(used + got);
    }
    close_input(file, path);
    return bytes;
}

Bytes read_text(std::span<char *> operands) {
    Bytes bytes;
    if (operands.empty()) {
        read_line(stdin, bytes);
        if (bytes.view().find('\0') != std::string_view::npos) fail("a NUL byte in the text");
    } else {
        bytes.resize(strlen(operands[0]));
        memcpy(bytes.data(), operands[0], bytes.size());
    }
    return bytes;
}

bool parse_hex(std::string_view text, Bytes &out, size_t &fault) {
    for (size_t i = 0; i < text.size();) {
        if (separates(text[i])) {
            i++;
            continue;
        }
        const int high = digit(text[i]), low = i + 1 < text.size() ? digit(text[i + 1]) : -1;
        if (high < 0 || low < 0) {
            fault = high < 0 ? i : i + 1;
            return false;
        }
        out.append(static_cast<uint8_t>(high << 4 | low));
        i += 2;
    }
    return true;
}

namespace {

size_t leading_digits(std::string_view text) {
    size_t count = 0;
    while (count < text.size() && digit(text[count]) >= 0) count++;
    return count;
}

// Reads a dump line by line.
class Dump {
public:
    explicit Dump(Bytes &out) : out_(out) {}

    // Returns false if the line is not part of a dump. `bytes` gets the line without its offset and its column of text.
    bool take(std::string_view line, std::string_view &bytes) {
        line = trimmed(line);
        bytes = line;
        const bool prefixed = line.starts_with("0x");
        const std::string_view number = part(line, prefixed ? 2 : 0);
        const size_t digits = leading_digits(number), colon = line.find(':');
        const char after = digits < number.size() ? number[digits] : '\0';
        if (prefixed && colon != std::string_view::npos) {  // gdb also names the symbol before the colon
            bytes = trimmed(part(line, colon + 1));
            return is_next(part(number, 0, digits), 16) && cut_text_column(bytes);
        }
        if (digits >= 4 && after == ':' && kBlanks.find(part(number, digits + 1, 1)) != std::string_view::npos) {
            bytes = trimmed(part(number, digits + 1));
            return is_next(part(number, 0, digits), 16) && cut_text_column(bytes);
        }
        if (digits == 8 && line.back() == '|') {  // hexdump -C
            bytes = part(line, digits, line.find('|') - digits);
            has_offsets_ = true;
            return is_next(part(number, 0, digits), 16);
        }
        if (digits == 8 && has_offsets_ && line.size() == digits) {  // the last line of hexdump -C
            bytes = {};
            return is_next(number, 16);
        }
        if (digits == 7 && (after == ' ' || after == '\0')) {  // od -tx1; groups of four digits are words
            bytes = trimmed(part(line, digits));
            return is_next(part(line, 0, digits), 8) && (bytes.empty() || leading_digits(bytes) == 2);
        }
        bytes = of_string(line);
        return true;
    }

private:
    // Returns the content of the quotes of a string with escapes, as strace prints it.
    static std::string_view of_string(std::string_view line) {
        const size_t quote = line.find("\"\\x");
        if (quote == std::string_view::npos) return line;
        const std::string_view string = part(line, quote + 1);
        return part(string, 0, string.find('"'));
    }
    // Returns whether text is the offset of the next byte, counted from the offset of the first line.
    bool is_next(std::string_view text, unsigned base) {
        uint64_t offset = 0;
        for (const char c : text) {
            if (static_cast<unsigned>(digit(c)) >= base) return false;
            offset = offset * base + static_cast<unsigned>(digit(c));
        }
        if (out_.empty()) first_ = offset;
        return offset - first_ == out_.size();
    }
    // Cuts off the column of text, before which there are two blanks.
    static bool cut_text_column(std::string_view &bytes) {
        bytes = part(bytes, 0, bytes.find("  "));
        return true;
    }

    Bytes &out_;
    uint64_t first_ = 0;
    bool has_offsets_ = false;
};

// Parses bytes between blanks and commas: each has two digits, after 0x or \x or without a prefix.
bool parse_bytes(std::string_view text, Bytes &out) {
    for (size_t i = 0; i < text.size();) {
        if (separates(text[i]) || text[i] == ',') {
            i++;
            continue;
        }
        const std::string_view prefix = part(text, i, 2);
        const bool prefixed = prefix == "0x" || prefix == "0X" || prefix == "\\x";
        if (prefixed) i += 2;
        const int high = i < text.size() ? digit(text[i]) : -1, low = i + 1 < text.size() ? digit(text[i + 1]) : -1;
        if (high < 0 || low < 0 || (prefixed && leading_digits(part(text, i)) > 2)) return false;
        out.append(static_cast<uint8_t>(high << 4 | low));
        i += 2;
    }
    return true;
}

// Returns the content of the braces in the definition of an array. A brace in a dump's column of text comes after a
// colon, a bar or a quote.
std::string_view of_array(std::string_view text) {
    const size_t brace = text.find_first_of("{:|\"");
    if (brace == std::string_view::npos || text[brace] != '{') return text;
    const std::string_view values = part(text, brace + 1);
    return part(values, 0, values.find('}'));
}

// tcpdump prints a line about each packet.
bool has_packet_lines(std::string_view text) {
    return text.find("\n\t0x0000:") != std::string_view::npos || text.starts_with("\t0x0000:");
}

}  // namespace

bool parse_dump(std::string_view text, Bytes &out, size_t &fault) {
    const std::string_view bytes = of_array(text);
    const bool packets = has_packet_lines(text);
    Dump dump(out);
    std::string_view left = bytes, line, content;
    while (next_line(left, line)) {
        fault = static_cast<size_t>(line.data() - text.data());
        if (packets && !line.starts_with('\t')) continue;
        if (!dump.take(line, content) || !parse_bytes(content, out)) return false;
    }
    return true;
}

Bytes read_dump(const char *path) {
    Bytes bytes;
    size_t fault = 0;
    if (path && access(path, F_OK) != 0 && parse_dump(path, bytes, fault)) return bytes;
    bytes.resize(0);
    const Bytes input = read_input(path);
    if (parse_dump(input.view(), bytes, fault)) return bytes;
    size_t line = 1;
    for (const char c : part(input.view(), 0, fault)) line += c == '\n';
    fail("%s:%zu: expected bytes in hexadecimal, with offsets that go on from line to line if any", name_of_input(path),
         line);
}

bool parse_number(std::string_view text, uint64_t limit, uint64_t &out) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned base = hex ? 16 : 10;
    if (hex) text.remove_prefix(2);
    if (text.empty()) return false;
    uint64_t value = 0;
    for (const char c : text) {
        const int d = digit(c);
        if (d < 0 || static_cast<unsigned>(d) >= base) return false;
        if (__builtin_mul_overflow(value, base, &value) ||
            __builtin_add_overflow(value, static_cast<uint64_t>(d), &value) || value > limit)
            return false;
    }
    out = value;
    return true;
}

}  // namespace quill::cli
