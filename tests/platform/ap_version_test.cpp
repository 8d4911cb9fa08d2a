#include <gtest/gtest.h>
#include <limits.h>
#include <quill/ap_version.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <iterator>
#include <string>

#include "support/case_file.h"
#include "support/device_test.h"
#include "support/random.h"

namespace {

using quill::test::Random;
using quill::test::write_file;
using std::string;

constexpr auto kFunctions =
    QUILL_CASE_FUNCTIONS(ap_version_format, check_eol_ap_version, compare_r_version_with_c_version, get_os_version,
                         match_ap_version, version_within_range);

class ApVersionOfDevice : public quill::test::DeviceAndProcTest {};

TEST_F(ApVersionOfDevice, Cases) { quill::test::expect_cases("platform/ap_version.cases", kFunctions); }

TEST(ApVersion, NothingToCut) {
    // Such texts may be read-only.
    char *const uncut[] = {const_cast<char *>("1.2.3.4"), const_cast<char *>("1.2.3.4-5.6.7.8")};
    char output[] = "uu";
    for (char *const source : uncut) EXPECT_EQ(ap_version_format(source, output, 0, 0), output);
    EXPECT_STREQ(output, "uu");
}

TEST(ApVersion, Ranges) {
    using Version = std::array<int32_t, 3>;
    const int32_t values[] = {INT_MIN, -1, 0, 1, 2, INT_MAX};
    Random random(87);
    const auto some = [&] { return values[random.below(std::size(values))]; };
    for (int i = 0; i < 20000; i++) {
        const Version low = {some(), some(), some()};
        const Version end = random.one_in(4) ? Version{} : Version{some(), some(), some()};
        const Version version = random.one_in(3) ? low : random.one_in(3) ? end : Version{some(), some(), some()};
        const int32_t range[] = {low[0], low[1], low[2], end[0], end[1], end[2]};
        const bool within = version >= low && (end == Version{} || version < end);
        ASSERT_EQ(version_within_range(range, version.data()), within);
    }
}

TEST_F(ApVersionOfDevice, LongFilesAndNone) {
    for (const auto &[content, version] : {std::pair{string(120, 'x') + " y 8.10.0.5", "8.10"},  // 127 bytes
                                           std::pair{string(126, 'x') + " y z", "Unknown"}}) {
        write_file("/proc/osbuild", content);
        EXPECT_STREQ(get_os_version(), version);
    }
    unlink("/proc/osbuild");
    ASSERT_EQ(mkdir("/proc/osbuild", 0755), 0);
    EXPECT_STREQ(get_os_version(), "Unknown");
}

}  // namespace
