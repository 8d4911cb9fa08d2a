// The POSIX mutex as a global: ready before any code runs, never destroyed.
#pragma once

#include <pthread.h>

namespace quill {

class StaticMutex {
public:
    constexpr StaticMutex() = default;
    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// Locks a mutex when it is constructed, and unlocks it when it is destroyed.
class [[nodiscard]] Guard {
public:
    explicit Guard(StaticMutex &mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Guard() { mutex_.unlock(); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

private:
    StaticMutex &mutex_;
};

}  // namespace quill
