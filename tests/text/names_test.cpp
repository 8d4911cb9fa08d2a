#include <gtest/gtest.h>
#include <limits.h>
#include <quill/names.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/german_locale.h"
#include "support/guard_page.h"
#include "support/random.h"

namespace {

using quill::test::GermanLocale;
using quill::test::GuardedPage;
using quill::test::Random;

constexpr int kRandomValues = 20000;

// A text whose NUL is the last byte that can be read.
const char *guarded(const std::string &text) {
    static GuardedPage page;
    return page.hold_text(text);
}

// Every magnitude alike, of either sign.
int random_int(Random &random) { return static_cast<int>(static_cast<uint32_t>(random.next()) >> random.below(32)); }

TEST(Names, FrameSubtypesBothWays) {
    const uint32_t subtypes[] = {0, 10, 12, 4, 5, 11};
    uint32_t codes[256] = {};
    for (uint32_t code = 1; code < 6; code++) codes[subtypes[code]] = code;
    for (uint32_t n = 0; n < 256; n++) {
        EXPECT_EQ(ids_stype_to_wifi_stype(n), n < 6 ? subtypes[n] : 0);
        EXPECT_EQ(wifi_stype_to_ids_stype(n), codes[n]);
    }
}

TEST(Names, Durations) {
    const struct {
        uint32_t seconds;
        const char *text;
    } cases[] = {
        {0, "0s"},
        {59, "59s"},
        {60, "1m:0s"},
        {61, "1m:1s"},
        {3600, "1h:0m:0s"},
        {86399, "23h:59m:59s"},
        {86400, "1d:0h:0m:0s"},
        {90061, "1d:1h:1m:1s"},
        {UINT32_MAX, "49710d:6h:28m:15s"},
    };
    for (const auto &c : cases) EXPECT_STREQ(sec_to_str(c.seconds), c.text);
}

TEST(Names, EncryptionInItsOwnOrder) {
    const struct {
        uint32_t flag;
        const char *name;
    } names[] = {
        {0x2, "Static WEP"},      {0x4, "Dynamic WEP"},     {0x8, "Static WPA"},          {0x10, "Dynamic WPA"},
        {0x400, "WPA 8021X AES"}, {0x200, "WPA PSK AES"},   {0x800, "WPA2 PSK TKIP"},     {0x1000, "WPA2 8021X TKIP"},
        {0x20, "WPA2 PSK AES"},   {0x40, "WPA2 8021X AES"}, {0x2000, "WPA2 AES GCM 128"}, {0x4000, "WPA2 AES GCM 256"},
    };
    EXPECT_STREQ(encr_to_str(0x600), "WPA 8021X AES,WPA PSK AES");
    for (uint32_t flags = 0; flags < 0x10000; flags++) {  // all of them, and bits without a name
        std::string expected;
        for (const auto &n : names)
            if (flags & n.flag) expected += (expected.empty() ? "" : ",") + std::string(n.name);
        if (flags & 0x1) expected = "Open";
        if (flags & 0x100) expected = "xsec";
        ASSERT_EQ(encr_to_str(flags), expected) << flags;
        ASSERT_EQ(encr_to_str(flags | 0xffff0000), expected) << flags;
    }
}

TEST(Names, Locations) {
    Random random(65);
    EXPECT_STREQ(loc_to_str(0x01020003), "1.2.3");
    EXPECT_STREQ(loc_to_str(0xffffffff), "Not set");
    EXPECT_EQ(str_to_loc("Not set"), 0u);
    for (int i = 0; i < kRandomValues; i++) {
        const uint32_t loc = static_cast<uint32_t>(random.next()) & ~(random.one_in(2) ? 1u : 0);
        ASSERT_EQ(str_to_loc(loc_to_str(loc)), loc == 0xffffffff ? 0 : loc);
    }
    EXPECT_EQ(str_to_loc("4294967297.18446744073709551618.99999999999999999999999"), 0x0102ffffu);  // modulo 2^16
    EXPECT_EQ(str_to_loc(nullptr), 0u);
}

TEST(Names, ProtocolsBothWays) {
    const struct {
        int number;
        const char *name;
    } named[] = {{0, "any"},   {1, "icmp"},     {2, "igmp"},      {4, "ipip"},      {6, "tcp"},
                 {8, "egp"},   {12, "pup"},     {17, "udp"},      {22, "idp"},      {29, "tp"},
                 {41, "ipv6"}, {43, "routing"}, {44, "fragment"}, {46, "rsvp"},     {47, "gre"},
                 {50, "esp"},  {51, "ah"},      {58, "icmpv6"},   {59, "ipv6none"}, {60, "dsopts"},
                 {92, "mtp"},  {98, "encap"},   {103, "pim"},     {108, "comp"},    {255, "raw"}};
    for (const auto &n : named) {
        EXPECT_STREQ(proto_to_str(n.number), n.name);
        std::string upper = n.name;
        for (char &c : upper) c = static_cast<char>(toupper(c));
        EXPECT_EQ(str_to_proto(upper.c_str()), n.number) << upper;
    }
    int names = 0;
    for (int number = -1000; number < 70000; number++) {
        const std::string text = proto_to_str(number);
        ASSERT_EQ(str_to_proto(text.c_str()), number & 0xffff);
        names += text != std::to_string(number);
    }
    EXPECT_EQ(names, 25);
    EXPECT_STREQ(proto_to_str(INT_MIN), "-2147483648");
    const struct {
        const char *text;
        int number;
    } others[] = {{"300", 300}, {"70000", 4464}, {"4294967302", 6}, {"-1", 65535}, {"6tcp", 6},
                  {"tcp ", 0},  {"tc", 0},       {"", 0},           {nullptr, 0}};
    for (const auto &o : others) EXPECT_EQ(str_to_proto(o.text), o.number) << o.text;
}

TEST(Names, Rates) {
    const char *const mixed[] = {"1", "2", "5.5", "6", "9", "11", "12", "18", "24", "36", "48", "54"};  // upwards
    const char *const ofdm[] = {"6", "9", "12", "18", "24", "36", "48", "54"};
    for (uint32_t offset = 0; offset < 1000; offset++) {
        const std::string other = offset == 255 ? "N/A" : "-";
        EXPECT_EQ(rate_offset_to_str(offset, 0), offset < 12 ? mixed[offset] + std::string(" mbps") : other);
        EXPECT_EQ(rate_offset_to_str(offset, 1), offset < 8 ? ofdm[offset] + std::string(" mbps") : other);
        EXPECT_EQ(rate_offset_to_str(offset, -1), rate_offset_to_str(offset, 1));
    }
}

// --- power

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
    for (int i = 0; i < kRandomValues; i++) {
        const int sign = random.one_in(2) ? 1 : -1, tenths = sign * (random_int(random) & INT_MAX);
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

TEST(Names, ReadsPowers) {
    const struct {
        const char *text;
        int tenths;
    } cases[] = {
        {"17.5", 175},
        {"17", 170},
        {"-12.5", -125},
        {"-0.5", -5},
        {"-17", -170},
        {"-", 0},
        {"-0", 0},
        {".5", 5},
        {"-.5", -5},
        {"12.5\n", 125},
        {"1.5\nx", 15},
        {"12\n", 12},
        {"-12\n", 12},
        {"\n", 0},  // with a newline as they stand
        {"", 2047},
        {nullptr, 2047},
        {"17.55", 2047},
        {"17.", 2047},
        {"17.\n", 2047},
        {".", 2047},
        {"+1", 2047},
        {" 1", 2047},
        {"1 ", 2047},
        {"--1", 2047},
        {"1,5", 2047},
        {"1.5.", 2047},
        {"214748364.7", INT_MAX},
        {"-214748364.8", INT_MIN},
        {"214748364.8", 2047},
        {"-214748364.9", 2047},
        {"214748365", 2047},
        {"2147483647\n", INT_MAX},
        {"2147483648\n", 2047},
        {"99999999999999999999999.9", 2047},
        {"99999999999999999999999", 2047},
        {"99999999999999999999999\n", 2047},
    };
    for (const auto &c : cases) EXPECT_EQ(str_to_pwr_dbm(c.text), c.tenths) << c.text;
}

TEST(Names, PowerLevels) {
    for (uint32_t level = 0; level < 12; level++) {
        const uint32_t dbm = radio_tpl_to_dbm_power(level);
        const int tenths = radio_tpl_to_dbm_10x_power(level);
        EXPECT_EQ(dbm, 6 * level);
        EXPECT_EQ(tenths, 30 * static_cast<int>(level));  // and not ten times the other
        EXPECT_EQ(radio_dbm_to_tpl_power(dbm), level);
        EXPECT_EQ(radio_dbm_to_tpl_power(dbm + 4), level);
        EXPECT_EQ(radio_dbm_to_tpl_power(dbm + 5), level + 1);
        EXPECT_EQ(radio_dbm_10x_to_tpl_power(tenths), level);
        EXPECT_EQ(radio_dbm_10x_to_tpl_power(tenths + 20), level);
        EXPECT_EQ(radio_dbm_10x_to_tpl_power(tenths + 21), level + 1);
    }
    for (const uint32_t above : {12u, 13u, UINT32_MAX}) {
        EXPECT_EQ(radio_tpl_to_dbm_power(above), 254u);
        EXPECT_EQ(radio_tpl_to_dbm_10x_power(above), 1270);
    }
    EXPECT_EQ(radio_dbm_to_tpl_power(static_cast<uint32_t>(-1)), 12u);  // unsigned
    EXPECT_EQ(radio_dbm_10x_to_tpl_power(-1), 0u);                      // signed
    EXPECT_EQ(radio_dbm_10x_to_tpl_power(INT_MAX), 12u);

    const uint32_t to_new[] = {0, 4, 5, 6, 9, 9, 9, 9}, to_old[] = {0, 1, 1, 1, 2, 3, 4, 4};  // no inverses
    for (uint32_t level = 0; level < 8; level++) {
        EXPECT_EQ(radio_tpl_old_to_new_power(level), to_new[level]);
        EXPECT_EQ(radio_tpl_new_to_old_power(level), to_old[level]);
    }
    EXPECT_EQ(radio_tpl_old_to_new_power(UINT32_MAX) + radio_tpl_new_to_old_power(UINT32_MAX), 13u);
}

TEST(Names, Switches) {
    for (const char *on : {"true", "TRUE", "enabled", "Enable", "1", "yes", "YeS", "ENABLEFOO", "enable\xff"})
        EXPECT_EQ(get_boolean_value(guarded(on)), 1) << on;
    for (const char *off : {"", "on", "0", "2", "11", "true ", " yes", "enabl", "y", "disable"})
        EXPECT_EQ(get_boolean_value(guarded(off)), 0) << off;
    EXPECT_EQ(get_boolean_value(nullptr), 0);
    EXPECT_STREQ(get_boolean_str(0), "disable");
    EXPECT_STREQ(get_boolean_str(-1), "enable");
    for (const int value : {0, 1}) EXPECT_EQ(get_boolean_value(get_boolean_str(value)), value);
}

}  // namespace
