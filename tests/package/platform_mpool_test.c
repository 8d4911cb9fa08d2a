/* With the platform's pool library linked, every record comes from it, with the arguments that it expects. */
#include <quill/hash.h>
#include <stdio.h>
#include <string.h>

#include "platform_mpool.h"

static int failures;

#define CHECK(holds) ((holds) ? (void)0 : (void)(failures++, printf("line %d: %s\n", __LINE__, #holds)))

static int is_pool(const struct platform_pool *pool, uint32_t size, uint32_t a, uint32_t c, const char *name) {
    return pool->size >= size && pool->a == a && pool->b == 4 && pool->c == c && strcmp(pool->name, name) == 0;
}

int main(void) {
    sHash *table = _HashCreate(5, "main", __LINE__);
    CHECK(table != NULL);
    for (quill_word key = 1; key <= 20; key++) CHECK(HashInsert(table, key) == 1);
    CHECK(platform_pool_count == 2);
    CHECK(is_pool(&platform_pools[0], 8 * sizeof(void *), 128, 1000, "sHash"));
    CHECK(is_pool(&platform_pools[1], 5 * sizeof(void *) + 8, 512, 100000, "sHashElem"));
    CHECK(platform_pools[0].live == 1 && platform_pools[1].live == 20);
    CHECK(HashFind(table, 20) == 20);
    HashDestroy(table);
    CHECK(platform_pools[0].live == 0 && platform_pools[1].live == 0);
    return failures != 0;
}
