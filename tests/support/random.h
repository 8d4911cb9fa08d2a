// Random numbers for tests: the same sequence on every machine, which the standard library's distributions do not
// promise.
#pragma once

#include <stdint.h>

namespace quill::test {

// SplitMix64 (Steele, Lea, Flood: "Fast splittable pseudorandom number generators", 2014).
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}

    uint64_t next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(next() >> 32) % n; }
    bool one_in(uint32_t n) { return below(n) == 0; }

private:
    uint64_t state_;
};

}  // namespace quill::test
