/* With the platform's pool library linked, every record comes from it, with the arguments that it expects. This program
 * stands in for that library: the same three functions over malloc, with a record of what was asked. */
#include <quill/hash.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct platform_pool {
    uint32_t size, a, b, c;
    const char *name;
    int live;
} platform_pools[2];
static int platform_pool_count;

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
