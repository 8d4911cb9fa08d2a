#include <quill/savle.h>

#include "containers/avl.h"
#include "containers/key_order.h"

// The AVL tree whose keys lie at a fixed distance from their nodes. The algorithm is in containers/avl.h, the orders
// are in containers/key_order.h.

static_assert(offsetof(savle, side) == 5 * sizeof(void *));
static_assert(offsetof(savle_tree, compare) == 6 * sizeof(void *));
static_assert(offsetof(savle_tree, link_offset) == 7 * sizeof(void *));
static_assert(offsetof(savle_tree, context) == 7 * sizeof(void *) + 8);

namespace {

// Objects hold a pointer to their text.
constexpr auto pointed_to = [](auto order) {
    return [order](const void *a, const void *b) {
        return order(*static_cast<const char *const *>(a), *static_cast<const char *const *>(b));
    };
};
constexpr auto order_text = pointed_to(quill::order_text);
constexpr auto order_text_ignoring_case = pointed_to(quill::order_text_ignoring_case);

template <typename Compare>
savle *find_by(const savle_tree &tree, const void *key, savle **at, int *side, Compare compare) {
    // A look-up changes nothing. But the caller may change the nodes that the look-up returns.
    auto &head = const_cast<savle &>(tree.head);
    const ptrdiff_t key_distance = static_cast<ptrdiff_t>(tree.key_offset) - static_cast<ptrdiff_t>(tree.link_offset);
    return quill::avl::find(head, at, side, [&](const savle &node) {
        return compare(key, reinterpret_cast<const char *>(&node) + key_distance);
    });
}

}  // namespace

// The library's own comparisons are recognised by their address, once for each look-up. Each has a descent of its own,
// without a call for each level.
savle *savle_find(const savle_tree *tree, const void *key, savle **at, int *side) {
    const auto by = [&](auto compare) { return find_by(*tree, key, at, side, compare); };
    const savle_comparison compare = tree->compare;
    if (compare == savle_string_compare) return by(order_text);
    if (compare == savle_string_compare_ic) return by(order_text_ignoring_case);
    if (compare == savle_u32_compare) return by(quill::order_u32);
    if (compare == savle_mac_addr_compare) return by(quill::order_mac_wrapped);
    if (compare == savle_ipv6_compare) return by(quill::order_ipv6);
    if (compare == savle_ipaddr_compare) return by(quill::order_family_and_address);
    return by([&](const void *a, const void *b) { return compare(tree->context, a, b); });
}

void savle_insert(savle *node, savle *at, int side) { quill::avl::insert(*node, *at, side); }

void savle_delete(savle *node) { quill::avl::erase(*node); }

int savle_string_compare(void *, const void *a, const void *b) { return order_text(a, b); }
int savle_string_compare_ic(void *, const void *a, const void *b) { return order_text_ignoring_case(a, b); }
int savle_u32_compare(void *, const void *a, const void *b) { return quill::order_u32(a, b); }
int savle_mac_addr_compare(void *, const void *a, const void *b) { return quill::order_mac_wrapped(a, b); }
int savle_ipv6_compare(void *, const void *a, const void *b) { return quill::order_ipv6(a, b); }
int savle_ipaddr_compare(void *, const void *a, const void *b) { return quill::order_family_and_address(a, b); }
