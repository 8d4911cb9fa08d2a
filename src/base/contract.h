// Contract violations: a caller broke a documented rule, and going on would corrupt the program's own data.
#pragma once

namespace quill {

// Where a report says that the rule stands. The places are fixed names and lines, not those of the real file: log
// matchers and crash statistics in the field go by them.
struct Contract {
    const char *expression;
    const char *source;
    unsigned line;
    const char *function;
};

// Ends the process through the C library's assertion report, also when NDEBUG is defined.
[[noreturn]] void contract_violation(const Contract &contract);

inline void require(bool holds, const Contract &contract) {
    if (!holds) [[unlikely]]
        contract_violation(contract);
}

}  // namespace quill
