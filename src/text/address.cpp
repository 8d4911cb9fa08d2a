#include <quill/address.h>

#include <quill/types.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>

#include <memory>
#include <span>

#include "base/ascii.h"
#include "base/decimal.h"
#include "text/ip_text.h"
#include "text/text_ring.h"

using quill::hex_value;
using quill::TextRing;

namespace {

constexpr size_t kMacSize = 6;
constexpr char kUnknownMac[] = "UNKNOWN";

// --- the state of the process, not protected by a lock

constinit TextRing<64, 20> mac_texts;
constinit TextRing<10, 24> ip_texts;
constinit TextRing<1, 24> ip_text;
constinit TextRing<8, 64> either_texts;
constinit uint8_t read_mac[kMacSize];

// --- MAC addresses

char *write_mac(const uint8_t *mac, char *dst, bool upper, char delimiter) {
    if (!mac) return strcpy(dst, kUnknownMac);
    const char *digits = upper ? quill::upper_hex_digits : quill::lower_hex_digits;
    char *at = dst;
    for (size_t i = 0; i < kMacSize; i++) {
        if (i > 0 && delimiter) *at++ = delimiter;
        at = quill::write_hex_byte(at, mac[i], digits);
    }
    *at = '\0';
    return dst;
}

bool separates_typed_bytes(char c) { return c == ':' || c == '-' || c == '.'; }

// Reads one or two digits at *text and moves past them. Returns -1 without a digit.
int read_typed_byte(const char **text) {
    const int first = hex_value(**text);
    if (first < 0) return -1;
    const char after = *++*text;
    if (!after || separates_typed_bytes(after)) return first;
    const int second = hex_value(after);
    if (second < 0) return -1;
    ++*text;
    return first * 16 + second;
}

// Returns the value of a character in a group that valid_mac() reads. Separators have values too: ':' is 10, and '-' is
// -3, whose low four bits are 13.
constexpr int strict_digit(char c) { return c >= 'A' ? quill::fold_case(c) - 'a' + 10 : c - '0'; }

// --- IPv4 addresses

void write_ipv4(const uint8_t *octets, char *dst) {
    for (int i = 0; i < 4; i++) {
        const unsigned octet = octets[i];
        if (i > 0) *dst++ = '.';
        if (octet >= 100) *dst++ = static_cast<char>('0' + octet / 100);
        if (octet >= 10) *dst++ = static_cast<char>('0' + octet / 10 % 10);
        *dst++ = static_cast<char>('0' + octet % 10);
    }
    *dst = '\0';
}

char *write_ip_word(uint32_t ip, char *dst) {
    uint8_t octets[4];
    memcpy(octets, &ip, sizeof octets);
    write_ipv4(octets, dst);
    return dst;
}

// Reads four decimal numbers, the only form that inet_pton reads; inet_addr reads other forms too.
bool read_dotted_quad(const char *text, uint8_t *octets) {
    for (int i = 0; i < 4; i++) {
        const char *const digits = text;
        const uint32_t number = quill::read_digits<quill::Overflow::kStops, 3>(text);
        const bool octal = *digits == '0' && text - digits > 1;
        if (text == digits || octal || number > UINT8_MAX || *text != (i < 3 ? '.' : '\0')) return false;
        octets[i] = static_cast<uint8_t>(number);
        text++;
    }
    return true;
}

// --- either family

bool write_either(const ip_af_addr &address, std::span<char> to) {
    char text[INET6_ADDRSTRLEN];
    if (address.family != QUILL_AF_INET6)
        write_ipv4(address.addr, text);
    else if (!quill::write_ipv6(text, address.addr))
        return false;
    const size_t size = strlen(text) + 1;
    if (size > to.size()) return false;
    memcpy(to.data(), text, size);
    return true;
}

// The unused bytes of the record are zero, because records are compared, hashed and sent as a whole.
ip_af_addr make_either(int family, const void *bytes) {
    ip_af_addr made = {};
    made.family = static_cast<uint16_t>(family);
    memcpy(made.addr, bytes, family == QUILL_AF_INET ? sizeof(in_addr) : sizeof(in6_addr));
    return made;
}

bool read_numeric(const char *text, ip_af_addr *out) {
    uint8_t bytes[sizeof out->addr];
    if (read_dotted_quad(text, bytes)) {
        *out = make_either(QUILL_AF_INET, bytes);
        return true;
    }
    if (inet_pton(AF_INET6, text, bytes) == 1) {
        *out = make_either(QUILL_AF_INET6, bytes);
        return true;
    }
    return false;
}

struct FreeAnswers {
    void operator()(addrinfo *answers) const { freeaddrinfo(answers); }
};

bool resolve(const char *text, ip_af_addr *out) {
    addrinfo *list = nullptr;
    if (getaddrinfo(text, nullptr, nullptr, &list) != 0) return false;
    const std::unique_ptr<addrinfo, FreeAnswers> answers(list);
    if (!answers) return false;

    // The address is copied, because a socket address is not aligned for the structure of every family.
    const sockaddr *first = answers->ai_addr;
    if (first->sa_family == AF_INET) {
        sockaddr_in ipv4;
        memcpy(&ipv4, first, sizeof ipv4);
        *out = make_either(QUILL_AF_INET, &ipv4.sin_addr);
        return true;
    }
    if (first->sa_family == AF_INET6) {
        sockaddr_in6 ipv6;
        memcpy(&ipv6, first, sizeof ipv6);
        *out = make_either(QUILL_AF_INET6, &ipv6.sin6_addr);
        return true;
    }
    out->family = first->sa_family;
    return false;
}

}  // namespace

// --- MAC addresses

char *mac_to_str_r(const uint8_t *mac, char *dst, int upper) { return write_mac(mac, dst, upper != 0, ':'); }

char *mac_to_str_w_options(const uint8_t *mac, char *dst, int upper, char delim) {
    return write_mac(mac, dst, upper != 0, delim);
}

char *mac_to_str_no_delemit(const uint8_t *mac, char *dst, int upper) { return write_mac(mac, dst, upper != 0, '\0'); }

char *mac_to_str(const uint8_t *mac) { return write_mac(mac, mac_texts.next(), false, ':'); }

uint8_t *str_to_mac(const char *text) {
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text += 2;
    size_t count = 0;
    while (count <= kMacSize) {
        while (separates_typed_bytes(*text)) text++;
        const int byte = read_typed_byte(&text);
        if (byte < 0) break;  // other text may follow: the six bytes before it are still an address
        if (count < kMacSize) read_mac[count] = static_cast<uint8_t>(byte);
        count++;
    }
    if (count != kMacSize) memset(read_mac, 0, sizeof read_mac);
    return read_mac;
}

int valid_mac(uint8_t *mac_out, const char *text) {
    size_t groups = 0;
    for (const char *group = text;; text++) {
        if (hex_value(*text) >= 0) {
            if (text - group == 2) return 0;
            continue;
        }
        if (*text && *text != ':' && *text != '-') return 0;
        if (text == group || groups == kMacSize) return 0;
        // The separator before a single digit counts as the high digit. Compatibility: programs know the resulting
        // bytes.
        const bool has_high = text - group == 2 || groups > 0;
        const int high = has_high ? strict_digit(text[-2]) : 0;
        mac_out[groups++] = static_cast<uint8_t>((high << 4) + strict_digit(text[-1]));
        if (!*text) return groups == kMacSize;
        group = text + 1;
    }
}

int valid_mac_range(int c) { return hex_value(c) >= 0; }

// --- IPv4 addresses

uint32_t str_to_ip(const char *text) {
    uint8_t octets[4];
    if (!read_dotted_quad(text, octets)) return inet_addr(text);
    uint32_t ip;
    memcpy(&ip, octets, sizeof ip);
    return ip;
}

char *ip_to_str(uint32_t ip) { return write_ip_word(ip, ip_texts.next()); }

char *ip_to_str2(uint32_t ip) { return write_ip_word(ip, ip_text.next()); }

int is_unicast_ipaddr(uint32_t ip) {
    uint8_t octets[4];
    memcpy(octets, &ip, sizeof octets);
    // Compares the low seven bits with 127, which refuses 127.x.x.x and also 255.x.x.x. Compatibility: programs rely on
    // both.
    if ((octets[0] & 0x7f) == 0x7f) return 0;
    const bool multicast = octets[0] >= 224 && octets[0] <= 239;
    return ip != 0 && !multicast;
}

// --- either family

char *quill_inet_ntop(ip_af_addr addr, char *buf) {
    buf[0] = '\0';
    if (addr.family == QUILL_AF_INET || addr.family == QUILL_AF_INET6) write_either(addr, {buf, QUILL_IP_STR_SIZE});
    return buf;
}

char *quill_ip_to_str_r(ip_af_addr addr, char *buf, size_t buflen) {
    return buf && write_either(addr, {buf, buflen}) ? buf : nullptr;
}

char *quill_ip_to_str(ip_af_addr addr) { return quill_ip_to_str_r(addr, either_texts.next(), either_texts.size); }

char *quill_ipv6_to_str(const uint8_t *addr16) { return quill_ip_to_str(make_either(QUILL_AF_INET6, addr16)); }

int quill_inet_pton(const char *text, ip_af_addr *out) {
    if (!text || !out) return 0;
    if (!*text) {
        *out = {};
        return 1;
    }
    return read_numeric(text, out) || resolve(text, out);
}

int validate_and_assign_ip_addr(const char *text, ip_af_addr *out) {
    if (!text || !out) return 0;
    if (!*text) {
        *out = {};
        return 0;
    }
    return read_numeric(text, out);
}

// --- well-known addresses

constexpr uint8_t ipv6_zeros[16] = {};
constexpr uint8_t ipv6_ones[16] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                   0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
constexpr uint8_t ipv6_loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constinit ip_af_addr zero_ip_addr = {};
constinit ip_af_addr all_1_ip_addr = {};

void fix_zero_and_all_1_ip_addr(int family) {
    zero_ip_addr.family = all_1_ip_addr.family = 0;
    if (family != QUILL_AF_INET && family != QUILL_AF_INET6) return;
    zero_ip_addr = make_either(family, ipv6_zeros);
    all_1_ip_addr = make_either(family, ipv6_ones);
}

// --- arithmetic on address words. The prefixes nh and nn only name the byte orders that a caller mixes. They do not
// change the result.

uint32_t nh_addl(uint32_t a, uint32_t b) { return a + b; }
uint32_t nn_addl(uint32_t a, uint32_t b) { return a + b; }
uint32_t nh_subl(uint32_t a, uint32_t b) { return a - b; }
uint32_t nn_subl(uint32_t a, uint32_t b) { return a - b; }
uint32_t nh_adds(uint32_t a, uint32_t b) { return (a + b) & 0xffff; }
uint32_t nn_adds(uint32_t a, uint32_t b) { return (a + b) & 0xffff; }
uint32_t nh_subs(uint32_t a, uint32_t b) { return (a - b) & 0xffff; }
uint32_t nn_subs(uint32_t a, uint32_t b) { return (a - b) & 0xffff; }
uint32_t nh_andl(uint32_t a, uint32_t b) { return a & b; }
uint32_t nn_andl(uint32_t a, uint32_t b) { return a & b; }
uint32_t nh_ands(uint32_t a, uint32_t b) { return a & b; }
uint32_t nn_ands(uint32_t a, uint32_t b) { return a & b; }
