#include "support/failing_alloc.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

namespace {

// Atomic, because threads of tests allocate through this file too. Only one thread arms a failure.
constinit std::atomic<long> total = 0;
constinit std::atomic<long> live = 0;
constinit std::atomic<int> countdown = 0;  // 0: not armed, or reached
using Hook = void (*)();
constinit Hook hook = nullptr;

// Counts an allocation. Returns false if it must fail.
bool granted() {
    total++;
    if (countdown == 0 || --countdown > 0) return true;
    if (!hook) return false;
    hook();
    return true;
}

}  // namespace

// If the program replaces the C library's functions, calls inside the C library are replaced too: the dynamic loader
// binds all calls to the program. Otherwise the linker turns calls of malloc into calls of __wrap_malloc, and calls of
// __real_malloc into calls of malloc.
#ifdef QUILL_REPLACE_MALLOC
#define OURS(function) function
#define THE_C_LIBRARYS(function) __libc_##function
#else
#define OURS(function) __wrap_##function
#define THE_C_LIBRARYS(function) __real_##function
#endif

// All functions below call our malloc. Nothing is thus counted twice with a statically linked C library, whose calloc
// and strdup call the wrapped malloc.
extern "C" {

void *THE_C_LIBRARYS(malloc)(size_t size);
void *THE_C_LIBRARYS(realloc)(void *memory, size_t size);
void THE_C_LIBRARYS(free)(void *memory);
void *OURS(malloc)(size_t size) noexcept;
void *OURS(calloc)(size_t n, size_t size) noexcept;
void *OURS(realloc)(void *memory, size_t size) noexcept;
char *OURS(strdup)(const char *text) noexcept;
void OURS(free)(void *memory) noexcept;

void *OURS(malloc)(size_t size) noexcept {
    void *memory = granted() ? THE_C_LIBRARYS(malloc)(size) : nullptr;
    if (memory) live++;
    return memory;
}

void *OURS(calloc)(size_t n, size_t size) noexcept {
    void *memory = size && n > SIZE_MAX / size ? nullptr : OURS(malloc)(n * size);
    return memory ? memset(memory, 0, n * size) : nullptr;
}

void *OURS(realloc)(void *memory, size_t size) noexcept {
    if (!memory) return OURS(malloc)(size);
    return granted() ? THE_C_LIBRARYS(realloc)(memory, size) : nullptr;
}

char *OURS(strdup)(const char *text) noexcept {
    const size_t size = strlen(text) + 1;
    void *memory = OURS(malloc)(size);
    return memory ? static_cast<char *>(memcpy(memory, text, size)) : nullptr;
}

void OURS(free)(void *memory) noexcept {
    if (memory) live--;
    THE_C_LIBRARYS(free)(memory);
}

}  // extern "C"

namespace quill::test {

long allocations() { return total; }
long live_allocations() { return live; }

NthAllocation::NthAllocation(int n, void (*function)()) {
    hook = function;
    countdown = n;
}
NthAllocation::~NthAllocation() { countdown = 0; }
bool NthAllocation::reached() const { return countdown == 0; }

}  // namespace quill::test

#ifdef QUILL_STATIC_CXX_LIBRARY
// A statically linked C++ library would also call the wrapped functions, for the allocations of the tests themselves.
void *operator new(size_t size) { return THE_C_LIBRARYS(malloc)(size); }
void operator delete(void *memory) noexcept { THE_C_LIBRARYS(free)(memory); }
void operator delete(void *memory, size_t) noexcept { THE_C_LIBRARYS(free)(memory); }
#endif
