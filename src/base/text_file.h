// Reads the small text files that the kernel and the daemons publish. Each file holds a number or a line. The library
// reads it again at every use.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <span>
#include <string_view>

#include "base/cancellation.h"
#include "base/decimal.h"
#include "base/descriptor.h"

namespace quill {

enum class FileNumber { kNoFile, kNoNumber, kRead };

// Reads up to buffer.size() - 1 bytes from the start of the file and adds a NUL. Returns how many were read, or -1 with
// errno when the first read fails. A later read that fails ends the content.
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

// Does the same with the file at path. Also returns -1 if the file cannot be opened. The thread cannot be cancelled
// during the call.
inline ssize_t read_start(const char *path, std::span<char> buffer) {
    const NoCancellation no_cancellation;
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    return file ? read_start(file.get(), buffer) : -1;
}

// Reads the number at the start of a file; *number is only written if there is one. White space before the number is
// skipped, but only as much as fits in the buffer: a file of blanks must not block its reader.
[[nodiscard]] inline FileNumber read_number(const Descriptor &file, int *number) {
    char text[256];
    if (!file) return FileNumber::kNoFile;
    if (read_start(file.get(), text) <= 0) return FileNumber::kNoNumber;
    const char *at = text;
    return read_int<Overflow::kClamps>(at, *number) ? FileNumber::kRead : FileNumber::kNoNumber;
}

// Opens a file as fopen does for "w": creates a missing file, and empties an existing one. Async-signal-safe, as is the
// next function. The caller must disable cancellation.
inline Descriptor open_to_replace(const char *path) {
    return Descriptor(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

// Replaces the file's content. Returns false if the file cannot be opened; write errors are not reported. The new
// content overwrites the old one before the file is truncated. So a reader never finds the file empty.
inline bool replace_content(const char *path, std::string_view content) {
    const Descriptor file(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    if (file && write_all(file.get(), content)) (void)!ftruncate(file.get(), static_cast<off_t>(content.size()));
    return static_cast<bool>(file);
}

}  // namespace quill
