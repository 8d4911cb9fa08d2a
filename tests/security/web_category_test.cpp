#include <gtest/gtest.h>
#include <limits.h>
#include <quill/md5.h>
#include <quill/web_category.h>

#include <string>

#include "support/hex.h"

namespace {

using std::string;

// What all the names together must be, so that the tables do not stand here once more.
string digest_of(const string &names) {
    uint8_t digest[16];
    md5_calc(digest, names.data(), static_cast<unsigned>(names.size()));
    return quill::test::hex(digest);
}

TEST(WebCategory, Names) {
    string names;
    for (uint32_t category = 1; category <= 82; category++) names += web_cc_cat_string(category) + string("\n");
    EXPECT_EQ(digest_of(names), "142545324e671949d6ec017ddfe868c6") << names;
    for (const uint32_t none : {0u, 70u, 72u, 73u, 83u, 0x80000001u, UINT_MAX})
        EXPECT_STREQ(web_cc_cat_string(none), "unknown") << none;
    EXPECT_STREQ(web_cc_cat_string(1), "real-estate");
    EXPECT_STREQ(web_cc_cat_string(71), "SPAM-URLs");
    EXPECT_STREQ(web_cc_cat_string(82), "web-hosting");
}

TEST(WebCategory, ReputationBands) {
    const char *const names[] = {"high-risk", "suspicious", "moderate-risk", "low-risk", "trustworthy"};
    ASSERT_EQ(num_web_cc_rep_map_size, 5u);
    for (int score = -300; score < 300; score++)
        EXPECT_EQ(web_cc_get_cat_rep_id(score), 1 <= score && score <= 100 ? (score + 19) / 20 : 0) << score;
    for (int id = 1; id <= 5; id++) {
        const web_cc_cat_rep_range &band = web_cc_cat_rep_ranges[id - 1];
        EXPECT_EQ(band.minimum, 20 * id - 19);
        EXPECT_EQ(band.maximum, 20 * id);
        EXPECT_EQ(string(band.name, 64), string(names[id - 1]) + string(64 - string(names[id - 1]).size(), '\0'));
    }
    EXPECT_EQ(web_cc_get_cat_rep_id(INT_MIN) + web_cc_get_cat_rep_id(INT_MAX), 0);
}

TEST(IpReputation, LowestBitIsNamed) {
    string names;
    for (uint32_t bit = 1; bit <= 0x800; bit <<= 1) names += ip_rep_threat_mask_string(bit) + string("\n");
    EXPECT_EQ(digest_of(names), "2d1beb889a16721e9bb6f94f8f958095") << names;
    for (uint32_t mask = 0; mask < 0x2000; mask++) {
        const uint32_t lowest = mask & (0 - mask) & 0xfff;
        const char *expected = lowest ? ip_rep_threat_mask_string(lowest) : "N/A";
        ASSERT_STREQ(ip_rep_threat_mask_string(mask), expected) << mask;
        ASSERT_STREQ(ip_rep_threat_mask_string(mask | 0xffffe000), expected) << mask;
    }
    EXPECT_STREQ(ip_rep_threat_mask_string(0x88), "botnets");
}

}  // namespace
