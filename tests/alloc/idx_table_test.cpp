#include <quill/idx_table.h>

#include <gtest/gtest.h>
#include <string.h>

#include <set>
#include <string>
#include <vector>

#include "support/contract.h"
#include "support/failing_alloc.h"
#include "support/random.h"

namespace quill::test {
namespace {

// A table, and which offsets from first should be free.
struct Range {
    int first, last, step = first > last ? -1 : 1;
    uint32_t size = static_cast<uint32_t>((last - first) * step + 1);
    std::set<uint32_t> free = {};
    idx_table *table = idx_table_create(static_cast<uint32_t>(first), static_cast<uint32_t>(last));

    uint32_t index(uint32_t offset) const { return static_cast<uint32_t>(first + step * static_cast<int>(offset)); }
    void alloc() {
        uint16_t out = 12345;
        ASSERT_EQ(idx_table_index_alloc(table, &out), free.empty() ? -1 : 0);
        ASSERT_EQ(out, free.empty() ? 12345 : index(*free.begin()));
        if (!free.empty()) free.erase(free.begin());
    }
    // One behind each end, and numbers whose low 16 bits lie inside the range.
    void expect_outside_refused() {
        const auto low = static_cast<uint32_t>(std::min(first, last)),
                   high = static_cast<uint32_t>(std::max(first, last));
        for (const uint32_t other : {low - 1, high + 1, low + 0x10000u, high + 0xFFFF0000u, UINT32_MAX})
            ASSERT_EQ(idx_table_index_reserve(table, other) + idx_table_index_free(table, other), -2) << other;
    }
    // Debuggers read the record: first, last, the summary at offset 8, the buckets behind it.
    void check() const {
        const auto *record = reinterpret_cast<const char *>(table);
        const uint16_t ends[] = {static_cast<uint16_t>(first), static_cast<uint16_t>(last)};
        ASSERT_EQ(memcmp(record, ends, sizeof ends), 0);
        std::vector<uint64_t> words(1 + (size + 63) / 64);
        for (const uint32_t offset : free) {
            words[1 + offset / 64] |= uint64_t{1} << offset % 64;
            words[0] |= uint64_t{1} << offset / 64;
        }
        ASSERT_EQ(memcmp(record + 8, words.data(), words.size() * sizeof words[0]), 0);
    }
};

TEST(IdxTable, RandomOperationsFollowTheModel) {
    constexpr int kEnds[][2] = {{10, 12}, {100, 90}, {7, 7},    {0, 0},         {65535, 65535}, {1, 64},
                                {64, 0},  {200, 73}, {1, 4096}, {65535, 61440}, {4095, 0}};
    for (const auto &ends : kEnds) {
        Range range = {ends[0], ends[1]};
        auto &[first, last, step, size, free, table] = range;
        SCOPED_TRACE(testing::Message() << first << " to " << last);
        Random random(size);
        for (uint32_t offset = 0; offset < size; offset++) free.insert(offset);
        range.check();
        for (uint32_t i = 0; i <= size; i++) range.alloc();
        for (int i = 0; i < 2000 && !HasFatalFailure(); i++) {
            const uint32_t offset = random.below(size), index = range.index(offset);
            switch (random.below(4)) {
                case 0: range.alloc(); break;
                case 1: EXPECT_EQ(idx_table_index_reserve(table, index), free.erase(offset) ? 0 : -1); break;
                case 2: range.expect_outside_refused(); break;
                default: EXPECT_EQ(free.insert(offset).second ? idx_table_index_free(table, index) : 0, 0);
            }
            if (size < 200 || i % 32 == 0) range.check();
        }
        idx_table_free(table);
    }
}

TEST(IdxTable, RefusesRangesThatAreTooLongOrBeyond16Bits) {
    constexpr uint32_t kRanges[][2] = {{1, 4097},      {4097, 1},       {65535, 65536},  {65536, 65535},
                                       {65536, 65540}, {UINT32_MAX, 0}, {0, UINT32_MAX}, {UINT32_MAX, UINT32_MAX}};
    for (const auto &[first, last] : kRanges) EXPECT_EQ(idx_table_create(first, last), nullptr) << first << ' ' << last;
}

TEST(IdxTable, AFailedAllocationGivesNoTable) {
    idx_table *table = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (table = idx_table_create(1, 65)) != nullptr; }), 1);
    idx_table_free(table);
    idx_table_free(nullptr);
}

TEST(IdxTable, ContractViolationsAreReported) {
    uint16_t out;
    static idx_table *table;
    table = idx_table_create(10, 80);
    for (int i = 0; i < 71; i++) idx_table_index_alloc(table, &out);
    EXPECT_EQ(idx_table_index_free(table, 79), 0);
    constexpr char kFree[] = "!(idx_table->table_bucket[bucket] & local_mask)";
    expect_contracts({
        {[] { idx_table_index_free(table, 79); }, kFree, "idx_table", 176, "idx_table_index_free"},
        {[] { idx_table_index_alloc(nullptr, nullptr); }, "idx_table", "idx_table", 100, "idx_table_index_alloc"},
        {[] { idx_table_index_alloc(table, nullptr); }, "out", "idx_table", 101, "idx_table_index_alloc"},
    });
    idx_table_free(table);
}

}  // namespace
}  // namespace quill::test
