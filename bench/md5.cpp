// MD5 and its HMAC.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <quill/md5.h>

#include <glib.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <openssl/params.h>

#include <cstring>
#include <memory>

#include "bench.h"

namespace {

using Digest = uint8_t[MD5_DIGEST_SIZE];

const std::vector<uint8_t> &data() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> made(1 << 20);
        for (uint32_t i = 0; i < made.size(); i++) made[i] = static_cast<uint8_t>(bench::scatter(i));
        return made;
    }();
    return bytes;
}

template <typename Hash>
void add_hash(const std::string &row, const char *contender, size_t size, Hash hash) {
    bench::add("MD5: " + row, contender, 0, 1, [=] {
        return bench::Work{[=]() -> uint64_t {
            Digest digest;
            hash(digest, data().data(), size);
            uint64_t head;
            memcpy(&head, digest, sizeof head);
            return head;
        }};
    });
}

void glib_digest(GChecksum *checksum, uint8_t *digest) {
    gsize length = MD5_DIGEST_SIZE;
    g_checksum_get_digest(checksum, digest, &length);
}

void add_size(const std::string &row, size_t size) {
    add_hash(row, "quill", size,
             [](uint8_t *digest, const void *from, size_t n) { md5_calc(digest, from, static_cast<unsigned>(n)); });
    add_hash(row, "OpenSSL, MD5_Init", size, [](uint8_t *digest, const void *from, size_t n) {
        MD5_CTX context;
        MD5_Init(&context);
        MD5_Update(&context, from, n);
        MD5_Final(digest, &context);
    });
    add_hash(row, "OpenSSL, EVP", size, [](uint8_t *digest, const void *from, size_t n) {
        static EVP_MD *const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
        static EVP_MD_CTX *const context = EVP_MD_CTX_new();
        EVP_DigestInit_ex2(context, md5, nullptr);
        EVP_DigestUpdate(context, from, n);
        EVP_DigestFinal_ex(context, digest, nullptr);
    });
    add_hash(row, "GChecksum", size, [](uint8_t *digest, const void *from, size_t n) {
        static GChecksum *const checksum = g_checksum_new(G_CHECKSUM_MD5);
        g_checksum_reset(checksum);
        g_checksum_update(checksum, static_cast<const guchar *>(from), static_cast<gssize>(n));
        glib_digest(checksum, digest);
    });
}

constexpr char kKey[] = "a key of 16 byte";

EVP_MAC_CTX *hmac_md5() {
    EVP_MAC_CTX *context = EVP_MAC_CTX_new(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    char name[] = "MD5";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name, 0),
                                     OSSL_PARAM_construct_end()};
    EVP_MAC_CTX_set_params(context, parameters);
    return context;
}

const bool added = [] {
    add_size("64 bytes", 64);
    add_size("1 KiB", 1024);
    add_size("1 MiB", 1 << 20);
    add_hash("HMAC of 64 bytes", "quill", 64, [](uint8_t *digest, const void *from, size_t n) {
        calc_hmac_md5(kKey, 16, from, static_cast<unsigned>(n), digest);
    });
    add_hash("HMAC of 64 bytes", "OpenSSL, EVP", 64, [](uint8_t *digest, const void *from, size_t n) {
        static EVP_MAC_CTX *const context = hmac_md5();
        size_t length;
        EVP_MAC_init(context, reinterpret_cast<const unsigned char *>(kKey), 16, nullptr);
        EVP_MAC_update(context, static_cast<const unsigned char *>(from), n);
        EVP_MAC_final(context, digest, &length, MD5_DIGEST_SIZE);
    });
    add_hash("HMAC of 64 bytes", "GHmac", 64, [](uint8_t *digest, const void *from, size_t n) {
        GHmac *hmac = g_hmac_new(G_CHECKSUM_MD5, reinterpret_cast<const guchar *>(kKey), 16);
        gsize length = MD5_DIGEST_SIZE;
        g_hmac_update(hmac, static_cast<const guchar *>(from), static_cast<gssize>(n));
        g_hmac_get_digest(hmac, digest, &length);
        g_hmac_unref(hmac);
    });
    return true;
}();

}  // namespace
