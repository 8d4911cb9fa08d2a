// Heap memory with an owner. The memory comes from the C library's malloc, because programs call free() for what the
// library returns.
#pragma once

#include <stdlib.h>

#include <memory>
#include <new>

namespace quill {

struct Free {
    void operator()(void *memory) const { free(memory); }
};

template <typename T>
using Owned = std::unique_ptr<T, Free>;

// Returns n zeroed objects, or null if memory runs out. T must be valid with all bits zero and trivially destructible.
template <typename T>
[[nodiscard]] Owned<T> new_zeroed(size_t n = 1) {
    return Owned<T>(static_cast<T *>(calloc(n, sizeof(T))));
}

// Returns one value-initialised object, or null if memory runs out. The function uses malloc and a few stores, because
// glibc's calloc does not use the per-thread cache.
template <typename T>
[[nodiscard]] Owned<T> new_object() {
    void *memory = malloc(sizeof(T));
    return Owned<T>(memory ? new (memory) T() : nullptr);
}

}  // namespace quill
