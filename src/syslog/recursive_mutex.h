// A recursive mutex that is ready before any code runs.
//
// POSIX has no static initialiser for a recursive mutex: glibc and uClibc have their own, musl has none. Initialising
// it at run time needs a constructor or a check before every lock. So this class adds recursion to a plain mutex, which
// can be initialised statically everywhere. The class stores the thread that holds the mutex, and counts how often that
// thread locks it.
//
// Reading owner_ without holding the mutex is safe, because a thread only compares it with its own name. A thread
// stores its name after it locks, and clears it before it unlocks. So a thread reads its own name only while it holds
// the mutex. Any other value, however old, is not the name of this thread. No thread is named pthread_t{}: on all three
// libraries the name is the address of the thread's descriptor.
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

    // Called in the child of a fork: unlocks the mutex if its holder was another thread, which does not exist there.
    // The mutex stays locked if the caller itself holds it.
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
