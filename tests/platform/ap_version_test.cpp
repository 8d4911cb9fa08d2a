#include <gtest/gtest.h>
#include <limits.h>
#include <quill/ap_version.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "support/device_test.h"
#include "support/guard_page.h"
#include "support/random.h"
#include "support/version_model.h"

namespace {

using quill::test::cut;
using quill::test::Cut;
using quill::test::GuardedPage;
using quill::test::match_by_scanf;
using quill::test::Numbers;
using quill::test::Random;
using quill::test::write_file;
using std::string;

constexpr int kRandomTexts = 20000;

char *guarded(const string &text) {
    static GuardedPage page;
    return page.hold_text(text);
}

string random_version(Random &random) {
    const char *const pieces[] = {"1", "2.3", ".", "10.0.0.1", "-",        "_",        " ",
                                  "+", "-7",  "x", "\xb2",     "8.10.0.5", "999999999"};
    string text;
    for (uint32_t more = random.below(10); more > 0; more--) text += pieces[random.below(std::size(pieces))];
    if (random.one_in(20)) text.insert(0, 110 + random.below(30), ' ');
    return text;
}

TEST(ApVersion, Cutting) {
    const char *const texts[] = {
        "8.10.0.0-8.10.0.5_12345", "8.10.0.0-8.10.0.5-12_3", "8.10.0.0-rc_1", "8.10.0.0-", "1-2", ""};
    EXPECT_EQ(cut(texts[0], 0, "").output, "8.10.0.5");
    EXPECT_EQ(cut(texts[0], 1, "").output, "8.10.0.0-8.10.0.5");
    Random random(85);
    GuardedPage output_page;
    for (int i = 0; i < kRandomTexts; i++) {
        const uint32_t at = random.below(100), size = random.below(40);
        const string text = at < std::size(texts) ? texts[at] : random_version(random);
        const int mode = random.one_in(4) ? -1 : static_cast<int>(random.below(3));
        char *source = guarded(text);
        auto *output = reinterpret_cast<char *>(output_page.room(size, 'u'));
        const string before(size, 'u');
        const Cut expected = cut(text, mode, before);
        ASSERT_EQ(ap_version_format(source, output, size, mode), output);
        ASSERT_STREQ(source, expected.source.c_str()) << text;
        string content = expected.output;  // and what the copy leaves of the room
        if (size > 0 && content != before) {
            content = content.substr(0, size - 1) + '\0';
            content += before.substr(content.size());
        }
        ASSERT_EQ(string(output, size), size > 0 ? content : "") << text << ", mode " << mode;
    }
}

TEST(ApVersion, Reading) {
    Random random(86);
    int kinds[9] = {};
    for (int i = 0; i < kRandomTexts; i++) {
        string text = random_version(random);
        if (random.one_in(2)) text = "1.2.3.4-5.6.7.8" + text;
        Numbers parsed, expected;
        parsed.fill(-9);
        expected.fill(-9);
        const int kind = match_by_scanf(text, expected);
        ASSERT_EQ(match_ap_version(guarded(text), parsed.data()), kind) << text;
        bool fits = true;  // beyond int, scanf may do anything
        for (size_t digits = 0, k = 0; k < text.size(); k++) fits &= (digits = isdigit(text[k]) ? digits + 1 : 0) < 10;
        ASSERT_TRUE(!fits || parsed == expected) << text;
        kinds[kind]++;
    }
    for (const int kind : {0, 4, 8}) EXPECT_GT(kinds[kind], kRandomTexts / 50);
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
