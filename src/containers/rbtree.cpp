#include <quill/rbtree.h>

#include <stddef.h>
#include <stdlib.h>

#include <iterator>
#include <utility>

#include "base/memory.h"
#include "containers/walk.h"

// A red-black tree as in the textbooks (Cormen, Leiserson, Rivest: "Introduction to Algorithms", 1990, chapter 14): no
// red node has a red child, and every path from the root down to rb_null has the same number of black nodes. Textbooks
// give each case twice, for left and right; here it is written once, for a side and its opposite, !side.
//
// State: rb_null is the only object that outlives calls. Deletions write its up field, and no call reads what an
// earlier call wrote there.

static_assert(offsetof(rb_node, colour) == 3 * sizeof(void *) && sizeof(rb_node) == (sizeof(void *) == 4 ? 20 : 40));

constinit rb_node rb_null = {&rb_null, &rb_null, &rb_null, 0, nullptr};

namespace {

constexpr uint32_t kBlack = 0, kRed = 1;
constexpr int kLeft = 0, kRight = 1;
rb_node *const kNull = &rb_null;

rb_node *&child(rb_node &node, int side) { return side == kRight ? node.right : node.left; }

int side_of(const rb_node &node) { return node.up->right == &node ? kRight : kLeft; }

// Changes the link of old's parent, or the root, from old to node. The links of node itself do not change.
void replace_child(rb_tree &tree, const rb_node &old, rb_node *node) {
    if (old.up == kNull)
        tree.root = node;
    else
        child(*old.up, side_of(old)) = node;
}

// Moves node down to the given side; its other child takes its place.
void rotate(rb_tree &tree, rb_node &node, int side) {
    rb_node &top = *child(node, !side);
    rb_node *inner = child(top, side);
    child(node, !side) = inner;
    if (inner != kNull) inner->up = &node;  // a deletion still needs the up field of rb_null
    top.up = node.up;
    replace_child(tree, node, &top);
    child(top, side) = &node;
    node.up = &top;
}

struct Descent {
    rb_node *found;  // rb_null when the key is absent
    rb_node *last;   // the last node that was compared
    int order;       // the order of the key relative to last
};

Descent descend(const void *key, const rb_tree &tree) {
    Descent d = {tree.root, kNull, 0};
    while (d.found != kNull) {
        d.last = d.found;
        d.order = tree.compare(key, d.last->key, tree.config);
        if (d.order == 0) break;
        d.found = child(*d.last, d.order > 0 ? kRight : kLeft);
    }
    return d;
}

// Returns the outermost node of the subtree on a side.
rb_node *outermost(rb_node *node, int side) {
    while (child(*node, side) != kNull) node = child(*node, side);
    return node;
}

// Returns the next node in order in the direction of a side; rb_null past the end.
rb_node *neighbour(const rb_node *node, int side) {
    rb_node *below = side == kRight ? node->right : node->left;
    if (below != kNull) return outermost(below, !side);
    rb_node *up = node->up;
    while (up != kNull && node == child(*up, side)) {
        node = up;
        up = up->up;
    }
    return up;
}

// Restores the rules after an insertion. node is red, and its parent may be red too.
void repair_insertion(rb_tree &tree, rb_node *node) {
    while (node->up->colour == kRed) {
        rb_node *parent = node->up;
        rb_node &top = *parent->up;  // never null: the root is black, so a red parent is not the root
        const int side = side_of(*parent);
        rb_node &uncle = *child(top, !side);
        if (uncle.colour == kRed) {
            parent->colour = uncle.colour = kBlack;
            top.colour = kRed;
            node = &top;
            continue;
        }
        if (node == child(*parent, !side)) {
            rotate(tree, *parent, side);
            std::swap(node, parent);
        }
        parent->colour = kBlack;
        top.colour = kRed;
        rotate(tree, top, !side);
    }
    tree.root->colour = kBlack;
}

// Restores the rules after a deletion. Paths through node have one black node too few. node may be rb_null, with its
// parent in up.
void repair_deletion(rb_tree &tree, rb_node *node) {
    while (node != tree.root && node->colour == kBlack) {
        rb_node &parent = *node->up;
        const int side = node == parent.left ? kLeft : kRight;
        rb_node *sibling = child(parent, !side);
        if (sibling->colour == kRed) {
            sibling->colour = kBlack;
            parent.colour = kRed;
            rotate(tree, parent, side);
            sibling = child(parent, !side);
        }
        if (sibling->left->colour == kBlack && sibling->right->colour == kBlack) {
            sibling->colour = kRed;
            node = &parent;
            continue;
        }
        if (child(*sibling, !side)->colour == kBlack) {
            child(*sibling, side)->colour = kBlack;
            sibling->colour = kRed;
            rotate(tree, *sibling, !side);
            sibling = child(parent, !side);
        }
        sibling->colour = std::exchange(parent.colour, kBlack);
        child(*sibling, !side)->colour = kBlack;
        rotate(tree, parent, side);
        node = tree.root;
    }
    if (node->colour == kRed) node->colour = kBlack;  // never write rb_null's colour: other threads read it
}

struct Lookup {
    bool takes_equal;  // accepts the equal key
    bool needs_equal;  // finds nothing without an equal key
    int side;          // which neighbour is the result otherwise
};

constexpr Lookup kLookups[] = {
    {true, true, kRight},    // RB_LOOKUP_EQUAL
    {true, false, kRight},   // RB_LOOKUP_AT_LEAST
    {true, false, kLeft},    // RB_LOOKUP_AT_MOST
    {false, false, kLeft},   // RB_LOOKUP_BELOW
    {false, false, kRight},  // RB_LOOKUP_ABOVE
    {false, true, kRight},   // RB_LOOKUP_NEXT
    {false, true, kLeft},    // RB_LOOKUP_PREVIOUS
};

// The way back up in a walk. Nodes have up links, so nothing is stored.
struct UpLinks {
    static bool push(rb_node *) { return true; }
    static rb_node *pop(rb_node *node) { return node->up == kNull ? nullptr : node->up; }
};

}  // namespace

rb_tree *rbinit(rb_comparison compare, void *config) {
    rb_tree *tree = quill::new_zeroed<rb_tree>().release();
    if (tree) *tree = {compare, config, kNull};
    return tree;
}

rb_tree *__rbinit(rb_comparison compare, void *config) { return rbinit(compare, config); }

void rbterminate(rb_tree *tree, int free_keys) {
    if (!tree) return;
    for (rb_node *node = tree->root; node != kNull;) {
        rb_node *&below = node->left != kNull ? node->left : node->right;
        if (below != kNull) {  // release the subtree first; its link is cleared, so this happens once
            node = std::exchange(below, kNull);
            continue;
        }
        const quill::Owned<rb_node> leaf(node);
        node = leaf->up;
        if (free_keys) free(leaf->key);
    }
    free(tree);
}

void *rbsearch(const void *key, rb_tree *tree) {
    if (!tree) return nullptr;
    const Descent d = descend(key, *tree);
    if (d.found != kNull) return d.found->key;
    rb_node *node = quill::new_object<rb_node>().release();
    if (!node) return nullptr;
    *node = {kNull, kNull, d.last, kRed, const_cast<void *>(key)};  // returned with the type that it had
    if (d.last == kNull) {
        tree->root = node;
    } else {
        // Compatibility: programs see this second comparison with the last key. If its result differs from the one in
        // the descent, the subtree on that side must not be lost.
        const int side = tree->compare(key, d.last->key, tree->config) < 0 ? kLeft : kRight;
        child(*d.last, child(*d.last, side) == kNull ? side : !side) = node;
    }
    repair_insertion(*tree, node);
    return node->key;
}

void *rbfind(const void *key, const rb_tree *tree) { return tree ? descend(key, *tree).found->key : nullptr; }

void *rbdelete(const void *key, rb_tree *tree) {
    if (!tree) return nullptr;
    rb_node *node = descend(key, *tree).found;
    if (node == kNull) return nullptr;
    void *deleted = node->key;
    const bool two_children = node->left != kNull && node->right != kNull;
    const quill::Owned<rb_node> leaving(two_children ? neighbour(node, kRight) : node);
    rb_node *below = leaving->left != kNull ? leaving->left : leaving->right;
    below->up = leaving->up;  // also if below is rb_null: the repair starts there
    replace_child(*tree, *leaving, below);
    node->key = leaving->key;
    if (leaving->colour == kBlack) repair_deletion(*tree, below);
    return deleted;
}

void *rblookup(int mode, const void *key, const rb_tree *tree) {
    if (!tree) return nullptr;
    if (mode == RB_LOOKUP_FIRST) return outermost(tree->root, kLeft)->key;
    if (mode == RB_LOOKUP_LAST) return outermost(tree->root, kRight)->key;
    if (mode < 0 || static_cast<size_t>(mode) >= std::size(kLookups)) return nullptr;
    const Lookup &lookup = kLookups[mode];
    const Descent d = descend(key, *tree);
    const bool found = d.found != kNull;
    if (found ? lookup.takes_equal : lookup.needs_equal) return d.found->key;
    // Without a match, the key belongs right beside the last node. So the last node is the key's neighbour on one side.
    const bool last_is_it = lookup.side == kRight ? d.order <= 0 : d.order >= 0;
    return (!found && last_is_it ? d.last : neighbour(d.last, lookup.side))->key;
}

void rbwalk(const rb_tree *tree, rb_action action, void *argument) {
    if (!tree) return;
    quill::walk<UpLinks>(tree->root, kNull,
                         [&](rb_node *node, int visit, int depth) { action(node->key, visit, depth, argument); });
}

rb_list_cursor *rbopenlist(const rb_tree *tree) {
    if (!tree) return nullptr;
    rb_list_cursor *cursor = quill::new_zeroed<rb_list_cursor>().release();
    if (cursor) *cursor = {tree->root, outermost(tree->root, kLeft)};
    return cursor;
}

void *rbreadlist(rb_list_cursor *cursor) {
    if (!cursor || cursor->next == kNull) return nullptr;
    return std::exchange(cursor->next, neighbour(cursor->next, kRight))->key;
}

void rbcloselist(rb_list_cursor *cursor) { free(cursor); }
