/* quill/savle.h: the AVL tree of quill/savl.h for records that have their key at a fixed place.
 *
 * The tree record contains the offsets of the node and of the key in a record of yours, so a node needs no key pointer.
 * It also contains a pointer of yours that is passed to each comparison. Everything else is as in quill/savl.h. That
 * header describes how to find and then insert at an attachment point, and what each call costs. It also describes what
 * may change during a walk, and the rules for threads.
 *
 * Cost: a node is 24 bytes on the device and 48 on a 64-bit host, a tree record 40 and 72.
 *
 *     struct station {
 *         uint32_t id;
 *         savle by_id;
 *     };
 *
 *     static savle_tree stations = SAVLE_TREE_INIT(stations, savle_u32_compare, struct station, by_id, id, NULL);
 *
 *     struct station *station_find(uint32_t id) {
 *         savle *found = savle_find(&stations, &id, NULL, NULL);
 *         return found ? SAVL_OBJECT(found, struct station, by_id) : NULL;
 *     }
 *
 *     int station_add(struct station *s) {
 *         savle *at;
 *         int side;
 *         if (savle_find(&stations, &s->id, &at, &side)) return 0;
 *         savle_insert(&s->by_id, at, side);
 *         return 1;
 *     }
 *
 *     SAVLE_FOREACH(node, &stations) print_station(SAVL_OBJECT(node, struct station, by_id)); */
#ifndef QUILL_SAVLE_H
#define QUILL_SAVLE_H

#include <quill/savl.h>
#include <quill/types.h>
#include <stddef.h>

QUILL_BEGIN_DECLS

/* savle is a node. The tree maintains its fields. */
typedef struct savle savle;
struct savle {
    savle *left;     /* child with smaller keys, null if none */
    savle *right;    /* child with greater keys, null if none */
    savle *parent;   /* the tree record at the root; null exactly while the node is in no tree (zero it at first) */
    savle *prev;     /* node before in key order; the tree record before the smallest */
    savle *next;     /* node after in key order; the tree record after the greatest */
    uint16_t side;   /* 0: left child of its parent, 1: right child (also the root, of the tree record) */
    int16_t balance; /* height of the right subtree minus that of the left one: -1, 0 or 1 */
};

/* savle_comparison returns the order of the searched key against the key in an object: negative (before), 0 (equal) or
 * positive (after). */
typedef int (*savle_comparison)(void *context, const void *searched, const void *key);

/* savle_tree is a tree record. It must not move while the tree has nodes. */
typedef struct savle_tree {
    savle head;               /* right: root, null when empty. next: smallest, prev: greatest, head itself when empty */
    savle_comparison compare; /* the order */
    uint32_t link_offset;     /* bytes from the start of an object to its node */
    uint32_t key_offset;      /* bytes from the start of an object to its key */
    void *context;            /* passed to each comparison (kept) */
} savle_tree;

/* SAVLE_TREE_INIT(tree, comparison, type, link, key, context) initialises tree as an empty tree. tree is the name of
 * the variable itself. The tree's objects have the type `type`, with their node in the member link and their key in the
 * member key. */
#define SAVLE_TREE_INIT(tree, comparison, type, link, key, context)                                                  \
    {                                                                                                                \
        {NULL, NULL, NULL, &(tree).head, &(tree).head, 0, 0}, comparison, offsetof(type, link), offsetof(type, key), \
            context                                                                                                  \
    }

/* SAVLE_FOREACH(node, tree) does what SAVL_FOREACH does, with a variable `savle *node`. */
#define SAVLE_FOREACH(node, tree)                                                           \
    for (savle *node = (tree)->head.next, *node##_next = node->next; node != &(tree)->head; \
         node = node##_next, node##_next = node->next)

/* savle_find does what savl_find does. The comparison is called as comparison(tree->context, key, address of the key in
 * an object). So key points to an object of the type of the key member. */
QUILL_API savle *savle_find(const savle_tree *tree, const void *key, savle **at, int *side);

/* savle_insert does what savl_insert does. */
QUILL_API void savle_insert(savle *node, savle *at, int side);

/* savle_delete does what savl_delete does. */
QUILL_API void savle_delete(savle *node);

/* These functions are the comparisons of quill/savl.h for keys inside objects. They ignore the context.
 *
 * For the two comparisons of texts, the objects hold a pointer to the text. a and b are the addresses of such pointers,
 * and so is the searched key:
 *
 *     const char *name = "eth0";
 *     savle_find(&interfaces, &name, NULL, NULL);
 *
 * These two comparisons do not work for an array of characters inside the object: the characters would be read as an
 * address. For such an array, write a comparison that calls strcmp(a, b), and search with the text itself. (In
 * quill/savl.h keys are always the texts themselves.)
 *
 * With savle_mac_addr_compare, savle_find does not find some stored keys, for the reason given at
 * savl_mac_addr_compare. The key is a member of 8 bytes, uint8_t mac[8]. Its last 2 bytes are zero, also in the
 * searched key. A tree that must find every stored address uses this comparison:
 *
 *     static int mac_order(void *context, const void *a, const void *b) {
 *         (void)context;
 *         return memcmp(a, b, 8);
 *     } */
QUILL_API int savle_string_compare(void *context, const void *a, const void *b);
QUILL_API int savle_string_compare_ic(void *context, const void *a, const void *b);
QUILL_API int savle_u32_compare(void *context, const void *a, const void *b);
QUILL_API int savle_mac_addr_compare(void *context, const void *a, const void *b);
QUILL_API int savle_ipv6_compare(void *context, const void *a, const void *b);

/* savle_ipaddr_compare orders ip_af_addr records by family as a number, then by the 2 bytes that follow it, then by all
 * 16 address bytes. The unused bytes of each address must be zero; otherwise equal addresses do not compare equal.
 * Unlike for savl_ipaddr_compare, 10.0.0.1 and ::ffff:10.0.0.1 are two keys. Compatibility: programs rely on both
 * orders. */
QUILL_API int savle_ipaddr_compare(void *context, const void *a, const void *b);

QUILL_END_DECLS

#ifdef __cplusplus
namespace quill {

inline tree_range<savle> in_order(savle_tree &tree) { return tree_range<savle>(tree.head); }

} /* namespace quill */
#endif

#endif
