// Numbers of either byte order at unaligned addresses. Messages are big-endian, and so are addresses when they are
// hashed. Some standards require little-endian.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

namespace quill {

constexpr uint8_t swap_bytes(uint8_t v) { return v; }
constexpr uint16_t swap_bytes(uint16_t v) { return __builtin_bswap16(v); }
constexpr uint32_t swap_bytes(uint32_t v) { return __builtin_bswap32(v); }
constexpr uint64_t swap_bytes(uint64_t v) { return __builtin_bswap64(v); }

// Converts from the host's byte order to the given one, and back.
template <std::endian order, typename T>
constexpr T convert(T v) {
    return order == std::endian::native ? v : swap_bytes(v);
}
template <typename T>
constexpr T big_endian(T v) {
    return convert<std::endian::big>(v);
}

template <std::endian order, typename T>
T load(const void *from) {
    T v;
    memcpy(&v, from, sizeof v);
    return convert<order>(v);
}
template <std::endian order, typename T>
void store(void *to, T v) {
    v = convert<order>(v);
    memcpy(to, &v, sizeof v);
}

template <typename T>
T load_be(const void *from) {
    return load<std::endian::big, T>(from);
}
template <typename T>
void store_be(void *to, T v) {
    store<std::endian::big>(to, v);
}
template <typename T>
T load_le(const void *from) {
    return load<std::endian::little, T>(from);
}
template <typename T>
void store_le(void *to, T v) {
    store<std::endian::little>(to, v);
}

}  // namespace quill
