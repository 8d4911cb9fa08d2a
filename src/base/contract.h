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
[[noreturn, gnu::cold]] void contract_violation(const char *expression, const char *source, unsigned line,
                                                const char *function);

// For a function whose name is known at the call alone. Not by way of a Contract: one that is no constant is laid out
// in memory at every call, kept or not.
inline void require(bool holds, const char *expression, const char *source, unsigned line, const char *function) {
    if (!holds) [[unlikely]]
        contract_violation(expression, source, line, function);
}

inline void require(bool holds, const Contract &contract) {
    require(holds, contract.expression, contract.source, contract.line, contract.function);
}

}  // namespace quill
