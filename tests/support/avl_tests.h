// Tests of both AVL trees, watched from outside. A flavour of tree is a class with
//
//     Node, Tree, Object           the library's records, and a record with a Node `node` and an int `key`
//     empty_tree(tree)             an initialised record that compares keys with compare_numbers()
//     find, insert, erase          the library's functions
//     orders()                     the library's comparisons, each with keys in ascending order (Order below)
//     sample_tree(tree, order)     an initialised record that compares with the order's comparison
//     through_a_call(tree)         makes the tree call its comparison through one that the library does not know
//     Sample                       a record with a Node and any key: set() gives it one, pointer() searches for it
#pragma once

#include <quill/savl.h>
#include <quill/types.h>
#include <string.h>

#include <initializer_list>
#include <iterator>

#include "support/tree_tests.h"

namespace quill::test {

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
        Node *at = nullptr;
        int side = -1;
        ASSERT_EQ(find(key, nullptr, nullptr), here ? &object(key).node : nullptr);
        ASSERT_EQ(find(key, &at, &side), here ? &object(key).node : nullptr);
        ASSERT_EQ(at == nullptr, here);
    }
    void look_up(int) {}
    void insert(int key, bool here) {
        if (here) return;
        Node *at = nullptr;
        int side = -1;
        ASSERT_EQ(find(key, &at, &side), nullptr);
        Object &o = object(key);
        memset(&o.node, 0xff, sizeof o.node);
        Flavour::set_key(o);
        Flavour::insert(&o.node, at, side);
        model_.insert(key);
    }
    void erase(int key, bool here) {
        if (!here) return;
        Node &node = object(key).node;
        Flavour::erase(&node);
        EXPECT_EQ(node.parent, nullptr);
        Flavour::erase(&node);  // in no tree: nothing
        model_.erase(key);
    }
    void check() const {
        check_subtree(tree.head.right, model_.root(), &tree.head, 1);
        ASSERT_EQ(tree.head.parent, nullptr);
        const Node *node = &tree.head;
        for (const int key : held) {
            ASSERT_EQ(node->next, &object(key).node);
            ASSERT_EQ(node->next->prev, node);
            node = node->next;
        }
        ASSERT_EQ(node->next, &tree.head);
        ASSERT_EQ(tree.head.prev, node);
    }
    void check_walks() {}

    typename Flavour::Tree tree;
    std::set<int> held;

private:
    Object &object(int key) { return objects_[static_cast<size_t>(key)]; }
    const Object &object(int key) const { return objects_[static_cast<size_t>(key)]; }
    Node *find(int key, Node **at, int *side) { return Flavour::find(&tree, search_for(wanted + key), at, side); }
    // Returns the real height. Nodes are told by their addresses.
    int check_subtree(const Node *node, int key, const Node *parent, int side) const {
        EXPECT_EQ(node, key ? &object(key).node : nullptr);
        if (!node || !key || testing::Test::HasFailure()) return 0;
        EXPECT_EQ(node->parent, parent);
        EXPECT_EQ(node->side, side);
        const int left = check_subtree(node->left, model_.child(key, 0), node, 0);
        const int right = check_subtree(node->right, model_.child(key, 1), node, 1);
        EXPECT_EQ(node->balance, right - left);
        return 1 + std::max(left, right);
    }

    std::vector<Object> objects_;
    TreeModel model_{true};
};

template <typename Flavour>
class Avl : public testing::Test {};
TYPED_TEST_SUITE_P(Avl);

TYPED_TEST_P(Avl, RandomOperationsFollowTheModel) { expect_model_followed<AvlTree<TypeParam>>(); }

TYPED_TEST_P(Avl, AWalkMayDeleteTheNodeThatItIsAt) {
    AvlTree<TypeParam> t;
    for (int key = 1; key <= 100; key++) {
        t.insert(key, false);
        t.held.insert(key);
    }
    int expected = 1;
    for (typename TypeParam::Node &node : quill::in_order(t.tree)) {
        const int key = SAVL_OBJECT(&node, typename TypeParam::Object, node)->key;
        EXPECT_EQ(key, expected++);
        if (key % 3 == 0) continue;
        t.erase(key, true);
        t.held.erase(key);
        t.check();
    }
    EXPECT_EQ(expected, 101);
    const auto range = quill::in_order(t.tree);
    EXPECT_EQ(std::distance(range.begin(), range.end()), 33);
}

// --- the library's comparisons

// A key of any kind, as bytes or as text.
struct SampleKey {
    alignas(8) uint8_t bytes[20] = {};
    const char *text = nullptr;

    SampleKey() = default;
    SampleKey(const char *t) : text(t) {}
    SampleKey(uint32_t number) { memcpy(bytes, &number, sizeof number); }
    SampleKey(std::initializer_list<uint8_t> b) { std::copy(b.begin(), b.end(), bytes); }
};

// A comparison, and keys in its order; those in one group are equal.
template <typename Comparison>
struct Order {
    const char *name;
    Comparison compare;
    std::vector<std::vector<SampleKey>> groups;
};

using Groups = std::vector<std::vector<SampleKey>>;
inline const Groups kTexts = {{""}, {"A"}, {"B"}, {"a"}, {"ab", "ab"}, {"b"}, {"\xc3"}};
inline const Groups kTextsIgnoringCase = {{""}, {"0"}, {"A", "a"}, {"aB", "Ab"}, {"Z", "z"}, {"{"}, {"\xc4"}, {"\xe4"}};
inline const Groups kNumbers = {{0u}, {1u}, {0x7fffffffu}, {0x80000000u}, {0xfffffffeu}, {0xffffffffu}};
// All within half the number range of each other.
inline const Groups kMacs = {{{0x70, 0, 0, 0, 0, 1}},    {{0x70, 0, 0, 0, 0x70, 0}},
                             {{0x70, 0, 0, 0, 0x70, 1}}, {{0x70, 0, 0, 0, 0x70, 1, 0, 1}},
                             {{0x70, 0, 0, 1, 0, 0}},    {{0x70, 0, 1, 0, 0, 0}, {0x70, 0, 1, 0, 0, 0}},
                             {{0x80, 0, 0, 0, 0x80, 0}}};
inline const Groups kIpv6s = {{{0}},
                              {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
                              {{0, 0, 0, 0, 0, 0, 0, 0, 0xff}},
                              {{0, 0, 0, 0, 0, 0, 0, 1}, {0, 0, 0, 0, 0, 0, 0, 1}},
                              {{0x20, 1, 0xd, 0xb8}},
                              {{0xfe, 0x80}}};
inline SampleKey address(uint16_t family, std::initializer_list<uint8_t> bytes) {
    SampleKey key = {};
    memcpy(key.bytes, &family, sizeof family);
    std::copy(bytes.begin(), bytes.end(), key.bytes + 4);
    return key;
}
inline SampleKey mapped(uint8_t first, uint8_t last) {
    return address(QUILL_AF_INET6, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, first, 0, 0, last});
}

inline int sign(int n) { return (n > 0) - (n < 0); }

// Calls check(a, b, sign of a against b) for all pairs of keys.
template <typename Check>
void for_all_pairs(const Groups &groups, Check check) {
    for (size_t i = 0; i < groups.size(); i++)
        for (size_t j = 0; j < groups.size(); j++)
            for (const SampleKey &a : groups[i])
                for (const SampleKey &b : groups[j]) check(a, b, (i > j) - (i < j));
}

TYPED_TEST_P(Avl, ComparisonsOrderAsDescribed) {
    for (const auto &order : TypeParam::orders()) {
        SCOPED_TRACE(order.name);
        int pair = 0;
        for_all_pairs(order.groups, [&](const SampleKey &a, const SampleKey &b, int expected) {
            EXPECT_EQ(sign(TypeParam::compare(order, a, b)), expected) << "pair " << pair;
            pair++;
        });
    }
}

// Searches with the library's own comparisons are compiled apart from those that call one.
TYPED_TEST_P(Avl, KnownComparisonsSearchLikeUnknownOnes) {
    for (const auto &order : TypeParam::orders()) {
        SCOPED_TRACE(order.name);
        typename TypeParam::Tree tree, unknown;
        TypeParam::sample_tree(tree, order);
        std::vector<typename TypeParam::Sample> samples(order.groups.size());
        for (size_t n = 0; n < samples.size(); n++) {
            const size_t i = n * 5 % samples.size();  // in any order
            for (const auto &group : order.groups)
                for (const SampleKey &key : group) {
                    unknown = tree;
                    TypeParam::through_a_call(unknown);
                    typename TypeParam::Node *at[2] = {}, *found[2];
                    int side[2] = {-1, -1};
                    found[0] = TypeParam::find(&tree, TypeParam::pointer(order, key), &at[0], &side[0]);
                    found[1] = TypeParam::find(&unknown, TypeParam::pointer(order, key), &at[1], &side[1]);
                    if (at[1] == &unknown.head) at[1] = &tree.head;
                    EXPECT_EQ(found[0], found[1]);
                    EXPECT_EQ(at[0], at[1]);
                    EXPECT_EQ(side[0], side[1]);
                }
            typename TypeParam::Node *at = nullptr;
            int side = -1;
            samples[i].set(order, order.groups[i][0]);
            ASSERT_EQ(TypeParam::find(&tree, TypeParam::pointer(order, order.groups[i][0]), &at, &side), nullptr);
            TypeParam::insert(&samples[i].node, at, side);
        }
        size_t i = 0;
        for (const auto &node : quill::in_order(tree)) EXPECT_EQ(&node, &samples[i++].node);
        EXPECT_EQ(i, samples.size());
    }
}

REGISTER_TYPED_TEST_SUITE_P(Avl, RandomOperationsFollowTheModel, AWalkMayDeleteTheNodeThatItIsAt,
                            ComparisonsOrderAsDescribed, KnownComparisonsSearchLikeUnknownOnes);

}  // namespace quill::test
