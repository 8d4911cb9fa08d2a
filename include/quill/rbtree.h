/* quill/rbtree.h: an ordered set of pointers to your records: a red-black tree with a heap node per key.
 *
 * The tree keeps key pointers, usually to records that carry the key. It finds a given key, the next key, and the
 * nearest key above or below a given key. It frees keys only in rbterminate, and only when free_keys is not 0.
 *
 * Cost: one heap block per key, of 20 bytes on the device and 40 on a 64-bit host. A tree of n keys is at most 2 log2(n
 * + 1) levels high: 19 for 1,000 keys, 39 for a million. Each search, insertion, deletion and look-up descends once,
 * and then climbs at most once to the root. A step of a cursor takes constant time on average. The trees of
 * quill/savl.h and quill/savle.h need no heap and are lower, but records must contain their nodes.
 *
 * Every function accepts a null tree or cursor: the function then does nothing and returns null. Keys should not be
 * null pointers, because a null result means that no such key exists.
 *
 * Threads: only one thread at a time may use a tree. Deletions also write rb_null, which all trees share. So two
 * threads must not call rbdelete at the same time, even for different trees. Protect all calls of rbdelete with one
 * lock. The other functions may run at the same time as rbdelete, on other trees.
 *
 *     static int by_metric(const void *a, const void *b, void *config) {
 *         const struct route *x = a, *y = b;
 *         (void)config;
 *         return (x->metric > y->metric) - (x->metric < y->metric);
 *     }
 *
 *     rb_tree *routes = rbinit(by_metric, NULL);
 *     if (rbsearch(route, routes) != route) ...               // out of memory, or another has that metric
 *     const struct route wanted = {.metric = 10};
 *     struct route *best = rblookup(RB_LOOKUP_AT_LEAST, &wanted, routes);
 *     rbterminate(routes, 0);                                 // the routes stay */
#ifndef QUILL_RBTREE_H
#define QUILL_RBTREE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* rb_node is a node, made and freed by the tree. */
typedef struct rb_node rb_node;
struct rb_node {
    rb_node *left;   /* child with smaller keys; &rb_null when absent, as in the next two fields */
    rb_node *right;  /* child with greater keys */
    rb_node *up;     /* parent */
    uint32_t colour; /* 0 black, 1 red */
    void *key;       /* borrowed: the program's object */
};

/* rb_null takes the place of every absent child and parent. It is black, its key is null, and its links point to
 * itself. Deletions write its up field. Programs may only compare pointers with its address. */
extern QUILL_API rb_node rb_null;

/* rb_comparison returns the order of key a against key b: negative (before), 0 (equal) or positive (after). In a
 * search, a is the key that is searched for, and b is a key in the tree. */
typedef int (*rb_comparison)(const void *a, const void *b, void *config);

/* rb_tree is a tree. A program may read its fields, but not change them. */
typedef struct rb_tree {
    rb_comparison compare; /* the order */
    void *config;          /* passed to each comparison */
    rb_node *root;         /* &rb_null when empty */
} rb_tree;

/* rb_list_cursor is a position in a walk by rbreadlist. A program may read its fields, but not change them. */
typedef struct rb_list_cursor {
    rb_node *root; /* the root of the tree when the cursor was opened */
    rb_node *next; /* what rbreadlist returns next; &rb_null at the end */
} rb_list_cursor;

/* These numbers select the key that rblookup returns. Any other number gives null. */
enum {
    RB_LOOKUP_EQUAL = 0,    /* the key equal to the given one */
    RB_LOOKUP_AT_LEAST = 1, /* the equal key, else the smallest greater one */
    RB_LOOKUP_AT_MOST = 2,  /* the equal key, else the greatest smaller one */
    RB_LOOKUP_BELOW = 3,    /* the greatest smaller key */
    RB_LOOKUP_ABOVE = 4,    /* the smallest greater key */
    RB_LOOKUP_NEXT = 5,     /* as RB_LOOKUP_ABOVE, but null when the given key is absent */
    RB_LOOKUP_PREVIOUS = 6, /* as RB_LOOKUP_BELOW, but null when the given key is absent */
    RB_LOOKUP_FIRST = 7,    /* the smallest key; the given one is not used */
    RB_LOOKUP_LAST = 8      /* the greatest key; the given one is not used */
};

/* rbinit returns a new empty tree, or null when out of memory. config (kept, may be null) is passed to each comparison.
 * Release the tree with rbterminate. */
QUILL_API rb_tree *rbinit(rb_comparison compare, void *config);

/* __rbinit does what rbinit does. */
QUILL_API rb_tree *__rbinit(rb_comparison compare, void *config);

/* rbterminate frees tree (taken) with its nodes. When free_keys is not 0, it also passes every key to free(). */
QUILL_API void rbterminate(rb_tree *tree, int free_keys);

/* rbsearch returns the key of tree that is equal to key. When the key is absent, rbsearch inserts key (kept) and
 * returns key. Returns null with the tree unchanged when out of memory. An insertion makes one comparison more than its
 * search, except in an empty tree. */
QUILL_API void *rbsearch(const void *key, rb_tree *tree);

/* rbfind returns the key of tree that is equal to key, or null. */
QUILL_API void *rbfind(const void *key, const rb_tree *tree);

/* rbdelete removes the key that is equal to key from tree and returns it. rbdelete does not free the key. Returns null
 * when the key is absent. If the key's node has two children, the next greater key moves into that node. The node that
 * this key had before is freed. */
QUILL_API void *rbdelete(const void *key, rb_tree *tree);

/* rblookup returns the key of tree that mode (RB_LOOKUP_…) selects, or null. With keys 10, 20 and 30,
 * RB_LOOKUP_AT_LEAST of 15 gives 20, RB_LOOKUP_BELOW of 20 gives 10, and RB_LOOKUP_NEXT of 15 gives null. */
QUILL_API void *rblookup(int mode, const void *key, const rb_tree *tree);

/* rb_action is called with a key, the kind of this visit of its node (QUILL_PREORDER …), and the node's depth, 0 at the
 * root. It also gets the argument of the walk. */
typedef void (*rb_action)(void *key, int visit, int depth, void *argument);

/* rbwalk calls action three times for each node of tree that has a child, and once (QUILL_LEAF) for a node without. The
 * calls with QUILL_POSTORDER and QUILL_LEAF have the keys in ascending order. The action must not change the tree. */
QUILL_API void rbwalk(const rb_tree *tree, rb_action action, void *argument);

/* rbopenlist returns a new cursor on the smallest key, or null when out of memory. Release it with rbcloselist. Nothing
 * may be inserted or deleted while the cursor is open. */
QUILL_API rb_list_cursor *rbopenlist(const rb_tree *tree);

/* rbreadlist returns the key under the cursor and moves the cursor to the next greater key. Returns null at the end. */
QUILL_API void *rbreadlist(rb_list_cursor *cursor);

/* rbcloselist frees cursor (taken). */
QUILL_API void rbcloselist(rb_list_cursor *cursor);

QUILL_END_DECLS

#endif
