/* With the platform's pool library linked, every record comes from that library, with the arguments that it expects.
 * This program replaces that library by the same three functions over malloc, and records the calls. */
#include <quill/hash.h>
#include <stdlib.h>
#include <string.h>

static struct pool {
    uint32_t size, numbers[3];
    const char *name;
    int live;
} pools[2];
static int pool_count;

void *mpool_create(uint32_t size, uint32_t grow, uint32_t alignment, uint32_t limit, const char *name) {
    if (pool_count == 2) return NULL;
    pools[pool_count] = (struct pool){size, {grow, alignment, limit}, name, 0};
    return &pools[pool_count++];
}

void *mpool_alloc(void *pool) {
    ((struct pool *)pool)->live++;
    return malloc(((struct pool *)pool)->size);
}

void mpool_free(void *pool, void *object) {
    ((struct pool *)pool)->live--;
    free(object);
}

static int is_pool(const struct pool *pool, uint32_t size, const char *name, const uint32_t numbers[3], int live) {
    return pool->size >= size && strcmp(pool->name, name) == 0 && pool->live == live &&
           memcmp(pool->numbers, numbers, sizeof pool->numbers) == 0;
}

int main(void) {
    const uint32_t of_tables[] = {128, 4, 1000}, of_elements[] = {512, 4, 100000};
    sHash *table = _HashCreate(5, "main", __LINE__);
    int right = table != NULL;
    for (quill_word key = 1; key <= 20; key++) right &= HashInsert(table, key);
    right &= pool_count == 2 && HashFind(table, 20) == 20;
    right &= is_pool(&pools[0], 8 * sizeof(void *), "sHash", of_tables, 1);
    right &= is_pool(&pools[1], 5 * sizeof(void *) + 8, "sHashElem", of_elements, 20);
    HashDestroy(table);
    return !(right && pools[0].live == 0 && pools[1].live == 0);
}
