#include <gtest/gtest.h>
#include <quill/ap_version.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/case_file.h"
#include "support/device_test.h"

namespace {

using quill::test::write_file;
using std::string;

constexpr auto kFunctions =
    QUILL_CASE_FUNCTIONS(ap_version_format, check_eol_ap_version, compare_r_version_with_c_version, get_os_version,
                         match_ap_version, version_within_range);

class ApVersionOfDevice : public quill::test::DeviceAndProcTest {};

TEST_F(ApVersionOfDevice, Cases) { quill::test::expect_cases("platform/ap_version.cases", kFunctions); }

TEST(ApVersion, NothingToCut) {
    // Texts that need no cut may be read-only.
    char *const uncut[] = {const_cast<char *>("1.2.3.4"), const_cast<char *>("1.2.3.4-5.6.7.8")};
    char output[] = "uu";
    for (char *const source : uncut) EXPECT_EQ(ap_version_format(source, output, 0, 0), output);
    EXPECT_STREQ(output, "uu");
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
