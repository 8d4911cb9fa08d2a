#include <quill/idx_table.h>

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <sstream>
#include <string>

#include "support/case_file.h"
#include "support/contract.h"
#include "support/failing_alloc.h"

namespace quill::test {
namespace {

// Returns the lowest set bit of a word, and the number of set bits.
std::string bits(uint64_t word) {
    return std::to_string(std::countr_zero(word)) + "+" + std::to_string(std::popcount(word));
}

// Returns the summary and the last bucket. Debuggers read the record: first, last, the summary at offset 8, then the
// buckets.
std::string words(const idx_table *table, uint32_t first, uint32_t last) {
    const auto *record = reinterpret_cast<const char *>(table);
    const uint16_t ends[] = {static_cast<uint16_t>(first), static_cast<uint16_t>(last)};
    EXPECT_EQ(memcmp(record, ends, sizeof ends), 0);
    uint64_t summary, bucket;
    memcpy(&summary, record + 8, sizeof summary);
    memcpy(&bucket, record + 16 + (std::max(first, last) - std::min(first, last)) / 64 * 8, sizeof bucket);
    return bits(summary) + "/" + bits(bucket);
}

// Returns the results of the operations; see the cases.
std::string ids(uint32_t first, uint32_t last, const char *operations) {
    idx_table *table = idx_table_create(first, last);
    std::istringstream input(operations);
    std::string shown = table ? "" : "none";
    char operation;
    for (uint32_t number = 0; table && input >> operation;) {
        if (operation != '?') input >> number;
        uint16_t out = 0;
        switch (operation) {
            case 'a':
                for (; number > 1; number--) EXPECT_EQ(idx_table_index_alloc(table, &out), 0);
                out = 12345;  // out keeps this value when no index is free
                shown += idx_table_index_alloc(table, &out) == 0 ? std::to_string(out) : out == 12345 ? "none" : "?";
                break;
            case 'r': shown += std::to_string(idx_table_index_reserve(table, number)); break;
            case 'f': shown += std::to_string(idx_table_index_free(table, number)); break;
            default: shown += words(table, first, last);
        }
        shown += ' ';
    }
    idx_table_free(table);
    return shown;
}

TEST(IdxTable, Cases) { expect_cases("alloc/idx_table.cases", QUILL_CASE_FUNCTIONS(ids)); }

TEST(IdxTable, AFailedAllocationGivesNoTable) {
    idx_table *table = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (table = idx_table_create(1, 65)) != nullptr; }), 1);
    idx_table_free(table);
}

TEST(IdxTable, ContractViolationsAreReported) {
    static idx_table *table;
    table = idx_table_create(10, 80);
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
