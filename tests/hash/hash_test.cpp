#include <quill/hash.h>
#include <quill/hash_keyed.h>

#include <ctype.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <string>
#include <vector>

#include "hash/hash_table.h"
#include "support/case_file.h"
#include "support/contract.h"
#include "support/failing_alloc.h"

namespace quill::test {
namespace {

// The base of a kind of key. A key is made from a number. The key is either stored or only searched for, and converts
// to the arguments of the table's functions. holds() returns whether the fields of an element belong to the key.
template <auto kInsert, auto kInsertShort, auto kUpdate, auto kRemove, auto kFind, auto kPresent>
struct TableKey {
    static constexpr auto insert = kInsert;
    static constexpr auto insert_short = kInsertShort;
    static constexpr auto update = kUpdate;
    static constexpr auto remove = kRemove;
    static constexpr auto find = kFind;
    static constexpr auto present = kPresent;
    static constexpr auto get = HashGet;
    static constexpr auto get_r = HashGetR;
    static constexpr auto destroy = HashDestroy;
    static constexpr auto reset = HashReset;

    static sHash *create(int32_t buckets) { return _HashCreate(buckets, "table", 0); }
    static quill_word field(const sHashElem &element, uint32_t sel) {
        const quill_word fields[] = {element.value, element.key, reinterpret_cast<quill_word>(element.key_copy)};
        return sel < 3 ? fields[sel] : reinterpret_cast<quill_word>(element.key_bytes);
    }
    static bool has_bytes(const sHashElem &element, const void *bytes = "", size_t size = 0) {
        uint8_t wanted[8] = {};
        memcpy(wanted, bytes, size);
        return memcmp(element.key_bytes, wanted, sizeof wanted) == 0;
    }
};

int is_word_present(const sHash *table, quill_word word) { return HashFind(table, word) != 0; }

// Half of the keys are negative as signed numbers.
struct Word
    : TableKey<HashInsertKeyAndValue, HashInsert, HashUpdateKeyAndValue, HashRemove, HashFind, is_word_present> {
    quill_word word;

    Word(int key, bool) : word(static_cast<quill_word>(key % 2 ? -key : key)) {}
    operator quill_word() const { return word; }
    bool holds(const sHashElem &e) const { return e.key == word && !e.key_copy && !e.address && has_bytes(e); }
};

// Keys are pointers to numbers. Two pointers to equal numbers are the same key.
struct Pointer : Word {
    static inline int numbers[2][26];

    Pointer(int key, bool stored) : Word(key, stored) {
        numbers[stored][key] = key;
        word = reinterpret_cast<quill_word>(&numbers[stored][key]);
    }
    static int number(quill_word key) { return *reinterpret_cast<const int *>(key); }
    static uint32_t hash_number(quill_word key) { return static_cast<uint32_t>(number(key)) * 0x9E3779B1u; }
    static int equal(quill_word stored, quill_word searched) {
        EXPECT_NE(stored, searched);
        EXPECT_GE(stored, reinterpret_cast<quill_word>(numbers[1]));  // only pointers into numbers[1] are ever stored
        return number(stored) == number(searched) ? -1 : 0;
    }
    static sHash *create(int32_t buckets) { return HashCreateExt(buckets, hash_number, equal, "model", 0); }
    static int remove(sHash *table, quill_word key) {
        const int32_t before = HashEntries(table);
        const quill_word value = HashFind(table, key);
        EXPECT_EQ(HashRemoveGet(table, key), value);
        return before - HashEntries(table);
    }
};

struct Text : TableKey<HashStringInsertKeyAndValue, HashStringInsert, HashStringUpdateKeyAndValue, HashStringRemove,
                       HashStringFind, HashIsStringPresent> {
    std::string text;

    Text(int key, bool) {
        if (key > 0) text = std::string(static_cast<size_t>(key % 4), '\xE4') + std::to_string(key / 2) + "zZ"[key % 2];
    }
    operator const char *() const { return text.c_str(); }
    bool holds(const sHashElem &e) const { return !e.key && e.key_copy == text && !e.address && has_bytes(e); }
};

// The four keys of a group differ only in the two bytes that are not hashed.
struct Mac : TableKey<HashMacInsertKeyAndValue, HashMacInsert, HashMacUpdateKeyAndValue, HashMacRemove, HashMacFind,
                      HashIsMacPresent> {
    uint8_t bytes[7] = {0, 0, 0, 0x90, 0xFF, 0x80, 0};  // the address is at an odd place

    Mac(int key, bool) {
        bytes[1] = static_cast<uint8_t>(key & 1);
        bytes[2] = static_cast<uint8_t>(key >> 1 & 1);
        bytes[6] = static_cast<uint8_t>(key >> 2);
    }
    operator const uint8_t *() const { return bytes + 1; }
    bool holds(const sHashElem &e) const { return !e.key && !e.key_copy && !e.address && has_bytes(e, bytes + 1, 6); }
};

// Of eight keys, three pairs differ only in their family. Keys 5 and 7 have the same hash from different words. The
// table compares only the hash and four bytes of an IPv4 key. Keys 4 and 6 differ in a byte that only the hash covers.
// Two bytes are not compared at all.
struct Ip : TableKey<HashIpAfAddrInsertKeyAndValue, HashIpAfAddrInsert, HashIpAfAddrUpdateKeyAndValue,
                     HashIpAfAddrRemove, HashIpAfAddrFind, HashIsIpAfAddrPresent> {
    static constexpr auto get = HashIpAfGet;
    static constexpr auto get_r = HashIpAfGetR;
    static constexpr auto destroy = HashDestroyIpAf;

    ip_af_addr ip = {QUILL_AF_INET, {}, {10, 0xFE}};

    Ip(int key, bool stored) {
        const int kind = key % 8;
        if (kind % 2) ip.family = QUILL_AF_INET6;
        ip.addr[2] = static_cast<uint8_t>(std::min(kind / 2, 2));
        ip.addr[kind == 7 ? 15 : 3] = static_cast<uint8_t>(key / 8 + 1);
        if (kind == 6) ip.addr[15] = 0x80;
        if (kind % 2 == 0 && !stored) ip.addr[7] = ip.addr[11] = 1;
        if (stored) ip.zero[1] = 1;  // kept, but never compared
    }
    operator const ip_af_addr *() const { return &ip; }
    uint32_t hash() const {
        uint32_t h = 0;
        for (size_t i = 0; i < 16; i++) h ^= uint32_t{ip.addr[i]} << (24 - 8 * (i % 4));
        return h;
    }
    bool holds(const sHashElem &e) const {
        return e.key == hash() && !e.key_copy && has_bytes(e) && memcmp(e.address, &ip, sizeof ip) == 0;
    }
    static quill_word field(const sHashElem &element, uint32_t sel) {
        return sel == HASH_SEL_ADDRESS ? reinterpret_cast<quill_word>(element.address) : TableKey::field(element, sel);
    }
    // A reset leaves the address copies to the caller.
    static void reset(sHash *table) {
        std::vector<void *> copies;
        sHashCursor cursor;
        HashIpAfGetR(table, HASH_OP_FIRST, 0, &cursor);
        while (const quill_word copy = HashIpAfGetR(table, HASH_OP_NEXT, HASH_SEL_ADDRESS, &cursor))
            copies.push_back(reinterpret_cast<void *>(copy));
        HashReset(table);
        for (void *copy : copies) free(copy);
    }
};

// Returns the records in the buffer of hash_get_stats(), and checks their number.
std::string records() {
    void *buffer;
    const uint32_t size = hash_get_stats(&buffer);
    const std::string all(static_cast<const char *>(buffer), size);
    EXPECT_EQ(*static_cast<const uint32_t *>(buffer), (size - 4) / 76);
    free(buffer);
    return all.substr(4);
}

size_t listed() { return records().size() / 76; }

// Returns a record with the given buckets, entries and collisions.
std::string record(std::array<uint32_t, 3> numbers, std::string name) {
    name.resize(64);
    return std::string(reinterpret_cast<const char *>(numbers.data()), sizeof numbers) + name;
}

// This test is the first in the file. It thus also covers the creation of the pools when one process runs all tests.
// The test that fills the pools comes last for the same reason.
TEST(Hash, FailedAllocationsLeaveNoTableBehind) {
    if (!hash_table_list) hash_table_list = ListCreate();  // ListCreate() ends the process when it fails; see below
    const auto unchanged = [before = listed()] { EXPECT_EQ(listed(), before); };
    sHash *table = nullptr;
    const auto create = [&] {
        table = HashCreateExt(5, Pointer::hash_number, Pointer::equal, "created", 1);
        if (!table || table->listed) return table != nullptr;
        HashDestroy(table);  // a table without a place in the list is only left out of the statistics
        return false;
    };
    constexpr int kPools = 2, kSlabs = 1;
    expect_failures_survived(create, unchanged, kPools + kSlabs);
    HashDestroy(table);
    EXPECT_EQ(expect_failures_survived(create, unchanged), 4);  // buckets, collisions, place in the list, name
    HashDestroy(table);
}

// Makes the pools, the list and a slab in advance. The first table of a process makes the pools and the list, and its
// first element makes a slab. Each test runs in a process of its own.
void warm_up() {
    sHash *table = _HashCreate(1, "first", 1);
    HashInsert(table, 1);
    HashDestroy(table);
}

// Returns the elements in their buckets, with > before the one at the table's cursor and ) before the one at the
// caller's. A cursor without an element shows its bucket. The number of elements and the most collisions follow.
template <typename Key>
std::string state(const sHash *table, const sHashCursor &cursor) {
    std::string text;
    for (int32_t b = 0; b < table->bucket_count; b++) {
        if (table->buckets[b]) text += std::to_string(b) + ':';
        uint32_t count = 0;
        for (const sHashElem *e = table->buckets[b]; e; e = e->next, count++) {
            int key = 0;
            while (key < 26 && !Key(key, true).holds(*e)) key++;
            text += std::string(e == table->cursor.element, '>') + std::string(e == cursor.element, ')');
            text += static_cast<char>('a' + key) + std::to_string(e->value);
        }
        EXPECT_EQ(table->collisions[b], std::max(count, 1u) - 1);
        if (table->buckets[b]) text += ' ';
    }
    EXPECT_EQ(HashIsEmpty(table), text.empty());
    if (!table->cursor.element) text += '>' + std::to_string(table->cursor.bucket);
    if (!cursor.element) text += ')' + std::to_string(cursor.bucket);
    return text + '/' + std::to_string(HashEntries(table)) + ',' + std::to_string(table->max_collisions);
}

// Returns the results of a script's operations, and the table at each space; see the cases.
template <typename Key>
std::string operate(int32_t buckets, const char *script) {
    std::string shown;
    shown.reserve(500);
    sHash *table = Key::create(buckets);
    sHashCursor cursor = {};
    for (const char *s = script; *s; s++) {
        if (*s == ' ') {
            shown += ' ' + state<Key>(table, cursor) + ' ';
            continue;
        }
        const NthAllocation failing(*s == '%' ? 1 : 99);
        const char op = *(s += *s == '%');
        const int key = strchr("+&=-?", op) ? *++s - 'a' : 0;
        const Key stored(key, true), searched(key, false);
        const auto number = static_cast<uint32_t>(strchr("+=xXsSbBmMcC", op) ? *++s - '0' : 0);
        const auto step = [&](int code, uint32_t sel) {
            return isupper(op) ? Key::get_r(table, code, sel, &cursor) : Key::get(table, code, sel);
        };
        const auto step_in = [&](int code) {
            return isupper(op) ? HashGetRFromBucket(table, code, 0, number, &cursor)
                               : HashGetFromBucket(table, code, 0, number);
        };
        const sHashElem *const element = (isupper(op) ? cursor : table->cursor).element;
        quill_word given = 0;
        switch (tolower(op)) {
            case '+': given = static_cast<quill_word>(Key::insert(table, stored, number)); break;
            case '&': given = static_cast<quill_word>(Key::insert_short(table, stored)); break;
            case '=': given = static_cast<quill_word>(Key::update(table, stored, number)); break;
            case '-': given = static_cast<quill_word>(Key::remove(table, searched)); break;
            case '?': given = Key::find(table, searched) * 10 + (Key::present(table, searched) != 0); break;
            case '!': Key::reset(table); break;
            case 'f': given = step(HASH_OP_FIRST, 1); break;
            case 'n': given = step(HASH_OP_NEXT, HASH_SEL_VALUE); break;
            case 'x': given = step(HASH_OP_NEXT, number) == (element ? Key::field(*element, number) : 0); break;
            case 's': given = step(HASH_OP_SKIP_N, number); break;
            case 'h': given = step(HASH_OP_SKIP_100, 0); break;
            case 'b': given = step_in(HASH_OP_FIRST); break;
            case 'm': given = step_in(HASH_OP_NEXT); break;
            case 'c': given = step_in(HASH_OP_SKIP_100); break;
            default: given = step(0, 0);
        }
        shown += std::to_string(given);
    }
    Key::destroy(table);
    return shown;
}

TEST(Hash, Cases) {
    warm_up();
    constexpr CaseFunction kFunctions[] = {
        {"words", BoundFunction<operate<Word>>::call},   {"pointers", BoundFunction<operate<Pointer>>::call},
        {"texts", BoundFunction<operate<Text>>::call},   {"macs", BoundFunction<operate<Mac>>::call},
        {"addresses", BoundFunction<operate<Ip>>::call},
    };
    expect_cases("hash/hash.cases", kFunctions);
}

TEST(Hash, AKeyWithoutMemoryGivesItsElementBack) {
    sHash *table = _HashCreate(1, "texts", 1);
    HashStringInsert(table, "key");
    const sHashElem *const element = table->buckets[0];
    HashStringRemove(table, "key");
    EXPECT_EQ(expect_failures_survived([&] { return HashStringInsert(table, "key") == 1; }), 1);
    EXPECT_EQ(table->buckets[0], element);
    HashDestroy(table);
}

// The bucket of a one-byte text shows one number of the permutation. For the number at 0, a longer text is needed whose
// hash leads to 0.
std::vector<uint32_t> permutation() {
    std::vector<uint32_t> numbers(256);
    const auto bucket = [](const std::string &text) {
        sHash *table = _HashCreate(256, "permutation", 1);
        HashStringInsert(table, text.c_str());
        HashGet(table, HASH_OP_FIRST, 0);
        const auto found = static_cast<uint32_t>(table->cursor.bucket);
        HashDestroy(table);
        return found;
    };
    for (uint32_t byte = 1; byte < 256; byte++) numbers[byte] = bucket(std::string(1, static_cast<char>(byte)));
    numbers[0] = bucket({'a', static_cast<char>(numbers['a'])});
    return numbers;
}

TEST(Hash, BucketsOfTextsComeFromPearsonsPermutation) {
    uint32_t fnv = 0x811C9DC5u;
    for (const uint32_t number : permutation()) fnv = (fnv ^ number) * 0x01000193u;
    EXPECT_EQ(fnv, 0x1D158531u);  // FNV-1a of the published numbers
}

TEST(Hash, PresenceOfAMacAddressTellsTheValueAndMayPlaceTheCursor) {
    sHash *table = _HashCreate(5, "walk", 1);
    for (int key = 0; key < 30; key++) Mac::insert(table, Mac(key, true), static_cast<quill_word>(key + 1));
    for (int key = 0; key < 30; key++) {
        const Mac here(key, false), absent(31, false);
        quill_word value = 0;
        EXPECT_EQ(HashIsMacPresentandValue(table, here, &value) + HashIsMacPresentandValue(table, here, nullptr), 2);
        EXPECT_EQ(HashIsMacPresentandValue(table, absent, &value), 0);
        EXPECT_EQ(value, static_cast<quill_word>(key + 1));
        EXPECT_EQ(HashIsMacPresentAndSetHashState(table, here), 1);
        EXPECT_EQ(HashIsMacPresentAndSetHashState(table, absent), 0);  // does not move the cursor
        EXPECT_EQ(table->cursor.element->value, value);
    }
    HashDestroy(table);
}

TEST(Hash, NullTablesMissingBucketsAndEndedWalksGiveNothing) {
    sHash *table = _HashCreate(3, "buckets", 1);
    HashInsert(table, 5);
    HashGet(table, HASH_OP_FIRST, 0);
    sHashCursor cursor = table->cursor;
    for (const int op : {HASH_OP_FIRST, HASH_OP_NEXT, HASH_OP_SKIP_100, HASH_OP_SKIP_N}) {
        EXPECT_EQ(HashGet(nullptr, op, 0) | HashGetR(nullptr, op, 0, &cursor), 0u);
        EXPECT_EQ(HashIpAfGet(nullptr, op, 0) | HashIpAfGetR(nullptr, op, 0, &cursor), 0u);
        EXPECT_EQ(HashGetFromBucket(nullptr, op, 0, 0) | HashGetRFromBucket(nullptr, op, 0, 0, &cursor), 0u);
        for (const uint32_t bucket : {3u, UINT32_MAX})
            EXPECT_EQ(HashGetFromBucket(table, op, 0, bucket) | HashGetRFromBucket(table, op, 0, bucket, &cursor), 0u);
    }
    EXPECT_EQ(HashFind(table, quill_word{5} | quill_word{3} << (8 * sizeof(quill_word) - 6)), 0u);
    EXPECT_EQ(cursor.element, table->cursor.element);
    EXPECT_EQ(HashGet(table, HASH_OP_NEXT, 0), 5u);
    HashGet(table, HASH_OP_FIRST, 0);
    EXPECT_EQ(HashGet(table, HASH_OP_SKIP_N, UINT32_MAX), 0u);  // does not wrap around
    EXPECT_EQ(HashGet(table, HASH_OP_NEXT, 0), 0u);
    HashDestroy(table);
}

TEST(Hash, StatisticsDescribeTheTablesInTheirOrder) {
    const std::string others = records(), longest(63, 'n');
    sHash *first = _HashCreate(10, (longest + "cut").c_str(), 1), *second = HashCreateLocked(1);
    sHash *third = HashCreateExt(3, nullptr, nullptr, "", 1);
    for (const quill_word key : {7u, 17u, 27u, 8u}) HashInsert(first, key);
    HashRemove(first, 27);
    EXPECT_EQ(records(),
              others + record({10, 3, 2}, longest) + record({1, 0, 0}, "HashCreateLocked") + record({3, 0, 0}, ""));
    HashReset(first);
    HashDestroy(second);
    HashInsert(third, 1);
    hash_add_table_to_list(third);  // creation has already done that
    EXPECT_EQ(records(), others + record({10, 3, 0}, longest) + record({3, 1, 0}, ""));
    HashDestroy(first);
    HashDestroy(third);
    EXPECT_EQ(records(), others);

    void *buffer = nullptr;
    EXPECT_EQ(
        expect_failures_survived([&] { return hash_get_stats(&buffer) != 0; }, [&] { EXPECT_EQ(buffer, nullptr); }), 1);
    free(buffer);
}

TEST(Hash, ADestroyedTableOfAddressesKeepsItsPlaceInTheStatistics) {
    const std::string before = records();
    for (const bool without_memory : {true, false}) {
        sHash *destroyed = _HashCreate(5, "destroyed", 1), *after = _HashCreate(7, "after", 1);
        Ip::insert(destroyed, Ip(1, true), 1);
        {
            NthAllocation failing(without_memory ? 1 : 1000);
            HashDestroyIpAf(destroyed);
        }
        // Without memory for the record of zeros, nothing of the table may remain.
        EXPECT_EQ(records(), before + std::string(without_memory ? 0 : 76, '\0') + record({7, 0, 0}, "after"));
        HashDestroy(after);
    }
}

std::string stats_in_creation;

TEST(Hash, StatisticsShowATableUnderCreationWithoutAName) {
    warm_up();
    const std::string others = records();
    const long before = allocations();
    HashDestroy(_HashCreate(6, "counted", 1));
    const long count = allocations() - before;
    NthAllocation naming(static_cast<int>(count), [] { stats_in_creation = records(); });  // the name's, the last
    sHash *table = _HashCreate(6, "named", 1);
    EXPECT_EQ(stats_in_creation, others + record({6, 0, 0}, ""));
    EXPECT_EQ(records(), others + record({6, 0, 0}, "named"));
    HashDestroy(table);
}

TEST(Hash, StatisticsListTheFirst64Tables) {
    std::vector<sHash *> tables;
    while (listed() < 64) tables.push_back(_HashCreate(1, "listed", 1));
    const std::string full = records();
    sHash *beyond = _HashCreate(2, "beyond", 1);
    EXPECT_EQ(records(), full);
    HashDestroy(beyond);
    HashDestroyIpAf(_HashCreate(2, "beyond", 1));
    EXPECT_EQ(records(), full);

    HashDestroy(tables.back());
    tables.back() = _HashCreate(4, "follows", 1);
    EXPECT_EQ(records(), full.substr(0, full.size() - 76) + record({4, 0, 0}, "follows"));
    for (sHash *table : tables) HashDestroy(table);
}

sHash *one_bucket() { return _HashCreate(1, "contract", 1); }

TEST(Hash, ContractViolationsAreReported) {
    const auto add_without_memory = [] {
        hash_table_list = nullptr;
        sHash table = {};
        NthAllocation failing(1);
        hash_add_table_to_list(&table);
    };
    expect_contracts({
        {add_without_memory, "hash_table_list", "hash", 183, "hash_add_table_to_list"},
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
    sHash *large = tables.back() = _HashCreate(50021, "large", 1), *small = tables.front();
    ASSERT_NE(large, nullptr);

    for (const auto give_back : {HashReset, HashDestroy}) {
        quill_word key = 1;
        while (HashInsert(large, key) == 1) key++;
        EXPECT_EQ(key, 100001u);
        EXPECT_EQ(HashInsert(small, 1), 0);
        EXPECT_EQ(HashFind(large, 100001), 0u);
        EXPECT_EQ(HashIsEmpty(small), 1);
        EXPECT_EQ(HashRemove(large, 50000), 1);
        EXPECT_EQ(HashInsert(small, 1), 1);
        EXPECT_EQ(HashInsert(large, 50000), 0);
        give_back(large);
        EXPECT_EQ(HashInsert(small, 2), 1);
        HashReset(small);
    }
    tables.pop_back();
    for (sHash *table : tables) HashDestroy(table);
    constexpr long kMaxSlabs = 1000 / 128 + 1 + 100000 / 512 + 1;
    EXPECT_LE(live_allocations(), live + kMaxSlabs);
}

}  // namespace
}  // namespace quill::test
