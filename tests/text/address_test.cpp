#include <quill/address.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/ether.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "support/guard_page.h"
#include "support/private_device.h"
#include "support/random.h"
#include "support/result_ring.h"

namespace {

using quill::test::expect_ring;
using quill::test::GuardedPage;
using quill::test::Random;
using std::string;
using std::vector;
using Mac = std::array<uint8_t, 6>;

constexpr int kRandomCases = 20000;

uint32_t word(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    const uint8_t octets[] = {a, b, c, d};
    uint32_t ip;
    memcpy(&ip, octets, sizeof ip);
    return ip;
}

ip_af_addr either(int family, vector<uint8_t> bytes) {
    ip_af_addr address = {};
    address.family = static_cast<uint16_t>(family);
    std::copy(bytes.begin(), bytes.end(), address.addr);
    return address;
}

bool same(const ip_af_addr &a, const ip_af_addr &b) { return memcmp(&a, &b, sizeof a) == 0; }

Mac mac_of(const uint8_t *bytes) {
    Mac mac;
    memcpy(mac.data(), bytes, mac.size());
    return mac;
}

// A result that can be compared with what a text should give.
string lenient(const char *text) { return mac_to_str(str_to_mac(text)); }

}  // namespace

TEST(Address, MacToTextInEveryForm) {
    const uint8_t mac[] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};
    GuardedPage page;
    char *dst = reinterpret_cast<char *>(page.room(QUILL_MAC_STR_SIZE, 'x'));
    EXPECT_STREQ(mac_to_str_r(mac, dst, 0), "00:1a:2b:3c:4d:5e");
    EXPECT_STREQ(mac_to_str_r(mac, dst, 7), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(mac_to_str_w_options(mac, dst, 1, '-'), dst);
    EXPECT_STREQ(dst, "00-1A-2B-3C-4D-5E");
    EXPECT_STREQ(mac_to_str_r(nullptr, dst, 1), "UNKNOWN");
    dst = reinterpret_cast<char *>(page.room(QUILL_MAC_STR_PLAIN_SIZE, 'x'));
    EXPECT_STREQ(mac_to_str_w_options(mac, dst, 0, 0), "001a2b3c4d5e");
    EXPECT_STREQ(mac_to_str_no_delemit(mac, dst, 1), "001A2B3C4D5E");
    EXPECT_STREQ(mac_to_str_no_delemit(nullptr, dst, 0), "UNKNOWN");
    EXPECT_STREQ(mac_to_str(mac), "00:1a:2b:3c:4d:5e");
    EXPECT_STREQ(mac_to_str(nullptr), "UNKNOWN");
}

TEST(Address, RingsGiveTheirSecondSlotFirst) {
    const uint8_t mac[6] = {};
    expect_ring(64, [&] { return mac_to_str(mac); });
    expect_ring(10, [] { return ip_to_str(0); });
    expect_ring(8, [] { return quill_ip_to_str({}); });
    expect_ring(1, [] { return ip_to_str2(0); });
    // One ring serves both names.
    const uint8_t ipv6[16] = {};
    const char *const before = quill_ipv6_to_str(ipv6);
    EXPECT_EQ(before + 64, quill_ip_to_str({}));
}

TEST(Address, LenientReaderTakesWhatPeopleType) {
    const string address = "00:11:22:33:44:55", none = "00:00:00:00:00:00";
    for (const char *text :
         {"00:11:22:33:44:55", "00-11-22-33-44-55", "0011.2233.4455", "001122334455", "0x001122334455",
          "0X00:11:22:33:44:55", "0:11-22.33:44:55", "::00::11--22..33:44:55::", "00:11:22:33:44:55:zz",
          "00:11:22:33:44:55/24", "00:11:22:33:44:55:6z", "0x:00:11:22:33:44:55"}) {
        EXPECT_EQ(lenient(text), address) << text;
    }
    EXPECT_EQ(lenient("0:1:2:3:4:5"), "00:01:02:03:04:05");
    EXPECT_EQ(lenient("aB:Cd:eF:A:b:fF"), "ab:cd:ef:0a:0b:ff");
    for (const char *text : {"", "0x", ":", "00:11:22:33:44", "00:11:22:33:44:55:66", "00112233445566",
                             "00:11:22:33:44:5z", "00:11:22:33:44:5 ", " 00:11:22:33:44:55", "0x0x001122334455",
                             "00:11:zz:22:33:44:55", "x", "00:11:22:33:44:z"}) {
        EXPECT_EQ(lenient(text), none) << text;
    }
}

TEST(Address, StrictReaderKeepsTheSeparatorAsHighDigit) {
    struct Case {
        const char *text;
        int valid;
        Mac stored;
    };
    for (const Case &c : vector<Case>{
             {"00-11-22-33-44-55", 1, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
             {"aB:Cd-eF:00-fF:9a", 1, {0xab, 0xcd, 0xef, 0x00, 0xff, 0x9a}},
             {"00:1:2-3-4:f", 1, {0x00, 0xa1, 0xa2, 0xd3, 0xd4, 0xaf}},  // the separator's value, not a zero
             {"7:11:22:33:44:55", 1, {0x07, 0x11, 0x22, 0x33, 0x44, 0x55}},
             {"00:11:22:33:44:555", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0xee}},
             {"00::11:22:33:44:55", 0, {0x00, 0xee, 0xee, 0xee, 0xee, 0xee}},
             {"0011.2233.4455", 0, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee}},
             {"00:11:22:33:44:55:", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
             {"00:11:22:33:44:55:66", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
             {"00:11:22:33:44", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0xee}},
             {":00:11:22:33:44:55", 0, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee}},
             {"00:11:22:33:44:5 ", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0xee}},
             {"", 0, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee}},
         }) {
        Mac mac;
        mac.fill(0xee);
        EXPECT_EQ(valid_mac(mac.data(), c.text), c.valid) << c.text;
        EXPECT_EQ(mac, c.stored) << c.text;
    }
    for (int c = -300; c < 600; c++) {
        EXPECT_EQ(valid_mac_range(c), c > 0 && c < 128 && strchr("0123456789abcdefABCDEF", c) != nullptr) << c;
    }
}

TEST(Address, RandomMacsSurviveEveryText) {
    Random random(1);
    char text[QUILL_MAC_STR_SIZE];
    for (int i = 0; i < kRandomCases; i++) {
        Mac mac, read;
        for (uint8_t &byte : mac) byte = static_cast<uint8_t>(random.next());
        for (const char delimiter : {':', '-', '.', '\0'}) {
            mac_to_str_w_options(mac.data(), text, i & 1, delimiter);
            ASSERT_EQ(mac_of(str_to_mac(text)), mac) << text;
            const bool strict = delimiter == ':' || delimiter == '-';
            ASSERT_EQ(valid_mac(read.data(), text), strict) << text;
            ASSERT_TRUE(!strict || read == mac) << text;
        }
        ether_addr octets;
        memcpy(&octets, mac.data(), sizeof octets);
        ASSERT_TRUE(ether_aton_r(mac_to_str(mac.data()), &octets));
        ASSERT_EQ(memcmp(&octets, mac.data(), sizeof octets), 0);
    }
}

TEST(Address, Ipv4Text) {
    Random random(3);
    for (int i = 0; i < kRandomCases; i++) {
        const uint32_t ip = static_cast<uint32_t>(random.next());
        ASSERT_STREQ(ip_to_str(ip), inet_ntoa({ip}));
        ASSERT_STREQ(ip_to_str2(ip), inet_ntoa({ip}));
        ASSERT_EQ(str_to_ip(ip_to_str(ip)), ip);
    }
    for (int octet = 0; octet < 256; octet++) {
        const auto o = static_cast<uint8_t>(octet);
        ASSERT_EQ(ip_to_str(word(o, 0, o, 255)), std::to_string(octet) + ".0." + std::to_string(octet) + ".255");
    }
    EXPECT_EQ(str_to_ip("10.0.0.1"), word(10, 0, 0, 1));
    EXPECT_EQ(str_to_ip("010.1"), word(8, 0, 0, 1));
    for (const char *text : {"", "x", "1.2.3.4.5", "256.1.1.1", "255.255.255.255"}) {
        EXPECT_EQ(str_to_ip(text), 0xffffffffu) << text;
    }
}

TEST(Address, UnicastByOctets) {
    for (int first = 0; first < 256; first++) {
        const bool not_unicast = first == 127 || first == 255 || (first >= 224 && first <= 239);
        const auto octet = static_cast<uint8_t>(first);
        EXPECT_EQ(is_unicast_ipaddr(word(octet, 1, 2, 3)), !not_unicast) << first;
    }
    EXPECT_EQ(is_unicast_ipaddr(word(0, 0, 0, 0)), 0);
    EXPECT_EQ(is_unicast_ipaddr(word(255, 255, 255, 255)), 0);
}

TEST(Address, EitherFamilyToText) {
    const ip_af_addr v4 = either(2, {192, 168, 100, 200});
    const ip_af_addr v6 = either(10, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
    GuardedPage page;
    const auto room = [&](size_t size) { return reinterpret_cast<char *>(page.room(size, 'x')); };

    EXPECT_STREQ(quill_inet_ntop(v4, room(QUILL_IP_STR_SIZE)), "192.168.100.200");
    EXPECT_STREQ(quill_inet_ntop(v6, room(QUILL_IP_STR_SIZE)), "fe80::1");
    EXPECT_STREQ(quill_ip_to_str(v4), "192.168.100.200");
    EXPECT_STREQ(quill_ip_to_str(v6), "fe80::1");
    EXPECT_STREQ(quill_ipv6_to_str(v6.addr), "fe80::1");
    EXPECT_EQ(quill_ip_to_str_r(v4, room(16), 16), reinterpret_cast<char *>(page.room(0, 0)) - 16);
    EXPECT_STREQ(quill_ip_to_str_r(v6, room(8), 8), "fe80::1");
    for (const size_t size : {0u, 1u, 15u}) EXPECT_EQ(quill_ip_to_str_r(v4, room(size), size), nullptr) << size;
    EXPECT_EQ(quill_ip_to_str_r(v4, nullptr, QUILL_IP_STR_SIZE), nullptr);
    for (const size_t size : {0u, 1u, 7u}) EXPECT_EQ(quill_ip_to_str_r(v6, room(size), size), nullptr) << size;
    EXPECT_STREQ(quill_ip_to_str_r(v6, room(QUILL_IP_STR_SIZE), SIZE_MAX), "fe80::1");

    // The same address without a family: none to one function, IPv4 to the other.
    for (const int family : {0, 1, 3, 11, 0x0200, 0x0a00}) {
        const ip_af_addr odd = either(family, {10, 0, 0, 1});
        EXPECT_STREQ(quill_inet_ntop(odd, room(QUILL_IP_STR_SIZE)), "");
        EXPECT_STREQ(quill_ip_to_str(odd), "10.0.0.1");
    }

    Random random(4);
    char expected[INET6_ADDRSTRLEN], text[QUILL_IP_STR_SIZE];
    for (int i = 0; i < kRandomCases; i++) {
        ip_af_addr address = either(random.one_in(2) ? AF_INET : AF_INET6, {});
        for (uint8_t &byte : address.addr) byte = random.one_in(2) ? 0 : static_cast<uint8_t>(random.next());
        inet_ntop(address.family, address.addr, expected, sizeof expected);
        ASSERT_STREQ(quill_inet_ntop(address, text), expected);
        ASSERT_STREQ(quill_ip_to_str(address), expected);
    }
}

TEST(Address, EitherFamilyFromNumericText) {
    ip_af_addr out, noise;
    memset(&noise, 0xee, sizeof noise);
    const auto expect = [&](int (*read)(const char *, ip_af_addr *), const char *text, int result,
                            const ip_af_addr &stored) {
        out = noise;
        EXPECT_EQ(read(text, &out), result) << text;
        EXPECT_TRUE(same(out, stored)) << text;
    };
    for (auto *read : {quill_inet_pton, validate_and_assign_ip_addr}) {
        expect(read, "10.0.0.1", 1, either(2, {10, 0, 0, 1}));
        expect(read, "255.255.255.255", 1, either(2, {255, 255, 255, 255}));
        expect(read, "::ffff:1.2.3.4", 1, either(10, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 1, 2, 3, 4}));
        EXPECT_EQ(read(nullptr, nullptr), 0);
        EXPECT_EQ(read(nullptr, &out), 0);
        EXPECT_EQ(read("10.0.0.1", nullptr), 0);
    }
    // The empty text is an address without a family to the one, and none to the other.
    expect(quill_inet_pton, "", 1, {});
    expect(validate_and_assign_ip_addr, "", 0, {});
    for (const char *text : {"1.2.3", "0x7f.1", "01.2.3.4", "fe80::1%lo", "localhost", "10.0.0.1 ", "256.1.1.1", "x"}) {
        expect(validate_and_assign_ip_addr, text, 0, noise);
    }
}

TEST(Address, NamesGoToTheResolver) {
    ENTER_PRIVATE_DEVICE();
    // No network but the hosts file, whatever the machine has.
    if (unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "no private network: " << strerror(errno);
    quill::test::write_file("/tmp/hosts", "10.1.2.3 controller.test\n2001:db8::7 v6only.test\n");
    quill::test::write_file("/tmp/nsswitch.conf", "hosts: files\n");
    for (const char *file : {"hosts", "nsswitch.conf"}) {
        const string own = string("/tmp/") + file, fixed = string("/etc/") + file;
        if (mount(own.c_str(), fixed.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "mount " << fixed << ": " << strerror(errno);
        }
    }
    const ip_af_addr v6 = either(10, {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7});
    ip_af_addr out;
    const auto resolves_to = [&](const char *text, const ip_af_addr &expected) {
        memset(&out, 0xee, sizeof out);
        return quill_inet_pton(text, &out) == 1 && same(out, expected);
    };
    EXPECT_TRUE(resolves_to("controller.test", either(2, {10, 1, 2, 3})));
    EXPECT_TRUE(resolves_to("v6only.test", v6));
    EXPECT_TRUE(resolves_to("1.2.3", either(2, {1, 2, 0, 3})));
    EXPECT_TRUE(resolves_to("0x7f.1", either(2, {127, 0, 0, 1})));
    EXPECT_TRUE(resolves_to("fe80::7%lo", either(10, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7})));

    ip_af_addr noise;
    memset(&noise, 0xee, sizeof noise);
    for (const string &text : {string("nobody.test"), string("10.0.0.1 x"), string("-"), string(5000, 'a')}) {
        out = noise;
        EXPECT_EQ(quill_inet_pton(text.c_str(), &out), 0) << text;
        EXPECT_TRUE(same(out, noise)) << text;
    }
}

TEST(Address, MarksFollowTheFamily) {
    const vector<uint8_t> ones(16, 0xff), zeros(16, 0);
    EXPECT_TRUE(same(zero_ip_addr, {}) && same(all_1_ip_addr, {}));
    fix_zero_and_all_1_ip_addr(QUILL_AF_INET6);
    EXPECT_TRUE(same(zero_ip_addr, either(10, zeros)));
    EXPECT_TRUE(same(all_1_ip_addr, either(10, ones)));
    // Another family takes the mark away and nothing else.
    fix_zero_and_all_1_ip_addr(1);
    EXPECT_TRUE(same(zero_ip_addr, either(0, zeros)));
    EXPECT_TRUE(same(all_1_ip_addr, either(0, ones)));
    fix_zero_and_all_1_ip_addr(QUILL_AF_INET);
    EXPECT_TRUE(same(zero_ip_addr, either(2, {0, 0, 0, 0})));
    EXPECT_TRUE(same(all_1_ip_addr, either(2, {255, 255, 255, 255})));
    EXPECT_EQ(memcmp(ipv6_zeros, zeros.data(), 16) | memcmp(ipv6_ones, ones.data(), 16), 0);
    EXPECT_STREQ(quill_ipv6_to_str(ipv6_loopback), "::1");
}

TEST(Address, ArithmeticOnWords) {
    using Helper = uint32_t (*)(uint32_t, uint32_t);
    struct Row {
        vector<Helper> helpers;
        uint32_t (*plain)(uint32_t, uint32_t);
    };
    const Row rows[] = {
        {{nh_addl, nn_addl}, [](uint32_t a, uint32_t b) { return a + b; }},
        {{nh_subl, nn_subl}, [](uint32_t a, uint32_t b) { return a - b; }},
        {{nh_adds, nn_adds}, [](uint32_t a, uint32_t b) { return (a + b) % 65536; }},
        {{nh_subs, nn_subs}, [](uint32_t a, uint32_t b) { return (a - b) % 65536; }},
        {{nh_andl, nn_andl, nh_ands, nn_ands}, [](uint32_t a, uint32_t b) { return a & b; }},
    };
    const uint32_t values[] = {0, 1, 0xffff, 0x10000, 0x12345678, 0x80000000, 0xffffffff};
    for (const Row &row : rows) {
        for (const Helper helper : row.helpers) {
            for (const uint32_t a : values) {
                for (const uint32_t b : values) EXPECT_EQ(helper(a, b), row.plain(a, b)) << a << " " << b;
            }
        }
    }
}
