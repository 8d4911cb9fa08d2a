#include <gtest/gtest.h>
#include <quill/sxdr.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "support/failing_alloc.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

constexpr uint8_t kUnused = 0xee;

// What one writer leaves in a buffer: the bytes it counts, with a check that it wrote no others.
Bytes written(const std::function<uint32_t(void *)> &write) {
    Bytes buffer(70000, kUnused);
    const uint32_t size = write(buffer.data());
    EXPECT_TRUE(std::all_of(buffer.begin() + size, buffer.end(), [](uint8_t b) { return b == kUnused; }));
    buffer.resize(size);
    return buffer;
}

template <typename T>
T in_memory(const Bytes &bytes) {
    T value;
    memcpy(&value, bytes.data(), sizeof value);
    return value;
}

const Bytes kMac = {0x00, 0x1b, 0x63, 0xaa, 0xbb, 0xcc};
const Bytes kIpv6 = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
const ip_af_addr kIpAf = {QUILL_AF_INET6, {0, 0}, {0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

TEST(Sxdr, WritesTheSameBytesOnEveryHost) {
    const struct {
        const char *what;
        std::function<uint32_t(void *)> write;
        Bytes expected;
    } cases[] = {
        {"u8", [](void *b) { return sxdr_write_u8(0xab, b); }, {2, 0xab}},
        {"u16", [](void *b) { return sxdr_write_u16(0x1234, b); }, {3, 0x12, 0x34}},
        {"u32", [](void *b) { return sxdr_write_u32(0x12345678, b); }, {4, 0x12, 0x34, 0x56, 0x78}},
        {"u64", [](void *b) { return sxdr_write_u64(0x0102030405060708, b); }, {9, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"ip",
         [](void *b) {
             return sxdr_write_ip(in_memory<uint32_t>({10, 0, 0, 1}), b);
         },
         {5, 10, 0, 0, 1}},
        {"ipv6", [](void *b) { return sxdr_write_ipv6(kIpv6.data(), b); }, Bytes{10} + kIpv6},
        {"ip_af", [](void *b) { return sxdr_write_ip_af(&kIpAf, b); }, Bytes{11, 0, 10, 0, 0} + kIpv6},
        {"mac", [](void *b) { return sxdr_write_mac(kMac.data(), b); }, Bytes{1} + kMac},
        {"bool of 5", [](void *b) { return sxdr_write_bool(5, b); }, {7, 2, 1}},
        {"bool of 256", [](void *b) { return sxdr_write_bool(256, b); }, {7, 2, 1}},
        {"bool of 0", [](void *b) { return sxdr_write_bool(0, b); }, {7, 2, 0}},
        {"s32 of -1", [](void *b) { return sxdr_write_s32(-1, b); }, {6, 7, 2, 1, 4, 0, 0, 0, 1}},
        {"s32 of 0", [](void *b) { return sxdr_write_s32(0, b); }, {6, 7, 2, 0, 4, 0, 0, 0, 0}},
        {"s32 lowest", [](void *b) { return sxdr_write_s32(INT32_MIN, b); }, {6, 7, 2, 1, 4, 0x80, 0, 0, 0}},
        {"str", [](void *b) { return sxdr_write_str("hello", b); }, {0, 0, 5, 'h', 'e', 'l', 'l', 'o'}},
        {"empty str", [](void *b) { return sxdr_write_str("", b); }, {0, 0, 0}},
        {"str2 cut", [](void *b) { return sxdr_write_str2("abcdef", b, 4); }, {0, 0, 4, 'a', 'b', 'c', 'd'}},
        {"str2 whole", [](void *b) { return sxdr_write_str2("ab", b, 0xffff0002); }, {0, 0, 2, 'a', 'b'}},
        {"str3", [](void *b) { return sxdr_write_str3("ab", b); }, {12, 0, 0, 0, 2, 'a', 'b'}},
        {"hex", [](void *b) { return sxdr_write_hex("\0\xff", 2, b); }, {8, 0, 2, 0, 0xff}},
        {"hex32", [](void *b) { return sxdr_write_hex32("\0\xff", 2, b); }, {14, 0, 0, 0, 2, 0, 0xff}},
        {"hex_len32", [](void *b) { return sxdr_write_hex_len32(0x01020304, b); }, {13, 1, 2, 3, 4}},
    };
    for (const auto &c : cases) EXPECT_EQ(written(c.write), c.expected) << c.what;
}

TEST(Sxdr, LengthsOf16BitsWrap) {
    const std::string text(65536 + 3, 'x');
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str(text.c_str(), b); }), (Bytes{0, 0, 3, 'x', 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str2(text.c_str(), b, 2); }), (Bytes{0, 0, 2, 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_hex(text.data(), 65536 + 1, b); }), (Bytes{8, 0, 1, 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str3(text.c_str(), b); }).size(), text.size() + 5);
    EXPECT_EQ(sxdr_size_str(text.c_str()), text.size() + 3);
}

TEST(Sxdr, SizesAreThoseThatAreWritten) {
    EXPECT_EQ(sxdr_size_u8(), sxdr_write_u8(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_u16(), sxdr_write_u16(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_u32(), sxdr_write_u32(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_u64(), sxdr_write_u64(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_ip(), sxdr_write_ip(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_ipv6(), sxdr_write_ipv6(kIpv6.data(), Bytes(20).data()));
    EXPECT_EQ(sxdr_size_ip_af(), sxdr_write_ip_af(&kIpAf, Bytes(21).data()));
    EXPECT_EQ(sxdr_size_mac(), sxdr_write_mac(kMac.data(), Bytes(20).data()));
    EXPECT_EQ(sxdr_size_bool(7), sxdr_write_bool(7, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_s32(), sxdr_write_s32(1, Bytes(20).data()));
    EXPECT_EQ(sxdr_size_str("abc"), sxdr_write_str("abc", Bytes(20).data()));
    EXPECT_EQ(sxdr_size_hex("abc", 3), sxdr_write_hex("abc", 3, Bytes(20).data()));
}

template <typename T>
auto reader_of(uint32_t (*reader)(T *, const void *)) {
    return [reader](void *out, const void *source) { return reader(static_cast<T *>(out), source); };
}

TEST(Sxdr, ReadersOfFixedSize) {
    struct Case {
        const char *what;
        std::function<uint32_t(void *, const void *)> read;
        Bytes element;
        Bytes expected;  // in memory
        size_t zeroed;   // bytes cleared when another kind stands there
    };
    const auto number = [](auto value) {
        Bytes bytes(sizeof value);
        memcpy(bytes.data(), &value, sizeof value);
        return bytes;
    };
    const Case cases[] = {
        {"u8", reader_of(sxdr_read_u8), {2, 0xab}, {0xab}, 1},
        {"u16", reader_of(sxdr_read_u16), {3, 0x12, 0x34}, number(uint16_t{0x1234}), 2},
        {"u32", reader_of(sxdr_read_u32), {4, 0x12, 0x34, 0x56, 0x78}, number(uint32_t{0x12345678}), 4},
        {"u64", reader_of(sxdr_read_u64), {9, 1, 2, 3, 4, 5, 6, 7, 8}, number(uint64_t{0x0102030405060708}), 8},
        {"ip", reader_of(sxdr_read_ip), {5, 10, 0, 0, 1}, {10, 0, 0, 1}, 4},
        {"ipv6", reader_of(sxdr_read_ipv6), Bytes{10} + kIpv6, kIpv6, 4},
        {"ip_af", reader_of(sxdr_read_ip_af), Bytes{11, 0, 10, 0, 0} + kIpv6, number(kIpAf), 20},
        {"mac", reader_of(sxdr_read_mac), Bytes{1} + kMac, kMac, 6},
        {"bool", reader_of(sxdr_read_bool), {7, 2, 1}, {1}, 1},
        {"bool of 5", reader_of(sxdr_read_bool), {7, 2, 5}, {0}, 1},
        {"s32", reader_of(sxdr_read_s32), {6, 7, 2, 1, 4, 0, 0, 0, 5}, number(int32_t{-5}), 4},
        {"s32 of sign 2", reader_of(sxdr_read_s32), {6, 7, 2, 2, 4, 0, 0, 0, 5}, number(int32_t{5}), 4},
        {"s32 lowest", reader_of(sxdr_read_s32), {6, 7, 2, 1, 4, 0x80, 0, 0, 0}, number(INT32_MIN), 4},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        alignas(8) uint8_t out[24];
        memset(out, kUnused, sizeof out);
        EXPECT_EQ(c.read(out, c.element.data()), c.element.size());
        EXPECT_EQ(Bytes(out, out + c.expected.size()), c.expected);
        EXPECT_EQ(out[c.expected.size()], kUnused);

        // Each byte that is a tag, changed: nothing is consumed, and just the described bytes are cleared.
        const bool nested = c.element[0] == 6 || c.element[0] == 7;
        for (const size_t tag : nested ? (c.element[0] == 6 ? Bytes{0, 1, 2, 4} : Bytes{0, 1}) : Bytes{0}) {
            Bytes damaged = c.element;
            damaged[tag] ^= 0x40;
            memset(out, kUnused, sizeof out);
            EXPECT_EQ(c.read(out, damaged.data()), 0u) << "tag at " << tag;
            EXPECT_EQ(Bytes(out, out + c.zeroed), Bytes(c.zeroed, 0));
            EXPECT_EQ(Bytes(out + c.zeroed, out + sizeof out), Bytes(sizeof out - c.zeroed, kUnused));
        }
    }
}

TEST(Sxdr, ReadersOfTexts) {
    char out[16];
    const auto str = written([](void *b) { return sxdr_write_str("0123456789", b); });
    const auto str3 = written([](void *b) { return sxdr_write_str3("0123456789", b); });

    EXPECT_EQ(sxdr_read_str_size(str.data()), 10u);
    EXPECT_EQ(sxdr_read_str_size(str3.data()), UINT32_MAX);
    EXPECT_EQ(sxdr_read_str(out, str.data()), 13u);
    EXPECT_STREQ(out, "0123456789");
    EXPECT_EQ(sxdr_read_str(out, str3.data()), 0u);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(sxdr_read_str3(out, str3.data()), 15u);
    EXPECT_STREQ(out, "0123456789");
    EXPECT_EQ(sxdr_read_str3(out, str.data()), 0u);
    EXPECT_STREQ(out, "");

    const struct {
        uint32_t capacity, consumed;
        const char *text;
    } cases[] = {{4, 6, "012"},          {9, 11, "01234567"}, {10, 13, "0123456789"},
                 {11, 13, "0123456789"}, {1, 3, ""},          {0, 3, ""}};
    for (const auto &c : cases) {
        memset(out, kUnused, sizeof out);
        EXPECT_EQ(sxdr_read_str2(out, str.data(), c.capacity), c.consumed) << c.capacity;
        EXPECT_STREQ(out, c.text);
        EXPECT_EQ(static_cast<uint8_t>(out[strlen(c.text) + 1]), kUnused) << c.capacity;
    }
    EXPECT_EQ(sxdr_read_str2(out, str3.data(), 4), 0u);
    EXPECT_STREQ(out, "");
}

TEST(Sxdr, ReadersOfDataIntoNewBuffers) {
    const Bytes hex = {8, 0, 2, 1, 2}, hex32 = {14, 0, 0, 0, 2, 1, 2};
    const Bytes empty = {8, 0, 0}, empty32 = {14, 0, 0, 0, 0};
    uint8_t marker;
    uint8_t *const untouched = &marker;
    const struct {
        uint32_t (*read)(uint8_t **, const void *);
        Bytes element, other, nothing;
    } cases[] = {{sxdr_read_hex, hex, hex32, empty}, {sxdr_read_hex32, hex32, hex, empty32}};
    for (const auto &[read, element, other, nothing] : cases) {
        uint8_t *out = untouched;
        EXPECT_EQ(read(&out, other.data()), 0u);
        EXPECT_EQ(read(&out, nothing.data()), nothing.size());
        EXPECT_EQ(out, untouched);
        ASSERT_EQ(read(&out, element.data()), element.size());
        EXPECT_EQ(Bytes(out, out + 2), (Bytes{1, 2}));
        free(out);
    }
    EXPECT_EQ(sxdr_read_hex_size(hex.data()), 2u);
    EXPECT_EQ(sxdr_read_hex_size(Bytes{0, 0, 9}.data()), 0u);
    EXPECT_EQ(sxdr_read_hex32_size(hex32.data()), 2u);
    EXPECT_EQ(sxdr_read_hex32_size(hex.data()), 0u);
}

TEST(Sxdr, NewBuffersWithoutMemory) {
    uint8_t message[16], *out = nullptr;
    const auto unchanged = [&] { EXPECT_EQ(out, nullptr); };
    const struct {
        uint32_t (*write)(const void *, uint32_t, void *);
        uint32_t (*read)(uint8_t **, const void *);
    } kinds[] = {{sxdr_write_hex, sxdr_read_hex}, {sxdr_write_hex32, sxdr_read_hex32}};
    for (const auto &kind : kinds) {
        const uint32_t size = kind.write("ab", 2, message);
        EXPECT_EQ(quill::test::expect_failures_survived([&] { return kind.read(&out, message) == size; }, unchanged),
                  1);
        free(out);
        out = nullptr;
    }
}

TEST(Sxdr, ReadsDataIntoTheCallersBuffer) {
    const Bytes ten = {8, 0, 10, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const struct {
        const char *what;
        uint32_t capacity;
        Bytes element;
        uint32_t consumed, length;
        Bytes out;
    } cases[] = {
        {"too long", 4, ten, 13, 77, Bytes(12, kUnused)},
        {"exact", 10, ten, 13, 10, Bytes(ten.begin() + 3, ten.end()) + Bytes(2, kUnused)},
        {"with room", 11, ten, 13, 10, Bytes(ten.begin() + 3, ten.end()) + Bytes{0, kUnused}},
        {"empty", 4, {8, 0, 0}, 3, 0, Bytes{0} + Bytes(11, kUnused)},
        {"empty without room", 0, {8, 0, 0}, 3, 0, Bytes(12, kUnused)},
        {"of another kind", 12, {0, 0, 1, 1}, 0, 77, Bytes(12, kUnused)},
    };
    for (const auto &c : cases) {
        Bytes out(12, kUnused);
        uint32_t length = 77;
        EXPECT_EQ(sxdr_read_hex2(out.data(), c.capacity, &length, c.element.data()), c.consumed) << c.what;
        EXPECT_EQ(length, c.length) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
    uint32_t length = 77;
    EXPECT_EQ(sxdr_read_hex2_len32(&length, ten.data()), 0u);
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(sxdr_read_hex2_len32(&length, Bytes{13, 1, 2, 3, 4}.data()), 5u);
    EXPECT_EQ(length, 0x01020304u);
}

// The readers that are told where in a message an element stands.
TEST(Sxdr, ReadersWithAnOffset) {
    const Bytes text = {0, 0, 3, 'a', 'b', 'c'}, data = {8, 0, 3, 'a', 'b', 'c'};
    const struct {
        const char *what;
        uint32_t capacity, offset, message_length;
        bool text_read, data_read;
    } cases[] = {
        {"fits", 4, 10, 16, true, true},
        {"text and no NUL", 3, 10, 16, false, true},
        {"too small", 2, 10, 16, false, false},
        {"no room", 0, 10, 16, false, false},
        {"content cut", 8, 10, 15, false, false},
        {"header cut", 8, 10, 12, false, false},
        {"at the end", 8, 16, 16, false, false},
        {"behind the end", 8, 17, 16, false, false},
        {"offset that wraps", 8, UINT32_MAX, 16, false, false},
        {"sum that wraps", 8, UINT32_MAX - 3, UINT32_MAX, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Bytes out(c.capacity, kUnused);
        EXPECT_EQ(sxdr_read_str_new(reinterpret_cast<char *>(out.data()), c.capacity, text.data(), c.offset,
                                    c.message_length),
                  c.text_read ? 6u : 0u);
        if (c.capacity > 0) {
            EXPECT_STREQ(reinterpret_cast<char *>(out.data()), c.text_read ? "abc" : "");
        }
        out.assign(c.capacity, kUnused);
        EXPECT_EQ(sxdr_read_hex_new(out.data(), c.capacity, data.data(), c.offset, c.message_length),
                  c.data_read ? 6u : 0u);
        Bytes expected(c.capacity, 0);
        if (c.data_read) std::copy(data.begin() + 3, data.end(), expected.begin());
        EXPECT_EQ(out, expected);
    }
    char out[8] = "before";
    EXPECT_EQ(sxdr_read_str_new(out, sizeof out, data.data(), 0, 6), 0u);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(sxdr_read_hex_new(out, sizeof out, text.data(), 0, 6), 0u);
    EXPECT_EQ(sxdr_read_hex_new(nullptr, 8, data.data(), 0, 6), 0u);
    EXPECT_EQ(sxdr_read_hex_new(out, sizeof out, nullptr, 0, 6), 0u);
}

}  // namespace
