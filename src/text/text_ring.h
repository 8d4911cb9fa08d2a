// Result buffers for functions that return a text which the caller does not own. A ring has several buffers, so that
// several results can be in one argument list, for instance of a log call. Each result lasts until the ring reuses its
// buffer.
#pragma once

#include <stddef.h>

#include <atomic>

namespace quill {

template <typename T, unsigned slots, size_t length>
class ResultRing {
public:
    static constexpr size_t size = length;

    constexpr ResultRing() = default;
    ResultRing(const ResultRing &) = delete;
    ResultRing &operator=(const ResultRing &) = delete;

    // Returns the slot to write now. The first call returns slot 1; slot 0 comes after the last slot.
    //
    // Threads that call this at the same time may get the same slot, as is documented, but never one outside the ring.
    T *next() {
        const unsigned before = last_.load(std::memory_order_relaxed);
        const unsigned slot = before + 1 < slots ? before + 1 : 0;
        last_.store(slot, std::memory_order_relaxed);
        return buffer_[slot];
    }

private:
    std::atomic<unsigned> last_{0};
    T buffer_[slots][length] = {};
};

template <unsigned slots, size_t length>
using TextRing = ResultRing<char, slots, length>;

}  // namespace quill
