// The records of the hash tables, and their algorithms as templates over the kinds of keys.
//
//     sHash: buckets ──▶ [0] ──▶ element ──▶ element ──▶ null      newest first
//                        [1] ──▶ null
//                        [2] ──▶ element ──▶ null                  collisions[2] = 0, collisions[0] = 1
//
// A key is a class small enough for registers, passed by value, with five members (see WordKey in hash.cpp for the
// simplest):
//
//     uint32_t hash(const sHash &) const;                    the bucket is this modulo the bucket count
//     bool matches(const sHash &, const sHashElem &) const;
//     bool present(const sHashElem *) const;                 whether insertion treats the key as present
//     bool store(sHashElem &) const;                         puts the key into a new element; false without memory
//     static void release(sHashElem &);                      frees what store() allocated
//
// Operations on a table take no lock. Another thread may read two counts for the statistics at the same time. So these
// counts are stored as relaxed atomics, which cost no more than plain stores.
#pragma once

#include <quill/hash.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <type_traits>

#include "base/contract.h"
#include "hash/divisor.h"
#include "hash/object_pool.h"

struct sHashElem {
    quill_word key;        // the key word; the address hash in IP tables; 0 in text and MAC tables
    char *key_copy;        // text tables: the key, on the heap, owned
    uint8_t key_bytes[8];  // MAC tables: the 6 bytes of the key
    quill_word value;
    sHashElem *next;      // in the same bucket
    ip_af_addr *address;  // IP tables: the key, on the heap, owned
};

struct sHash {
    char *name;  // 64 bytes on the heap; null until the table is complete
    int32_t bucket_count;
    uint32_t *collisions;  // per bucket: elements beyond the first
    sHashElem **buckets;
    sHashCursor cursor;
    int32_t entries;
    int32_t max_collisions;  // the most in any bucket since the last HashReset
    HashFunction hash;       // null: the key itself
    HashCompare compare;     // null: equal words only
    uint32_t listed;         // 1: in hash_table_list
    uint64_t reciprocal;     // of the bucket count
};

namespace quill {

// Monitoring tools read the element record in core dumps.
static_assert(offsetof(sHashElem, key_bytes) == 2 * sizeof(void *));
static_assert(offsetof(sHashElem, value) == 2 * sizeof(void *) + 8);
static_assert(sizeof(sHashElem) == 5 * sizeof(void *) + 8);

inline const sHash &checked(const sHash *table, const char *function) {
    require(table != nullptr, "table", "hash", 90, function);
    return *table;
}
inline sHash &checked(sHash *table, const char *function) {
    return const_cast<sHash &>(checked(const_cast<const sHash *>(table), function));
}

inline sHashCursor &checked(sHashCursor *cursor, const char *function) {
    require(cursor != nullptr, "cursor", "hash", 102, function);
    return *cursor;
}

// --- counts that hash_get_stats reads while other threads change them

template <typename T>
T load_shared(const T &shared) {
    return std::atomic_ref<T>(const_cast<T &>(shared)).load(std::memory_order_acquire);
}

template <typename T>
void store_shared(T &shared, std::type_identity_t<T> value) {
    std::atomic_ref<T>(shared).store(value, std::memory_order_relaxed);
}

// --- elements and their pool

sHashElem *new_element();  // zeroed; null when the pool is exhausted
void return_to_pool(sHashElem *element);

// Every function that removes an element also frees its key copy. Only the functions of the IP family free an address
// copy.
inline void free_element(sHashElem *element) {
    free(element->key_copy);
    return_to_pool(element);
}

inline void release_nothing(sHashElem &) {}

// Returns every element to the pool, after a call of release for it. The chains then contain dangling pointers.
template <typename Release>
void free_elements(sHash &table, Release release) {
    for (int32_t bucket = 0; bucket < table.bucket_count; bucket++) {
        for (sHashElem *element = table.buckets[bucket]; element;) {
            sHashElem *next = element->next;
            release(*element);
            free_element(element);
            element = next;
        }
    }
}

// Permanently replaces a listed table in hash_table_list with a record of zeros.
void retire_from_list(sHash &table);

// Frees all of a table except its elements.
void free_table(sHash &table);

// --- search, insertion, removal

struct Place {
    uint32_t bucket;
    sHashElem **link;  // the pointer to the element, or the null at the end of the chain

    sHashElem *element() const { return *link; }
};

template <typename Key>
Place find_place(const sHash &table, Key key) {
    const uint32_t bucket = remainder(key.hash(table), static_cast<uint32_t>(table.bucket_count), table.reciprocal);
    sHashElem **link = &table.buckets[bucket];
    while (*link && !key.matches(table, **link)) link = &(*link)->next;
    return {bucket, link};
}

template <typename Key>
sHashElem *find_element(const sHash &table, Key key) {
    return find_place(table, key).element();
}

template <typename Key>
quill_word find_value(const sHash &table, Key key) {
    const sHashElem *element = find_element(table, key);
    return element ? element->value : 0;
}

// The count wraps: HashReset does not clear it, and some tables are refilled and reset for years.
inline void count_entries(sHash &table, int32_t difference) {
    store_shared(table.entries,
                 static_cast<int32_t>(static_cast<uint32_t>(table.entries) + static_cast<uint32_t>(difference)));
}

inline void link_first(sHash &table, uint32_t bucket, sHashElem *element) {
    sHashElem *&head = table.buckets[bucket];
    if (head) {
        const auto count = static_cast<int32_t>(++table.collisions[bucket]);
        if (count > table.max_collisions) store_shared(table.max_collisions, count);
    }
    element->next = head;
    head = element;
    count_entries(table, 1);
}

// place must be the result of find_place for the key.
template <typename Key>
int insert_at(sHash &table, const Place &place, Key key, quill_word value) {
    sHashElem *element = new_element();
    if (!element) return 0;
    if (!key.store(*element)) {
        return_to_pool(element);
        return 0;
    }
    element->value = value;
    link_first(table, place.bucket, element);
    return 1;
}

template <typename Key>
int insert(sHash &table, Key key, quill_word value) {
    const Place place = find_place(table, key);
    return key.present(place.element()) ? 0 : insert_at(table, place, key, value);
}

inline int replace(sHashElem *element, quill_word value) {
    if (!element) return 0;
    element->value = value;
    return 1;
}

template <typename Key>
int update(const sHash &table, Key key, quill_word value) {
    return replace(find_element(table, key), value);
}

template <typename Key>
int update_or_insert(sHash &table, Key key, quill_word value) {
    const Place place = find_place(table, key);
    return replace(place.element(), value) || insert_at(table, place, key, value);
}

// Removes the first match, and stores its value unless value is null.
template <typename Key>
int remove(sHash &table, Key key, quill_word *value = nullptr) {
    const Place place = find_place(table, key);
    sHashElem *element = place.element();
    if (!element) return 0;
    if (value) *value = element->value;
    if (table.cursor.element == element) table.cursor = {0, nullptr};
    *place.link = element->next;
    Key::release(*element);
    free_element(element);
    count_entries(table, -1);
    if (table.collisions[place.bucket] > 0) table.collisions[place.bucket]--;
    return 1;
}

// --- walks

void walk_first(const sHash &table, sHashCursor &cursor);
sHashElem *walk_next(const sHash &table, sHashCursor &cursor);  // null at the end
void walk_skip(const sHash &table, sHashCursor &cursor, uint32_t steps);
quill_word selected_field(const sHashElem *element, uint32_t sel);  // 0 for no element

}  // namespace quill
