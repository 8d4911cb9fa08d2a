#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/md5.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <string>

#include "support/case_file.h"
#include "support/guard_page.h"
#include "support/hex.h"

namespace {

using quill::test::GuardedPage;
using quill::test::hex;
using std::string;

unsigned size_of(const string &bytes) { return static_cast<unsigned>(bytes.size()); }

// Returns the digest of the one-shot forms. The bytes end at a guard page, and thus begin at any alignment.
string digest_of(const string &bytes) {
    static GuardedPage page;
    uint8_t digest[16], again[16];
    const uint8_t *guarded = page.hold({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
    md5_calc(digest, guarded, size_of(bytes));
    md5_wd(guarded, size_of(bytes), again);
    EXPECT_EQ(hex(digest), hex(again));
    return hex(digest);
}

string digest_in_pieces(const string &bytes, unsigned size) {
    md5_context context;
    MD5Init(&context);
    MD5Update(&context, nullptr, 0);
    for (unsigned at = 0; at < bytes.size(); at += size)
        MD5Update(&context, bytes.data() + at, std::min(size, size_of(bytes) - at));
    string digest(16, '\0');
    MD5Final(reinterpret_cast<uint8_t *>(digest.data()), &context);
    for (const uint8_t byte : reinterpret_cast<const uint8_t(&)[88]>(context)) EXPECT_EQ(byte, 0);
    return digest;
}

// Returns the digest of the digests of all lengths; the bytes differ from length to length.
string lengths(unsigned piece) {
    string digests;
    for (unsigned length = 0; length < 256; length++) {
        string bytes(length, '\0');
        for (unsigned i = 0; i < length; i++) bytes[i] = static_cast<char>(length + i * 7);
        digests += digest_in_pieces(bytes, piece);
        const string last = digests.substr(digests.size() - 16);
        EXPECT_EQ(digest_of(bytes), hex({reinterpret_cast<const uint8_t *>(last.data()), 16}));
    }
    return digest_of(digests);
}

// Returns the bits and the digest of a context that has already counted a number of bits. Its buffer holds the bytes of
// the last block. The context then gets more bytes.
string counted(uint32_t high, uint32_t low, unsigned length) {
    md5_context context;
    MD5Init(&context);
    context.count[0] = low;
    context.count[1] = high;
    memset(context.buffer, 'x', sizeof context.buffer);
    MD5Update(&context, string(length, 'x').data(), length);
    char bits[32];
    snprintf(bits, sizeof bits, "%x:%08x ", context.count[1], context.count[0]);
    uint8_t digest[16];
    MD5Final(digest, &context);
    return bits + hex(digest);
}

TEST(Md5, MoreThan2To32Bits) {
    if (std::endian::native == std::endian::big) GTEST_SKIP() << "too long for an emulated processor";
    const unsigned length = (1u << 29) + 65;
    void *zeros = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    uint8_t digest[16];
    md5_calc(digest, zeros, length);
    EXPECT_EQ(hex(digest), "2e5f0e0511525334d941ba58742cd862");
    munmap(zeros, length);
}

string repeated(const char *text, int times) {
    string all;
    while (times-- > 0) all += text;
    return all;
}

// Returns the code. calc_hmac_md5 writes the code first to a separate buffer, and then over the data.
string hmac(const char *key, int keys, const char *data, int datas) {
    const string whole_key = repeated(key, keys);
    string bytes = repeated(data, datas);
    const unsigned length = size_of(bytes);
    bytes.resize(std::max<size_t>(bytes.size(), 16));
    auto *const over = reinterpret_cast<uint8_t *>(bytes.data());
    uint8_t mac[16] = {};
    for (uint8_t *const to : {mac, over})
        EXPECT_EQ(calc_hmac_md5(whole_key.data(), static_cast<int>(whole_key.size()), over, length, to), 0);
    EXPECT_EQ(hex(mac), hex({over, 16}));
    return hex(mac);
}

string md5(const char *text) { return digest_of(text); }

TEST(Md5, Cases) { quill::test::expect_cases("security/md5.cases", QUILL_CASE_FUNCTIONS(md5, lengths, counted, hmac)); }

TEST(HmacMd5, RefusedArguments) {
    uint8_t mac[16] = {1, 2, 3};
    EXPECT_EQ(calc_hmac_md5(nullptr, 1, "d", 1, mac), 1);
    for (const int length : {0, -1, INT_MIN}) EXPECT_EQ(calc_hmac_md5("k", length, "d", 1, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, nullptr, 1, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, "d", 0, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, "d", 1, nullptr), 1);
    EXPECT_EQ(hex(mac), "010203" + string(26, '0'));
}

// Searches the whole stack of a thread that has made a code for bytes that reveal the key.
TEST(HmacMd5, LeavesNoKeyOnTheStack) {
    constexpr size_t kSize = 1 << 20;
    void *stack = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(stack, MAP_FAILED);
    static const string key = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ!?", long_key = key + "+";
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstack(&attributes, stack, kSize), 0);
    const auto run = [](void *) -> void * {
        static uint8_t mac[16];
        for (const string *k : {&key, &long_key}) calc_hmac_md5(k->data(), static_cast<int>(k->size()), "data", 4, mac);
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    uint8_t short_key[16];
    md5_calc(short_key, long_key.data(), 65);
    for (string piece : {key.substr(0, 16), string(short_key, short_key + 16)}) {
        for (const int pad : {0, 0x36, 0x36 ^ 0x5c}) {  // each piece is made from the previous piece
            for (char &c : piece) c = static_cast<char>(c ^ pad);
            EXPECT_EQ(memmem(stack, kSize, piece.data(), piece.size()), nullptr) << pad;
        }
    }
    munmap(stack, kSize);
}

}  // namespace
