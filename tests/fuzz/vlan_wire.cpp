// VLAN sets out of messages, of any bytes, in which no length leads out of the memory behind.
#include <quill/vmap.h>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static uint8_t message[70000], written[700];
    static vmap *const map = vmap_alloc(), *const again = vmap_alloc();
    EXPECT(map && again);
    memset(message, 0, sizeof message);
    if (size > 0) memcpy(message, data, std::min(size, sizeof message));
    const uint32_t consumed = vmap_sxdr_read(map, message);
    EXPECT(consumed <= 3 + 3 + 639);  // the longest text that is read
    const uint32_t length = vmap_sxdr_write(map, written);
    EXPECT(length == vmap_sxdr_size(map) && length <= 643);
    EXPECT(vmap_sxdr_read(again, written) == length);
    if (consumed > 0 || written[2] == 1) {
        // The bits of no VLAN do not travel as text.
        for (vmap *one : {map, again}) one->words[0] &= ~1u, one->words[127] &= 0x7fffffff;
    }
    EXPECT(vmap_compare(map, again) == 0);
    return 0;
}
