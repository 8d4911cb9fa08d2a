// Readers of quantities as words, checked by a round trip through the tables.
#include <limits.h>
#include <quill/names.h>

#include <cmath>

#include "fuzz/fuzz.h"

namespace {

// Returns the number of digits at the start of the text.
size_t digits(const std::string &text) { return std::min(text.find_first_not_of("0123456789"), text.size()); }

// Up to nine digits before the dot, so that nothing is out of range.
int tenths(const std::string &text) {
    const bool negative = text.starts_with('-');
    const std::string number = text.substr(negative, digits(text.substr(negative)));
    const std::string rest = text.substr(negative + number.size());
    if (text.empty()) return DBM_PWR_NOT_SET;
    if (rest.starts_with('\n')) return atoi(number.c_str());
    const bool tenth = rest.size() >= 2 && rest[0] == '.' && digits(rest) == 0 && digits(rest.substr(1, 1)) == 1;
    if (!rest.empty() && !(tenth && (rest.size() == 2 || rest[2] == '\n'))) return DBM_PWR_NOT_SET;
    const long long value = atoll((number + (tenth ? rest.substr(1, 1) : "0")).c_str()) * (negative ? -1 : 1);
    return value < INT_MIN || value > INT_MAX ? int{DBM_PWR_NOT_SET} : static_cast<int>(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page;
    const std::string text = quill::fuzz::Input(data, size).text();
    const bool exact = quill::fuzz::longest_number(text) <= 9;

    const uint32_t place = str_to_loc(page.hold_text(text));
    EXPECT(place == UINT32_MAX || str_to_loc(loc_to_str(place)) == place);
    const int number = str_to_proto(page.hold_text(text));
    EXPECT(str_to_proto(proto_to_str(number)) == number);
    const int power = str_to_pwr_dbm(page.hold_text(text));
    EXPECT(!exact || power == tenths(text));
    // Between these limits, the texts distinguish all tenths.
    EXPECT(power < -10'000'000 || power > 10'000'000 || str_to_pwr_dbm(dbm_pwr_to_str(power)) == power);
    get_boolean_value(page.hold_text(text));
    return 0;
}
