#include <quill/ipv6.h>

#include <quill/types.h>

#include <arpa/inet.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <span>

#include "base/ascii.h"
#include "base/decimal.h"
#include "base/endian.h"
#include "text/ip_text.h"
#include "text/text_ring.h"

using quill::hex_value;
using quill::TextRing;

namespace {

constexpr int kGroups = quill::kIpv6Groups;
constexpr size_t kAddressSize = 16;
constexpr unsigned kLongestPrefix = 128;

// --- the state of the process, not protected by a lock

constinit uint8_t read_address[kAddressSize];
constinit TextRing<10, 40> library_texts;
constinit TextRing<10, QUILL_IPV6_LONG_SIZE> long_texts;
constinit TextRing<8, 64> own_texts;

// --- to text

// The zero groups that "::" replaces: first to last, both -1 without such a run.
struct ZeroRun {
    int first = -1, last = -1;

    bool longer_than(ZeroRun other) const { return last - first > other.last - other.first; }
};

// Without a run, last - first is 0, as for a run of one group. So a run of one group is never found.
ZeroRun longest_zero_run(const uint16_t *groups) {
    ZeroRun longest;
    for (int i = 0; i < kGroups; i++) {
        if (groups[i] != 0) continue;
        ZeroRun run = {i, i};
        while (run.last + 1 < kGroups && groups[run.last + 1] == 0) run.last++;
        if (run.longer_than(longest)) longest = run;
        i = run.last;
    }
    return longest;
}

char *write_group(char *to, uint16_t group) {
    const auto digit = [&](int shift) { *to++ = quill::lower_hex_digits[group >> shift & 0xf]; };
    if (group >= 0x1000) digit(12);
    if (group >= 0x100) digit(8);
    if (group >= 0x10) digit(4);
    digit(0);
    return to;
}

// --- from text

// Reads the digits of a group and moves past them; returns -1 if there are too many. Leading zeros do not count,
// however many there are.
int read_group(const char *&text) {
    int group = 0;
    for (int digit; (digit = hex_value(*text)) >= 0; text++) {
        if (group > 0xfff) return -1;
        group = group << 4 | digit;
    }
    return group;
}

bool read_groups(const char *text, uint16_t *out) {
    if (!text[0] || !text[1] || (text[0] == ':' && text[1] != ':')) return false;
    uint16_t groups[kGroups] = {};
    int colons = 0;  // this is also the number of the group being read
    int gap = -1;    // the group before which "::" leaves out zeros
    for (;;) {
        const int group = read_group(text);
        if (group < 0) return false;
        groups[colons] = static_cast<uint16_t>(group);
        if (!*text) break;
        if (*text != ':' || ++colons == kGroups || !*++text) return false;
        if (*text != ':') continue;
        if (*++text == ':' || gap >= 0) return false;
        gap = colons;
    }
    // The two colons of a gap at an end count as a group of their own. So a gap beside seven other groups is refused at
    // an end, but accepted between groups.
    if ((gap < 0) != (colons == kGroups - 1)) return false;
    if (gap >= 0) std::rotate(groups + gap, groups + colons + 1, groups + kGroups);
    memcpy(out, groups, sizeof groups);
    return true;
}

// Reads the digits up to the end of the text. An empty text gives 0. Returns false if the text has other characters or
// the length is above 128.
bool read_prefix_length(const char *text, uint16_t *length) {
    *length = static_cast<uint16_t>(quill::read_digits<quill::Overflow::kStops>(text, kLongestPrefix));
    return *text == '\0' && *length <= kLongestPrefix;
}

template <typename T>
int set_bits(const T *words, size_t count) {
    int bits = 0;
    for (size_t i = 0; i < count; i++) bits += std::popcount(words[i]);
    return bits;
}

// Compares the whole first group. Compatibility: other addresses with the same ten-bit prefix never counted as
// link-local or site-local.
bool begins_with_group(const ip_af_addr &address, uint16_t group) {
    return address.family == QUILL_AF_INET6 && quill::load_be<uint16_t>(address.addr) == group;
}

}  // namespace

char *quill::write_ipv6_groups(char *to, const uint16_t *groups) {
    const ZeroRun zeros = longest_zero_run(groups);
    for (int i = 0; i < kGroups; i++) {
        if (i == zeros.first) {
            *to++ = ':';
            *to++ = ':';
            i = zeros.last;
            continue;
        }
        if (i > 0 && i != zeros.last + 1) *to++ = ':';
        to = write_group(to, groups[i]);
    }
    *to = '\0';
    return to;
}

// Calls this machine's C library only for addresses whose first group is 0, because C libraries differ there. They
// differ in which of two equal runs "::" replaces, and in which addresses end like IPv4 addresses.
char *quill::write_ipv6(std::span<char> to, const uint8_t *address) {
    uint16_t groups[kGroups] = {};
    const uint8_t *at = address;
    for (uint16_t &group : groups) {
        group = load_be<uint16_t>(at);
        at += sizeof group;
    }
    if (groups[0] == 0 && !inet_ntop(AF_INET6, address, to.data(), static_cast<socklen_t>(to.size()))) return nullptr;
    if (groups[0] != 0) write_ipv6_groups(to.data(), groups);
    return to.data();
}

// --- addresses

uint8_t *str_to_ip6(const char *text) {
    uint8_t bytes[kAddressSize];
    if (inet_pton(AF_INET6, text, bytes) != 1) return nullptr;
    memcpy(read_address, bytes, sizeof bytes);
    return read_address;
}

char *ip6_to_str(const uint8_t *addr16) {
    return quill::write_ipv6({library_texts.next(), library_texts.size}, addr16);
}

char *ip6_to_str_long(const uint8_t *addr16) {
    char *const text = long_texts.next();
    char *at = text;
    for (size_t i = 0; i < kAddressSize; i++) {
        if (i > 0 && i % 2 == 0) *at++ = ':';
        at = quill::write_hex_byte(at, addr16[i]);
    }
    *at = '\0';
    return text;
}

char *ipv6_to_str(const uint16_t *groups8) {
    char *const text = own_texts.next();
    quill::write_ipv6_groups(text, groups8);
    return text;
}

int ipv6_str_to_addr(const char *text, uint16_t *groups8) { return read_groups(text, groups8); }

void ipv6_addr_incr(uint16_t *groups8) {
    const bool all_ones = std::all_of(groups8, groups8 + kGroups, [](uint16_t group) { return group == 0xffff; });
    if (all_ones) {
        memset(groups8, 0, kAddressSize);
        return;
    }
    groups8[kGroups - 1]++;  // no carry: callers step through the hosts of one group, and must not leave the group
}

int format_ipv6_with_colon(const char *hex32, char *out) {
    char *at = out;
    for (int i = 0; i < 32; i++) {
        if (hex_value(hex32[i]) < 0 && hex32[i] != ':') {
            *out = '\0';
            return 0;
        }
        if (i > 0 && i % 4 == 0) *at++ = ':';
        *at++ = hex32[i];
    }
    *at = '\0';
    return 1;
}

int is_ipv6_link_local_address(ip_af_addr addr) { return begins_with_group(addr, 0xfe80); }

int is_ipv6_site_local_address(ip_af_addr addr) { return begins_with_group(addr, 0xfec0); }

// --- prefix lengths and masks

int ipv6_prefix2addr_mask(char *text, uint16_t *groups8, uint16_t *plen) {
    char *slash = strchr(text, '/');
    if (!slash) return 0;
    *slash = '\0';  // callers continue with the address only
    return read_prefix_length(slash + 1, plen) && ipv6_str_to_addr(text, groups8);
}

int ipv6_wild2len(const char *text, uint16_t *plen) {
    if (!text) return 0;
    return read_prefix_length(text, plen) && *text;
}

void ipv6_plen_to_addr(uint32_t plen, uint8_t *mask16) {
    const size_t whole = std::min(plen, uint32_t{kLongestPrefix}) / 8;
    memset(mask16, 0xff, whole);
    // The bytes after this one do not change. Compatibility: callers write masks over bytes that they have set before.
    if (whole < kAddressSize) mask16[whole] = static_cast<uint8_t>(0xff00 >> plen % 8);
}

uint16_t ipv6_mask_to_plen(const uint16_t *mask8) { return static_cast<uint16_t>(set_bits(mask8, kGroups)); }

uint8_t ipv6_addr_mask_to_plen(ip_af_addr mask) { return static_cast<uint8_t>(set_bits(mask.addr, kAddressSize)); }
