/* cc vlan_sets.c -lquill -o vlan_sets && ./vlan_sets 10-20,30 15-17
 * Removes the VLANs that are out of service from a pool, and prints the other VLANs. */
#include <quill/vmap.h>
#include <stdio.h>

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: vlan_sets POOL OUT_OF_SERVICE\n");
        return 2;
    }
    int status = 1;
    vmap *pool = vmap_from_string(argv[1]);
    vmap *out = vmap_from_string(argv[2]);
    if (!pool || !out) {
        fprintf(stderr, "vlan_sets: not a list of VLANs: %s\n", argv[pool ? 2 : 1]);
    } else if (vmap_exclude(&pool, out) && vmap_to_string(pool)) {
        printf("in service: %s\n", vmap_to_string(pool));
        status = 0;
    }
    vmap_free(out);
    vmap_free(pool);
    return status;
}
