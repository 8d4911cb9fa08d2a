#include <gtest/gtest.h>
#include <quill/cell_profiles.h>
#include <quill/md5.h>

#include <string>
#include <tuple>

#include "base/endian.h"
#include "support/hex.h"

namespace {

TEST(CellProfiles, ByteByByte) {
    const cell_profile &p = def_cell_profiles[7], &last = def_cell_profiles[14];
    EXPECT_STREQ(p.name, "Globetrotter_Icon322");
    EXPECT_EQ(std::tie(p.vendor, p.product, p.code, p.driver_class), std::tuple(0x0AF0u, 0xD033u, 101u, 6u));
    EXPECT_EQ(p.serial_device + std::string(p.provider) + p.texts[0] + p.texts[1], "ttyHS3gsm_usinternetinternet");
    EXPECT_EQ(last.name + std::to_string(last.code), "111") << "which ends them";
    // A digest of all records as the device has them, so that the table is not repeated here.
    std::string bytes;
    for (cell_profile profile : def_cell_profiles) {
        for (uint32_t *number :
             {&profile.vendor, &profile.product, &profile.code, &profile.options[0], &profile.options[1],
              &profile.driver_class, &profile.mass_storage, &profile.trailing_code})
            *number = quill::big_endian(*number);
        bytes.append(reinterpret_cast<const char *>(&profile), sizeof profile);
    }
    uint8_t digest[16];
    md5_calc(digest, bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(bytes.size(), 9360u);
    EXPECT_EQ(quill::test::hex(digest), "a68f9ac2364d2e2c73165908964b1dda");
}

}  // namespace
