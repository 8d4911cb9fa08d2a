#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/btree.h>
#include <stdlib.h>

#include <array>

#include "support/failing_alloc.h"
#include "support/tree_tests.h"

namespace quill::test {
namespace {

int number(const btree *node) { return *static_cast<const int *>(node->key); }

void visit(const btree *node, int kind, int depth) { visits.push_back({node, kind, depth}); }

// A comparison without any order: searches still follow their rules.
int compare_erratically(const void *a, const void *b) {
    compare_numbers(a, b);
    return *static_cast<const int *>(a) * 7 % 5 - 2;
}

// A model of the search for the next key. It also records the keys that it compares, in order.
void *next_by_rule(const btree *node, std::vector<const void *> &asked) {
    if (!node) return nullptr;
    asked.push_back(node->key);
    if (void *below = next_by_rule(node->left, asked)) return below;
    return number(node) * 7 % 5 > 2 ? node->key : next_by_rule(node->right, asked);
}

// The expected shape of a tree: the children of each key; 0 means no child.
struct Shape {
    int root = 0;
    std::array<int, 2> children[kKeys + 1] = {};

    int *link_to(int key) {
        int *link = &root;
        while (*link && *link != key) link = &children[*link][key > *link];
        return link;
    }
    void insert(int key) { children[*link_to(key) = key] = {}; }
    // For a key with two children, the next node is removed first and then takes the key's place.
    void erase(int key) {
        auto [heir, right] = children[key];
        if (heir && right) {
            for (heir = right; children[heir][0];) heir = children[heir][0];
            erase(heir);
            children[heir] = children[key];
        }
        *link_to(key) = heir ? heir : right;
    }
};

struct Btree {
    btree *root = nullptr;
    std::set<int> held;
    Shape shape;
    int insertions = 0;

    ~Btree() {
        while (root) btree_delete(root->key, &root, [](const void *, const void *) { return 0; });
        EXPECT_EQ(foreign_arguments, 0);
    }
    void find(int key, bool here) {
        EXPECT_EQ(btree_find(search_for(wanted + key), &root, compare_numbers), here ? numbers + key : nullptr);
    }
    void look_up(int key) {
        const int *const searched = search_for(wanted + key, false);
        std::vector<const void *> asked;
        void *const expected = next_by_rule(root, asked);
        EXPECT_EQ(btree_next(searched, root, compare_erratically), expected);
        EXPECT_EQ(compared, asked);
    }
    // The allocation of every eighth insertion fails.
    bool insert(int key, bool here) {
        const NthAllocation failing(insertions++ % 8 ? 2 : 1);
        const btree *node = btree_search(search_for((here ? wanted : numbers) + key), &root, compare_numbers);
        EXPECT_EQ(node ? node->key : nullptr, failing.reached() ? nullptr : numbers + key);
        if (here || !node) return false;
        shape.insert(key);
        return true;
    }
    void erase(int key, bool here) {
        const btree *gone = root, *parent = root;
        while (gone && number(gone) != key) {
            parent = gone;
            gone = key < number(gone) ? gone->left : gone->right;
        }
        const btree *result = btree_delete(search_for(wanted + key), &root, compare_numbers);
        EXPECT_EQ(result, here ? parent : nullptr);
        if (here) shape.erase(key);
    }
    bool same(const btree *node, int key) const {
        if (!node || !key) return !node && !key;
        const auto &[left, right] = shape.children[key];
        return node->key == numbers + key && same(node->left, left) && same(node->right, right);
    }
    void check() const { EXPECT_TRUE(same(root, shape.root)); }
    void check_walks() const {
        std::vector<Visit> expected;
        add_visits<btree>(expected, root, nullptr, [](const btree *node) { return node; });
        visits.clear();
        btree_walk(root, visit);
        EXPECT_EQ(visits, expected);
    }
};

TEST(Btree, RandomOperationsFollowTheModel) { expect_model_followed<Btree>(); }

int difference(const void *a, const void *b) { return *static_cast<const int *>(a) - *static_cast<const int *>(b); }

// A tree of one branch, with its keys and the expected visits of a walk. At each level, the branch turns right if
// rule(level) is true, and left otherwise.
struct Branch {
    Branch(size_t height, bool (*rule)(size_t)) : keys(height), nodes(height) {
        const auto expect = [&](size_t level, int kind) {
            expected.push_back({&nodes[level], kind, static_cast<int>(level)});
        };
        int low = 0, high = static_cast<int>(height) - 1;
        for (size_t i = 0; i < height; i++) {
            const bool right = rule(i), leaf = i + 1 == height;
            keys[i] = right ? low++ : high--;
            nodes[i].key = &keys[i];
            if (!leaf) (right ? nodes[i].right : nodes[i].left) = &nodes[i + 1];
            expect(i, leaf ? 3 : 0);
            if (!leaf && right) expect(i, 1);
        }
        for (size_t i = height - 1; i-- > 0;) {
            if (nodes[i].left) expect(i, 1);
            expect(i, 2);
        }
        visits.reserve(expected.size());
    }
    void check() const {
        visits.clear();
        btree_walk(nodes.data(), visit);
        EXPECT_TRUE(visits == expected);
        const int highest = static_cast<int>(keys.size()) - 1;
        for (const int key : {-1, highest / 3, highest}) {
            const void *next = btree_next(&key, nodes.data(), difference);
            EXPECT_EQ(next ? *static_cast<const int *>(next) : 0, key < highest ? key + 1 : 0);
        }
    }

    std::vector<int> keys;
    std::vector<btree> nodes;
    std::vector<Visit> expected;
};

bool (*const kRules[])(size_t) = {
    [](size_t) { return false; },
    [](size_t) { return true; },
    [](size_t level) { return level % 2 == 0; },
    [](size_t level) { return level % 7 < 3; },
};

// The thread's stack is too small for a frame per level.
TEST(BtreeHeight, WalksDoNotRecurse) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    for (const auto rule : kRules) {
        Branch branch(200000, rule);
        pthread_t thread;
        const auto check = [](void *b) -> void * { return static_cast<Branch *>(b)->check(), nullptr; };
        ASSERT_EQ(pthread_create(&thread, &attributes, check, &branch), 0);
        pthread_join(thread, nullptr);
    }
    pthread_attr_destroy(&attributes);
}

TEST(BtreeHeight, WalksGoOnWithoutMemory) {
    for (const auto rule : kRules) {
        const Branch branch(600, rule);
        for (int n = 1; n <= 8; n++) {
            const NthAllocation failing(n);
            branch.check();
        }
        if (rule != kRules[0]) continue;
        // In the mirrored tree, the lowest left node is the result, far below the level at which memory ran out.
        const int key = 300;
        const NthAllocation failing(1);
        const auto reversed = [](const void *a, const void *b) { return difference(b, a); };
        EXPECT_EQ(btree_next(&key, branch.nodes.data(), reversed), &branch.keys.back());
    }
}

TEST(Btree, NullsAndEmptyTrees) {
    Btree tree;
    int key = 1;
    EXPECT_EQ(btree_search(&key, nullptr, compare_numbers), nullptr);
    for (btree **root : {static_cast<btree **>(nullptr), &tree.root}) {
        EXPECT_EQ(btree_find(&key, root, compare_numbers), nullptr);
        EXPECT_EQ(btree_delete(&key, root, compare_numbers), nullptr);
    }
    EXPECT_EQ(btree_next(&key, nullptr, compare_numbers), nullptr);
    btree_walk(nullptr, visit);
    btree_search(numbers + 1, &tree.root, compare_numbers);
    btree_walk(tree.root, nullptr);
}

}  // namespace
}  // namespace quill::test
