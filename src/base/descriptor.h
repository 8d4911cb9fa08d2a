// A class that owns a file descriptor, and a function that writes all bytes to one.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "base/errno.h"

namespace quill {

// Closes its descriptor when it is destroyed, and leaves errno as it was: the caller needs the earlier error.
class [[nodiscard]] Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : fd_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        const int fd = other.release();
        reset();
        fd_ = fd;
        return *this;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ != -1; }

    // Returns the descriptor, and no longer owns it.
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

    // Closes the descriptor and returns the result of close. After a failure, this object does not own the descriptor
    // either.
    int close() { return ::close(release()); }

    void reset() {
        if (fd_ == -1) return;
        const ErrnoGuard errno_guard;
        (void)close();
    }

private:
    int fd_ = -1;
};

// Moves a new descriptor away from the numbers 0 to 2. If the program has closed these, a new file may get one of them.
// Text that the program or the library prints must not go into that file.
inline int clear_of_standard_descriptors(int fd) {
    if (fd > STDERR_FILENO || fd == -1) return fd;
    Descriptor low(fd);
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return moved == -1 ? low.release() : moved;
}

// Writes all bytes, even if signals interrupt it. Returns false with errno if that fails; a part may then have been
// written.
[[nodiscard]] inline bool write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = repeat_if_interrupted([&] { return write(fd, bytes.data(), bytes.size()); });
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

}  // namespace quill
