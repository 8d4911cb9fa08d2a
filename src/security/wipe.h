// Clears secrets. The compiler does not remove the writes, although the memory is not read afterwards.
#pragma once

#include <string.h>

namespace quill {

template <typename T>
void wipe(T &object) {
    memset(&object, 0, sizeof object);
    asm volatile("" : : "r"(&object) : "memory");  // the compiler must assume that this reads the object
}

}  // namespace quill
