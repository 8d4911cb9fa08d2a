#include <gtest/gtest.h>

#include <string>
#include <utility>

#define EXPECT ASSERT_TRUE
#include "support/case_file.h"
#include "support/codec_model.h"
#include "support/failing_alloc.h"
#include "support/hex.h"

namespace quill::test {
namespace {

// Returns as many bytes as a writer reports, and checks that it wrote no other bytes.
Bytes written(const std::function<uint32_t(void *)> &write) {
    Bytes buffer(70000, kUnused);
    const uint32_t size = write(buffer.data());
    EXPECT_TRUE(std::all_of(buffer.begin() + size, buffer.end(), [](uint8_t b) { return b == kUnused; }));
    buffer.resize(size);
    return buffer;
}

template <auto kWrite, typename... T>
std::string bytes(T... values) {
    return hex(written([&](void *to) { return kWrite(values..., to); }));
}

uint32_t write_ip(const uint8_t *address, void *to) {
    uint32_t word;
    memcpy(&word, address, sizeof word);
    return sxdr_write_ip(word, to);
}

uint32_t write_ip_af(uint16_t family, const uint8_t *address, void *to) {
    ip_af_addr both = {family, {0, 0}, {}};
    std::copy_n(address, 16, both.addr);
    return sxdr_write_ip_af(&both, to);
}

uint32_t write_str2(const char *text, uint32_t length, void *to) { return sxdr_write_str2(text, to, length); }

TEST(Sxdr, WritesTheSameBytesOnEveryHost) {
    constexpr CaseFunction kFunctions[] = {
        {"u8", BoundFunction<bytes<sxdr_write_u8, uint8_t>>::call},
        {"u16", BoundFunction<bytes<sxdr_write_u16, uint16_t>>::call},
        {"u32", BoundFunction<bytes<sxdr_write_u32, uint32_t>>::call},
        {"u64", BoundFunction<bytes<sxdr_write_u64, uint64_t>>::call},
        {"s32", BoundFunction<bytes<sxdr_write_s32, int32_t>>::call},
        {"bool", BoundFunction<bytes<sxdr_write_bool, int32_t>>::call},
        {"ip", BoundFunction<bytes<write_ip, const uint8_t *>>::call},
        {"ipv6", BoundFunction<bytes<sxdr_write_ipv6, const uint8_t *>>::call},
        {"ip_af", BoundFunction<bytes<write_ip_af, uint16_t, const uint8_t *>>::call},
        {"mac", BoundFunction<bytes<sxdr_write_mac, const uint8_t *>>::call},
        {"str", BoundFunction<bytes<sxdr_write_str, const char *>>::call},
        {"str2", BoundFunction<bytes<write_str2, const char *, uint32_t>>::call},
        {"str3", BoundFunction<bytes<sxdr_write_str3, const char *>>::call},
        {"hex", BoundFunction<bytes<sxdr_write_hex, const uint8_t *, uint32_t>>::call},
        {"hex32", BoundFunction<bytes<sxdr_write_hex32, const uint8_t *, uint32_t>>::call},
        {"hex_len32", BoundFunction<bytes<sxdr_write_hex_len32, uint32_t>>::call},
    };
    expect_cases("codec/sxdr.cases", kFunctions);
    const std::vector<uint32_t> sizes = {sxdr_size_u8(),    sxdr_size_u16(),        sxdr_size_u32(),
                                         sxdr_size_u64(),   sxdr_size_ip(),         sxdr_size_ipv6(),
                                         sxdr_size_ip_af(), sxdr_size_mac(),        sxdr_size_bool(7),
                                         sxdr_size_s32(),   sxdr_size_str("hello"), sxdr_size_hex("ab", 2)};
    EXPECT_EQ(sizes, (std::vector<uint32_t>{2, 3, 5, 9, 5, 17, 21, 7, 3, 9, 8, 5}));
}

TEST(Sxdr, LengthsOf16BitsWrap) {
    const std::string text(65536 + 3, 'x');
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str(text.c_str(), b); }), (Bytes{0, 0, 3, 'x', 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str2(text.c_str(), b, 2); }), (Bytes{0, 0, 2, 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_hex(text.data(), 65536 + 1, b); }), (Bytes{8, 0, 1, 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str3(text.c_str(), b); }).size(), text.size() + 5);
    EXPECT_EQ(sxdr_size_str(text.c_str()), text.size() + 3);
}

TEST(Sxdr, ReadersOfDataIntoNewBuffers) {
    const Bytes hex = {8, 0, 2, 1, 2}, hex32 = {14, 0, 0, 0, 2, 1, 2};
    const struct {
        uint32_t (*read)(uint8_t **, const void *);
        Bytes element, other, nothing;
    } cases[] = {{sxdr_read_hex, hex, hex32, {8, 0, 0}}, {sxdr_read_hex32, hex32, hex, {14, 0, 0, 0, 0}}};
    for (const auto &c : cases) {
        uint8_t unchanged, *out = &unchanged;
        EXPECT_EQ(c.read(&out, c.other.data()), 0u);
        EXPECT_EQ(c.read(&out, c.nothing.data()), c.nothing.size());
        const auto whole = [&] { return c.read(&out, c.element.data()) == c.element.size(); };
        EXPECT_EQ(expect_failures_survived(whole, [&] { EXPECT_EQ(out, &unchanged); }), 1);
        EXPECT_EQ(Bytes(out, out + 2), (Bytes{1, 2}));
        free(out);
    }
    EXPECT_EQ(sxdr_read_hex32_size(hex32.data()), 2u);
    EXPECT_EQ(sxdr_read_hex32_size(hex.data()), 0u);
}

// Tests the readers that get the offset of an element in its message. The sum of offset and length wraps, the offset is
// beyond the message, or a pointer is null.
TEST(Sxdr, ReadersWithAnOffset) {
    const Bytes text = {0, 0, 3, 'a', 'b', 'c'}, data = {8, 0, 3, 'a', 'b', 'c'};
    char out[8];
    for (const auto &[offset, message_length] : {std::pair(UINT32_MAX, 16u), {UINT32_MAX - 3, UINT32_MAX}, {17, 16}}) {
        strcpy(out, "before");
        EXPECT_EQ(sxdr_read_str_new(out, 8, text.data(), offset, message_length), 0u);
        EXPECT_STREQ(out, "");
        EXPECT_EQ(sxdr_read_hex_new(out, 8, data.data(), offset, message_length), 0u);
        EXPECT_EQ(Bytes(out, out + 8), Bytes(8, 0));
    }
    EXPECT_EQ(sxdr_read_hex_new(nullptr, 8, data.data(), 0, 6), 0u);
    EXPECT_EQ(sxdr_read_hex_new(out, sizeof out, nullptr, 0, 6), 0u);
}

TEST(SxdrSafe, WritesAndReadsEachKind) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = uint32_t(kind.element.size()), width = uint32_t(kind.value.size());
        for (const uint32_t before : {0u, 1u, 7u}) {
            Bytes message(before + size, kUnused), expected(before, kUnused);
            expected.insert(expected.end(), kind.element.begin(), kind.element.end());
            uint32_t cursor = before;
            EXPECT_EQ(kind.write(kind.value.data(), width, message.data(), before + size, &cursor), int(width));
            EXPECT_EQ(std::pair(message, cursor), std::pair(expected, before + size));
        }
        // A null cursor means offset 0.
        Bytes message(size), out(width + kind.text);
        EXPECT_EQ(kind.write(kind.value.data(), width, message.data(), size, nullptr), int(width));
        EXPECT_EQ(message, kind.element);
        EXPECT_EQ(kind.read(message.data(), size, nullptr, out.data(), width + kind.text), int(width));
        EXPECT_EQ(out, kind.stored(kind.value));
    }
}

TEST(SxdrSafe, AnswersEveryTruncation) {
    for (const Kind &kind : kinds())
        for (size_t size = 0; size <= kind.element.size(); size++)
            for (const uint32_t before : {0u, 3u})
                for (uint32_t capacity = 0; capacity <= kind.value.size() + 2; capacity++) {
                    SCOPED_TRACE(testing::Message() << kind.name << ", bytes " << size << ", capacity " << capacity);
                    Bytes message(before, 0x55);
                    message.insert(message.end(), kind.element.begin(), kind.element.begin() + long(size));
                    expect_answers(kind, message, before, capacity);
                    expect_answers(kind, message, before + uint32_t(size) + 1, capacity);
                    expect_answers(kind, message, UINT32_MAX, capacity);
                }
}

TEST(SxdrSafe, AnswersEveryChangeOfOneByte) {
    for (const Kind &kind : kinds())
        for (size_t changed = 0; changed < kind.element.size(); changed++)
            for (unsigned value = 0; value < 256; value++) {
                SCOPED_TRACE(testing::Message() << kind.name << ", byte " << changed << " is " << value);
                Bytes message = kind.element;
                message[changed] = static_cast<uint8_t>(value);
                const auto stored = static_cast<uint32_t>(kind.stored(kind.value).size());
                for (const uint32_t capacity : {0u, stored - 1, stored}) expect_answers(kind, message, 0, capacity);
            }
}

TEST(SxdrSafe, WritersRefuse) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = static_cast<uint32_t>(kind.element.size()), width = static_cast<uint32_t>(kind.value.size());
        const uint8_t *const value = kind.value.data();
        Bytes message(size + 4, kUnused);
        const auto refused = [&](int error, const void *source, uint32_t source_size, void *to, uint32_t room,
                                 uint32_t at) {
            uint32_t cursor = at;
            EXPECT_EQ(kind.write(source, source_size, to, room, &cursor), -1);
            EXPECT_EQ(std::exchange(errno, 0), error);
            EXPECT_EQ(cursor, at);
            EXPECT_EQ(message, Bytes(size + 4, kUnused));
        };
        refused(EINVAL, nullptr, width, message.data(), size, 0);
        refused(EINVAL, value, width, nullptr, size, 0);
        for (uint32_t room = 0; room < size; room++) refused(EOVERFLOW, value, width, message.data(), room, 0);
        for (const uint32_t at : {1u, size + 1, UINT32_MAX}) refused(EOVERFLOW, value, width, message.data(), size, at);
        for (uint32_t less = 0; less < kind.width; less++) refused(ENODATA, value, less, message.data(), size, 0);
        if (!kind.probe) refused(ENODATA, value, 0, message.data(), 0, 0);  // checked before the room
        if (kind.probe && kind.header == 3) refused(EINVAL, value, 65536, message.data(), size, 0);
        if (kind.probe && kind.header == 5) {
            refused(ENODATA, value, 0, message.data(), size, 0);
            refused(EOVERFLOW, value, UINT32_MAX, message.data(), size, 0);
        }

        const auto invalid = [](int result) { EXPECT_TRUE(result == -1 && std::exchange(errno, 0) == EINVAL); };
        invalid(kind.read(nullptr, size, nullptr, message.data(), size));
        invalid(kind.read(message.data(), size, nullptr, nullptr, size));
        if (kind.probe) invalid(kind.probe(nullptr, size, 0));
    }
}

TEST(SxdrSafe, LongestTextAndAnyByteAsABool) {
    const std::string text(65535, 'y');
    std::string back(65536, 'z');
    Bytes message(65538), boolean(3);
    EXPECT_EQ(sxdr_write_str_safe(text.data(), 65535, message.data(), 65538, nullptr), 65535);
    EXPECT_EQ(sxdr_read_str_safe(message.data(), 65538, nullptr, back.data(), 65536), 65535);
    EXPECT_EQ(back, text + '\0');
    EXPECT_EQ(sxdr_write_bool_safe(Bytes{2}.data(), 1, boolean.data(), 3, nullptr), 1);
    EXPECT_EQ(boolean, (Bytes{7, 2, 2}));
}

TEST(SxdrSafe, NewBufferWithoutMemoryOrArguments) {
    const Bytes message = {2, 9, 8, 0, 2, 'a', 'b'};
    uint8_t unchanged, *out = &unchanged;
    uint32_t out_size = 77, cursor = 2;
    const auto read = [](const Bytes *from, uint32_t *at, uint8_t **to, uint32_t *size) {
        return sxdr_read_hex_malloc_safe(from ? from->data() : nullptr, 7, at, to, size);
    };
    const auto nothing_done = [&] { EXPECT_TRUE(cursor == 2 && out == &unchanged && out_size == 77); };
    for (const int result : {read(nullptr, &cursor, &out, &out_size), read(&message, nullptr, &out, &out_size),
                             read(&message, &cursor, nullptr, &out_size), read(&message, &cursor, &out, nullptr)})
        EXPECT_TRUE(result == -1 && errno == EINVAL);
    nothing_done();
    const auto whole = [&] { return read(&message, &cursor, &out, &out_size) == 2; };
    EXPECT_EQ(expect_failures_survived(whole, nothing_done), 1);
    EXPECT_EQ(Bytes(out, out + out_size), (Bytes{'a', 'b'}));
    free(out);
}

}  // namespace
}  // namespace quill::test
