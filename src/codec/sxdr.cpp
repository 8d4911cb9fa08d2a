#include <quill/sxdr.h>

#include <quill/types.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "codec/element.h"

using namespace quill::element;

namespace {

const uint8_t *bytes(const void *p) { return static_cast<const uint8_t *>(p); }
uint8_t *bytes(void *p) { return static_cast<uint8_t *>(p); }

template <typename Element>
uint32_t write(const typename Element::Value &value, void *buffer) {
    Element::put(bytes(buffer), value);
    return Element::kSize;
}

template <typename Element>
uint32_t write_from(const void *value, void *buffer) {
    put_from<Element>(bytes(buffer), value);
    return Element::kSize;
}

template <typename Element>
uint32_t write_sized(const void *content, typename Element::Length length, void *buffer) {
    Element::put(bytes(buffer), content, length);
    return Element::kHeader + length;
}

uint32_t length_of(const char *text) { return static_cast<uint32_t>(strlen(text)); }

// A length field of 16 bits sends the low 16 bits of a longer length, by design.
uint16_t low16(uint32_t length) { return static_cast<uint16_t>(length); }

// On another kind of element, zeroes the first kZeroed bytes of out.
template <typename Element, uint32_t kZeroed = sizeof(typename Element::Value)>
uint32_t read(void *out, const void *source) {
    if (!Element::matches(bytes(source))) {
        memset(out, 0, kZeroed);
        return 0;
    }
    get_into<Element>(out, bytes(source));
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

// Reads an element that may be damaged, offset bytes into a message, when its content is at most room bytes.
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

uint32_t sxdr_write_u8(uint8_t value, void *buffer) { return write<U8>(value, buffer); }
uint32_t sxdr_write_u16(uint16_t value, void *buffer) { return write<U16>(value, buffer); }
uint32_t sxdr_write_u32(uint32_t value, void *buffer) { return write<U32>(value, buffer); }
uint32_t sxdr_write_u64(uint64_t value, void *buffer) { return write<U64>(value, buffer); }
uint32_t sxdr_write_ip(uint32_t value, void *buffer) { return write<Ip>(value, buffer); }
uint32_t sxdr_write_ipv6(const void *value, void *buffer) { return write_from<Ipv6>(value, buffer); }
uint32_t sxdr_write_ip_af(const ip_af_addr *value, void *buffer) { return write_from<IpAf>(value, buffer); }
uint32_t sxdr_write_mac(const void *value, void *buffer) { return write_from<Mac>(value, buffer); }
uint32_t sxdr_write_bool(int value, void *buffer) { return write<Bool>(value != 0, buffer); }
uint32_t sxdr_write_s32(int32_t value, void *buffer) { return write<S32>(value, buffer); }

uint32_t sxdr_write_str(const char *text, void *buffer) {
    return write_sized<Str>(text, low16(length_of(text)), buffer);
}

uint32_t sxdr_write_str2(const char *text, void *buffer, uint32_t maximum) {
    return write_sized<Str>(text, low16(std::min<uint32_t>(low16(length_of(text)), maximum)), buffer);
}

uint32_t sxdr_write_str3(const char *text, void *buffer) { return write_sized<LongStr>(text, length_of(text), buffer); }

uint32_t sxdr_write_hex(const void *data, uint32_t length, void *buffer) {
    return write_sized<Hex>(data, low16(length), buffer);
}

uint32_t sxdr_write_hex32(const void *data, uint32_t length, void *buffer) {
    return write_sized<Hex32>(data, length, buffer);
}

uint32_t sxdr_write_hex_len32(uint32_t length, void *buffer) {
    LongHex::put_header(bytes(buffer), length);
    return LongHex::kHeader;
}

// --- readers

uint32_t sxdr_read_u8(uint8_t *out, const void *source) { return read<U8>(out, source); }
uint32_t sxdr_read_u16(uint16_t *out, const void *source) { return read<U16>(out, source); }
uint32_t sxdr_read_u32(uint32_t *out, const void *source) { return read<U32>(out, source); }
uint32_t sxdr_read_u64(uint64_t *out, const void *source) { return read<U64>(out, source); }
uint32_t sxdr_read_ip(uint32_t *out, const void *source) { return read<Ip>(out, source); }
// A failed read deliberately clears only the first word; the other twelve bytes keep what the caller put there.
uint32_t sxdr_read_ipv6(void *out, const void *source) { return read<Ipv6, 4>(out, source); }
uint32_t sxdr_read_ip_af(ip_af_addr *out, const void *source) { return read<IpAf>(out, source); }
uint32_t sxdr_read_mac(void *out, const void *source) { return read<Mac>(out, source); }
uint32_t sxdr_read_bool(uint8_t *out, const void *source) { return read<Bool>(out, source); }
uint32_t sxdr_read_s32(int32_t *out, const void *source) { return read<S32>(out, source); }

uint32_t sxdr_read_str(char *out, const void *source) { return read_text<Str>(out, source); }
uint32_t sxdr_read_str3(char *out, const void *source) { return read_text<LongStr>(out, source); }

uint32_t sxdr_read_str2(char *out, const void *source, uint32_t capacity) {
    *out = '\0';
    if (!Str::matches(bytes(source))) return 0;
    uint32_t length = Str::length(bytes(source));
    if (capacity < length) length = capacity > 0 ? capacity - 1 : 0;
    Str::get(bytes(source), out, length);
    // Not the element's size when the text was cut: callers that read on ask for the size first.
    return Str::kHeader + length;
}

uint32_t sxdr_read_str_new(char *out, uint32_t capacity, const void *source, uint32_t offset, uint32_t message_length) {
    if (capacity == 0) return 0;
    *out = '\0';
    return read_within<Str>(out, capacity - 1, source, offset, message_length);
}

uint32_t sxdr_read_hex(uint8_t **out, const void *source) { return read_new_buffer<Hex>(out, source); }
uint32_t sxdr_read_hex32(uint8_t **out, const void *source) { return read_new_buffer<Hex32>(out, source); }

uint32_t sxdr_read_hex2(void *out, uint32_t capacity, uint32_t *length_out, const void *source) {
    if (!Hex::matches(bytes(source))) return 0;
    const uint32_t length = Hex::length(bytes(source));
    if (length <= capacity) {
        Hex::get(bytes(source), out, length);
        if (length < capacity) bytes(out)[length] = 0;
        *length_out = length;
    }
    return Hex::kHeader + length;
}

uint32_t sxdr_read_hex2_len32(uint32_t *length, const void *source) {
    if (!LongHex::matches(bytes(source))) return 0;
    *length = LongHex::length(bytes(source));
    return LongHex::kHeader;
}

uint32_t sxdr_read_hex_new(void *out, uint32_t capacity, const void *source, uint32_t offset, uint32_t message_length) {
    if (!out || !source) return 0;
    memset(out, 0, capacity);
    return read_within<Hex>(out, capacity, source, offset, message_length);
}

// --- lengths of elements still to be read

uint32_t sxdr_read_str_size(const void *source) { return size_or<Str>(UINT32_MAX, source); }
uint32_t sxdr_read_hex_size(const void *source) { return size_or<Hex>(0, source); }
uint32_t sxdr_read_hex32_size(const void *source) { return size_or<Hex32>(0, source); }

// --- sizes of elements still to be written

uint32_t sxdr_size_u8(void) { return U8::kSize; }
uint32_t sxdr_size_u16(void) { return U16::kSize; }
uint32_t sxdr_size_u32(void) { return U32::kSize; }
uint32_t sxdr_size_u64(void) { return U64::kSize; }
uint32_t sxdr_size_ip(void) { return Ip::kSize; }
uint32_t sxdr_size_ipv6(void) { return Ipv6::kSize; }
uint32_t sxdr_size_ip_af(void) { return IpAf::kSize; }
uint32_t sxdr_size_mac(void) { return Mac::kSize; }
uint32_t sxdr_size_bool(int) { return Bool::kSize; }
uint32_t sxdr_size_s32(void) { return S32::kSize; }
uint32_t sxdr_size_str(const char *text) { return Str::kHeader + length_of(text); }
uint32_t sxdr_size_hex(const void *, uint32_t length) { return Hex::kHeader + length; }
