// All validators, compared with plain sets of characters.
#include <ctype.h>
#include <quill/names.h>
#include <quill/validators.h>

#include "fuzz/fuzz.h"

namespace quill::test::validators {
namespace {

const std::string kMeta = "<>*?[]|;&(){}#$\\!%^`";
const std::string kSpecial = kMeta + "@.\",/:=-+_~";
const std::string kVulnerable = ";\\&|`><$(){}!";
const std::string kLocalExtras = "!#$%&'*+-/=?^_`.{|}~";
const std::string kForbidden = "\\/:*\"<>|?";

bool in(const std::string &set, int c) { return set.find(static_cast<char>(c)) != std::string::npos; }
bool ascii_alnum(int c) { return c < 128 && isalnum(c); }
bool only(const std::string &text, const std::string &others) {
    for (const char c : text)
        if (!ascii_alnum(static_cast<unsigned char>(c)) && !in(others, c)) return false;
    return true;
}

using quill::fuzz::room;

quill::test::GuardedPage page, out;

char *bytes_of(const std::string &text) {  // without a NUL
    return reinterpret_cast<char *>(page.hold({reinterpret_cast<const uint8_t *>(text.data()), text.size()}));
}

void expect_judged(const std::string &text, int length) {
    const int mail = email_addr_validate(page.hold_text(text));
    EXPECT(mail == -1 || only(text, kLocalExtras + "@"));
    EXPECT(domain_name_validate(page.hold_text(text)) != 0 || only(text.substr(1), "-."));
    EXPECT(is_valid_restricted_filename(page.hold_text(text)) ==
           (!text.empty() && ascii_alnum(static_cast<unsigned char>(text[0])) && only(text, "_-. ")));
    const size_t meta = text.find_first_of(kMeta);
    EXPECT(has_shell_metachars(page.hold_text(text)) == (meta == std::string::npos ? 0 : text[meta]));
    const bool vulnerable = text.find_first_of(kVulnerable) != std::string::npos;
    EXPECT(is_string_vulnerable(bytes_of(text), length, 0, 0, 0) == vulnerable);
    EXPECT(is_string_vulnerable(bytes_of(text), length, 1, 0, 0) == !only(text, ""));
    bool traverses = false;
    for (const char *way : {"../", "%2E%2E%2F", "%252E%252E%252F"}) traverses |= text.find(way) != std::string::npos;
    EXPECT(is_string_vulnerable(page.hold_text(text), length, 0, 0, 1) == (vulnerable || traverses));
    const auto is_control = [](char c) { return iscntrl(static_cast<unsigned char>(c)) != 0; };
    EXPECT(valid_display_string(bytes_of(text), length) == std::any_of(text.begin(), text.end(), is_control));
}

// Each function writes up to the end of its text, and no further.
void expect_numbers(const std::string &text, int length) {
    uint32_t number = 0;
    const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
    EXPECT(is_numeric(page.hold_text(text), &number) == digits);
    const bool index = digits && text.size() <= 2 && number <= 63;
    EXPECT(validate_lag_num(page.hold_text(text)) == index && loopback_idx_validate(page.hold_text(text)) == index);
    char *const hex = room(out, 2 * text.size());
    EXPECT(pap_hexify(hex, reinterpret_cast<const uint8_t *>(bytes_of(text)), length) == hex + 2 * text.size() + 2);
}

void expect_rewritten(const std::string &text, int length, unsigned choice) {
    char *const escaped = room(out, 2 * text.size() + 1);
    escape_shell_specialchars(page.hold_text(text), escaped);
    std::string slashed;
    for (const char c : text) (in(kSpecial, c) ? slashed += '\\' : slashed) += c;
    EXPECT(escaped == slashed);

    char *const name = bytes_of(text);
    EXPECT(validate_file_name(name, length) == text.empty());
    std::string named = text;
    std::replace_if(
        named.begin(), named.end(), [](char c) { return in(kForbidden, c); }, '-');
    EXPECT(std::string(name, text.size()) == named);

    const auto is_quote = [](char c) { return c == '\'' || c == '"'; };
    std::string bare = text.substr(!text.empty() && is_quote(text.front()));
    const int last = static_cast<int>(bare.size()) - 1;
    if (!bare.empty() && is_quote(bare.back())) bare.pop_back();
    char *const quoted = page.hold_text(text);
    EXPECT(clear_quotes(quoted) == last && quoted == bare);

    char *const roomy = strcpy(room(page, text.size() + 2), text.c_str());
    insert_in_str(roomy, '!', static_cast<int>(choice));
    EXPECT(roomy == (choice <= text.size() ? std::string(text).insert(choice, 1, '!') : text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    quill::fuzz::Input input(data, size);
    const unsigned choice = input.byte();
    const std::string text = input.text(800);
    const auto length = static_cast<int>(text.size());
    expect_judged(text, length);
    expect_numbers(text, length);
    expect_rewritten(text, length, choice);
    return 0;
}

}  // namespace quill::test::validators
