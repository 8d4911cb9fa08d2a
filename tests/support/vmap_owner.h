// A VLAN set that is released by itself.
#pragma once

#include <quill/vmap.h>

#include <memory>

namespace quill::test {

struct ReleaseMap {
    void operator()(vmap *map) const { vmap_free(map); }
};
using Map = std::unique_ptr<vmap, ReleaseMap>;

}  // namespace quill::test
