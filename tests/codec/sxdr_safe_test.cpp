#include <errno.h>
#include <gtest/gtest.h>
#include <quill/sxdr_safe.h>
#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/endian.h"
#include "support/failing_alloc.h"
#include "support/guard_page.h"

namespace {

using quill::test::GuardedPage;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUnused = 0xee;

// --- The kinds, described once more and independently: where their tags stand, and how long they are.

struct TagAt {
    size_t offset;
    uint8_t tag;
};

struct Kind {
    const char *name;
    std::function<int(const void *, uint32_t, void *, uint32_t, uint32_t *)> write;
    std::function<int(const void *, uint32_t, uint32_t *, void *, uint32_t)> read;
    std::vector<TagAt> tags;
    uint32_t width;   // of a fixed kind; 0 for one with a length
    uint32_t header;  // of a kind with a length; the size of a fixed one
    bool text;        // gets a NUL
    Bytes value;      // in memory
    Bytes element;    // the same on the wire
    std::function<int(const void *, uint32_t, uint32_t)> probe;

    bool fixed() const { return width != 0; }
    // Bytes that the reader stores for this element's value.
    uint32_t stored() const { return static_cast<uint32_t>(value.size()) + (text ? 1 : 0); }
};

template <typename T>
auto writer(int (*write)(const T *, uint32_t, void *, uint32_t, uint32_t *)) {
    return [write](const void *source, uint32_t source_size, void *message, uint32_t message_size, uint32_t *cursor) {
        return write(static_cast<const T *>(source), source_size, message, message_size, cursor);
    };
}

template <typename T>
auto reader(int (*read)(const void *, uint32_t, uint32_t *, T *, uint32_t)) {
    return [read](const void *message, uint32_t length, uint32_t *cursor, void *out, uint32_t capacity) {
        return read(message, length, cursor, static_cast<T *>(out), capacity);
    };
}

template <typename T>
Bytes memory_of(const T &value) {
    Bytes bytes(sizeof value);
    memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

template <typename Write, typename Read>
Kind fixed(const char *name, Write write, Read read, Bytes value, Bytes element, std::vector<TagAt> inner = {}) {
    inner.push_back({0, element[0]});
    const auto width = static_cast<uint32_t>(value.size()), size = static_cast<uint32_t>(element.size());
    return {name, writer(write), reader(read), inner, width, size, false, value, element, nullptr};
}

template <typename Write, typename Read, typename Probe>
Kind sized(const char *name, Write write, Read read, Probe probe, bool text, Bytes value, Bytes element) {
    const auto header = static_cast<uint32_t>(element.size() - value.size());
    return {name, writer(write), reader(read), {{0, element[0]}}, 0, header, text, value, element, probe};
}

#define PAIR(name) #name, sxdr_write_##name##_safe, sxdr_read_##name##_safe

const std::vector<Kind> &kinds() {
    const ip_af_addr ip_af = {QUILL_AF_INET, {0, 0}, {10, 0, 0, 1}};
    static const std::vector<Kind> all = {
        fixed(PAIR(u8), {0xab}, {2, 0xab}),
        fixed(PAIR(u16), memory_of(uint16_t{0x1234}), {3, 0x12, 0x34}),
        fixed(PAIR(u32), memory_of(0x12345678u), {4, 0x12, 0x34, 0x56, 0x78}),
        fixed(PAIR(u64), memory_of(uint64_t{0x0102030405060708}), {9, 1, 2, 3, 4, 5, 6, 7, 8}),
        fixed(PAIR(ip), {10, 0, 0, 1}, {5, 10, 0, 0, 1}),
        fixed(PAIR(ipv6), Bytes(16, 7), {10, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}),
        fixed(PAIR(ip_af), memory_of(ip_af), {11, 0, 2, 0, 0, 10, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
        fixed(PAIR(mac), {0, 0x1b, 0x63, 1, 2, 3}, {1, 0, 0x1b, 0x63, 1, 2, 3}),
        fixed(PAIR(bool), {1}, {7, 2, 1}, {{1, 2}}),
        fixed(PAIR(s32), memory_of(int32_t{-5}), {6, 7, 2, 1, 4, 0, 0, 0, 5}, {{1, 7}, {2, 2}, {4, 4}}),
        sized(PAIR(str), sxdr_read_str_size_safe, true, {'a', 'b', 'c'}, {0, 0, 3, 'a', 'b', 'c'}),
        sized(PAIR(hex), sxdr_read_hex_size_safe, false, {'a', 0, 'c'}, {8, 0, 3, 'a', 0, 'c'}),
        sized(PAIR(long_str), sxdr_read_long_str_size_safe, true, {'a', 'b'}, {12, 0, 0, 0, 2, 'a', 'b'}),
        sized(PAIR(long_hex), sxdr_read_long_hex_size_safe, false, {'a', 0}, {13, 0, 0, 0, 2, 'a', 0}),
    };
    return all;
}

uint32_t stored_length(const Kind &kind, const uint8_t *element) {
    uint32_t length = 0;
    for (size_t i = 1; i < kind.header; i++) length = length << 8 | element[i];
    return length;
}

// What a reader must answer to left bytes of message and a capacity: the errno, or 0 when it reads.
int expected_error(const Kind &kind, const uint8_t *element, size_t left, uint32_t capacity) {
    const bool tags_match = left >= kind.header && std::all_of(kind.tags.begin(), kind.tags.end(), [&](const TagAt &t) {
                                return element[t.offset] == t.tag;
                            });
    if (left < kind.header) return ENODATA;
    if (kind.fixed() && capacity < kind.width) return EOVERFLOW;
    if (!tags_match) return EBADMSG;
    if (kind.fixed()) return 0;
    const uint32_t length = stored_length(kind, element);
    if (length > left - kind.header) return EMSGSIZE;
    return capacity < length + (kind.text ? 1 : 0) ? EOVERFLOW : 0;
}

// The bytes that a reader must store for an element that it accepts.
Bytes expected_value(const Kind &kind, const uint8_t *element) {
    const std::string name = kind.name;
    if (name == "bool") return {element[2] == 1};
    if (name == "s32") {
        const uint32_t magnitude = quill::load_be<uint32_t>(element + 5);
        return memory_of(element[3] == 1 ? 0 - magnitude : magnitude);
    }
    const uint8_t *from = element + (kind.fixed() ? 1 : kind.header);
    Bytes value(from, from + (kind.fixed() ? kind.width : stored_length(kind, element)));
    const auto number_end = value.begin() + (name[0] == 'u'    ? static_cast<long>(value.size())
                                             : name == "ip_af" ? 2
                                                               : 0);
    if (std::endian::native == std::endian::little) std::reverse(value.begin(), number_end);
    if (kind.text) value.push_back(0);
    return value;
}

// Runs the reader on message, whose first before bytes lie before the element, right in front of the guard page, into a
// destination that is right in front of another.
void expect_read(const Kind &kind, const Bytes &message, uint32_t before, uint32_t capacity) {
    static GuardedPage source, destination;
    const uint8_t *at = source.hold(message);
    uint8_t *out = destination.room(capacity, kUnused);
    const auto length = static_cast<uint32_t>(message.size());
    const int error = expected_error(kind, at + before, message.size() - before, capacity);
    uint32_t cursor = before;
    errno = 0;
    const int result = kind.read(at, length, &cursor, out, capacity);
    if (error != 0) {
        ASSERT_EQ(result, -1);
        ASSERT_EQ(errno, error);
        ASSERT_EQ(cursor, before);
        ASSERT_TRUE(std::all_of(out, out + capacity, [](uint8_t b) { return b == kUnused; }));
    } else {
        const uint32_t value = kind.fixed() ? kind.width : stored_length(kind, at + before);
        ASSERT_EQ(result, static_cast<int>(value));
        ASSERT_EQ(cursor, before + kind.header + (kind.fixed() ? 0 : value));
        const Bytes expected = expected_value(kind, at + before);
        ASSERT_EQ(Bytes(out, out + expected.size()), expected);
    }
    if (!kind.probe) return;
    // A probe answers as a reader with all the room in the world.
    errno = 0;
    const int probed = expected_error(kind, at + before, message.size() - before, UINT32_MAX);
    ASSERT_EQ(kind.probe(at, length, before), probed ? -1 : static_cast<int>(stored_length(kind, at + before)));
    ASSERT_EQ(errno, probed);
}

TEST(SxdrSafe, WritesAndReadsEachKind) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = static_cast<uint32_t>(kind.element.size());
        const auto width = static_cast<uint32_t>(kind.value.size());
        for (const uint32_t before : {0u, 1u, 7u}) {
            GuardedPage page;
            uint8_t *message = page.room(before + size, kUnused);
            uint32_t cursor = before;
            ASSERT_EQ(kind.write(kind.value.data(), width, message, before + size, &cursor), static_cast<int>(width));
            EXPECT_EQ(cursor, before + size);
            EXPECT_EQ(Bytes(message + before, message + before + size), kind.element);
            EXPECT_TRUE(std::all_of(message, message + before, [](uint8_t b) { return b == kUnused; }));

            Bytes out(kind.stored(), kUnused);
            cursor = before;
            ASSERT_EQ(kind.read(message, before + size, &cursor, out.data(), kind.stored()), static_cast<int>(width));
            EXPECT_EQ(cursor, before + size);
            Bytes expected = kind.value;
            if (kind.text) expected.push_back(0);
            EXPECT_EQ(out, expected);
        }
        // Without a cursor everything is at offset 0.
        Bytes message(size);
        EXPECT_EQ(kind.write(kind.value.data(), width, message.data(), size, nullptr), static_cast<int>(width));
        EXPECT_EQ(message, kind.element);
        Bytes out(kind.stored());
        EXPECT_EQ(kind.read(message.data(), size, nullptr, out.data(), kind.stored()), static_cast<int>(width));
    }
}

TEST(SxdrSafe, RefusesEveryTruncation) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        for (size_t size = 0; size <= kind.element.size(); size++)
            for (uint32_t before : {0u, 3u}) {
                Bytes message(before, 0x55);
                message.insert(message.end(), kind.element.begin(), kind.element.begin() + static_cast<long>(size));
                for (uint32_t capacity = 0; capacity <= kind.stored(); capacity++)
                    ASSERT_NO_FATAL_FAILURE(expect_read(kind, message, before, capacity)) << size << " bytes";
            }
        // A cursor behind the end.
        Bytes out(kind.stored());
        for (const uint32_t far : {static_cast<uint32_t>(kind.element.size()) + 1, UINT32_MAX}) {
            uint32_t cursor = far;
            EXPECT_EQ(kind.read(kind.element.data(), static_cast<uint32_t>(kind.element.size()), &cursor, out.data(),
                                kind.stored()),
                      -1);
            EXPECT_EQ(errno, ENODATA);
            EXPECT_EQ(cursor, far);
        }
    }
}

TEST(SxdrSafe, AnswersEveryChangeOfOneByte) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        for (size_t changed = 0; changed < kind.element.size(); changed++)
            for (unsigned value = 0; value < 256; value++) {
                Bytes message = kind.element;
                message[changed] = static_cast<uint8_t>(value);
                for (const uint32_t capacity : {0u, kind.stored() - 1, kind.stored()})
                    ASSERT_NO_FATAL_FAILURE(expect_read(kind, message, 0, capacity))
                        << "byte " << changed << " is " << value << ", capacity " << capacity;
            }
    }
}

TEST(SxdrSafe, WritersRefuse) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = static_cast<uint32_t>(kind.element.size());
        const auto width = static_cast<uint32_t>(kind.value.size());
        Bytes message(size + 4, kUnused);
        const auto refused = [&](int error, const void *source, uint32_t source_size, void *to, uint32_t to_size,
                                 uint32_t at) {
            uint32_t cursor = at;
            errno = 0;
            EXPECT_EQ(kind.write(source, source_size, to, to_size, &cursor), -1);
            EXPECT_EQ(errno, error);
            EXPECT_EQ(cursor, at);
            EXPECT_EQ(message, Bytes(size + 4, kUnused));
        };
        refused(EINVAL, nullptr, width, message.data(), size, 0);
        refused(EINVAL, kind.value.data(), width, nullptr, size, 0);
        for (uint32_t room = 0; room < size; room++)
            refused(EOVERFLOW, kind.value.data(), width, message.data(), room, 0);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, 1);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, size + 1);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, UINT32_MAX);
        if (kind.fixed())
            for (uint32_t less = 0; less < width; less++)
                refused(ENODATA, kind.value.data(), less, message.data(), size, 0);
        if (kind.fixed()) refused(ENODATA, kind.value.data(), 0, message.data(), 0, 0);  // looked at before the room
        if (!kind.fixed() && kind.header == 5) refused(ENODATA, kind.value.data(), 0, message.data(), size, 0);
        if (!kind.fixed() && kind.header == 3) refused(EINVAL, kind.value.data(), 65536, message.data(), size, 0);
        if (!kind.fixed() && kind.header == 5)
            refused(EOVERFLOW, kind.value.data(), UINT32_MAX, message.data(), size, 0);

        EXPECT_EQ(kind.read(nullptr, size, nullptr, message.data(), size), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(kind.read(message.data(), size, nullptr, nullptr, size), -1);
        EXPECT_EQ(errno, EINVAL);
        if (!kind.probe) continue;
        EXPECT_EQ(kind.probe(nullptr, size, 0), -1);
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(SxdrSafe, EmptyAndLongestTexts) {
    uint8_t message[4] = {kUnused, kUnused, kUnused, kUnused};
    uint32_t cursor = 0;
    EXPECT_EQ(sxdr_write_str_safe("", 0, message, 3, &cursor), 0);
    EXPECT_EQ(cursor, 3u);
    EXPECT_EQ(Bytes(message, message + 4), (Bytes{0, 0, 0, kUnused}));
    char out[1] = {'x'};
    EXPECT_EQ(sxdr_read_str_safe(message, 3, nullptr, out, 1), 0);
    EXPECT_EQ(out[0], '\0');

    const std::string text(65535, 'y');
    Bytes large(65538);
    EXPECT_EQ(sxdr_write_str_safe(text.data(), 65535, large.data(), 65538, nullptr), 65535);
    std::string back(65536, 'z');
    EXPECT_EQ(sxdr_read_str_safe(large.data(), 65538, nullptr, back.data(), 65536), 65535);
    EXPECT_EQ(back, text + '\0');
}

TEST(SxdrSafe, SendsABoolByteAsItIs) {
    const uint8_t two = 2;
    uint8_t message[3], out = kUnused;
    EXPECT_EQ(sxdr_write_bool_safe(&two, 1, message, 3, nullptr), 1);
    EXPECT_EQ(Bytes(message, message + 3), (Bytes{7, 2, 2}));
    EXPECT_EQ(sxdr_read_bool_safe(message, 3, nullptr, &out, 1), 1);
    EXPECT_EQ(out, 0);
}

TEST(SxdrSafe, ReadsDataIntoANewBuffer) {
    Bytes message = {2, 9, 8, 0, 2, 'a', 'b', 8, 0, 0, 8, 0, 9};
    const auto size = static_cast<uint32_t>(message.size());
    uint8_t *out = nullptr;
    uint32_t out_size = 0, cursor = 2;
    ASSERT_EQ(sxdr_read_hex_malloc_safe(message.data(), size, &cursor, &out, &out_size), 2);
    EXPECT_EQ(cursor, 7u);
    EXPECT_EQ(Bytes(out, out + out_size), (Bytes{'a', 'b'}));
    free(out);
    ASSERT_EQ(sxdr_read_hex_malloc_safe(message.data(), size, &cursor, &out, &out_size), 0);
    EXPECT_EQ(cursor, 10u);
    EXPECT_EQ(Bytes(out, out + out_size), Bytes{0});
    free(out);

    uint8_t *const before = out = message.data();
    const auto refused = [&](int error, const void *from, uint32_t *at) {
        errno = 0;
        EXPECT_EQ(sxdr_read_hex_malloc_safe(from, size, at, &out, &out_size), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(out, before);
        EXPECT_EQ(out_size, 1u);
    };
    refused(EMSGSIZE, message.data(), &cursor);
    EXPECT_EQ(cursor, 10u);
    refused(EINVAL, message.data(), nullptr);
    refused(EINVAL, nullptr, &cursor);
    cursor = 0;
    refused(EBADMSG, message.data(), &cursor);
    cursor = size - 2;
    refused(ENODATA, message.data(), &cursor);
    cursor = 2;
    EXPECT_EQ(quill::test::expect_failures_survived(
                  [&] { return sxdr_read_hex_malloc_safe(message.data(), size, &cursor, &out, &out_size) == 2; },
                  [&] { EXPECT_EQ(cursor, 2u); }),
              1);
    free(out);
    EXPECT_EQ(sxdr_read_hex_malloc_safe(message.data(), size, &cursor, nullptr, &out_size), -1);
    EXPECT_EQ(sxdr_read_hex_malloc_safe(message.data(), size, &cursor, &out, nullptr), -1);
}

}  // namespace
