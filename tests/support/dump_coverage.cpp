// For measuring coverage. An exit handler of the C library saves the compiler's counters. This file also saves them
// when a child ends without exit handlers. The functions that end a process without exit handlers are linked with
// --wrap.
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

// A child of vfork counts in its parent's memory. If the child saved the counters, it would allocate there and mark the
// counters as saved. The parent would then save nothing. vfork does not run the handlers of a fork.
pid_t owner_of_counters = 0;

[[gnu::constructor]] void own_counters() {
    owner_of_counters = getpid();
    pthread_atfork(nullptr, nullptr, [] { owner_of_counters = getpid(); });
}

}  // namespace

extern "C" {

#include <gcov.h>  // this header is for C only

[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status) {
    if (getpid() == owner_of_counters) __gcov_dump();
    __real__exit(status);
}

[[noreturn]] void __real___assert_fail(const char *expression, const char *file, unsigned line, const char *function);
[[noreturn]] void __wrap___assert_fail(const char *expression, const char *file, unsigned line, const char *function) {
    __gcov_dump();
    __real___assert_fail(expression, file, line, function);
}
}
