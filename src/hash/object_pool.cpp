#include "hash/object_pool.h"

#include <assert.h>
#include <stddef.h>
#include <stdlib.h>

#include <algorithm>
#include <new>

#include "base/mutex.h"

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif
#ifdef __SANITIZE_ADDRESS__
#define QUILL_ASAN 1
#elif defined __has_feature
#if __has_feature(address_sanitizer)
#define QUILL_ASAN 1
#endif
#endif
#ifdef QUILL_ASAN
#include <sanitizer/asan_interface.h>
#endif

// How it works
//
//     Mpool ──▶ slab ──▶ slab ──▶ null        each: a link, then objects side by side
//       │ free ──▶ object ──▶ object ──▶ null freed ones, the latest first, linked through their own first word
//       │ fresh ▶ the newest slab's objects that were never handed out
//
// An allocation takes the object freed last, which is probably still in the cache, or else the next fresh one. Only if
// there is neither, another slab is allocated from the heap. Slabs are never freed, because the program will need them
// again.

namespace quill {
namespace {

// Returns whether the lock is needed. It is not needed while the process has one thread, which glibc publishes in one
// byte.
bool needs_lock() {
#if __has_include(<sys/single_threaded.h>)
    return !__libc_single_threaded;
#else
    return true;  // this C library does not publish whether there is one thread
#endif
}

void poison([[maybe_unused]] void *memory, [[maybe_unused]] size_t size) {
#ifdef QUILL_ASAN
#pragma GCC diagnostic push
#ifndef __clang__                                       // Clang does not know this warning
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // false alarm: the call does not read the new slab
#endif
    __asan_poison_memory_region(memory, size);
#pragma GCC diagnostic pop
#endif
}

void unpoison([[maybe_unused]] void *memory, [[maybe_unused]] size_t size) {
#ifdef QUILL_ASAN
    __asan_unpoison_memory_region(memory, size);
#endif
}

struct FreeObject {
    FreeObject *next;
};

struct alignas(max_align_t) Slab {
    Slab *next;
    size_t bytes;  // of the objects

    char *objects() { return reinterpret_cast<char *>(this + 1); }
};

constexpr size_t round_up(size_t n, size_t multiple) { return (n + multiple - 1) / multiple * multiple; }

}  // namespace

struct Mpool {
    FreeObject *free;
    char *fresh;
    char *fresh_end;
    uint32_t size;
    uint32_t grow;
    uint32_t left;  // how many objects further slabs may add
    Slab *slabs;    // keeps every slab reachable for leak checkers
    const char *name;
    StaticMutex mutex;
};

namespace {

bool add_slab(Mpool &pool) {
    const uint32_t count = std::min(pool.grow, pool.left);
    const size_t bytes = size_t{pool.size} * count;
    auto *slab = count ? static_cast<Slab *>(malloc(sizeof(Slab) + bytes)) : nullptr;
    if (!slab) return false;
    slab->next = pool.slabs;
    slab->bytes = bytes;
    pool.slabs = slab;
    pool.left -= count;
    pool.fresh = slab->objects();
    pool.fresh_end = pool.fresh + bytes;
    poison(pool.fresh, bytes);
    return true;
}

[[maybe_unused]] bool is_object_of(const Mpool &pool, const void *memory) {
    for (Slab *slab = pool.slabs; slab; slab = slab->next) {
        const auto offset = reinterpret_cast<uintptr_t>(memory) - reinterpret_cast<uintptr_t>(slab->objects());
        if (offset < slab->bytes) return offset % pool.size == 0;
    }
    return false;
}

// Out of line: the common path then saves no registers.
[[gnu::noinline]] void *take_fresh(Mpool &pool) {
    if (pool.fresh == pool.fresh_end && !add_slab(pool)) return nullptr;
    void *object = pool.fresh;
    pool.fresh += pool.size;
    unpoison(object, pool.size);
    return object;
}

void *take(Mpool &pool) {
    FreeObject *object = pool.free;
    if (!object) return take_fresh(pool);
    unpoison(object, pool.size);
    pool.free = object->next;
    return object;
}

void give_back(Mpool &pool, void *memory) {
    assert(is_object_of(pool, memory));
    auto *object = static_cast<FreeObject *>(memory);
    object->next = pool.free;
    pool.free = object;
    poison(object, pool.size);
}

[[gnu::noinline]] void *take_locked(Mpool &pool) {
    Guard guard(pool.mutex);
    return take(pool);
}

[[gnu::noinline]] void give_back_locked(Mpool &pool, void *memory) {
    Guard guard(pool.mutex);
    give_back(pool, memory);
}

}  // namespace

Mpool *mpool_create(uint32_t size, uint32_t grow, uint32_t alignment, uint32_t limit, const char *name) {
    void *memory = malloc(sizeof(Mpool));
    if (!memory) return nullptr;
    const size_t unit = std::max<size_t>(alignment, alignof(FreeObject));
    const auto rounded = static_cast<uint32_t>(round_up(std::max<size_t>(size, sizeof(FreeObject)), unit));
    return new (memory) Mpool{nullptr, nullptr, nullptr, rounded, grow, limit, nullptr, name, {}};
}

void *mpool_alloc(Mpool *pool) { return needs_lock() ? take_locked(*pool) : take(*pool); }

void mpool_free(Mpool *pool, void *memory) {
    if (needs_lock())
        give_back_locked(*pool, memory);
    else
        give_back(*pool, memory);
}

}  // namespace quill
