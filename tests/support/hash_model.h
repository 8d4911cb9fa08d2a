// Random operations on a hash table of any kind of key, followed by a plain model.
//
// A kind of key is a class Key over TableKey, made from a number below kKeys and from whether it is to be stored or
// only searched for; it converts to what the table's functions take. Its other members:
//
//     uint32_t hash() const                                  what the bucket is chosen by
//     bool holds(const sHashElem &) const                    whether all fields of the element are those of the key
#pragma once

#include <gtest/gtest.h>
#include <quill/hash_keyed.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "hash/hash_table.h"
#include "support/failing_alloc.h"
#include "support/random.h"

namespace quill::test {

template <auto kInsert, auto kInsertShort, auto kUpdate, auto kRemove, auto kFind, auto kPresent>
struct TableKey {
    static constexpr int kKeys = 40;
    static constexpr bool kIsWord = false;  // insertion takes a key with the value 0 for absent, update inserts none
    static constexpr bool kSkipsN = true;
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

    quill_word short_value() const { return 0; }
    static sHash *create(int32_t buckets) { return _HashCreate(buckets, "model", 0); }
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

struct HashModel {
    struct Element {
        int32_t bucket;
        int key;
        quill_word value;
        int id;
    };
    struct Cursor {
        int32_t bucket;
        int id;  // of the element that comes next; 0 at the end
    };
    using Place = std::vector<Element>::iterator;

    int32_t buckets;
    std::vector<Element> held = {};  // as a walk finds them: by buckets, the newest first
    Cursor own = {}, callers = {};
    int32_t entries = 0, max_collisions = 0;
    int last_id = 0;

    Place find(int key) { return std::ranges::find(held, key, &Element::key); }
    Place start_of(int32_t bucket) { return std::ranges::lower_bound(held, bucket, {}, &Element::bucket); }
    void insert(int32_t bucket, int key, quill_word value) {
        const auto others = static_cast<int32_t>(start_of(bucket + 1) - start_of(bucket));
        max_collisions = std::max(max_collisions, others);
        held.insert(start_of(bucket), {bucket, key, value, ++last_id});
        entries++;
    }
    void erase(Place place) {
        if (own.id == place->id) own = {};
        held.erase(place);
        entries--;
    }
    Cursor first() const { return held.empty() ? Cursor{} : Cursor{held[0].bucket, held[0].id}; }
    void skip(Cursor &cursor, uint32_t steps) const {
        for (bool moves = cursor.id; moves && steps > 0; steps--) {
            const auto next = std::ranges::find(held, cursor.id, &Element::id) + (cursor.id ? 1 : 0);
            if (next != held.end())
                cursor = {next->bucket, next->id};
            else
                cursor = {cursor.id ? buckets : cursor.bucket + 1, 0};
        }
    }
};

template <typename Key>
class HashSequence {
public:
    HashSequence(uint64_t seed, int32_t buckets) : random_(seed), table_(Key::create(buckets)), model_{buckets} {}
    ~HashSequence() { Key::destroy(table_); }

    void step() {
        const int key = static_cast<int>(random_.below(Key::kKeys));
        const Key stored(key, true), searched(key, false);
        const auto found = model_.find(key);
        const bool here = found != model_.held.end();
        const quill_word value = random_.below(4), before = here ? found->value : 0;
        switch (random_.below(9)) {
            case 0: insert(stored, key, value, !here || (Key::kIsWord && before == 0)); break;
            case 1: update(stored, key, value, found); break;
            case 2:
                EXPECT_EQ(Key::remove(table_, searched), here);
                if (here) remove(found);
                break;
            case 3:
                EXPECT_EQ(Key::find(table_, searched), before);
                if constexpr (!Key::kIsWord) {
                    EXPECT_EQ(Key::present(table_, searched), here);
                }
                break;
            case 4:
                if (random_.one_in(40)) reset();
                break;
            case 5: walk_bucket(static_cast<int32_t>(random_.below(static_cast<uint32_t>(model_.buckets)))); break;
            default: walk();
        }
        check();
    }

private:
    int32_t bucket_of(const Key &key) const {
        return static_cast<int32_t>(key.hash() % static_cast<uint32_t>(model_.buckets));
    }
    // Some operations find no memory.
    template <typename Operation, typename... T>
    int attempt(Operation operation, const Key &key, T... value) {
        const NthAllocation failing(random_.one_in(2) ? 1 + static_cast<int>(random_.below(2)) : 9);
        const int result = operation(table_, key, value...);
        failed_ = failing.reached();
        return result;
    }
    void insert(const Key &stored, int key, quill_word value, bool accepted) {
        const bool shortly = random_.one_in(4);
        const int inserted = shortly ? attempt(Key::insert_short, stored) : attempt(Key::insert, stored, value);
        EXPECT_EQ(inserted, accepted && !failed_);
        if (inserted) model_.insert(bucket_of(stored), key, shortly ? stored.short_value() : value);
    }
    void update(const Key &stored, int key, quill_word value, HashModel::Place found) {
        const bool here = found != model_.held.end();
        const int updated = attempt(Key::update, stored, value);
        EXPECT_EQ(updated, here || (!Key::kIsWord && !failed_));
        if (here)
            found->value = value;
        else if (updated)
            model_.insert(bucket_of(stored), key, value);
    }
    void remove(HashModel::Place found) {
        const bool under_callers = found->id == model_.callers.id;
        model_.erase(found);
        if (under_callers) restart();  // a caller's cursor must not stay on a removed element
    }
    // The count survives a reset, and of the table's own cursor the bucket.
    void reset() {
        Key::reset(table_);
        model_.held.clear();
        model_.own.id = model_.max_collisions = 0;
        restart();
    }
    void restart() {
        EXPECT_EQ(Key::get_r(table_, HASH_OP_FIRST, 1, &cursor_), 0u);
        model_.callers = model_.first();
    }
    void walk() {
        static constexpr int kOps[] = {HASH_OP_FIRST, HASH_OP_SKIP_100, HASH_OP_SKIP_N, 0, 2, 3, 5, 8};
        const bool own = random_.one_in(2);
        const int op = random_.one_in(4) ? kOps[random_.below(8)] : HASH_OP_NEXT;
        const uint32_t sel = random_.one_in(20) ? 1000 : random_.below(6);
        const sHashElem *element = (own ? table_->cursor : cursor_).element;
        const quill_word wanted = op == HASH_OP_NEXT && element ? Key::field(*element, sel) : 0;
        EXPECT_EQ(own ? Key::get(table_, op, sel) : Key::get_r(table_, op, sel, &cursor_), wanted) << "op " << op;
        HashModel::Cursor &cursor = own ? model_.own : model_.callers;
        if (op == HASH_OP_FIRST) cursor = model_.first();
        if (op == HASH_OP_NEXT) model_.skip(cursor, 1);
        if (op == HASH_OP_SKIP_100) model_.skip(cursor, 100);
        if (op == HASH_OP_SKIP_N && Key::kSkipsN) model_.skip(cursor, sel);
    }
    void walk_bucket(int32_t bucket) {
        const bool own = random_.one_in(2);
        const auto get = [&, b = static_cast<uint32_t>(bucket)](int op) {
            return own ? HashGetFromBucket(table_, op, 0, b) : HashGetRFromBucket(table_, op, 0, b, &cursor_);
        };
        HashModel::Cursor &cursor = own ? model_.own : model_.callers;
        if (random_.one_in(3)) {
            const auto first = model_.start_of(bucket);
            EXPECT_EQ(get(HASH_OP_FIRST), 0u);
            cursor = {bucket, first != model_.start_of(bucket + 1) ? first->id : 0};
        }
        EXPECT_EQ(get(HASH_OP_SKIP_100), 0u);
        for (uint32_t i = random_.below(4); i > 0; i--) {
            const sHashElem *element = (own ? table_->cursor : cursor_).element;
            const bool served = cursor.id && cursor.bucket == bucket;
            EXPECT_EQ(get(HASH_OP_NEXT), served ? element->value : 0);
            if (served) model_.skip(cursor, 1);
        }
    }
    void check() {
        auto next = model_.held.begin();
        for (int32_t b = 0; b < model_.buckets; b++) {
            const auto others = std::max<ptrdiff_t>(model_.start_of(b + 1) - next, 1) - 1;
            ASSERT_EQ(table_->collisions[b], static_cast<uint32_t>(others)) << "bucket " << b;
            for (const sHashElem *element = table_->buckets[b]; element; element = element->next, ++next) {
                ASSERT_TRUE(next != model_.held.end() && next->bucket == b) << "bucket " << b;
                ASSERT_TRUE(Key(next->key, true).holds(*element)) << "bucket " << b << ", key " << next->key;
                ASSERT_EQ(element->value, next->value) << "bucket " << b << ", key " << next->key;
                ASSERT_EQ(table_->cursor.element == element, model_.own.id == next->id);
                ASSERT_EQ(cursor_.element == element, model_.callers.id == next->id);
            }
        }
        ASSERT_EQ(next, model_.held.end());
        ASSERT_EQ(std::tuple(HashEntries(table_), table_->max_collisions, table_->bucket_count, HashIsEmpty(table_)),
                  std::tuple(model_.entries, model_.max_collisions, model_.buckets, int{model_.held.empty()}));
        ASSERT_EQ(std::tuple(table_->cursor.bucket, !table_->cursor.element, cursor_.bucket, !cursor_.element),
                  std::tuple(model_.own.bucket, !model_.own.id, model_.callers.bucket, !model_.callers.id));
    }

    Random random_;
    sHash *table_;
    sHashCursor cursor_ = {};
    HashModel model_;
    bool failed_ = false;
};

}  // namespace quill::test
