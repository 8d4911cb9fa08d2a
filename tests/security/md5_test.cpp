#include <gtest/gtest.h>
#include <pthread.h>
#include <quill/md5.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/guard_page.h"
#include "support/hex.h"
#include "support/random.h"

namespace {

using quill::test::GuardedPage;
using quill::test::hex;
using quill::test::Random;
using std::string;

unsigned size_of(const string &bytes) { return static_cast<unsigned>(bytes.size()); }

// The digest of the one-shot forms, of bytes that end at a guard page and so begin at any alignment.
string digest_of(const string &bytes) {
    static GuardedPage page;
    uint8_t digest[16], again[16];
    const uint8_t *guarded = page.hold({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
    md5_calc(digest, guarded, size_of(bytes));
    md5_wd(guarded, size_of(bytes), again);
    EXPECT_EQ(hex(digest), hex(again));
    return hex(digest);
}

string random_bytes(Random &random, size_t length) {
    string bytes(length, '\0');
    for (char &c : bytes) c = static_cast<char>(random.next());
    return bytes;
}

TEST(Md5, SuiteOfTheStandard) {  // RFC 1321, appendix 5
    const struct {
        const char *text, *digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto &c : cases) EXPECT_EQ(digest_of(c.text), c.digest) << c.text;
    uint8_t digest[16];
    md5_calc(digest, nullptr, 0);
    EXPECT_EQ(hex(digest), cases[0].digest);
}

// Every length up to four blocks and some long ones, against another program; whole, and in random pieces.
TEST(Md5, FilesAsOpensslSeesThem) {
    if (system("openssl version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no openssl to compare with";
    Random random(93);
    string folder = (std::filesystem::temp_directory_path() / "quill-md5-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(folder.data()));
    std::vector<string> contents;
    for (unsigned i = 0; i < 320; i++) {
        contents.push_back(random_bytes(random, i < 260 ? i : random.below(4000)));
        std::ofstream(folder + "/" + std::to_string(1000 + i)) << contents[i];
    }
    FILE *listing = popen(("openssl md5 -r " + folder + "/*").c_str(), "r");
    for (const string &content : contents) {
        char line[200] = "";
        ASSERT_TRUE(fgets(line, sizeof line, listing));
        const string expected(line, 32);
        EXPECT_EQ(digest_of(content), expected) << content.size();
        md5_context context;
        MD5Init(&context);
        const uint32_t most = 1 + random.below(200);
        for (unsigned at = 0, part; at < content.size(); at += part) {
            part = std::min(random.below(most + 1), size_of(content) - at);
            MD5Update(&context, part ? content.data() + at : nullptr, part);
        }
        uint8_t digest[16];
        MD5Final(digest, &context);
        EXPECT_EQ(hex(digest), expected) << content.size() << " in pieces of up to " << most;
        for (const uint8_t byte : reinterpret_cast<const uint8_t(&)[88]>(context)) ASSERT_EQ(byte, 0);
    }
    EXPECT_EQ(pclose(listing), 0);
    std::filesystem::remove_all(folder);
}

TEST(Md5, CountsBitsModulo2To64) {
    const string input(0x10000, 'x');
    for (const uint64_t start : {uint64_t{0xfffffff8}, uint64_t{0xfffffffffff80000}, uint64_t{0x1234567ffffffff8}}) {
        for (const unsigned length : {1u, 8u, 63u, 64u, 65u, 0x10000u}) {
            md5_context context;
            MD5Init(&context);
            context.count[0] = static_cast<uint32_t>(start);
            context.count[1] = static_cast<uint32_t>(start >> 32);
            memset(context.buffer, 'x', sizeof context.buffer);
            MD5Update(&context, input.data(), length);
            const uint64_t bits = start + uint64_t{length} * 8;
            ASSERT_EQ(context.count[1] * 0x100000000u + context.count[0], bits) << start << " + " << length;

            // The blocks that the end adds, made by hand: what waits, 0x80, zeros, the bits from the lowest byte up.
            md5_context by_hand = context;
            const size_t waiting = bits / 8 % 64;
            string end(context.buffer, context.buffer + waiting);
            end += '\x80';
            end.resize(waiting < 56 ? 56 : 120);
            for (int i = 0; i < 8; i++) end += static_cast<char>(bits >> 8 * i);
            by_hand.count[0] = 0;
            MD5Update(&by_hand, end.data(), size_of(end));
            uint8_t digest[16], expected[16];
            for (size_t i = 0; i < 16; i++) expected[i] = static_cast<uint8_t>(by_hand.state[i / 4] >> i % 4 * 8);
            MD5Final(digest, &context);
            EXPECT_EQ(hex(digest), hex(expected)) << start << " + " << length;
        }
    }
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

string hmac_of(const string &key, const string &data) {
    uint8_t mac[16] = {};
    EXPECT_EQ(calc_hmac_md5(key.data(), static_cast<int>(key.size()), data.data(), size_of(data), mac), 0);
    return hex(mac);
}

TEST(HmacMd5, SuiteOfTheStandard) {  // RFC 2202, section 2
    string counted;
    for (char c = 1; c <= 25; c++) counted += c;
    const struct {
        string key, data;
        const char *mac;
    } cases[] = {
        {string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {string(16, '\xaa'), string(50, '\xdd'), "56be34521d144c88dbb8c733f0e8b3f6"},
        {counted, string(50, '\xcd'), "697eaf0aca3a3aea3a75164746ffaa79"},
        {string(16, '\x0c'), "Test With Truncation", "56461ef2342edc00f9bab995690efd4c"},
        {string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
         "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {string(80, '\xaa'), "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
         "6f630fad67cda0ee1fb1f562db3aa53e"},
    };
    for (const auto &c : cases) EXPECT_EQ(hmac_of(c.key, c.data), c.mac) << c.data;
}

string raw_digest(const string &bytes) {
    string digest(16, '\0');
    md5_calc(reinterpret_cast<uint8_t *>(digest.data()), bytes.data(), size_of(bytes));
    return digest;
}

TEST(HmacMd5, KeysOfEveryLength) {
    Random random(2104);
    for (size_t length = 1; length < 200; length++) {
        const string key = random_bytes(random, length);
        string data = random_bytes(random, 1 + random.below(200));
        const string mac = hmac_of(key, data);
        const unsigned data_length = size_of(data);
        string block = length > 64 ? raw_digest(key) : key;
        block.resize(64);
        string inner = block, outer = block;
        for (char &c : inner) c ^= 0x36;
        for (char &c : outer) c ^= 0x5c;
        EXPECT_EQ(mac, digest_of(outer + raw_digest(inner + data))) << length;
        data.resize(std::max<size_t>(data.size(), 16));  // the code goes over the data
        auto *at = reinterpret_cast<uint8_t *>(data.data());
        EXPECT_EQ(calc_hmac_md5(key.data(), static_cast<int>(length), at, data_length, at), 0);
        EXPECT_EQ(hex({at, 16}), mac) << length;
    }
}

TEST(HmacMd5, RefusedArguments) {
    uint8_t mac[16] = {1, 2, 3};
    EXPECT_EQ(calc_hmac_md5(nullptr, 1, "d", 1, mac), 1);
    for (const int length : {0, -1, INT_MIN}) EXPECT_EQ(calc_hmac_md5("k", length, "d", 1, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, nullptr, 1, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, "d", 0, mac), 1);
    EXPECT_EQ(calc_hmac_md5("k", 1, "d", 1, nullptr), 1);
    EXPECT_EQ(hex(mac), "010203" + string(26, '0'));
}

// Looks through the whole stack of a thread that has made a code, for what the key can be had from.
TEST(HmacMd5, LeavesNoKeyOnTheStack) {
    constexpr size_t kSize = 1 << 20;
    void *stack = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(stack, MAP_FAILED);
    Random random(5);
    static string key, long_key;
    key = random_bytes(random, 64), long_key = random_bytes(random, 65);
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
    string short_key = raw_digest(long_key);
    short_key.resize(64);
    for (const string &secret : {key, short_key}) {
        for (const int pad : {0x36, 0x5c, 0}) {
            string piece = secret.substr(0, 16);
            for (char &c : piece) c = static_cast<char>(c ^ pad);
            EXPECT_EQ(memmem(stack, kSize, piece.data(), piece.size()), nullptr) << pad;
        }
    }
    munmap(stack, kSize);
}

}  // namespace
