#include <quill/sxdr.h>

#include <quill/types.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "codec/element.h"

namespace element = quill::element;

namespace {

const uint8_t *bytes(const void *p) { return static_cast<const uint8_t *>(p); }
uint8_t *bytes(void *p) { return static_cast<uint8_t *>(p); }

template <typename Element>
uint32_t write(const void *value, void *buffer) {
    Element::put(bytes(buffer), value);
    return Element::kSize;
}

template <typename Element>
uint32_t write_sized(const void *content, typename Element::Length length, void *buffer) {
    Element::put(bytes(buffer), content, length);
    return Element::kHeader + length;
}

uint32_t length_of(const char *text) { return static_cast<uint32_t>(strlen(text)); }

// By design, a length field of 16 bits contains only the low 16 bits of a longer length.
uint16_t low_16_bits(uint32_t length) { return static_cast<uint16_t>(length); }

// If the element is of another kind, sets the first kZeroed bytes of out to zero.
template <typename Element, uint32_t kZeroed = Element::kWidth>
uint32_t read(void *out, const void *source) {
    if (!Element::matches(bytes(source))) {
        memset(out, 0, kZeroed);
        return 0;
    }
    Element::get(bytes(source), out);
    return Element::kSize;
}

template <typename Element>
uint32_t read_text(char *out, const void *source) {
    *out = '\0';
    if (!Element::matches(bytes(source))) return 0;
    const uint32_t length = Element::length(bytes(source));
    Element::get(bytes(source), out, length);
    return Element::kHeader + length;
}

template <typename Element>
uint32_t read_new_buffer(uint8_t **out, const void *source) {
    if (!Element::matches(bytes(source))) return 0;
    const uint32_t length = Element::length(bytes(source));
    if (length == 0) return Element::kHeader;
    void *buffer = malloc(length);
    if (!buffer) return 0;
    Element::get(bytes(source), buffer, length);
    *out = bytes(buffer);
    return Element::kHeader + length;
}

// Reads an element of a message that may be damaged. `source` is the element itself, which starts offset bytes into the
// message. Returns 0 if the element is incomplete, is of another kind, or has more than room bytes of content.
template <typename Element>
uint32_t read_within(void *out, uint32_t room, const void *source, uint32_t offset, uint32_t message_length) {
    if (offset > message_length || message_length - offset < Element::kHeader) return 0;
    if (!Element::matches(bytes(source))) return 0;
    const uint32_t length = Element::length(bytes(source));
    if (length > room || length > message_length - offset - Element::kHeader) return 0;
    Element::get(bytes(source), out, length);
    return Element::kHeader + length;
}

template <typename Element>
uint32_t size_or(uint32_t other, const void *source) {
    return Element::matches(bytes(source)) ? Element::length(bytes(source)) : other;
}

}  // namespace

// --- writers

uint32_t sxdr_write_u8(uint8_t value, void *buffer) { return write<element::U8>(&value, buffer); }
uint32_t sxdr_write_u16(uint16_t value, void *buffer) { return write<element::U16>(&value, buffer); }
uint32_t sxdr_write_u32(uint32_t value, void *buffer) { return write<element::U32>(&value, buffer); }
uint32_t sxdr_write_u64(uint64_t value, void *buffer) { return write<element::U64>(&value, buffer); }
uint32_t sxdr_write_ip(uint32_t value, void *buffer) { return write<element::Ip>(&value, buffer); }
uint32_t sxdr_write_ipv6(const void *value, void *buffer) { return write<element::Ipv6>(value, buffer); }
uint32_t sxdr_write_ip_af(const ip_af_addr *value, void *buffer) { return write<element::IpAf>(value, buffer); }
uint32_t sxdr_write_mac(const void *value, void *buffer) { return write<element::Mac>(value, buffer); }
uint32_t sxdr_write_bool(int value, void *buffer) {
    const uint8_t truth = value != 0;
    return write<element::Bool>(&truth, buffer);
}
uint32_t sxdr_write_s32(int32_t value, void *buffer) { return write<element::S32>(&value, buffer); }

uint32_t sxdr_write_str(const char *text, void *buffer) {
    return write_sized<element::Str>(text, low_16_bits(length_of(text)), buffer);
}

uint32_t sxdr_write_str2(const char *text, void *buffer, uint32_t maximum) {
    return write_sized<element::Str>(text, low_16_bits(std::min<uint32_t>(low_16_bits(length_of(text)), maximum)),
                                     buffer);
}

uint32_t sxdr_write_str3(const char *text, void *buffer) {
    return write_sized<element::LongStr>(text, length_of(text), buffer);
}

uint32_t sxdr_write_hex(const void *data, uint32_t length, void *buffer) {
    return write_sized<element::Hex>(data, low_16_bits(length), buffer);
}

uint32_t sxdr_write_hex32(const void *data, uint32_t length, void *buffer) {
    return write_sized<element::Hex32>(data, length, buffer);
}

uint32_t sxdr_write_hex_len32(uint32_t length, void *buffer) {
    element::LongHex::put_header(bytes(buffer), length);
    return element::LongHex::kHeader;
}

// --- readers

uint32_t sxdr_read_u8(uint8_t *out, const void *source) { return read<element::U8>(out, source); }
uint32_t sxdr_read_u16(uint16_t *out, const void *source) { return read<element::U16>(out, source); }
uint32_t sxdr_read_u32(uint32_t *out, const void *source) { return read<element::U32>(out, source); }
uint32_t sxdr_read_u64(uint64_t *out, const void *source) { return read<element::U64>(out, source); }
uint32_t sxdr_read_ip(uint32_t *out, const void *source) { return read<element::Ip>(out, source); }
// A failed read clears only the first word. Compatibility: the other twelve bytes keep what the caller put there.
uint32_t sxdr_read_ipv6(void *out, const void *source) { return read<element::Ipv6, 4>(out, source); }
uint32_t sxdr_read_ip_af(ip_af_addr *out, const void *source) { return read<element::IpAf>(out, source); }
uint32_t sxdr_read_mac(void *out, const void *source) { return read<element::Mac>(out, source); }
uint32_t sxdr_read_bool(uint8_t *out, const void *source) { return read<element::Bool>(out, source); }
uint32_t sxdr_read_s32(int32_t *out, const void *source) { return read<element::S32>(out, source); }

uint32_t sxdr_read_str(char *out, const void *source) { return read_text<element::Str>(out, source); }
uint32_t sxdr_read_str3(char *out, const void *source) { return read_text<element::LongStr>(out, source); }

uint32_t sxdr_read_str2(char *out, const void *source, uint32_t capacity) {
    *out = '\0';
    if (!element::Str::matches(bytes(source))) return 0;
    uint32_t length = element::Str::length(bytes(source));
    if (capacity < length) length = capacity > 0 ? capacity - 1 : 0;
    element::Str::get(bytes(source), out, length);
    // If the text was cut, this is not the element's size: callers that continue reading get the size first.
    return element::Str::kHeader + length;
}

uint32_t sxdr_read_str_new(char *out, uint32_t capacity, const void *source, uint32_t offset, uint32_t message_length) {
    if (capacity == 0) return 0;
    *out = '\0';
    return read_within<element::Str>(out, capacity - 1, source, offset, message_length);
}

uint32_t sxdr_read_hex(uint8_t **out, const void *source) { return read_new_buffer<element::Hex>(out, source); }
uint32_t sxdr_read_hex32(uint8_t **out, const void *source) { return read_new_buffer<element::Hex32>(out, source); }

uint32_t sxdr_read_hex2(void *out, uint32_t capacity, uint32_t *length_out, const void *source) {
    if (!element::Hex::matches(bytes(source))) return 0;
    const uint32_t length = element::Hex::length(bytes(source));
    if (length <= capacity) {
        element::Hex::get(bytes(source), out, length);
        if (length < capacity) bytes(out)[length] = 0;
        *length_out = length;
    }
    return element::Hex::kHeader + length;
}

uint32_t sxdr_read_hex2_len32(uint32_t *length, const void *source) {
    if (!element::LongHex::matches(bytes(source))) return 0;
    *length = element::LongHex::length(bytes(source));
    return element::LongHex::kHeader;
}

uint32_t sxdr_read_hex_new(void *out, uint32_t capacity, const void *source, uint32_t offset, uint32_t message_length) {
    if (!out || !source) return 0;
    memset(out, 0, capacity);
    return read_within<element::Hex>(out, capacity, source, offset, message_length);
}

// --- lengths of elements before they are read

uint32_t sxdr_read_str_size(const void *source) { return size_or<element::Str>(UINT32_MAX, source); }
uint32_t sxdr_read_hex_size(const void *source) { return size_or<element::Hex>(0, source); }
uint32_t sxdr_read_hex32_size(const void *source) { return size_or<element::Hex32>(0, source); }

// --- sizes of elements before they are written

uint32_t sxdr_size_u8(void) { return element::U8::kSize; }
uint32_t sxdr_size_u16(void) { return element::U16::kSize; }
uint32_t sxdr_size_u32(void) { return element::U32::kSize; }
uint32_t sxdr_size_u64(void) { return element::U64::kSize; }
uint32_t sxdr_size_ip(void) { return element::Ip::kSize; }
uint32_t sxdr_size_ipv6(void) { return element::Ipv6::kSize; }
uint32_t sxdr_size_ip_af(void) { return element::IpAf::kSize; }
uint32_t sxdr_size_mac(void) { return element::Mac::kSize; }
uint32_t sxdr_size_bool(int) { return element::Bool::kSize; }
uint32_t sxdr_size_s32(void) { return element::S32::kSize; }
uint32_t sxdr_size_str(const char *text) { return element::Str::kHeader + length_of(text); }
uint32_t sxdr_size_hex(const void *, uint32_t length) { return element::Hex::kHeader + length; }
