// Common parts of the benchmarks. The library and its peers, which a program could use instead, do the work of each
// row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace bench {

struct Work {
    std::function<uint64_t()> run;  // does the work once; returns a digest of its results, the same for all
    std::function<void()> before = nullptr;  // called before each run; not timed
};

// Adds a contender to a row ("family: work"), with n elements (0 if the row has no count). prepare is called again for
// every round. Its objects must be freed with the Work. Each run does `operations` operations. The time shown is that
// of one operation.
void add(const std::string &row, const std::string &contender, size_t n, size_t operations,
         std::function<Work()> prepare);

// Returns numbers that look random, and are the same in every run. The first 2^32 numbers are all different.
constexpr uint32_t scatter(uint32_t i) {
    uint32_t k = i + 1;
    k = (k ^ k >> 16) * 0x85ebca6bu;
    k = (k ^ k >> 13) * 0xc2b2ae35u;
    return k ^ k >> 16;
}

// Returns 0 … n - 1 in an order without a pattern.
inline std::vector<uint32_t> shuffled(size_t n) {
    std::vector<uint32_t> order(n);
    std::iota(order.begin(), order.end(), 0u);
    for (size_t i = n; i > 1; i--) std::swap(order[i - 1], order[scatter(static_cast<uint32_t>(i)) % i]);
    return order;
}

}  // namespace bench
