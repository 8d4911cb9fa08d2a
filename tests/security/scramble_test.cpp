#include <gtest/gtest.h>
#include <quill/scramble.h>
#include <string.h>

#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/hex.h"

namespace quill::test {
namespace {

int printable(const char *in, uint8_t *out, uint32_t size) {
    return scrambleStringAscii(in, reinterpret_cast<char *>(out), size);
}

// Returns the scrambled bytes that a printable form is read as.
std::string read_printable(const char *form) {
    std::string plain((strlen(form) + 1) / 2, '\0');
    EXPECT_EQ(unscrambleStringAscii(form, plain.data()), 1);
    std::vector<uint8_t> scrambled(plain.size());
    EXPECT_EQ(scrambleString(plain.c_str(), scrambled.data()), static_cast<int>(plain.size()));
    return hex(scrambled);
}

TEST(Scramble, Cases) {
    expect_cases("security/scramble.cases",
                 QUILL_CASE_FUNCTIONS(scrambleString, unscrambleString, printable, read_printable));
}

TEST(Escaping, Cases) { expect_cases("security/escaping.cases", QUILL_CASE_FUNCTIONS(string_encode, string_decode)); }

}  // namespace
}  // namespace quill::test
