#include <quill/idx_table.h>

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/contract.h"
#include "support/failing_alloc.h"
#include "support/random.h"

namespace {

using quill::test::expect_contracts;
using quill::test::Random;

// Which offsets from first are free, and what the table's record must then hold.
class Model {
public:
    Model(int first, int last)
        : first_(first), step_(first > last ? -1 : 1), free_(static_cast<size_t>((last - first) * step_ + 1), true) {}

    size_t size() const { return free_.size(); }
    int index(size_t offset) const { return first_ + step_ * static_cast<int>(offset); }
    size_t first_free() const {
        return static_cast<size_t>(std::find(free_.begin(), free_.end(), true) - free_.begin());
    }
    std::vector<bool>::reference operator[](size_t offset) { return free_[offset]; }

    // Debuggers read the record: first, last, the summary at offset 8, the buckets behind it.
    void check(const idx_table *table) const {
        const auto *record = reinterpret_cast<const char *>(table);
        uint16_t ends[2];
        memcpy(ends, record, sizeof ends);
        ASSERT_EQ(ends[0], index(0));
        ASSERT_EQ(ends[1], index(size() - 1));
        std::vector<uint64_t> words(1 + (size() + 63) / 64), wanted(words.size());
        memcpy(words.data(), record + 8, words.size() * sizeof words[0]);
        for (size_t i = 0; i < size(); i++)
            if (free_[i]) wanted[1 + i / 64] |= uint64_t{1} << i % 64;
        for (size_t b = 0; b + 1 < wanted.size(); b++)
            if (wanted[1 + b]) wanted[0] |= uint64_t{1} << b;
        ASSERT_EQ(words, wanted);
    }

private:
    int first_, step_;
    std::vector<bool> free_;
};

void expect_allocated(idx_table *table, Model &model) {
    constexpr uint16_t kUntouched = 12345;
    uint16_t out = kUntouched;
    const size_t offset = model.first_free();
    const bool full = offset == model.size();
    ASSERT_EQ(idx_table_index_alloc(table, &out), full ? -1 : 0);
    ASSERT_EQ(out, full ? kUntouched : model.index(offset));
    if (!full) model[offset] = false;
}

void expect_model_followed(int first, int last) {
    Random random(static_cast<uint64_t>(last));
    Model model(first, last);
    const auto size = static_cast<uint32_t>(model.size());
    idx_table *table = idx_table_create(static_cast<uint32_t>(first), static_cast<uint32_t>(last));
    ASSERT_NE(table, nullptr);
    ASSERT_NO_FATAL_FAILURE(model.check(table));
    for (uint32_t i = 0; i <= size; i++) ASSERT_NO_FATAL_FAILURE(expect_allocated(table, model));
    ASSERT_NO_FATAL_FAILURE(model.check(table));
    // One behind each end, and numbers whose low 16 bits lie inside the range.
    const auto low = static_cast<uint32_t>(std::min(first, last)), high = static_cast<uint32_t>(std::max(first, last));
    const uint32_t outside[] = {low - 1, high + 1, low + 0x10000u, high + 0xFFFF0000u, UINT32_MAX};
    for (int i = 0; i < 2000; i++) {
        const uint32_t offset = random.below(size);
        const auto index = static_cast<uint32_t>(model.index(offset));
        const bool free = model[offset];
        switch (random.below(4)) {
            case 0: ASSERT_NO_FATAL_FAILURE(expect_allocated(table, model)); break;
            case 1:
                ASSERT_EQ(idx_table_index_reserve(table, index), free ? 0 : -1);
                model[offset] = false;
                break;
            case 2:
                for (const uint32_t other : outside) {
                    ASSERT_EQ(idx_table_index_reserve(table, other), -1) << other;
                    ASSERT_EQ(idx_table_index_free(table, other), -1) << other;
                }
                break;
            default:
                if (free) break;
                ASSERT_EQ(idx_table_index_free(table, index), 0);
                model[offset] = true;
        }
        if (size < 200 || i % 32 == 0) {
            ASSERT_NO_FATAL_FAILURE(model.check(table)) << "step " << i;
        }
    }
    idx_table_free(table);
}

TEST(IdxTable, RandomOperationsFollowTheModel) {
    constexpr int kRanges[][2] = {{10, 12},       {100, 90}, {7, 7},        {0, 0},    {65535, 65535},
                                  {1, 64},        {64, 0},   {0, 64},       {200, 73}, {1, 4096},
                                  {65535, 61440}, {4095, 0}, {61440, 65535}};
    for (const auto &[first, last] : kRanges) {
        SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(last));
        expect_model_followed(first, last);
    }
}

TEST(IdxTable, RefusesRangesThatAreTooLongOrBeyond16Bits) {
    constexpr uint32_t kRanges[][2] = {
        {1, 4097},      {4097, 1},       {0, 65535},      {65535, 0}, {65535, 65536},          {65536, 65535},
        {65536, 65540}, {UINT32_MAX, 0}, {0, UINT32_MAX}, {5, 65541}, {UINT32_MAX, UINT32_MAX}};
    for (const auto &[first, last] : kRanges) EXPECT_EQ(idx_table_create(first, last), nullptr) << first << ' ' << last;
}

TEST(IdxTable, AFailedAllocationGivesNoTable) {
    idx_table *table = nullptr;
    const auto create = [&] { return (table = idx_table_create(1, 65)) != nullptr; };
    EXPECT_EQ(quill::test::expect_failures_survived(create), 1);
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
