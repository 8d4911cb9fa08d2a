#include <quill/savl.h>

#include "containers/avl.h"
#include "containers/key_order.h"

// The AVL tree whose nodes point at their keys. The algorithm is in containers/avl.h, the orders are in
// containers/key_order.h.

static_assert(offsetof(savl, side) == 5 * sizeof(void *));
static_assert(offsetof(savl, key) == 6 * sizeof(void *));
static_assert(offsetof(savl_tree, compare) == 7 * sizeof(void *));

namespace {

template <typename Compare>
savl *find_by(const savl_tree &tree, const void *key, savl **at, int *side, Compare compare) {
    // A look-up changes nothing. But the caller may change the nodes that the look-up returns.
    auto &head = const_cast<savl &>(tree.head);
    return quill::avl::find(head, at, side, [&](const savl &node) { return compare(key, node.key); });
}

}  // namespace

// The library's own comparisons are recognised by their address, once for each look-up. Each has a descent of its own,
// without a call for each level.
savl *savl_find(const savl_tree *tree, const void *key, savl **at, int *side) {
    const auto by = [&](auto compare) { return find_by(*tree, key, at, side, compare); };
    const savl_comparison compare = tree->compare;
    if (compare == savl_string_compare) return by(quill::order_text);
    if (compare == savl_string_compare_ic) return by(quill::order_text_ignoring_case);
    if (compare == savl_u32_compare) return by(quill::order_u32);
    if (compare == savl_mac_addr_compare) return by(quill::order_mac_wrapped);
    if (compare == savl_ipv6_compare) return by(quill::order_ipv6);
    if (compare == savl_ipaddr_compare) return by(quill::order_address);
    return by(compare);
}

void savl_insert(savl *node, savl *at, int side) { quill::avl::insert(*node, *at, side); }

void savl_delete(savl *node) { quill::avl::erase(*node); }

int savl_string_compare(const void *a, const void *b) { return quill::order_text(a, b); }
int savl_string_compare_ic(const void *a, const void *b) { return quill::order_text_ignoring_case(a, b); }
int savl_u32_compare(const void *a, const void *b) { return quill::order_u32(a, b); }
int savl_mac_addr_compare(const void *a, const void *b) { return quill::order_mac_wrapped(a, b); }
int savl_ipv6_compare(const void *a, const void *b) { return quill::order_ipv6(a, b); }
int savl_ipaddr_compare(const void *a, const void *b) { return quill::order_address(a, b); }
