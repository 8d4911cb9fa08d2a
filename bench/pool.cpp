// The object pool: allocates 1,000 objects of 48 bytes and frees them, in three orders.
#include "hash/object_pool.h"

#include <glib.h>

#include <cstdlib>
#include <memory>
#include <memory_resource>

#include "bench.h"

namespace {

constexpr size_t kObjects = 1000, kSize = 48;

struct Quill {
    quill::Mpool *pool = shared();
    // All rounds use one pool, because pools are never freed.
    static quill::Mpool *shared() {
        static quill::Mpool *const pool = quill::mpool_create(kSize, 512, 8, 100000, "bench");
        return pool;
    }
    void *take() { return quill::mpool_alloc(pool); }
    void give(void *object) { quill::mpool_free(pool, object); }
};

struct Malloc {
    void *take() { return malloc(kSize); }
    void give(void *object) { free(object); }
};

struct Pmr {
    std::pmr::unsynchronized_pool_resource pool;
    void *take() { return pool.allocate(kSize, 8); }
    void give(void *object) { pool.deallocate(object, kSize, 8); }
};

struct Slices {
    void *take() { return g_slice_alloc(kSize); }
    void give(void *object) { g_slice_free1(kSize, object); }
};

template <typename Pool>
void add_pool(const char *contender, const char *work, const std::vector<uint32_t> &order) {
    bench::add(std::string("object pool: ") + work, contender, kObjects, kObjects, [order] {
        auto pool = std::make_shared<Pool>();
        return bench::Work{[pool, order, objects = std::vector<void *>(kObjects)]() mutable -> uint64_t {
            uint32_t number = 0;
            for (void *&object : objects) *static_cast<uint32_t *>(object = pool->take()) = number++;
            uint64_t digest = 0;  // two objects at the same address would change the digest
            for (const uint32_t i : order) {
                digest = digest * 31 + *static_cast<const uint32_t *>(objects[i]);
                pool->give(objects[i]);
            }
            return digest;
        }};
    });
}

void add_order(const char *work, const std::vector<uint32_t> &order) {
    add_pool<Quill>("quill", work, order);
    add_pool<Malloc>("malloc", work, order);
    add_pool<Pmr>("std::pmr", work, order);
    add_pool<Slices>("GSlice", work, order);
}

const bool added = [] {
    std::vector<uint32_t> queue(kObjects);
    std::iota(queue.begin(), queue.end(), 0u);
    add_order("as a queue", queue);
    add_order("as a stack", std::vector<uint32_t>(queue.rbegin(), queue.rend()));
    add_order("in random order", bench::shuffled(kObjects));
    return true;
}();

}  // namespace
