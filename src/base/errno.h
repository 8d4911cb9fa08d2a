// Work in between that leaves errno as it was, and calls that a signal interrupts.
#pragma once

#include <errno.h>

namespace quill {

// For code that must not change the caller's error, or what %m prints.
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

// Calls until the result is not -1, or -1 for another reason than a signal.
template <typename Call>
auto repeat_if_interrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

}  // namespace quill
