#include <ctype.h>
#include <gtest/gtest.h>
#include <quill/validators.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "support/case_file.h"
#include "support/german_locale.h"
#include "support/guard_page.h"

namespace quill::test::validators {
namespace {

using quill::test::GermanLocale;
using quill::test::GuardedPage;

// Returns the number, and the printed text.
std::string hex_number(const char *text, int bytes) {
    testing::internal::CaptureStdout();
    const std::string number = std::to_string(hextoint(text, bytes));
    fflush(stdout);
    return number + " " + testing::internal::GetCapturedStdout();
}

constexpr auto kFunctions = QUILL_CASE_FUNCTIONS(
    hex_number, xctoc, has_shell_specialchars, validate_lag_num, loopback_idx_validate, is_numeric, email_addr_validate,
    domain_name_validate, is_string_vulnerable, has_shell_metachars, valid_display_string, validate_file_name,
    is_valid_restricted_filename, clear_quotes, insert_in_str, escape_shell_specialchars);

TEST(Validators, Cases) { expect_cases("text/validators.cases", kFunctions); }

// A text whose NUL is the last byte that can be read or written.
class Guarded {
public:
    char *hold(const std::string &text) { return page_.hold_text(text); }
    // Holds a text without its NUL.
    char *hold_bytes(const std::string &text) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
        return reinterpret_cast<char *>(page_.hold({bytes, text.size()}));
    }
    char *room(size_t length) { return reinterpret_cast<char *>(page_.room(length, 0xee)); }

private:
    GuardedPage page_;
};

// A letter of the locale is not a letter here.
TEST(Validators, ClassesAreThoseOfAsciiInEveryLocale) {
    const GermanLocale german;
    if (!german) GTEST_SKIP() << "no German locale can be made, or the C library has none";
    ASSERT_TRUE(isalnum(0xe4));
    expect_cases("text/validators.cases", kFunctions);
}

TEST(Validators, LengthsOfMailAddresses) {
    const std::string label(62, 'd');
    const std::string domain = label + "." + label + "." + label + "." + label + "...";  // 254 characters
    EXPECT_EQ(email_addr_validate((std::string(64, 'l') + "@" + domain + "c").c_str()), 0);
    EXPECT_EQ(email_addr_validate((std::string(65, 'l') + "@b.c").c_str()), -1);
    EXPECT_EQ(email_addr_validate(("l@" + domain + "cc").c_str()), -1);
}

TEST(Validators, HexTextIsWrittenWithoutItsEnd) {
    Guarded page;
    const uint8_t bytes[] = {0x0a, 0xff, 0x10};
    char *to = page.room(6);
    EXPECT_EQ(pap_hexify(to, bytes, 3), to + 6 + 2);  // two after the last digit
    EXPECT_EQ(std::string(to, 6), "0aff10");
    EXPECT_EQ(pap_hexify(to, bytes, 0), to + 2);
    EXPECT_EQ(pap_hexify(to, bytes, -1), to + 2);
    EXPECT_EQ(to[0], '0');
}

// --- the shell itself

std::string escape(const std::string &text) {
    std::string to(2 * text.size() + 1, '\0');
    escape_shell_specialchars(text.c_str(), to.data());
    return to.substr(0, strlen(to.c_str()));
}

std::string output_of(const std::string &command) {
    FILE *shell = popen(("exec 2>/dev/null\n" + command).c_str(), "r");
    if (!shell) abort();
    std::string output;
    for (int c; (c = getc(shell)) != EOF;) output += static_cast<char>(c);
    pclose(shell);
    return output;
}

// Escaping leaves these characters unchanged, so the shell still interprets them.
const std::string kUnsafe = "\t\n '";

TEST(Validators, ShellGivesBackEveryByteButFour) {
    std::string unsafe;
    for (int b = 1; b < 256; b++) {
        const std::string c(1, static_cast<char>(b)), inside = "x" + c + "y";
        const bool alone = output_of("printf %s " + escape(c)) == c;
        EXPECT_EQ(output_of("printf %s " + escape(inside)) == inside, alone) << b;
        if (!alone) unsafe += c;
    }
    EXPECT_EQ(unsafe, kUnsafe);
}

}  // namespace
}  // namespace quill::test::validators
