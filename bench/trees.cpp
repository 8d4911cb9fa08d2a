// Search trees. If the caller of a tree provides the nodes, they are in one array. The other trees allocate their
// nodes.
#include <glib.h>
#include <quill/btree.h>
#include <quill/rbtree.h>
#include <quill/savl.h>
#include <search.h>

#include <array>
#include <boost/intrusive/avl_set.hpp>
#include <cstring>
#include <memory>

#include "bench.h"

namespace {

namespace intrusive = boost::intrusive;

// --- the kinds of keys, and the comparisons that users of the other trees write

struct Words {
    using Key = uint32_t;
    static constexpr const char *kName = "word";
    static constexpr savl_comparison kCompare = savl_u32_compare;
    static Key make(uint32_t i) { return bench::scatter(i); }
    static int compare(const Key &a, const Key &b) { return a < b ? -1 : a > b; }
};

struct Macs {
    using Key = std::array<uint8_t, 6>;
    static constexpr const char *kName = "MAC";
    static constexpr savl_comparison kCompare = savl_mac_addr_compare;
    static Key make(uint32_t i) {
        const uint32_t k = bench::scatter(i);
        return {0,
                0x1b,
                static_cast<uint8_t>(k >> 24),
                static_cast<uint8_t>(k >> 16),
                static_cast<uint8_t>(k >> 8),
                static_cast<uint8_t>(k)};
    }
    static int compare(const Key &a, const Key &b) { return memcmp(a.data(), b.data(), a.size()); }
};

struct Ipv6 {
    using Key = std::array<uint8_t, 16>;
    static constexpr const char *kName = "IPv6";
    static constexpr savl_comparison kCompare = savl_ipv6_compare;
    static Key make(uint32_t i) {
        const uint32_t k = bench::scatter(i);
        Key key = {0x20, 0x01, 0x0d, 0xb8};
        memcpy(key.data() + 12, &k, sizeof k);
        return key;
    }
    static int compare(const Key &a, const Key &b) { return memcmp(a.data(), b.data(), a.size()); }
};

struct Texts {
    using Key = std::array<char, 16>;
    static constexpr const char *kName = "text";
    static constexpr savl_comparison kCompare = savl_string_compare;
    static Key make(uint32_t i) {
        Key key = {};
        snprintf(key.data(), key.size(), "sta-%08x", bench::scatter(i));
        return key;
    }
    static int compare(const Key &a, const Key &b) { return strcmp(a.data(), b.data()); }
};

template <typename Kind>
int compare_keys(const void *a, const void *b) {
    using Key = typename Kind::Key;
    return Kind::compare(*static_cast<const Key *>(a), *static_cast<const Key *>(b));
}

// --- the trees

template <typename Kind>
class Savl {
public:
    explicit Savl(const std::vector<typename Kind::Key> &keys) : keys_(keys), nodes_(keys.size()) {
        for (size_t i = 0; i < keys.size(); i++) nodes_[i].key = &keys[i];
    }
    bool insert(uint32_t i) {
        savl *at;
        int side;
        if (savl_find(&tree_, &keys_[i], &at, &side)) return false;
        savl_insert(&nodes_[i], at, side);
        return true;
    }
    uint64_t find(uint32_t i) {
        const savl *node = savl_find(&tree_, &keys_[i], nullptr, nullptr);
        return node ? static_cast<uint64_t>(node - nodes_.data()) : 0;
    }
    bool remove(uint32_t i) {
        savl *node = savl_find(&tree_, &keys_[i], nullptr, nullptr);
        if (node) savl_delete(node);
        return node;
    }

private:
    const std::vector<typename Kind::Key> &keys_;
    std::vector<savl> nodes_;
    savl_tree tree_ = SAVL_TREE_INIT(tree_, Kind::kCompare);
};

template <typename Kind>
class Boost {
public:
    explicit Boost(const std::vector<typename Kind::Key> &keys) : keys_(keys), nodes_(keys.size()) {
        for (size_t i = 0; i < keys.size(); i++) nodes_[i].key = &keys[i];
    }
    bool insert(uint32_t i) { return set_.insert(nodes_[i]).second; }
    uint64_t find(uint32_t i) {
        const auto at = set_.find(keys_[i], Less());
        return at == set_.end() ? 0 : static_cast<uint64_t>(&*at - nodes_.data());
    }
    bool remove(uint32_t i) {
        const auto at = set_.find(keys_[i], Less());
        if (at == set_.end()) return false;
        set_.erase(at);
        return true;
    }

private:
    struct Node : intrusive::avl_set_base_hook<intrusive::link_mode<intrusive::normal_link>> {
        const typename Kind::Key *key;
        friend bool operator<(const Node &a, const Node &b) { return Kind::compare(*a.key, *b.key) < 0; }
    };
    struct Less {
        bool operator()(const typename Kind::Key &a, const Node &b) const { return Kind::compare(a, *b.key) < 0; }
        bool operator()(const Node &a, const typename Kind::Key &b) const { return Kind::compare(*a.key, b) < 0; }
    };
    const std::vector<typename Kind::Key> &keys_;
    std::vector<Node> nodes_;
    intrusive::avl_set<Node> set_;
};

template <typename Kind>
class GLib {
public:
    explicit GLib(const std::vector<typename Kind::Key> &keys) : keys_(keys) {}
    GLib(const GLib &) = delete;
    ~GLib() { g_tree_destroy(tree_); }
    bool insert(uint32_t i) {
        const int before = g_tree_nnodes(tree_);
        g_tree_insert(tree_, key(i), GUINT_TO_POINTER(i));
        return g_tree_nnodes(tree_) > before;
    }
    uint64_t find(uint32_t i) { return GPOINTER_TO_UINT(g_tree_lookup(tree_, key(i))); }
    bool remove(uint32_t i) { return g_tree_remove(tree_, key(i)); }

private:
    void *key(uint32_t i) { return const_cast<typename Kind::Key *>(&keys_[i]); }
    const std::vector<typename Kind::Key> &keys_;
    GTree *tree_ = g_tree_new(compare_keys<Kind>);
};

template <typename Kind>
class Tsearch {
public:
    explicit Tsearch(const std::vector<typename Kind::Key> &keys) : keys_(keys) {}
    Tsearch(const Tsearch &) = delete;
    ~Tsearch() {
        tdestroy(root_, [](void *) {});
    }
    bool insert(uint32_t i) {
        const void *node = tsearch(&keys_[i], &root_, compare_keys<Kind>);
        return *static_cast<const typename Kind::Key *const *>(node) == &keys_[i];
    }
    uint64_t find(uint32_t i) {
        const void *node = tfind(&keys_[i], &root_, compare_keys<Kind>);
        return node ? static_cast<uint64_t>(*static_cast<const typename Kind::Key *const *>(node) - keys_.data()) : 0;
    }
    bool remove(uint32_t i) { return tdelete(&keys_[i], &root_, compare_keys<Kind>); }

private:
    const std::vector<typename Kind::Key> &keys_;
    void *root_ = nullptr;
};

template <typename Kind>
class RedBlack {
public:
    explicit RedBlack(const std::vector<typename Kind::Key> &keys) : keys_(keys) {}
    RedBlack(const RedBlack &) = delete;
    ~RedBlack() { rbterminate(tree_, 0); }
    bool insert(uint32_t i) { return rbsearch(&keys_[i], tree_) == &keys_[i]; }
    uint64_t find(uint32_t i) {
        const void *key = rbfind(&keys_[i], tree_);
        return key ? static_cast<uint64_t>(static_cast<const typename Kind::Key *>(key) - keys_.data()) : 0;
    }
    bool remove(uint32_t i) { return rbdelete(&keys_[i], tree_); }

private:
    const std::vector<typename Kind::Key> &keys_;
    rb_tree *tree_ = rbinit([](const void *a, const void *b, void *) { return compare_keys<Kind>(a, b); }, nullptr);
};

template <typename Kind>
class Plain {
public:
    explicit Plain(const std::vector<typename Kind::Key> &keys) : keys_(keys) {}
    Plain(const Plain &) = delete;
    ~Plain() {
        for (const auto &key : keys_) btree_delete(&key, &root_, compare_keys<Kind>);
    }
    bool insert(uint32_t i) { return btree_search(&keys_[i], &root_, compare_keys<Kind>)->key == &keys_[i]; }
    uint64_t find(uint32_t i) {
        const void *key = btree_find(&keys_[i], &root_, compare_keys<Kind>);
        return key ? static_cast<uint64_t>(static_cast<const typename Kind::Key *>(key) - keys_.data()) : 0;
    }
    bool remove(uint32_t i) { return btree_delete(&keys_[i], &root_, compare_keys<Kind>); }

private:
    const std::vector<typename Kind::Key> &keys_;
    btree *root_ = nullptr;
};

// The library's algorithm for trees that are not balanced, written in the benchmark itself so that it is inlined.
template <typename Kind>
class WrittenOut {
public:
    explicit WrittenOut(const std::vector<typename Kind::Key> &keys) : keys_(keys) {}
    WrittenOut(const WrittenOut &) = delete;
    ~WrittenOut() {
        for (uint32_t i = 0; i < keys_.size(); i++) remove(i);
    }
    bool insert(uint32_t i) {
        Node **place = place_of(i);
        if (*place) return false;
        *place = new Node{&keys_[i], {}};
        return true;
    }
    uint64_t find(uint32_t i) {
        const Node *node = *place_of(i);
        return node ? static_cast<uint64_t>(node->key - keys_.data()) : 0;
    }
    bool remove(uint32_t i) {
        Node **place = place_of(i), *node = *place;
        if (!node) return false;
        if (node->child[0] && node->child[1]) {  // move the next key into this node
            Node **next = &node->child[1];
            while ((*next)->child[0]) next = &(*next)->child[0];
            node->key = (*next)->key;
            place = next;
            node = *next;
        }
        *place = node->child[node->child[0] == nullptr];
        delete node;
        return true;
    }

private:
    struct Node {
        const typename Kind::Key *key;
        Node *child[2];
    };
    Node **place_of(uint32_t i) {
        Node **place = &root_;
        while (*place) {
            const int order = Kind::compare(keys_[i], *(*place)->key);
            if (order == 0) break;
            place = &(*place)->child[order > 0];
        }
        return place;
    }
    const std::vector<typename Kind::Key> &keys_;
    Node *root_ = nullptr;
};

// --- the work

template <typename Kind, template <typename> class Tree>
struct Bed {
    std::vector<typename Kind::Key> keys;
    std::vector<uint32_t> order;
    std::unique_ptr<Tree<Kind>> tree;

    explicit Bed(size_t n) : order(bench::shuffled(n)) {
        for (uint32_t i = 0; i < n; i++) keys.push_back(Kind::make(i));
        tree = std::make_unique<Tree<Kind>>(keys);
    }
    uint64_t insert() {
        uint64_t inserted = 0;
        for (uint32_t i = 0; i < keys.size(); i++) inserted += tree->insert(i);
        return inserted;
    }
    uint64_t find() {
        uint64_t sum = 0;
        for (const uint32_t i : order) sum += tree->find(i);
        return sum;
    }
    uint64_t remove() {
        uint64_t removed = 0;
        for (const uint32_t i : order) removed += tree->remove(i);
        return removed;
    }
};

template <typename Kind, template <typename> class Tree>
void add_tree(const std::string &family, const char *contender, size_t n) {
    using bench::Work;
    const auto row = [&](const char *work, auto prepare) {
        bench::add(family + ": " + work + ", " + Kind::kName, contender, n, n,
                   [=] { return prepare(std::make_shared<Bed<Kind, Tree>>(n)); });
    };
    row("find", [](auto bed) {
        bed->insert();
        return Work{[bed] { return bed->find(); }};
    });
    row("insert", [](auto bed) { return Work{[bed] { return bed->insert(); }, [bed] { bed->remove(); }}; });
    row("delete", [](auto bed) { return Work{[bed] { return bed->remove(); }, [bed] { bed->insert(); }}; });
}

template <typename Kind>
void add_avl(size_t n) {
    add_tree<Kind, Savl>("AVL tree", "quill", n);
    add_tree<Kind, GLib>("AVL tree", "GTree", n);
    add_tree<Kind, Tsearch>("AVL tree", "tsearch", n);
    add_tree<Kind, Boost>("AVL tree", "Boost avl_set", n);
}

const bool added = [] {
    add_avl<Words>(1000);
    add_avl<Macs>(1000);
    add_avl<Ipv6>(1000);
    add_avl<Texts>(1000);
    for (const size_t n : {100u, 10000u, 100000u, 1000000u}) add_avl<Words>(n);
    for (const size_t n : {1000u, 10000u, 100000u}) {
        add_tree<Words, RedBlack>("red-black tree", "quill", n);
        add_tree<Words, Tsearch>("red-black tree", "tsearch", n);
        add_tree<Words, Plain>("binary tree", "quill", n);
        add_tree<Words, Tsearch>("binary tree", "tsearch", n);
        add_tree<Words, WrittenOut>("binary tree", "written out", n);
    }
    return true;
}();

}  // namespace
