#include <quill/hash_keyed.h>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <string>
#include <vector>

#include "support/threads.h"

namespace {

using quill::test::Threads;

constexpr int kThreads = 4;

// This test is the first in the file, so that no other test has created the pools and the list.
TEST(HashThreads, TheFirstTablesMayBeCreatedTogether) {
    std::atomic<int> right = 0;
    const uint32_t before = ListEntries(hash_table_list);
    std::vector<sHash *> tables(kThreads);
    Threads(kThreads, [&](int i) {
        sHash *table = tables[static_cast<size_t>(i)] = _HashCreate(3, "first", 1);
        right += table && HashInsert(table, 5) && HashFind(table, 5) == 5;
    });
    EXPECT_EQ(right, kThreads);
    EXPECT_EQ(ListEntries(hash_table_list), before + kThreads);
    for (sHash *table : tables) HashDestroy(table);
    EXPECT_EQ(ListEntries(hash_table_list), before);
}

constexpr int32_t kBuckets = 17, kKeys = 60;

// Creates, uses and destroys a table, with each kind of key in turn. Returns whether the table held all keys.
bool live_once(int kind) {
    sHash *table = _HashCreate(kBuckets, "worker", 1);
    ip_af_addr addr = {};
    quill_word sum = 0;
    for (quill_word i = 1; i <= kKeys; i++) {
        addr.addr[3] = static_cast<uint8_t>(i);
        if (kind == 0) HashInsert(table, i);
        if (kind == 1) HashStringInsertKeyAndValue(table, std::to_string(i).c_str(), i);
        if (kind == 2) HashMacInsertKeyAndValue(table, addr.addr, i);
        if (kind == 3) HashIpAfAddrInsertKeyAndValue(table, &addr, i);
    }
    HashGet(table, HASH_OP_FIRST, 0);
    while (const quill_word value = HashGet(table, HASH_OP_NEXT, HASH_SEL_VALUE)) sum += value;
    const bool right = sum == kKeys * (kKeys + 1) / 2 && HashEntries(table) == kKeys;
    for (quill_word i = 1; kind == 0 && i <= kKeys; i++) HashRemove(table, i);
    if (kind == 1) HashReset(table);
    (kind == 3 ? HashDestroyIpAf : HashDestroy)(table);
    return right;
}

// Returns whether a record is possible for a worker's table at some moment, or for a destroyed table.
bool plausible(const char *record) {
    int32_t counts[3];
    memcpy(counts, record, sizeof counts);
    const auto [buckets, entries, collisions] = counts;
    const std::string name(record + sizeof counts);
    if (buckets == 0) return entries == 0 && collisions == 0 && name.empty();
    return buckets == kBuckets && 0 <= entries && entries <= kKeys && 0 <= collisions && collisions < kKeys &&
           (name.empty() || name == "worker");
}

TEST(HashThreads, StatisticsMayBeTakenWhileTablesLiveAndDie) {
    std::atomic<int> workers = kThreads - 1, wrong_tables = 0, wrong_records = 0;
    Threads(kThreads, [&](int i) {
        if (i < kThreads - 1) {
            // Only a few tables have addresses as keys, because these tables stay in the statistics. The other tables
            // thus still find a place.
            for (int round = 0; round < 400; round++)
                wrong_tables += !live_once(round % 100 == 0 ? 3 : (round + i) % 3);
            workers--;
            return;
        }
        do {
            void *buffer;
            const uint32_t size = hash_get_stats(&buffer);
            for (uint32_t at = 4; at < size; at += 76) wrong_records += !plausible(static_cast<char *>(buffer) + at);
            free(buffer);
        } while (workers > 0);
    });
    EXPECT_EQ(wrong_tables, 0);
    EXPECT_EQ(wrong_records, 0);
}

}  // namespace
