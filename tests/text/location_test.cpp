#include <gtest/gtest.h>
#include <quill/location.h>

#include <array>
#include <string>

#include "support/case_file.h"
#include "support/guard_page.h"

namespace {

using quill::test::GuardedPage;
using Parts = std::array<std::string, 4>;

constexpr auto kFunctions =
    QUILL_CASE_FUNCTIONS(fqln_crack, fqln_escape_dot, fqln_build, fqln_is_well_formed, fqln_find_part_after_name,
                         day_is_specific_day, day_is_daily, day_is_wkend, day_is_wkday, validate_time, validate_date);

TEST(Location, Cases) { quill::test::expect_cases("text/location.cases", kFunctions); }

std::string build(const Parts &parts, uint32_t size) {
    static GuardedPage page;
    char *out = reinterpret_cast<char *>(page.room(size, 0xee));
    EXPECT_EQ(fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), out, size), out);
    return size ? out : "";
}

TEST(Location, BuildsLongNames) {
    const std::string p(20, 'p');
    EXPECT_EQ(build({p, p, p, p}, 128), p + "." + p + "." + p);  // the sum of the lengths after each step is 186
    EXPECT_EQ(build({p, p, p, p}, 186), p + "." + p + "." + p);
    EXPECT_EQ(build({p, p, p, p}, 187), p + "." + p + "." + p + "." + p);
    EXPECT_EQ(build({p, p, p, p}, 0), "");
    // Parts that fill the buffer for a part: a dot in the last place, and far more than fits.
    const std::string dot = std::string(126, 'd') + ".", dots(1000, '.');
    EXPECT_EQ(build({dot, "", "", ""}, 1024), std::string(126, 'd') + "\\....");
    EXPECT_EQ(build({std::string(500, 'd'), "", "", ""}, 1024), std::string(127, 'd') + "...");
    EXPECT_EQ(build({dots, dots, dots, dots}, 1159).size(), 4 * 128 + 3);
}

}  // namespace
