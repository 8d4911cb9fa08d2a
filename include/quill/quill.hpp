/* quill/quill.hpp: owners, ranges and messages for C++17, over the C interface.
 *
 * Each class owns one handle of the C interface and calls that interface. The classes store no second copy of the data,
 * and after optimisation only the calls remain. The header needs no exceptions and no run-time type information. Of the
 * C++ library it needs only the headers. The C functions may be used together with the classes: get() gives the handle,
 * and the text of the C header applies.
 *
 *     quill::mac_table<session *> sessions(101);
 *     sessions.set(mac, s);
 *     if (std::optional<session *> found = sessions.find(mac)) serve(**found);
 *     for (auto [mac, s] : sessions) print(mac, *s);
 *
 * Failure     Creation may run out of memory. The object then converts to false. So does an object that was moved from.
 *             Such an object may only be tested, assigned to, and destroyed.
 * Ownership   The program owns the objects that it stores in lists, tables and sets ("kept" in the C headers). No class
 *             frees them.
 * Ranges      The body of a loop over a list or a hash table may remove the current element, and no other.
 * Threads     As in the C headers: one object is used by one thread at a time. Copies of a vlan_set count as one
 *             object.
 */
#ifndef QUILL_QUILL_HPP
#define QUILL_QUILL_HPP

#include <quill/message.h>
#include <quill/quill.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace quill {

/* handle<Type, release> is a std::unique_ptr for what the C interface creates; the function release frees it. */
template <auto release>
struct releaser {
    template <typename Type>
    void operator()(Type *taken) const {
        release(taken);
    }
};
template <typename Type, auto release>
using handle = std::unique_ptr<Type, releaser<release>>;

/* log_handle owns a component log: quill::log_handle log(CreateLog(…)), then QuillLog(log.get(), …). */
using log_handle = handle<LogHandle, DestroyLog>;

/* walk_iterator makes an input iterator of a Cursor. get() returns the value at the cursor, and step() moves the cursor
 * to the next value. is_at() returns whether two cursors are at the same place. */
template <typename Cursor>
class walk_iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using reference = decltype(std::declval<const Cursor &>().get());
    using value_type = std::remove_cv_t<std::remove_reference_t<reference>>;
    using difference_type = std::ptrdiff_t;
    using pointer = void;

    walk_iterator() = default;
    explicit walk_iterator(Cursor cursor) : cursor_(cursor) {}
    reference operator*() const { return cursor_.get(); }
    walk_iterator &operator++() {
        cursor_.step();
        return *this;
    }
    walk_iterator operator++(int) {
        walk_iterator before = *this;
        cursor_.step();
        return before;
    }
    friend bool operator==(const walk_iterator &a, const walk_iterator &b) { return a.cursor_.is_at(b.cursor_); }
    friend bool operator!=(const walk_iterator &a, const walk_iterator &b) { return !(a == b); }

private:
    Cursor cursor_ = {};
};

/* --- VLAN sets (quill/vmap.h) */

/* vlan_set is a set of VLAN ids. It never contains an id above 4095. A copy shares the map until one of the two is
 * changed. The functions that change the set return false, with the set unchanged, when a copy was needed and memory
 * ran out. */
class vlan_set {
    struct cursor {
        uint16_t get() const { return static_cast<uint16_t>(id); }
        void step() {
            for (++id; id <= VMAP_LAST_ID; id = (id | 31) + 1) {
                const uint32_t rest = map->words[id / 32] >> id % 32;
                if (rest == 0) continue;
                id += static_cast<uint32_t>(__builtin_ctz(rest));
                break;
            }
            if (id > VMAP_LAST_ID) id = VMAP_LAST_ID + 1;
        }
        bool is_at(const cursor &other) const { return id == other.id; }

        const vmap *map = nullptr;
        uint32_t id = 0;
    };

public:
    using iterator = walk_iterator<cursor>;

    /* Creates an empty set. */
    vlan_set() : map_(vmap_alloc()) {}
    /* Creates the set of a range text such as "1-10,20". The object converts to false for a null or invalid text. */
    explicit vlan_set(const char *text) : map_(vmap_from_string(text)) {}
    explicit vlan_set(std::nullptr_t) : map_(nullptr) {}
    /* Takes over a reference that the program owns. */
    explicit vlan_set(vmap *taken) : map_(taken) {}
    vlan_set(const vlan_set &other) : map_(other.map_ ? vmap_clone(other.map_) : nullptr) {}
    vlan_set(vlan_set &&other) noexcept : map_(std::exchange(other.map_, nullptr)) {}
    vlan_set &operator=(vlan_set other) noexcept {
        std::swap(map_, other.map_);
        return *this;
    }
    ~vlan_set() { vmap_free(map_); }

    explicit operator bool() const { return map_ != nullptr; }
    vmap *get() const { return map_; }

    [[nodiscard]] bool add(int32_t id) { return add(id, id); }
    [[nodiscard]] bool add(int32_t first, int32_t last) { return vmap_add_range(&map_, first, last) != 0; }
    [[nodiscard]] bool remove(int32_t id) { return remove(id, id); }
    [[nodiscard]] bool remove(int32_t first, int32_t last) { return vmap_delete_range(&map_, first, last) != 0; }
    [[nodiscard]] bool merge(const vlan_set &other) { return vmap_merge(&map_, other.map_) != 0; }
    [[nodiscard]] bool exclude(const vlan_set &other) { return vmap_exclude(&map_, other.map_) != 0; }
    [[nodiscard]] bool invert() { return vmap_invert(&map_) != 0; }
    /* Other holders of a shared map keep their ids. clear does not call vmap_clear for a shared map, because that would
     * leave one reference too many. */
    [[nodiscard]] bool clear() {
        if (map_->references == 1) return vmap_clear(&map_) != 0;
        vlan_set none;
        if (!none) return false;
        std::swap(map_, none.map_);
        return true;
    }

    bool empty() const { return vmap_is_empty(map_) != 0; }
    bool contains(uint32_t id) const { return id <= VMAP_LAST_ID && (map_->words[id / 32] >> id % 32 & 1) != 0; }
    /* Returns the range text, or "0" for an empty set. The text is borrowed until the set changes. Returns null when
     * memory ran out. */
    const char *text() const { return vmap_to_string(map_); }
    /* begin() and end() give the ids from 1 to 4094 in ascending order. */
    iterator begin() const {
        cursor first{map_, 0};
        first.step();
        return iterator(first);
    }
    iterator end() const { return iterator(cursor{map_, VMAP_LAST_ID + 1}); }

    friend bool operator==(const vlan_set &a, const vlan_set &b) { return vmap_compare(a.map_, b.map_) == 0; }
    friend bool operator!=(const vlan_set &a, const vlan_set &b) { return !(a == b); }

private:
    vmap *map_;
};

/* --- The list (quill/list.h) */

/* list<T> is a list of pointers to T. */
template <typename T>
class list {
    struct cursor {
        T *get() const { return object; }
        void step() { object = from_word(ListGetR(owner, LIST_OP_NEXT, &next)); }
        bool is_at(const cursor &other) const { return object == other.object && next == other.next; }

        const sList *owner = nullptr;
        sListNode *next = nullptr; /* read ahead, because the loop may remove the object */
        T *object = nullptr;
    };

public:
    using iterator = walk_iterator<cursor>;

    list() : list_(ListCreate()) {}
    explicit operator bool() const { return list_ != nullptr; }
    sList *get() const { return list_.get(); }

    /* These functions insert a pointer that is not null. They return false when memory ran out. */
    [[nodiscard]] bool push_back(T *object) { return ListInsert(get(), untyped(object)) != 0; }
    [[nodiscard]] bool push_front(T *object) { return ListInsertAt(get(), untyped(object), nullptr) != 0; }
    /* Also returns false when anchor is not in the list. */
    [[nodiscard]] bool insert_after(const T *anchor, T *object) {
        return anchor && ListInsertAt(get(), untyped(object), anchor) != 0;
    }
    [[nodiscard]] bool insert_sorted(T *object, ListCompare compare) {
        return ListInsertSorted(get(), untyped(object), compare) != 0;
    }
    /* Moves all objects of other to the end of this list. other then converts to false, as after a move. */
    void append(list &&other) { ListAppend(get(), other.list_.release()); }

    /* Returns false when object is not in the list. */
    bool remove(const T *object) { return ListRemove(get(), object) != 0; }
    /* Returns null for an empty list, as front and back do. */
    T *pop_front() { return static_cast<T *>(ListGetAndRemoveHead(get())); }
    void clear() { ListReinit(get()); }

    T *front() const { return end_object(LIST_OP_HEAD); }
    T *back() const { return end_object(LIST_OP_TAIL); }
    bool contains(const T *object) const { return ListExists(get(), object) != 0; }
    uint32_t size() const { return ListEntries(get()); }
    bool empty() const { return size() == 0; }
    iterator begin() const {
        cursor first{get(), nullptr, nullptr};
        ListGetR(get(), LIST_OP_FIRST, &first.next);
        first.step();
        return iterator(first);
    }
    iterator end() const { return iterator(cursor{get(), nullptr, nullptr}); }

private:
    static void *untyped(T *object) { return const_cast<std::remove_cv_t<T> *>(object); }
    static T *from_word(quill_word word) { return reinterpret_cast<T *>(word); }
    T *end_object(int op) const {
        sListNode *unused = nullptr;
        return from_word(ListGetR(get(), op, &unused));
    }

    handle<sList, ListDestroy> list_;
};

/* --- Hash tables (quill/hash.h and quill/hash_keyed.h) */

/* Each of these types contains the functions of the C interface for one kind of key. plain_keys contains what all kinds
 * except ip_keys share. */
struct plain_keys {
    static constexpr auto destroy = HashDestroy;
    static constexpr auto get = HashGetR;
};
struct word_keys : plain_keys {
    using key = quill_word;
    static constexpr auto find = HashFind;
    static constexpr auto insert = HashInsertKeyAndValue;
    static constexpr auto remove = HashRemove;
    static constexpr uint32_t selector = HASH_SEL_KEY;
    /* The C functions cannot distinguish a value of 0 from an absent key. */
    static bool contains(const sHash *table, key k) { return HashFind(table, k) != 0; }
    static int set(sHash *table, key k, quill_word value) {
        return HashUpdateKeyAndValue(table, k, value) ? 1 : HashInsertKeyAndValue(table, k, value);
    }
};
struct text_keys : plain_keys {
    using key = const char *;
    static constexpr auto find = HashStringFind;
    static constexpr auto contains = HashIsStringPresent;
    static constexpr auto insert = HashStringInsertKeyAndValue;
    static constexpr auto set = HashStringUpdateKeyAndValue;
    static constexpr auto remove = HashStringRemove;
    static constexpr uint32_t selector = HASH_SEL_KEY_COPY;
};
struct mac_keys : plain_keys {
    using key = const uint8_t *;
    static constexpr auto find = HashMacFind;
    static constexpr auto contains = HashIsMacPresent;
    static constexpr auto insert = HashMacInsertKeyAndValue;
    static constexpr auto set = HashMacUpdateKeyAndValue;
    static constexpr auto remove = HashMacRemove;
    static constexpr uint32_t selector = HASH_SEL_KEY_BYTES;
};
struct ip_keys {
    using key = const ip_af_addr *;
    static constexpr auto find = HashIpAfAddrFind;
    static constexpr auto contains = HashIsIpAfAddrPresent;
    static constexpr auto insert = HashIpAfAddrInsertKeyAndValue;
    static constexpr auto set = HashIpAfAddrUpdateKeyAndValue;
    static constexpr auto remove = HashIpAfAddrRemove;
    static constexpr auto destroy = HashDestroyIpAf;
    static constexpr auto get = HashIpAfGetR;
    static constexpr uint32_t selector = HASH_SEL_ADDRESS;
};

/* hash_table<Keys, Value> maps keys to values. A value is a pointer, or a number of at most a word. Programs use
 * word_table, text_table, mac_table and ip_table, below. A word_table refuses the value 0. */
template <typename Keys, typename Value>
class hash_table {
    static_assert(sizeof(Value) <= sizeof(quill_word), "a value is at most a word");
    static_assert(!std::is_floating_point_v<Value>, "a value is a pointer or a whole number");
    using key_type = typename Keys::key;

    struct cursor {
        std::pair<key_type, Value> get() const { return entry; }
        void step() {
            element = next.element;
            if (!element) return;
            sHashCursor again = next;
            entry.first = from_word<key_type>(Keys::get(owner, HASH_OP_NEXT, Keys::selector, &again));
            entry.second = from_word<Value>(Keys::get(owner, HASH_OP_NEXT, HASH_SEL_VALUE, &next));
        }
        bool is_at(const cursor &other) const { return element == other.element; }

        const sHash *owner = nullptr;
        const sHashElem *element = nullptr;
        sHashCursor next = {}; /* read ahead, because the loop may remove the element */
        std::pair<key_type, Value> entry = {};
    };

public:
    using iterator = walk_iterator<cursor>;

    /* Creates a table with the given number of buckets, 1 or more. A prime near the number of keys spreads the keys
     * best. Statistics show the table under name. The default is the name of the function that creates the table. */
    explicit hash_table(int32_t buckets, const char *name = __builtin_FUNCTION(), int line = __builtin_LINE())
        : table_(_HashCreate(buckets, name, line)) {}
    explicit operator bool() const { return table_ != nullptr; }
    sHash *get() const { return table_.get(); }

    /* Returns the value of key, or no value when key is absent. */
    std::optional<Value> find(key_type key) const {
        const quill_word word = Keys::find(get(), key);
        if (word == 0 && !contains(key)) return std::nullopt;
        return from_word<Value>(word);
    }
    bool contains(key_type key) const { return Keys::contains(get(), key) != 0; }
    /* Inserts an absent key. Returns false when the key is present, or memory ran out. */
    [[nodiscard]] bool insert(key_type key, Value value) {
        return is_storable(value) && Keys::insert(get(), key, to_word(value)) != 0;
    }
    /* Inserts the key, or replaces its value. Returns false when memory ran out. */
    [[nodiscard]] bool set(key_type key, Value value) {
        return is_storable(value) && Keys::set(get(), key, to_word(value)) != 0;
    }
    /* Returns false when the key is absent. */
    bool remove(key_type key) { return Keys::remove(get(), key) != 0; }

    int32_t size() const { return HashEntries(get()); }
    bool empty() const { return size() == 0; }
    /* begin() and end() give the entries as pairs of key and value. The keys are the table's own copies. */
    iterator begin() const {
        cursor first;
        first.owner = get();
        Keys::get(get(), HASH_OP_FIRST, 0, &first.next);
        first.step();
        return iterator(first);
    }
    iterator end() const { return iterator(); }

private:
    template <typename To>
    static To from_word(quill_word word) {
        if constexpr (std::is_pointer_v<To>)
            return reinterpret_cast<To>(word);
        else
            return static_cast<To>(word);
    }
    static quill_word to_word(Value value) {
        if constexpr (std::is_pointer_v<Value>)
            return reinterpret_cast<quill_word>(value);
        else
            return static_cast<quill_word>(value);
    }
    static bool is_storable(Value value) { return !std::is_same_v<Keys, word_keys> || to_word(value) != 0; }

    handle<sHash, Keys::destroy> table_;
};

template <typename Value>
using word_table = hash_table<word_keys, Value>;
template <typename Value>
using text_table = hash_table<text_keys, Value>; /* keys are texts, copied */
template <typename Value>
using mac_table = hash_table<mac_keys, Value>; /* keys are pointers to the 6 bytes of a MAC address, copied */
template <typename Value>
using ip_table = hash_table<ip_keys, Value>; /* keys are pointers to addresses with their family, copied */

/* --- Index tables (quill/idx_table.h) */

/* index_table allocates the indices from first to last, both included. It converts to false for a range that is too
 * large. */
class index_table {
public:
    index_table(uint32_t first, uint32_t last) : table_(idx_table_create(first, last)) {}
    explicit operator bool() const { return table_ != nullptr; }
    idx_table *get() const { return table_.get(); }

    /* Takes the free index nearest to first. Returns no value when all indices are taken. */
    [[nodiscard]] std::optional<uint16_t> take() {
        uint16_t index;
        if (idx_table_index_alloc(get(), &index) != 0) return std::nullopt;
        return index;
    }
    /* Takes the given index. Returns false when the index is already taken, or outside the range. */
    [[nodiscard]] bool reserve(uint32_t index) { return idx_table_index_reserve(get(), index) == 0; }
    /* Frees a taken index. Returns false when the index is outside the range. An index that is already free breaks the
     * contract. */
    bool release(uint32_t index) { return idx_table_index_free(get(), index) == 0; }

private:
    handle<idx_table, idx_table_free> table_;
};

/* --- Trees (quill/savl.h, quill/savle.h, quill/rbtree.h) */

/* in_order<T, offset>(tree) walks the records of an AVL tree in the order of their keys. offset is the node's offset in
 * the record:
 *
 *     for (station &s : quill::in_order<station, offsetof(station, by_id)>(stations)) print(s);
 *
 * The body of the loop may delete the current record. */
template <typename T, typename Node, size_t offset>
class record_range {
    struct cursor {
        T &get() const { return *static_cast<T *>(static_cast<void *>(reinterpret_cast<char *>(&*node) - offset)); }
        void step() { ++node; }
        bool is_at(const cursor &other) const { return node == other.node; }

        typename tree_range<Node>::iterator node;
    };

public:
    using iterator = walk_iterator<cursor>;

    explicit record_range(tree_range<Node> nodes) : nodes_(nodes) {}
    iterator begin() const { return iterator(cursor{nodes_.begin()}); }
    iterator end() const { return iterator(cursor{nodes_.end()}); }

private:
    tree_range<Node> nodes_;
};
template <typename T, size_t offset>
record_range<T, savl, offset> in_order(savl_tree &tree) {
    return record_range<T, savl, offset>(in_order(tree));
}
template <typename T, size_t offset>
record_range<T, savle, offset> in_order(savle_tree &tree) {
    return record_range<T, savle, offset>(in_order(tree));
}

/* rb_set<T, compare> is an ordered set of pointers to T. compare(a, b) is negative, 0 or positive. Nothing may be
 * inserted or removed during a walk. */
template <typename T, int (*compare)(const T &, const T &)>
class rb_set {
    struct cursor {
        T &get() const { return *static_cast<T *>(node->key); }
        void step() {
            const rb_node *below = node;
            if (node->right != &rb_null) return descend(node->right);
            for (node = node->up; node != &rb_null && below == node->right; node = node->up) below = node;
        }
        void descend(const rb_node *top) {
            for (node = top; node->left != &rb_null;) node = node->left;
        }
        bool is_at(const cursor &other) const { return node == other.node; }

        const rb_node *node = &rb_null;
    };

public:
    using iterator = walk_iterator<cursor>;

    rb_set() : tree_(rbinit(order, nullptr)) {}
    explicit operator bool() const { return tree_ != nullptr; }
    rb_tree *get() const { return tree_.get(); }

    /* Inserts object, unless an equal object is present. Returns the object that is then in the set, or null when
     * memory ran out. */
    [[nodiscard]] T *insert(T *object) { return typed(rbsearch(object, get())); }
    /* Removes the object that is equal to key and returns it. Returns null when no such object is present, as the
     * functions below do. */
    T *remove(const T &key) { return typed(rbdelete(&key, get())); }
    T *find(const T &key) const { return typed(rbfind(&key, get())); }
    /* These functions return the nearest object. above and below do not return an object that is equal to key. */
    T *at_least(const T &key) const { return typed(rblookup(RB_LOOKUP_AT_LEAST, &key, get())); }
    T *at_most(const T &key) const { return typed(rblookup(RB_LOOKUP_AT_MOST, &key, get())); }
    T *above(const T &key) const { return typed(rblookup(RB_LOOKUP_ABOVE, &key, get())); }
    T *below(const T &key) const { return typed(rblookup(RB_LOOKUP_BELOW, &key, get())); }

    bool empty() const { return get()->root == &rb_null; }
    iterator begin() const {
        cursor first;
        first.descend(get()->root);
        return iterator(first);
    }
    iterator end() const { return iterator(); }

private:
    static int order(const void *a, const void *b, void *) {
        return compare(*static_cast<const T *>(a), *static_cast<const T *>(b));
    }
    static T *typed(void *object) { return static_cast<T *>(object); }
    static void terminate(rb_tree *tree) { rbterminate(tree, 0); }

    handle<rb_tree, terminate> tree_;
};

/* --- Pipes (quill/pipe.h) */

/* pipe_stream is a shell command at the other end of a stream. It converts to false, and errno is set, when the command
 * was not started. The destructor closes the stream and waits for the command. An assignment does the same with the old
 * command. */
class pipe_stream {
public:
    pipe_stream(const char *command, const char *mode) { stream_ = quill_popen_thr(command, mode, &child_); }
    pipe_stream(pipe_stream &&other) noexcept : stream_(std::exchange(other.stream_, nullptr)), child_(other.child_) {}
    pipe_stream &operator=(pipe_stream other) noexcept {
        std::swap(stream_, other.stream_);
        std::swap(child_, other.child_);
        return *this;
    }
    ~pipe_stream() {
        if (stream_) close();
    }
    explicit operator bool() const { return stream_ != nullptr; }
    FILE *get() const { return stream_; }

    /* Closes the stream and waits for the command. Returns its status, or -1 with errno. */
    int close() { return quill_pclose_thr(std::exchange(stream_, nullptr), child_); }

private:
    FILE *stream_;
    int child_ = -1;
};

/* --- Messages (quill/message.h) */

/* message_reader reads the elements of a message into variables and has one check of failure, at the end:
 *
 *     quill::message_reader in(message, length);
 *     in.mac("station", mac).u32("vlan", vlan).check(vlan <= VMAP_LAST_ID);
 *     if (!in.end()) QuillLog(log, QUILL_LEVEL_WARNING, "%s at offset %u refused", in.what(), in.offset()); */
class message_reader {
public:
    message_reader(const void *message, uint32_t length) : in_(quill_reader_init(message, length)) {}

    message_reader &u8(const char *what, uint8_t &out) { return then(quill_read_u8, what, &out); }
    message_reader &u16(const char *what, uint16_t &out) { return then(quill_read_u16, what, &out); }
    message_reader &u32(const char *what, uint32_t &out) { return then(quill_read_u32, what, &out); }
    message_reader &u64(const char *what, uint64_t &out) { return then(quill_read_u64, what, &out); }
    message_reader &s32(const char *what, int32_t &out) { return then(quill_read_s32, what, &out); }
    message_reader &boolean(const char *what, bool &out) {
        uint8_t truth = 2; /* out may have no value yet */
        quill_read_bool(&in_, what, &truth);
        if (truth != 2) out = truth != 0;
        return *this;
    }
    message_reader &ip(const char *what, uint32_t &out) { return then(quill_read_ip, what, &out); }
    message_reader &ip_af(const char *what, ip_af_addr &out) { return then(quill_read_ip_af, what, &out); }
    message_reader &ipv6(const char *what, uint8_t (&out)[16]) { return then(quill_read_ipv6, what, out); }
    message_reader &ipv6(const char *what, std::array<uint8_t, 16> &out) {
        return then(quill_read_ipv6, what, out.data());
    }
    message_reader &mac(const char *what, uint8_t (&out)[6]) { return then(quill_read_mac, what, out); }
    message_reader &mac(const char *what, std::array<uint8_t, 6> &out) {
        return then(quill_read_mac, what, out.data());
    }
    /* Texts and data are refused when they do not fit in the array, or in the capacity bytes at out. */
    message_reader &str(const char *what, char *out, uint32_t capacity) {
        return then(quill_read_str, what, out, capacity);
    }
    message_reader &long_str(const char *what, char *out, uint32_t capacity) {
        return then(quill_read_long_str, what, out, capacity);
    }
    message_reader &hex(const char *what, void *out, uint32_t capacity, uint32_t &length) {
        return then(quill_read_hex, what, out, capacity, &length);
    }
    message_reader &long_hex(const char *what, void *out, uint32_t capacity, uint32_t &length) {
        return then(quill_read_long_hex, what, out, capacity, &length);
    }
    template <size_t N>
    message_reader &str(const char *what, char (&out)[N]) {
        return str(what, out, uint32_t{N});
    }
    template <size_t N>
    message_reader &long_str(const char *what, char (&out)[N]) {
        return long_str(what, out, uint32_t{N});
    }
    template <size_t N>
    message_reader &hex(const char *what, uint8_t (&out)[N], uint32_t &length) {
        return hex(what, out, uint32_t{N}, length);
    }
    template <size_t N>
    message_reader &long_hex(const char *what, uint8_t (&out)[N], uint32_t &length) {
        return long_hex(what, out, uint32_t{N}, length);
    }
    /* Refuses the element that was read last when holds is false. */
    message_reader &check(bool holds) { return then(quill_read_check, int{holds}); }

    /* Returns whether nothing was refused and the message ends here. */
    [[nodiscard]] bool end() { return quill_read_end(&in_) != 0; }
    /* These functions return the name, offset and errno value of the refused element. */
    const char *what() const { return in_.what; }
    uint32_t offset() const { return in_.offset; }
    int error() const { return in_.error; }

private:
    template <typename Function, typename... Arguments>
    message_reader &then(Function function, Arguments... arguments) {
        function(&in_, arguments...);
        return *this;
    }

    quill_reader in_;
};

/* message_writer writes elements one after the other and has one check of failure, at the end. */
class message_writer {
public:
    message_writer(void *message, uint32_t size) : out_(quill_writer_init(message, size)) {}
    template <typename Byte, size_t N>
    explicit message_writer(Byte (&message)[N]) : message_writer(message, uint32_t{N}) {
        static_assert(sizeof(Byte) == 1, "a message is bytes");
    }

    message_writer &u8(const char *what, uint8_t value) { return then(quill_write_u8, what, value); }
    message_writer &u16(const char *what, uint16_t value) { return then(quill_write_u16, what, value); }
    message_writer &u32(const char *what, uint32_t value) { return then(quill_write_u32, what, value); }
    message_writer &u64(const char *what, uint64_t value) { return then(quill_write_u64, what, value); }
    message_writer &s32(const char *what, int32_t value) { return then(quill_write_s32, what, value); }
    message_writer &boolean(const char *what, bool value) { return then(quill_write_bool, what, int{value}); }
    message_writer &ip(const char *what, uint32_t value) { return then(quill_write_ip, what, value); }
    message_writer &ip_af(const char *what, const ip_af_addr &value) { return then(quill_write_ip_af, what, &value); }
    message_writer &ipv6(const char *what, const uint8_t *value) { return then(quill_write_ipv6, what, value); }
    message_writer &ipv6(const char *what, const std::array<uint8_t, 16> &value) {
        return then(quill_write_ipv6, what, value.data());
    }
    message_writer &mac(const char *what, const uint8_t *value) { return then(quill_write_mac, what, value); }
    message_writer &mac(const char *what, const std::array<uint8_t, 6> &value) {
        return then(quill_write_mac, what, value.data());
    }
    message_writer &str(const char *what, const char *text) { return then(quill_write_str, what, text); }
    message_writer &long_str(const char *what, const char *text) { return then(quill_write_long_str, what, text); }
    message_writer &hex(const char *what, const void *data, uint32_t length) {
        return then(quill_write_hex, what, data, length);
    }
    message_writer &long_hex(const char *what, const void *data, uint32_t length) {
        return then(quill_write_long_hex, what, data, length);
    }

    /* Returns whether all elements were written. The message is then the first size() bytes. */
    [[nodiscard]] bool end() const { return quill_write_end(&out_) != 0; }
    uint32_t size() const { return out_.next; }
    /* These functions return the name, offset and errno value of the element that could not be written. */
    const char *what() const { return out_.what; }
    uint32_t offset() const { return out_.offset; }
    int error() const { return out_.error; }

private:
    template <typename Function, typename... Arguments>
    message_writer &then(Function function, Arguments... arguments) {
        function(&out_, arguments...);
        return *this;
    }

    quill_writer out_;
};

/* --- MD5 (quill/md5.h) */

/* md5 returns the digest of length bytes of data. */
inline std::array<uint8_t, MD5_DIGEST_SIZE> md5(const void *data, unsigned length) {
    std::array<uint8_t, MD5_DIGEST_SIZE> digest;
    md5_calc(digest.data(), data, length);
    return digest;
}

} /* namespace quill */

#endif
