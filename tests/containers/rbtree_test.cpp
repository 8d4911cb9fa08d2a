#include <gtest/gtest.h>
#include <quill/rbtree.h>
#include <stdlib.h>

#include <set>
#include <vector>

#include "support/failing_alloc.h"
#include "support/random.h"

namespace {

using quill::test::expect_failures_survived;
using quill::test::live_allocations;
using quill::test::Random;

constexpr uint32_t kRed = 1;

int the_config;
const void *searched_key;
long comparisons, foreign_arguments;

// Keys are pointers to numbers; what is searched for is never the pointer that is held.
int compare(const void *a, const void *b, void *config) {
    comparisons++;
    foreign_arguments += a != searched_key || b == searched_key || config != &the_config;
    const int x = *static_cast<const int *>(a), y = *static_cast<const int *>(b);
    return x < y ? -3 : x > y ? 3 : 0;
}

int number(const void *key) { return key ? *static_cast<const int *>(key) : 0; }

rb_node *child(const rb_node *node, bool right) { return right ? node->right : node->left; }
bool is_red(const rb_node *node) { return node->colour == kRed; }

class RbSequence {
public:
    static constexpr int kKeys = 256;

    explicit RbSequence(uint64_t seed) : random_(seed), tree_(rbinit(compare, &the_config)) {
        for (int i = 0; i <= kKeys; i++) numbers_[i] = wanted_[i] = i;
    }
    ~RbSequence() { rbterminate(tree_, 0); }

    void step(int i) {
        const int key = 1 + static_cast<int>(random_.below(kKeys));
        const bool growing = i / 500 % 2 == 0;
        int *held = held_.count(key) ? &numbers_[key] : nullptr;
        ASSERT_EQ(rbfind(wanted(key), tree_), held);
        if (random_.one_in(4))
            look_up(key);
        else if (random_.one_in(growing ? 4 : 2))
            erase(key, held);
        else
            search(key, held);
        check();
        if (random_.one_in(100)) check_walks();
    }

private:
    const int *wanted(int key) {
        searched_key = &wanted_[key];
        return &wanted_[key];
    }
    struct Descent {
        rb_node *node;
        long depth;
    };
    Descent descend(int key) const {
        Descent d = {tree_->root, 0};
        while (d.node != &rb_null && number(d.node->key) != key) {
            d.node = child(d.node, key > number(d.node->key));
            d.depth++;
        }
        return d;
    }
    void search(int key, int *held) {
        const Descent d = descend(key);
        if (held) {
            ASSERT_EQ(rbsearch(wanted(key), tree_), held);
            return;
        }
        comparisons = 0;
        searched_key = &numbers_[key];
        const rb_node *mark = rb_null.up;
        ASSERT_EQ(rbsearch(&numbers_[key], tree_), &numbers_[key]);
        EXPECT_EQ(rb_null.up, mark);                      // only deletions write it
        EXPECT_EQ(comparisons, d.depth + (d.depth > 0));  // the last node is asked about once more
        held_.insert(key);
    }
    // A node with two children stays and takes over the next key; that key's own node is the one that goes.
    void erase(int key, int *held) {
        rb_node *node = descend(key).node, *leaving = node;
        const auto next = held_.upper_bound(key);
        const bool two_children = held && node->left != &rb_null && node->right != &rb_null;
        if (two_children) leaving = descend(*next).node;
        rb_node *parent = held ? leaving->up : nullptr;
        const bool red_leaf = held && is_red(leaving);
        ASSERT_EQ(rbdelete(wanted(key), tree_), held);
        held_.erase(key);
        if (red_leaf) {
            EXPECT_EQ(rb_null.up, parent);
        }
        if (!two_children) return;
        EXPECT_EQ(node->key, &numbers_[*next]);
        EXPECT_EQ(descend(*next).node, node);
    }
    void look_up(int key) {
        const auto at_least = held_.lower_bound(key), above = held_.upper_bound(key);
        const bool held = at_least != above;
        const auto at = [&](auto it) { return it == held_.end() ? 0 : *it; };
        const auto before = [&](auto it) { return it == held_.begin() ? 0 : *std::prev(it); };
        const int expected[] = {
            held ? key : 0,                 // RB_LOOKUP_EQUAL
            at(at_least),                   // RB_LOOKUP_AT_LEAST
            held ? key : before(at_least),  // RB_LOOKUP_AT_MOST
            before(at_least),               // RB_LOOKUP_BELOW
            at(above),                      // RB_LOOKUP_ABOVE
            held ? at(above) : 0,           // RB_LOOKUP_NEXT
            held ? before(at_least) : 0,    // RB_LOOKUP_PREVIOUS
            at(held_.begin()),              // RB_LOOKUP_FIRST
            before(held_.end()),            // RB_LOOKUP_LAST
        };
        for (int mode = -1; mode <= 9; mode++) {
            const int key_expected = 0 <= mode && mode <= 8 ? expected[mode] : 0;
            void *got = rblookup(mode, wanted(key), tree_);
            EXPECT_EQ(got, key_expected ? &numbers_[key_expected] : nullptr) << "mode " << mode << ", key " << key;
        }
    }
    // Order, colours, links upwards; returns the number of black nodes on each way down.
    int check_subtree(const rb_node *node, const rb_node *up, std::set<int>::const_iterator &next) const {
        if (node == &rb_null || testing::Test::HasFailure()) return 0;
        EXPECT_EQ(node->up, up);
        EXPECT_LE(node->colour, kRed);
        EXPECT_FALSE(is_red(node) && is_red(up));
        const int left = check_subtree(node->left, node, next);
        EXPECT_TRUE(next != held_.end() && node->key == &numbers_[*next]);
        if (next != held_.end()) ++next;
        const int right = check_subtree(node->right, node, next);
        EXPECT_EQ(left, right);
        return left + !is_red(node);
    }
    void check() const {
        auto next = held_.begin();
        check_subtree(tree_->root, &rb_null, next);
        EXPECT_EQ(next, held_.end());
        EXPECT_FALSE(is_red(tree_->root));
        EXPECT_TRUE(rb_null.left == &rb_null && rb_null.right == &rb_null && !rb_null.colour && !rb_null.key);
        EXPECT_EQ(foreign_arguments, 0);
    }

    struct Visit {
        int key, kind, depth;
        bool operator==(const Visit &) const = default;
    };
    using Visits = std::vector<Visit>;
    static void visit(void *key, int kind, int depth, void *visits) {
        static_cast<Visits *>(visits)->push_back({number(key), kind, depth});
    }
    void expect_visits(const rb_node *node, int depth, Visits &visits) const {
        if (node == &rb_null) return;
        const auto add = [&](int kind) { visits.push_back({number(node->key), kind, depth}); };
        if (node->left == &rb_null && node->right == &rb_null) return add(3);
        add(0);
        expect_visits(node->left, depth + 1, visits);
        add(1);
        expect_visits(node->right, depth + 1, visits);
        add(2);
    }
    void check_walks() const {
        Visits visits, expected;
        rbwalk(tree_, visit, &visits);
        expect_visits(tree_->root, 0, expected);
        EXPECT_EQ(visits, expected);

        rb_list_cursor *cursor = rbopenlist(tree_);
        ASSERT_EQ(cursor->root, tree_->root);
        for (const int key : held_) EXPECT_EQ(rbreadlist(cursor), &numbers_[key]);
        EXPECT_EQ(rbreadlist(cursor), nullptr);
        EXPECT_EQ(rbreadlist(cursor), nullptr);
        rbcloselist(cursor);
    }

    Random random_;
    rb_tree *tree_;
    int numbers_[kKeys + 1], wanted_[kKeys + 1];
    std::set<int> held_;
};

TEST(Rbtree, RandomOperationsFollowTheModel) {
    for (uint64_t seed = 1; seed <= 3; seed++) {
        RbSequence sequence(seed);
        for (int i = 0; i < 40000 && !HasFailure(); i++) {
            SCOPED_TRACE(i);
            sequence.step(i);
        }
    }
}

TEST(Rbtree, AnEmptyTreeComparesNothing) {
    int key = 1;
    rb_tree *tree = __rbinit(compare, &the_config);
    comparisons = 0;
    EXPECT_EQ(rbfind(&key, tree), nullptr);
    EXPECT_EQ(rbdelete(&key, tree), nullptr);
    for (int mode = 0; mode <= 8; mode++) EXPECT_EQ(rblookup(mode, &key, tree), nullptr);
    EXPECT_EQ(comparisons, 0);
    rbterminate(tree, 1);
}

TEST(Rbtree, TerminationFreesKeysOnlyWhenTold) {
    const long live = live_allocations();
    std::vector<int *> kept;
    for (const int free_keys : {1, 0}) {
        rb_tree *tree = rbinit(compare, &the_config);
        for (int i = 0; i < 100; i++) {
            auto *key = static_cast<int *>(malloc(sizeof(int)));
            *key = i * 37 % 100;
            searched_key = key;
            EXPECT_EQ(rbsearch(key, tree), key);
            if (!free_keys) kept.push_back(key);
        }
        rbterminate(tree, free_keys);
        EXPECT_EQ(live_allocations(), live + static_cast<long>(kept.size()));
    }
    for (int *key : kept) free(key);
}

TEST(Rbtree, FailedAllocationsLeaveTheTreeAsItWas) {
    int keys[] = {2, 1, 3};
    rb_tree *tree = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (tree = rbinit(compare, &the_config)) != nullptr; }), 1);
    for (int &key : keys) {
        searched_key = &key;
        const auto absent = [&] { EXPECT_EQ(rbfind(&key, tree), nullptr); };
        EXPECT_EQ(expect_failures_survived([&] { return rbsearch(&key, tree) == &key; }, absent), 1);
    }
    rb_list_cursor *cursor = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (cursor = rbopenlist(tree)) != nullptr; }), 1);
    EXPECT_EQ(rbreadlist(cursor), &keys[1]);
    rbcloselist(cursor);
    rbterminate(tree, 0);
}

void never(void *, int, int, void *) { FAIL(); }

TEST(Rbtree, ANullTreeDoesNothing) {
    int key = 1;
    rbterminate(nullptr, 1);
    EXPECT_EQ(rbsearch(&key, nullptr), nullptr);
    EXPECT_EQ(rbfind(&key, nullptr), nullptr);
    EXPECT_EQ(rbdelete(&key, nullptr), nullptr);
    for (int mode = 0; mode <= 8; mode++) EXPECT_EQ(rblookup(mode, &key, nullptr), nullptr);
    rbwalk(nullptr, never, nullptr);
    EXPECT_EQ(rbopenlist(nullptr), nullptr);
    EXPECT_EQ(rbreadlist(nullptr), nullptr);
    rbcloselist(nullptr);
}

}  // namespace
