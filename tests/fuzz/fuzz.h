// Common parts of the fuzz targets. A target has one function, LLVMFuzzerTestOneInput, which gets any bytes. The target
// must not crash, and must not read or write out of bounds. The target EXPECTs the results of a plain model or of a
// round trip.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "support/guard_page.h"

#define EXPECT(holds)                                                             \
    do {                                                                          \
        if (!(holds)) {                                                           \
            fprintf(stderr, "%s:%d: expected: %s\n", __FILE__, __LINE__, #holds); \
            abort();                                                              \
        }                                                                         \
    } while (false)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace quill::fuzz {

// LLVMFuzzerInitialize returns kSkipped if this machine allows only a part of the test. CTest then counts the replay as
// skipped.
constexpr int kSkipped = 77;

// The input, read from its start. After its end, numbers are 0 and texts empty.
class Input {
public:
    Input(const uint8_t *data, size_t size) : left_(data, size) {}

    bool empty() const { return left_.empty(); }
    uint8_t byte() {
        if (empty()) return 0;
        const uint8_t first = left_[0];
        left_ = left_.subspan(1);
        return first;
    }
    unsigned below(unsigned n) {
        const unsigned first = byte();  // separate, because compilers differ in which byte() they call first
        return (n <= 256 ? first : first * 256u + byte()) % n;
    }
    // Reads up to a NUL or to the end. Also consumes the NUL.
    std::string text(size_t longest = 1000) {
        const size_t length = static_cast<size_t>(std::find(left_.begin(), left_.end(), 0) - left_.begin());
        std::string taken(left_.begin(), left_.begin() + static_cast<ptrdiff_t>(length));
        left_ = left_.subspan(std::min(length + 1, left_.size()));
        return taken.substr(0, longest);
    }
    std::vector<uint8_t> rest(size_t longest = 4000) const {
        return {left_.begin(), left_.begin() + static_cast<ptrdiff_t>(std::min(longest, left_.size()))};
    }

private:
    std::span<const uint8_t> left_;
};

// Returns the number of digits of the longest number in a text. The C library's scanner is the model of several
// targets. The scanner is exact for nine digits, and its result is undefined for numbers outside int.
inline size_t longest_number(const std::string &text) {
    size_t digits = 0, most = 0;
    for (const char c : text) most = std::max(most, digits = c >= '0' && c <= '9' ? digits + 1 : 0);
    return most;
}

// Returns room for a text, which ends at a page without access. The next use of the same page reuses the room.
inline char *room(test::GuardedPage &page, size_t size) { return reinterpret_cast<char *>(page.room(size, 0xee)); }

}  // namespace quill::fuzz
