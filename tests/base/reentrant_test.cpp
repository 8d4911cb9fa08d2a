// Calls the reentrant functions on several threads at once. Each thread has its own data, and must get the results that
// a single thread gets. ThreadSanitizer also finds memory that threads share.
#include <gtest/gtest.h>
#include <quill/quill.h>

#include <functional>
#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/threads.h"

namespace quill::test {
namespace {

using std::string;

constexpr int kThreads = 8, kRounds = 200;

TEST(Reentrant, Cases) {
    const auto expect_cases_again = [](const char *file, std::span<const CaseFunction> functions) {
        expect_cases(file, functions, Others::kAreLeftOut);
    };
    Threads(kThreads, [&](int) {
        expect_cases_again("text/address.cases",
                           QUILL_CASE_FUNCTIONS(mac_to_str_r, mac_to_str_no_delemit, valid_mac, quill_inet_ntop,
                                                quill_ip_to_str_r, validate_and_assign_ip_addr, nh_addl));
        expect_cases_again("text/ipv6.cases", QUILL_CASE_FUNCTIONS(ipv6_wild2len, ipv6_plen_to_addr, ipv6_addr_incr,
                                                                   format_ipv6_with_colon, ipv6_mask_to_plen));
        expect_cases_again("text/validators.cases",
                           QUILL_CASE_FUNCTIONS(is_numeric, email_addr_validate, domain_name_validate,
                                                is_string_vulnerable, clear_quotes, escape_shell_specialchars));
        expect_cases_again("text/location.cases", QUILL_CASE_FUNCTIONS(fqln_crack, fqln_escape_dot, fqln_build));
        expect_cases_again("security/escaping.cases", QUILL_CASE_FUNCTIONS(string_encode, string_decode));
        expect_cases_again("security/scramble.cases", QUILL_CASE_FUNCTIONS(scrambleString, unscrambleString));
        expect_cases_again("platform/ap_version.cases",
                           QUILL_CASE_FUNCTIONS(match_ap_version, ap_version_format, version_within_range));
    });
}

string bytes_of(const void *data, size_t size) { return string(static_cast<const char *>(data), size); }

// Each function makes texts and bytes from a number, by calls of one family.
const std::vector<std::function<string(uint32_t)>> kWorks = {
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
        uint8_t digest[MD5_DIGEST_SIZE], mac[MD5_DIGEST_SIZE];
        const string text = std::to_string(n);
        md5_calc(digest, text.data(), static_cast<unsigned>(text.size()));
        EXPECT_EQ(calc_hmac_md5("key", 3, text.data(), static_cast<unsigned>(text.size()), mac), 0);
        return bytes_of(digest, sizeof digest) + bytes_of(mac, sizeof mac);
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
    Threads(kThreads, [&](int number) {
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
}  // namespace quill::test
