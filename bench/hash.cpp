// Hash tables: four kinds of keys, four kinds of work, three loads (elements a bucket). std::unordered_map gets the
// same load as the library, and also keeps its buckets from one run to the next. The tables of GLib and uthash choose
// their own load, and grow.
#include <glib.h>
#include <quill/address.h>
#include <quill/hash.h>
#include <quill/hash_keyed.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "bench.h"

#define HASH_NONFATAL_OOM 0
#include <uthash.h>

namespace {

using Mac = std::array<uint8_t, 6>;

// --- the kinds of keys: how they are made, and how users of the other tables hash them. std::unordered_map does not
// store a noexcept hash in its nodes, which are then smaller. The hash of a text takes long, so it is stored, as for
// std::string.

struct Words {
    using Key = quill_word;
    static constexpr const char *kName = "word";
    static Key make(uint32_t i) { return bench::scatter(i); }
    static quill_word find(const sHash *t, const Key &k) { return HashFind(t, k); }
    static int insert(sHash *t, const Key &k, quill_word v) { return HashInsertKeyAndValue(t, k, v); }
    static int remove(sHash *t, const Key &k) { return HashRemove(t, k); }
    using Hash = std::hash<Key>;
};

struct Macs {
    using Key = Mac;
    static constexpr const char *kName = "MAC";
    static Key make(uint32_t i) {
        const uint32_t k = bench::scatter(i);
        return {0,
                0x1b,
                static_cast<uint8_t>(k >> 24),
                static_cast<uint8_t>(k >> 16),
                static_cast<uint8_t>(k >> 8),
                static_cast<uint8_t>(k)};
    }
    static quill_word find(const sHash *t, const Key &k) { return HashMacFind(t, k.data()); }
    static int insert(sHash *t, const Key &k, quill_word v) { return HashMacInsertKeyAndValue(t, k.data(), v); }
    static int remove(sHash *t, const Key &k) { return HashMacRemove(t, k.data()); }
    struct Hash {
        size_t operator()(const Key &k) const noexcept {
            uint32_t low;  // read with two loads, because a copy into one word would wait for its store
            uint16_t high;
            memcpy(&low, k.data(), sizeof low);
            memcpy(&high, k.data() + sizeof low, sizeof high);
            const uint64_t bits = low | uint64_t{high} << 32;
            return (bits * 0x9e3779b97f4a7c15u) >> 32;
        }
    };
    static guint glib_hash(gconstpointer k) { return static_cast<guint>(Hash()(*static_cast<const Key *>(k))); }
};

struct Addresses {
    struct Key : ip_af_addr {
        bool operator==(const Key &other) const { return memcmp(this, &other, sizeof *this) == 0; }
    };
    static constexpr const char *kName = "IP";
    static Key make(uint32_t i) {
        Key key = {};
        const uint32_t bits = bench::scatter(i);
        key.family = i % 2 ? QUILL_AF_INET6 : QUILL_AF_INET;
        if (i % 2) memcpy(key.addr, "\x20\x01\x0d\xb8", 4);
        memcpy(key.addr + (i % 2 ? 12 : 0), &bits, sizeof bits);
        return key;
    }
    static quill_word find(const sHash *t, const Key &k) { return HashIpAfAddrFind(t, &k); }
    static int insert(sHash *t, const Key &k, quill_word v) { return HashIpAfAddrInsertKeyAndValue(t, &k, v); }
    static int remove(sHash *t, const Key &k) { return HashIpAfAddrRemove(t, &k); }
    struct Hash {
        size_t operator()(const Key &k) const noexcept {
            uint64_t halves[2];
            memcpy(halves, k.addr, sizeof halves);
            return ((halves[0] ^ (halves[1] * 31)) * 0x9e3779b97f4a7c15u) >> 32;
        }
    };
    static guint glib_hash(gconstpointer k) { return static_cast<guint>(Hash()(*static_cast<const Key *>(k))); }
};

struct Texts {
    using Key = std::array<char, 24>;
    static constexpr const char *kName = "text";
    static Key make(uint32_t i) {
        Key key = {};
        mac_to_str_r(Macs::make(i).data(), key.data(), 0);
        return key;
    }
    static quill_word find(const sHash *t, const Key &k) { return HashStringFind(t, k.data()); }
    static int insert(sHash *t, const Key &k, quill_word v) { return HashStringInsertKeyAndValue(t, k.data(), v); }
    static int remove(sHash *t, const Key &k) { return HashStringRemove(t, k.data()); }
    struct Hash {
        size_t operator()(const Key &k) const { return std::hash<std::string_view>()(k.data()); }
    };
    static guint glib_hash(gconstpointer k) { return g_str_hash(k); }
};

template <typename Kind>
size_t key_size(const typename Kind::Key &key) {
    if constexpr (std::is_same_v<Kind, Texts>)
        return strlen(key.data());
    else
        return sizeof key;
}

// --- the tables

template <typename Kind>
class Quill {
public:
    Quill(size_t n, double load)
        : table_(_HashCreate(static_cast<int32_t>(static_cast<double>(n) / load) | 1, "", 0)) {}
    Quill(const Quill &) = delete;
    ~Quill() { HashDestroy(table_); }
    bool insert(const typename Kind::Key &key, uint32_t value) { return Kind::insert(table_, key, value) != 0; }
    uint64_t find(const typename Kind::Key &key) { return Kind::find(table_, key); }
    bool remove(const typename Kind::Key &key) { return Kind::remove(table_, key) != 0; }

private:
    sHash *table_;
};

template <typename Kind>
class Std {
public:
    Std(size_t n, double load) {
        map_.max_load_factor(static_cast<float>(load));
        map_.rehash(static_cast<size_t>(static_cast<double>(n) / load));
    }
    bool insert(const typename Kind::Key &key, uint32_t value) { return map_.emplace(key, value).second; }
    uint64_t find(const typename Kind::Key &key) {
        const auto at = map_.find(key);
        return at == map_.end() ? 0 : at->second;
    }
    bool remove(const typename Kind::Key &key) { return map_.erase(key) != 0; }

private:
    std::unordered_map<typename Kind::Key, uint32_t, typename Kind::Hash> map_;
};

// Users of GHashTable store words in the key pointer, and copy other keys to the heap.
template <typename Kind>
class GLib {
public:
    GLib(size_t, double) : table_(create()) {}
    GLib(const GLib &) = delete;
    ~GLib() { g_hash_table_destroy(table_); }
    bool insert(const typename Kind::Key &key, uint32_t value) {
        return g_hash_table_insert(table_, kept(key), GUINT_TO_POINTER(value));
    }
    uint64_t find(const typename Kind::Key &key) {
        return GPOINTER_TO_UINT(g_hash_table_lookup(table_, searched(key)));
    }
    bool remove(const typename Kind::Key &key) { return g_hash_table_remove(table_, searched(key)); }

private:
    static constexpr bool kInPointer = std::is_same_v<Kind, Words>;
    static GHashTable *create() {
        if constexpr (kInPointer)
            return g_hash_table_new(nullptr, nullptr);  // g_direct_hash and ==, both inlined
        else
            return g_hash_table_new_full(Kind::glib_hash, equal, free, nullptr);
    }
    static void *kept(const typename Kind::Key &key) {
        if constexpr (kInPointer) {
            return GSIZE_TO_POINTER(key);
        } else {
            void *copy = malloc(sizeof key);
            memcpy(copy, &key, sizeof key);
            return copy;
        }
    }
    static const void *searched(const typename Kind::Key &key) {
        if constexpr (kInPointer)
            return GSIZE_TO_POINTER(key);
        else
            return &key;
    }
    static gboolean equal(gconstpointer a, gconstpointer b) {
        using Key = typename Kind::Key;
        return *static_cast<const Key *>(a) == *static_cast<const Key *>(b);
    }
    GHashTable *table_;
};

template <typename Kind>
class Uthash {
public:
    Uthash(size_t, double) {}
    Uthash(const Uthash &) = delete;
    ~Uthash() {
        Entry *entry, *next;
        HASH_ITER(hh, entries_, entry, next) {
            HASH_DEL(entries_, entry);
            free(entry);
        }
    }
    bool insert(const typename Kind::Key &key, uint32_t value) {
        const size_t size = key_size<Kind>(key);
        unsigned hash;
        Entry *entry;
        HASH_VALUE(&key, size, hash);
        HASH_FIND_BYHASHVALUE(hh, entries_, &key, size, hash, entry);
        if (entry) return false;
        entry = static_cast<Entry *>(malloc(sizeof(Entry)));
        entry->key = key;
        entry->value = value;
        HASH_ADD_KEYPTR_BYHASHVALUE(hh, entries_, &entry->key, size, hash, entry);
        return true;
    }
    uint64_t find(const typename Kind::Key &key) {
        const Entry *entry = lookup(key);
        return entry ? entry->value : 0;
    }
    bool remove(const typename Kind::Key &key) {
        Entry *entry = lookup(key);
        if (!entry) return false;
        HASH_DEL(entries_, entry);
        free(entry);
        return true;
    }

private:
    struct Entry {
        typename Kind::Key key;
        uint32_t value;
        UT_hash_handle hh;
    };
    Entry *lookup(const typename Kind::Key &key) {
        Entry *entry;
        HASH_FIND(hh, entries_, &key, key_size<Kind>(key), entry);
        return entry;
    }
    Entry *entries_ = nullptr;
};

// The library's algorithm for texts, written in the benchmark itself so that it is inlined: a hash like Pearson's, of
// eight bits, and chains.
template <typename Kind>
class WrittenOut {
public:
    WrittenOut(size_t n, double load) : buckets_(static_cast<size_t>(static_cast<double>(n) / load) | 1) {}
    WrittenOut(const WrittenOut &) = delete;
    ~WrittenOut() {
        for (Node *&bucket : buckets_)
            while (bucket) take(&bucket);
    }
    bool insert(const typename Kind::Key &key, uint32_t value) {
        Node *&bucket = bucket_of(key);
        if (*place_of(&bucket, key)) return false;
        bucket = new Node{bucket, strdup(key.data()), value};
        return true;
    }
    uint64_t find(const typename Kind::Key &key) {
        const Node *node = *place_of(&bucket_of(key), key);
        return node ? node->value : 0;
    }
    bool remove(const typename Kind::Key &key) {
        Node **place = place_of(&bucket_of(key), key);
        if (!*place) return false;
        take(place);
        return true;
    }

private:
    struct Node {
        Node *next;
        char *key;
        uint32_t value;
    };
    Node *&bucket_of(const typename Kind::Key &key) {
        uint8_t hash = 0;
        for (const char *c = key.data(); *c; c++) hash = permutation_[hash ^ static_cast<uint8_t>(*c)];
        return buckets_[hash % buckets_.size()];
    }
    static Node **place_of(Node **place, const typename Kind::Key &key) {
        while (*place && strcmp((*place)->key, key.data()) != 0) place = &(*place)->next;
        return place;
    }
    static void take(Node **place) {
        Node *node = std::exchange(*place, (*place)->next);
        free(node->key);
        delete node;
    }
    std::vector<Node *> buckets_;
    std::array<uint8_t, 256> permutation_ = [] {
        std::array<uint8_t, 256> permutation;
        const std::vector<uint32_t> order = bench::shuffled(permutation.size());
        std::copy(order.begin(), order.end(), permutation.begin());
        return permutation;
    }();
};

// --- the work

template <typename Kind, template <typename> class Table>
struct Bed {
    std::vector<typename Kind::Key> keys, absent;  // keys in the order of insertion, and keys that are not in the table
    std::vector<uint32_t> order;
    size_t n;
    double load;
    std::unique_ptr<Table<Kind>> table;

    Bed(size_t count, double wanted_load) : order(bench::shuffled(count)), n(count), load(wanted_load) {
        for (uint32_t i = 0; i < n; i++) keys.push_back(Kind::make(i));
        for (uint32_t i = 0; i < n; i++) absent.push_back(Kind::make(static_cast<uint32_t>(n) + i));
        empty();
    }
    void empty() { table = std::make_unique<Table<Kind>>(n, load); }
    uint64_t fill() {
        uint64_t added = 0;
        for (uint32_t i = 0; i < n; i++) added += table->insert(keys[i], i + 1);
        return added;
    }
    uint64_t find(const std::vector<typename Kind::Key> &searched) {
        uint64_t sum = 0;
        for (const uint32_t i : order) sum += table->find(searched[i]);
        return sum;
    }
    uint64_t remove() {
        uint64_t removed = 0;
        for (const uint32_t i : order) removed += table->remove(keys[i]);
        return removed;
    }
};

template <typename Kind, template <typename> class Table>
void add_table(const char *contender, size_t n, double load, const std::string &title) {
    using B = Bed<Kind, Table>;
    const auto row = [&](const char *work, auto prepare) {
        bench::add("hash table: " + std::string(work) + ", " + Kind::kName + title, contender, n, n,
                   [=] { return prepare(std::make_shared<B>(n, load)); });
    };
    row("insert", [](auto bed) { return bench::Work{[bed] { return bed->fill(); }, [bed] { bed->remove(); }}; });
    row("find hit", [](auto bed) {
        bed->fill();
        return bench::Work{[bed] { return bed->find(bed->keys); }};
    });
    row("find miss", [](auto bed) {
        bed->fill();
        return bench::Work{[bed] { return bed->find(bed->absent); }};
    });
    row("remove", [](auto bed) { return bench::Work{[bed] { return bed->remove(); }, [bed] { bed->fill(); }}; });
}

template <typename Kind>
void add_kind(size_t n, double load, const std::string &title) {
    add_table<Kind, Quill>("quill", n, load, title);
    add_table<Kind, Uthash>("uthash", n, load, title);
    add_table<Kind, GLib>("GHashTable", n, load, title);
    add_table<Kind, Std>("std::unordered_map", n, load, title);
    if constexpr (std::is_same_v<Kind, Texts>) add_table<Kind, WrittenOut>("written out", n, load, title);
}

const bool added = [] {
    for (const auto &[load, title] : {std::pair(0.5, ", load 0.5"), {1, ", load 1"}, {4, ", load 4"}}) {
        for (const size_t n : {1000u, 100000u}) {
            add_kind<Words>(n, load, title);
            add_kind<Macs>(n, load, title);
            add_kind<Addresses>(n, load, title);
            add_kind<Texts>(n, load, title);
        }
        add_kind<Texts>(256, load, title);
    }
    // A process can have at most 100,000 elements, so there are no rows with more.
    for (const size_t n : {100u, 10000u}) add_kind<Words>(n, 1, ", load 1");
    return true;
}();

}  // namespace
