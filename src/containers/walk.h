// Walks of binary trees without recursion, because the stack of a thread on the device is small. An unbalanced tree can
// have as many levels as keys.
#pragma once

#include <quill/types.h>

#include <algorithm>
#include <type_traits>
#include <utility>

#include "base/memory.h"

namespace quill {

// A stack of the nodes to return to. It uses the heap only when it grows.
template <typename Node>
class Path {
public:
    Path() = default;
    Path(const Path &) = delete;
    Path &operator=(const Path &) = delete;

    [[nodiscard]] bool push(Node *node) {
        if (size_ == capacity_ && !grow()) return false;
        nodes_[size_++] = node;
        return true;
    }
    Node *pop(const Node * = nullptr) { return size_ > 0 ? nodes_[--size_] : nullptr; }
    void clear() { size_ = 0; }

private:
    bool grow() {
        Owned<Node *> more = new_zeroed<Node *>(2 * capacity_);
        if (!more) return false;
        std::copy_n(nodes_, size_, more.get());
        heap_ = std::move(more);
        nodes_ = heap_.get();
        capacity_ *= 2;
        return true;
    }

    Node *near_[64];
    Owned<Node *> heap_;
    Node **nodes_ = near_;
    size_t size_ = 0;
    size_t capacity_ = 64;
};

// Calls visit(node, QUILL_…, depth) for the tree under root; none is the pointer of an absent child. A node with
// children is visited three times, with its left and its right subtree between the visits. Stack is a class such as
// Path. push(node) is called before a child is entered, and pop(child) when the child's subtree is done. If push() runs
// out of memory, the walk uses recursion for that subtree.
template <typename Stack, typename Node, typename Visit>
void walk(Node *root, std::type_identity_t<Node> *none, const Visit &visit, int depth = 0) {
    Stack ancestors;
    Node *node = root == none ? nullptr : root;
    int kind = QUILL_PREORDER;
    while (node) {
        const bool leaf = node->left == none && node->right == none;
        visit(node, leaf ? +QUILL_LEAF : kind, depth);
        if (leaf || kind == QUILL_ENDORDER) {
            Node *up = ancestors.pop(node);
            if (up) kind = up->left == node ? QUILL_POSTORDER : QUILL_ENDORDER;
            node = up;
            depth--;
            continue;
        }
        Node *below = kind == QUILL_PREORDER ? node->left : node->right;
        kind++;
        if (below == none) continue;
        if (!ancestors.push(node)) {
            walk<Stack>(below, none, visit, depth + 1);
            continue;
        }
        node = below;
        kind = QUILL_PREORDER;
        depth++;
    }
}

}  // namespace quill
