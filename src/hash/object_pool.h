// The fixed-size object pool that table and element records come from.
//
// On the device, the pool is a closed library of the platform, which the build option QUILL_PLATFORM_MPOOL links.
// Otherwise object_pool.cpp supplies the same three operations. Both have the same names, so callers are the same.
#pragma once

#include <stdint.h>

#ifdef QUILL_PLATFORM_MPOOL
#define QUILL_MPOOL extern "C" __attribute__((visibility("default")))
#else
#define QUILL_MPOOL
#endif

namespace quill {

struct Mpool;

// Creates a pool of objects of size bytes; returns null if memory runs out. The pool grows by `grow` objects at a time,
// up to `limit` objects. The name (kept) is for debuggers. A pool is never destroyed.
QUILL_MPOOL Mpool *mpool_create(uint32_t size, uint32_t grow, uint32_t alignment, uint32_t limit, const char *name);

// Returns an object with unspecified contents; null if the limit is reached or memory runs out.
QUILL_MPOOL void *mpool_alloc(Mpool *pool);

// Takes back an object of this pool.
QUILL_MPOOL void mpool_free(Mpool *pool, void *object);

}  // namespace quill
