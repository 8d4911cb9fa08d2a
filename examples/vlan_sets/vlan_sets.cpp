// c++ -std=c++17 vlan_sets.cpp -lquill -o vlan_sets && ./vlan_sets 10-20,30 15-17
// Takes VLANs that are out of service from a pool and says what is left.
#include <quill/vmap.h>

#include <cstdio>
#include <memory>

struct Release {
    void operator()(vmap *map) const { vmap_free(map); }
};
using Vlans = std::unique_ptr<vmap, Release>;

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: vlan_sets POOL OUT_OF_SERVICE\n");
        return 2;
    }
    Vlans pool(vmap_from_string(argv[1]));
    const Vlans out(vmap_from_string(argv[2]));
    if (!pool || !out) {
        std::fprintf(stderr, "vlan_sets: not a list of VLANs: %s\n", argv[pool ? 2 : 1]);
        return 1;
    }
    vmap *handle = pool.release();  // a change may replace the map
    const bool changed = vmap_exclude(&handle, out.get());
    pool.reset(handle);
    const char *text = vmap_to_string(pool.get());
    if (!changed || !text) return 1;
    std::printf("in service: %s\n", text);
    return 0;
}
