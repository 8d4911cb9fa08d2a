// Version texts: cut, read, and compared both ways.
#include <quill/ap_version.h>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, out;
    quill::fuzz::Input input(data, size);
    const int mode = static_cast<int>(input.below(3));
    const uint32_t room_size = 1 + input.below(40);
    const std::string text = input.text();

    char *const source = page.hold_text(text), *const output = quill::fuzz::room(out, room_size);
    memset(output, '\0', room_size);
    EXPECT(ap_version_format(source, output, room_size, mode) == output && strlen(output) < room_size);
    EXPECT(text.starts_with(source));

    int32_t parsed[8] = {};
    const int kind = match_ap_version(page.hold_text(text), parsed);
    const std::string other = input.text();
    int kinds[4];
    const int order = compare_r_version_with_c_version(text.c_str(), &kinds[0], other.c_str(), &kinds[1]);
    const int back = compare_r_version_with_c_version(other.c_str(), &kinds[2], text.c_str(), &kinds[3]);
    EXPECT(kinds[0] == kind && kinds[0] == kinds[3] && kinds[1] == kinds[2]);
    EXPECT(kinds[0] && kinds[1] ? order == -back : order == 1 && back == 1);

    // With two quads, the second one counts.
    const int32_t *const counts = &parsed[kind == 8 ? 4 : 0];
    const bool old = counts[0] < 4 || (counts[0] == 4 && counts[1] < 2);
    const int judged = check_eol_ap_version(page.hold_text(text), 42 + size % 2);
    EXPECT(judged == (kind == 0 ? 3 : old ? 1 : 2));
    EXPECT(check_eol_ap_version(page.hold_text(text), 44) == 0);
    return 0;
}
