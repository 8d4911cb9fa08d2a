// A second description of the codec's kinds, independent of the library, and the expected results of its readers for
// any message. EXPECT is defined by the user: that of fuzz/fuzz.h, or gtest's ASSERT_TRUE.
#pragma once

#include <errno.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>
#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <span>
#include <vector>

#include "support/guard_page.h"

namespace quill::test {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUnused = 0xee;

enum Tag : uint8_t { kStr = 0, kS32 = 6, kBool = 7, kHex = 8, kLongStr = 12, kLongHex = 13 };

struct Kind {
    const char *name;
    Bytes value;                                   // a value of the kind, in memory
    Bytes element;                                 // the element of this value on the wire
    uint32_t number;                               // bytes of the value, from its start, that are in the host's order
    std::vector<std::pair<size_t, uint8_t>> tags;  // offset, tag
    std::function<int(const void *, uint32_t, void *, uint32_t, uint32_t *)> write;
    std::function<int(const void *, uint32_t, uint32_t *, void *, uint32_t)> read;
    std::function<uint32_t(void *, const void *)> plain;               // of a fixed kind
    int (*probe)(const void *, uint32_t, uint32_t) = nullptr;          // of a kind with a length
    bool text = false;                                                 // readers add a NUL
    uint32_t header = uint32_t(element.size() - value.size());         // bytes before the value
    uint32_t width = probe ? 0 : static_cast<uint32_t>(value.size());  // of a fixed kind

    Bytes stored(Bytes bytes) const {
        if (text) bytes.push_back(0);
        return bytes;
    }
};

template <typename T>
auto any(int (*write)(const T *, uint32_t, void *, uint32_t, uint32_t *)) {
    return [=](const void *source, uint32_t size, void *message, uint32_t room, uint32_t *at) {
        return write(static_cast<const T *>(source), size, message, room, at);
    };
}
template <typename T>
auto any(int (*read)(const void *, uint32_t, uint32_t *, T *, uint32_t)) {
    return [=](const void *message, uint32_t length, uint32_t *at, void *out, uint32_t capacity) {
        return read(message, length, at, static_cast<T *>(out), capacity);
    };
}
template <typename T>
auto any(uint32_t (*read)(T *, const void *)) {
    return [=](void *out, const void *source) { return read(static_cast<T *>(out), source); };
}

template <typename T>
Bytes memory_of(const T &value) {
    Bytes bytes(sizeof value);
    memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

#define CHECKED(name) any(sxdr_write_##name##_safe), any(sxdr_read_##name##_safe)
#define FIXED(name) CHECKED(name), any(sxdr_read_##name)
#define SIZED(name) CHECKED(name), nullptr, sxdr_read_##name##_size_safe

inline const std::vector<Kind> &kinds() {
    const ip_af_addr ip_af = {QUILL_AF_INET, {0, 0}, {10, 0, 0, 1}};
    static const std::vector<Kind> all = {
        {"u8", {0xab}, {2, 0xab}, 1, {{0, 2}}, FIXED(u8)},
        {"u16", memory_of(uint16_t{0x1234}), {3, 0x12, 0x34}, 2, {{0, 3}}, FIXED(u16)},
        {"u32", memory_of(0x12345678u), {4, 0x12, 0x34, 0x56, 0x78}, 4, {{0, 4}}, FIXED(u32)},
        {"u64", memory_of(uint64_t{0x0102030405060708}), {9, 1, 2, 3, 4, 5, 6, 7, 8}, 8, {{0, 9}}, FIXED(u64)},
        {"ip", {10, 0, 0, 1}, {5, 10, 0, 0, 1}, 0, {{0, 5}}, FIXED(ip)},
        {"ipv6", Bytes(16, 7), {10, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}, 0, {{0, 10}}, FIXED(ipv6)},
        {"ip_af",
         memory_of(ip_af),
         {11, 0, 2, 0, 0, 10, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
         2,
         {{0, 11}},
         FIXED(ip_af)},
        {"mac", {0, 0x1b, 0x63, 1, 2, 3}, {1, 0, 0x1b, 0x63, 1, 2, 3}, 0, {{0, 1}}, FIXED(mac)},
        {"bool", {1}, {7, 2, 1}, 0, {{0, kBool}, {1, 2}}, FIXED(bool)},
        {"s32", memory_of(INT32_MIN), {6, 7, 2, 1, 4, 0x80, 0, 0, 0}, 4, {{0, 6}, {1, 7}, {2, 2}, {4, 4}}, FIXED(s32)},
        {"str", {'a', 'b', 'c'}, {0, 0, 3, 'a', 'b', 'c'}, 0, {{0, kStr}}, SIZED(str), true},
        {"hex", {'a', 0, 'c'}, {8, 0, 3, 'a', 0, 'c'}, 0, {{0, kHex}}, SIZED(hex)},
        {"long_str", {'a', 'b'}, {12, 0, 0, 0, 2, 'a', 'b'}, 0, {{0, kLongStr}}, SIZED(long_str), true},
        {"long_hex", {'a', 0}, {13, 0, 0, 0, 2, 'a', 0}, 0, {{0, kLongHex}}, SIZED(long_hex)},
    };
    return all;
}

#undef CHECKED
#undef FIXED
#undef SIZED

inline uint32_t length_of(const Kind &kind, const uint8_t *element) {
    uint32_t length = kind.width;
    for (size_t i = 1; i < kind.header && kind.probe; i++) length = length << 8 | element[i];
    return length;
}

// Returns what a reader must report if that many bytes of the message are left: the errno, or 0 for success.
inline int error_of(const Kind &kind, const uint8_t *element, size_t left, uint32_t capacity) {
    if (left < kind.header + kind.width) return ENODATA;
    if (capacity < kind.width) return EOVERFLOW;
    for (const auto &[offset, tag] : kind.tags) {
        if (element[offset] != tag) return EBADMSG;
    }
    const uint64_t length = length_of(kind, element);
    if (length > left - kind.header) return EMSGSIZE;
    return capacity < length + kind.text ? EOVERFLOW : 0;
}

// Returns the bytes that a reader must store for an element that it accepts.
inline Bytes value_of(const Kind &kind, const uint8_t *element) {
    Bytes value(element + kind.header, element + kind.header + length_of(kind, element));
    if (std::endian::native == std::endian::little) std::reverse(value.begin(), value.begin() + kind.number);
    if (kind.element[0] == kBool) value[0] = value[0] == 1;
    if (kind.element[0] == kS32 && element[3] == 1) {
        uint32_t magnitude;
        memcpy(&magnitude, value.data(), 4);
        value = memory_of(0 - magnitude);
    }
    return kind.stored(value);
}

// An element within a message, and the model's results.
struct Place {
    const uint8_t *message;  // ends before a page that cannot be touched
    uint32_t message_length, at;
    const uint8_t *element;
    int error;          // the error of a reader with enough room
    uint32_t length;    // of the value; 0 if the value cannot be read
    Bytes value;        // as it is stored; nothing or an empty text if the element cannot be read
    uint32_t consumed;  // bytes of the element; 0 when it cannot be read

    size_t left() const { return static_cast<size_t>(message + message_length - element); }
};

inline Place place_of(const Kind &kind, std::span<const uint8_t> message, uint32_t at) {
    static GuardedPage page;
    const size_t before = std::min<size_t>(at, message.size());
    const uint8_t *const start = page.hold(message), *const element = start + before;
    const int error = error_of(kind, element, message.size() - before, UINT32_MAX);
    const auto whole = static_cast<uint32_t>(message.size());
    if (error) return {start, whole, at, element, error, 0, kind.stored({}), 0};
    const uint32_t length = length_of(kind, element);
    return {start, whole, at, element, 0, length, value_of(kind, element), kind.header + length};
}

// Returns whether a buffer starts with the given bytes, and all other bytes are `rest`.
inline bool holds(const uint8_t *out, uint32_t capacity, const Bytes &expected, uint8_t rest = kUnused) {
    return std::equal(expected.begin(), expected.end(), out) &&
           std::all_of(out + expected.size(), out + capacity, [=](uint8_t byte) { return byte == rest; });
}

inline void expect_checked_answer(const Kind &kind, const Place &p, uint32_t capacity) {
    static GuardedPage page;
    uint8_t *const out = page.room(capacity, kUnused);
    const int error = error_of(kind, p.element, p.left(), capacity);
    uint32_t cursor = p.at;
    errno = 0;
    EXPECT(kind.read(p.message, p.message_length, &cursor, out, capacity) == (error ? -1 : static_cast<int>(p.length)));
    EXPECT(errno == error);
    EXPECT(cursor == (error ? p.at : p.at + p.consumed));
    EXPECT(holds(out, capacity, error ? Bytes() : p.value));
    errno = 0;
    if (!kind.probe) return;
    EXPECT(kind.probe(p.message, p.message_length, p.at) == (p.error ? -1 : static_cast<int>(p.length)));
    EXPECT(errno == p.error);
}

inline void expect_same_on_the_way_back(const Kind &kind, const Place &p) {
    if (p.error || kind.element[0] == kBool || kind.element[0] == kS32) return;
    if (kind.header == 5 && p.length == 0) return;  // readers accept such an element, but writers never write it
    static GuardedPage source, page;
    const uint8_t *const value = source.hold(std::span(p.value).first(p.length));
    uint8_t *const written = page.room(p.consumed, kUnused);
    uint32_t end = 0;
    EXPECT(kind.write(value, p.length, written, p.consumed, &end) == static_cast<int>(p.length));
    EXPECT(end == p.consumed && memcmp(written, p.element, end) == 0);
    end = 0;
    EXPECT(kind.write(value, p.length, written, p.consumed - 1, &end) == -1 && errno == EOVERFLOW && end == 0);
}

inline void expect_texts(const Place &p, uint32_t capacity) {
    static GuardedPage page;
    const auto text = [](uint32_t size) { return reinterpret_cast<char *>(page.room(size, kUnused)); };
    const auto bytes = [](char *out) { return reinterpret_cast<uint8_t *>(out); };
    const bool fits = !p.error && p.length < capacity;
    char *out = text(capacity);
    EXPECT(sxdr_read_str_new(out, capacity, p.element, p.at, p.message_length) == (fits ? p.consumed : 0));
    EXPECT(capacity == 0 || holds(bytes(out), fits ? p.length + 1 : 1, fits ? p.value : Bytes{0}));
    if (p.error && p.error != EBADMSG) return;
    EXPECT(sxdr_read_str_size(p.element) == (p.error ? UINT32_MAX : p.length));
    for (const uint32_t room : {0u, p.length / 2, p.length, capacity}) {
        const uint32_t copied = p.length <= room ? p.length : std::max(room, 1u) - 1;
        Bytes expected(p.value.begin(), p.value.begin() + copied);
        expected.push_back(0);
        EXPECT(sxdr_read_str2(out = text(room + 1), p.element, room) == (p.error ? 0 : 3 + copied));
        EXPECT(holds(bytes(out), room + 1, expected));
    }
}

inline void expect_data(const Place &p, uint32_t capacity) {
    static GuardedPage page;
    uint8_t unchanged, *block = &unchanged, *out = page.room(capacity, kUnused);
    uint32_t length = 77, end = p.at;
    const bool fits = !p.error && p.length <= capacity;
    EXPECT(sxdr_read_hex_new(out, capacity, p.element, p.at, p.message_length) == (fits ? p.consumed : 0));
    EXPECT(holds(out, capacity, fits ? p.value : Bytes(), 0));
    errno = 0;
    EXPECT(sxdr_read_hex_malloc_safe(p.message, p.message_length, &end, &block, &length) ==
           (p.error ? -1 : static_cast<int>(p.length)));
    EXPECT(errno == p.error && end == p.at + p.consumed);
    EXPECT(p.error ? block == &unchanged && length == 77 : length == std::max(p.length, 1u));
    if (!p.error) {
        EXPECT(holds(block, length, p.value, 0));
        free(block);
        block = &unchanged;
    }
    if (p.error && p.error != EBADMSG) return;
    EXPECT(sxdr_read_hex_size(p.element) == p.length);
    EXPECT(sxdr_read_hex(&block, p.element) == p.consumed && (block == &unchanged) == (p.length == 0));
    if (block != &unchanged) {
        EXPECT(holds(block, p.length, p.value));
        free(block);
    }
    length = 77;
    EXPECT(sxdr_read_hex2(out = page.room(capacity, kUnused), capacity, &length, p.element) == p.consumed);
    EXPECT(length == (fits ? p.length : 77));
    Bytes expected = fits ? p.value : Bytes();
    if (fits && capacity > p.length) expected.push_back(0);
    EXPECT(holds(out, capacity, expected));
}

// Checks the readers without bounds checks, for complete elements. Readers of fixed kinds store 0 for another kind; for
// an IPv6 address they do so only in the first bytes.
inline void expect_unchecked_agrees(const Kind &kind, const Place &p) {
    static GuardedPage page;
    if (p.left() < kind.header + kind.width) return;
    if (kind.plain) {
        const bool cut = p.error && kind.width == 16;
        uint8_t *const out = page.room(kind.width, kUnused);
        EXPECT(kind.plain(out, p.element) == p.consumed);
        EXPECT(holds(out, kind.width, p.error ? Bytes(cut ? 4 : kind.width) : p.value));
    } else if (kind.text && (!p.error || p.error == EBADMSG)) {
        uint8_t *const out = page.room(p.length + 1, kUnused);
        const auto read = kind.element[0] == kStr ? sxdr_read_str : sxdr_read_str3;
        EXPECT(read(reinterpret_cast<char *>(out), p.element) == p.consumed && holds(out, p.length + 1, p.value));
    } else if (kind.element[0] == kLongHex) {  // this reader reads only the head
        uint32_t length = 77;
        EXPECT(sxdr_read_hex2_len32(&length, p.element) == (p.error == EBADMSG ? 0 : kind.header));
        EXPECT(length == (p.error == EBADMSG ? 77 : length_of(kind, p.element)));
    }
}

// Checks the results of all readers of a kind for the element at an offset, with a capacity for its value.
inline void expect_answers(const Kind &kind, std::span<const uint8_t> message, uint32_t at, uint32_t capacity) {
    const Place place = place_of(kind, message, at);
    expect_checked_answer(kind, place, capacity);
    expect_same_on_the_way_back(kind, place);
    expect_unchecked_agrees(kind, place);
    if (kind.element[0] == kStr) expect_texts(place, capacity);
    if (kind.element[0] == kHex) expect_data(place, capacity);
}

}  // namespace quill::test
