// Tests of the small tools in base, which all families use.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "codec/copy.h"
#include "hash/divisor.h"
#include "support/random.h"

namespace {

using quill::test::Random;

TEST(Divisor, RemaindersAreThoseOfADivision) {
    Random random(1);
    std::vector<uint32_t> numbers = {0, 1, 2, 3, 0x7fffffff, 0x80000000, 0x80000001, 0xfffffffe, 0xffffffff};
    for (uint32_t shift = 2; shift < 32; shift++)
        for (const uint32_t by : {0u, 1u, UINT32_MAX}) numbers.push_back((1u << shift) + by);
    for (int i = 0; i < 300; i++) numbers.push_back(random.below(UINT32_MAX) >> random.below(31));
    for (const uint32_t divisor : numbers) {
        if (divisor == 0) continue;
        const uint64_t reciprocal = quill::reciprocal_of(divisor);
        for (const uint32_t number : numbers) {
            ASSERT_EQ(quill::remainder(number, divisor, reciprocal), number % divisor) << number << " % " << divisor;
            // Also tries the multiple of the divisor before the number, and the number just below this multiple. A
            // reciprocal that is off by one fails there.
            for (const uint32_t near : {number - number % divisor - 1, number - number % divisor})
                ASSERT_EQ(quill::remainder(near, divisor, reciprocal), near % divisor) << near << " % " << divisor;
        }
    }
}

TEST(Copy, MovesEachSizeEitherWayAndNothingElse) {
    std::vector<char> before(160);
    std::iota(before.begin(), before.end(), '\1');
    for (size_t size = 0; size <= 70; size++) {
        for (const size_t to : {0u, 1u, 35u, 39u, 40u, 41u, 45u, 80u}) {
            std::vector<char> ours = before, wanted = before;
            quill::copy_bytes(ours.data() + to, ours.data() + 40, size);
            memmove(wanted.data() + to, wanted.data() + 40, size);
            ASSERT_EQ(ours, wanted) << size << " bytes to " << to;
        }
    }
}

}  // namespace
