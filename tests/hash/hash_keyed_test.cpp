#include <quill/hash_keyed.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/failing_alloc.h"
#include "support/hash_model.h"

namespace {

using quill::test::expect_failures_survived;
using quill::test::live_allocations;
using quill::test::NthAllocation;
using quill::test::TableKey;

// The bucket of a one-byte text shows one number of the permutation; that of byte 0 needs a text that leads there.
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

struct Text : TableKey {
    static constexpr auto insert = HashStringInsertKeyAndValue;
    static constexpr auto insert_short = HashStringInsert;
    static constexpr auto update = HashStringUpdateKeyAndValue;
    static constexpr auto remove = HashStringRemove;
    static constexpr auto find = HashStringFind;
    static constexpr auto present = HashIsStringPresent;

    std::string text;

    Text(int key, bool) {
        if (key > 0) text = std::string(static_cast<size_t>(key % 4), '\xE4') + std::to_string(key / 2) + "zZ"[key % 2];
    }
    operator const char *() const { return text.c_str(); }
    uint32_t hash() const {
        static const std::vector<uint32_t> numbers = permutation();
        uint32_t h = 0;
        for (const char c : text) h = numbers[h ^ static_cast<uint8_t>(c)];
        return h;
    }
    bool holds(const sHashElem &e) const {
        return e.key == 0 && e.key_copy == text && !e.address && key_bytes_are(e, "", 0);
    }
};

// Four keys at a time differ only in the two bytes that are not hashed.
struct Mac : TableKey {
    static constexpr auto insert = HashMacInsertKeyAndValue;
    static constexpr auto insert_short = HashMacInsert;
    static constexpr auto update = HashMacUpdateKeyAndValue;
    static constexpr auto remove = HashMacRemove;
    static constexpr auto find = HashMacFind;
    static constexpr auto present = HashIsMacPresent;

    uint8_t bytes[7] = {0, 0, 0, 0x90, 0xFF, 0x80, 0};  // the address is at an odd place

    Mac(int key, bool) {
        bytes[1] = static_cast<uint8_t>(key & 1);
        bytes[2] = static_cast<uint8_t>(key >> 1 & 1);
        bytes[6] = static_cast<uint8_t>(key >> 2);
    }
    operator const uint8_t *() const { return bytes + 1; }
    uint32_t hash() const { return 0x90FF8000u | bytes[6]; }
    bool holds(const sHashElem &e) const {
        return e.key == 0 && !e.key_copy && !e.address && key_bytes_are(e, bytes + 1, 6);
    }
};

// Of eight keys three pairs differ in their family alone; 5 and 7 hash alike through different words.
struct Ip : TableKey {
    static constexpr bool kSkipsN = false;
    static constexpr auto insert = HashIpAfAddrInsertKeyAndValue;
    static constexpr auto insert_short = HashIpAfAddrInsert;
    static constexpr auto update = HashIpAfAddrUpdateKeyAndValue;
    static constexpr auto remove = HashIpAfAddrRemove;
    static constexpr auto find = HashIpAfAddrFind;
    static constexpr auto present = HashIsIpAfAddrPresent;
    static constexpr auto get = HashIpAfGet;
    static constexpr auto get_r = HashIpAfGetR;
    static constexpr auto destroy = HashDestroyIpAf;

    ip_af_addr ip = {QUILL_AF_INET, {}, {10, 0xFE}};

    Ip(int key, bool stored) {
        const int kind = key % 8;
        if (kind % 2) ip.family = QUILL_AF_INET6;
        ip.addr[2] = static_cast<uint8_t>(kind == 7 ? 2 : kind / 2);
        ip.addr[kind == 7 ? 15 : 3] = static_cast<uint8_t>(key / 8 + 1);
        if (stored) ip.zero[1] = 1;  // kept, but never compared
    }
    operator const ip_af_addr *() const { return &ip; }
    uint32_t hash() const {
        uint32_t h = 0;
        for (size_t i = 0; i < 16; i++) h ^= uint32_t{ip.addr[i]} << (24 - 8 * (i % 4));
        return h;
    }
    bool holds(const sHashElem &e) const {
        return e.key == hash() && !e.key_copy && key_bytes_are(e, "", 0) && memcmp(e.address, &ip, sizeof ip) == 0;
    }
    static quill_word field(const sHashElem &element, uint32_t sel) {
        return sel == HASH_SEL_ADDRESS ? reinterpret_cast<quill_word>(element.address) : TableKey::field(element, sel);
    }
    // A reset leaves the address copies to its caller.
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

template <typename Key>
class KeyedHash : public testing::Test {};
using Kinds = testing::Types<Text, Mac, Ip>;
TYPED_TEST_SUITE(KeyedHash, Kinds, );

TYPED_TEST(KeyedHash, RandomOperationsFollowTheModel) { quill::test::expect_model_followed<TypeParam>(); }

TYPED_TEST(KeyedHash, FailedAllocationsLeaveTheTableAsItWas) {
    {
        NthAllocation second(2);  // in a new process, that of the element pool
        EXPECT_EQ(TypeParam::create(1), nullptr);
    }
    sHash *table = TypeParam::create(1);
    int held = 0;
    const auto value = [](int key) { return static_cast<quill_word>(key + 1); };
    const auto unchanged = [&] {
        EXPECT_EQ(HashEntries(table), held);
        EXPECT_EQ(TypeParam::present(table, TypeParam(held, false)), 0);
        for (int key = 0; key < held; key++) EXPECT_EQ(TypeParam::find(table, TypeParam(key, false)), value(key));
    };
    for (; held < TypeParam::kKeys; held++) {
        const TypeParam key(held, true);
        const auto insert = [&] {
            return (held % 2 ? TypeParam::update : TypeParam::insert)(table, key, value(held)) == 1;
        };
        expect_failures_survived(insert, unchanged, held == 0 ? 1 : 0);  // the first may find the pool empty
    }
    unchanged();

    const sHashElem *newest = table->buckets[0];
    const TypeParam last(held - 1, true);
    TypeParam::remove(table, last);
    {
        NthAllocation failing(1);
        if (TypeParam::insert(table, last, 1)) TypeParam::remove(table, last);  // an element is all it needs
    }
    TypeParam::insert(table, last, 1);
    EXPECT_EQ(table->buckets[0], newest);  // the pool had got it back
    TypeParam::destroy(table);
}

TEST(TextHash, BucketsComeFromPearsonsPermutation) {
    uint32_t fnv = 0x811C9DC5u;
    for (const uint32_t number : permutation()) fnv = (fnv ^ number) * 0x01000193u;
    EXPECT_EQ(fnv, 0x1D158531u);  // FNV-1a of the published numbers
}

TEST(MacHash, PresenceTellsTheValueAndMayPlaceTheCursor) {
    sHash *table = _HashCreate(5, "walk", 1);
    for (int key = 0; key < 30; key++) Mac::insert(table, Mac(key, true), static_cast<quill_word>(key + 1));
    const auto rest = [&] {
        std::vector<quill_word> values;
        while (const quill_word value = HashGet(table, HASH_OP_NEXT, HASH_SEL_VALUE)) values.push_back(value);
        return values;
    };
    HashGet(table, HASH_OP_FIRST, 0);
    const std::vector<quill_word> all = rest();
    ASSERT_EQ(all.size(), 30u);
    for (int key = 0; key < 30; key++) {
        quill_word value = 0;
        EXPECT_EQ(HashIsMacPresentandValue(table, Mac(key, false), &value), 1);
        EXPECT_EQ(HashIsMacPresentandValue(table, Mac(31, false), &value), 0);
        EXPECT_EQ(HashIsMacPresentandValue(table, Mac(key, false), nullptr), 1);
        EXPECT_EQ(value, static_cast<quill_word>(key + 1));
        EXPECT_EQ(HashIsMacPresentAndSetHashState(table, Mac(key, false)), 1);
        EXPECT_EQ(HashIsMacPresentAndSetHashState(table, Mac(31, false)), 0);  // leaves the cursor alone
        EXPECT_EQ(rest(), std::vector<quill_word>(std::find(all.begin(), all.end(), value), all.end())) << key;
    }
    HashDestroy(table);
}

TEST(IpHash, AnIPv4KeyIsItsHashAndItsFirstFourBytes) {
    sHash *table = _HashCreate(1, "tails", 1);
    ip_af_addr addr = {QUILL_AF_INET, {}, {10, 0, 0, 1}};
    HashIpAfAddrInsertKeyAndValue(table, &addr, 4);
    addr.addr[15] = 1;
    EXPECT_EQ(HashIpAfAddrFind(table, &addr), 0u);
    addr.addr[11] = 1;  // now the tail does not show in the hash
    EXPECT_EQ(HashIpAfAddrFind(table, &addr), 4u);
    addr.family = QUILL_AF_INET6;
    EXPECT_EQ(HashIpAfAddrFind(table, &addr), 0u);
    EXPECT_EQ(HashIpAfAddrInsertKeyAndValue(table, &addr, 6), 1);
    addr.addr[11] = addr.addr[15] = 2;
    EXPECT_EQ(HashIpAfAddrFind(table, &addr), 0u);
    HashDestroyIpAf(table);
    EXPECT_EQ(HashIpAfGet(nullptr, HASH_OP_NEXT, HASH_SEL_ADDRESS), 0u);
    sHashCursor cursor = {};
    EXPECT_EQ(HashIpAfGetR(nullptr, HASH_OP_NEXT, HASH_SEL_ADDRESS, &cursor), 0u);
}

TEST(IpHash, DestructionFreesTheCopiesOfAddresses) {
    const auto left_by = [](int keys) {
        const long live = live_allocations();
        sHash *table = _HashCreate(5, "destroyed", 1);
        for (int key = 0; key < keys; key++) Ip::insert(table, Ip(key, true), 1);
        HashDestroyIpAf(table);
        return live_allocations() - live;
    };
    left_by(3);  // makes the pools
    EXPECT_EQ(left_by(3), left_by(0));
}

TEST(IpHash, ADestroyedTableKeepsItsPlaceInTheStatistics) {
    const auto records = [] { return quill::test::stats().substr(4); };
    sHash *first = _HashCreate(3, "first", 1);
    const std::string before = records();
    sHash *destroyed = _HashCreate(5, "destroyed", 1), *after = _HashCreate(7, "after", 1);
    const std::string both = records();
    ASSERT_EQ(both.size(), before.size() + 2 * 76);
    Ip::insert(destroyed, Ip(1, true), 1);
    HashDestroyIpAf(destroyed);
    EXPECT_EQ(records(), before + std::string(76, '\0') + both.substr(before.size() + 76));
    HashDestroy(after);
    EXPECT_EQ(records(), before + std::string(76, '\0'));

    // No memory for the record of zeros: nothing of the table may stay.
    destroyed = _HashCreate(5, "destroyed", 1);
    {
        NthAllocation failing(1);
        HashDestroyIpAf(destroyed);
    }
    EXPECT_EQ(records(), before + std::string(76, '\0'));
    HashDestroy(first);
}

}  // namespace
