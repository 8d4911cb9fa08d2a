// Location names: split, built and validated.
#include <quill/location.h>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using quill::fuzz::room;
    static quill::test::GuardedPage page, pages[4];
    quill::fuzz::Input input(data, size);
    uint32_t sizes[4];
    for (uint32_t &part_size : sizes) part_size = input.below(300);
    const std::string name = input.text();

    char *at[4];
    for (size_t i = 0; i < 4; i++) at[i] = room(pages[i], sizes[i] + 1);
    fqln_crack(page.hold_text(name), at[0], sizes[0], at[1], sizes[1], at[2], sizes[2], at[3], sizes[3]);
    std::string parts[4];
    for (size_t i = 0; i < 4; i++) parts[i] = at[i];

    // Each separator begins the next of the four parts.
    int separators = 0;
    for (const char *rest = page.hold_text(name); (rest = fqln_find_part_after_name(rest)) != nullptr; rest++) {
        EXPECT(*rest == '.');
        separators++;
    }
    EXPECT(fqln_is_well_formed(page.hold_text(name)) == (separators == 3));

    const uint32_t out_size = sizes[0];
    char *const escaped = room(pages[0], out_size + 1);
    EXPECT(fqln_escape_dot(page.hold_text(name), escaped, out_size) == escaped && strlen(escaped) <= out_size);
    char *const built = room(pages[1], out_size);
    fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), built, out_size);
    EXPECT(out_size == 0 || strlen(built) < out_size);

    // Parts without backslashes survive a round trip.
    for (std::string &part : parts) std::erase(part, '\\'), part.resize(11, '.');
    char *const joined = room(page, 400);
    fqln_build(parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), joined, 400);
    for (size_t i = 0; i < 4; i++) at[i] = room(pages[i], 13);
    fqln_crack(joined, at[0], 12, at[1], 12, at[2], 12, at[3], 12);
    for (size_t i = 0; i < 4; i++) EXPECT(parts[i] == at[i]);
    return 0;
}
