/* quill/btree.h: a plain binary search tree like that of the C library's tsearch: the simplest structure for a small
 * set.
 *
 * A tree is one pointer in your program to its root, or null for an empty tree. Each call gets the comparison. Nodes
 * are small heap records that hold your key pointer. Keys are never copied or freed.
 *
 * Cost: one heap block per key, of 12 bytes on the device and 24 on a 64-bit host. The tree is not balanced. Search,
 * insertion and deletion walk down one branch. A branch has about 2 ln(n) levels for keys that come in random order (14
 * for 1,000), but n levels for sorted keys. For sorted keys and for large sets, use quill/rbtree.h or quill/savl.h.
 *
 * btree_search, btree_find and btree_delete take the address of your root pointer, and return null when that address is
 * null. btree_walk and btree_next take the pointer itself, null for an empty tree.
 *
 * btree_search returns the node, but btree_find returns the key pointer. A node starts with its key pointer, so a node
 * pointer may also be read as a pointer to the key pointer. Keys should not be null pointers: a null result means that
 * there is no such key.
 *
 * A tree has no lock: only one thread at a time may use it. Any number of threads may find and walk in a tree that no
 * thread changes.
 *
 *     static int by_name(const void *a, const void *b) { return strcmp(a, b); }
 *
 *     btree *names = NULL;
 *     btree *node = btree_search("eth0", &names, by_name);    // null: out of memory
 *     const char *same = btree_find("eth0", &names, by_name);
 *     while (names) btree_delete(names->key, &names, by_name); */
#ifndef QUILL_BTREE_H
#define QUILL_BTREE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* btree is a node, made and freed by the tree. A program may read its fields, but not change them. */
typedef struct btree btree;
struct btree {
    void *key;    /* borrowed: the program's object */
    btree *left;  /* smaller keys, null if none */
    btree *right; /* greater keys, null if none */
};

/* btree_comparison gives the order of key a against key b: negative (before), 0 (equal) or positive (after). In
 * btree_search, btree_find and btree_delete, a is the given key and b one in the tree. In btree_next, a is the key in
 * the tree and b the given key. So swapping a and b must swap the sign. */
typedef int (*btree_comparison)(const void *a, const void *b);

/* btree_search returns the node whose key is equal to key. When the key is absent, it inserts a new leaf with key
 * (kept) and returns that; an empty tree gets its first node. The node is borrowed and lasts until its key is deleted.
 * Returns null with the tree unchanged when out of memory. */
QUILL_API btree *btree_search(const void *key, btree **root, btree_comparison compare);

/* btree_find returns the key pointer in the tree that is equal to key, or null. */
QUILL_API void *btree_find(const void *key, btree *const *root, btree_comparison compare);

/* btree_delete removes the key that is equal to key and frees its node. The key itself stays. Returns the parent of the
 * freed node. When the freed node was the root, it returns that node's former address. Do not follow that address: it
 * only shows that the key was present. Returns null when the key is absent. */
QUILL_API btree *btree_delete(const void *key, btree **root, btree_comparison compare);

/* btree_action is called with a node, the kind of this visit (QUILL_PREORDER …), and the node's depth, 0 at the root.
 */
typedef void (*btree_action)(const btree *node, int visit, int depth);

/* btree_walk calls action three times for each node under root that has a child, and once (QUILL_LEAF) for a node
 * without. The calls with QUILL_POSTORDER and QUILL_LEAF have the keys in ascending order. The action must not change
 * the tree. Does nothing when root or action is null. The walk works for a tree of any height. Beyond 64 levels it
 * keeps the path to the root on the heap, one pointer per level. It uses the stack for that only when the heap is
 * exhausted. */
QUILL_API void btree_walk(const btree *root, btree_action action);

/* btree_next returns the smallest key under root that is greater than key, or null; root may be null. It compares every
 * node whose key is not greater than key, so it costs up to the size of the tree. It keeps the path to the root as
 * btree_walk does. */
QUILL_API void *btree_next(const void *key, const btree *root, btree_comparison compare);

QUILL_END_DECLS

#endif
