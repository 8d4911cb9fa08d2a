// An owner of a VLAN set, and a plain writer of range text.
#pragma once

#include <quill/vmap.h>

#include <bitset>
#include <memory>
#include <string>

namespace quill::test {

struct ReleaseMap {
    void operator()(vmap *map) const { vmap_free(map); }
};
using Map = std::unique_ptr<vmap, ReleaseMap>;

// Returns the range text of the ids, by a plain loop.
inline std::string text_of(const std::bitset<VMAP_WORDS * 32> &ids) {
    std::string text;
    for (size_t id = VMAP_FIRST_ID; id <= VMAP_LAST_ID; id++) {
        if (!ids[id]) continue;
        const size_t first = id;
        while (id < VMAP_LAST_ID && ids[id + 1]) id++;
        if (!text.empty()) text += ',';
        text += std::to_string(first);
        if (id != first) text += '-' + std::to_string(id);
    }
    return text;
}

}  // namespace quill::test
