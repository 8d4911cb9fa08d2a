/* quill/tlv.h: messages of type-length-value records, driven by a table of typed fields.
 *
 * A program describes its fields in a definition table, with one row for each type number. The sender sets values, and
 * packs every set field into a buffer. The receiver unpacks the buffer into the same fields, and skips unknown types.
 * The handler in a field's row defines the form of the field on the wire. This header has handlers for a uint32_t, an
 * int32_t (longhdlr), a text, and a buffer of fixed size.
 *
 * On the wire every number is big-endian on every host, and there is no alignment or padding:
 *
 *     offset  size  what
 *     0       2     total: bytes of records that follow
 *     2             records: a u16 type, then the value as its handler writes it
 *
 *     handler    value on the wire                               bytes
 *     uinthdlr   u16 4, then the 32-bit number                   6
 *     longhdlr   the same                                        6
 *     strhdlr    u16 length n, then n bytes of text, no NUL      2 + n
 *     bufhdlr    u16 length n (the row's size), then n bytes     2 + n
 *
 * A process has one active table at a time: tlvDefn and the values that initTLVLib stores. These have no lock, so only
 * one thread at a time may use these functions. A buffer that is read may contain any bytes. Bytes after its length are
 * not read.
 *
 *     enum { T_UNUSED, T_VLAN, T_SEEN, T_NAME, T_MAC, T_COUNT };
 *     static struct { uint32_t vlan; int32_t seen; char name[32]; uint8_t mac[6]; } station;
 *     static tlv_row rows[T_COUNT] = {
 *         [T_VLAN] = {&station.vlan, uinthdlr, sizeof station.vlan, "vlan", 0},
 *         [T_SEEN] = {&station.seen, longhdlr, sizeof station.seen, "seen", 0},
 *         [T_NAME] = {station.name, strhdlr, sizeof station.name, "name", 0},
 *         [T_MAC] = {station.mac, bufhdlr, sizeof station.mac, "mac", 0},
 *     };
 *     static void use_rows(void) { tlvDefn = rows; }
 *
 *     initTLVLib(use_rows, T_COUNT, &station, sizeof station);
 *     tlvreset();
 *     uint32_t vlan = 20;
 *     tlvset(T_VLAN, &vlan);
 *     tlvset(T_NAME, "printer");
 *     uint8_t message[128];
 *     int size = settlvBuffer(message, sizeof message);       // 2 + (2 + 6) + (2 + 2 + 7) = 21
 *
 *     tlvreset();
 *     if (readtlvBuffer(message, size) == size && tlvisset(T_VLAN))
 *         printf("VLAN %u\n", (unsigned)*(uint32_t *)tlvget(T_VLAN)); */
#ifndef QUILL_TLV_H
#define QUILL_TLV_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

typedef struct tlv_row tlv_row;

/* These numbers select what a handler does. */
enum {
    TLV_ENCODE = 0, /* write the row's value at wire, where remaining bytes are left; gives bytes written */
    TLV_DECODE = 1, /* read the value at wire into the row's storage, at most remaining bytes; gives bytes consumed */
    TLV_SET = 2     /* copy *value into the row's storage, without a wire; gives anything but 0 */
};

/* tlv_handler does op (TLV_…) for row. Its result is as above, or 0 when it fails. */
typedef int (*tlv_handler)(int op, void *wire, int remaining, const void *value, tlv_row *row);

/* tlv_row describes the field of one type number. The library changes only the field set and the object at storage. */
struct tlv_row {
    void *storage;       /* where the value lives, normally in the data area; null: the field receives no values */
    tlv_handler handler; /* null: the type number is unused */
    uint32_t size;       /* capacity of a text's storage, NUL included; the exact length of a buffer */
    const char *name;    /* for messages */
    uint32_t set;        /* 1 once a value was set or received, 0 after a reset */
};

/* tlvDefn points at the definition table, whose index is the type number. The program sets tlvDefn in its table hook.
 */
extern QUILL_API tlv_row *tlvDefn;

/* initTLVLib stores the values that all operations use. Each operation first calls hook (may be null), which can set
 * tlvDefn and update its rows. readtlvBuffer clears the data area before that call. rows is the number of rows. data
 * (kept) is the data area, which a reset and a read clear. An operation with rows above 0 and a null tlvDefn breaks the
 * contract (reported as "tlv:100"). */
QUILL_API void initTLVLib(void (*hook)(void), uint32_t rows, void *data, uint32_t data_size);

/* tlvreset clears the data area, and marks every field that has a handler as not set. Returns the number of rows. */
QUILL_API uint32_t tlvreset(void);

/* tlvset sets the field type to the object at value: a number, a text, or as many bytes as the row's size. Returns what
 * the handler returned. The result is 0 when a text is too long, or when the row has no handler or no storage. tlvset
 * then prints "Error setting data for NAME" on standard output, and the field stays set or not set as before. A type
 * beyond the table ends the process with abort(), in this function and in those below. */
QUILL_API int tlvset(uint32_t type, const void *value);

/* tlvisset returns 1 when the field type is set, else 0. */
QUILL_API uint32_t tlvisset(uint32_t type);

/* tlvget returns the storage of the field type (borrowed from the program itself), or null when the row has no storage.
 * When the field is not set, it returns null and prints "Error getting data for NAME when value is not set" on standard
 * output. */
QUILL_API void *tlvget(uint32_t type);

/* settlvBuffer packs every set field into buffer (length bytes), in ascending order of type numbers. Returns the bytes
 * used. Returns 0 when the fields do not fit into buffer or into a total of 65,535 bytes, or when a handler fails. A
 * text or a buffer above 65,535 bytes is cut to its length modulo 65,536. */
QUILL_API int settlvBuffer(void *buffer, int32_t length);

/* readtlvBuffer clears the data area and unpacks buffer (length bytes) into the fields. It skips types without a row, a
 * handler or storage. It also skips type 0. Compatibility: peers send type 0 as filler. settlvBuffer does write type 0,
 * so leave type 0 unused. Returns the bytes consumed.
 *
 * Returns 0 for a damaged buffer. The fields before the damage are then read, and the damaged field counts as set.
 * Fields that are not in the buffer stay set or not set as before. Call tlvreset before readtlvBuffer, so that only
 * received fields are set. */
QUILL_API int readtlvBuffer(const void *buffer, int32_t length);

/* These functions are the handlers of the table above. An op other than TLV_… ends the process with abort().
 *
 * strhdlr packs a text of n characters only when n + 4 bytes remain, although it writes n + 2. For setting and
 * decoding, the row's size must be above the text's length. A storage that the program filled without a NUL is packed
 * as a text of the row's size. bufhdlr refuses a received buffer that does not have the row's size. */
QUILL_API int uinthdlr(int op, void *wire, int remaining, const void *value, tlv_row *row);
QUILL_API int longhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row);
QUILL_API int strhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row);
QUILL_API int bufhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row);

/* unknownhdlr returns the number of bytes to skip for a record, or 0 when the record's length runs past remaining. The
 * op must be TLV_DECODE. */
QUILL_API int unknownhdlr(int op, void *wire, int remaining);

/* tlv_operations is a table of operations on the message. */
typedef struct tlv_operations {
    uint32_t (*reset)(void);                                /* tlvreset */
    int (*set)(uint32_t type, const void *value);           /* tlvset */
    uint32_t (*isset)(uint32_t type);                       /* tlvisset */
    void *(*get)(uint32_t type);                            /* tlvget */
    int (*set_buffer)(void *buffer, int32_t length);        /* settlvBuffer */
    int (*read_buffer)(const void *buffer, int32_t length); /* readtlvBuffer */
} tlv_operations;

/* HBMSG is a constant table of the functions above. */
extern QUILL_API const tlv_operations HBMSG;

QUILL_END_DECLS

#endif
