#include "support/failing_alloc.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

namespace {

// Atomic, since tests with threads allocate through here too; only one thread arms.
constinit std::atomic<long> total = 0;
constinit std::atomic<long> live = 0;
constinit std::atomic<int> countdown = 0;  // 0: not armed, or reached
using Hook = void (*)();
constinit Hook hook = nullptr;

// Counts an allocation; false when it must fail.
bool granted() {
    total++;
    if (countdown == 0 || --countdown > 0) return true;
    if (!hook) return false;
    hook();
    return true;
}

}  // namespace

// The linker turns calls of malloc into calls of __wrap_malloc, and __real_malloc into malloc. All goes through malloc,
// so that a C library linked statically, whose calloc and strdup call the wrapped malloc, counts nothing twice.
extern "C" {

void *__real_malloc(size_t size);
void *__real_realloc(void *memory, size_t size);
void __real_free(void *memory);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t n, size_t size);
void *__wrap_realloc(void *memory, size_t size);
char *__wrap_strdup(const char *text);
void __wrap_free(void *memory);

void *__wrap_malloc(size_t size) {
    void *memory = granted() ? __real_malloc(size) : nullptr;
    if (memory) live++;
    return memory;
}

void *__wrap_calloc(size_t n, size_t size) {
    void *memory = size && n > SIZE_MAX / size ? nullptr : __wrap_malloc(n * size);
    return memory ? memset(memory, 0, n * size) : nullptr;
}

void *__wrap_realloc(void *memory, size_t size) {
    if (!memory) return __wrap_malloc(size);
    return granted() ? __real_realloc(memory, size) : nullptr;
}

char *__wrap_strdup(const char *text) {
    const size_t size = strlen(text) + 1;
    void *memory = __wrap_malloc(size);
    return memory ? static_cast<char *>(memcpy(memory, text, size)) : nullptr;
}

void __wrap_free(void *memory) {
    if (memory) live--;
    __real_free(memory);
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
