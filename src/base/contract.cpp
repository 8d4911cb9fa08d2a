#include "base/contract.h"

// The report must not depend on how the library was built.
#undef NDEBUG
#include <assert.h>

[[noreturn]] void quill::contract_violation(const Contract &contract) {
#ifdef __UCLIBC__
    __assert(contract.expression, contract.source, static_cast<int>(contract.line), contract.function);
#else
    __assert_fail(contract.expression, contract.source, contract.line, contract.function);
#endif
}
