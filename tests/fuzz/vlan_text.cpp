// Texts of VLAN sets, read and written again.
#include <quill/vmap.h>

#include "fuzz/fuzz.h"
#include "support/vmap_owner.h"

using quill::test::Map;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page;
    const std::string text = quill::fuzz::Input(data, size).text();
    const char *const at = page.hold_text(text);
    const Map map(vmap_from_string(at));
    EXPECT(vmap_validate_string(at) == (map != nullptr));
    const bool one = map && text.find_first_not_of("0123456789") == std::string::npos && !vmap_is_empty(map.get());
    EXPECT(vlan_idx_validate(at) == (one && text.size() <= 4));
    if (!map) return 0;
    std::bitset<VMAP_WORDS * 32> ids;
    for (size_t i = 0; i < ids.size(); i++) ids[i] = map->words[i / 32] >> i % 32 & 1;
    const Map again(vmap_from_string(vmap_to_string(map.get())));
    EXPECT(again && vmap_compare(map.get(), again.get()) == 0);
    EXPECT(strcmp(vmap_to_string(map.get()), vmap_to_string(again.get())) == 0);
    for (const bool invert : {false, true}) {
        const std::string whole = quill::test::text_of(invert ? ~ids : ids);
        EXPECT(vmap_to_range_str(map.get(), invert) == whole.substr(0, VMAP_RANGE_STR_SIZE - 1));
    }
    return 0;
}
