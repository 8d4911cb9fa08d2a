// Contract violations: a caller broke a documented rule. If the call continued, it would corrupt the program's own
// data.
#pragma once

namespace quill {

// Ends the process through the C library's assertion report, also when NDEBUG is defined. Source and line identify the
// rule. They are fixed values, and do not refer to the real file. Compatibility: log matchers and crash statistics in
// the field search for them.
[[noreturn, gnu::cold]] void contract_violation(const char *expression, const char *source, unsigned line,
                                                const char *function);

inline void require(bool holds, const char *expression, const char *source, unsigned line, const char *function) {
    if (!holds) [[unlikely]]
        contract_violation(expression, source, line, function);
}

}  // namespace quill
