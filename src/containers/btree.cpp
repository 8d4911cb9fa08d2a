#include <quill/btree.h>

#include <stddef.h>

#include "base/memory.h"
#include "containers/walk.h"

// A descent ends at a link: the pointer to the node that was found, or the null where the key belongs. Insertion and
// deletion change that pointer, so the root is not a special case.

static_assert(offsetof(btree, key) == 0 && sizeof(btree) == 3 * sizeof(void *));

namespace {

struct Place {
    btree **link;
    btree *parent;  // the root itself if the link is the root pointer
};

Place find_place(const void *key, btree **root, btree_comparison compare) {
    Place place = {root, *root};
    while (btree *node = *place.link) {
        const int order = compare(key, node->key);
        if (order == 0) break;
        place = {order < 0 ? &node->left : &node->right, node};
    }
    return place;
}

// Removes the node that link points at from the tree and relinks its children. The node itself does not change.
void unlink(btree **link) {
    const btree *node = *link;
    if (!node->left || !node->right) {
        *link = node->left ? node->left : node->right;
        return;
    }
    btree *heir = node->right;  // the smallest node of the right subtree
    if (heir->left) {
        btree **heir_link = &heir->left;
        while ((*heir_link)->left) heir_link = &(*heir_link)->left;
        heir = *heir_link;
        *heir_link = heir->right;
        heir->right = node->right;
    }
    heir->left = node->left;
    *link = heir;
}

}  // namespace

btree *btree_search(const void *key, btree **root, btree_comparison compare) {
    if (!root) return nullptr;
    btree **link = find_place(key, root, compare).link;
    if (*link) return *link;
    btree *node = quill::new_object<btree>().release();
    if (!node) return nullptr;
    node->key = const_cast<void *>(key);  // returned to the program with the type that it passed
    return *link = node;
}

void *btree_find(const void *key, btree *const *root, btree_comparison compare) {
    if (!root) return nullptr;
    const btree *node = *find_place(key, const_cast<btree **>(root), compare).link;
    return node ? node->key : nullptr;
}

btree *btree_delete(const void *key, btree **root, btree_comparison compare) {
    if (!root) return nullptr;
    const Place place = find_place(key, root, compare);
    const quill::Owned<btree> node(*place.link);
    if (!node) return nullptr;
    unlink(place.link);
    return place.parent;
}

void btree_walk(const btree *root, btree_action action) {
    if (!action) return;
    quill::walk<quill::Path<const btree>>(root, nullptr, action);
}

// The stack holds nodes whose key is not above `key`; their right subtrees are still to be searched. A node above `key`
// becomes the answer so far. The stack is then cleared, because the right subtrees of the stacked nodes come later in
// the tree.
void *btree_next(const void *key, const btree *root, btree_comparison compare) {
    quill::Path<const btree> not_above;
    void *answer = nullptr;
    const btree *node = root;
    for (;;) {
        if (!node) {
            node = not_above.pop();
            if (!node) return answer;
            node = node->right;
        } else if (compare(node->key, key) > 0) {
            not_above.clear();
            answer = node->key;
            node = node->left;
        } else if (!node->left) {
            node = node->right;
        } else if (not_above.push(node)) {
            node = node->left;
        } else {  // no memory: use recursion
            void *below = btree_next(key, node->left, compare);
            if (below) return below;
            node = node->right;
        }
    }
}
