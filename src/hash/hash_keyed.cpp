#include <quill/hash_keyed.h>

#include <quill/hash.h>
#include <quill/types.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "base/contract.h"
#include "base/endian.h"
#include "base/memory.h"
#include "hash/hash_table.h"

namespace {

using quill::checked;
using quill::load_be;
using quill::require;

// Pearson's permutation of 0 to 255, as published with his hash (CACM 33(6), 1990).
constexpr uint8_t kPearson[256] = {
    1,   87,  49,  12,  176, 178, 102, 166, 121, 193, 6,   84,  249, 230, 44,  163,  //
    14,  197, 213, 181, 161, 85,  218, 80,  64,  239, 24,  226, 236, 142, 38,  200,  //
    110, 177, 104, 103, 141, 253, 255, 50,  77,  101, 81,  18,  45,  96,  31,  222,  //
    25,  107, 190, 70,  86,  237, 240, 34,  72,  242, 20,  214, 244, 227, 149, 235,  //
    97,  234, 57,  22,  60,  250, 82,  175, 208, 5,   127, 199, 111, 62,  135, 248,  //
    174, 169, 211, 58,  66,  154, 106, 195, 245, 171, 17,  187, 182, 179, 0,   243,  //
    132, 56,  148, 75,  128, 133, 158, 100, 130, 126, 91,  13,  153, 246, 216, 219,  //
    119, 68,  223, 78,  83,  88,  201, 99,  122, 11,  92,  32,  136, 114, 52,  10,   //
    138, 30,  48,  183, 156, 35,  61,  26,  143, 74,  251, 94,  129, 162, 63,  152,  //
    170, 7,   115, 167, 241, 206, 3,   150, 55,  59,  151, 220, 90,  53,  23,  131,  //
    125, 173, 15,  238, 79,  95,  89,  16,  105, 137, 225, 224, 217, 160, 37,  123,  //
    118, 73,  2,   157, 46,  116, 9,   145, 134, 228, 207, 212, 202, 215, 69,  229,  //
    27,  188, 67,  124, 168, 252, 42,  4,   29,  108, 21,  247, 19,  205, 39,  203,  //
    233, 40,  186, 147, 198, 192, 155, 33,  164, 191, 98,  204, 165, 180, 117, 76,   //
    140, 36,  210, 172, 41,  54,  159, 8,   185, 232, 113, 196, 231, 47,  146, 120,  //
    51,  65,  28,  144, 254, 221, 93,  189, 194, 139, 112, 43,  71,  109, 184, 209,
};

template <typename T>
const T *checked_key(const T *key, const char *function) {
    require(key != nullptr, "key", "hash", 110, function);
    return key;
}

// A key with an element counts as present, even if the value is 0.
struct ByKey {
    static bool present(const sHashElem *element) { return element != nullptr; }
    static void release(sHashElem &) {}
};

struct StringKey : ByKey {
    const char *text;

    StringKey(const char *key, const char *function) : text(checked_key(key, function)) {}

    uint32_t hash(const sHash &) const {
        uint8_t h = 0;
        for (const char *c = text; *c; c++) h = kPearson[h ^ static_cast<uint8_t>(*c)];
        return h;
    }
    bool matches(const sHash &, const sHashElem &element) const { return strcmp(element.key_copy, text) == 0; }
    bool store(sHashElem &element) const {
        element.key_copy = strdup(text);
        return element.key_copy != nullptr;
    }
};

struct MacKey : ByKey {
    static constexpr size_t kSize = 6;
    const uint8_t *mac;

    MacKey(const void *key, const char *function) : mac(static_cast<const uint8_t *>(checked_key(key, function))) {}

    // The vendor's half of the address varies little; the last four bytes spread the keys over the buckets.
    uint32_t hash(const sHash &) const { return load_be<uint32_t>(mac + 2); }
    bool matches(const sHash &, const sHashElem &element) const { return memcmp(element.key_bytes, mac, kSize) == 0; }
    bool store(sHashElem &element) const {
        std::copy_n(mac, kSize, element.key_bytes);
        return true;
    }
};

void free_address(sHashElem &element) { free(element.address); }

struct IpAfKey : ByKey {
    const ip_af_addr *addr;
    uint32_t hashed;

    IpAfKey(const ip_af_addr *key, const char *function) : addr(checked_key(key, function)), hashed(fold(key->addr)) {}

    static uint32_t fold(const uint8_t *bytes) {
        return load_be<uint32_t>(bytes) ^ load_be<uint32_t>(bytes + 4) ^ load_be<uint32_t>(bytes + 8) ^
               load_be<uint32_t>(bytes + 12);
    }

    uint32_t hash(const sHash &) const { return hashed; }
    bool matches(const sHash &, const sHashElem &element) const {
        if (element.key != hashed || element.address->family != addr->family) return false;
        const uint8_t *stored = element.address->addr;  // the sizes are constants, so no call is needed
        return addr->family == QUILL_AF_INET ? memcmp(stored, addr->addr, 4) == 0 : memcmp(stored, addr->addr, 16) == 0;
    }
    bool store(sHashElem &element) const {
        element.key = hashed;
        element.address = quill::new_object<ip_af_addr>().release();
        if (!element.address) return false;
        *element.address = *addr;
        return true;
    }
    static void release(sHashElem &element) { free_address(element); }
};

}  // namespace

// --- texts

quill_word HashStringFind(const sHash *table, const char *key) {
    return quill::find_value(checked(table, __func__), StringKey(key, __func__));
}

int HashIsStringPresent(const sHash *table, const char *key) {
    return quill::find_element(checked(table, __func__), StringKey(key, __func__)) != nullptr;
}

int HashStringInsertKeyAndValue(sHash *table, const char *key, quill_word value) {
    return quill::insert(checked(table, __func__), StringKey(key, __func__), value);
}

int HashStringInsert(sHash *table, const char *key) { return HashStringInsertKeyAndValue(table, key, 0); }

int HashStringUpdateKeyAndValue(sHash *table, const char *key, quill_word value) {
    return quill::update_or_insert(checked(table, __func__), StringKey(key, __func__), value);
}

int HashStringRemove(sHash *table, const char *key) {
    return quill::remove(checked(table, __func__), StringKey(key, __func__));
}

// --- MAC addresses

quill_word HashMacFind(const sHash *table, const void *mac) {
    return quill::find_value(checked(table, __func__), MacKey(mac, __func__));
}

int HashIsMacPresent(const sHash *table, const void *mac) { return HashIsMacPresentandValue(table, mac, nullptr); }

int HashIsMacPresentandValue(const sHash *table, const void *mac, quill_word *value) {
    const sHashElem *element = quill::find_element(checked(table, __func__), MacKey(mac, __func__));
    if (element && value) *value = element->value;
    return element != nullptr;
}

int HashIsMacPresentAndSetHashState(sHash *table, const void *mac) {
    const quill::Place place = quill::find_place(checked(table, __func__), MacKey(mac, __func__));
    if (!place.element()) return 0;
    table->cursor = {static_cast<int32_t>(place.bucket), place.element()};
    return 1;
}

int HashMacInsertKeyAndValue(sHash *table, const void *mac, quill_word value) {
    return quill::insert(checked(table, __func__), MacKey(mac, __func__), value);
}

int HashMacInsert(sHash *table, const void *mac) { return HashMacInsertKeyAndValue(table, mac, 0); }

int HashMacUpdateKeyAndValue(sHash *table, const void *mac, quill_word value) {
    return quill::update_or_insert(checked(table, __func__), MacKey(mac, __func__), value);
}

int HashMacRemove(sHash *table, const void *mac) {
    return quill::remove(checked(table, __func__), MacKey(mac, __func__));
}

// --- IP addresses with their family

quill_word HashIpAfAddrFind(const sHash *table, const ip_af_addr *addr) {
    return quill::find_value(checked(table, __func__), IpAfKey(addr, __func__));
}

int HashIsIpAfAddrPresent(const sHash *table, const ip_af_addr *addr) {
    return quill::find_element(checked(table, __func__), IpAfKey(addr, __func__)) != nullptr;
}

int HashIpAfAddrInsertKeyAndValue(sHash *table, const ip_af_addr *addr, quill_word value) {
    return quill::insert(checked(table, __func__), IpAfKey(addr, __func__), value);
}

int HashIpAfAddrInsert(sHash *table, const ip_af_addr *addr) { return HashIpAfAddrInsertKeyAndValue(table, addr, 0); }

int HashIpAfAddrUpdateKeyAndValue(sHash *table, const ip_af_addr *addr, quill_word value) {
    return quill::update_or_insert(checked(table, __func__), IpAfKey(addr, __func__), value);
}

int HashIpAfAddrRemove(sHash *table, const ip_af_addr *addr) {
    return quill::remove(checked(table, __func__), IpAfKey(addr, __func__));
}

quill_word HashIpAfGet(sHash *table, int op, uint32_t sel) {
    return table ? HashIpAfGetR(table, op, sel, &table->cursor) : 0;
}

quill_word HashIpAfGetR(const sHash *table, int op, uint32_t sel, sHashCursor *cursor) {
    if (op == HASH_OP_SKIP_N) return 0;
    if (op != HASH_OP_NEXT || sel != HASH_SEL_ADDRESS || !table) return HashGetR(table, op, sel, cursor);
    const sHashElem *element = quill::walk_next(*table, checked(cursor, __func__));
    return element ? reinterpret_cast<quill_word>(element->address) : 0;
}

void HashDestroyIpAf(sHash *table) {
    sHash &t = checked(table, __func__);
    quill::free_elements(t, free_address);
    quill::retire_from_list(t);
    quill::free_table(t);
}
