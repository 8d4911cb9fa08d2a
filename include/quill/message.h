/* quill/message.h: whole messages over the checked codec, with one check at the end.
 *
 * A quill_reader and a quill_writer contain a message, the position in it, and the first failure. Each call reads or
 * writes one element. After a failure, later calls do nothing. So a program reads all fields, and then checks once. The
 * failure contains the name and the offset of the field:
 *
 *     uint8_t mac[6] = {0};
 *     uint32_t vlan = 0;
 *     quill_reader in = quill_reader_init(message, length);
 *     quill_read_mac(&in, "station", mac);
 *     quill_read_u32(&in, "vlan", &vlan);
 *     quill_read_check(&in, vlan <= 4094);
 *     if (!quill_read_end(&in))
 *         QuillLog(log, QUILL_LEVEL_WARNING, "message refused: %s at offset %u: %s", in.what, (unsigned)in.offset,
 *                  strerror(in.error));
 *
 *     quill_writer out = quill_writer_init(message, sizeof message);
 *     quill_write_mac(&out, "station", mac);
 *     quill_write_u32(&out, "vlan", vlan);
 *     if (quill_write_end(&out)) send(channel, message, out.next, 0);
 *
 * The elements, and what each function checks, are those of quill/sxdr_safe.h. The message of a reader may hold any
 * bytes. When an element was not read, its destination is unchanged. A program that uses a destination before the check
 * must initialise it.
 *
 * Every function that reads or writes an element takes the name of the field, which may be null. The name is kept as a
 * pointer and is used only for the report.
 *
 * The functions are inline: the library has no symbols for them. They are reentrant. Readers and writers own no memory:
 * they may be copied, and need no release. */
#ifndef QUILL_MESSAGE_H
#define QUILL_MESSAGE_H

#include <errno.h>
#include <quill/sxdr_safe.h>
#include <quill/types.h>
#include <string.h>

QUILL_BEGIN_DECLS

/* quill_reader is a message that is being read. A program may read its fields, but not change them. */
typedef struct quill_reader {
    const uint8_t *message; /* borrowed */
    uint32_t length;        /* bytes in message */
    uint32_t offset;        /* the byte offset of the element that was read or refused last */
    uint32_t next;          /* the byte offset of the element after it; equal to offset after a refusal */
    int error;              /* 0, or the errno value of the first failure */
    const char *what;       /* the name of the element at offset; "start" before the first */
} quill_reader;

/* quill_writer is a message that is being written. A program may read its fields, but not change them. */
typedef struct quill_writer {
    uint8_t *message; /* borrowed */
    uint32_t size;    /* bytes that message has room for */
    uint32_t offset;  /* the byte offset of the element that was written or refused last */
    uint32_t next;    /* the byte offset of the element after it: the number of bytes written so far */
    int error;        /* 0, or the errno value of the first failure */
    const char *what; /* the name of the element at offset; "start" before the first */
} quill_writer;

/* quill_reader_init returns a reader at the start of message, which has length bytes and must outlive it. */
QUILL_INLINE quill_reader quill_reader_init(const void *message, uint32_t length) {
    const quill_reader in = {(const uint8_t *)message, length, 0, 0, 0, "start"};
    return in;
}

/* quill_writer_init returns a writer at the start of message, which has room for size bytes and must outlive it. */
QUILL_INLINE quill_writer quill_writer_init(void *message, uint32_t size) {
    const quill_writer out = {(uint8_t *)message, size, 0, 0, 0, "start"};
    return out;
}

/* quill_read_begin_ and quill_read_done_ surround each read of an element. The first determines whether the element is
 * read, and the second records the result. Programs do not call them. */
QUILL_INLINE int quill_read_begin_(quill_reader *in, const char *what) {
    if (in->error) return 0;
    in->what = what;
    in->offset = in->next;
    return 1;
}
QUILL_INLINE int quill_read_done_(quill_reader *in, int result) {
    if (result < 0) in->error = errno;
    return result;
}

/* quill_text_length_ returns the length of a text, as strlen does, for a message. A text whose length does not fit in
 * 32 bits is refused for its length, and a null text is refused as a null source. */
QUILL_INLINE uint32_t quill_text_length_(const char *text) {
    const size_t length = text ? strlen(text) : 0;
    return length < UINT32_MAX ? (uint32_t)length : UINT32_MAX;
}

/* quill_write_begin_ and quill_write_done_ surround each write of an element, as quill_read_begin_ and quill_read_done_
 * surround a read. */
QUILL_INLINE int quill_write_begin_(quill_writer *out, const char *what) {
    if (out->error) return 0;
    out->what = what;
    out->offset = out->next;
    return 1;
}
QUILL_INLINE void quill_write_done_(quill_writer *out, int result) {
    if (result < 0) out->error = errno;
}

/* --- Readers. These functions take the reader, the name of the field, and the destination. */

/* quill_read_u8 reads a u8 element into *out. The next four functions read the kind of element that their name
 * contains. */
QUILL_INLINE void quill_read_u8(quill_reader *in, const char *what, uint8_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_u8_safe(in->message, in->length, &in->next, out, sizeof *out));
}
QUILL_INLINE void quill_read_u16(quill_reader *in, const char *what, uint16_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_u16_safe(in->message, in->length, &in->next, out, sizeof *out));
}
QUILL_INLINE void quill_read_u32(quill_reader *in, const char *what, uint32_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_u32_safe(in->message, in->length, &in->next, out, sizeof *out));
}
QUILL_INLINE void quill_read_u64(quill_reader *in, const char *what, uint64_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_u64_safe(in->message, in->length, &in->next, out, sizeof *out));
}
QUILL_INLINE void quill_read_s32(quill_reader *in, const char *what, int32_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_s32_safe(in->message, in->length, &in->next, out, sizeof *out));
}

/* quill_read_bool reads a bool element: *out becomes 1 for a byte of exactly 1, else 0. */
QUILL_INLINE void quill_read_bool(quill_reader *in, const char *what, uint8_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_bool_safe(in->message, in->length, &in->next, out, sizeof *out));
}

/* quill_read_ip reads an IPv4 address in network order, as in in_addr.s_addr. */
QUILL_INLINE void quill_read_ip(quill_reader *in, const char *what, uint32_t *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_ip_safe(in->message, in->length, &in->next, out, sizeof *out));
}

/* quill_read_ipv6 reads an IPv6 address into the 16 bytes of out, in transmission order. */
QUILL_INLINE void quill_read_ipv6(quill_reader *in, const char *what, uint8_t out[16]) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_ipv6_safe(in->message, in->length, &in->next, out, 16));
}

/* quill_read_ip_af reads an address with its family. */
QUILL_INLINE void quill_read_ip_af(quill_reader *in, const char *what, ip_af_addr *out) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_ip_af_safe(in->message, in->length, &in->next, out, sizeof *out));
}

/* quill_read_mac reads a MAC address into the 6 bytes of out, in transmission order. */
QUILL_INLINE void quill_read_mac(quill_reader *in, const char *what, uint8_t out[6]) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_mac_safe(in->message, in->length, &in->next, out, 6));
}

/* quill_read_str and quill_read_long_str read a text into out, which has capacity bytes. The text is refused when
 * capacity is less than its length + 1. The text ends with a NUL, and may contain other NULs. */
QUILL_INLINE void quill_read_str(quill_reader *in, const char *what, char *out, uint32_t capacity) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_str_safe(in->message, in->length, &in->next, out, capacity));
}
QUILL_INLINE void quill_read_long_str(quill_reader *in, const char *what, char *out, uint32_t capacity) {
    if (quill_read_begin_(in, what))
        quill_read_done_(in, sxdr_read_long_str_safe(in->message, in->length, &in->next, out, capacity));
}

/* quill_read_hex and quill_read_long_hex read data into out, which has capacity bytes, and store its length in *length.
 * A refusal leaves both unchanged. */
QUILL_INLINE void quill_read_hex(quill_reader *in, const char *what, void *out, uint32_t capacity, uint32_t *length) {
    if (!quill_read_begin_(in, what)) return;
    const int got = quill_read_done_(in, sxdr_read_hex_safe(in->message, in->length, &in->next, out, capacity));
    if (got >= 0) *length = (uint32_t)got;
}
QUILL_INLINE void quill_read_long_hex(quill_reader *in, const char *what, void *out, uint32_t capacity,
                                      uint32_t *length) {
    if (!quill_read_begin_(in, what)) return;
    const int got = quill_read_done_(in, sxdr_read_long_hex_safe(in->message, in->length, &in->next, out, capacity));
    if (got >= 0) *length = (uint32_t)got;
}

/* quill_read_check refuses the element that was read last, with EPROTO, when holds is 0. A program calls it with the
 * condition that the value must meet. */
QUILL_INLINE void quill_read_check(quill_reader *in, int holds) {
    if (in->error || holds) return;
    in->error = EPROTO;
    in->next = in->offset;
}

/* quill_read_end returns 1 when nothing was refused and the message ends here, else 0. Bytes after the last element are
 * refused with EMSGSIZE, and the name of the field is then "end". */
QUILL_INLINE int quill_read_end(quill_reader *in) {
    if (quill_read_begin_(in, "end") && in->next != in->length) in->error = EMSGSIZE;
    return !in->error;
}

/* --- Writers. These functions take the writer, the name of the field, and the value. */

/* quill_write_u8 writes a u8 element. The next four functions write the kind of element that their name contains. */
QUILL_INLINE void quill_write_u8(quill_writer *out, const char *what, uint8_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_u8_safe(&value, sizeof value, out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_u16(quill_writer *out, const char *what, uint16_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_u16_safe(&value, sizeof value, out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_u32(quill_writer *out, const char *what, uint32_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_u32_safe(&value, sizeof value, out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_u64(quill_writer *out, const char *what, uint64_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_u64_safe(&value, sizeof value, out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_s32(quill_writer *out, const char *what, int32_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_s32_safe(&value, sizeof value, out->message, out->size, &out->next));
}

/* quill_write_bool writes a bool element: 0 for 0, and 1 for any other value. */
QUILL_INLINE void quill_write_bool(quill_writer *out, const char *what, int value) {
    const uint8_t truth = value != 0;
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_bool_safe(&truth, sizeof truth, out->message, out->size, &out->next));
}

/* quill_write_ip writes an IPv4 address that is in network order, as in in_addr.s_addr. */
QUILL_INLINE void quill_write_ip(quill_writer *out, const char *what, uint32_t value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_ip_safe(&value, sizeof value, out->message, out->size, &out->next));
}

/* quill_write_ipv6 writes the 16 bytes of an IPv6 address in transmission order. */
QUILL_INLINE void quill_write_ipv6(quill_writer *out, const char *what, const uint8_t value[16]) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_ipv6_safe(value, 16, out->message, out->size, &out->next));
}

/* quill_write_ip_af writes an address with its family. */
QUILL_INLINE void quill_write_ip_af(quill_writer *out, const char *what, const ip_af_addr *value) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_ip_af_safe(value, sizeof *value, out->message, out->size, &out->next));
}

/* quill_write_mac writes the 6 bytes of a MAC address in transmission order. */
QUILL_INLINE void quill_write_mac(quill_writer *out, const char *what, const uint8_t value[6]) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_mac_safe(value, 6, out->message, out->size, &out->next));
}

/* quill_write_str and quill_write_long_str write a text that ends with a NUL. quill_write_str refuses a null text and
 * one of more than 65,535 bytes (EINVAL). It writes an empty text, which quill_write_long_str refuses (ENODATA). */
QUILL_INLINE void quill_write_str(quill_writer *out, const char *what, const char *text) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out,
                          sxdr_write_str_safe(text, quill_text_length_(text), out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_long_str(quill_writer *out, const char *what, const char *text) {
    if (quill_write_begin_(out, what))
        quill_write_done_(
            out, sxdr_write_long_str_safe(text, quill_text_length_(text), out->message, out->size, &out->next));
}

/* quill_write_hex and quill_write_long_hex write length bytes of data. A hex has at most 65,535 bytes.
 * quill_write_long_hex refuses empty data. */
QUILL_INLINE void quill_write_hex(quill_writer *out, const char *what, const void *data, uint32_t length) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_hex_safe(data, length, out->message, out->size, &out->next));
}
QUILL_INLINE void quill_write_long_hex(quill_writer *out, const char *what, const void *data, uint32_t length) {
    if (quill_write_begin_(out, what))
        quill_write_done_(out, sxdr_write_long_hex_safe(data, length, out->message, out->size, &out->next));
}

/* quill_write_end returns 1 when every element was written, else 0. After a 1, the message is the first out->next
 * bytes. */
QUILL_INLINE int quill_write_end(const quill_writer *out) { return !out->error; }

QUILL_END_DECLS

#endif
