// Expects a contract violation to end the process with exactly the C library's assertion report.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace quill::test {

struct ContractCase {
    void (*call)();
    const char *expression;
    const char *source;
    int line;
    const char *function;
};

// glibc:  program: source:line: function: Assertion `expression' failed.
// musl:   Assertion failed: expression (source: function: line)
inline std::string contract_report(const ContractCase &c) {
    std::string expression;
    for (const char *p = c.expression; *p; p++) {
        if (std::string("()[]{}*+?.\\^$|").find(*p) != std::string::npos) expression += '\\';
        expression += *p;
    }
    const std::string source = c.source, line = std::to_string(c.line), function = c.function;
    return "(: " + source + ":" + line + ": " + function + ": Assertion `" + expression + "' failed\\.)|" +
           "(Assertion failed: " + expression + " \\(" + source + ": " + function + ": " + line + "\\))";
}

inline void expect_contracts(std::initializer_list<ContractCase> cases) {
    for (const ContractCase &c : cases) {
        SCOPED_TRACE(std::string(c.function) + ", line " + std::to_string(c.line));
        EXPECT_DEATH(c.call(), contract_report(c));
    }
}

}  // namespace quill::test
