#include <quill/savle.h>

#include "support/avl_tests.h"

namespace quill::test {
namespace {

int the_context;

int compare_in_context(void *context, const void *searched, const void *key) {
    foreign_arguments += context != &the_context;
    return compare_numbers(searched, key);
}

savle_comparison known;
int call_known(void *context, const void *searched, const void *key) { return known(context, searched, key); }

// The two bytes behind the family, which should be zero, count before the address.
SampleKey filled(uint16_t family) {
    SampleKey key = address(family, {0});
    key.bytes[3] = 1;
    return key;
}

struct Savle {
    using Node = savle;
    using Tree = savle_tree;
    struct Object {
        int key;
        uint32_t other;
        savle node;
    };
    static void empty_tree(savle_tree &tree) {
        tree = SAVLE_TREE_INIT(tree, compare_in_context, Object, node, key, &the_context);
    }
    static void set_key(Object &) {}
    static constexpr auto find = savle_find;
    static constexpr auto insert = savle_insert;
    static constexpr auto erase = savle_delete;

    using Kind = Order<savle_comparison>;
    struct Sample {  // the key behind the node
        savle node;
        SampleKey key = {0u};
        void set(const Kind &, const SampleKey &k) { key = k; }
    };
    static std::vector<Kind> orders() {
        return {
            {"string", savle_string_compare, kTexts},
            {"string_ic", savle_string_compare_ic, kTextsIgnoringCase},
            {"u32", savle_u32_compare, kNumbers},
            {"mac_addr", savle_mac_addr_compare, kMacs},
            {"ipv6", savle_ipv6_compare, kIpv6s},
            {"ipaddr",
             savle_ipaddr_compare,
             {{address(QUILL_AF_INET, {0, 0, 0, 0})},
              {address(QUILL_AF_INET, {10, 0, 0, 1}), address(QUILL_AF_INET, {10, 0, 0, 1})},
              {address(QUILL_AF_INET, {10, 0, 0, 1, 1})},
              {address(QUILL_AF_INET, {10, 0, 0, 2})},
              {filled(QUILL_AF_INET)},
              {address(3, {0})},
              {mapped(10, 1)},
              {address(QUILL_AF_INET6, {0x20, 1})},
              {address(0x0100, {0})}}},  // as a number, not by the order of the host's bytes
        };
    }
    static bool is_text(const Kind &order) {
        return order.compare == savle_string_compare || order.compare == savle_string_compare_ic;
    }
    static const void *pointer(const Kind &order, const SampleKey &key) {
        return is_text(order) ? static_cast<const void *>(&key.text) : key.bytes;
    }
    static int compare(const Kind &order, const SampleKey &a, const SampleKey &b) {
        return order.compare(nullptr, pointer(order, a), pointer(order, b));
    }
    static void sample_tree(savle_tree &tree, const Kind &order) {
        tree = SAVLE_TREE_INIT(tree, order.compare, Sample, node, key.bytes, nullptr);
        if (is_text(order)) tree.key_offset = offsetof(Sample, key.text);
    }
    static void through_a_call(savle_tree &tree) {
        known = tree.compare;
        tree.compare = call_known;
    }
};

}  // namespace
}  // namespace quill::test

namespace quill::test {
INSTANTIATE_TYPED_TEST_SUITE_P(Savle, Avl, ::quill::test::Savle);
}
