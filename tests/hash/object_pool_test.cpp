#include "hash/object_pool.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "support/failing_alloc.h"

namespace quill::test {
namespace {

// Pools are never destroyed. Leak checkers must still reach them when the process ends.
std::vector<Mpool *> &pools = *new std::vector<Mpool *>;

Mpool *new_pool(uint32_t size, uint32_t grow, uint32_t alignment, uint32_t limit) {
    pools.push_back(mpool_create(size, grow, alignment, limit, "test"));
    return pools.back();
}

std::vector<char *> take_all(Mpool *pool) {
    std::vector<char *> objects;
    while (void *object = mpool_alloc(pool)) objects.push_back(static_cast<char *>(object));
    return objects;
}

TEST(ObjectPool, GivesDistinctAlignedObjectsUpToItsLimit) {
    // Size, objects per slab, alignment, limit, heap calls.
    static constexpr uint32_t kCases[][5] = {
        {1, 1, 1, 1, 1}, {5, 3, 4, 10, 4}, {24, 8, 8, 24, 3}, {37, 16, 16, 15, 1}, {100, 7, 4, 0, 0}};
    for (const auto &[size, grow, alignment, limit, heap_calls] : kCases) {
        SCOPED_TRACE(size);
        Mpool *pool = new_pool(size, grow, alignment, limit);
        const long before = allocations();
        std::vector<char *> objects = take_all(pool);
        EXPECT_EQ(allocations() - before, heap_calls);
        ASSERT_EQ(objects.size(), limit);
        for (size_t i = 0; i < limit; i++) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(objects[i]) % std::max<size_t>(alignment, alignof(void *)), 0u);
            memset(objects[i], static_cast<int>(i), size);
        }
        for (size_t i = 0; i < limit; i++)
            EXPECT_EQ(std::count(objects[i], objects[i] + size, static_cast<char>(i)), size);
        for (char *object : objects) mpool_free(pool, object);
        std::reverse(objects.begin(), objects.end());
        EXPECT_EQ(take_all(pool), objects);  // the object that was freed last comes first
        EXPECT_EQ(allocations() - before, heap_calls);
    }
}

TEST(ObjectPool, AFailedSlabLosesNothing) {
    const auto create = [] { return (pools.emplace_back(mpool_create(16, 4, 4, 10, "test"))) != nullptr; };
    EXPECT_EQ(expect_failures_survived(create), 1);
    const auto take = [pool = pools.back()] { return mpool_alloc(pool) != nullptr; };
    for (int taken = 0; taken < 10; taken++) EXPECT_EQ(expect_failures_survived(take), taken % 4 == 0);
    EXPECT_FALSE(take());
}

#if defined __SANITIZE_ADDRESS__
#define TEST_POISON 1
#elif defined __has_feature
#if __has_feature(address_sanitizer)
#define TEST_POISON 1
#endif
#endif
#ifdef TEST_POISON
TEST(ObjectPool, AddressSanitizerSeesObjectsThatAreNotTaken) {
    Mpool *pool = new_pool(32, 2, 8, 2);
    auto *object = static_cast<volatile char *>(mpool_alloc(pool));
    object[31] = 1;
    EXPECT_DEATH(object[32] = 1, "use-after-poison");  // the next object, which was never taken
    mpool_free(pool, const_cast<char *>(object));
    for (const int byte : {0, 31}) EXPECT_DEATH(object[byte] = 1, "use-after-poison");
    EXPECT_EQ(mpool_alloc(pool), object);
    object[31] = 1;
}
#endif

}  // namespace
}  // namespace quill::test
