#include <gtest/gtest.h>
#include <quill/rbtree.h>
#include <stdlib.h>

#include "support/failing_alloc.h"
#include "support/tree_tests.h"

namespace quill::test {
namespace {

constexpr uint32_t kRed = 1;

int the_config;

int compare(const void *a, const void *b, void *config) {
    foreign_arguments += config != &the_config;
    return compare_numbers(a, b);
}

int number(const void *key) { return key ? *static_cast<const int *>(key) : 0; }

rb_node *child(const rb_node *node, bool right) { return right ? node->right : node->left; }
bool is_red(const rb_node *node) { return node->colour == kRed; }

class RbTree {
public:
    ~RbTree() { rbterminate(tree_, 0); }

    std::set<int> held;

    void find(int key, bool here) {
        ASSERT_EQ(rbfind(search_for(wanted + key), tree_), here ? numbers + key : nullptr);
    }
    // The allocations of every eighth insertion fail.
    bool insert(int key, bool here) {
        const size_t depth = descend(key).depth;
        const rb_node *mark = rb_null.up;
        const NthAllocation failing(insertions_++ % 8 ? 2 : 1);
        const void *result = rbsearch(search_for((here ? wanted : numbers) + key), tree_);
        EXPECT_EQ(result, failing.reached() ? nullptr : numbers + key);
        EXPECT_EQ(rb_null.up, mark);  // only deletions write rb_null.up
        if (here || failing.reached()) return false;
        EXPECT_EQ(compared.size(), depth + (depth > 0));  // the last node is compared once more
        return true;
    }
    // A node with two children stays and gets the next key. The next key's own node is freed.
    void erase(int key, bool here) {
        rb_node *node = descend(key).node, *leaving = node;
        const auto next = held.upper_bound(key);
        const bool two_children = here && node->left != &rb_null && node->right != &rb_null;
        if (two_children) leaving = descend(*next).node;
        rb_node *parent = here ? leaving->up : nullptr;
        const bool red_leaf = here && is_red(leaving);
        ASSERT_EQ(rbdelete(search_for(wanted + key), tree_), here ? numbers + key : nullptr);
        if (red_leaf) {
            EXPECT_EQ(rb_null.up, parent);
        }
        if (!two_children) return;
        EXPECT_EQ(node->key, numbers + *next);
        EXPECT_EQ(descend(*next).node, node);
    }
    void look_up(int key) {
        const auto at_least = held.lower_bound(key), above = held.upper_bound(key);
        const bool here = at_least != above;
        const auto at = [&](auto it) { return it == held.end() ? 0 : *it; };
        const auto before = [&](auto it) { return it == held.begin() ? 0 : *std::prev(it); };
        const int expected[] = {
            here ? key : 0,                 // RB_LOOKUP_EQUAL
            at(at_least),                   // RB_LOOKUP_AT_LEAST
            here ? key : before(at_least),  // RB_LOOKUP_AT_MOST
            before(at_least),               // RB_LOOKUP_BELOW
            at(above),                      // RB_LOOKUP_ABOVE
            here ? at(above) : 0,           // RB_LOOKUP_NEXT
            here ? before(at_least) : 0,    // RB_LOOKUP_PREVIOUS
            at(held.begin()),               // RB_LOOKUP_FIRST
            before(held.end()),             // RB_LOOKUP_LAST
        };
        for (int mode = -1; mode <= 9; mode++) {
            const int key_expected = 0 <= mode && mode <= 8 ? expected[mode] : 0;
            void *got = rblookup(mode, search_for(wanted + key), tree_);
            EXPECT_EQ(got, key_expected ? numbers + key_expected : nullptr) << "mode " << mode << ", key " << key;
        }
    }
    void check() const {
        auto next = held.begin();
        check_subtree(tree_->root, &rb_null, next);
        EXPECT_EQ(next, held.end());
        EXPECT_FALSE(is_red(tree_->root));
        EXPECT_TRUE(rb_null.left == &rb_null && rb_null.right == &rb_null && !rb_null.colour && !rb_null.key);
    }
    void check_walks() const {
        std::vector<Visit> visited, expected;
        const auto visit = [](void *key, int kind, int depth, void *to) {
            static_cast<std::vector<Visit> *>(to)->push_back({key, kind, depth});
        };
        rbwalk(tree_, visit, &visited);
        add_visits(expected, tree_->root, &rb_null, [](const rb_node *node) { return node->key; });
        EXPECT_EQ(visited, expected);

        rb_list_cursor *cursor;
        EXPECT_EQ(expect_failures_survived([&] { return (cursor = rbopenlist(tree_)) != nullptr; }), 1);
        ASSERT_EQ(cursor->root, tree_->root);
        for (const int key : held) EXPECT_EQ(rbreadlist(cursor), numbers + key);
        EXPECT_EQ(rbreadlist(cursor), nullptr);
        EXPECT_EQ(rbreadlist(cursor), nullptr);
        rbcloselist(cursor);
    }

private:
    struct Descent {
        rb_node *node;
        size_t depth;
    };
    Descent descend(int key) const {
        Descent d = {tree_->root, 0};
        while (d.node != &rb_null && number(d.node->key) != key) {
            d.node = child(d.node, key > number(d.node->key));
            d.depth++;
        }
        return d;
    }
    // Checks order, colours and links upwards. Returns the number of black nodes on each path down.
    int check_subtree(const rb_node *node, const rb_node *up, std::set<int>::const_iterator &next) const {
        if (node == &rb_null || testing::Test::HasFailure()) return 0;
        EXPECT_EQ(node->up, up);
        EXPECT_LE(node->colour, kRed);
        EXPECT_FALSE(is_red(node) && is_red(up));
        const int left = check_subtree(node->left, node, next);
        EXPECT_TRUE(next != held.end() && node->key == numbers + *next);
        if (next != held.end()) ++next;
        const int right = check_subtree(node->right, node, next);
        EXPECT_EQ(left, right);
        return left + !is_red(node);
    }

    rb_tree *tree_ = rbinit(compare, &the_config);
    int insertions_ = 0;
};

TEST(Rbtree, RandomOperationsFollowTheModel) { expect_model_followed<RbTree>(); }

// An empty tree makes no comparison. A null tree does nothing.
TEST(Rbtree, EmptyAndNullTrees) {
    int key = 1;
    rb_tree *empty = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (empty = __rbinit(compare, &the_config)) != nullptr; }), 1);
    compared.clear();
    for (rb_tree *tree : {empty, static_cast<rb_tree *>(nullptr)}) {
        EXPECT_EQ(rbfind(&key, tree), nullptr);
        EXPECT_EQ(rbdelete(&key, tree), nullptr);
        for (int mode = 0; mode <= 8; mode++) EXPECT_EQ(rblookup(mode, &key, tree), nullptr);
        rbwalk(
            tree, [](void *, int, int, void *) { FAIL(); }, nullptr);
        rbterminate(tree, 1);
    }
    EXPECT_TRUE(compared.empty());
    EXPECT_EQ(rbsearch(&key, nullptr), nullptr);
    EXPECT_EQ(rbopenlist(nullptr), nullptr);
    EXPECT_EQ(rbreadlist(nullptr), nullptr);
    rbcloselist(nullptr);
}

// Without free_keys, as in the trees above, the keys stay.
TEST(Rbtree, TerminationFreesKeysWhenTold) {
    const long live = live_allocations();
    rb_tree *tree = rbinit(compare, &the_config);
    for (int i = 0; i < 100; i++) {
        auto *key = static_cast<int *>(malloc(sizeof(int)));
        *key = i * 37 % 100;
        EXPECT_EQ(rbsearch(searched_key = key, tree), key);
    }
    rbterminate(tree, 1);
    EXPECT_EQ(live_allocations(), live);
}

}  // namespace
}  // namespace quill::test
