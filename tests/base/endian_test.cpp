#include "base/endian.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using quill::load_be;
using quill::store_be;

constexpr uint8_t kBytes[] = {0xFF, 0x81, 0x02, 0x83, 0x04, 0x85, 0x06, 0x87, 0x08};

template <typename T>
void expect_number(T number) {
    EXPECT_EQ(load_be<T>(kBytes + 1), number);  // an odd address
    uint8_t stored[sizeof kBytes] = {};
    store_be(stored + 1, number);
    EXPECT_TRUE(std::equal(stored + 1, stored + 1 + sizeof number, kBytes + 1));
    EXPECT_EQ(stored[0], 0);
    if (sizeof number < 8) {
        EXPECT_EQ(stored[1 + sizeof number], 0);
    }
}

TEST(Endian, NumbersStandHighestByteFirstAtAnyAddress) {
    expect_number<uint8_t>(0x81);
    expect_number<uint16_t>(0x8102);
    expect_number<uint32_t>(0x81028304);
    expect_number<uint64_t>(0x8102830485068708);
}

}  // namespace
