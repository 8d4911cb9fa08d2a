// The key orders of the AVL trees' comparisons, as function objects. Each has a type of its own, so that the compiler
// can generate a search for it. Only the sign of a result counts.
#pragma once

#include <quill/types.h>
#include <string.h>

#include "base/ascii.h"
#include "base/endian.h"

namespace quill {

template <typename T>
constexpr int order(T a, T b) {
    return (a > b) - (a < b);
}

inline constexpr auto order_text = [](const void *a, const void *b) {
    return strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
};

inline constexpr auto order_text_ignoring_case = [](const void *a, const void *b) {
    return compare_ignoring_case(static_cast<const char *>(a), static_cast<const char *>(b));
};

inline constexpr auto order_u32 = [](const void *a, const void *b) {
    return order(*static_cast<const uint32_t *>(a), *static_cast<const uint32_t *>(b));
};

// The difference wraps, so this is not a consistent order for all addresses. Compatibility: programs have built trees
// in this order.
inline constexpr auto order_mac_wrapped = [](const void *a, const void *b) {
    const auto *x = static_cast<const uint8_t *>(a), *y = static_cast<const uint8_t *>(b);
    const uint32_t first = load_be<uint32_t>(x) - load_be<uint32_t>(y);
    return static_cast<int32_t>(first ? first : load_be<uint32_t>(x + 4) - load_be<uint32_t>(y + 4));
};

struct Ipv6Number {
    uint64_t high, low;
};

inline int order(const Ipv6Number &a, const Ipv6Number &b) {
    return a.high != b.high ? order(a.high, b.high) : order(a.low, b.low);
}

inline Ipv6Number ipv6_number(const uint8_t *bytes) { return {load_be<uint64_t>(bytes), load_be<uint64_t>(bytes + 8)}; }

inline constexpr auto order_ipv6 = [](const void *a, const void *b) {
    return order(ipv6_number(static_cast<const uint8_t *>(a)), ipv6_number(static_cast<const uint8_t *>(b)));
};

// Returns the address as a number; an IPv4 address in its IPv4-mapped form, ::ffff:a.b.c.d.
inline Ipv6Number mapped_number(const ip_af_addr &address) {
    if (address.family == QUILL_AF_INET6) return ipv6_number(address.addr);
    return {0, uint64_t{0xffff} << 32 | load_be<uint32_t>(address.addr)};
}

inline constexpr auto order_address = [](const void *a, const void *b) {
    return order(mapped_number(*static_cast<const ip_af_addr *>(a)),
                 mapped_number(*static_cast<const ip_af_addr *>(b)));
};

inline constexpr auto order_family_and_address = [](const void *a, const void *b) {
    const auto &x = *static_cast<const ip_af_addr *>(a), &y = *static_cast<const ip_af_addr *>(b);
    if (x.family != y.family) return order(x.family, y.family);
    const int zero = order(load_be<uint16_t>(x.zero), load_be<uint16_t>(y.zero));
    return zero ? zero : order_ipv6(x.addr, y.addr);
};

}  // namespace quill
