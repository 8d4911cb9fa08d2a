#include <quill/savl.h>

#include "support/avl_tests.h"

namespace quill::test {
namespace {

savl_comparison known;
int call_known(const void *searched, const void *key) { return known(searched, key); }

struct Savl {
    using Node = savl;
    using Tree = savl_tree;
    struct Object {
        int key;
        savl node;
    };
    static void empty_tree(savl_tree &tree) { tree = SAVL_TREE_INIT(tree, compare_numbers); }
    static void set_key(Object &object) { object.node.key = &object.key; }
    static constexpr auto find = savl_find;
    static constexpr auto insert = savl_insert;
    static constexpr auto erase = savl_delete;

    using Kind = Order<savl_comparison>;
    struct Sample {
        savl node;
        void set(const Kind &order, const SampleKey &key) { node.key = pointer(order, key); }
    };
    static std::vector<Kind> orders() {
        return {
            {"string", savl_string_compare, kTexts},
            {"string_ic", savl_string_compare_ic, kTextsIgnoringCase},
            {"u32", savl_u32_compare, kNumbers},
            {"mac_addr", savl_mac_addr_compare, kMacs},
            {"ipv6", savl_ipv6_compare, kIpv6s},
            {"ipaddr",
             savl_ipaddr_compare,
             {{address(QUILL_AF_INET6, {0})},
              {address(QUILL_AF_INET, {0, 0, 0, 0}), address(0, {0, 0, 0, 0}), mapped(0, 0)},
              {address(QUILL_AF_INET, {10, 0, 0, 1}), address(QUILL_AF_INET, {10, 0, 0, 1, 9}), mapped(10, 1)},
              {address(QUILL_AF_INET, {10, 0, 0, 2}), address(7, {10, 0, 0, 2})},
              {address(QUILL_AF_INET, {255, 0, 0, 0}), mapped(255, 0)},
              {address(QUILL_AF_INET6, {0x20, 1})}}},
        };
    }
    static const void *pointer(const Kind &, const SampleKey &key) {
        return key.text ? static_cast<const void *>(key.text) : key.bytes;
    }
    static int compare(const Kind &order, const SampleKey &a, const SampleKey &b) {
        return order.compare(pointer(order, a), pointer(order, b));
    }
    static void sample_tree(savl_tree &tree, const Kind &order) { tree = SAVL_TREE_INIT(tree, order.compare); }
    static void through_a_call(savl_tree &tree) {
        known = tree.compare;
        tree.compare = call_known;
    }
};

}  // namespace

namespace quill::test {
INSTANTIATE_TYPED_TEST_SUITE_P(Savl, Avl, ::quill::test::Savl);
}

namespace {

TEST(Savl, ComparisonsOfNumbersGiveTheirExactResults) {
    const uint32_t small = 3, great = 0xfffffff0u;
    EXPECT_EQ(savl_u32_compare(&small, &great), -1);
    EXPECT_EQ(savl_u32_compare(&great, &small), 1);
    // The difference of the first four bytes, or else of the last, wraps: what lies far apart sorts the other way
    // round.
    struct {
        uint8_t a[8], b[8];
        int difference;
    } static constexpr kMacCases[] = {
        {{0, 0, 0, 5}, {0, 0, 0, 7}, -2},
        {{0, 0, 0, 5, 1}, {0, 0, 0, 5}, 0x01000000},
        {{0, 0, 0, 5, 0, 0, 0, 9}, {0, 0, 0, 5, 0, 0, 0, 2}, 7},
        {{0xff}, {0}, -0x01000000},
        {{1, 2, 3, 4, 0xff}, {1, 2, 3, 4}, -0x01000000},
        {{0x80}, {0}, INT32_MIN},
        {{0}, {0x80}, INT32_MIN},
    };
    for (const auto &c : kMacCases) EXPECT_EQ(savl_mac_addr_compare(c.a, c.b), c.difference);
}

}  // namespace
}  // namespace quill::test
