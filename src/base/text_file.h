// The small text files that the kernel and the daemons publish: read at every use, a number or a line each.
#pragma once

#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <sys/types.h>

#include <span>
#include <string_view>

#include "base/ascii.h"
#include "base/descriptor.h"

namespace quill {

// A decimal number as scanf's %d takes it from the characters that next gives, which ends them with what is no digit:
// white space, a sign, digits. A number that no int holds becomes the nearest that one does. False when there is none.
template <typename Next>
[[nodiscard]] bool scan_int(Next next, int *number) {
    int c = next();
    while (is_space(c)) c = next();
    const bool negative = c == '-';
    if (c == '-' || c == '+') c = next();
    if (!is_digit(c)) return false;
    int64_t value = 0;
    for (; is_digit(c); c = next()) {
        value = value * 10 + (c - '0');
        if (value > int64_t{INT_MAX} + 1) value = int64_t{INT_MAX} + 1;
    }
    if (negative) value = -value;
    *number = static_cast<int>(value > INT_MAX ? INT_MAX : value);
    return true;
}

// The same from a text, as atoi does it: 0 when there is no number.
inline int int_of(const char *text) {
    int number;
    return scan_int([&] { return *text ? *text++ : '\0'; }, &number) ? number : 0;
}

enum class FileNumber { kNoFile, kNoNumber, kRead };

// Fills the buffer from the file's start, as far as there is content, and puts a NUL behind it, in the last byte at the
// furthest. Returns how much was read; -1 with errno when the first read fails. A later one that fails ends the
// content.
inline ssize_t read_start(int fd, std::span<char> buffer) {
    size_t length = 0;
    while (length < buffer.size() - 1) {
        const ssize_t part = read(fd, buffer.data() + length, buffer.size() - 1 - length);
        if (part < 0 && length == 0) return -1;
        if (part <= 0) break;
        length += static_cast<size_t>(part);
    }
    buffer[length] = '\0';
    return static_cast<ssize_t>(length);
}

// Reads the number at the start of a file; *number is only written if there is one. White space before it is skipped,
// but no more than fits in the buffer: a file of blanks must not hold up its reader.
[[nodiscard]] inline FileNumber read_number(const Descriptor &file, int *number) {
    char text[256];
    if (!file) return FileNumber::kNoFile;
    if (read_start(file.get(), text) <= 0) return FileNumber::kNoNumber;
    const char *at = text;
    return scan_int([&] { return *at ? *at++ : '\0'; }, number) ? FileNumber::kRead : FileNumber::kNoNumber;
}

// Opens a file to be written anew, making it where there is none, as fopen does for "w". Async-signal-safe, as is what
// follows; the caller holds cancellation off.
inline Descriptor open_to_replace(const char *path) {
    return Descriptor(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

// Replaces the file's content. Returns false if it cannot be opened; write errors are not reported. The old content is
// written over before it is cut off, so that a reader never finds the file empty.
inline bool replace_content(const char *path, std::string_view content) {
    const Descriptor file(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    if (file && write_all(file.get(), content)) (void)!ftruncate(file.get(), static_cast<off_t>(content.size()));
    return static_cast<bool>(file);
}

}  // namespace quill
