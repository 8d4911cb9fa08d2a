#include <quill/ipv6.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <quill/address.h>
#include <string.h>

#include <array>
#include <bit>
#include <string>
#include <vector>

#include "support/guard_page.h"
#include "support/ipv6_model.h"
#include "support/random.h"
#include "support/result_ring.h"

// Makes the C library refuse; the program is linked with --wrap for it.
namespace {
bool refused = false;
socklen_t room_given = 0;
}  // namespace

extern "C" {
const char *__real_inet_ntop(int family, const void *address, char *to, socklen_t size);
const char *__wrap_inet_ntop(int family, const void *address, char *to, socklen_t size) {
    room_given = size;
    return refused ? nullptr : __real_inet_ntop(family, address, to, size);
}
}

namespace {

using quill::test::bytes_of;
using quill::test::expect_ring;
using quill::test::Groups;
using quill::test::groups_of;
using quill::test::GuardedPage;
using quill::test::library_reads;
using quill::test::Random;
using std::string;
using std::vector;
using Bytes = quill::test::AddressBytes;

constexpr int kRandomCases = 50000;

Groups random_groups(Random &random) {
    Groups groups;
    const uint32_t zeros = 1 + random.below(8);  // of eight
    for (uint16_t &group : groups) {
        group = static_cast<uint16_t>(random.next() >> random.below(16));
        if (random.below(8) < zeros) group = 0;
    }
    return groups;
}

ip_af_addr ipv6(const Groups &groups) {
    ip_af_addr address = {};
    address.family = QUILL_AF_INET6;
    memcpy(address.addr, bytes_of(groups).data(), 16);
    return address;
}

}  // namespace

TEST(Ipv6, OwnText) {
    const struct {
        Groups groups;
        const char *text;
    } cases[] = {
        {{0x2001, 0xdb8, 0, 0, 0, 0, 0, 1}, "2001:db8::1"},
        {{}, "::"},
        {{0xfe80}, "fe80::"},
        {{0, 0, 0, 0, 0, 0, 0, 1}, "::1"},
        {{1, 0, 2, 0, 3, 0, 4, 0}, "1:0:2:0:3:0:4:0"},  // no run of two
        {{0, 1, 0, 2, 0, 3, 0, 4}, "0:1:0:2:0:3:0:4"},
        {{0, 0, 1, 0, 0, 1, 0, 0}, "::1:0:0:1:0:0"},           // the first of equal runs
        {{1, 0, 0, 1, 0, 0, 0, 1}, "1:0:0:1::1"},              // the longest
        {{0, 0, 0, 0, 0, 0xffff, 0x0a00, 1}, "::ffff:a00:1"},  // never dotted
        {{0xffff, 0xabc, 0x10, 1, 0xf000, 0x0f00, 0xf0, 0xf}, "ffff:abc:10:1:f000:f00:f0:f"},
    };
    for (const auto &c : cases) EXPECT_STREQ(ipv6_to_str(c.groups.data()), c.text);
}

TEST(Ipv6, LongAndLibraryText) {
    const Bytes loopback = bytes_of({0, 0, 0, 0, 0, 0, 0, 1});
    EXPECT_STREQ(ip6_to_str_long(loopback.data()), "0000:0000:0000:0000:0000:0000:0000:0001");
    EXPECT_STREQ(ip6_to_str(loopback.data()), "::1");
    const uint8_t *read = str_to_ip6("::ffff:10.0.0.1");
    ASSERT_TRUE(read);
    EXPECT_STREQ(ip6_to_str(read), "::ffff:10.0.0.1");
    EXPECT_EQ(str_to_ip6("1::2::3"), nullptr);
    EXPECT_EQ(str_to_ip6(""), nullptr);
    EXPECT_STREQ(ip6_to_str(read), "::ffff:10.0.0.1");  // a refused text leaves the buffer alone
    EXPECT_EQ(str_to_ip6("::1"), read);

    expect_ring(10, [&] { return ip6_to_str(loopback.data()); });
    expect_ring(10, [&] { return ip6_to_str_long(loopback.data()); });
    expect_ring(8, [] { return ipv6_to_str(Groups{}.data()); });
}

TEST(Ipv6, WhatTheLibraryRefusesIsNoText) {
    ip_af_addr loopback = {};
    loopback.family = QUILL_AF_INET6;
    loopback.addr[15] = 1;
    char text[64] = "before";
    EXPECT_STREQ(ip6_to_str(loopback.addr), "::1");
    EXPECT_EQ(room_given, 40u);
    refused = true;
    EXPECT_EQ(ip6_to_str(loopback.addr), nullptr);
    EXPECT_STREQ(quill_inet_ntop(loopback, text), "");
    EXPECT_EQ(room_given, 46u);
    EXPECT_EQ(quill_ip_to_str(loopback), nullptr);
    refused = false;
}

TEST(Ipv6, EveryTextReadsBackAsTheSameAddress) {
    Random random(1);
    for (int i = 0; i < kRandomCases; i++) {
        const Groups groups = random_groups(random);
        const Bytes bytes = bytes_of(groups);
        Groups own, library;
        const char *const compressed = ipv6_to_str(groups.data());
        ASSERT_EQ(ipv6_str_to_addr(compressed, own.data()), 1) << compressed;
        ASSERT_EQ(own, groups) << compressed;
        ASSERT_TRUE(library_reads(compressed, &library)) << compressed;
        ASSERT_EQ(library, groups) << compressed;

        const char *const full = ip6_to_str_long(bytes.data());
        ASSERT_EQ(strlen(full), 39u);
        ASSERT_EQ(ipv6_str_to_addr(full, own.data()), 1) << full;
        ASSERT_EQ(own, groups) << full;

        const uint8_t *const read = str_to_ip6(ip6_to_str(bytes.data()));
        ASSERT_TRUE(read);
        ASSERT_EQ(memcmp(read, bytes.data(), bytes.size()), 0);
    }
}

TEST(Ipv6, ReaderTakesAndRefuses) {
    const struct {
        const char *text;
        Groups groups;
    } taken[] = {
        {"::", {}},
        {"::1", {0, 0, 0, 0, 0, 0, 0, 1}},
        {"fe80::", {0xfe80}},
        {"1::", {1}},
        {"1:2:3::5:6:7:8", {1, 2, 3, 0, 5, 6, 7, 8}},
        {"1:2:3:4:5:6:7:8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {"::3:4:5:6:7:8", {0, 0, 3, 4, 5, 6, 7, 8}},
        {"1:2:3:4:5:6::", {1, 2, 3, 4, 5, 6, 0, 0}},
        {"1::8", {1, 0, 0, 0, 0, 0, 0, 8}},
        {"0001:0:0:0:0:0:0:000a", {1, 0, 0, 0, 0, 0, 0, 10}},
        {"00000001::", {1}},
        {"0000000000::00000000000000000ABCD", {0, 0, 0, 0, 0, 0, 0, 0xabcd}},
    };
    for (const auto &c : taken) {
        Groups groups;
        groups.fill(0xeeee);
        EXPECT_EQ(ipv6_str_to_addr(c.text, groups.data()), 1) << c.text;
        EXPECT_EQ(groups, c.groups) << c.text;
    }
    for (const char *text : {"",
                             "1",
                             ":",
                             "x",
                             ":1::",
                             "1:",
                             "1::2:",
                             ":1",
                             "1:::2",
                             ":::",
                             "::::",
                             "1::2::3",
                             "::1::",
                             "1:2:3:4:5:6:7",
                             "1:2:3:4:5:6:7:8:9",
                             "1:2:3:4:5:6:7:8::",
                             "1:2:3:4::5:6:7:8",
                             "1:2:3:4:5:6:7::",
                             "::2:3:4:5:6:7:8",
                             "12345::",
                             "::10000",
                             "::ffff:1.2.3.4",
                             "fe80::1%eth0",
                             "::1 ",
                             " ::1",
                             "::g",
                             "::1/64",
                             "::-1"}) {
        Groups groups;
        groups.fill(0xeeee);
        EXPECT_EQ(ipv6_str_to_addr(text, groups.data()), 0) << text;
        EXPECT_EQ(groups[0] & groups[7], 0xeeee) << text;
    }
}

TEST(Ipv6, PrefixCutsTheCallersText) {
    const struct {
        const char *text;
        int result;
        const char *left;
        int length;  // -1 where the header promises none
    } cases[] = {
        {"2001:db8::/32", 1, "2001:db8::", 32},
        {"::/0", 1, "::", 0},
        {"::/", 1, "::", 0},  // no digits are a length of 0
        {"::/128", 1, "::", 128},
        {"::/0000128", 1, "::", 128},
        {"2001:db8::/129", 0, "2001:db8::", -1},
        {"::/99999999999", 0, "::", -1},
        {"::/4 ", 0, "::", -1},
        {"::/-1", 0, "::", -1},
        {"::/1/2", 0, "::", -1},
        {"10.0.0.1/8", 0, "10.0.0.1", 8},
        {"2001:db8::", 0, "2001:db8::", 0xeeee},  // no '/': nothing is stored
        {"", 0, "", 0xeeee},
    };
    for (const auto &c : cases) {
        string text = c.text;
        Groups groups;
        uint16_t length = 0xeeee;
        EXPECT_EQ(ipv6_prefix2addr_mask(text.data(), groups.data(), &length), c.result) << c.text;
        EXPECT_STREQ(text.c_str(), c.left);
        if (c.length >= 0) {
            EXPECT_EQ(length, c.length) << c.text;
        }
    }
    uint16_t length;
    for (int number = 0; number <= 128; number++) {
        EXPECT_EQ(ipv6_wild2len(std::to_string(number).c_str(), &length), 1);
        EXPECT_EQ(length, number);
    }
    for (const char *text : {"", "129", "65536", "4294967296", "1x", " 1", "+1", "-0"}) {
        EXPECT_EQ(ipv6_wild2len(text, &length), 0) << text;
    }
    EXPECT_EQ(ipv6_wild2len(nullptr, &length), 0);
}

TEST(Ipv6, MasksAndLengths) {
    for (uint32_t plen : {0u, 1u, 7u, 8u, 9u, 63u, 64u, 65u, 119u, 120u, 127u, 128u, 129u, 1000u, 0xffffffffu}) {
        Bytes mask;
        mask.fill(0xee);
        ipv6_plen_to_addr(plen, mask.data());
        for (uint32_t i = 0; i < 16; i++) {
            // Behind the byte of the last bits, nothing is written.
            const int bits = plen >= 8 * (i + 1) ? 8 : plen < 8 * i ? -1 : static_cast<int>(plen - 8 * i);
            const int expected = bits < 0 ? 0xee : 0xff00 >> bits & 0xff;
            EXPECT_EQ(mask[i], expected) << plen << " byte " << i;
        }
    }
    for (uint32_t plen = 0; plen <= 128; plen++) {
        Bytes mask = {};
        ipv6_plen_to_addr(plen, mask.data());
        EXPECT_EQ(ipv6_mask_to_plen(groups_of(mask).data()), plen);
        EXPECT_EQ(ipv6_addr_mask_to_plen(ipv6(groups_of(mask))), plen);
    }
    const Groups gaps = {0xff00, 0x00ff, 0, 0, 0, 0x8001, 0, 0};
    EXPECT_EQ(ipv6_mask_to_plen(gaps.data()), 18);
    ip_af_addr any_family = ipv6(gaps);
    any_family.family = 77;
    EXPECT_EQ(ipv6_addr_mask_to_plen(any_family), 18);
}

TEST(Ipv6, IncrementCarriesNothing) {
    const struct {
        Groups before, after;
    } cases[] = {
        {{1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 3, 4, 5, 6, 7, 9}},
        {{0, 0, 0, 0, 0, 0, 1, 0xffff}, {0, 0, 0, 0, 0, 0, 1, 0}},
        {{0, 0, 0, 0, 0, 0, 0, 0xffff}, {}},
        {{0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff}, {}},
        {{0xfffe, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff},
         {0xfffe, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0}},
    };
    for (const auto &c : cases) {
        Groups groups = c.before;
        ipv6_addr_incr(groups.data());
        EXPECT_EQ(groups, c.after) << ipv6_to_str(c.before.data());
    }
}

TEST(Ipv6, ColonsIntoDigits) {
    const string digits = "20010DB8000000000000000000abcdef";
    GuardedPage page;
    const char *at = reinterpret_cast<const char *>(
        page.hold({reinterpret_cast<const uint8_t *>(digits.data()), digits.size()}));  // without a NUL
    char out[QUILL_IPV6_LONG_SIZE];
    EXPECT_EQ(format_ipv6_with_colon(at, out), 1);
    EXPECT_STREQ(out, "2001:0DB8:0000:0000:0000:0000:00ab:cdef");
    EXPECT_EQ(format_ipv6_with_colon("2001:db8:0000000000000000000abcd", out), 1);
    EXPECT_STREQ(out, "2001::db8::000:0000:0000:0000:0000:abcd") << "colons are copied like digits";
    for (size_t bad = 0; bad < digits.size(); bad++) {
        for (const char c : {'g', ' ', '\0', '/', '\xff'}) {
            string text = digits;
            text[bad] = c;
            EXPECT_EQ(format_ipv6_with_colon(text.data(), out), 0);
            EXPECT_STREQ(out, "");
        }
    }
}

TEST(Ipv6, ScopesByWholeFirstGroup) {
    for (const uint16_t group : std::array<uint16_t, 8>{0, 0xfe7f, 0xfe80, 0xfe81, 0xfebf, 0xfec0, 0xfec1, 0x80fe}) {
        ip_af_addr address = ipv6({group, 0, 0, 0, 0, 0, 0, 1});
        EXPECT_EQ(is_ipv6_link_local_address(address), group == 0xfe80) << group;
        EXPECT_EQ(is_ipv6_site_local_address(address), group == 0xfec0) << group;
        address.family = QUILL_AF_INET;
        EXPECT_EQ(is_ipv6_link_local_address(address) | is_ipv6_site_local_address(address), 0) << group;
    }
}
