/* Stands in for the platform's pool library: the same three functions over malloc, with a record of what was asked. */
#include "platform_mpool.h"

#include <stdlib.h>

struct platform_pool platform_pools[2];
int platform_pool_count;

void *mpool_create(uint32_t size, uint32_t a, uint32_t b, uint32_t c, const char *name) {
    if (platform_pool_count == 2) return NULL;
    struct platform_pool *pool = &platform_pools[platform_pool_count++];
    *pool = (struct platform_pool){size, a, b, c, name, 0};
    return pool;
}

void *mpool_alloc(void *pool) {
    ((struct platform_pool *)pool)->live++;
    return malloc(((struct platform_pool *)pool)->size);
}

void mpool_free(void *pool, void *object) {
    ((struct platform_pool *)pool)->live--;
    free(object);
}
