// Threads that work at the same time, each with its number.
#pragma once

#include <latch>
#include <thread>
#include <vector>

namespace quill::test {

class Threads {
public:
    // No thread starts to work before all threads run.
    template <typename Work>
    Threads(int count, Work work) : start_(count) {
        for (int i = 0; i < count; i++)
            threads_.emplace_back([this, work, i] {
                start_.arrive_and_wait();
                work(i);
            });
    }
    ~Threads() { join(); }
    Threads(const Threads &) = delete;
    Threads &operator=(const Threads &) = delete;

    void join() {
        for (std::thread &thread : threads_) thread.join();
        threads_.clear();
    }

private:
    std::latch start_;
    std::vector<std::thread> threads_;
};

}  // namespace quill::test
