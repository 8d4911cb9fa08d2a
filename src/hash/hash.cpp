#include <quill/hash.h>

#include <quill/list.h>
#include <quill/types.h>

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <atomic>

#include "base/contract.h"
#include "base/memory.h"
#include "base/mutex.h"
#include "hash/divisor.h"
#include "hash/hash_table.h"
#include "hash/object_pool.h"

// Process-wide state. The mutex guards the list, each table's membership in the list, and the creation of the pools.
// The pools guard their own contents.
sList *hash_table_list;

namespace {

using quill::checked;
using quill::Guard;
using quill::Mpool;
using quill::require;
using quill::StaticMutex;

constinit StaticMutex list_mutex;
constinit Mpool *table_pool = nullptr;
constinit Mpool *element_pool = nullptr;

constexpr size_t kNameSize = 64;
constexpr uint32_t kMaxListed = 64;

bool create_pools() {
    Guard guard(list_mutex);
    if (!table_pool) table_pool = quill::mpool_create(sizeof(sHash), 128, 4, 1000, "sHash");
    if (!element_pool) element_pool = quill::mpool_create(sizeof(sHashElem), 512, 4, 100000, "sHashElem");
    return table_pool && element_pool;
}

sHash *new_table() {
    if (!create_pools()) return nullptr;
    void *memory = quill::mpool_alloc(table_pool);
    return memory ? static_cast<sHash *>(memset(memory, 0, sizeof(sHash))) : nullptr;
}

// The name is stored last, and atomically. Another thread that collects statistics may already find the table in the
// list.
bool publish_name(sHash &table, const char *name) {
    auto buffer = quill::new_zeroed<char>(kNameSize);
    if (!buffer) return false;
    memcpy(buffer.get(), name, strnlen(name, kNameSize - 1));
    std::atomic_ref<char *>(table.name).store(buffer.release(), std::memory_order_release);
    return true;
}

sHash *create(int32_t buckets, const char *name, const char *function) {
    require(buckets > 0, "buckets > 0", "hash", 100, function);
    require(name != nullptr, "name", "hash", 101, function);
    sHash *table = new_table();
    if (!table) return nullptr;
    table->bucket_count = buckets;
    table->reciprocal = quill::reciprocal_of(static_cast<uint32_t>(buckets));
    table->buckets = quill::new_zeroed<sHashElem *>(static_cast<size_t>(buckets)).release();
    table->collisions = quill::new_zeroed<uint32_t>(static_cast<size_t>(buckets)).release();
    if (!table->buckets || !table->collisions) {
        quill::free_table(*table);
        return nullptr;
    }
    hash_add_table_to_list(table);
    if (publish_name(*table, name)) return table;
    HashDestroy(table);
    return nullptr;
}

// A record of zeros. It takes the place of tables that are destroyed but keep their entry in the list.
constinit sHash destroyed_table = {};

void remove_from_list(sHash &table) {
    if (!table.listed) return;
    Guard guard(list_mutex);
    ListRemove(hash_table_list, &table);
}

// One table's record in the statistics; see hash_get_stats in the header.
struct Record {
    int32_t buckets;
    int32_t entries;
    int32_t max_collisions;
    char name[kNameSize];
};
static_assert(sizeof(Record) == 76);

void fill(Record &record, const sHash &table) {
    record.buckets = table.bucket_count;
    record.entries = quill::load_shared(table.entries);
    record.max_collisions = quill::load_shared(table.max_collisions);
    if (const char *name = quill::load_shared(table.name)) memcpy(record.name, name, kNameSize);
}

// For tables without their own hash or compare function, which is most of them: no indirect call, so HashFind takes two
// thirds of the time.
struct PlainWordKey {
    quill_word word;

    uint32_t hash(const sHash &) const { return static_cast<uint32_t>(word); }
    bool matches(const sHash &, const sHashElem &element) const { return element.key == word; }
};

// An integer or pointer that is its own key.
struct WordKey {
    quill_word word;

    uint32_t hash(const sHash &table) const { return table.hash ? table.hash(word) : static_cast<uint32_t>(word); }
    bool matches(const sHash &table, const sHashElem &element) const {
        return element.key == word || (table.compare && table.compare(element.key, word));
    }
    // A stored 0 counts as absent, for insertion as for HashFind.
    bool present(const sHashElem *element) const { return element && element->value != 0; }
    bool store(sHashElem &element) const {
        element.key = word;
        return true;
    }
    static void release(sHashElem &) {}
};

// Puts the cursor on the first element of its bucket, or of the next bucket that has an element.
void seek_element(const sHash &table, sHashCursor &cursor) {
    cursor.element = nullptr;
    for (; cursor.bucket < table.bucket_count; cursor.bucket++)
        if ((cursor.element = table.buckets[cursor.bucket])) return;
}

void advance(const sHash &table, sHashCursor &cursor) {
    if (cursor.element->next) {
        cursor.element = cursor.element->next;
        return;
    }
    cursor.bucket++;
    seek_element(table, cursor);
}

bool has_bucket(const sHash *table, uint32_t bucket) {
    return table && bucket < static_cast<uint32_t>(table->bucket_count);
}

}  // namespace

// --- functions that hash_table.h declares

sHashElem *quill::new_element() {
    void *memory = mpool_alloc(element_pool);
    return memory ? static_cast<sHashElem *>(memset(memory, 0, sizeof(sHashElem))) : nullptr;
}

void quill::return_to_pool(sHashElem *element) { mpool_free(element_pool, element); }

void quill::retire_from_list(sHash &table) {
    if (!table.listed) return;
    Guard guard(list_mutex);
    // If memory runs out, the list gets one entry shorter. That is better than a pointer to a freed record.
    ListInsertAt(hash_table_list, &destroyed_table, &table);
    ListRemove(hash_table_list, &table);
}

void quill::free_table(sHash &table) {
    free(table.collisions);
    free(table.name);
    free(table.buckets);
    mpool_free(table_pool, &table);
}

void quill::walk_first(const sHash &table, sHashCursor &cursor) {
    sHashCursor first = {0, nullptr};
    seek_element(table, first);
    cursor = first.element ? first : sHashCursor{0, nullptr};
}

sHashElem *quill::walk_next(const sHash &table, sHashCursor &cursor) {
    sHashElem *element = cursor.element;
    if (element) advance(table, cursor);
    return element;
}

void quill::walk_skip(const sHash &table, sHashCursor &cursor, uint32_t steps) {
    if (!cursor.element) return;
    for (; steps > 0 && cursor.element; steps--) advance(table, cursor);
    // Each step past the end only increments the bucket.
    cursor.bucket = static_cast<int32_t>(std::min<int64_t>(int64_t{cursor.bucket} + steps, INT32_MAX));
}

quill_word quill::selected_field(const sHashElem *element, uint32_t sel) {
    if (!element) return 0;
    switch (sel) {
        case HASH_SEL_VALUE: return element->value;
        case HASH_SEL_KEY: return element->key;
        case HASH_SEL_KEY_COPY: return reinterpret_cast<quill_word>(element->key_copy);
        default: return reinterpret_cast<quill_word>(element->key_bytes);
    }
}

// --- creation and destruction

sHash *_HashCreate(int32_t buckets, const char *name, int) { return create(buckets, name, __func__); }

sHash *HashCreateExt(int32_t buckets, HashFunction hash, HashCompare compare, const char *name, int) {
    sHash *table = create(buckets, name, __func__);
    if (!table) return nullptr;
    table->hash = hash;
    table->compare = compare;
    return table;
}

sHash *HashCreateLocked(int32_t buckets) { return create(buckets, "HashCreateLocked", __func__); }

void HashReset(sHash *table) {
    sHash &t = checked(table, __func__);
    quill::free_elements(t, quill::release_nothing);
    std::fill_n(t.buckets, t.bucket_count, nullptr);
    std::fill_n(t.collisions, t.bucket_count, 0u);
    quill::store_shared(t.max_collisions, 0);
    t.cursor.element = nullptr;  // the element no longer exists; the rest of the cursor is kept
}

void HashDestroy(sHash *table) {
    sHash &t = checked(table, __func__);
    quill::free_elements(t, quill::release_nothing);
    remove_from_list(t);
    quill::free_table(t);
}

// --- elements

quill_word HashFind(const sHash *table, quill_word key) {
    const sHash &t = checked(table, __func__);
    return t.hash || t.compare ? quill::find_value(t, WordKey{key}) : quill::find_value(t, PlainWordKey{key});
}

int HashInsert(sHash *table, quill_word key) { return quill::insert(checked(table, __func__), WordKey{key}, key); }

int HashInsertKeyAndValue(sHash *table, quill_word key, quill_word value) {
    return quill::insert(checked(table, __func__), WordKey{key}, value);
}

int HashUpdateKeyAndValue(sHash *table, quill_word key, quill_word value) {
    return quill::update(checked(table, __func__), WordKey{key}, value);
}

int HashRemove(sHash *table, quill_word key) { return quill::remove(checked(table, __func__), WordKey{key}); }

quill_word HashRemoveGet(sHash *table, quill_word key) {
    quill_word value = 0;
    quill::remove(checked(table, __func__), WordKey{key}, &value);
    return value;
}

int HashIsEmpty(const sHash *table) {
    const sHash &t = checked(table, __func__);
    return std::all_of(t.buckets, t.buckets + t.bucket_count, [](const sHashElem *head) { return !head; });
}

int32_t HashEntries(const sHash *table) { return checked(table, __func__).entries; }

// --- walks

quill_word HashGet(sHash *table, int op, uint32_t sel) { return table ? HashGetR(table, op, sel, &table->cursor) : 0; }

quill_word HashGetR(const sHash *table, int op, uint32_t sel, sHashCursor *cursor) {
    if (!table) return 0;
    switch (op) {
        case HASH_OP_FIRST: quill::walk_first(*table, checked(cursor, __func__)); return 0;
        case HASH_OP_NEXT: return quill::selected_field(quill::walk_next(*table, checked(cursor, __func__)), sel);
        case HASH_OP_SKIP_100: quill::walk_skip(*table, checked(cursor, __func__), 100); return 0;
        case HASH_OP_SKIP_N: quill::walk_skip(*table, checked(cursor, __func__), sel); return 0;
        default: return 0;
    }
}

quill_word HashGetFromBucket(sHash *table, int op, uint32_t sel, uint32_t bucket) {
    return table ? HashGetRFromBucket(table, op, sel, bucket, &table->cursor) : 0;
}

quill_word HashGetRFromBucket(const sHash *table, int op, uint32_t sel, uint32_t bucket, sHashCursor *cursor) {
    if (!has_bucket(table, bucket)) return 0;
    const auto index = static_cast<int32_t>(bucket);
    switch (op) {
        case HASH_OP_FIRST: checked(cursor, __func__) = {index, table->buckets[bucket]}; return 0;
        case HASH_OP_NEXT:
            if (checked(cursor, __func__).bucket != index) return 0;
            return quill::selected_field(quill::walk_next(*table, *cursor), sel);
        default: return 0;
    }
}

// --- the list of tables, and statistics

void hash_add_table_to_list(sHash *table) {
    sHash &t = checked(table, __func__);
    Guard guard(list_mutex);
    if (t.listed) return;  // a table that is listed twice would stay in the list after its destruction
    if (!hash_table_list) hash_table_list = ListCreate();
    require(hash_table_list != nullptr, "hash_table_list", "hash", 183, __func__);
    t.listed = ListEntries(hash_table_list) < kMaxListed && ListInsert(hash_table_list, table);
}

uint32_t hash_get_stats(void **out) {
    require(out != nullptr, "out", "hash", 103, __func__);
    Guard guard(list_mutex);
    const uint32_t count = ListEntries(hash_table_list);
    const auto size = static_cast<uint32_t>(sizeof count + sizeof(Record) * count);
    auto buffer = quill::new_zeroed<char>(size);
    *out = buffer.get();
    if (!buffer) return 0;
    memcpy(buffer.get(), &count, sizeof count);
    auto *record = reinterpret_cast<Record *>(buffer.get() + sizeof count);
    ListGet(hash_table_list, LIST_OP_FIRST);
    while (const quill_word table = ListGet(hash_table_list, LIST_OP_NEXT))
        fill(*record++, *reinterpret_cast<const sHash *>(table));  // NOLINT(performance-no-int-to-ptr): a list of words
    (void)buffer.release();                                        // the caller owns it now
    return size;
}
