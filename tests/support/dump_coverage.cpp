// For measuring coverage. The compiler's counters are saved by an exit handler of the C library. This file also saves
// them when a child ends without exit handlers. It is linked with --wrap for the functions that end a process so.
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

// A child of vfork counts in its parent's memory. If it saved the counters, it would allocate there, and the parent
// would later save nothing, as these counters are marked as saved. vfork does not run the handlers of a fork.
pid_t owner_of_counters = 0;

[[gnu::constructor]] void own_counters() {
    owner_of_counters = getpid();
    pthread_atfork(nullptr, nullptr, [] { owner_of_counters = getpid(); });
}

}  // namespace

extern "C" {

#include <gcov.h>  // for C alone

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
