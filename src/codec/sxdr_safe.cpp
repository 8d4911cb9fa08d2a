#include <quill/sxdr_safe.h>

#include <quill/types.h>

#include <errno.h>

#include <span>

#include "base/memory.h"
#include "codec/element.h"

using namespace quill::element;

// The order of the checks decides which errno a doubly bad call reports: null pointers, then what the caller's sizes
// leave; fixed kinds look at the destination's capacity before the tag, kinds with a length after it.

namespace {

int fail(int error) {
    errno = error;
    return -1;
}

constexpr uint32_t kLongest = INT32_MAX;  // what an int result can say

uint32_t offset_of(const uint32_t *cursor) { return cursor ? *cursor : 0; }

int advance(uint32_t *cursor, uint32_t element_size, uint32_t result) {
    if (cursor) *cursor += element_size;
    return static_cast<int>(result);
}

// The message from the offset to its end: empty when the offset lies behind it.
template <typename Byte, typename Void>
std::span<Byte> rest(Void *message, uint32_t size, uint32_t offset) {
    if (offset >= size) return {};
    return {static_cast<Byte *>(message) + offset, size - offset};
}

template <typename Element>
constexpr uint32_t kWidth = sizeof(typename Element::Value);

template <typename Element>
int write(const void *source, uint32_t source_size, void *message, uint32_t message_size, uint32_t *cursor) {
    if (!message || !source) return fail(EINVAL);
    if (source_size < kWidth<Element>) return fail(ENODATA);
    const auto room = rest<uint8_t>(message, message_size, offset_of(cursor));
    if (room.size() < Element::kSize) return fail(EOVERFLOW);
    put_from<Element>(room.data(), source);
    return advance(cursor, Element::kSize, kWidth<Element>);
}

template <typename Element>
int read(const void *message, uint32_t message_length, uint32_t *cursor, void *out, uint32_t capacity) {
    if (!message || !out) return fail(EINVAL);
    const auto left = rest<const uint8_t>(message, message_length, offset_of(cursor));
    if (left.size() < Element::kSize) return fail(ENODATA);
    if (capacity < kWidth<Element>) return fail(EOVERFLOW);
    if (!Element::matches(left.data())) return fail(EBADMSG);
    get_into<Element>(out, left.data());
    return advance(cursor, Element::kSize, kWidth<Element>);
}

template <typename Element>
constexpr bool kLong = sizeof(typename Element::Length) == 4;

template <typename Element>
int write_sized(const void *source, uint32_t length, void *message, uint32_t message_size, uint32_t *cursor) {
    if (!message || !source) return fail(EINVAL);
    if (!kLong<Element> && length > UINT16_MAX) return fail(EINVAL);
    if (kLong<Element> && length == 0) return fail(ENODATA);
    const auto room = rest<uint8_t>(message, message_size, offset_of(cursor));
    if (room.size() < Element::kHeader || length > room.size() - Element::kHeader) return fail(EOVERFLOW);
    if (length > kLongest) return fail(EOVERFLOW);
    Element::put(room.data(), source, static_cast<typename Element::Length>(length));
    return advance(cursor, Element::kHeader + length, length);
}

// The length of the element at the front, which is complete; or -1.
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
    const auto left = rest<const uint8_t>(message, message_length, offset_of(cursor));
    const int found = probe<Element>(left);
    if (found < 0) return -1;
    const auto length = static_cast<uint32_t>(found);
    if (capacity < length + (Element::kText ? 1 : 0)) return fail(EOVERFLOW);
    Element::get(left.data(), out, length);
    return advance(cursor, Element::kHeader + length, length);
}

}  // namespace

// One line for each kind that has a checked writer and reader: the name in sxdr_…_safe, the type of its pointers, and
// the function templates and element behind them.
#define QUILL_CHECKED(name, type, writer, reader, Element)                                                       \
    int sxdr_write_##name##_safe(const type *source, uint32_t source_size, void *message, uint32_t message_size, \
                                 uint32_t *cursor) {                                                             \
        return writer<Element>(source, source_size, message, message_size, cursor);                              \
    }                                                                                                            \
    int sxdr_read_##name##_safe(const void *message, uint32_t message_length, uint32_t *cursor, type *out,       \
                                uint32_t capacity) {                                                             \
        return reader<Element>(message, message_length, cursor, out, capacity);                                  \
    }

QUILL_CHECKED(u8, uint8_t, write, read, U8)
QUILL_CHECKED(u16, uint16_t, write, read, U16)
QUILL_CHECKED(u32, uint32_t, write, read, U32)
QUILL_CHECKED(u64, uint64_t, write, read, U64)
QUILL_CHECKED(ip, uint32_t, write, read, Ip)
QUILL_CHECKED(ipv6, void, write, read, Ipv6)
QUILL_CHECKED(ip_af, ip_af_addr, write, read, IpAf)
QUILL_CHECKED(mac, void, write, read, Mac)
QUILL_CHECKED(bool, uint8_t, write, read, Bool)
QUILL_CHECKED(s32, int32_t, write, read, S32)
QUILL_CHECKED(str, char, write_sized, read_sized, Str)
QUILL_CHECKED(hex, void, write_sized, read_sized, Hex)
QUILL_CHECKED(long_str, char, write_sized, read_sized, LongStr)
QUILL_CHECKED(long_hex, void, write_sized, read_sized, LongHex)

int sxdr_read_str_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<Str>(message, message_length, offset);
}

int sxdr_read_long_str_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<LongStr>(message, message_length, offset);
}

int sxdr_read_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<Hex>(message, message_length, offset);
}

int sxdr_read_long_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset) {
    return probe<LongHex>(message, message_length, offset);
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
