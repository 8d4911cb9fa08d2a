#include <ctype.h>
#include <gtest/gtest.h>
#include <quill/validators.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "support/case_file.h"
#include "support/german_locale.h"
#include "support/guard_page.h"
#include "support/validators_model.h"

namespace quill::test::validators {
namespace {

using quill::test::GermanLocale;
using quill::test::GuardedPage;

constexpr auto kFunctions =
    QUILL_CASE_FUNCTIONS(validate_lag_num, loopback_idx_validate, is_numeric, email_addr_validate, domain_name_validate,
                         is_string_vulnerable, has_shell_metachars, valid_display_string, validate_file_name,
                         is_valid_restricted_filename, clear_quotes, insert_in_str, escape_shell_specialchars);

TEST(Validators, Cases) { expect_cases("text/validators.cases", kFunctions); }

// A text whose NUL is the last byte that can be read or written.
class Guarded {
public:
    char *hold(const std::string &text) { return page_.hold_text(text); }
    // Without its NUL.
    char *hold_bytes(const std::string &text) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
        return reinterpret_cast<char *>(page_.hold({bytes, text.size()}));
    }
    char *room(size_t length) { return reinterpret_cast<char *>(page_.room(length, 0xee)); }

private:
    GuardedPage page_;
};

void expect_every_byte_in_its_class() {
    Guarded page;
    for (int b = 1; b < 256; b++) {
        SCOPED_TRACE("byte " + std::to_string(b));
        const std::string c(1, static_cast<char>(b));
        const bool alnum = ascii_alnum(b), space = b == ' ' || (b >= 9 && b <= 13), vulnerable = in(kVulnerable, b);
        EXPECT_EQ(xctoc(b), b < 128 && isxdigit(b) ? std::stoi(c, nullptr, 16) : 0);
        EXPECT_EQ(xctoc(b + 256) + xctoc(b - 256) + has_shell_specialchars(b + 256) + has_shell_specialchars(b - 256),
                  0);
        EXPECT_EQ(has_shell_specialchars(b), in(kSpecial, b) ? b : 0);
        EXPECT_EQ(has_shell_metachars(page.hold(c)), in(kMeta, b) ? b : 0);
        EXPECT_EQ(valid_display_string(page.hold_bytes(c), 1), b < 32 || b == 127);
        char *name = page.hold_bytes(c);
        EXPECT_EQ(validate_file_name(name, 1), 0);
        EXPECT_EQ(*name, in(kForbidden, b) ? '-' : c[0]);
        EXPECT_EQ(is_valid_restricted_filename(page.hold(c)), alnum);
        EXPECT_EQ(is_valid_restricted_filename(page.hold("a" + c)), alnum || in("_-. ", b));
        EXPECT_EQ(email_addr_validate(page.hold(c + "@b.c")), alnum || in(kLocalExtras, b) ? 0 : -1);
        EXPECT_EQ(email_addr_validate(page.hold("a@b" + c + ".c")), alnum || in("-.", b) ? 0 : -1);
        EXPECT_EQ(domain_name_validate(page.hold(c)), in("-.", b) ? 2 : 0);
        EXPECT_EQ(domain_name_validate(page.hold("a" + c + "a")), alnum || in("-.", b) ? 0 : 1);
        EXPECT_EQ(domain_name_validate(page.hold("a" + c)), alnum ? 0 : in("-.", b) ? 2 : 1);
        EXPECT_EQ(validate_lag_num(page.hold(c)), b < 128 && isdigit(b));
        EXPECT_EQ(loopback_idx_validate(page.hold("6" + c)), b >= '0' && b <= '3');
        EXPECT_EQ(is_string_vulnerable(page.hold_bytes(c), 1, 0, 0, 0), vulnerable);
        EXPECT_EQ(is_string_vulnerable(page.hold_bytes(c), 1, 1, 0, 0), vulnerable || !alnum);
        EXPECT_EQ(is_string_vulnerable(page.hold_bytes(c), 1, 0, 1, 0), vulnerable || space);
    }
}

TEST(Validators, EveryByteIsInItsClass) { expect_every_byte_in_its_class(); }

TEST(Validators, ClassesAreThoseOfAsciiInEveryLocale) {
    const GermanLocale german;
    if (!german) GTEST_SKIP() << "no German locale can be made, or the C library has none";
    ASSERT_TRUE(isalnum(0xe4));
    expect_every_byte_in_its_class();
}

TEST(Validators, LengthsOfMailAddresses) {
    const std::string label(62, 'd');
    const std::string domain = label + "." + label + "." + label + "." + label + "...";  // 254 characters
    EXPECT_EQ(email_addr_validate((std::string(64, 'l') + "@" + domain + "c").c_str()), 0);
    EXPECT_EQ(email_addr_validate((std::string(65, 'l') + "@b.c").c_str()), -1);
    EXPECT_EQ(email_addr_validate(("l@" + domain + "cc").c_str()), -1);
}

TEST(Validators, HexadecimalNumbersAndTheirMessages) {
    const char *const long_text = "Error: char string too long \n", *const bad = "Error: bad char\n", *const good = "";
    const struct {
        const char *text;
        int bytes;
        uint32_t value;
        const char *printed;
    } cases[] = {
        {"0x1A2b", 2, 0x1a2b, good},
        {"1A2b3", 2, 0xffffffff, long_text},
        {"0X12", 4, 0xffffffff, bad},
        {"0x0x1", 4, 0xffffffff, bad},
        {"12 ", 4, 0xffffffff, bad},
        {"g", 1, 0xffffffff, bad},
        {"", 0, 0, good},
        {"0x", 0, 0, good},
        {"0", 0, 0xffffffff, long_text},
        {"", -1, 0xffffffff, long_text},
        {"zzz", 1, 0xffffffff, long_text},  // the length is looked at first
        {"ffffffff", 4, 0xffffffff, good},  // the number that is also the error
        {"123456789a", 5, 0x3456789a, good},
        {"12", 0x7fffffff, 0x12, good},
        {nullptr, 4, 0xffffffff, bad},
    };
    for (const auto &c : cases) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(hextoint(c.text, c.bytes), c.value) << c.text;
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed) << c.text;
    }
}

TEST(Validators, HexTextIsWrittenWithoutItsEnd) {
    Guarded page;
    const uint8_t bytes[] = {0x0a, 0xff, 0x10};
    char *to = page.room(6);
    EXPECT_EQ(pap_hexify(to, bytes, 3), to + 6 + 2);  // two behind the last digit
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

// The rule leaves these as they are, so the shell still reads them as its own.
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
