// Disables thread cancellation. A thread that is cancelled inside the library never releases what it holds: the library
// is compiled without exceptions, so no destructor runs.
#pragma once

#include <pthread.h>

namespace quill {

class [[nodiscard]] NoCancellation {
public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &callers_state_); }
    ~NoCancellation() { pthread_setcancelstate(callers_state_, nullptr); }
    NoCancellation(const NoCancellation &) = delete;
    NoCancellation &operator=(const NoCancellation &) = delete;

private:
    int callers_state_;
};

}  // namespace quill
