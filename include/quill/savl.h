/* quill/savl.h: an ordered map inside your own records: an AVL tree whose nodes are also a sorted list.
 *
 * The tree allocates nothing. A record of yours contains a node for each tree that it can be in, and the node points at
 * the key. The tree links the nodes in two ways: as a height-balanced search tree, and in key order on a circular list.
 * The trees of quill/savle.h need no key pointer: they are for records with the key at a fixed place.
 *
 *     tree record                     node "b" (root)
 *     right ──────────────────────▶   left ──▶ "a"     right ──▶ "c"
 *     next ──▶ "a" ──▶ "b" ──▶ "c" ──▶ tree record     prev: the same way back
 *
 * Cost: a node is 28 bytes on the device and 56 on a 64-bit host, a tree record 32 and 64. A tree of n nodes is at most
 * 1.44 log2(n + 2) levels high: 14 for 1,000 nodes, 28 for a million. A search is one descent. Insertion and deletion
 * rebalance in at most as many steps as there are levels, and in a few on average. The smallest, the greatest, the next
 * and the previous node are one pointer step away.
 *
 * First find, then insert. A search that finds nothing stores the attachment point: the place where the key belongs.
 * The attachment point is a node and one of its sides. Insertion uses that point, so a search with an insertion
 * descends only once. A point is valid until the next change of the tree. Insert at once, or search again. Insertion
 * does not check its point. A point from another tree, or from before a change, corrupts the tree. Insertion does not
 * detect an equal key in the tree, so the program must search before each insertion.
 *
 *     struct station {
 *         uint32_t id;
 *         savl by_id;
 *     };
 *
 *     static savl_tree stations = SAVL_TREE_INIT(stations, savl_u32_compare);
 *
 *     struct station *station_get(uint32_t id) {
 *         savl *at;
 *         int side;
 *         savl *found = savl_find(&stations, &id, &at, &side);    // one descent: found, or where it belongs
 *         if (found) return SAVL_OBJECT(found, struct station, by_id);
 *
 *         struct station *s = calloc(1, sizeof *s);
 *         if (!s) return NULL;
 *         s->id = id;
 *         s->by_id.key = &s->id;                                  // the tree reads the key here as long as s is in it
 *         savl_insert(&s->by_id, at, side);                       // nothing has changed the tree in between
 *         return s;
 *     }
 *
 *     void stations_drop(void) {
 *         SAVL_FOREACH(node, &stations) {                         // in the order of the ids
 *             savl_delete(node);
 *             free(SAVL_OBJECT(node, struct station, by_id));
 *         }
 *     }
 *
 * In C++ a walk is `for (savl &node : quill::in_order(stations))`.
 *
 * While a node of an object is in a tree, the object must not move or be freed, and its key must not change. A tree has
 * no lock: only one thread at a time may use it. Any number of threads may search and walk a tree that no thread
 * changes. The comparisons are reentrant. */
#ifndef QUILL_SAVL_H
#define QUILL_SAVL_H

#include <quill/types.h>
#include <stddef.h>

QUILL_BEGIN_DECLS

/* savl is a node. The program sets key; the tree maintains all other fields. */
typedef struct savl savl;
struct savl {
    savl *left;      /* child with smaller keys, null if none */
    savl *right;     /* child with greater keys, null if none */
    savl *parent;    /* the tree record at the root; null exactly while the node is in no tree (zero it at first) */
    savl *prev;      /* node before in key order; the tree record before the smallest */
    savl *next;      /* node after in key order; the tree record after the greatest */
    uint16_t side;   /* 0: left child of its parent, 1: right child (also the root, of the tree record) */
    int16_t balance; /* height of the right subtree minus that of the left one: -1, 0 or 1 */
    const void *key; /* the key that comparisons get (kept) */
};

/* savl_comparison returns the order of the searched key against a node's key: negative (before), 0 (equal) or positive
 * (after). */
typedef int (*savl_comparison)(const void *searched, const void *key);

/* savl_tree is a tree record. It must not move while the tree has nodes. */
typedef struct savl_tree {
    savl head;               /* right: root, null when empty. next: smallest, prev: greatest, head itself when empty */
    savl_comparison compare; /* must order the keys consistently */
} savl_tree;

/* SAVL_TREE_INIT(tree, comparison) initialises tree as an empty tree. tree is the variable itself, not a pointer. The
 * macro initialises a static variable or, in C only, is assigned later:
 *
 *     static savl_tree by_name = SAVL_TREE_INIT(by_name, savl_string_compare);
 *     vlan->members = (savl_tree)SAVL_TREE_INIT(vlan->members, savl_u32_compare); */
#define SAVL_TREE_INIT(tree, comparison) \
    { {NULL, NULL, NULL, &(tree).head, &(tree).head, 0, 0, NULL}, comparison }

/* SAVL_OBJECT(node, type, member) converts a pointer to a node to a pointer to its object. type is the type of the
 * object, and member is the name of the node in it. It also works for the nodes of quill/savle.h. */
#ifdef __cplusplus
#define SAVL_OBJECT(node, type, member) \
    (static_cast<type *>(static_cast<void *>(reinterpret_cast<char *>(node) - offsetof(type, member))))
#else
#define SAVL_OBJECT(node, type, member) ((type *)(void *)((char *)(node)-offsetof(type, member)))
#endif

/* SAVL_FOREACH(node, tree) is the head of a loop over the nodes of *tree in key order. The variable `savl *node` points
 * at each node in turn. The body of the loop may delete node and free its object, and must not otherwise change the
 * tree. From any node, node->next and node->prev are its neighbours, and &tree->head is the end. */
#define SAVL_FOREACH(node, tree)                                                           \
    for (savl *node = (tree)->head.next, *node##_next = node->next; node != &(tree)->head; \
         node = node##_next, node##_next = node->next)

/* savl_find searches tree for key. Returns the node whose key compares equal (borrowed), or null when the key is
 * absent.
 *
 * When the key is absent and at is not null, savl_find stores the attachment point. *at is the last node that was
 * visited, or the tree record of an empty tree. *side is 0 for the left side of *at, and 1 for the right side. *at and
 * *side are unchanged when the key is found. side is not used when at is null.
 *
 * savl_find calls the comparison once per level, as comparison(key, node's key). For the library's own comparisons
 * below, savl_find has a search with that comparison compiled in, and calls nothing. */
QUILL_API savl *savl_find(const savl_tree *tree, const void *key, savl **at, int *side);

/* savl_insert inserts node (kept) at the attachment point that savl_find stored for its key. The node must be in no
 * tree and have its key set. */
QUILL_API void savl_insert(savl *node, savl *at, int side);

/* savl_delete takes node out of its tree. It does nothing when the node is in no tree, that is, when its parent is
 * null. The key and the object stay, and node may be inserted again. The other nodes stay at their addresses. If node
 * had two children, the links of other nodes change: the next node in key order takes the place of node in the tree. */
QUILL_API void savl_delete(savl *node);

/* savl_string_compare orders texts byte by byte, as strcmp does. */
QUILL_API int savl_string_compare(const void *a, const void *b);

/* savl_string_compare_ic does what savl_string_compare does, with A to Z treated as a to z, whatever the locale. */
QUILL_API int savl_string_compare_ic(const void *a, const void *b);

/* savl_u32_compare orders uint32_t numbers, aligned and in host byte order, by value. Returns exactly -1, 0 or 1. */
QUILL_API int savl_u32_compare(const void *a, const void *b);

/* savl_mac_addr_compare orders MAC keys of 8 bytes: the 6 bytes of the address, and 2 bytes that must be zero.
 *
 * The order is consistent only among some addresses. The comparison subtracts bytes 0-3, as big-endian numbers, modulo
 * 2^32, and takes the difference as signed. When the difference is 0, it does the same with bytes 4-7. So bytes 0-3 of
 * all addresses must lie within half the range of numbers. The same must hold for bytes 4-7 of addresses with equal
 * bytes 0-3. Stations of one vendor already break this rule: about 10 of 1,000 stored stations are not found again. A
 * tree that must find every stored address compares the bytes:
 *
 *     static int mac_order(const void *a, const void *b) { return memcmp(a, b, 8); }
 *     static savl_tree stations = SAVL_TREE_INIT(stations, mac_order);
 *
 * Compatibility: programs rely on the order as it is. */
QUILL_API int savl_mac_addr_compare(const void *a, const void *b);

/* savl_ipv6_compare orders IPv6 addresses of 16 bytes, byte by byte. */
QUILL_API int savl_ipv6_compare(const void *a, const void *b);

/* savl_ipaddr_compare orders ip_af_addr records by address. An IPv4 address (of any family except QUILL_AF_INET6) is
 * ordered as its IPv4-mapped IPv6 form (RFC 4291, 2.5.5.2). So 10.0.0.1 equals ::ffff:10.0.0.1. */
QUILL_API int savl_ipaddr_compare(const void *a, const void *b);

QUILL_END_DECLS

#ifdef __cplusplus
#include <iterator>

namespace quill {

/* tree_range walks the nodes of a tree of this header or of quill/savle.h in key order, as a forward range. The body of
 * a loop may delete the current node, and must not otherwise change the tree. */
template <typename Node>
class tree_range {
public:
    class iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = Node *;
        using reference = Node &;

        iterator() = default;
        explicit iterator(Node *node) : node_(node), next_(node->next) {}
        Node &operator*() const { return *node_; }
        Node *operator->() const { return node_; }
        iterator &operator++() { return *this = iterator(next_); }
        iterator operator++(int) {
            const iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const iterator &a, const iterator &b) { return a.node_ == b.node_; }
        friend bool operator!=(const iterator &a, const iterator &b) { return a.node_ != b.node_; }

    private:
        Node *node_ = nullptr;
        Node *next_ = nullptr; /* read ahead, because the loop may delete the node */
    };

    explicit tree_range(Node &head) : head_(&head) {}
    iterator begin() const { return iterator(head_->next); }
    iterator end() const { return iterator(head_); }

private:
    Node *head_;
};

inline tree_range<savl> in_order(savl_tree &tree) { return tree_range<savl>(tree.head); }

} /* namespace quill */
#endif

#endif
