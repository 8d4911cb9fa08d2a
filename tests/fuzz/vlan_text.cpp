// Texts of VLAN sets, against the grammar taken word by word.
#include <quill/vmap.h>
#include <strings.h>

#include <optional>

#include "fuzz/fuzz.h"
#include "support/vmap_owner.h"

namespace {

using quill::test::Map;
using Ids = std::bitset<4096>;

std::optional<size_t> id_of(const std::string &digits) {
    size_t id = 0;
    if (digits.empty()) return std::nullopt;
    for (const char c : digits) {
        if (c < '0' || c > '9') return std::nullopt;
        id = std::min<size_t>(id * 10 + static_cast<size_t>(c - '0'), 5000);
    }
    if (id < 1 || id > 4094) return std::nullopt;
    return id;
}

std::optional<Ids> ids_of(std::string text) {
    Ids ids;
    if (text == "0") return ids;
    if (strcasecmp(text.c_str(), "all") == 0) text = "1-4094";
    for (size_t start = 0, comma = 0; comma != std::string::npos; start = comma + 1) {
        comma = text.find(',', start);
        const std::string item = text.substr(start, comma - start);
        const size_t dash = item.find('-');
        const auto first = id_of(item.substr(0, dash));
        const auto last = dash == std::string::npos ? first : id_of(item.substr(dash + 1));
        if (!first || !last || *first > *last) return std::nullopt;
        for (size_t id = *first; id <= *last; id++) ids.set(id);
    }
    return ids;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page;
    const std::string text = quill::fuzz::Input(data, size).text();
    const char *const at = page.hold_text(text);
    const auto expected = ids_of(text);
    EXPECT(vmap_validate_string(at) == expected.has_value());
    const Map map(vmap_from_string(at));
    EXPECT((map != nullptr) == expected.has_value());
    const auto id = id_of(text);
    EXPECT(vlan_idx_validate(at) == (id && text.size() <= 4));
    if (!map) return 0;
    for (size_t i = 0; i < expected->size(); i++) EXPECT((map->words[i / 32] >> i % 32 & 1) == (*expected)[i]);
    const Map again(vmap_from_string(vmap_to_string(map.get())));
    EXPECT(again && vmap_compare(map.get(), again.get()) == 0);
    EXPECT(strcmp(vmap_to_string(map.get()), vmap_to_string(again.get())) == 0);
    for (const bool invert : {false, true}) {
        const std::string whole = quill::test::text_of(invert ? ~*expected : *expected);
        EXPECT(vmap_to_range_str(map.get(), invert) == whole.substr(0, VMAP_RANGE_STR_SIZE - 1));
    }
    return 0;
}
