#include <quill/ipv6.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <quill/address.h>
#include <string.h>

#include <string>

#include "support/case_file.h"
#include "support/hex.h"
#include "support/ipv6_model.h"
#include "support/result_ring.h"

// Can make the C library's inet_ntop fail. The program is linked with --wrap=inet_ntop.
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

namespace quill::test {
namespace {

using std::string;

string hex_of(const Groups &groups) { return hex(bytes_of(groups)); }

string read_as_posix(const char *text) {
    static const uint8_t *const buffer = str_to_ip6("::1");
    const uint8_t *const read = str_to_ip6(text);
    return (read ? "" : "refused, ") + hex({buffer, 16});
}

string read_groups(const char *text) {
    Groups groups;
    groups.fill(0xeeee);
    Groups kept = groups;
    // A refused text stores nothing.
    return ipv6_str_to_addr(text, groups.data()) ? hex_of(groups) : groups == kept ? "refused" : "refused, stored";
}

string prefix(char *text, uint16_t *length) {
    Groups groups;
    return ipv6_prefix2addr_mask(text, groups.data(), length) == 1 ? hex_of(groups) : "refused";
}

constexpr auto kFunctions =
    QUILL_CASE_FUNCTIONS(ipv6_to_str, ip6_to_str_long, ip6_to_str, read_as_posix, read_groups, prefix, ipv6_wild2len,
                         ipv6_plen_to_addr, ipv6_mask_to_plen, ipv6_addr_mask_to_plen, ipv6_addr_incr,
                         format_ipv6_with_colon, is_ipv6_link_local_address, is_ipv6_site_local_address);

TEST(Ipv6, Cases) { expect_cases("text/ipv6.cases", kFunctions); }

TEST(Ipv6, Rings) {
    const uint8_t loopback[16] = {};
    expect_ring(10, [&] { return ip6_to_str(loopback); });
    expect_ring(10, [&] { return ip6_to_str_long(loopback); });
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

// Tries each choice of zero groups. The other groups have one to four digits.
TEST(Ipv6, EveryTextReadsBackAsTheSameAddress) {
    for (unsigned zeros = 0; zeros < 256; zeros++) {
        Groups groups, own, library;
        for (unsigned i = 0; i < 8; i++) groups[i] = static_cast<uint16_t>(zeros >> i & 1 ? 0 : 0xf123 >> i % 4 * 4);
        const string compressed = ipv6_to_str(groups.data());
        EXPECT_EQ(ipv6_str_to_addr(compressed.c_str(), own.data()), 1) << compressed;
        EXPECT_TRUE(own == groups && library_reads(compressed, &library) && library == groups) << compressed;
        const AddressBytes bytes = bytes_of(groups);
        EXPECT_EQ(ipv6_str_to_addr(ip6_to_str_long(bytes.data()), own.data()), 1) << compressed;
        EXPECT_EQ(own, groups);
        EXPECT_EQ(hex({str_to_ip6(ip6_to_str(bytes.data())), 16}), hex(bytes));
    }
}

TEST(Ipv6, MasksAndLengths) {
    for (uint16_t plen = 0; plen <= 128; plen++) {
        ip_af_addr mask = {};
        ipv6_plen_to_addr(plen, mask.addr);
        EXPECT_EQ(ipv6_addr_mask_to_plen(mask), plen);
        EXPECT_EQ(ipv6_mask_to_plen(groups_of(std::to_array(mask.addr)).data()), plen);
    }
}

}  // namespace
}  // namespace quill::test
