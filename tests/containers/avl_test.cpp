#include <quill/savl.h>
#include <quill/savle.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <vector>

#include "support/case_file.h"
#include "support/tree_tests.h"

namespace quill::test {
namespace {

struct Savl {
    using Node = savl;
    using Tree = savl_tree;
    struct Object {
        int key;
        savl node;
    };
    static void empty_tree(savl_tree &tree) { tree = SAVL_TREE_INIT(tree, compare_numbers); }
    static void set_key(Object &object) { object.node.key = &object.key; }
    static constexpr auto find = savl_find;
    static constexpr auto insert = savl_insert;
    static constexpr auto erase = savl_delete;
};

int the_context;

int compare_in_context(void *context, const void *searched, const void *key) {
    foreign_arguments += context != &the_context;
    return compare_numbers(searched, key);
}

struct Savle {
    using Node = savle;
    using Tree = savle_tree;
    struct Object {
        int key;
        uint32_t other;
        savle node;
    };
    static void empty_tree(savle_tree &tree) {
        tree = SAVLE_TREE_INIT(tree, compare_in_context, Object, node, key, &the_context);
    }
    static void set_key(Object &) {}
    static constexpr auto find = savle_find;
    static constexpr auto insert = savle_insert;
    static constexpr auto erase = savle_delete;
};

// The tree is checked from outside, by the addresses of its nodes.
template <typename Flavour>
class AvlTree {
public:
    using Node = typename Flavour::Node;
    using Object = typename Flavour::Object;

    AvlTree() : objects_(kKeys + 1) {
        Flavour::empty_tree(tree);
        for (int key = 0; key <= kKeys; key++) object(key).key = key;
    }
    void find(int key, bool here) {
        Node *at = nullptr, *const found = here ? &object(key).node : nullptr;
        int side = -1;
        ASSERT_EQ(Flavour::find(&tree, search_for(wanted + key), nullptr, nullptr), found);
        ASSERT_EQ(Flavour::find(&tree, search_for(wanted + key), &at, &side), found);
        ASSERT_EQ(at == nullptr, here);
    }
    void look_up(int) {}
    bool insert(int key, bool here) {
        if (here) return false;
        Node *at = nullptr;
        int side = -1;
        EXPECT_EQ(Flavour::find(&tree, search_for(wanted + key), &at, &side), nullptr);
        Object &o = object(key);
        memset(&o.node, 0xff, sizeof o.node);
        Flavour::set_key(o);
        Flavour::insert(&o.node, at, side);
        return true;
    }
    void erase(int key, bool here) {
        if (!here) return;
        Node &node = object(key).node;
        Flavour::erase(&node);
        EXPECT_EQ(node.parent, nullptr);
        Flavour::erase(&node);  // no effect: the node is in no tree
    }
    void check() const {
        auto next = held.begin();
        check_subtree(tree.head.right, &tree.head, 1, next);
        ASSERT_TRUE(next == held.end() && !tree.head.parent);
        const Node *node = &tree.head;
        for (const int key : held) {
            ASSERT_EQ(node->next, &object(key).node);
            ASSERT_EQ(node->next->prev, node);
            node = node->next;
        }
        ASSERT_EQ(node->next, &tree.head);
        ASSERT_EQ(tree.head.prev, node);
    }
    // A walk may delete the current node.
    void check_walks() {
        std::vector<int> walked;
        const std::vector<int> expected(held.begin(), held.end());
        for (Node &node : in_order(tree)) {
            walked.push_back(SAVL_OBJECT(&node, Object, node)->key);
            if (walked.back() % 16 > 0) continue;
            erase(walked.back(), true);
            held.erase(walked.back());
        }
        EXPECT_EQ(walked, expected);
        const auto range = in_order(tree);
        EXPECT_EQ(static_cast<size_t>(std::distance(range.begin(), range.end())), held.size());
        check();
    }

    typename Flavour::Tree tree;
    std::set<int> held;

private:
    Object &object(int key) { return objects_[static_cast<size_t>(key)]; }
    const Object &object(int key) const { return objects_[static_cast<size_t>(key)]; }
    // Checks order, links upwards and balances. Returns the height.
    int check_subtree(const Node *node, const Node *parent, int side, std::set<int>::const_iterator &next) const {
        if (!node || testing::Test::HasFailure()) return 0;
        EXPECT_EQ(node->parent, parent);
        EXPECT_EQ(node->side, side);
        const int left = check_subtree(node->left, node, 0, next);
        EXPECT_TRUE(next != held.end() && node == &object(*next).node);
        if (next != held.end()) ++next;
        const int right = check_subtree(node->right, node, 1, next);
        EXPECT_TRUE(node->balance == right - left && abs(right - left) <= 1);
        return 1 + std::max(left, right);
    }

    std::vector<Object> objects_;
};

TEST(Savl, RandomOperationsFollowTheModel) { expect_model_followed<AvlTree<Savl>>(); }

TEST(Savle, RandomOperationsFollowTheModel) { expect_model_followed<AvlTree<Savle>>(); }

// --- the library's comparisons: searches with them are compiled separately from searches that call a comparison

int sign(int n) { return (n > 0) - (n < 0); }

// Compares a with b directly, and by a search for a in a tree whose only key is b.
template <typename Flavour, typename Tree, typename Node>
void expect_found(Tree &tree, Node &node, const void *a, int order) {
    Node *at = nullptr;
    int side = -1;
    EXPECT_EQ(Flavour::find(&tree, a, &at, &side), nullptr);
    Flavour::insert(&node, at, side);
    EXPECT_EQ(Flavour::find(&tree, a, &at, &side), order == 0 ? &node : nullptr);
    EXPECT_TRUE(order == 0 || (at == &node && side == (order > 0)));
}

// A key of bytes from hexadecimal digits, filled up with zeros. The first `number` bytes are in the order of the host.
struct Key {
    alignas(8) uint8_t bytes[20] = {};

    Key(const char *digits, size_t number) {
        for (uint8_t *byte = bytes; *digits; digits += 2) sscanf(digits, "%2hhx", byte++);
        if (std::endian::native == std::endian::little) std::reverse(bytes, bytes + number);
    }
};

const void *pointer(const char *text) { return text; }
const void *pointer(const Key &key) { return key.bytes; }

template <typename T>
int order_of(savl_comparison compare, const T &a, const T &b) {
    savl_tree tree = SAVL_TREE_INIT(tree, compare);
    savl node = {};
    node.key = pointer(b);
    const int order = compare(pointer(a), pointer(b));
    expect_found<Savl>(tree, node, pointer(a), order);
    return order;
}

template <typename T>
int order_of(savle_comparison compare, const T &a, const T &b) {
    struct Object {
        savle node;
        T key;
    } object = {{}, b};
    savle_tree tree = SAVLE_TREE_INIT(tree, compare, Object, node, key, nullptr);
    const int order = compare(nullptr, &a, &b);
    expect_found<Savle>(tree, object.node, &a, order);
    return order;
}

template <auto kCompare>
int text(const char *a, const char *b) {
    return sign(order_of(kCompare, a, b));
}

template <auto kCompare, size_t kNumber>
int bytes(const char *a, const char *b) {
    return order_of(kCompare, Key(a, kNumber), Key(b, kNumber));
}

template <auto kSavl, auto kSavle>
int both(const char *a, const char *b) {
    const int order = kSavl(a, b);
    EXPECT_EQ(kSavle(a, b), order);
    return order;
}

TEST(Savl, ComparisonsOrderAsDescribed) {
    constexpr CaseFunction kFunctions[] = {
        {"string", BoundFunction<both<text<savl_string_compare>, text<savle_string_compare>>>::call},
        {"string_ic", BoundFunction<both<text<savl_string_compare_ic>, text<savle_string_compare_ic>>>::call},
        {"u32", BoundFunction<both<bytes<savl_u32_compare, 4>, bytes<savle_u32_compare, 4>>>::call},
        {"mac_addr", BoundFunction<both<bytes<savl_mac_addr_compare, 0>, bytes<savle_mac_addr_compare, 0>>>::call},
        {"ipv6", BoundFunction<both<bytes<savl_ipv6_compare, 0>, bytes<savle_ipv6_compare, 0>>>::call},
        {"savl_ipaddr", BoundFunction<bytes<savl_ipaddr_compare, 2>>::call},
        {"savle_ipaddr", BoundFunction<bytes<savle_ipaddr_compare, 2>>::call},
    };
    expect_cases("containers/avl.cases", kFunctions);
}

}  // namespace
}  // namespace quill::test
