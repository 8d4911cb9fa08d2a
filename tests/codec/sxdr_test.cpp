#include <gtest/gtest.h>

#include <string>

#define EXPECT ASSERT_TRUE
#include "support/codec_model.h"
#include "support/failing_alloc.h"

namespace {

using quill::test::Bytes;
using quill::test::kUnused;

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

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
        uint32_t size;  // as the sxdr_size functions have it, before the element is written; or 0
        Bytes expected;
    } cases[] = {
        {"u8", [](void *b) { return sxdr_write_u8(0xab, b); }, sxdr_size_u8(), {2, 0xab}},
        {"u16", [](void *b) { return sxdr_write_u16(0x1234, b); }, sxdr_size_u16(), {3, 0x12, 0x34}},
        {"u32", [](void *b) { return sxdr_write_u32(0x12345678, b); }, sxdr_size_u32(), {4, 0x12, 0x34, 0x56, 0x78}},
        {"u64",
         [](void *b) { return sxdr_write_u64(0x0102030405060708, b); },
         sxdr_size_u64(),
         {9, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"ip",
         [](void *b) {
             return sxdr_write_ip(in_memory<uint32_t>({10, 0, 0, 1}), b);
         },
         sxdr_size_ip(),
         {5, 10, 0, 0, 1}},
        {"ipv6", [](void *b) { return sxdr_write_ipv6(kIpv6.data(), b); }, sxdr_size_ipv6(), Bytes{10} + kIpv6},
        {"ip_af", [](void *b) { return sxdr_write_ip_af(&kIpAf, b); }, sxdr_size_ip_af(),
         Bytes{11, 0, 10, 0, 0} + kIpv6},
        {"mac", [](void *b) { return sxdr_write_mac(kMac.data(), b); }, sxdr_size_mac(), Bytes{1} + kMac},
        {"bool of 5", [](void *b) { return sxdr_write_bool(5, b); }, sxdr_size_bool(7), {7, 2, 1}},
        {"bool of 256", [](void *b) { return sxdr_write_bool(256, b); }, 0, {7, 2, 1}},
        {"bool of 0", [](void *b) { return sxdr_write_bool(0, b); }, 0, {7, 2, 0}},
        {"s32 of -1", [](void *b) { return sxdr_write_s32(-1, b); }, sxdr_size_s32(), {6, 7, 2, 1, 4, 0, 0, 0, 1}},
        {"s32 of 0", [](void *b) { return sxdr_write_s32(0, b); }, 0, {6, 7, 2, 0, 4, 0, 0, 0, 0}},
        {"s32 lowest", [](void *b) { return sxdr_write_s32(INT32_MIN, b); }, 0, {6, 7, 2, 1, 4, 0x80, 0, 0, 0}},
        {"str",
         [](void *b) { return sxdr_write_str("hello", b); },
         sxdr_size_str("hello"),
         {0, 0, 5, 'h', 'e', 'l', 'l', 'o'}},
        {"empty str", [](void *b) { return sxdr_write_str("", b); }, 0, {0, 0, 0}},
        {"str2 cut", [](void *b) { return sxdr_write_str2("abcdef", b, 4); }, 0, {0, 0, 4, 'a', 'b', 'c', 'd'}},
        {"str2 whole", [](void *b) { return sxdr_write_str2("ab", b, 0xffff0002); }, 0, {0, 0, 2, 'a', 'b'}},
        {"str3", [](void *b) { return sxdr_write_str3("ab", b); }, 0, {12, 0, 0, 0, 2, 'a', 'b'}},
        {"hex", [](void *b) { return sxdr_write_hex("\0\xff", 2, b); }, sxdr_size_hex("ab", 2), {8, 0, 2, 0, 0xff}},
        {"hex32", [](void *b) { return sxdr_write_hex32("\0\xff", 2, b); }, 0, {14, 0, 0, 0, 2, 0, 0xff}},
        {"hex_len32", [](void *b) { return sxdr_write_hex_len32(0x01020304, b); }, 0, {13, 1, 2, 3, 4}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(written(c.write), c.expected) << c.what;
        EXPECT_TRUE(c.size == 0 || c.size == c.expected.size()) << c.what;
    }
}

TEST(Sxdr, LengthsOf16BitsWrap) {
    const std::string text(65536 + 3, 'x');
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str(text.c_str(), b); }), (Bytes{0, 0, 3, 'x', 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str2(text.c_str(), b, 2); }), (Bytes{0, 0, 2, 'x', 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_hex(text.data(), 65536 + 1, b); }), (Bytes{8, 0, 1, 'x'}));
    EXPECT_EQ(written([&](void *b) { return sxdr_write_str3(text.c_str(), b); }).size(), text.size() + 5);
    EXPECT_EQ(sxdr_size_str(text.c_str()), text.size() + 3);
}

TEST(Sxdr, ReadsTheLowestNumber) {
    int32_t out = 0;
    EXPECT_EQ(sxdr_read_s32(&out, Bytes{6, 7, 2, 1, 4, 0x80, 0, 0, 0}.data()), 9u);
    EXPECT_EQ(out, INT32_MIN);
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
        EXPECT_EQ(
            quill::test::expect_failures_survived([&] { return c.read(&out, c.element.data()) == c.element.size(); },
                                                  [&] { EXPECT_EQ(out, &unchanged); }),
            1);
        EXPECT_EQ(Bytes(out, out + 2), (Bytes{1, 2}));
        free(out);
    }
    EXPECT_EQ(sxdr_read_hex32_size(hex32.data()), 2u);
    EXPECT_EQ(sxdr_read_hex32_size(hex.data()), 0u);
}

// The readers that are told where in a message an element stands, when the sum wraps, and without arguments.
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

}  // namespace
