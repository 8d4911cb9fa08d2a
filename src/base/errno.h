// Code that keeps errno unchanged, and calls that a signal may interrupt.
#pragma once

#include <errno.h>

namespace quill {

// Restores errno at the end of a block that must not change the caller's error, or what %m prints.
class [[nodiscard]] ErrnoGuard {
public:
    ErrnoGuard() = default;
    ~ErrnoGuard() { restore(); }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

    void restore() const { errno = callers_; }

private:
    const int callers_ = errno;
};

// Repeats the call while it returns -1 with EINTR.
template <typename Call>
auto repeat_if_interrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

}  // namespace quill
