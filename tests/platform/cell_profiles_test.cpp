#include <gtest/gtest.h>
#include <quill/cell_profiles.h>
#include <quill/md5.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "base/endian.h"
#include "support/hex.h"

namespace {

// A record as the device has it.
std::string bytes_of(cell_profile profile) {
    for (uint32_t *number : {&profile.vendor, &profile.product, &profile.code, &profile.options[0], &profile.options[1],
                             &profile.driver_class, &profile.mass_storage, &profile.trailing_code})
        *number = quill::big_endian(*number);
    return {reinterpret_cast<const char *>(&profile), sizeof profile};
}

std::string row(const cell_profile &p) {
    char text[512];
    snprintf(text, sizeof text, "%s|%04X|%04X|%s|%u|%u,%u|%s|%s,%s|%u|%u|%s|%u", p.name, p.vendor, p.product,
             p.serial_device, p.code, p.options[0], p.options[1], p.provider, p.texts[0], p.texts[1], p.driver_class,
             p.mass_storage, p.storage_device, p.trailing_code);
    return text;
}

TEST(CellProfiles, EveryKindOfRecord) {
    EXPECT_EQ(row(def_cell_profiles[0]), "Novatel_U720|1410|2110|ttyUSB0|101|0,0|evdo_us|,|2|0||2");
    EXPECT_EQ(row(def_cell_profiles[7]),
              "Globetrotter_Icon322|0AF0|D033|ttyHS3|101|0,0|gsm_us|internet,internet|6|0||2");
    EXPECT_EQ(row(def_cell_profiles[12]), "Pantech_UML290|106C|3718|none|101|1,3|none|,|8|0||2");
    EXPECT_EQ(row(def_cell_profiles[13]), "ZTE_MF626_668_MS|19D2|2000||105|0,0||,|0|1|sr0|0");
    EXPECT_EQ(row(def_cell_profiles[14]), "|0000|0000||111|0,0||,|0|0||0");
}

// What all records together must be, so that the table does not stand here once more.
TEST(CellProfiles, ByteByByte) {
    std::string bytes;
    for (const cell_profile &profile : def_cell_profiles) bytes += bytes_of(profile);
    uint8_t digest[16];
    md5_calc(digest, bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(bytes.size(), 9360u);
    EXPECT_EQ(quill::test::hex(digest), "a68f9ac2364d2e2c73165908964b1dda");
}

}  // namespace
