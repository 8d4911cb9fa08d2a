#include <quill/address.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>

#include <string>

#include "support/case_file.h"
#include "support/hex.h"
#include "support/private_device.h"
#include "support/result_ring.h"

namespace quill::test {
namespace {

using std::string;

string lenient(const char *text) { return hex({str_to_mac(text), 6}); }

// Words in network order differ between machines, but their bytes are the same.
uint32_t word(const uint8_t *octets) {
    uint32_t ip;
    memcpy(&ip, octets, sizeof ip);
    return ip;
}
string ip_text(const uint8_t *octets) { return ip_to_str(word(octets)) + string(" ") + ip_to_str2(word(octets)); }
int is_unicast(const uint8_t *octets) { return is_unicast_ipaddr(word(octets)); }
string read_ip(const char *text) {
    const uint32_t ip = str_to_ip(text);
    return hex({reinterpret_cast<const uint8_t *>(&ip), sizeof ip});
}

constexpr auto kFunctions = QUILL_CASE_FUNCTIONS(
    mac_to_str_r, mac_to_str_w_options, mac_to_str_no_delemit, mac_to_str, lenient, valid_mac, valid_mac_range, ip_text,
    read_ip, is_unicast, quill_inet_ntop, quill_ip_to_str, quill_ipv6_to_str, quill_ip_to_str_r, quill_inet_pton,
    validate_and_assign_ip_addr, nh_addl, nn_addl, nh_subl, nn_subl, nh_adds, nn_adds, nh_subs, nn_subs, nh_andl,
    nn_andl, nh_ands, nn_ands);

TEST(Address, Cases) { expect_cases("text/address.cases", kFunctions); }

TEST(Address, RingsGiveTheirSecondSlotFirst) {
    const uint8_t mac[6] = {};
    expect_ring(64, [&] { return mac_to_str(mac); });
    expect_ring(10, [] { return ip_to_str(0); });
    expect_ring(8, [] { return quill_ip_to_str({}); });
    expect_ring(1, [] { return ip_to_str2(0); });
    // Both functions use the same ring.
    const char *const before = quill_ipv6_to_str(ipv6_zeros);
    EXPECT_EQ(before + 64, quill_ip_to_str({}));
}

TEST(Address, NamesGoToTheResolver) {
    ENTER_PRIVATE_DEVICE();
    // The resolver has only the hosts file, and no network, on every machine.
    if (unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "no private network: " << strerror(errno);
    write_file("/tmp/hosts", "10.1.2.3 controller.test\n2001:db8::7 v6only.test\n");
    write_file("/tmp/nsswitch.conf", "hosts: files\n");
    for (const char *file : {"hosts", "nsswitch.conf"}) {
        const string own = string("/tmp/") + file, fixed = string("/etc/") + file;
        if (mount(own.c_str(), fixed.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "mount " << fixed << ": " << strerror(errno);
        }
    }
    expect_cases("text/resolver.cases", QUILL_CASE_FUNCTIONS(quill_inet_pton));
    ip_af_addr out;
    EXPECT_EQ(quill_inet_pton(string(5000, 'a').c_str(), &out), 0);
}

TEST(Address, MarksFollowTheFamily) {
    const auto marks = [] {
        return std::to_string(zero_ip_addr.family) + " " + hex(zero_ip_addr.addr) + " " +
               std::to_string(all_1_ip_addr.family) + " " + hex(all_1_ip_addr.addr);
    };
    const string zeros(32, '0'), ones(32, 'f');
    EXPECT_EQ(marks(), "0 " + zeros + " 0 " + zeros);
    fix_zero_and_all_1_ip_addr(QUILL_AF_INET6);
    EXPECT_EQ(marks(), "10 " + zeros + " 10 " + ones);
    // Another family only clears the family of the marks.
    fix_zero_and_all_1_ip_addr(1);
    EXPECT_EQ(marks(), "0 " + zeros + " 0 " + ones);
    fix_zero_and_all_1_ip_addr(QUILL_AF_INET);
    EXPECT_EQ(marks(), "2 " + zeros + " 2 ffffffff" + string(24, '0'));
    EXPECT_EQ(hex({ipv6_zeros, 16}) + hex({ipv6_ones, 16}) + quill_ipv6_to_str(ipv6_loopback), zeros + ones + "::1");
}

}  // namespace
}  // namespace quill::test
