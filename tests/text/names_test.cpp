#include <gtest/gtest.h>
#include <limits.h>
#include <quill/names.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/case_file.h"
#include "support/german_locale.h"
#include "support/random.h"

namespace {

using quill::test::GermanLocale;
using quill::test::Random;

constexpr auto kFunctions = QUILL_CASE_FUNCTIONS(
    encr_to_str, get_boolean_str, get_boolean_value, ids_stype_to_wifi_stype, loc_to_str, proto_to_str,
    radio_dbm_10x_to_tpl_power, radio_dbm_to_tpl_power, radio_tpl_new_to_old_power, radio_tpl_old_to_new_power,
    radio_tpl_to_dbm_10x_power, radio_tpl_to_dbm_power, rate_offset_to_str, sec_to_str, str_to_loc, str_to_proto,
    str_to_pwr_dbm, wifi_stype_to_ids_stype);

TEST(Names, Cases) { quill::test::expect_cases("text/names.cases", kFunctions); }

std::string printed(int tenths) {
    if (tenths == DBM_PWR_NOT_SET) return "INV";
    char text[64];
    snprintf(text, sizeof text, "%0.1f", static_cast<double>(static_cast<float>(tenths) / 10.0f));
    std::replace(text, text + strlen(text), ',', '.');
    return text;
}

void expect_powers_as_printf() {
    Random random(67);
    for (const int tenths : {0, 1, -1, 9, 10, -5, 175, 2046, 2048, -2047, 8388607, 8388610, 8388612, 16777217, INT_MAX,
                             INT_MIN, INT_MIN + 1})
        EXPECT_EQ(dbm_pwr_to_str(tenths), printed(tenths)) << tenths;
    for (int i = 0; i < 20000; i++) {
        // Every magnitude alike, of either sign.
        const auto magnitude = static_cast<int>(static_cast<uint32_t>(random.next()) >> random.below(32) & INT_MAX);
        const int tenths = random.one_in(2) ? magnitude : -magnitude;
        ASSERT_EQ(dbm_pwr_to_str(tenths), printed(tenths)) << tenths;
    }
    EXPECT_STREQ(dbm_pwr_to_str(175), "17.5");
    EXPECT_STREQ(dbm_pwr_to_str(INT_MIN), "-214748368.0");  // single precision
}

TEST(Names, PowersArePrintedLikeFloats) { expect_powers_as_printf(); }

TEST(Names, PowersHaveAPointInEveryLocale) {
    const GermanLocale german;
    if (!german) GTEST_SKIP() << "no German locale can be made, or the C library has none";
    char text[8];
    snprintf(text, sizeof text, "%.1f", 17.5);
    ASSERT_STREQ(text, "17,5");
    expect_powers_as_printf();
    EXPECT_EQ(str_to_pwr_dbm("17.5"), 175);
    EXPECT_EQ(str_to_loc("\xa0"
                         "1.2.3"),
              0u);  // a space of that locale's
}

TEST(Names, TwoPowersInOneArgumentList) {
    const char *one = dbm_pwr_to_str(-2147483647), *two = dbm_pwr_to_str(DBM_PWR_NOT_SET);
    EXPECT_STREQ(one, "-214748368.0");
    EXPECT_STREQ(two, "INV");
    EXPECT_EQ(dbm_pwr_to_str(10), one);
    EXPECT_EQ(memcmp(one, "1.0\0\0\0\0\0\0\0\0\0\0\0\0", 16), 0);  // cleared
    EXPECT_EQ(dbm_pwr_to_str(20), two);
}

}  // namespace
