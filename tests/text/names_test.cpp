#include <gtest/gtest.h>
#include <quill/names.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "support/case_file.h"
#include "support/german_locale.h"

namespace {

using quill::test::GermanLocale;

constexpr auto kFunctions = QUILL_CASE_FUNCTIONS(
    dbm_pwr_to_str, encr_to_str, get_boolean_str, get_boolean_value, ids_stype_to_wifi_stype, loc_to_str, proto_to_str,
    radio_dbm_10x_to_tpl_power, radio_dbm_to_tpl_power, radio_tpl_new_to_old_power, radio_tpl_old_to_new_power,
    radio_tpl_to_dbm_10x_power, radio_tpl_to_dbm_power, rate_offset_to_str, sec_to_str, str_to_loc, str_to_proto,
    str_to_pwr_dbm, wifi_stype_to_ids_stype);

TEST(Names, Cases) { quill::test::expect_cases("text/names.cases", kFunctions); }

TEST(Names, PowersHaveAPointInEveryLocale) {
    const GermanLocale german;
    if (!german) GTEST_SKIP() << "no German locale can be made, or the C library has none";
    char text[8];
    snprintf(text, sizeof text, "%.1f", 17.5);
    ASSERT_STREQ(text, "17,5");
    quill::test::expect_cases("text/names.cases", kFunctions);
}

TEST(Names, TwoPowersInOneArgumentList) {
    const char *one = dbm_pwr_to_str(-2147483647), *two = dbm_pwr_to_str(DBM_PWR_NOT_SET);
    EXPECT_STREQ(one, "-214748368.0");
    EXPECT_STREQ(two, "INV");
    EXPECT_EQ(dbm_pwr_to_str(10), one);
    EXPECT_EQ(memcmp(one, "1.0\0\0\0\0\0\0\0\0\0\0\0\0", 16), 0);  // the rest of the buffer is cleared
    EXPECT_EQ(dbm_pwr_to_str(20), two);
}

}  // namespace
