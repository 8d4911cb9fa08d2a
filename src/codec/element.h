// The element kinds of the tagged value codec. The unchecked functions (sxdr.cpp) and the checked ones (sxdr_safe.cpp)
// share these classes. The two files themselves handle what differs: room, cursors and errors.
#pragma once

#include <quill/types.h>
#include <stddef.h>
#include <string.h>

#include <type_traits>

#include "base/endian.h"
#include "codec/copy.h"

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
//     kWidth             bytes of the value that a program holds, at any alignment
//     kSize              bytes of the element, tag included
//     matches(at)        whether `at` points at an element of this kind; compares the tags from left to right
//     put(at, value)     writes the element
//     get(at, out)       stores the value of an element that matches

template <Tag kTag, typename Number>
struct NumberElement {
    static constexpr uint32_t kWidth = sizeof(Number);
    static constexpr uint32_t kSize = 1 + kWidth;

    static void put(uint8_t *at, const void *value) {
        Number number;
        memcpy(&number, value, sizeof number);
        put_tag(at, kTag);
        store_be(at + 1, number);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static void get(const uint8_t *at, void *out) {
        const auto number = load_be<Number>(at + 1);
        memcpy(out, &number, sizeof number);
    }
};

// A value of 4 to 16 bytes that is sent in its memory layout. The value may overlap the element. It is copied as two
// words, because an array on the stack would cost a stack guard.
template <Tag kTag, uint32_t kBytes>
struct BytesElement {
    static_assert(kBytes >= 4 && kBytes <= 16);
    using Word = std::conditional_t<kBytes >= 8, uint64_t, uint32_t>;
    static constexpr uint32_t kWidth = kBytes;
    static constexpr uint32_t kSize = 1 + kWidth;

    static void put(uint8_t *at, const void *value) {
        copy_ends<Word>(at + 1, value, kBytes);
        put_tag(at, kTag);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static void get(const uint8_t *at, void *out) { copy_ends<Word>(out, at + 1, kBytes); }
};

using U8 = NumberElement<Tag::u8, uint8_t>;
using U16 = NumberElement<Tag::u16, uint16_t>;
using U32 = NumberElement<Tag::u32, uint32_t>;
using U64 = NumberElement<Tag::u64, uint64_t>;
using Ip = BytesElement<Tag::ip, 4>;
using Ipv6 = BytesElement<Tag::ipv6, 16>;
using Mac = BytesElement<Tag::mac, 6>;

// The structure as it is in memory, except for the family's byte order.
struct IpAf {
    static constexpr uint32_t kWidth = sizeof(ip_af_addr);
    static constexpr uint32_t kSize = 1 + kWidth;

    static void put(uint8_t *at, const void *value) {
        put_tag(at, Tag::ip_af);
        swap_family(at + 1, value);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, Tag::ip_af); }
    static void get(const uint8_t *at, void *out) { swap_family(out, at + 1); }

private:
    static void swap_family(void *to, const void *from) {
        ip_af_addr address;
        memcpy(&address, from, sizeof address);
        address.family = big_endian(address.family);
        memcpy(to, &address, sizeof address);
    }
};

// Contains a u8 element. put() sends the byte as it is; only 1 reads as true.
struct Bool {
    static constexpr uint32_t kWidth = U8::kWidth;
    static constexpr uint32_t kSize = 1 + U8::kSize;

    static void put(uint8_t *at, const void *value) {
        put_tag(at, Tag::boolean);
        U8::put(at + 1, value);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, Tag::boolean) && U8::matches(at + 1); }
    static void get(const uint8_t *at, void *out) {
        uint8_t byte;
        U8::get(at + 1, &byte);
        *static_cast<uint8_t *>(out) = byte == 1;
    }
};

// Contains a bool element (1: negative) and a u32 element (the magnitude). Negation is that of two's complement, so
// INT32_MIN, whose magnitude does not fit an int32_t, is also sent correctly.
struct S32 {
    static constexpr uint32_t kMagnitude = 1 + Bool::kSize;
    static constexpr uint32_t kWidth = U32::kWidth;
    static constexpr uint32_t kSize = kMagnitude + U32::kSize;

    static void put(uint8_t *at, const void *value) {
        int32_t number;
        memcpy(&number, value, sizeof number);
        const uint8_t negative = number < 0;
        const uint32_t magnitude = negate_if(negative, static_cast<uint32_t>(number));
        put_tag(at, Tag::s32);
        Bool::put(at + 1, &negative);
        U32::put(at + kMagnitude, &magnitude);
    }
    static bool matches(const uint8_t *at) {
        return has_tag(at, Tag::s32) && Bool::matches(at + 1) && U32::matches(at + kMagnitude);
    }
    static void get(const uint8_t *at, void *out) {
        uint8_t negative;
        uint32_t magnitude;
        Bool::get(at + 1, &negative);
        U32::get(at + kMagnitude, &magnitude);
        const uint32_t number = negate_if(negative, magnitude);
        memcpy(out, &number, sizeof number);
    }

private:
    static uint32_t negate_if(bool negative, uint32_t number) { return negative ? 0u - number : number; }
};

// --- Kinds with a length: the tag, the length, then as many bytes.

enum class Content { text, data };  // a text gets a NUL when it is read

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
        copy_bytes(at + kHeader, bytes, length);  // first, because the header may overwrite bytes in the same buffer
        put_header(at, length);
    }
    static bool matches(const uint8_t *at) { return has_tag(at, kTag); }
    static Length length(const uint8_t *at) { return load_be<Length>(at + 1); }

    // Copies the first `length` bytes of the content to out.
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
