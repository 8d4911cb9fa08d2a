// For measuring coverage: what a child has run counts also when it ends without the exit handlers of the C library, by
// which the compiler's counters are saved. Linked with --wrap for these ends.
#include <stdlib.h>

extern "C" {

#include <gcov.h>  // for C alone

[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}

[[noreturn]] void __real___assert_fail(const char *expression, const char *file, unsigned line, const char *function);
[[noreturn]] void __wrap___assert_fail(const char *expression, const char *file, unsigned line, const char *function) {
    __gcov_dump();
    __real___assert_fail(expression, file, line, function);
}
}
