#ifndef PLATFORM_MPOOL_H
#define PLATFORM_MPOOL_H

#include <stdint.h>

struct platform_pool {
    uint32_t size, a, b, c;
    const char *name;
    int live;
};

extern struct platform_pool platform_pools[2];
extern int platform_pool_count;

void *mpool_create(uint32_t size, uint32_t a, uint32_t b, uint32_t c, const char *name);
void *mpool_alloc(void *pool);
void mpool_free(void *pool, void *object);

#endif
