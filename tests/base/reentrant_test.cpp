// What the headers call reentrant, on several threads at once, each with its own data: it must give what one thread
// alone gets. ThreadSanitizer looks for memory that they share all the same.
#include <gtest/gtest.h>
#include <quill/quill.h>
#include <string.h>

#include <functional>
#include <string>
#include <vector>

#include "support/threads.h"

namespace {

using std::string;

constexpr int kThreads = 8, kRounds = 200;

string bytes_of(const void *data, size_t size) { return string(static_cast<const char *>(data), size); }

// Each makes texts and bytes out of a number, by calls of one family.
const std::vector<std::function<string(uint32_t)>> kWorks = {
    [](uint32_t n) {
        const uint8_t mac[6] = {0, 0x1a, static_cast<uint8_t>(n), 3, 4, 5};
        char text[QUILL_MAC_STR_SIZE];
        uint8_t back[6];
        mac_to_str_r(mac, text, n % 2);
        EXPECT_EQ(valid_mac(back, text), 1);
        return text + bytes_of(back, sizeof back) + (is_unicast_ipaddr(n) ? "u" : "");
    },
    [](uint32_t n) {
        ip_af_addr address = {}, back = {};
        address.family = n % 2 ? QUILL_AF_INET : QUILL_AF_INET6;
        memcpy(address.addr, &n, sizeof n);
        char text[QUILL_IP_STR_SIZE], again[QUILL_IP_STR_SIZE];
        EXPECT_EQ(validate_and_assign_ip_addr(quill_ip_to_str_r(address, text, sizeof text), &back), 1);
        return quill_inet_ntop(back, again) + bytes_of(&back, sizeof back);
    },
    [](uint32_t n) {
        uint16_t groups[8] = {0x2001, 0xdb8, static_cast<uint16_t>(n)}, plen = 0;
        string text = "2001:db8::" + std::to_string(n % 1000) + "/" + std::to_string(n % 129);
        EXPECT_EQ(ipv6_prefix2addr_mask(text.data(), groups, &plen), 1);
        return bytes_of(groups, sizeof groups) + std::to_string(plen);
    },
    [](uint32_t n) {
        uint8_t message[64];
        uint32_t end = 0, at = 0, back = 0;
        EXPECT_EQ(sxdr_write_u32_safe(&n, sizeof n, message, sizeof message, &end), 4);
        EXPECT_EQ(sxdr_read_u32_safe(message, end, &at, &back, sizeof back), 4);
        char text[16];
        sxdr_write_str(std::to_string(n).c_str(), message);
        EXPECT_GT(sxdr_read_str(text, message), 0u);
        return text + std::to_string(back);
    },
    [](uint32_t n) {
        const string text = "20," + std::to_string(1 + n % 4000) + "-4001";
        vmap *map = vmap_from_string(text.c_str());
        const string normal = map ? vmap_to_string(map) : "";
        vmap_free(map);
        return normal;
    },
    [](uint32_t n) {
        string line = "set name 'north " + std::to_string(n) + "' vlan";
        char *words[4], joined[64];
        EXPECT_EQ(cmdline_to_argv(4, words, line.data()), 4);
        argv_to_cmdline(joined, sizeof joined, 4, words);
        char name[64];
        return joined + string(fqln_build("b.1", words[2], "", "x", name, sizeof name));
    },
    [](uint32_t n) {
        uint8_t digest[MD5_DIGEST_SIZE], mac[MD5_DIGEST_SIZE], hidden[16];
        const string text = std::to_string(n);
        md5_calc(digest, text.data(), static_cast<unsigned>(text.size()));
        EXPECT_EQ(calc_hmac_md5("key", 3, text.data(), static_cast<unsigned>(text.size()), mac), 0);
        const auto length = static_cast<size_t>(scrambleString(text.c_str(), hidden));
        return bytes_of(digest, sizeof digest) + bytes_of(mac, sizeof mac) + bytes_of(hidden, length);
    },
    [](uint32_t n) {
        int32_t parsed[8] = {};
        const string text = "8.10.0." + std::to_string(n % 100) + "-8.10.0.5_x";
        EXPECT_EQ(match_ap_version(text.c_str(), parsed), 8);
        char escaped[64];
        escape_shell_specialchars(text.c_str(), escaped);
        return escaped + std::to_string(parsed[3]) + web_cc_cat_string(n % 90) +
               std::to_string(email_addr_validate("a@b.c"));
    },
    [](uint32_t n) {
        const auto by_value = [](const void *a, const void *b) { return a < b ? -1 : a > b; };
        btree *root = nullptr;
        sList *list = ListCreate();
        for (quill_word i = 1; i < 20; i++) {
            void *const key = reinterpret_cast<void *>((n + i * 7) % 31 + 1);
            if (btree_search(key, &root, by_value)) ListInsert(list, key);
        }
        string order;
        while (root) {
            order += std::to_string(reinterpret_cast<quill_word>(root->key)) + ' ';
            btree_delete(root->key, &root, by_value);
        }
        ListDestroy(list);
        return order;
    },
};

TEST(Reentrant, ThreadsDoNotSeeEachOther) {
    std::vector<std::vector<string>> alone(kWorks.size());
    for (size_t work = 0; work < kWorks.size(); work++) {
        for (uint32_t n = 0; n < kRounds; n++) alone[work].push_back(kWorks[work](n));
    }
    std::vector<int> different(kThreads);
    quill::test::Threads(kThreads, [&](int number) {
        const auto thread = static_cast<size_t>(number);
        for (uint32_t n = 0; n < kRounds; n++) {
            for (size_t i = 0; i < kWorks.size(); i++) {
                const size_t work = (i + thread) % kWorks.size();
                different[thread] += kWorks[work](n) != alone[work][n];
            }
        }
    });
    EXPECT_EQ(different, std::vector<int>(kThreads));
}

}  // namespace
