#include <gtest/gtest.h>
#include <quill/cell_profiles.h>
#include <string.h>

#include <sstream>
#include <string>

namespace {

using std::string;

// name, vendor, product, serial device, code, options, provider, both texts, class, mass storage, its device, trailing
// code; "-" is an empty text.
constexpr char kListing[] =
    "Novatel_U720         1410 2110 ttyUSB0 101 0 0 evdo_us  -        2 0 -   2\n"
    "Novatel_U727         1410 4100 ttyUSB0 101 0 0 evdo_us  -        2 0 -   2\n"
    "Kyocera_KPC680       0C88 180A ttyUSB0 101 0 0 evdo_us  -        2 0 -   2\n"
    "Sierra_Compass_597   1199 0023 ttyUSB0 101 0 0 evdo_us  -        5 0 -   2\n"
    "Pantech_UM175        106C 3714 ttyUSB1 101 0 0 evdo_us  -        2 0 -   2\n"
    "Sierra_USBConn_881   1199 6856 ttyUSB0 101 0 0 gsm_us   -        2 0 -   2\n"
    "USBConn_Mercury_C885 1199 6880 ttyUSB3 101 0 0 gsm_us   -        2 0 -   2\n"
    "Globetrotter_Icon322 0AF0 D033 ttyHS3  101 0 0 gsm_us   internet 6 0 -   2\n"
    "ZTE_MF626            19D2 0031 ttyUSB2 101 0 0 vivo_br  -        2 0 -   2\n"
    "ZTE_MF668            19D2 0017 ttyUSB1 101 0 0 gsm_us   internet 2 0 -   2\n"
    "Novatel_U760         1410 6000 ttyUSB0 101 0 0 evdo_us  -        2 0 -   2\n"
    "Huawei_E220_E272     12D1 1003 ttyUSB0 101 0 0 gsm_asia -        2 0 -   2\n"
    "Pantech_UML290       106C 3718 none    101 1 3 none     -        8 0 -   2\n"
    "ZTE_MF626_668_MS     19D2 2000 -       105 0 0 -        -        0 1 sr0 0\n"
    "-                    0000 0000 -       111 0 0 -        -        0 0 -   0\n";

void put_text(string &record, size_t at, const string &text) {
    if (text != "-") record.replace(at, text.size(), text);
}

void put_number(string &record, size_t at, const string &digits, int base) {
    const auto number = static_cast<uint32_t>(std::stoul(digits, nullptr, base));
    memcpy(record.data() + at, &number, sizeof number);
}

TEST(CellProfiles, ByteByByte) {
    std::istringstream listing(kListing);
    string line;
    size_t row = 0;
    while (std::getline(listing, line)) {
        std::istringstream words(line);
        string record(624, '\0'), word;
        const auto next = [&] { return words >> word, word; };
        put_text(record, 0, next());
        put_number(record, 64, next(), 16);
        put_number(record, 68, next(), 16);
        put_text(record, 200, next());
        put_number(record, 264, next(), 10);
        put_number(record, 280, next(), 10);
        put_number(record, 284, next(), 10);
        put_text(record, 288, next());
        put_text(record, 352, next());
        put_text(record, 416, word);
        put_number(record, 480, next(), 10);
        put_number(record, 484, next(), 10);
        put_text(record, 488, next());
        put_number(record, 616, next(), 10);
        ASSERT_LT(row, std::size(def_cell_profiles));
        EXPECT_EQ(memcmp(&def_cell_profiles[row++], record.data(), record.size()), 0) << line;
    }
    EXPECT_EQ(row, 15u);
    EXPECT_EQ(sizeof def_cell_profiles, 9360u);
}

}  // namespace
