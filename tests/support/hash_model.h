// Random operations on a hash table of any kind of key, followed by a plain model.
//
// A kind of key is a class Key, made from a number below kKeys and from whether it is to be stored or only searched
// for; it converts to what the table's functions take. Its members, besides what TableKey gives for most:
//
//     insert, insert_short, update, remove, find, present    the functions (present: for tables that test it by key)
//     uint32_t hash() const                                  what the bucket is chosen by
//     bool holds(const sHashElem &) const                    whether all fields of the element are those of the key
#pragma once

#include <gtest/gtest.h>
#include <quill/hash_keyed.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "hash/hash_table.h"
#include "support/random.h"

namespace quill::test {

// What hash_get_stats() gives.
inline std::string stats() {
    void *buffer;
    const uint32_t size = hash_get_stats(&buffer);
    std::string copy(static_cast<const char *>(buffer), size);
    free(buffer);
    return copy;
}

struct TableKey {
    static constexpr int kKeys = 40;
    static constexpr bool kZeroIsAbsent = false;  // insertion takes a key with the value 0 for absent
    static constexpr bool kUpdateInserts = true;
    static constexpr bool kSkipsN = true;

    quill_word short_value() const { return 0; }
    static sHash *create(int32_t buckets) { return _HashCreate(buckets, "model", 0); }
    static void destroy(sHash *table) { HashDestroy(table); }
    static void reset(sHash *table) { HashReset(table); }
    static constexpr auto get = HashGet;
    static constexpr auto get_r = HashGetR;
    static quill_word field(const sHashElem &element, uint32_t sel) {
        const quill_word fields[] = {element.value, element.key, reinterpret_cast<quill_word>(element.key_copy)};
        return sel < 3 ? fields[sel] : reinterpret_cast<quill_word>(element.key_bytes);
    }
    static bool key_bytes_are(const sHashElem &element, const void *bytes, size_t size) {
        uint8_t wanted[8] = {};
        memcpy(wanted, bytes, size);
        return memcmp(element.key_bytes, wanted, sizeof wanted) == 0;
    }
};

struct HashModel {
    struct Element {
        int key;
        quill_word value;
        int id;
    };
    struct Cursor {
        int32_t bucket;
        int id;  // of the element that comes next; 0 at the end
    };
    using Chain = std::vector<Element>;  // newest first

    explicit HashModel(int32_t buckets) : chains(static_cast<size_t>(buckets)) {}

    std::vector<Chain> chains;
    Cursor own = {}, callers = {};
    int32_t entries = 0, max_collisions = 0;
    int last_id = 0;

    Chain &chain(int32_t bucket) { return chains[static_cast<size_t>(bucket)]; }
    Element *find(int32_t bucket, int key) {
        for (Element &element : chain(bucket))
            if (element.key == key) return &element;
        return nullptr;
    }
    void insert(int32_t bucket, int key, quill_word value) {
        Chain &c = chain(bucket);
        max_collisions = std::max(max_collisions, static_cast<int32_t>(c.size()));
        c.insert(c.begin(), {key, value, ++last_id});
        entries++;
    }
    void erase(int32_t bucket, const Element *element) {
        if (own.id == element->id) own = {};
        chain(bucket).erase(chain(bucket).begin() + (element - chain(bucket).data()));
        entries--;
    }
    void first(Cursor &cursor) {
        cursor = {};
        for (int32_t b = 0; b < static_cast<int32_t>(chains.size()); b++)
            if (!chain(b).empty()) {
                cursor = {b, chain(b)[0].id};
                return;
            }
    }
    void advance(Cursor &cursor) {
        for (size_t i = 0; cursor.id && i + 1 < chain(cursor.bucket).size(); i++)
            if (chain(cursor.bucket)[i].id == cursor.id) {
                cursor.id = chain(cursor.bucket)[i + 1].id;
                return;
            }
        do cursor.bucket++;
        while (cursor.bucket < static_cast<int32_t>(chains.size()) && chain(cursor.bucket).empty());
        cursor.id = cursor.bucket < static_cast<int32_t>(chains.size()) ? chain(cursor.bucket)[0].id : 0;
    }
    void skip(Cursor &cursor, uint32_t steps) {
        if (!cursor.id) return;
        for (; steps > 0; steps--) advance(cursor);
    }
};

template <typename Key>
class HashSequence {
public:
    HashSequence(uint64_t seed, int32_t buckets)
        : random_(seed), buckets_(buckets), table_(Key::create(buckets)), model_(buckets) {}
    ~HashSequence() { Key::destroy(table_); }

    void step() {
        const int key = static_cast<int>(random_.below(Key::kKeys));
        const Key stored(key, true), searched(key, false);
        const quill_word value = random_.below(4);
        const auto bucket = static_cast<int32_t>(stored.hash() % static_cast<uint32_t>(buckets_));
        HashModel::Element *found = model_.find(bucket, key);
        switch (random_.below(12)) {
            case 0:
            case 1:
            case 2: {
                const bool shortly = random_.one_in(4);
                const bool accepted = !found || (Key::kZeroIsAbsent && found->value == 0);
                EXPECT_EQ(shortly ? Key::insert_short(table_, stored) : Key::insert(table_, stored, value), accepted);
                if (accepted) model_.insert(bucket, key, shortly ? stored.short_value() : value);
                break;
            }
            case 3:
                EXPECT_EQ(Key::update(table_, stored, value), found || Key::kUpdateInserts);
                if (found)
                    found->value = value;
                else if (Key::kUpdateInserts)
                    model_.insert(bucket, key, value);
                break;
            case 4:
            case 5: remove(searched, bucket, found); break;
            case 6:
                EXPECT_EQ(Key::find(table_, searched), found ? found->value : 0);
                if constexpr (!Key::kZeroIsAbsent) {
                    EXPECT_EQ(Key::present(table_, searched), found != nullptr);
                }
                break;
            case 7:
                if (random_.one_in(40)) reset();
                break;
            case 8: walk_bucket(static_cast<int32_t>(random_.below(static_cast<uint32_t>(buckets_)))); break;
            default: walk();
        }
        check();
    }

private:
    void remove(const Key &key, int32_t bucket, HashModel::Element *found) {
        EXPECT_EQ(Key::remove(table_, key), found != nullptr);
        if (!found) return;
        const bool under_callers = found->id == model_.callers.id;
        model_.erase(bucket, found);
        if (under_callers) restart();  // a caller's cursor must not stay on a removed element
    }
    // The count survives a reset, and of the table's own cursor the bucket.
    void reset() {
        Key::reset(table_);
        model_.own.id = 0;
        check(table_->cursor, model_.own);
        EXPECT_EQ(HashIsEmpty(table_), 1);
        for (HashModel::Chain &chain : model_.chains) chain.clear();
        model_.max_collisions = 0;
        restart();
    }
    void restart() {
        EXPECT_EQ(Key::get_r(table_, HASH_OP_FIRST, 1, &cursor_), 0u);
        model_.first(model_.callers);
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
        if (op == HASH_OP_FIRST) model_.first(cursor);
        if (op == HASH_OP_NEXT) model_.skip(cursor, 1);
        if (op == HASH_OP_SKIP_100) model_.skip(cursor, 100);
        if (op == HASH_OP_SKIP_N && Key::kSkipsN) model_.skip(cursor, sel);
    }
    void walk_bucket(int32_t bucket) {
        const bool own = random_.one_in(2);
        const auto get = [&](int op) {
            const auto b = static_cast<uint32_t>(bucket);
            return own ? HashGetFromBucket(table_, op, 0, b) : HashGetRFromBucket(table_, op, 0, b, &cursor_);
        };
        HashModel::Cursor &cursor = own ? model_.own : model_.callers;
        if (random_.one_in(3)) {
            EXPECT_EQ(get(HASH_OP_FIRST), 0u);
            cursor = {bucket, model_.chain(bucket).empty() ? 0 : model_.chain(bucket)[0].id};
        }
        EXPECT_EQ(get(HASH_OP_SKIP_100), 0u);
        for (uint32_t i = random_.below(4); i > 0; i--) {
            const sHashElem *element = (own ? table_->cursor : cursor_).element;
            const bool served = cursor.id && cursor.bucket == bucket;
            EXPECT_EQ(get(HASH_OP_NEXT), served ? element->value : 0);
            if (served) model_.advance(cursor);
        }
    }
    void check() {
        ASSERT_EQ(HashEntries(table_), model_.entries);
        ASSERT_EQ(table_->max_collisions, model_.max_collisions);
        ASSERT_EQ(table_->bucket_count, buckets_);
        size_t held = 0;
        for (int32_t b = 0; b < buckets_; b++) {
            const HashModel::Chain &chain = model_.chain(b);
            const sHashElem *element = table_->buckets[b];
            for (const HashModel::Element &wanted : chain) {
                ASSERT_NE(element, nullptr) << "bucket " << b;
                ASSERT_TRUE(Key(wanted.key, true).holds(*element)) << "bucket " << b << ", key " << wanted.key;
                ASSERT_EQ(element->value, wanted.value) << "bucket " << b << ", key " << wanted.key;
                ASSERT_EQ(table_->cursor.element == element, model_.own.id == wanted.id);
                ASSERT_EQ(cursor_.element == element, model_.callers.id == wanted.id);
                element = element->next;
            }
            ASSERT_EQ(element, nullptr) << "bucket " << b;
            ASSERT_EQ(table_->collisions[b], chain.empty() ? 0 : chain.size() - 1) << "bucket " << b;
            held += chain.size();
        }
        ASSERT_EQ(HashIsEmpty(table_), held == 0);
        check(table_->cursor, model_.own);
        check(cursor_, model_.callers);
    }
    static void check(const sHashCursor &cursor, const HashModel::Cursor &wanted) {
        ASSERT_EQ(cursor.bucket, wanted.bucket);
        ASSERT_EQ(cursor.element != nullptr, wanted.id != 0);
    }

    Random random_;
    int32_t buckets_;
    sHash *table_;
    sHashCursor cursor_ = {};
    HashModel model_;
};

template <typename Key>
void expect_model_followed() {
    for (const int32_t buckets : {1, 7, 300}) {
        HashSequence<Key> sequence(static_cast<uint64_t>(buckets), buckets);
        for (int i = 0; i < 4000 && !testing::Test::HasFailure(); i++) {
            SCOPED_TRACE(std::to_string(buckets) + " buckets, step " + std::to_string(i));
            sequence.step();
        }
    }
}

}  // namespace quill::test
