// Numbers of either byte order at unaligned addresses: big-endian is what stands on the wire, and what addresses are
// hashed as; little-endian is what some standards ask for.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

namespace quill {

// Swaps on little-endian hosts and does nothing on big-endian ones; it is its own inverse.
constexpr uint8_t big_endian(uint8_t v) { return v; }
constexpr uint16_t big_endian(uint16_t v) { return std::endian::native == std::endian::big ? v : __builtin_bswap16(v); }
constexpr uint32_t big_endian(uint32_t v) { return std::endian::native == std::endian::big ? v : __builtin_bswap32(v); }
constexpr uint64_t big_endian(uint64_t v) { return std::endian::native == std::endian::big ? v : __builtin_bswap64(v); }

constexpr uint32_t little_endian(uint32_t v) {
    return std::endian::native == std::endian::little ? v : __builtin_bswap32(v);
}

template <typename T>
T load_be(const void *from) {
    T v;
    memcpy(&v, from, sizeof v);
    return big_endian(v);
}

template <typename T>
void store_be(void *to, T v) {
    v = big_endian(v);
    memcpy(to, &v, sizeof v);
}

template <typename T>
T load_le(const void *from) {
    T v;
    memcpy(&v, from, sizeof v);
    return little_endian(v);
}

template <typename T>
void store_le(void *to, T v) {
    v = little_endian(v);
    memcpy(to, &v, sizeof v);
}

}  // namespace quill
