/* cc vlans.c -lquill -o vlans */
#include <quill/vmap.h>
#include <stdio.h>

int main(void) {
    vmap *vlans = vmap_from_string("100-140,200");
    if (vlans && vmap_delete_range(&vlans, 120, 129)) puts(vmap_to_string(vlans));
    vmap_free(vlans);
    return 0;
}
