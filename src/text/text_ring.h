// The result buffers of functions that return a text the caller does not own. A ring has several, so that as many
// results can be in one argument list, of a log call for instance; each lasts until the ring comes round to it again.
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

    // The slot to write now. The first call gives slot 1: slot 0 has its turn when the ring comes round.
    //
    // Threads that meet here may get the same slot, as is documented, but never one outside the ring.
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
