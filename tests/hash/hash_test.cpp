#include <quill/hash.h>
#include <quill/hash_keyed.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "support/contract.h"
#include "support/failing_alloc.h"
#include "support/hash_model.h"

namespace {

using quill::test::allocations;
using quill::test::expect_failures_survived;
using quill::test::live_allocations;
using quill::test::NthAllocation;
using quill::test::stats;

// Half of the keys differ from others only above their low bits, and are negative as signed numbers.
struct Word : quill::test::TableKey {
    static constexpr bool kZeroIsAbsent = true;
    static constexpr bool kUpdateInserts = false;
    static constexpr auto insert = HashInsertKeyAndValue;
    static constexpr auto insert_short = HashInsert;
    static constexpr auto update = HashUpdateKeyAndValue;
    static constexpr auto remove = HashRemove;
    static constexpr auto find = HashFind;

    quill_word word;

    Word(int key, bool) : word(static_cast<quill_word>(key)) {
        word = word % 2 ? word << (8 * sizeof word - 6) | word / 2 : word / 2;
    }
    operator quill_word() const { return word; }
    quill_word short_value() const { return word; }
    uint32_t hash() const { return static_cast<uint32_t>(word); }
    bool holds(const sHashElem &e) const {
        return e.key == word && !e.key_copy && !e.address && key_bytes_are(e, "", 0);
    }
};

// Keys are pointers to numbers; equal numbers at another address are the same key.
struct Pointer : Word {
    static inline int numbers[2][kKeys];

    Pointer(int key, bool stored) : Word(key, stored) {
        numbers[stored][key] = key;
        word = reinterpret_cast<quill_word>(&numbers[stored][key]);
    }
    static int number(quill_word key) { return *reinterpret_cast<const int *>(key); }
    static uint32_t hash_number(quill_word key) { return static_cast<uint32_t>(number(key)) * 0x9E3779B1u; }
    static int equal(quill_word stored, quill_word searched) {
        EXPECT_NE(stored, searched);
        EXPECT_GE(stored, reinterpret_cast<quill_word>(numbers[1]));  // only these are ever stored
        return number(stored) == number(searched) ? -1 : 0;
    }
    static sHash *create(int32_t buckets) { return HashCreateExt(buckets, hash_number, equal, "model", 0); }
    static int remove(sHash *table, quill_word key) {
        const int32_t before = HashEntries(table);
        const quill_word value = HashFind(table, key);
        EXPECT_EQ(HashRemoveGet(table, key), value);
        return before - HashEntries(table);
    }
    uint32_t hash() const { return hash_number(word); }
};

size_t listed() { return (stats().size() - 4) / 76; }

std::string number(uint32_t n) { return std::string(reinterpret_cast<const char *>(&n), sizeof n); }

std::string record(uint32_t buckets, uint32_t entries, uint32_t max_collisions, std::string name) {
    name.resize(64);
    return number(buckets) + number(entries) + number(max_collisions) + name;
}

// The first in this file, so that it also meets the creation of the pools when one process runs all tests; the test
// that fills the pools comes last for the same reason.
TEST(Hash, FailedAllocationsLeaveNoTableBehind) {
    if (!hash_table_list) hash_table_list = ListCreate();  // which ends the process when it fails; see below
    const size_t before = listed();
    const auto unchanged = [&] { EXPECT_EQ(listed(), before); };
    sHash *table = nullptr;
    const auto create = [&] {
        table = HashCreateExt(5, Pointer::hash_number, Pointer::equal, "created", 1);
        if (!table || table->listed) return table != nullptr;
        HashDestroy(table);  // without memory for its place in the list a table is only left out of the statistics
        return false;
    };
    constexpr int kPools = 2, kSlabs = 1;
    expect_failures_survived(create, unchanged, kPools + kSlabs);
    HashDestroy(table);
    EXPECT_EQ(expect_failures_survived(create, unchanged), 4);  // buckets, collisions, place in the list, name
    HashDestroy(table);
}

TEST(Hash, FailedSlabsRefuseElements) {
    sHash *table = _HashCreate(701, "slabs", 1);
    int failures = 0;
    for (quill_word key = 1; key <= 700; key++) {  // more than a slab holds
        const auto insert = [&] {
            return key % 2 ? HashInsert(table, key) == 1 : HashInsertKeyAndValue(table, key, key) == 1;
        };
        failures += expect_failures_survived(insert, [&] {
            EXPECT_EQ(HashEntries(table), static_cast<int32_t>(key - 1));
            EXPECT_EQ(HashFind(table, key), 0u);
            EXPECT_EQ(table->max_collisions, 0);
        });
    }
    EXPECT_GT(failures, 0);
    HashReset(table);
    const long warm = allocations();
    for (quill_word key = 1; key <= 700; key++) EXPECT_EQ(HashInsert(table, key), 1);
    EXPECT_EQ(allocations(), warm);
    HashDestroy(table);
}

TEST(Hash, RandomOperationsOnWordsFollowTheModel) { quill::test::expect_model_followed<Word>(); }

TEST(Hash, RandomOperationsOnPointersFollowTheModel) { quill::test::expect_model_followed<Pointer>(); }

TEST(Hash, NullTablesMissingBucketsAndEndedWalksGiveNothing) {
    sHash *table = _HashCreate(3, "buckets", 1);
    HashInsert(table, 5);
    HashGet(table, HASH_OP_FIRST, 0);
    sHashCursor cursor = table->cursor;
    for (const int op : {HASH_OP_FIRST, HASH_OP_NEXT, HASH_OP_SKIP_100, HASH_OP_SKIP_N}) {
        EXPECT_EQ(HashGet(nullptr, op, 0), 0u);
        EXPECT_EQ(HashGetR(nullptr, op, 0, &cursor), 0u);
        EXPECT_EQ(HashGetFromBucket(nullptr, op, 0, 0), 0u);
        EXPECT_EQ(HashGetRFromBucket(nullptr, op, 0, 0, &cursor), 0u);
        for (const uint32_t bucket : {3u, UINT32_MAX}) {
            EXPECT_EQ(HashGetFromBucket(table, op, 0, bucket), 0u);
            EXPECT_EQ(HashGetRFromBucket(table, op, 0, bucket, &cursor), 0u);
        }
    }
    EXPECT_EQ(cursor.element, table->cursor.element);
    EXPECT_EQ(HashGet(table, HASH_OP_NEXT, 0), 5u);
    HashGet(table, HASH_OP_FIRST, 0);
    EXPECT_EQ(HashGet(table, HASH_OP_SKIP_N, UINT32_MAX), 0u);  // does not wrap around
    EXPECT_EQ(HashGet(table, HASH_OP_NEXT, 0), 0u);
    HashDestroy(table);
}

TEST(Hash, StatisticsDescribeTheTablesInTheirOrder) {
    const std::string before = stats();
    const std::string others = before.substr(4);
    const auto expect_after_others = [&](const std::vector<std::string> &records) {
        std::string wanted = number(static_cast<uint32_t>(others.size() / 76 + records.size())) + others;
        for (const std::string &r : records) wanted += r;
        EXPECT_EQ(stats(), wanted);
    };
    const std::string longest(63, 'n');
    sHash *first = _HashCreate(10, (longest + "cut").c_str(), 1);
    sHash *second = HashCreateLocked(1);
    sHash *third = HashCreateExt(3, nullptr, nullptr, "", 1);
    for (const quill_word key : {7u, 17u, 27u, 8u}) HashInsert(first, key);
    HashRemove(first, 27);
    expect_after_others({record(10, 3, 2, longest), record(1, 0, 0, "HashCreateLocked"), record(3, 0, 0, "")});
    HashReset(first);
    HashDestroy(second);
    HashInsert(third, 1);
    hash_add_table_to_list(third);  // which creation has done
    expect_after_others({record(10, 3, 0, longest), record(3, 1, 0, "")});
    HashDestroy(first);
    HashDestroy(third);
    EXPECT_EQ(stats(), before);

    void *buffer = nullptr;
    EXPECT_EQ(
        expect_failures_survived([&] { return hash_get_stats(&buffer) != 0; }, [&] { EXPECT_EQ(buffer, nullptr); }), 1);
    free(buffer);
}

std::string stats_in_creation;

// The first table of a process makes the pools and the list, and each test is a process.
void warm_up() { HashDestroy(_HashCreate(1, "first", 1)); }

TEST(Hash, StatisticsShowATableUnderCreationWithoutAName) {
    warm_up();
    const std::string others = stats().substr(4);
    const long before = allocations();
    HashDestroy(_HashCreate(6, "counted", 1));
    const long count = allocations() - before;
    NthAllocation naming(static_cast<int>(count), [] { stats_in_creation = stats(); });  // the name's, the last
    sHash *table = _HashCreate(6, "named", 1);
    EXPECT_EQ(stats_in_creation.substr(4), others + record(6, 0, 0, ""));
    EXPECT_EQ(stats().substr(4), others + record(6, 0, 0, "named"));
    HashDestroy(table);
}

TEST(Hash, StatisticsListTheFirst64Tables) {
    std::vector<sHash *> tables;
    while (listed() < 64) tables.push_back(_HashCreate(1, "listed", 1));
    const std::string full = stats();
    sHash *beyond = _HashCreate(2, "beyond", 1);
    EXPECT_EQ(HashInsert(beyond, 3), 1);
    EXPECT_EQ(HashFind(beyond, 3), 3u);
    EXPECT_EQ(stats(), full);
    HashDestroy(beyond);
    HashDestroyIpAf(_HashCreate(2, "beyond", 1));
    EXPECT_EQ(stats(), full);

    HashDestroy(tables.back());
    tables.back() = _HashCreate(4, "follows", 1);
    EXPECT_EQ(stats(), full.substr(0, full.size() - 76) + record(4, 0, 0, "follows"));
    for (sHash *table : tables) HashDestroy(table);
}

sHash *one_bucket() { return _HashCreate(1, "contract", 1); }

TEST(Hash, ContractViolationsAreReported) {
    quill::test::expect_contracts({
        {[] {
             hash_table_list = nullptr;
             sHash table = {};
             NthAllocation failing(1);
             hash_add_table_to_list(&table);
         },
         "hash_table_list", "hash", 183, "hash_add_table_to_list"},
        {[] { _HashCreate(0, "name", 1); }, "buckets > 0", "hash", 100, "_HashCreate"},
        {[] { _HashCreate(1, nullptr, 1); }, "name", "hash", 101, "_HashCreate"},
        {[] { HashGetR(one_bucket(), HASH_OP_FIRST, 0, nullptr); }, "cursor", "hash", 102, "HashGetR"},
        {[] { hash_get_stats(nullptr); }, "out", "hash", 103, "hash_get_stats"},
        {[] { HashFind(nullptr, 1); }, "table", "hash", 90, "HashFind"},
        {[] { HashStringInsert(one_bucket(), nullptr); }, "key", "hash", 110, "HashStringInsertKeyAndValue"},
    });
}

TEST(Hash, AThousandTablesAndAHundredThousandElementsMayLive) {
    warm_up();
    std::vector<sHash *> tables;
    const long live = live_allocations();
    while (sHash *table = _HashCreate(1, "many", 1)) tables.push_back(table);
    EXPECT_EQ(tables.size(), 1000u);
    const long filled = live_allocations();
    EXPECT_EQ(_HashCreate(1, "refused", 1), nullptr);
    EXPECT_EQ(live_allocations(), filled);
    HashDestroy(tables.back());
    tables.back() = _HashCreate(50021, "large", 1);
    ASSERT_NE(tables.back(), nullptr);

    sHash *large = tables.back(), *small = tables.front();
    for (quill_word key = 1; key <= 100000; key++) ASSERT_EQ(HashInsert(large, key), 1) << key;
    EXPECT_EQ(HashInsert(large, 100001), 0);
    EXPECT_EQ(HashInsert(small, 1), 0);
    EXPECT_EQ(HashEntries(large), 100000);
    EXPECT_EQ(HashFind(large, 100001), 0u);
    EXPECT_EQ(HashIsEmpty(small), 1);
    EXPECT_EQ(HashRemove(large, 50000), 1);
    EXPECT_EQ(HashInsert(small, 1), 1);
    EXPECT_EQ(HashInsert(large, 50000), 0);
    for (sHash *table : tables) HashDestroy(table);
    constexpr long kMaxSlabs = 1000 / 128 + 1 + 100000 / 512 + 1;
    EXPECT_LE(live_allocations(), live + kMaxSlabs);
}

}  // namespace
