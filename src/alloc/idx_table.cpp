#include <quill/idx_table.h>

#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <optional>

#include "base/contract.h"

// How it works
//
//     summary   bit b set: bucket b has a free index
//     buckets   bit k of bucket b set: the index at offset 64 b + k from first is free
//
// The lowest set bit of the summary selects a bucket; the lowest set bit of that bucket is the free index nearest to
// first. Bits after the last index are never set.

struct idx_table {
    uint16_t first;
    uint16_t last;
    uint64_t summary;

    uint64_t *buckets() { return reinterpret_cast<uint64_t *>(this + 1); }
};
static_assert(sizeof(idx_table) == 16, "the buckets follow the summary without a gap");

namespace {

using quill::require;

constexpr uint32_t kPerBucket = 64;
constexpr uint32_t kMaxIndices = 64 * kPerBucket;  // one summary bit for each bucket

constexpr uint64_t without_lowest_bit(uint64_t word) { return word & (word - 1); }
constexpr uint64_t low_bits(uint32_t count) { return count == 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1; }

idx_table &checked(idx_table *table, const char *function) {
    require(table != nullptr, "idx_table", "idx_table", 100, function);
    return *table;
}

// One index, by its place in the table.
struct Slot {
    uint64_t &summary;
    uint64_t &bucket;
    uint64_t summary_mask;
    uint64_t local_mask;

    Slot(idx_table &table, uint32_t offset)
        : summary(table.summary),
          bucket(table.buckets()[offset / kPerBucket]),
          summary_mask(uint64_t{1} << offset / kPerBucket),
          local_mask(uint64_t{1} << offset % kPerBucket) {}

    bool is_free() const { return bucket & local_mask; }
    void take() {
        bucket &= ~local_mask;
        if (bucket == 0) summary &= ~summary_mask;
    }
    void give_back() {
        bucket |= local_mask;
        summary |= summary_mask;
    }
};

// Returns the slot of index, or nothing if index is outside the range. An index on the wrong side of first wraps to an
// offset beyond the table's range.
std::optional<Slot> slot_of(idx_table &table, uint32_t index) {
    const bool down = table.first > table.last;
    const uint32_t span = down ? table.first - table.last : table.last - table.first;
    const uint32_t offset = down ? table.first - index : index - table.first;
    if (offset > span) return std::nullopt;
    return Slot(table, offset);
}

}  // namespace

idx_table *idx_table_create(uint32_t first, uint32_t last) {
    if (first > UINT16_MAX || last > UINT16_MAX) return nullptr;
    const uint32_t count = std::max(first, last) - std::min(first, last) + 1;
    if (count > kMaxIndices) return nullptr;
    const uint32_t buckets = (count + kPerBucket - 1) / kPerBucket;
    auto *table = static_cast<idx_table *>(malloc(sizeof(idx_table) + buckets * sizeof(uint64_t)));
    if (!table) return nullptr;
    *table = {static_cast<uint16_t>(first), static_cast<uint16_t>(last), low_bits(buckets)};
    std::fill_n(table->buckets(), buckets, low_bits(kPerBucket));
    table->buckets()[buckets - 1] = low_bits(count - (buckets - 1) * kPerBucket);
    return table;
}

void idx_table_free(idx_table *table) { free(table); }

int idx_table_index_alloc(idx_table *table, uint16_t *out) {
    idx_table &t = checked(table, __func__);
    require(out != nullptr, "out", "idx_table", 101, __func__);
    if (t.summary == 0) return -1;
    const auto bucket = static_cast<uint32_t>(std::countr_zero(t.summary));
    uint64_t &word = t.buckets()[bucket];
    if (word == 0) return -1;  // only if other code has overwritten the table
    const uint32_t offset = bucket * kPerBucket + static_cast<uint32_t>(std::countr_zero(word));
    word = without_lowest_bit(word);
    if (word == 0) t.summary = without_lowest_bit(t.summary);
    *out = static_cast<uint16_t>(t.first > t.last ? t.first - offset : t.first + offset);
    return 0;
}

int idx_table_index_free(idx_table *table, uint32_t index) {
    std::optional<Slot> slot = slot_of(checked(table, __func__), index);
    if (!slot) return -1;
    require(!slot->is_free(), "!(idx_table->table_bucket[bucket] & local_mask)", "idx_table", 176, __func__);
    slot->give_back();
    return 0;
}

int idx_table_index_reserve(idx_table *table, uint32_t index) {
    std::optional<Slot> slot = slot_of(checked(table, __func__), index);
    if (!slot || !slot->is_free()) return -1;
    slot->take();
    return 0;
}
