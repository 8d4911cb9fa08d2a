// Location names: taken apart, put together and judged as the rules say step by step.
#include <quill/location.h>

#include "fuzz/fuzz.h"
#include "support/location_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using quill::fuzz::room;
    static quill::test::GuardedPage page, pages[4];
    quill::fuzz::Input input(data, size);
    std::array<uint32_t, 4> sizes;
    for (uint32_t &part_size : sizes) part_size = input.below(300);
    const std::string name = input.text();

    quill::test::Parts parts;
    char *at[4];
    for (size_t i = 0; i < 4; i++) at[i] = room(pages[i], sizes[i] + 1);
    fqln_crack(page.hold_text(name), at[0], sizes[0], at[1], sizes[1], at[2], sizes[2], at[3], sizes[3]);
    for (size_t i = 0; i < 4; i++) parts[i] = at[i];
    EXPECT(parts == quill::test::crack_model(name, sizes));
    const std::vector<size_t> separators = quill::test::separators_model(name);
    EXPECT(fqln_is_well_formed(page.hold_text(name)) == (separators.size() == 3));
    const char *const whole = page.hold_text(name), *const second = fqln_find_part_after_name(whole);
    EXPECT(separators.empty() ? !second : second == whole + separators[0]);

    const uint32_t out_size = sizes[0];
    char *const escaped = room(pages[0], out_size + 1);
    EXPECT(fqln_escape_dot(page.hold_text(name), escaped, out_size) == escaped);
    EXPECT(escaped == quill::test::escape_model(name, out_size));
    char *const built = room(pages[1], out_size);
    fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), built, out_size);
    EXPECT(out_size == 0 || built == quill::test::build_model(parts, out_size));

    // Parts without backslashes come back.
    for (std::string &part : parts) std::erase(part, '\\'), part.resize(11, '.');
    char *const joined = room(page, 400);
    fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), joined, 400);
    for (size_t i = 0; i < 4; i++) at[i] = room(pages[i], 13);
    fqln_crack(joined, at[0], 12, at[1], 12, at[2], 12, at[3], 12);
    for (size_t i = 0; i < 4; i++) EXPECT(parts[i] == at[i]);

    // Digits and so many separators, deliberately no more.
    const auto digits_and = [&](char separator, ptrdiff_t count) {
        return std::count(name.begin(), name.end(), separator) == count &&
               std::all_of(name.begin(), name.end(), [=](char c) { return c == separator || (c >= '0' && c <= '9'); });
    };
    EXPECT(validate_time(page.hold_text(name)) == digits_and(':', 1));
    EXPECT(validate_date(page.hold_text(name)) == (digits_and('/', 2) && name.size() <= 10));
    return 0;
}
