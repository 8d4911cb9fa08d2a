// Common parts of the tests of trees: numbers as keys, a comparison that records its arguments, and random operations.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <vector>

#include "support/random.h"

namespace quill::test {

constexpr int kKeys = 256;

// Each number is at its index. Searched keys and stored keys are different objects.
inline struct Numbers {
    int at[kKeys + 1];
    Numbers() { std::iota(at, at + kKeys + 1, 0); }
    int *operator+(int key) { return at + key; }
} numbers, wanted;

inline const void *searched_key;            // the argument that each comparison must get
inline bool searched_first = true;          // whether it must be the first argument, or else the second one
inline long foreign_arguments;              // the number of comparisons with other arguments
inline std::vector<const void *> compared;  // the other arguments since the last call of search_for

inline const int *search_for(const int *key, bool first = true) {
    searched_key = key;
    searched_first = first;
    compared.clear();
    return key;
}

inline int compare_numbers(const void *a, const void *b) {
    compared.push_back(searched_first ? b : a);
    foreign_arguments += (searched_first ? a : b) != searched_key || compared.back() == searched_key;
    const int x = *static_cast<const int *>(a), y = *static_cast<const int *>(b);
    return x < y ? -3 : x > y ? 3 : 0;
}

// A walk's visit of a node, or of its key.
struct Visit {
    const void *what;
    int kind, depth;
    bool operator==(const Visit &) const = default;
};
inline std::vector<Visit> visits;

// Adds the visits of a walk. A node is visited before, between and after its subtrees, and a leaf once.
template <typename Node, typename What>
void add_visits(std::vector<Visit> &to, const Node *node, const Node *none, What what, int depth = 0) {
    if (node == none) return;
    const auto add = [&](int kind) { to.push_back({what(node), kind, depth}); };
    if (node->left == none && node->right == none) return add(3);
    add(0);
    add_visits(to, node->left, none, what, depth + 1);
    add(1);
    add_visits(to, node->right, none, what, depth + 1);
    add(2);
}

// Makes random operations on a tree and compares it with a model. The tree grows to about two thirds of the keys and
// shrinks to nothing, in turn. Tree provides `held` (the keys in the tree), the operations, look_up() for all other
// calls, check() and check_walks().
template <typename Tree>
void expect_model_followed() {
    for (uint64_t seed = 1; seed <= 3; seed++) {
        Random random(seed);
        Tree tree;
        for (int i = 0; i < 40000 && !testing::Test::HasFailure(); i++) {
            SCOPED_TRACE(i);
            const int key = 1 + static_cast<int>(random.below(kKeys));
            const bool growing = i / 500 % 2 == 0, held = tree.held.count(key) > 0;
            tree.find(key, held);
            if (random.one_in(4)) {
                tree.look_up(key);
            } else if (random.one_in(growing ? 4 : 2)) {
                tree.erase(key, held);
                tree.held.erase(key);
            } else if (tree.insert(key, held)) {
                tree.held.insert(key);
            }
            tree.check();
            if (random.one_in(100)) tree.check_walks();
            EXPECT_EQ(foreign_arguments, 0);
        }
    }
}

}  // namespace quill::test
