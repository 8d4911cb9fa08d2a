/* quill/sxdr_safe.h: the tagged value codec with every bound checked.
 *
 * The elements are those of quill/sxdr.h, byte for byte, except hex32, which this form does not have. Use this codec
 * for messages of other processes: such a message may hold any bytes. Sizes, cursors and pointers come from the program
 * and must be correct. quill/message.h reads and writes whole messages with these functions, and needs only one check
 * at the end.
 *
 * The cursor is a byte offset into the message. On success it moves past the element. On failure it is unchanged. A
 * null cursor means offset 0. No function checks for bytes after the last element. A program that allows none must
 * compare the cursor with the length.
 *
 * Every function returns the number of value bytes that it wrote or read, without tag and length. This is the width of
 * a fixed kind, or the length of a text or of data. When it fails, it returns -1 with errno set. The cursor, the
 * message and the destination are then unchanged:
 *
 *     EINVAL     message, source or destination is null; or a str or hex of 65,536 bytes or more is written
 *     ENODATA    writer: the source is smaller than the value, or a long kind is empty;
 *                reader: the message ends before the element's fixed part does
 *     EOVERFLOW  writer: the element does not fit in the rest of the message buffer;
 *                reader: the destination is too small;
 *                both: a length above INT32_MAX, which does not fit in the result
 *     EBADMSG    reader: the element, or an element inside a bool or s32, is of another kind
 *     EMSGSIZE   reader: the stored length of a text or of data runs past the end of the message
 *
 * All functions are reentrant.
 *
 *     uint8_t message[64];
 *     uint32_t end = 0, at = 0, vlan = 20, got;
 *     sxdr_write_mac_safe(mac, 6, message, sizeof message, &end);
 *     sxdr_write_u32_safe(&vlan, sizeof vlan, message, sizeof message, &end);
 *     …
 *     if (sxdr_read_mac_safe(message, end, &at, mac, 6) < 0 ||
 *         sxdr_read_u32_safe(message, end, &at, &got, sizeof got) < 0 || at != end)
 *         fprintf(stderr, "refused at offset %u: %s\n", (unsigned)at, strerror(errno)); */
#ifndef QUILL_SXDR_SAFE_H
#define QUILL_SXDR_SAFE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- Writers. They take the source, its size in bytes, the message buffer, that buffer's size in bytes, and the
 * cursor. For a fixed kind, source_size must be at least the width of the value. The function returns that width.
 * sxdr_write_bool_safe writes the byte as it is: 2 is written as 2, and a reader reads it as 0. */
QUILL_API int sxdr_write_u8_safe(const uint8_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                 uint32_t *cursor);
QUILL_API int sxdr_write_u16_safe(const uint16_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_u32_safe(const uint32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_u64_safe(const uint64_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_ip_safe(const uint32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                 uint32_t *cursor);
QUILL_API int sxdr_write_ipv6_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                                   uint32_t *cursor);
QUILL_API int sxdr_write_ip_af_safe(const ip_af_addr *source, uint32_t source_size, void *message,
                                    uint32_t message_size, uint32_t *cursor);
QUILL_API int sxdr_write_mac_safe(const void *source, uint32_t source_size, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_bool_safe(const uint8_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                   uint32_t *cursor);
QUILL_API int sxdr_write_s32_safe(const int32_t *source, uint32_t source_size, void *message, uint32_t message_size,
                                  uint32_t *cursor);

/* The functions below write length bytes of source as a str, hex, str3 and hex_len32 element. They do not search for a
 * NUL. An empty str or hex is written as such. An empty str3 or hex_len32 is refused with ENODATA. */
QUILL_API int sxdr_write_str_safe(const char *source, uint32_t length, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_hex_safe(const void *source, uint32_t length, void *message, uint32_t message_size,
                                  uint32_t *cursor);
QUILL_API int sxdr_write_long_str_safe(const char *source, uint32_t length, void *message, uint32_t message_size,
                                       uint32_t *cursor);
QUILL_API int sxdr_write_long_hex_safe(const void *source, uint32_t length, void *message, uint32_t message_size,
                                       uint32_t *cursor);

/* --- Readers. They take the message, its length in bytes, the cursor, the destination, and its capacity in bytes. For
 * a fixed kind, the capacity must be at least the width of the value. That width is the result. Fixed kinds check the
 * capacity before the tag. sxdr_read_bool_safe stores 1 only for a byte of exactly 1. */
QUILL_API int sxdr_read_u8_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t *out,
                                uint32_t capacity);
QUILL_API int sxdr_read_u16_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint16_t *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_u32_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint32_t *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_u64_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint64_t *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_ip_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint32_t *out,
                                uint32_t capacity);
QUILL_API int sxdr_read_ipv6_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out,
                                  uint32_t capacity);
QUILL_API int sxdr_read_ip_af_safe(const void *message, uint32_t message_length, uint32_t *cursor, ip_af_addr *out,
                                   uint32_t capacity);
QUILL_API int sxdr_read_mac_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_bool_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t *out,
                                  uint32_t capacity);
QUILL_API int sxdr_read_s32_safe(const void *message, uint32_t message_length, uint32_t *cursor, int32_t *out,
                                 uint32_t capacity);

/* The functions below read a str, hex, str3 and hex_len32 element. A text needs a capacity of its length + 1 and gets a
 * NUL. Data needs a capacity of its length. The capacity is checked last. */
QUILL_API int sxdr_read_str_safe(const void *message, uint32_t message_length, uint32_t *cursor, char *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_hex_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out,
                                 uint32_t capacity);
QUILL_API int sxdr_read_long_str_safe(const void *message, uint32_t message_length, uint32_t *cursor, char *out,
                                      uint32_t capacity);
QUILL_API int sxdr_read_long_hex_safe(const void *message, uint32_t message_length, uint32_t *cursor, void *out,
                                      uint32_t capacity);

/* The functions below return the length of the text or data in the element at offset, without reading the element. */
QUILL_API int sxdr_read_str_size_safe(const void *message, uint32_t message_length, uint32_t offset);
QUILL_API int sxdr_read_long_str_size_safe(const void *message, uint32_t message_length, uint32_t offset);
QUILL_API int sxdr_read_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset);
QUILL_API int sxdr_read_long_hex_size_safe(const void *message, uint32_t message_length, uint32_t offset);

/* sxdr_read_hex_malloc_safe reads a hex element into a new buffer (release it with free()). It stores the buffer in
 * *out and its size in *size. The size is the length. For an empty element the buffer is one zero byte, and *size is 1.
 * Returns the length. On failure it returns -1 with errno as above or ENOMEM, and stores nothing. A null cursor is
 * refused here with EINVAL. */
QUILL_API int sxdr_read_hex_malloc_safe(const void *message, uint32_t message_length, uint32_t *cursor, uint8_t **out,
                                        uint32_t *size);

QUILL_END_DECLS

#endif
