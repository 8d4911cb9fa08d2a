/* quill/sxdr.h: the tagged value codec of messages between processes, in the form without bounds checks.
 *
 * A message is a sequence of elements, with no header, alignment or padding. An element consists of a tag byte, a
 * length for some kinds, and the value. Every number in a message is big-endian on every host, and texts have no NUL:
 *
 *     tag  kind       after the tag                                              element size
 *     0    str        u16 length n, n bytes of text                              n + 3
 *     1    mac        6 bytes                                                    7
 *     2    u8         1 byte                                                     2
 *     3    u16        2 bytes                                                    3
 *     4    u32        4 bytes                                                    5
 *     5    ip         4 bytes of IPv4 address as in memory (network order)       5
 *     6    s32        a bool element (1: negative), a u32 element (magnitude)    9
 *     7    bool       a u8 element of 0 or 1                                     3
 *     8    hex        u16 length n, n bytes of data                              n + 3
 *     9    u64        8 bytes                                                    9
 *     10   ipv6       16 bytes                                                   17
 *     11   ip_af      u16 family, 2 filler bytes, 16 address bytes               21
 *     12   str3       u32 length n, n bytes of text                              n + 5
 *     13   hex_len32  u32 length n; n bytes of data follow                       5, or n + 5 with the data
 *     14   hex32      u32 length n, n bytes of data                              n + 5
 *
 * Trust: these functions check no bounds. Writers need a buffer sized with the sxdr_size functions. Readers need a
 * message that the program wrote itself. Messages of other processes are read with quill/sxdr_safe.h or
 * quill/message.h.
 *
 * Writers return the bytes written. Readers return the bytes consumed, or 0 when the element is of another kind. The
 * comment of each reader describes the output in that case. Buffers need no alignment. All functions are reentrant. */
#ifndef QUILL_SXDR_H
#define QUILL_SXDR_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- Writers */

/* The functions below write one value of the kind that their name contains. sxdr_write_bool writes 1 for any value but
 * 0. The ipv6, ip_af and mac writers take a pointer to the 16 bytes, to the record, and to the 6 bytes. */
QUILL_API uint32_t sxdr_write_u8(uint8_t value, void *buffer);
QUILL_API uint32_t sxdr_write_u16(uint16_t value, void *buffer);
QUILL_API uint32_t sxdr_write_u32(uint32_t value, void *buffer);
QUILL_API uint32_t sxdr_write_u64(uint64_t value, void *buffer);
QUILL_API uint32_t sxdr_write_ip(uint32_t value, void *buffer);
QUILL_API uint32_t sxdr_write_ipv6(const void *value, void *buffer);
QUILL_API uint32_t sxdr_write_ip_af(const ip_af_addr *value, void *buffer);
QUILL_API uint32_t sxdr_write_mac(const void *value, void *buffer);
QUILL_API uint32_t sxdr_write_bool(int value, void *buffer);
QUILL_API uint32_t sxdr_write_s32(int32_t value, void *buffer);

/* sxdr_write_str writes text as a str element. A text of 65,536 bytes or more is cut to its length modulo 65,536. Use
 * sxdr_write_str3 for such a text. Compatibility: peers rely on the cut. The source text or data may overlap the
 * destination buffer. */
QUILL_API uint32_t sxdr_write_str(const char *text, void *buffer);

/* sxdr_write_str2 does what sxdr_write_str does, for at most maximum bytes: sxdr_write_str2("abcdef", buffer, 4) writes
 * abcd and returns 7. */
QUILL_API uint32_t sxdr_write_str2(const char *text, void *buffer, uint32_t maximum);

/* sxdr_write_str3 writes text as a str3 element, of any length. */
QUILL_API uint32_t sxdr_write_str3(const char *text, void *buffer);

/* sxdr_write_hex writes length bytes of data as a hex element. Only the low 16 bits of length are used. */
QUILL_API uint32_t sxdr_write_hex(const void *data, uint32_t length, void *buffer);

/* sxdr_write_hex32 writes length bytes of data as a hex32 element. */
QUILL_API uint32_t sxdr_write_hex32(const void *data, uint32_t length, void *buffer);

/* sxdr_write_hex_len32 writes only the 5-byte head of a hex_len32 element; the caller appends the data. */
QUILL_API uint32_t sxdr_write_hex_len32(uint32_t length, void *buffer);

/* --- Readers of fixed size. On an element of another kind they return 0 and store zero. sxdr_read_ipv6 then stores
 * zero only in the first 4 bytes of out. sxdr_read_bool stores 1 only for a byte of exactly 1. Likewise, an s32 is
 * negative only when its sign byte is exactly 1. A bool or s32 element whose inner element has a wrong tag counts as an
 * element of another kind. The ipv6 and mac readers store 16 and 6 bytes. Compatibility: programs rely on the other 12
 * bytes of an IPv6 address being unchanged. */
QUILL_API uint32_t sxdr_read_u8(uint8_t *out, const void *source);
QUILL_API uint32_t sxdr_read_u16(uint16_t *out, const void *source);
QUILL_API uint32_t sxdr_read_u32(uint32_t *out, const void *source);
QUILL_API uint32_t sxdr_read_u64(uint64_t *out, const void *source);
QUILL_API uint32_t sxdr_read_ip(uint32_t *out, const void *source);
QUILL_API uint32_t sxdr_read_ipv6(void *out, const void *source);
QUILL_API uint32_t sxdr_read_ip_af(ip_af_addr *out, const void *source);
QUILL_API uint32_t sxdr_read_mac(void *out, const void *source);
QUILL_API uint32_t sxdr_read_bool(uint8_t *out, const void *source);
QUILL_API uint32_t sxdr_read_s32(int32_t *out, const void *source);

/* --- Readers of texts. On an element of another kind they return 0 and store an empty text. */

/* sxdr_read_str reads a str element with a NUL added. out must hold sxdr_read_str_size(source) + 1 bytes. */
QUILL_API uint32_t sxdr_read_str(char *out, const void *source);

/* sxdr_read_str2 reads a str element into out: the whole text when it has at most capacity bytes, else its first
 * capacity - 1. It adds a NUL, so out must hold capacity + 1 bytes. A capacity of 0 stores just the NUL.
 *
 * Returns the copied length + 3. When the text was cut, this is not the element's size. Call sxdr_read_str_size first
 * when more elements follow. Compatibility: programs rely on the result. */
QUILL_API uint32_t sxdr_read_str2(char *out, const void *source, uint32_t capacity);

/* sxdr_read_str3 reads a str3 element with a NUL added. out must have room for all of it. */
QUILL_API uint32_t sxdr_read_str3(char *out, const void *source);

/* sxdr_read_str_new reads the str element at source into out (capacity bytes). source is offset bytes into a message of
 * message_length bytes. sxdr_read_str_new also returns 0 with an empty text when the element extends past the message.
 * The same happens when the text and its NUL do not fit in out. With a capacity of 0 nothing is written. */
QUILL_API uint32_t sxdr_read_str_new(char *out, uint32_t capacity, const void *source, uint32_t offset,
                                     uint32_t message_length);

/* --- Readers of data. On an element of another kind they return 0. */

/* sxdr_read_hex reads a hex element into a new buffer of exactly the data's length; release it with free(). For an
 * empty element it stores nothing in *out and returns 3. For an element of another kind, and when memory runs out, it
 * stores nothing in *out and returns 0. */
QUILL_API uint32_t sxdr_read_hex(uint8_t **out, const void *source);

/* sxdr_read_hex32 does what sxdr_read_hex does, for a hex32 element. It returns 5 for an empty element. */
QUILL_API uint32_t sxdr_read_hex32(uint8_t **out, const void *source);

/* sxdr_read_hex2 reads a hex element into out (capacity bytes) and its length into *length. It adds a zero byte after
 * the data when there is room. Data that is longer than capacity is skipped: out and *length are unchanged, and the
 * result is still the element's size. */
QUILL_API uint32_t sxdr_read_hex2(void *out, uint32_t capacity, uint32_t *length, const void *source);

/* sxdr_read_hex2_len32 reads the head of a hex_len32 element into *length and returns 5; the data follows. */
QUILL_API uint32_t sxdr_read_hex2_len32(uint32_t *length, const void *source);

/* sxdr_read_hex_new does for a hex element what sxdr_read_str_new does for a str element. It first zeroes all capacity
 * bytes of out. Data of exactly capacity bytes fits, because no NUL is added. It also returns 0 for a null out or
 * source. */
QUILL_API uint32_t sxdr_read_hex_new(void *out, uint32_t capacity, const void *source, uint32_t offset,
                                     uint32_t message_length);

/* --- Lengths of elements that are still to be read */

/* sxdr_read_str_size returns the length of the text in a str element, or UINT32_MAX for an element of another kind. */
QUILL_API uint32_t sxdr_read_str_size(const void *source);

/* sxdr_read_hex_size and sxdr_read_hex32_size return the length of the data in a hex and a hex32 element. They return 0
 * for an element of another kind. */
QUILL_API uint32_t sxdr_read_hex_size(const void *source);
QUILL_API uint32_t sxdr_read_hex32_size(const void *source);

/* --- Sizes of elements that are still to be written. The kinds with a 32-bit length have no function: the size is the
 * length + 5. The sxdr_size functions do not cut a length of 65,536 or more, unlike the writers. */
QUILL_API uint32_t sxdr_size_u8(void);
QUILL_API uint32_t sxdr_size_u16(void);
QUILL_API uint32_t sxdr_size_u32(void);
QUILL_API uint32_t sxdr_size_u64(void);
QUILL_API uint32_t sxdr_size_ip(void);
QUILL_API uint32_t sxdr_size_ipv6(void);
QUILL_API uint32_t sxdr_size_ip_af(void);
QUILL_API uint32_t sxdr_size_mac(void);
QUILL_API uint32_t sxdr_size_bool(int value);
QUILL_API uint32_t sxdr_size_s32(void);
QUILL_API uint32_t sxdr_size_str(const char *text);
QUILL_API uint32_t sxdr_size_hex(const void *data, uint32_t length);

QUILL_END_DECLS

#endif
