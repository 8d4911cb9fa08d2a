// Clearing of secrets: the writes stay, although nothing reads the memory afterwards.
#pragma once

#include <string.h>

namespace quill {

template <typename T>
void wipe(T &object) {
    memset(&object, 0, sizeof object);
    asm volatile("" : : "r"(&object) : "memory");  // may read it, as far as the compiler knows
}

}  // namespace quill
