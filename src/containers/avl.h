// The AVL algorithm of both trees, savl and savle, as templates over their node types.
//
//     record.right ──▶ root        record ⇄ smallest ⇄ … ⇄ greatest ⇄ record
//
// A node is a child on one side of its parent. The root is the right child of the tree record, whose parent is always
// null. So the root is a special case only where a climb ends. Only attach() links a child with its parent. Balancing
// changes the tree's shape only with rotate(); a double rotation is two calls. Textbooks give each case twice,
// mirrored; here `side`, `heavy` and `light` name either side.
//
// Heights are not stored: a node's balance is the side that is higher by one, if any. After an insertion or a deletion,
// a loop climbs from that place and adjusts balances. It ends at the first subtree whose height does not change.
#pragma once

#include <stdint.h>

namespace quill::avl {

constexpr int kLeft = 0, kRight = 1;

// Returns what one more level on the side adds to a balance.
constexpr int lean(int side) { return side == kRight ? 1 : -1; }

template <typename Node>
Node *&child(Node &node, int side) {
    return side == kRight ? node.right : node.left;
}

template <typename Node>
void set_balance(Node &node, int balance) {
    node.balance = static_cast<int16_t>(balance);
}

template <typename Node>
void attach(Node &parent, int side, Node *node) {
    child(parent, side) = node;
    if (!node) return;
    node->parent = &parent;
    node->side = static_cast<uint16_t>(side);
}

// compare(node) returns the order of the searched key relative to the node's key.
template <typename Node, typename Compare>
Node *find(Node &record, Node **at, int *side, Compare compare) {
    Node *last = &record;
    int turn = kRight;
    for (Node *node = record.right; node; node = child(*node, turn)) {
        const int order = compare(*node);
        if (order == 0) return node;
        last = node;
        turn = order < 0 ? kLeft : kRight;
    }
    if (at) {
        *at = last;
        *side = turn;
    }
    return nullptr;
}

//        node               top
//       /    \             /   \          heavy is the right side here
//      a     top   ──▶   node   c
//           /   \       /    \             .
//          b     c     a      b
template <typename Node>
void rotate(Node &node, int heavy) {
    Node &top = *child(node, heavy);
    attach(*node.parent, node.side, &top);
    attach(node, heavy, child(top, !heavy));
    attach(top, !heavy, &node);
}

// Corrects a balance of -2 or 2. Returns whether the subtree is now a level lower; its top is then the node's parent.
template <typename Node>
bool rebalance(Node &node) {
    const int heavy = node.balance > 0 ? kRight : kLeft, light = !heavy;
    Node &below = *child(node, heavy);
    if (below.balance == lean(light)) {
        Node &middle = *child(below, light);
        rotate(below, light);
        rotate(node, heavy);
        set_balance(node, middle.balance == lean(heavy) ? lean(light) : 0);
        set_balance(below, middle.balance == lean(light) ? lean(heavy) : 0);
        set_balance(middle, 0);
        return true;
    }
    const bool lower = below.balance != 0;  // 0 occurs only in deletions
    rotate(node, heavy);
    set_balance(node, lower ? 0 : lean(heavy));
    set_balance(below, lower ? 0 : lean(light));
    return lower;
}

template <typename Node>
void thread_between(Node &node, Node &prev, Node &next) {
    node.prev = &prev;
    node.next = &next;
    prev.next = &node;
    next.prev = &node;
}

template <typename Node>
void insert(Node &node, Node &at, int side) {
    if (side == kLeft)
        thread_between(node, *at.prev, at);
    else
        thread_between(node, at, *at.next);
    node.left = node.right = nullptr;
    set_balance(node, 0);
    attach(at, side, &node);
    for (Node *up = &at; up->parent; side = up->side, up = up->parent) {
        const bool was_level = up->balance == 0;
        set_balance(*up, up->balance + lean(side));
        if (was_level) continue;
        if (up->balance != 0) rebalance(*up);
        return;
    }
}

// Removes a node that has at most one child.
template <typename Node>
void unlink(Node &node) {
    Node *up = node.parent;
    int side = node.side;
    attach(*up, side, node.left ? node.left : node.right);
    node.prev->next = node.next;
    node.next->prev = node.prev;
    node.parent = nullptr;
    for (; up->parent; side = up->side, up = up->parent) {
        const bool was_level = up->balance == 0;
        set_balance(*up, up->balance - lean(side));
        if (was_level) return;
        if (up->balance == 0) continue;
        if (!rebalance(*up)) return;
        up = up->parent;
    }
}

// Puts heir, which is in no tree, in the node's place.
template <typename Node>
void replace(Node &node, Node &heir) {
    set_balance(heir, node.balance);
    attach(*node.parent, node.side, &heir);
    attach(heir, kLeft, node.left);
    attach(heir, kRight, node.right);
    thread_between(heir, *node.prev, *node.next);
    node.parent = nullptr;
}

template <typename Node>
void erase(Node &node) {
    if (!node.parent) return;
    if (!node.left || !node.right) return unlink(node);
    Node &heir = *node.next;  // the smallest of the right subtree: it has no left child
    unlink(heir);
    replace(node, heir);
}

}  // namespace quill::avl
