// VLAN sets in messages of any bytes. The memory of a message is larger than any length in it. The set that is read is
// compared with a plain reader of the format, and survives a round trip.
#include <quill/vmap.h>

#include "base/endian.h"
#include "fuzz/fuzz.h"
#include "support/vmap_owner.h"

namespace {

using quill::test::Map;

bool is_empty(const vmap *map) { return vmap_is_empty(map) == 1; }

void expect_text(const vmap *map, const uint8_t *element, uint32_t consumed) {
    const uint16_t length = quill::load_be<uint16_t>(element + 1);
    if (element[0] != 0 || length >= 640) {
        EXPECT(consumed == 0 && is_empty(map));
        return;
    }
    const std::string text(reinterpret_cast<const char *>(element + 3), length);
    const Map expected(vmap_from_string(text.c_str()));  // up to a NUL, if one is in it
    EXPECT(consumed == (expected ? 3u + 3 + length : 0));
    EXPECT(!expected || vmap_compare(map, expected.get()) == 0);
}

void expect_words(const vmap *map, const vmap *before, const uint8_t *element, uint32_t consumed) {
    for (uint32_t i = 0; i < VMAP_WORDS; i++, element += 5) {
        if (element[0] != 4) {
            EXPECT(consumed == 0 && map->words[i] == 0);
            EXPECT(std::equal(map->words + i + 1, std::end(map->words), before->words + i + 1));
            return;
        }
        EXPECT(map->words[i] == quill::load_be<uint32_t>(element + 1));
    }
    EXPECT(consumed == 3 + 128 * 5);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page;
    static uint8_t message[70000], written[700];
    // Each set has content that a message must remove, or keep unchanged.
    const Map owned(vmap_from_string("1,100-200,4094")), owned_again(vmap_from_string("7"));
    vmap *const map = owned.get(), *const again = owned_again.get();
    EXPECT(map && again);
    memset(message, 0, sizeof message);
    if (size > 0) memcpy(message, data, std::min(size, sizeof message));
    const Map before(vmap_from_string(vmap_to_string(map)));
    const uint32_t consumed = vmap_sxdr_read(map, message);
    if (message[0] != 7 || message[1] != 2) {
        EXPECT(consumed == 0 && vmap_compare(map, before.get()) == 0);
    } else if (message[2] == 1) {
        expect_text(map, message + 3, consumed);
    } else {
        expect_words(map, before.get(), message + 3, consumed);
    }
    // Nothing after the message is read.
    if (consumed > 0) EXPECT(vmap_sxdr_read(again, page.hold({message, consumed})) == consumed);
    if (consumed > 0) EXPECT(vmap_compare(map, again) == 0);

    const uint32_t length = vmap_sxdr_write(map, written);
    EXPECT(length == vmap_sxdr_size(map) && length <= 643);
    EXPECT(vmap_sxdr_read(again, written) == length);
    if (written[2] == 1) {
        // The bits that are not VLANs are not part of the text.
        for (vmap *one : {map, again}) one->words[0] &= ~1u, one->words[127] &= 0x7fffffff;
    }
    EXPECT(vmap_compare(map, again) == 0);
    return 0;
}
