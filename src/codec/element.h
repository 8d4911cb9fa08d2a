// The element kinds of the tagged value codec: one description, in the order of the bytes, for the unchecked functions
// (sxdr.cpp) and the checked ones (sxdr_safe.cpp). What differs between the two, room, cursors and errors, is theirs.
#pragma once

#include <quill/types.h>
#include <stddef.h>
#include <string.h>

#include <array>

#include "base/copy.h"
#include "base/endian.h"

namespace quill::element {

enum class Tag : uint8_t {
    str = 0,
    mac = 1,
    u8 = 2,
    u16 = 3,
    u32 = 4,
    ip = 5,
    s32 = 6,
    boolean = 7,
    hex = 8,
    u64 = 9,
    ipv6 = 10,
    ip_af = 11,
    long_str = 12,
    long_hex = 13,
    hex32 = 14,
};

inline void put_tag(uint8_t *at, Tag tag) { *at = static_cast<uint8_t>(tag); }
inline bool has_tag(const uint8_t *at, Tag tag) { return *at == static_cast<uint8_t>(tag); }

// --- Fixed kinds. Each has
//
//     Value                      what a program holds
//     kSize                      bytes of the element, tag included
//     matches(at)                whether the tags of such an element stand there, looked at from left to right
//     put(at, value)             writes the element
//     get(at)                    the value of an element that matches
//
// or, instead of the last two, put_from() and get_into(), which the functions of these names below make for the others.

template <Tag kTag, typename Number>
struct NumberElement {
    using Value = Number;
    static constexpr uint32_t kSize = 1 + sizeof(Number);

    static void put(uint8_t *at, Number value) {
        put_tag(at, kTag);
        store_be(at + 1, value);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static Number get(const uint8_t *at) { return load_be<Number>(at + 1); }
};

// What travels as it stands in memory.
template <Tag kTag, typename Bytes>
struct BytesElement {
    using Value = Bytes;
    static constexpr uint32_t kSize = 1 + sizeof(Bytes);

    static void put(uint8_t *at, const Bytes &value) {
        put_tag(at, kTag);
        memcpy(at + 1, &value, sizeof value);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static Bytes get(const uint8_t *at) {
        Bytes value;
        memcpy(&value, at + 1, sizeof value);
        return value;
    }
};

// The same for arrays, which go from one place to the other without a value between.
template <Tag kTag, size_t kBytes>
struct ArrayElement {
    using Value = std::array<uint8_t, kBytes>;
    static constexpr uint32_t kSize = 1 + kBytes;

    static void put_from(uint8_t *at, const void *array) {
        copy_fixed<kBytes>(at + 1, array);
        put_tag(at, kTag);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static void get_into(void *array, const uint8_t *at) { copy_fixed<kBytes>(array, at + 1); }
};

using U8 = NumberElement<Tag::u8, uint8_t>;
using U16 = NumberElement<Tag::u16, uint16_t>;
using U32 = NumberElement<Tag::u32, uint32_t>;
using U64 = NumberElement<Tag::u64, uint64_t>;
using Ip = BytesElement<Tag::ip, uint32_t>;
using Ipv6 = ArrayElement<Tag::ipv6, 16>;
using Mac = ArrayElement<Tag::mac, 6>;

struct IpAf : BytesElement<Tag::ip_af, ip_af_addr> {
    static void put(uint8_t *at, ip_af_addr value) {
        value.family = big_endian(value.family);
        BytesElement::put(at, value);
    }
    static ip_af_addr get(const uint8_t *at) {
        ip_af_addr value = BytesElement::get(at);
        value.family = big_endian(value.family);
        return value;
    }
};

// A u8 element inside. put() sends the byte as it is; only 1 reads as true.
struct Bool {
    using Value = uint8_t;
    static constexpr uint32_t kSize = 1 + U8::kSize;

    static void put(uint8_t *at, uint8_t value) {
        put_tag(at, Tag::boolean);
        U8::put(at + 1, value);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, Tag::boolean) && U8::matches(at + 1); }
    static uint8_t get(const uint8_t *at) { return U8::get(at + 1) == 1; }
};

// A bool element (1: negative) and a u32 element (the magnitude) inside. Negation is that of two's complement, so the
// most negative number, whose magnitude no int32_t holds, comes through.
struct S32 {
    using Value = int32_t;
    static constexpr uint32_t kMagnitude = 1 + Bool::kSize;
    static constexpr uint32_t kSize = kMagnitude + U32::kSize;

    static void put(uint8_t *at, int32_t value) {
        const bool negative = value < 0;
        put_tag(at, Tag::s32);
        Bool::put(at + 1, negative);
        U32::put(at + kMagnitude, negate_if(negative, static_cast<uint32_t>(value)));
    }
    static bool matches(const uint8_t *at) {
        return has_tag(at, Tag::s32) && Bool::matches(at + 1) && U32::matches(at + kMagnitude);
    }
    static int32_t get(const uint8_t *at) {
        return static_cast<int32_t>(negate_if(Bool::get(at + 1), U32::get(at + kMagnitude)));
    }

private:
    static uint32_t negate_if(bool negative, uint32_t number) { return negative ? 0u - number : number; }
};

// Writes the element of the value in memory at source, of any alignment.
template <typename Element>
void put_from(uint8_t *at, const void *source) {
    if constexpr (requires { Element::put_from(at, source); }) {
        Element::put_from(at, source);
    } else {
        typename Element::Value value;
        memcpy(&value, source, sizeof value);
        Element::put(at, value);
    }
}

// Stores the value of an element that matches, at any alignment.
template <typename Element>
void get_into(void *out, const uint8_t *at) {
    if constexpr (requires { Element::get_into(out, at); }) {
        Element::get_into(out, at);
    } else {
        const typename Element::Value value = Element::get(at);
        memcpy(out, &value, sizeof value);
    }
}

// --- Kinds with a length: the tag, the length, then as many bytes.

enum class Content { text, data };  // a text gets a NUL behind it when it is read

template <Tag kTag, typename LengthType, Content kKind>
struct SizedElement {
    using Length = LengthType;
    static constexpr uint32_t kHeader = 1 + sizeof(Length);
    static constexpr bool kText = kKind == Content::text;

    static void put_header(uint8_t *at, Length length) {
        put_tag(at, kTag);
        store_be(at + 1, length);
    }
    static void put(uint8_t *at, const void *bytes, Length length) {
        copy_bytes(at + kHeader, bytes, length);  // first: the bytes may stand in this very buffer
        put_header(at, length);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static Length length(const uint8_t *at) { return load_be<Length>(at + 1); }

    // Delivers the first length bytes of the content.
    static void get(const uint8_t *at, void *out, uint32_t length) {
        copy_bytes(out, at + kHeader, length);
        if (kText) static_cast<uint8_t *>(out)[length] = 0;
    }
};

using Str = SizedElement<Tag::str, uint16_t, Content::text>;
using Hex = SizedElement<Tag::hex, uint16_t, Content::data>;
using LongStr = SizedElement<Tag::long_str, uint32_t, Content::text>;
using LongHex = SizedElement<Tag::long_hex, uint32_t, Content::data>;
using Hex32 = SizedElement<Tag::hex32, uint32_t, Content::data>;

}  // namespace quill::element
