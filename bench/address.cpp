// Converts addresses to text, and texts to addresses.
#include <arpa/inet.h>
#include <netinet/ether.h>
#include <quill/address.h>
#include <quill/ipv6.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "bench.h"

namespace {

constexpr size_t kAddresses = 256;

using Mac = std::array<uint8_t, 6>;
using Text = std::array<char, 48>;

Mac mac(uint32_t i) {
    Mac m;
    const uint64_t bits = uint64_t{bench::scatter(i)} << 16 | (bench::scatter(i + 1000) & 0xffff);
    for (size_t k = 0; k < 6; k++) m[k] = static_cast<uint8_t>(bits >> (8 * k));
    return m;
}

// Half of the addresses have a long run of zeros, as most addresses in real networks have.
std::array<uint8_t, 16> ipv6(uint32_t i) {
    std::array<uint8_t, 16> address = {0x20, 0x01, 0x0d, 0xb8};
    for (size_t k = i % 2 ? 4 : 12; k < 16; k++) address[k] = static_cast<uint8_t>(bench::scatter(i + 16 * k) | 0x11);
    return address;
}

uint64_t sum(const char *text) {
    uint64_t digest = 0;
    for (; *text; text++) digest = digest * 31 + static_cast<uint8_t>(*text);
    return digest;
}

// Converts each address into the same few bytes. The digest includes two characters of each result, and the whole last
// result.
template <typename Address, typename Convert>
void add_to_text(const char *row, const char *contender, Address make, Convert convert) {
    bench::add(std::string("address text: ") + row, contender, 0, kAddresses, [=] {
        std::vector<decltype(make(0))> addresses;
        for (uint32_t i = 0; i < kAddresses; i++) addresses.push_back(make(i));
        return bench::Work{[addresses, convert]() -> uint64_t {
            uint64_t digest = 0;
            const char *last = nullptr;
            static Text buffer;
            for (const auto &address : addresses) {
                last = convert(address, buffer.data());
                digest = digest * 31 + static_cast<uint8_t>(last[0]) * 256u + static_cast<uint8_t>(last[6]);
            }
            return digest + sum(last);
        }};
    });
}

// Adds a row that converts texts. Each conversion returns a number.
template <typename Address, typename Print, typename Convert>
void add_from_text(const char *row, const char *contender, Address make, Print print, Convert convert) {
    bench::add(std::string("address text: ") + row, contender, 0, kAddresses, [=] {
        std::vector<Text> texts(kAddresses);
        for (uint32_t i = 0; i < kAddresses; i++) print(make(i), texts[i].data());
        return bench::Work{[texts, convert]() -> uint64_t {
            uint64_t digest = 0;
            for (const Text &text : texts) digest += convert(text.data());
            return digest;
        }};
    });
}

uint64_t from_bytes(const void *bytes, size_t size) {
    uint64_t value = 0;
    for (size_t i = 0; i < size; i++) value = (value << 8 | value >> 56) ^ static_cast<const uint8_t *>(bytes)[i];
    return value;
}

void print_mac(const Mac &m, char *to) { mac_to_str_r(m.data(), to, 0); }
uint32_t ip(uint32_t i) { return bench::scatter(i); }
void print_ip(uint32_t address, char *to) { inet_ntop(AF_INET, &address, to, 16); }
void print_ipv6(const std::array<uint8_t, 16> &address, char *to) { inet_ntop(AF_INET6, address.data(), to, 46); }

uint64_t quill_pton(const char *text) {
    ip_af_addr out;
    return quill_inet_pton(text, &out) == 1 ? from_bytes(out.addr, out.family == AF_INET ? 4 : 16) : 0;
}
template <int family, size_t size>
uint64_t libc_pton(const char *text) {
    uint8_t out[size];
    return inet_pton(family, text, out) == 1 ? from_bytes(out, size) : 0;
}

const bool added = [] {
    add_to_text("MAC to text", "quill", mac, [](const Mac &m, char *to) { return mac_to_str_r(m.data(), to, 0); });
    add_to_text("MAC to text", "snprintf", mac, [](const Mac &m, char *to) {
        snprintf(to, 18, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
        return to;
    });
    add_from_text("MAC from text", "quill", mac, print_mac,
                  [](const char *text) { return from_bytes(str_to_mac(text), 6); });
    add_from_text("MAC from text", "ether_aton_r", mac, print_mac, [](const char *text) {
        ether_addr out;
        return from_bytes(ether_aton_r(text, &out), 6);
    });
    add_from_text("MAC from text", "sscanf", mac, print_mac, [](const char *text) {
        unsigned b[6];
        sscanf(text, "%2x:%2x:%2x:%2x:%2x:%2x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]);
        const uint8_t out[6] = {static_cast<uint8_t>(b[0]), static_cast<uint8_t>(b[1]), static_cast<uint8_t>(b[2]),
                                static_cast<uint8_t>(b[3]), static_cast<uint8_t>(b[4]), static_cast<uint8_t>(b[5])};
        return from_bytes(out, 6);
    });

    add_to_text("IPv4 to text", "quill", ip, [](uint32_t address, char *) { return ip_to_str(address); });
    add_to_text("IPv4 to text", "snprintf", ip, [](uint32_t address, char *to) {
        const auto *byte = reinterpret_cast<const uint8_t *>(&address);  // the address is in network order
        snprintf(to, 16, "%u.%u.%u.%u", byte[0], byte[1], byte[2], byte[3]);
        return to;
    });
    add_to_text("IPv4 to text", "inet_ntop", ip,
                [](uint32_t address, char *to) { return inet_ntop(AF_INET, &address, to, 16); });
    add_from_text("IPv4 from text", "quill str_to_ip", ip, print_ip,
                  [](const char *text) -> uint64_t { return ntohl(str_to_ip(text)); });
    add_from_text("IPv4 from text", "inet_pton", ip, print_ip, libc_pton<AF_INET, 4>);
    add_from_text("IPv4 from text", "sscanf", ip, print_ip, [](const char *text) {
        unsigned b[4];
        sscanf(text, "%u.%u.%u.%u", &b[0], &b[1], &b[2], &b[3]);
        return uint64_t{b[0] << 24 | b[1] << 16 | b[2] << 8 | b[3]};
    });
    add_from_text("numeric text by quill_inet_pton, IPv4", "quill", ip, print_ip, quill_pton);
    add_from_text("numeric text by quill_inet_pton, IPv4", "inet_pton", ip, print_ip, libc_pton<AF_INET, 4>);

    using Ipv6 = std::array<uint8_t, 16>;
    add_to_text("IPv6 to text", "quill", ipv6, [](const Ipv6 &address, char *) { return ip6_to_str(address.data()); });
    add_to_text("IPv6 to text", "inet_ntop", ipv6,
                [](const Ipv6 &address, char *to) { return inet_ntop(AF_INET6, address.data(), to, 46); });
    add_from_text("IPv6 from text", "quill", ipv6, print_ipv6, [](const char *text) {
        uint16_t groups[8];
        uint8_t bytes[16];
        if (ipv6_str_to_addr(text, groups) == 0) return uint64_t{0};
        for (size_t i = 0; i < 8; i++)
            bytes[2 * i] = static_cast<uint8_t>(groups[i] >> 8), bytes[2 * i + 1] = static_cast<uint8_t>(groups[i]);
        return from_bytes(bytes, 16);
    });
    add_from_text("IPv6 from text", "inet_pton", ipv6, print_ipv6, libc_pton<AF_INET6, 16>);
    add_from_text("numeric text by quill_inet_pton, IPv6", "quill", ipv6, print_ipv6, quill_pton);
    add_from_text("numeric text by quill_inet_pton, IPv6", "inet_pton", ipv6, print_ipv6, libc_pton<AF_INET6, 16>);
    return true;
}();

}  // namespace
