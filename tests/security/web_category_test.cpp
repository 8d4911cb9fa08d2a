#include <gtest/gtest.h>
#include <quill/md5.h>
#include <quill/web_category.h>

#include <string>

#include "support/case_file.h"
#include "support/hex.h"

namespace {

using std::string;

TEST(WebCategory, Cases) {
    quill::test::expect_cases(
        "security/web_category.cases",
        QUILL_CASE_FUNCTIONS(ip_rep_threat_mask_string, web_cc_cat_string, web_cc_get_cat_rep_id));
}

// A digest of all names, so that the tables are not repeated here.
string digest_of(const string &names) {
    uint8_t digest[16];
    md5_calc(digest, names.data(), static_cast<unsigned>(names.size()));
    return quill::test::hex(digest);
}

TEST(WebCategory, Names) {
    string categories, threats, bands;
    for (uint32_t category = 1; category <= 82; category++) categories += web_cc_cat_string(category) + string("\n");
    EXPECT_EQ(digest_of(categories), "142545324e671949d6ec017ddfe868c6") << categories;
    for (uint32_t bit = 1; bit <= 0x800; bit <<= 1) threats += ip_rep_threat_mask_string(bit) + string("\n");
    EXPECT_EQ(digest_of(threats), "2d1beb889a16721e9bb6f94f8f958095") << threats;
    for (const web_cc_cat_rep_range &band : web_cc_cat_rep_ranges) {
        bands += std::to_string(band.minimum) + "-" + std::to_string(band.maximum) + " " + band.name + " ";
        EXPECT_EQ(string(band.name, 64).find_last_not_of('\0') + 1, strlen(band.name));
    }
    EXPECT_EQ(bands, "1-20 high-risk 21-40 suspicious 41-60 moderate-risk 61-80 low-risk 81-100 trustworthy ");
    EXPECT_EQ(num_web_cc_rep_map_size, 5u);
}

}  // namespace
