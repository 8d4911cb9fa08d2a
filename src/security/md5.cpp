#include <quill/md5.h>
#include <string.h>

#include <utility>  // IWYU pragma: keep

#include "base/endian.h"
#include "security/wipe.h"

// How it works
//
// A block of 64 bytes is 16 little-endian words, which 64 steps mix into the four chaining values. Each step changes
// one value. The next step changes the value before that one. The steps are unrolled by the compiler from one template,
// so that the values stay in registers and change places by name only. Whole blocks are read from the caller's memory;
// only incomplete blocks at the ends go through the buffer of the context.

namespace {

static_assert(sizeof(md5_context) == 88);

constexpr uint32_t kInitial[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// 2^32 times the absolute sine of step + 1.
constexpr uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

// A round is 16 steps. Step i reads the word with the number offset + i * stride, modulo 16.
struct Round {
    unsigned offset, stride;
    unsigned shifts[4];  // the steps use them in turn
};

constexpr Round kRounds[] = {
    {0, 1, {7, 12, 17, 22}},
    {1, 5, {5, 9, 14, 20}},
    {5, 3, {4, 11, 16, 23}},
    {0, 7, {6, 10, 15, 21}},
};

constexpr uint8_t kPadding[MD5_BLOCK_SIZE] = {0x80};
constexpr size_t kCountAt = MD5_BLOCK_SIZE - 8;

constexpr uint8_t kInnerPad = 0x36, kOuterPad = 0x5c;

constexpr uint32_t rotate_left(uint32_t v, unsigned n) { return v << n | v >> (32 - n); }

// Returns sum + f(b, c, d), where f is the function of the round. b is the result of the step before, so as little work
// as possible should depend on it. The second function is therefore a sum of which one half does not use b.
template <unsigned round>
uint32_t add_mixed(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (round == 0) return sum + (d ^ (b & (c ^ d)));
    if constexpr (round == 1) return sum + (~d & c) + (d & b);
    if constexpr (round == 2) return sum + (b ^ (c ^ d));
    if constexpr (round == 3) return sum + (c ^ (b | ~d));
}

template <unsigned i>
[[gnu::always_inline]] inline void step(uint32_t (&v)[4], const uint8_t *block) {
    constexpr Round kRound = kRounds[i / 16];
    constexpr unsigned kWord = (kRound.offset + i * kRound.stride) % 16;
    constexpr unsigned kA = -i % 4, kB = (kA + 1) % 4, kC = (kA + 2) % 4, kD = (kA + 3) % 4;
    const uint32_t sum = v[kA] + kSines[i] + quill::load_le<uint32_t>(block + size_t{4} * kWord);
    v[kA] = v[kB] + rotate_left(add_mixed<i / 16>(sum, v[kB], v[kC], v[kD]), kRound.shifts[i % 4]);
}

template <size_t... i>
[[gnu::always_inline]] inline void all_steps(uint32_t (&v)[4], const uint8_t *block, std::index_sequence<i...>) {
    (step<i>(v, block), ...);
}

void compress(uint32_t (&state)[4], const uint8_t *blocks, size_t count) {
    uint32_t v[4] = {state[0], state[1], state[2], state[3]};
    for (; count > 0; count--, blocks += MD5_BLOCK_SIZE) {
        const uint32_t before[4] = {v[0], v[1], v[2], v[3]};
        all_steps(v, blocks, std::make_index_sequence<64>());
        for (int i = 0; i < 4; i++) v[i] += before[i];
    }
    memcpy(state, v, sizeof v);
}

size_t buffered(const md5_context &context) { return context.count[0] / 8 % MD5_BLOCK_SIZE; }

void add_to_count(md5_context &context, uint32_t length) {
    const uint32_t bits = length << 3;
    context.count[0] += bits;
    context.count[1] += (length >> 29) + (context.count[0] < bits);
}

void make_pad(uint8_t (&pad)[MD5_BLOCK_SIZE], const uint8_t *key, size_t key_length, uint8_t fill) {
    memset(pad, fill, sizeof pad);
    for (size_t i = 0; i < key_length; i++) pad[i] ^= key[i];
}

// Computes the digest of the key XORed with fill, followed by data.
void keyed_digest(uint8_t *digest, const uint8_t *key, size_t key_length, uint8_t fill, const void *data,
                  unsigned length) {
    uint8_t pad[MD5_BLOCK_SIZE];
    md5_context context;
    make_pad(pad, key, key_length, fill);
    MD5Init(&context);
    MD5Update(&context, pad, sizeof pad);
    MD5Update(&context, data, length);
    MD5Final(digest, &context);
    quill::wipe(pad);
}

}  // namespace

void MD5Init(md5_context *context) {
    memcpy(context->state, kInitial, sizeof kInitial);
    memset(context->count, 0, sizeof context->count);
}

void MD5Update(md5_context *context, const void *input, unsigned length) {
    if (length == 0) return;
    auto *bytes = static_cast<const uint8_t *>(input);
    const size_t waiting = buffered(*context), missing = MD5_BLOCK_SIZE - waiting;
    size_t left = length;
    add_to_count(*context, length);
    if (left < missing) {
        memcpy(context->buffer + waiting, bytes, left);
        return;
    }
    if (waiting > 0) {
        memcpy(context->buffer + waiting, bytes, missing);
        compress(context->state, context->buffer, 1);
        bytes += missing;
        left -= missing;
    }
    const size_t rest = left % MD5_BLOCK_SIZE;
    compress(context->state, bytes, left / MD5_BLOCK_SIZE);
    memcpy(context->buffer, bytes + (left - rest), rest);
}

void MD5Final(uint8_t *digest, md5_context *context) {
    uint8_t count[8];
    for (size_t i = 0; i < 2; i++) quill::store_le(count + 4 * i, context->count[i]);
    const size_t waiting = buffered(*context);
    const size_t padding = waiting < kCountAt ? kCountAt - waiting : MD5_BLOCK_SIZE + kCountAt - waiting;
    MD5Update(context, kPadding, static_cast<unsigned>(padding));
    MD5Update(context, count, sizeof count);
    for (size_t i = 0; i < 4; i++) quill::store_le(digest + 4 * i, context->state[i]);
    quill::wipe(*context);
}

void md5_calc(uint8_t *digest, const void *input, unsigned length) {
    md5_context context;
    MD5Init(&context);
    MD5Update(&context, input, length);
    MD5Final(digest, &context);
}

void md5_wd(const void *input, unsigned length, uint8_t *digest) { md5_calc(digest, input, length); }

int calc_hmac_md5(const void *key, int key_length, const void *data, unsigned data_length, uint8_t *mac) {
    if (!key || key_length <= 0 || !data || data_length == 0 || !mac) return 1;
    const auto *key_bytes = static_cast<const uint8_t *>(key);
    auto length = static_cast<unsigned>(key_length);
    uint8_t short_key[MD5_DIGEST_SIZE], inner[MD5_DIGEST_SIZE];
    if (length > MD5_BLOCK_SIZE) {
        md5_calc(short_key, key, length);
        key_bytes = short_key;
        length = sizeof short_key;
    }
    keyed_digest(inner, key_bytes, length, kInnerPad, data, data_length);
    keyed_digest(mac, key_bytes, length, kOuterPad, inner, sizeof inner);
    quill::wipe(short_key);
    quill::wipe(inner);
    return 0;
}
