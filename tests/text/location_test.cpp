#include <gtest/gtest.h>
#include <quill/location.h>
#include <string.h>

#include <array>
#include <string>
#include <vector>

#include "support/guard_page.h"
#include "support/location_model.h"

namespace {

using quill::test::GuardedPage;
using quill::test::Parts;

// A text whose NUL is the last byte that can be read.
const char *guarded(const std::string &text) {
    static GuardedPage page;
    return page.hold_text(text);
}

// Part buffers of exactly size + 1 bytes, each before a page that cannot be written.
Parts crack(const std::string &name, const std::array<uint32_t, 4> &sizes, unsigned wanted = 0xf) {
    static GuardedPage pages[4];
    char *at[4];
    for (size_t i = 0; i < 4; i++) at[i] = reinterpret_cast<char *>(pages[i].room(sizes[i] + 1, 0xee));
    char *given[4];
    for (size_t i = 0; i < 4; i++) given[i] = wanted >> i & 1 ? at[i] : nullptr;
    EXPECT_EQ(fqln_crack(guarded(name), given[0], sizes[0], given[1], sizes[1], given[2], sizes[2], given[3], sizes[3]),
              0);
    Parts parts;
    for (size_t i = 0; i < 4; i++) parts[i] = given[i] ? given[i] : "";
    return parts;
}

TEST(Location, CracksNames) {
    const struct {
        const char *name;
        std::array<uint32_t, 4> sizes;
        Parts parts;
    } cases[] = {
        {"b1.f2.r\\.3.x", {9, 9, 9, 9}, {"b1", "f2", "r.3", "x"}},
        {"a.b.c.d.e", {9, 9, 9, 9}, {"a", "b", "c", "d"}},
        {"a\\\\.b\\c", {9, 9, 9, 9}, {"a\\", "bc", "", ""}},
        {"a\\", {9, 9, 9, 9}, {"a", "", "", ""}},
        {"..c", {9, 9, 9, 9}, {"", "", "c", ""}},
        {"abc.d", {3, 9, 9, 9}, {"abc", "", "", ""}},  // full, so it ends
        {"abc.d", {4, 9, 9, 9}, {"abc", "d", "", ""}},
        {"a.b.c", {9, 0, 9, 9}, {"a", "", "", ""}},
        {"a", {0, 0, 0, 0}, {"", "", "", ""}},
    };
    for (const auto &c : cases) EXPECT_EQ(crack(c.name, c.sizes), c.parts) << c.name;
    EXPECT_EQ(crack("long.b.c.d", {1, 1, 2, 2}, 0xc), (Parts{"", "", "c", "d"}));  // unwanted parts never fill
    char part[] = "x";
    EXPECT_EQ(fqln_crack(nullptr, part, 1, nullptr, 0, nullptr, 0, nullptr, 0), 0);
    EXPECT_STREQ(part, "");
}

TEST(Location, EscapesDots) {
    const struct {
        const char *text;
        uint32_t size;
        const char *escaped;
    } cases[] = {
        {"a.b", 9, "a\\.b"},   {"a\\.b", 9, "a.b"},    // loses its escape
        {"a\\\\b", 9, "a\\b"}, {"a\\b.c", 9, "ab.c"},  // still pending at the dot
        {"a\\", 9, "a"},       {"a.b", 3, "a\\."},     // the last unit, and the NUL behind it
        {"a.b", 4, "a\\."},    {"ab.", 3, "ab"},      {"a", 1, ""},
    };
    for (const auto &c : cases) {
        GuardedPage page;
        char *out = reinterpret_cast<char *>(page.room(c.size + 1, 0xee));
        EXPECT_EQ(fqln_escape_dot(guarded(c.text), out, c.size), out);
        EXPECT_STREQ(out, c.escaped) << c.text << ", " << c.size;
    }
    char out[] = "x";
    EXPECT_EQ(fqln_escape_dot("a", out, 0), out);
    EXPECT_STREQ(out, "");
    EXPECT_STREQ(fqln_escape_dot(nullptr, out, 1), "");
}

std::string build(const Parts &parts, uint32_t size) {
    static GuardedPage page;
    char *out = reinterpret_cast<char *>(page.room(size, 0xee));
    EXPECT_EQ(fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), out, size), out);
    return size ? out : "";
}

TEST(Location, BuildsNames) {
    const std::string p(20, 'p');
    EXPECT_EQ(build({p, p, p, p}, 128), p + "." + p + "." + p);  // the sum of totals is 186
    EXPECT_EQ(build({p, p, p, p}, 186), p + "." + p + "." + p);
    EXPECT_EQ(build({p, p, p, p}, 187), p + "." + p + "." + p + "." + p);
    EXPECT_EQ(build({"b1", "f2", "r.3", "x"}, 64), "b1.f2.r\\.3.x");
    EXPECT_EQ(build({"", "", "", ""}, 64), "...");
    EXPECT_EQ(build({p, p, p, p}, 0), "");
    // Parts that fill the scratch: to its last unit with a dot, and far beyond it.
    const std::string dot = std::string(126, 'd') + ".", dots(1000, '.');
    EXPECT_EQ(build({dot, "", "", ""}, 1024), std::string(126, 'd') + "\\....");
    EXPECT_EQ(build({std::string(500, 'd'), "", "", ""}, 1024), std::string(127, 'd') + "...");
    EXPECT_EQ(build({dots, dots, dots, dots}, 1159).size(), 4 * 128 + 3);
    char out[16];
    EXPECT_STREQ(fqln_build(nullptr, "b", nullptr, "d", out, sizeof out), ".b..d");
}

TEST(Location, WellFormedNames) {
    for (const char *name : {"a.b.c.d", "a\\.x.b.c.d", "...", "a\\\\.b.c.d"}) EXPECT_EQ(fqln_is_well_formed(name), 1);
    for (const char *name : {"a.b.c", "a.b.c.d.e", "", "a\\.b.c.d"}) EXPECT_EQ(fqln_is_well_formed(name), 0);
    EXPECT_EQ(fqln_is_well_formed(nullptr), 0);
    EXPECT_EQ(fqln_find_part_after_name("a\\.b"), nullptr);
    EXPECT_EQ(fqln_find_part_after_name(nullptr), nullptr);
}

TEST(Location, Schedules) {
    for (uint32_t day = 0; day < 300; day++) {
        EXPECT_EQ(day_is_specific_day(day), day < 7);
        EXPECT_EQ(day_is_daily(day) + 2 * day_is_wkend(day) + 3 * day_is_wkday(day), day > 6 && day < 10 ? day - 6 : 0);
    }
    EXPECT_EQ(day_is_specific_day(UINT32_MAX), 0);
    for (const char *text : {"12:30", "99:99", ":", "1:"}) EXPECT_EQ(validate_time(guarded(text)), 1) << text;
    for (const char *text : {"12:30:00", "1230", "", " 1:2", "a:b", "1:2\n"}) EXPECT_EQ(validate_time(text), 0) << text;
    for (const char *text : {"2024/01/01", "//", "9999/99/99"}) EXPECT_EQ(validate_date(guarded(text)), 1) << text;
    for (const char *text : {"2024-01-01", "12345/67/89", "1/1", "1/1/1/1", "", "1/1/ 1"})
        EXPECT_EQ(validate_date(text), 0);
    EXPECT_EQ(validate_time(nullptr) + validate_date(nullptr), 0);
    for (int b = 1; b < 256; b++) {
        const std::string c(1, static_cast<char>(b));
        const bool digit = b >= '0' && b <= '9';
        EXPECT_EQ(validate_time(guarded("1:" + c)), digit) << b;
        EXPECT_EQ(validate_date(guarded("1//" + c)), digit) << b;
    }
}

}  // namespace
