#include "base/contract.h"

// The report must also appear if the library is built with NDEBUG.
#undef NDEBUG
#include <assert.h>

[[noreturn]] void quill::contract_violation(const char *expression, const char *source, unsigned line,
                                            const char *function) {
#ifdef __UCLIBC__
    __assert(expression, source, static_cast<int>(line), function);
#else
    __assert_fail(expression, source, line, function);
#endif
}
