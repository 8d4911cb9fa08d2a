// A recursive mutex that is ready before any code runs.
//
// POSIX has no static initialiser for one: glibc and uClibc offer their own, musl does not, and making one at run time
// takes a constructor or a check before every lock. The plain mutex can be initialised statically everywhere, so
// recursion is added to it: the thread that holds it is remembered, and locks again by counting.
//
// Reading owner_ without holding the mutex is sound because it is only compared with the reader itself. A thread stores
// its own name, and takes it back before it unlocks, so it reads its name exactly while it holds the mutex; whatever
// else it reads, however old, is another's. No thread is named pthread_t{}: on all three libraries the name is the
// address of the thread's descriptor.
#pragma once

#include <pthread.h>

#include <atomic>

#include "base/mutex.h"

namespace quill {

class RecursiveMutex {
public:
    constexpr RecursiveMutex() = default;

    void lock() {
        if (!held_by_caller()) {
            mutex_.lock();
            owner_.store(pthread_self(), std::memory_order_relaxed);
        }
        depth_++;
    }
    void unlock() {
        if (--depth_ > 0) return;
        owner_.store(pthread_t{}, std::memory_order_relaxed);
        mutex_.unlock();
    }
    bool held_by_caller() const { return owner_.load(std::memory_order_relaxed) == pthread_self(); }

    // In the child of a fork, where a thread that held the mutex no longer exists. What the caller itself holds stays.
    void free_from_threads_left_behind() {
        if (held_by_caller()) return;
        mutex_ = StaticMutex();
        owner_.store(pthread_t{}, std::memory_order_relaxed);
        depth_ = 0;
    }

private:
    StaticMutex mutex_;
    std::atomic<pthread_t> owner_ = pthread_t{};
    int depth_ = 0;
};

}  // namespace quill
