#include <gtest/gtest.h>
#include <limits.h>
#include <quill/ap_version.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <iterator>
#include <string>

#include "support/device_test.h"
#include "support/random.h"

namespace {

using quill::test::Random;
using quill::test::write_file;
using std::string;

constexpr int kRandomTexts = 20000;

TEST(ApVersion, Cutting) {
    const struct {
        const char *text;
        int mode;
        const char *source, *output;
    } cases[] = {
        {"8.10.0.0-8.10.0.5_12345", 0, "8.10.0.0-8.10.0.5", "8.10.0.5"},
        {"8.10.0.0-8.10.0.5-12_3", 1, "8.10.0.0-8.10.0.5", "8.10.0.0-8.10.0.5"},
        {"8.10.0.0-8.10.0.5", 2, "8.10.0.0-8.10.0.5", "uu"},  // neither: the output stays
        {"8.10.0.0-8.10.0.5", -1, "8.10.0.0-8.10.0.5", "uu"},
        {"8.10.0.0-rc_1", 0, "8.10.0.0", "8.10.0.0"},
        {"8.10.0.0-", 0, "8.10.0.0", "8.10.0.0"},
        {"", 0, "", ""},
    };
    for (const auto &c : cases) {
        char source[32], output[32] = "uu";
        EXPECT_EQ(ap_version_format(strcpy(source, c.text), output, sizeof output, c.mode), output);
        EXPECT_STREQ(source, c.source) << c.text;
        EXPECT_STREQ(output, c.output) << c.text;
    }
    // Texts with nothing to cut may be read-only.
    char *const uncut[] = {const_cast<char *>("1.2.3.4"), const_cast<char *>("1.2.3.4-5.6.7.8")};
    char output[] = "uu";
    for (char *const source : uncut) EXPECT_EQ(ap_version_format(source, output, 0, 0), output);
    EXPECT_STREQ(output, "uu");
}

TEST(ApVersion, Reading) {
    using Numbers = std::array<int32_t, 8>;
    Numbers parsed{};
    EXPECT_EQ(match_ap_version(nullptr, parsed.data()), 0);
    EXPECT_EQ(match_ap_version("99999999999.-99999999999.0.0", parsed.data()), 4);
    EXPECT_EQ(parsed, (Numbers{INT_MAX, INT_MIN}));
}

TEST(ApVersion, Comparing) {
    constexpr int kUnset = -7;
    const struct {
        const char *r, *c;
        int r_kind, c_kind, result;
    } cases[] = {
        {"6.4.0.0", "6.5.0.0-8.0.0.0", 4, 8, 1},
        {"6.4.0.0", "6.3.9.9", 4, 4, -1},
        {"6.4.0.0", "6.4.0.0_1", 4, 4, 0},
        {"6.4.0.0-9.0.0.0", "6.4.0.1", 8, 4, 1},
        {"6.4.0.0-9.0.0.0", "6.4.0.0", 8, 4, 0},
        {"1.0.0.0-8.0.0.0", "2.0.0.0-8.0.0.0", 8, 8, 0},
        {"9.0.0.0-8.0.0.0", "2.0.0.0-8.0.0.1", 8, 8, 1},
        {"1.0.0.0-8.0.1.0", "2.0.0.0-8.0.0.9", 8, 8, -1},
        {"1.0.0.0", "+1.0.0.0", 4, 4, 0},
        {"2147483647.0.0.0", "1.0.0.0", 4, 4, -1},
        {"x", "1.0.0.0", 0, 4, 1},
        {"x", "1.0.0.0-1.0.0.0", 0, 8, 1},
        {"9.0.0.0", "", 4, 0, 1},
        {"9.0.0.0-9.0.0.0", "1.2.3", 8, 0, 1},
        {"", "", 0, 0, 1},
        {nullptr, "1.0.0.0", kUnset, kUnset, 1},
        {"1.0.0.0", nullptr, kUnset, kUnset, 1},
    };
    for (const auto &v : cases) {
        int r_kind = kUnset, c_kind = kUnset;
        EXPECT_EQ(compare_r_version_with_c_version(v.r, &r_kind, v.c, &c_kind), v.result) << v.r << " " << v.c;
        EXPECT_EQ(r_kind, v.r_kind) << v.r;
        EXPECT_EQ(c_kind, v.c_kind) << v.c;
    }
}

TEST(ApVersion, Ranges) {
    using Version = std::array<int32_t, 3>;
    const int32_t values[] = {INT_MIN, -1, 0, 1, 2, INT_MAX};
    Random random(87);
    const auto some = [&] { return values[random.below(std::size(values))]; };
    for (int i = 0; i < kRandomTexts; i++) {
        const Version low = {some(), some(), some()};
        const Version end = random.one_in(4) ? Version{} : Version{some(), some(), some()};
        const Version version = random.one_in(3) ? low : random.one_in(3) ? end : Version{some(), some(), some()};
        const int32_t range[] = {low[0], low[1], low[2], end[0], end[1], end[2]};
        const bool within = version >= low && (end == Version{} || version < end);
        ASSERT_EQ(version_within_range(range, version.data()), within);
    }
    EXPECT_EQ(version_within_range(nullptr, values) + version_within_range(values, nullptr), 0);
}

TEST(ApVersion, EndOfLife) {
    const struct {
        const char *version;
        int result;
    } cases[] = {
        {"4.1.9.9", 1},         {"4.2.0.0", 2}, {"3.9.0.0", 1}, {"5.0.0.0", 2}, {"9.9.9.9-4.1.0.0", 1},
        {"1.0.0.0-4.2.0.0", 2}, {"4.2.0", 3},   {"", 3},        {nullptr, 3},
    };
    for (const auto &c : cases) {
        for (const uint32_t model : {42u, 43u})
            EXPECT_EQ(check_eol_ap_version(c.version, model), c.result) << c.version;
        for (const uint32_t model : {0u, 41u, 44u, UINT32_MAX}) EXPECT_EQ(check_eol_ap_version(c.version, model), 0);
    }
}

class OsVersion : public quill::test::DeviceAndProcTest {};

TEST_F(OsVersion, ThirdWordOfTheFile) {
    EXPECT_STREQ(get_os_version(), "Unknown");
    const struct {
        string content, version;
    } cases[] = {
        {"Version is 8.10.0.5 build 7\n", "8.10.0.5"},
        {"Version is 8.10.0.5\n", "8.10.0.5\n"},
        {"a b", "Unknown"},
        {"a b ", ""},
        {"a  b c", "b"},
        {"  a", "a"},
        {"a\tb c", "Unknown"},
        {"", "Unknown"},
        {string("a b c\0d e", 9), "c"},
        {string(120, 'x') + " y 8.10.0.5", "8.10"},  // 127 bytes
        {string(126, 'x') + " y z", "Unknown"},
    };
    for (const auto &c : cases) {
        write_file("/proc/osbuild", c.content);
        EXPECT_EQ(get_os_version(), c.version) << c.content;
    }
    unlink("/proc/osbuild");
    ASSERT_EQ(mkdir("/proc/osbuild", 0755), 0);
    EXPECT_STREQ(get_os_version(), "Unknown");
}

}  // namespace
