#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/btree.h>
#include <stdlib.h>

#include <memory>
#include <set>
#include <vector>

#include "support/failing_alloc.h"
#include "support/random.h"

namespace {

using quill::test::expect_failures_survived;
using quill::test::NthAllocation;
using quill::test::Random;

constexpr int kKeys = 128;
int numbers[kKeys + 1], wanted[kKeys + 1];  // what trees hold, and what is searched for
const void *given_key;
bool given_first;  // whether the given key is to come first
long foreign_arguments;
std::vector<const void *> compared;  // the keys of the tree, as they were asked about

int compare(const void *a, const void *b) {
    const void *held = given_first ? b : a;
    foreign_arguments += (given_first ? a : b) != given_key || held == given_key;
    compared.push_back(held);
    const int x = *static_cast<const int *>(a), y = *static_cast<const int *>(b);
    return x < y ? -3 : x > y ? 3 : 0;
}

int number(const btree *node) { return *static_cast<const int *>(node->key); }

const int *give(const int *key, bool first) {
    given_key = key;
    given_first = first;
    compared.clear();
    return key;
}

// The tree as it should be, by numbers.
struct Shape {
    int key;
    std::unique_ptr<Shape> left, right;
};
using Link = std::unique_ptr<Shape>;

Link *find(Link &root, int key, Shape **parent = nullptr) {
    Link *link = &root;
    while (*link && (*link)->key != key) {
        if (parent) *parent = link->get();
        link = key < (*link)->key ? &(*link)->left : &(*link)->right;
    }
    return link;
}

void erase(Link &link) {
    const Link gone = std::move(link);
    if (!gone->left || !gone->right) {
        link = std::move(gone->left ? gone->left : gone->right);
        return;
    }
    if (!gone->right->left) {
        link = std::move(gone->right);
        link->left = std::move(gone->left);
        return;
    }
    Link *far = &gone->right;
    while ((*far)->left) far = &(*far)->left;
    link = std::move(*far);
    *far = std::move(link->right);
    link->left = std::move(gone->left);
    link->right = std::move(gone->right);
}

bool same(const btree *node, const Link &shape) {
    if (!node || !shape) return !node && !shape;
    return node->key == &numbers[shape->key] && same(node->left, shape->left) && same(node->right, shape->right);
}

struct Visit {
    const btree *node;
    int kind, depth;
    bool operator==(const Visit &) const = default;
};
std::vector<Visit> visits;

void visit(const btree *node, int kind, int depth) { visits.push_back({node, kind, depth}); }

void expect_visits(const btree *node, int depth, std::vector<Visit> &expected) {
    if (!node) return;
    if (!node->left && !node->right) return expected.push_back({node, 3, depth});
    expected.push_back({node, 0, depth});
    expect_visits(node->left, depth + 1, expected);
    expected.push_back({node, 1, depth});
    expect_visits(node->right, depth + 1, expected);
    expected.push_back({node, 2, depth});
}

// No order at all: the rules of searches hold all the same.
int compare_erratically(const void *a, const void *b) {
    compare(a, b);
    return *static_cast<const int *>(a) * 7 % 5 - 2;
}

// The search for the next key as its rule says it, with the keys in the order of their comparisons.
void *next_by_rule(const btree *node, bool (*above)(int key), std::vector<const void *> &asked) {
    if (!node) return nullptr;
    asked.push_back(node->key);
    if (void *below = next_by_rule(node->left, above, asked)) return below;
    return above(number(node)) ? node->key : next_by_rule(node->right, above, asked);
}

void expect_next(int key, const btree *root) {
    given_key = &wanted[key];
    struct {
        btree_comparison compare;
        bool (*above)(int key);
    } static constexpr kCases[] = {
        {compare, [](int n) { return n > *static_cast<const int *>(given_key); }},
        {compare_erratically, [](int n) { return n * 7 % 5 > 2; }},
    };
    for (const auto &c : kCases) {
        std::vector<const void *> asked;
        void *expected = next_by_rule(root, c.above, asked);
        EXPECT_EQ(btree_next(give(&wanted[key], false), root, c.compare), expected);
        EXPECT_EQ(compared, asked);
    }
}

void expect_walk(const btree *root) {
    std::vector<Visit> expected;
    expect_visits(root, 0, expected);
    visits.clear();
    btree_walk(root, visit);
    EXPECT_EQ(visits, expected);
}

class Btree : public testing::Test {
protected:
    Btree() {
        for (int i = 0; i <= kKeys; i++) numbers[i] = wanted[i] = i;
    }
    ~Btree() override {
        given_first = true;
        while (root_) btree_delete(given_key = root_->key, &root_, [](const void *, const void *) { return 0; });
        EXPECT_EQ(foreign_arguments, 0);
    }
    btree *root_ = nullptr;
};

TEST_F(Btree, RandomOperationsFollowTheModel) {
    Random random(1);
    Link shape;
    std::set<int> held;
    for (int i = 0; i < 60000 && !HasFailure(); i++) {
        SCOPED_TRACE(i);
        const int key = 1 + static_cast<int>(random.below(kKeys));
        const bool growing = i / 500 % 2 == 0, here = held.count(key) > 0;
        EXPECT_EQ(btree_find(give(&wanted[key], true), &root_, compare), here ? &numbers[key] : nullptr);
        if (random.one_in(8)) {
            expect_next(key, root_);
        } else if (random.one_in(growing ? 4 : 2)) {
            Shape *parent = shape.get();
            Link *link = find(shape, key, &parent);
            const btree *gone = root_, *parent_node = root_;
            while (gone && number(gone) != key) {
                parent_node = gone;
                gone = key < number(gone) ? gone->left : gone->right;
            }
            const btree *result = btree_delete(give(&wanted[key], true), &root_, compare);
            EXPECT_EQ(result, here ? parent_node : nullptr);
            if (here) erase(*link);
            held.erase(key);
        } else {
            const btree *node = btree_search(give(here ? &wanted[key] : &numbers[key], true), &root_, compare);
            ASSERT_NE(node, nullptr);
            EXPECT_EQ(node->key, &numbers[key]);
            if (!here) *find(shape, key) = Link(new Shape{key, nullptr, nullptr});
            held.insert(key);
        }
        EXPECT_TRUE(same(root_, shape));
        if (random.one_in(50)) expect_walk(root_);
    }
    std::vector<int> in_order;
    visits.clear();
    btree_walk(root_, visit);
    for (const Visit &v : visits)
        if (v.kind == QUILL_POSTORDER || v.kind == QUILL_LEAF) in_order.push_back(number(v.node));
    EXPECT_EQ(in_order, std::vector<int>(held.begin(), held.end()));
}

// A tree of one branch, which turns left or right by rule(level), and its keys.
struct Branch {
    explicit Branch(size_t height, bool (*rule)(size_t)) : keys(height), nodes(height) {
        int low = 0, high = static_cast<int>(height) - 1;
        for (size_t i = 0; i < height; i++) {
            const bool right = rule(i);
            keys[i] = right ? low++ : high--;
            nodes[i].key = &keys[i];
            if (i + 1 < height) (right ? nodes[i].right : nodes[i].left) = &nodes[i + 1];
        }
    }
    void check() const {
        visits.clear();
        visits.reserve(3 * nodes.size());
        btree_walk(nodes.data(), visit);
        size_t at = 0;
        const auto visited = [&](size_t level, int kind) {
            return visits[at++] == Visit{&nodes[level], kind, static_cast<int>(level)};
        };
        bool right_order = visits.size() == 3 * nodes.size() - 2;
        for (size_t i = 0; i + 1 < nodes.size() && right_order; i++)
            right_order = visited(i, 0) && (nodes[i].left || visited(i, 1));
        right_order = right_order && visited(nodes.size() - 1, 3);
        for (size_t i = nodes.size() - 1; i-- > 0 && right_order;)
            right_order = (!nodes[i].left || visited(i, 1)) && visited(i, 2);
        EXPECT_TRUE(right_order) << "visit " << at;

        const auto above = [](const void *a, const void *b) {
            return *static_cast<const int *>(a) - *static_cast<const int *>(b);
        };
        for (const int key : {-1, static_cast<int>(keys.size() / 3), static_cast<int>(keys.size()) - 1}) {
            const void *next = btree_next(&key, nodes.data(), above);
            EXPECT_EQ(next ? *static_cast<const int *>(next) : 0,
                      key + 1 < static_cast<int>(keys.size()) ? key + 1 : 0);
        }
    }

    std::vector<int> keys;
    std::vector<btree> nodes;
};

bool (*const kRules[])(size_t) = {
    [](size_t) { return false; },
    [](size_t) { return true; },
    [](size_t level) { return level % 2 == 0; },
    [](size_t level) { return level % 7 < 3; },
};

// On a stack that would not hold a frame for each level.
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
    for (const auto rule : kRules)
        for (int n = 1; n <= 8; n++) {
            const Branch branch(600, rule);
            const NthAllocation failing(n);
            branch.check();
            if (rule != kRules[0]) continue;
            // The other way round, the lowest left node answers, from far below where memory ended.
            const int key = 300;
            const NthAllocation failing_again(1);
            const auto reversed = [](const void *a, const void *b) {
                return *static_cast<const int *>(b) - *static_cast<const int *>(a);
            };
            EXPECT_EQ(btree_next(&key, branch.nodes.data(), reversed), &branch.keys.back());
        }
}

TEST_F(Btree, FailedAllocationsLeaveTheTreeAsItWas) {
    for (const int key : {2, 1, 3}) {
        const auto insert = [&] { return btree_search(give(&numbers[key], true), &root_, compare) != nullptr; };
        const auto absent = [&] { EXPECT_EQ(btree_find(give(&wanted[key], true), &root_, compare), nullptr); };
        EXPECT_EQ(expect_failures_survived(insert, absent), 1);
    }
}

TEST_F(Btree, NullsAndEmptyTrees) {
    int key = 1;
    EXPECT_EQ(btree_search(&key, nullptr, compare), nullptr);
    EXPECT_EQ(btree_find(&key, nullptr, compare), nullptr);
    EXPECT_EQ(btree_delete(&key, nullptr, compare), nullptr);
    EXPECT_EQ(btree_find(&key, &root_, compare), nullptr);
    EXPECT_EQ(btree_delete(&key, &root_, compare), nullptr);
    EXPECT_EQ(btree_next(&key, nullptr, compare), nullptr);
    btree_walk(nullptr, visit);
    btree_search(&numbers[1], &root_, compare);
    btree_walk(root_, nullptr);
}

}  // namespace
