#include <quill/sxdr_safe.h>

#include <quill/types.h>

#include <errno.h>

#include <span>

#include "base/memory.h"
#include "codec/element.h"

namespace element = quill::element;

// The order of the checks decides which errno a call with two faults reports. Null pointers come first, then the room
// that the caller's sizes leave. Reads of fixed kinds check the destination's capacity before the tag. Reads of kinds
// with a length check the capacity after the tag.

namespace {

int fail(int error) {
    errno = error;
    return -1;
}

constexpr uint32_t kLongest = INT32_MAX;  // the largest int result

uint32_t position_of(const uint32_t *cursor) { return cursor ? *cursor : 0; }

int advance(uint32_t *cursor, uint32_t element_size, uint32_t result) {
    if (cursor) *cursor += element_size;
    return static_cast<int>(result);
}

// The part of the message from the offset on; empty if the offset is past the end.
template <typename Byte, typename Void>
std::span<Byte> rest(Void *message, uint32_t size, uint32_t offset) {
    if (offset >= size) return {};
    return {static_cast<Byte *>(message) + offset, size - offset};
}

template <typename Element>
int write(const void *source, uint32_t source_size, void *message, uint32_t message_size, uint32_t *cursor) {
    if (!message || !source) return fail(EINVAL);
    if (source_size < Element::kWidth) return fail(ENODATA);
    const auto room = rest<uint8_t>(message, message_size, position_of(cursor));
    if (room.size() < Element::kSize) return fail(EOVERFLOW);
    Element::put(room.data(), source);
    return advance(cursor, Element::kSize, Element::kWidth);
}

template <typename Element>
int read(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    if (!message || !out) return fail(EINVAL);
    const auto left = rest<const uint8_t>(message, message_length, position_of(cursor));
    if (left.size() < Element::kSize) return fail(ENODATA);
    if (capacity < Element::kWidth) return fail(EOVERFLOW);
    if (!Element::matches(left.data())) return fail(EBADMSG);
    Element::get(left.data(), out);
    return advance(cursor, Element::kSize, Element::kWidth);
}

template <typename Element>
constexpr bool kLong = sizeof(typename Element::Length) == 4;

template <typename Element>
int write_sized(const void *source, uint32_t length, void *message, uint32_t message_size, uint32_t *cursor) {
    if (!message || !source) return fail(EINVAL);
    if (!kLong<Element> && length > UINT16_MAX) return fail(EINVAL);
    if (kLong<Element> && length == 0) return fail(ENODATA);
    const auto room = rest<uint8_t>(message, message_size, position_of(cursor));
    if (room.size() < Element::kHeader || length > room.size() - Element::kHeader) return fail(EOVERFLOW);
    if (length > kLongest) return fail(EOVERFLOW);
    Element::put(room.data(), source, static_cast<typename Element::Length>(length));
    return advance(cursor, Element::kHeader + length, length);
}

// Returns the length of the element at the front if it is complete, otherwise -1.
template <typename Element>
int probe(std::span<const uint8_t> left) {
    if (left.size() < Element::kHeader) return fail(ENODATA);
    if (!Element::matches(left.data())) return fail(EBADMSG);
    const uint32_t length = Element::length(left.data());
    if (length > left.size() - Element::kHeader) return fail(EMSGSIZE);
    if (length > kLongest) return fail(EOVERFLOW);
    return static_cast<int>(length);
}

template <typename Element>
int probe(const void *message, uint32_t message_length, uint32_t offset) {
    if (!message) return fail(EINVAL);
    return probe<Element>(rest<const uint8_t>(message, message_length, offset));
}

template <typename Element>
int read_sized(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    if (!message || !out) return fail(EINVAL);
    const auto left = rest<const uint8_t>(message, message_length, position_of(cursor));
    const int found = probe<Element>(left);
    if (found < 0) return -1;
    const auto length = static_cast<uint32_t>(found);
    if (capacity < length + (Element::kText ? 1 : 0)) return fail(EOVERFLOW);
    Element::get(left.data(), out, length);
    return advance(cursor, Element::kHeader + length, length);
}

}  // namespace

// --- fixed kinds

int sxdr_write_u8_safe(const uint8_t *source, uint32_t source_size, void *message, uint32_t message_size,
                       uint32_t *cursor) {
    return write<element::U8>(source, source_size, message, message_size, cursor);
}

int sxdr_read_u8_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t *out, uint32_t capacity) {
    return read<element::U8>(message, message_length, cursor, out, capacity);
}

int sxdr_write_u16_safe(const uint16_t *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write<element::U16>(source, source_size, message, message_size, cursor);
}

int sxdr_read_u16_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint16_t *out,
                       uint32_t capacity) {
    return read<element::U16>(message, message_length, cursor, out, capacity);
}

int sxdr_write_u32_safe(const uint32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write<element::U32>(source, source_size, message, message_size, cursor);
}

int sxdr_read_u32_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint32_t *out,
                       uint32_t capacity) {
    return read<element::U32>(message, message_length, cursor, out, capacity);
}

int sxdr_write_u64_safe(const uint64_t *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write<element::U64>(source, source_size, message, message_size, cursor);
}

int sxdr_read_u64_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint64_t *out,
                       uint32_t capacity) {
    return read<element::U64>(message, message_length, cursor, out, capacity);
}

int sxdr_write_ip_safe(const uint32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                       uint32_t *cursor) {
    return write<element::Ip>(source, source_size, message, message_size, cursor);
}

int sxdr_read_ip_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint32_t *out,
                      uint32_t capacity) {
    return read<element::Ip>(message, message_length, cursor, out, capacity);
}

int sxdr_write_ipv6_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                         uint32_t *cursor) {
    return write<element::Ipv6>(source, source_size, message, message_size, cursor);
}

int sxdr_read_ipv6_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    return read<element::Ipv6>(message, message_length, cursor, out, capacity);
}

int sxdr_write_ip_af_safe(const ip_af_addr *source, uint32_t source_size, void *message, uint32_t message_size,
                          uint32_t *cursor) {
    return write<element::IpAf>(source, source_size, message, message_size, cursor);
}

int sxdr_read_ip_af_safe(const void *message, uint32_t message_length, uint32_t *cursor, ip_af_addr *out,
                         uint32_t capacity) {
    return read<element::IpAf>(message, message_length, cursor, out, capacity);
}

int sxdr_write_mac_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write<element::Mac>(source, source_size, message, message_size, cursor);
}

int sxdr_read_mac_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    return read<element::Mac>(message, message_length, cursor, out, capacity);
}

int sxdr_write_bool_safe(const uint8_t *source, uint32_t source_size, void *message, uint32_t message_size,
                         uint32_t *cursor) {
    return write<element::Bool>(source, source_size, message, message_size, cursor);
}

int sxdr_read_bool_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t *out,
                        uint32_t capacity) {
    return read<element::Bool>(message, message_length, cursor, out, capacity);
}

int sxdr_write_s32_safe(const int32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write<element::S32>(source, source_size, message, message_size, cursor);
}

int sxdr_read_s32_safe(const void *message, uint32_t message_length, uint32_t *cursor, int32_t *out,
                       uint32_t capacity) {
    return read<element::S32>(message, message_length, cursor, out, capacity);
}

// --- kinds with a length

int sxdr_write_str_safe(const char *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write_sized<element::Str>(source, source_size, message, message_size, cursor);
}

int sxdr_read_str_safe(const void *message, uint32_t message_length, uint32_t *cursor, char *out, uint32_t capacity) {
    return read_sized<element::Str>(message, message_length, cursor, out, capacity);
}

int sxdr_write_hex_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                        uint32_t *cursor) {
    return write_sized<element::Hex>(source, source_size, message, message_size, cursor);
}

int sxdr_read_hex_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    return read_sized<element::Hex>(message, message_length, cursor, out, capacity);
}

int sxdr_write_long_str_safe(const char *source, uint32_t source_size, void *message, uint32_t message_size,
                             uint32_t *cursor) {
    return write_sized<element::LongStr>(source, source_size, message, message_size, cursor);
}

int sxdr_read_long_str_safe(const void *message, uint32_t message_length, uint32_t *cursor, char *out,
                            uint32_t capacity) {
    return read_sized<element::LongStr>(message, message_length, cursor, out, capacity);
}

int sxdr_write_long_hex_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                             uint32_t *cursor) {
    return write_sized<element::LongHex>(source, source_size, message, message_size, cursor);
}

int sxdr_read_long_hex_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out,
                            uint32_t capacity) {
    return read_sized<element::LongHex>(message, message_length, cursor, out, capacity);
}

int sxdr_read_str_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<element::Str>(message, message_length, offset);
}

int sxdr_read_long_str_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<element::LongStr>(message, message_length, offset);
}

int sxdr_read_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<element::Hex>(message, message_length, offset);
}

int sxdr_read_long_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<element::LongHex>(message, message_length, offset);
}

int sxdr_read_hex_malloc_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t **out,
                              uint32_t *size) {
    if (!message || !cursor || !out || !size) return fail(EINVAL);
    const int length = sxdr_read_hex_size_safe(message, message_length, *cursor);
    if (length < 0) return -1;
    const auto capacity = static_cast<uint32_t>(length > 0 ? length : 1);
    auto buffer = quill::new_zeroed<uint8_t>(capacity);
    if (!buffer) return fail(ENOMEM);
    if (sxdr_read_hex_safe(message, message_length, cursor, buffer.get(), capacity) < 0) return -1;
    *out = buffer.release();
    *size = capacity;
    return length;
}
