/* quill/md5.h: the MD5 message digest (RFC 1321) and HMAC-MD5 (RFC 2104), for checksums and for peers that support
 * nothing newer. MD5 is broken as a signature: a party that chooses the data can make two inputs with the same digest.
 *
 * A digest is 16 bytes, the same on every host. Data may have any size and alignment. Only one thread at a time may use
 * a context. All functions are reentrant, and none allocates.
 *
 *     md5_context context;
 *     uint8_t digest[MD5_DIGEST_SIZE];
 *     MD5Init(&context);
 *     while ((n = fread(part, 1, sizeof part, file)) > 0) MD5Update(&context, part, (unsigned)n);
 *     MD5Final(digest, &context); */
#ifndef QUILL_MD5_H
#define QUILL_MD5_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

enum { MD5_DIGEST_SIZE = 16, MD5_BLOCK_SIZE = 64 };

/* md5_context is the state of a digest. The caller provides its 88 bytes, which hold no pointers. A copy of a context
 * continues the digest from the same point. */
typedef struct md5_context {
    uint32_t state[4];              /* chaining values A, B, C, D */
    uint32_t count[2];              /* bits so far modulo 2^64, low word first */
    uint8_t buffer[MD5_BLOCK_SIZE]; /* the last count / 8 % 64 bytes, less than a block; the rest has no meaning */
} md5_context;

/* MD5Init starts a digest, whatever context held before. */
QUILL_API void MD5Init(md5_context *context);

/* MD5Update adds length bytes of input to the digest. The split of the data over several calls makes no difference. A
 * length of 0 changes nothing; input may then be null. */
QUILL_API void MD5Update(md5_context *context, const void *input, unsigned int length);

/* MD5Final writes the digest, and then zeroes the whole context. Call MD5Init before the context is used again. */
QUILL_API void MD5Final(uint8_t digest[MD5_DIGEST_SIZE], md5_context *context);

/* md5_calc and md5_wd write the digest of length bytes of input. They differ only in the position of the argument
 * digest. A length of 0 gives d41d8cd98f00b204e9800998ecf8427e; input may then be null. digest may overlap input. */
QUILL_API void md5_calc(uint8_t digest[MD5_DIGEST_SIZE], const void *input, unsigned int length);
QUILL_API void md5_wd(const void *input, unsigned int length, uint8_t digest[MD5_DIGEST_SIZE]);

/* calc_hmac_md5 writes the HMAC-MD5 of data_length bytes of data to mac. A key of more than 64 bytes is replaced by its
 * digest, as the standard requires. mac may overlap key and data. The pads, which hold the key, are wiped from the
 * stack.
 *
 * Returns 0 when mac is written. Returns 1, with mac unchanged, when a pointer is null, key_length is 0 or negative, or
 * data_length is 0. Compatibility: callers treat an empty message as an error, although the standard defines the HMAC
 * of an empty message. */
QUILL_API int calc_hmac_md5(const void *key, int key_length, const void *data, unsigned int data_length,
                            uint8_t mac[MD5_DIGEST_SIZE]);

QUILL_END_DECLS

#endif
