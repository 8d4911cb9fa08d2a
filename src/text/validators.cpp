#include <quill/validators.h>

#include <limits.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "base/ascii.h"
#include "base/decimal.h"

// How it works
//
// A ByteSet holds the characters that a rule allows or refuses. It is a bitmap that the compiler fills, so a check is
// one look-up for each character, without a locale. A rule of the form "these characters only" calls all_in() with a
// set.

namespace {

// --- characters

class ByteSet {
public:
    constexpr ByteSet with(const char *others) const {
        ByteSet set = *this;
        for (; *others; others++) set.words_[byte(*others) / 32] |= 1u << byte(*others) % 32;
        return set;
    }
    constexpr bool has(char c) const { return words_[byte(c) / 32] >> byte(c) % 32 & 1; }

private:
    static constexpr unsigned byte(char c) { return static_cast<unsigned char>(c); }

    uint32_t words_[(UCHAR_MAX + 1) / 32] = {};
};

constexpr ByteSet kNone;
constexpr ByteSet kAlphanumeric = kNone.with("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");

constexpr ByteSet kFileNameForbidden = kNone.with("\\/:*\"<>|?");
constexpr ByteSet kShellMeta = kNone.with("<>*?[]|;&(){}#$\\!%^`");
constexpr ByteSet kShellSpecial = kShellMeta.with("@.\",/:=-+_~");
constexpr ByteSet kVulnerable = kNone.with(";\\&|`><$(){}!");
constexpr ByteSet kRestrictedName = kAlphanumeric.with("_-. ");
constexpr ByteSet kLocalPart = kAlphanumeric.with("!#$%&'*+-/=?^_`.{|}~");
constexpr ByteSet kDomain = kAlphanumeric.with("-.");

bool all_in(const ByteSet &set, const char *from, const char *end) {
    return std::all_of(from, end, [&](char c) { return set.has(c); });
}

bool is_quote(char c) { return c == '\'' || c == '"'; }

bool is_dash_or_dot(char c) { return c == '-' || c == '.'; }

// --- numbers

constexpr uint32_t kHexError = 0xffffffff;

uint32_t hex_error(const char *message) {
    puts(message);
    return kHexError;
}

constexpr uint32_t kIndexes = 64;  // of link aggregation groups and of loopback interfaces

int is_index(const char *text) {
    uint32_t index;
    return text && strnlen(text, 3) <= 2 && is_numeric(text, &index) && index < kIndexes;
}

// --- e-mail: lengths of RFC 5321, section 4.5.3.1

constexpr ptrdiff_t kLocalPartMax = 64;
constexpr size_t kDomainMax = 255;

bool is_local_part(const char *from, const char *end) {
    return from != end && end - from <= kLocalPartMax && all_in(kLocalPart, from, end);
}

bool is_mail_domain(const char *domain) {
    const size_t length = strnlen(domain, kDomainMax + 1);
    if (length == 0 || length > kDomainMax) return false;
    const char *end = domain + length;
    return *domain != '.' && end[-1] != '.' && strchr(domain, '.') && all_in(kDomain, domain, end);
}

}  // namespace

// --- numbers

int xctoc(int c) { return std::max(quill::hex_value(c), 0); }

uint32_t hextoint(const char *text, int nbytes) {
    if (!text) return hex_error("Error: bad char");
    if (text[0] == '0' && text[1] == 'x') text += 2;
    if (static_cast<int64_t>(strlen(text)) > int64_t{2} * nbytes) return hex_error("Error: char string too long ");
    uint32_t value = 0;
    for (; *text; text++) {
        const int digit = quill::hex_value(*text);
        if (digit < 0) return hex_error("Error: bad char");
        value = value * 16 + static_cast<uint32_t>(digit);
    }
    return value;
}

int is_numeric(const char *text, uint32_t *value) {
    const uint32_t number = text ? quill::read_digits<quill::Overflow::kWraps>(text) : 0;
    if (value) *value = number;
    return text && *text == '\0';
}

int validate_lag_num(const char *text) { return is_index(text); }

int loopback_idx_validate(const char *text) { return is_index(text); }

char *pap_hexify(char *dst, const uint8_t *src, int len) {
    for (int i = 0; i < len; i++) dst = quill::write_hex_byte(dst, src[i]);
    return dst + 2;
}

// --- names and displayed texts

int valid_display_string(const char *text, int len) {
    if (!text || len < 0) return 255;
    return std::any_of(text, text + len, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

int validate_file_name(char *name, int len) {
    if (!name || len <= 0) return 1;
    std::replace_if(
        name, name + len, [](char c) { return kFileNameForbidden.has(c); }, '-');
    return 0;
}

int is_valid_restricted_filename(const char *name) {
    return name && kAlphanumeric.has(*name) && all_in(kRestrictedName, name, name + strlen(name));
}

int email_addr_validate(const char *addr) {
    const char *at = addr ? strchr(addr, '@') : nullptr;
    return at && is_local_part(addr, at) && is_mail_domain(at + 1) ? 0 : -1;
}

int domain_name_validate(const char *name) {
    if (!name || *name == '\0' || is_dash_or_dot(*name)) return 2;
    const char *end = name + strlen(name);
    if (!all_in(kDomain, name + 1, end)) return 1;
    return is_dash_or_dot(end[-1]) ? 2 : 0;
}

int clear_quotes(char *text) {
    if (!text) return -1;
    size_t length = strlen(text);
    if (is_quote(*text)) memmove(text, text + 1, length--);
    if (length == 0) return -1;
    const size_t last = length - 1;
    if (is_quote(text[last])) text[last] = '\0';
    return static_cast<int>(last);
}

// --- the shell

int has_shell_metachars(const char *text) {
    if (!text) return 255;
    while (*text && !kShellMeta.has(*text)) text++;
    return *text;
}

int has_shell_specialchars(int c) { return 0 < c && c <= CHAR_MAX && kShellSpecial.has(static_cast<char>(c)) ? c : 0; }

void insert_in_str(char *text, char c, int pos) {
    if (!text || pos < 0) return;
    const size_t length = strlen(text), at = static_cast<size_t>(pos);
    if (at > length) return;
    memmove(text + at + 1, text + at, length - at + 1);
    text[at] = c;
}

void escape_shell_specialchars(const char *src, char *dst) {
    if (!src) return;
    for (; *src; src++) {
        if (kShellSpecial.has(*src)) *dst++ = '\\';
        *dst++ = *src;
    }
    *dst = '\0';
}

int is_string_vulnerable(const char *text, int len, int alnum_only, int no_space, int check_traversal) {
    if (!text || len < 0) return 1;
    const bool refused = std::any_of(text, text + len, [=](char c) {
        return kVulnerable.has(c) || (alnum_only && !kAlphanumeric.has(c)) || (no_space && quill::is_space(c));
    });
    if (refused) return 1;
    return check_traversal && (strstr(text, "../") || strstr(text, "%2E%2E%2F") || strstr(text, "%252E%252E%252F"));
}
