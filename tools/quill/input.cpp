#include "input.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

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

const char *name_of_input(const char *path) { return is_standard_input(path) ? "standard input" : path; }

Bytes read_input(const char *path) {
    FILE *file = is_standard_input(path) ? stdin : fopen(path, "rbe");
    if (!file) fail("cannot open %s: %s", path, strerror(errno));
    Bytes bytes;
    constexpr size_t kPart = 65536;
    for (size_t got = kPart; got == kPart;) {  // a second read at the end would take a second Ctrl-D at a terminal
        const size_t used = bytes.size();
        bytes.resize(used + kPart);
        got = fread(bytes.data() + used, 1, kPart, file);
        bytes.resize(used + got);
    }
    if (ferror(file)) fail("cannot read %s: %s", name_of_input(path), strerror(errno));
    if (file != stdin) fclose(file);
    return bytes;
}

Bytes read_text(std::span<char *> operands) {
    Bytes bytes;
    if (operands.empty()) {
        for (int c; (c = getchar()) != EOF && c != '\n';) bytes.append(static_cast<uint8_t>(c));
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
