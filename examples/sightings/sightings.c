/* cc sightings.c -lquill -o sightings && ./sightings lobby roof lobby
 * Counts how often each access point is named, and lists them in order. */
#include <quill/savle.h>
#include <stdio.h>
#include <stdlib.h>

struct access_point {
    const char *name;
    unsigned seen;
    savle by_name; /* the tree's links, so that the tree needs no heap block */
};

static savle_tree access_points =
    SAVLE_TREE_INIT(access_points, savle_string_compare_ic, struct access_point, by_name, name, NULL);

/* Returns the access point with that name. Makes a new one if the name is new. Returns null when out of memory. */
static struct access_point *get(const char *name) {
    savle *at;
    int side;
    savle *found = savle_find(&access_points, &name, &at, &side);
    if (found) return SAVL_OBJECT(found, struct access_point, by_name);
    struct access_point *ap = calloc(1, sizeof *ap);
    if (!ap) return NULL;
    ap->name = name;
    savle_insert(&ap->by_name, at, side);
    return ap;
}

int main(int argc, char **argv) {
    for (int i = 1; i < argc; i++) {
        struct access_point *ap = get(argv[i]);
        if (!ap) return 1;
        ap->seen++;
    }
    SAVLE_FOREACH(node, &access_points) {
        struct access_point *ap = SAVL_OBJECT(node, struct access_point, by_name);
        printf("%s %u\n", ap->name, ap->seen);
        savle_delete(node);
        free(ap);
    }
    return 0;
}
