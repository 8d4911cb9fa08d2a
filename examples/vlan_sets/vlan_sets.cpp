// c++ -std=c++17 vlan_sets.cpp -lquill -o vlan_sets && ./vlan_sets 10-20,30 15-17
// Removes the VLANs that are out of service from a pool, and prints the other VLANs.
#include <cstdio>
#include <quill/quill.hpp>

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: vlan_sets POOL OUT_OF_SERVICE\n");
        return 2;
    }
    quill::vlan_set pool(argv[1]);
    const quill::vlan_set out(argv[2]);
    if (!pool || !out) {
        std::fprintf(stderr, "vlan_sets: not a list of VLANs: %s\n", argv[pool ? 2 : 1]);
        return 1;
    }
    if (!pool.exclude(out) || !pool.text()) return 1;
    std::printf("in service: %s\n", pool.text());
    return 0;
}
