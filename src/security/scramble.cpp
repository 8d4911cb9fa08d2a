#include <quill/scramble.h>
#include <string.h>

#include <algorithm>

#include "base/ascii.h"
#include "base/bounded_text.h"

// How it works
//
// Both scramblers and their inverses call scrambled() or unscrambled() for one byte at a time. They need no
// intermediate buffer, so any length works. Escaping first checks for errors, and only then writes.

namespace {

// --- scrambling

constexpr unsigned kBitTo[8] = {3, 1, 6, 4, 0, 2, 5, 7};
constexpr uint8_t kOffset = '&';

constexpr uint8_t scrambled(uint8_t plain) {
    unsigned moved = 0;
    for (unsigned bit = 0; bit < 8; bit++) moved |= (plain >> bit & 1u) << kBitTo[bit];
    return static_cast<uint8_t>(moved + kOffset);
}

constexpr uint8_t unscrambled(uint8_t scrambled) {
    const auto moved = static_cast<uint8_t>(scrambled - kOffset);
    unsigned plain = 0;
    for (unsigned bit = 0; bit < 8; bit++) plain |= (moved >> kBitTo[bit] & 1u) << bit;
    return static_cast<uint8_t>(plain);
}

// In the printable form, a pair is a digit and a character. The digit selects a row. The pair then means factor *
// character + addend, modulo 256. append_pair() writes only the digits that are marked as written.
struct PairClass {
    int factor;
    int addend;
};

constexpr PairClass kPairClasses[10] = {
    {1, 0},     // 0: written
    {-1, 0},    // 1
    {1, 0},     // 2
    {1, 126},   // 3: written
    {-1, 126},  // 4
    {1, -48},   // 5: written
    {0, 208},   // 6
    {1, 0},     // 7
    {1, 78},    // 8: written
    {0, 78},    // 9
};

// The buffer has no room for two pairs. Compatibility: programs do not expect the complete form, which needs a bigger
// buffer.
constexpr size_t kPrintedSize = 4;

void append_pair(char (&printed)[kPrintedSize], uint8_t byte) {
    char digit = '0';
    if (byte > 125) {
        byte -= 126;
        digit = '3';
    }
    if (byte <= 48) {
        byte += 48;
        digit += 5;
    }
    const char pair[] = {digit, static_cast<char>(byte), '\0'};
    quill::append_text(printed, sizeof printed, pair);
}

uint8_t byte_of_pair(char digit, char character) {
    const PairClass &c = kPairClasses[quill::is_digit(digit) ? digit - '0' : 0];
    return static_cast<uint8_t>(c.factor * static_cast<uint8_t>(character) + c.addend);
}

// --- escaping

constexpr int kBadArgument = -1, kNothingToDo = -2, kMalformed = -3, kTooLong = -4;

// How a delimiter is escaped in texts.
struct Code {
    char delimiter, escape;
    char after_escape;  // the second character of the delimiter's pair
    static constexpr char kSelf = 'Z';

    explicit constexpr Code(unsigned ch)
        : delimiter(static_cast<char>(ch)),
          escape(static_cast<char>((ch & 0xf0) | 0x0a)),
          after_escape(static_cast<char>((ch & 0x0f) | 0x50)) {}

    bool printable() const { return ' ' <= delimiter && delimiter <= '~'; }

    // Returns the second character of the pair for c; 0 if c is written as it is.
    char second_of_pair(char c) const {
        if (c == delimiter) return after_escape;
        return c == escape ? kSelf : '\0';
    }
    bool is_second(char c) const { return c == after_escape || c == kSelf; }
};

bool is_shorter(const char *text, int size) { return text && size > 0 && strlen(text) < static_cast<size_t>(size); }

size_t encoded_length(const char *text, const Code &code) {
    size_t length = 0;
    for (; *text; text++) length += code.second_of_pair(*text) ? 2 : 1;
    return length;
}

bool is_well_formed(const char *text, const Code &code) {
    for (; *text; text++)
        if (*text == code.escape && !code.is_second(*++text)) return false;
    return true;
}

}  // namespace

int scrambleString(const char *in, uint8_t *out) {
    const size_t length = strlen(in);
    for (size_t i = 0; i < length; i++) out[i] = scrambled(static_cast<uint8_t>(in[i]));
    return static_cast<int>(length);
}

int unscrambleString(const uint8_t *in, char *out, int n) {
    for (int i = 0; i < n; i++) out[i] = static_cast<char>(unscrambled(in[i]));
    return n;
}

int scrambleStringAscii(const char *in, char *out, uint32_t out_size) {
    const size_t length = strlen(in), room = std::min<size_t>(length, out_size);
    char printed[kPrintedSize] = "";
    memset(out, 0, out_size);
    for (size_t i = 0; i < length; i++) {
        const uint8_t byte = scrambled(static_cast<uint8_t>(in[i]));
        if (i < room) out[i] = static_cast<char>(byte);
        if (byte != 0) append_pair(printed, byte);
    }
    quill::copy_text(out, room, printed);
    return 1;
}

int unscrambleStringAscii(const char *in, char *out) {
    for (; *in; in += 2) {
        *out++ = static_cast<char>(unscrambled(byte_of_pair(in[0], in[1])));
        if (!in[1]) break;
    }
    return 1;
}

int string_encode(const char *src, char *dest, int size, uint32_t ch) {
    if (!is_shorter(src, size)) return kBadArgument;
    const Code code(ch);
    const size_t length = encoded_length(src, code);
    if (!code.printable() && length == strlen(src)) {
        strcpy(dest, src);
        return kNothingToDo;
    }
    if (length > static_cast<size_t>(size)) return kTooLong;
    for (; *src; src++) {
        const char second = code.second_of_pair(*src);
        *dest++ = second ? code.escape : *src;
        if (second) *dest++ = second;
    }
    *dest = '\0';
    return 0;
}

int string_decode(const char *src, char *dest, int size, int ch) {
    if (!is_shorter(src, size)) return kBadArgument;
    const Code code(static_cast<unsigned>(ch));
    if (!code.printable() && !strchr(src, code.escape)) {
        strcpy(dest, src);
        return kNothingToDo;
    }
    if (!is_well_formed(src, code)) return kMalformed;
    for (; *src; src++) {
        if (*src != code.escape)
            *dest++ = *src;
        else
            *dest++ = *++src == code.after_escape ? code.delimiter : code.escape;
    }
    *dest = '\0';
    return 0;
}
