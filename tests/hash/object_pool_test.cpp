#include "hash/object_pool.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "support/failing_alloc.h"
#include "support/random.h"
#include "support/threads.h"

namespace {

using quill::Mpool;
using quill::mpool_alloc;
using quill::mpool_create;
using quill::mpool_free;
using quill::test::allocations;
using quill::test::expect_failures_survived;

// Pools are never destroyed, so leak checkers must find them at the very end.
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
    struct Case {
        uint32_t size, grow, alignment, limit, heap_calls;
    };
    constexpr Case kCases[] = {
        {1, 1, 1, 1, 1}, {5, 3, 4, 10, 4}, {24, 8, 8, 24, 3}, {37, 16, 16, 15, 1}, {100, 7, 4, 0, 0}};
    for (const Case &c : kCases) {
        SCOPED_TRACE("size " + std::to_string(c.size));
        Mpool *pool = new_pool(c.size, c.grow, c.alignment, c.limit);
        const size_t alignment = std::clamp<size_t>(c.alignment, alignof(void *), alignof(max_align_t));
        const long before = allocations();
        std::vector<char *> objects = take_all(pool);
        EXPECT_EQ(allocations() - before, c.heap_calls);
        ASSERT_EQ(objects.size(), c.limit);
        for (size_t i = 0; i < objects.size(); i++) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(objects[i]) % alignment, 0u);
            memset(objects[i], static_cast<int>(i), c.size);
        }
        for (size_t i = 0; i < objects.size(); i++)
            for (uint32_t byte = 0; byte < c.size; byte++) ASSERT_EQ(objects[i][byte], static_cast<char>(i));

        const long full = allocations();
        for (char *object : objects) mpool_free(pool, object);
        std::reverse(objects.begin(), objects.end());
        EXPECT_EQ(take_all(pool), objects);  // the latest freed first
        EXPECT_EQ(allocations(), full);
        EXPECT_EQ(mpool_alloc(pool), nullptr);
    }
}

TEST(ObjectPool, AFailedSlabLosesNothing) {
    EXPECT_EQ(expect_failures_survived([] {
                  pools.push_back(mpool_create(16, 4, 4, 10, "test"));
                  return pools.back() != nullptr;
              }),
              1);
    Mpool *pool = pools.back();
    const auto take = [&] { return mpool_alloc(pool) != nullptr; };
    constexpr int kFailures[] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0};
    for (const int failures : kFailures) EXPECT_EQ(expect_failures_survived(take), failures);
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
    EXPECT_DEATH(object[32] = 1, "use-after-poison");  // the next object, still fresh
    mpool_free(pool, const_cast<char *>(object));
    for (const int byte : {0, 31}) EXPECT_DEATH(object[byte] = 1, "use-after-poison");
    EXPECT_EQ(mpool_alloc(pool), object);
    object[31] = 1;
}
#endif

TEST(ObjectPool, ThreadsShareAPoolWithoutSharingObjects) {
    constexpr uint32_t kThreads = 4, kWords = 6, kHeld = 40;
    Mpool *pool = new_pool(kWords * sizeof(uint32_t), 16, 4, kThreads * kHeld);
    std::vector<int> spoilt(kThreads);
    quill::test::Threads(kThreads, [&](int number) {
        const auto thread = static_cast<uint32_t>(number);
        quill::test::Random random(thread);
        std::vector<uint32_t *> held;
        for (uint32_t i = 0; i < 20000; i++) {
            if (held.size() < kHeld && random.one_in(2)) {
                held.push_back(static_cast<uint32_t *>(mpool_alloc(pool)));
                std::fill_n(held.back(), kWords, i * kThreads + thread);
            } else if (!held.empty()) {
                std::swap(held[random.below(static_cast<uint32_t>(held.size()))], held.back());
                const uint32_t *object = held.back();
                if (object[0] % kThreads != thread || std::count(object, object + kWords, object[0]) != kWords)
                    spoilt[thread]++;
                mpool_free(pool, held.back());
                held.pop_back();
            }
        }
        for (uint32_t *object : held) mpool_free(pool, object);
    });
    EXPECT_EQ(spoilt, std::vector<int>(kThreads));
    std::vector<char *> all = take_all(pool);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::unique(all.begin(), all.end()) - all.begin(), kThreads * kHeld);
}

}  // namespace
