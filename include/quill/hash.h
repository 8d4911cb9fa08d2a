/* quill/hash.h: chained hash tables from a machine word to a machine word.
 *
 * The tables are for the small maps of a daemon: usage counts, sessions, handles. The bucket count is chosen at
 * creation and never changes. A new element goes to the front of its chain without a walk. Records and elements come
 * from two fixed-size object pools of the process ("sHash": 1,000 tables, "sHashElem": 100,000 elements over all
 * tables). So thousands of small elements do not fragment the heap. When a pool is exhausted, creation returns null and
 * insertion returns 0.
 *
 * Cost: an element is 28 bytes on the device (48 on a 64-bit host). A bucket is a pointer and a 32-bit count.
 *
 * Zero values: HashFind returns the value, so it cannot distinguish a key whose value is 0 from an absent key. The two
 * inserts then add a second element for the key. Store non-zero values or pointers. The keyed tables of
 * quill/hash_keyed.h test presence by key and do not have this limit for insertion.
 *
 * Keys: on a 64-bit host a word is wider than an int. So -1 and (uint32_t)-1 are two keys there, but one key on the
 * device. Cast keys that come from 32-bit numbers to uint32_t on insertion and on look-up.
 *
 * Statistics: a table is registered under its name for hash_get_stats, when fewer than 64 tables are registered.
 *
 * Threads: a table has no lock. Only one thread at a time may use it. Threads may work on different tables, create and
 * destroy tables and take statistics at the same time. A build can use a platform's pool in place of the library's.
 * Threads may then do these things at the same time only as far as that pool allows it. A table from HashCreateLocked
 * has no lock either, in spite of the name.
 *
 * Walks: HashGet uses the table's own cursor, and HashGetR uses a cursor of the caller's. The element that was returned
 * last may be removed. A walk on the table's own cursor ends when the element that it would return next is removed. A
 * caller's cursor must not rest on a removed element. A walk may or may not return an element that is inserted during
 * the walk. The order is by bucket, and within a bucket the newest element comes first. A selected field that is 0
 * looks like the end of the walk: select a field that is never 0.
 *
 *     sHash *usage = HashCreate(31);
 *     HashInsertKeyAndValue(usage, vlan, 1);
 *     HashGet(usage, HASH_OP_FIRST, 0);
 *     for (quill_word vlan; (vlan = HashGet(usage, HASH_OP_NEXT, HASH_SEL_KEY)) != 0;)
 *         printf("%u\n", (unsigned)vlan);
 *     HashDestroy(usage); */
#ifndef QUILL_HASH_H
#define QUILL_HASH_H

#include <quill/list.h>
#include <quill/types.h>

QUILL_BEGIN_DECLS

typedef struct sHash sHash;         /* a table */
typedef struct sHashElem sHashElem; /* an element of one; both are handled by pointer only */

/* sHashCursor is a caller's own place in a walk; HASH_OP_FIRST sets it. */
typedef struct sHashCursor {
    int32_t bucket;     /* the bucket that element is in */
    sHashElem *element; /* what the next step returns; null at the end */
} sHashCursor;

/* These numbers select what HashGet and its variants do. Any other number does nothing and gives 0. */
enum {
    HASH_OP_FIRST = 1,    /* put the cursor on the first element; gives 0 */
    HASH_OP_NEXT = 4,     /* the selected field of the element under the cursor, which moves on; 0 at the end */
    HASH_OP_SKIP_100 = 6, /* move the cursor 100 elements on, if it is not at the end; gives 0 */
    HASH_OP_SKIP_N = 7    /* move the cursor on by the number of elements in the sel argument; gives 0 */
};

/* These numbers select which field of an element HASH_OP_NEXT returns. Pointers are borrowed and last until the element
 * is removed. */
enum {
    HASH_SEL_VALUE = 0,
    HASH_SEL_KEY = 1,       /* the key word; the address hash in IP tables */
    HASH_SEL_KEY_COPY = 2,  /* the key text of a string table, as a const char pointer */
    HASH_SEL_KEY_BYTES = 3, /* the 6 key bytes of a MAC table, as a pointer; also any number not listed here */
    HASH_SEL_ADDRESS = 4    /* HashIpAfGet and HashIpAfGetR alone: the key, as a const ip_af_addr pointer */
};

/* HashFunction maps a key to a hash; the bucket is the hash modulo the bucket count. */
typedef uint32_t (*HashFunction)(quill_word key);

/* HashCompare returns non-zero when the stored key equals the searched one. It is called only when the words differ. */
typedef int (*HashCompare)(quill_word stored, quill_word searched);

/* hash_table_list lists the registered tables as sHash pointers; null before the first table is created. The library
 * protects the list with its own lock. So programs must not use it; they call hash_get_stats. */
extern QUILL_API sList *hash_table_list;

/* _HashCreate returns a new, empty table, or null when out of memory. Release it with HashDestroy.
 *
 * buckets is at least 1, else the contract is broken. buckets is used as given; a prime spreads the keys best.
 * Statistics show the name, cut to 63 characters. By convention it is the creating function's name. The line is
 * ignored.
 *
 * The first table of a process also makes the list for hash_get_stats. When memory for that list runs out, the process
 * ends with a contract report. */
QUILL_API sHash *_HashCreate(int32_t buckets, const char *name, int line);

/* HashCreate calls _HashCreate with the name of the function that contains the call, and the line. */
#define HashCreate(buckets) _HashCreate(buckets, __func__, __LINE__)

/* HashCreateExt does what _HashCreate does, for a table with its own hash and compare. A null hash takes the low 32
 * bits of the key. A null compare distinguishes keys by their words alone. Use HashCreateExt for keys that are
 * pointers. */
QUILL_API sHash *HashCreateExt(int32_t buckets, HashFunction hash, HashCompare compare, const char *name, int line);

/* HashCreateLocked does what _HashCreate does, with the name "HashCreateLocked". The table has no lock. */
QUILL_API sHash *HashCreateLocked(int32_t buckets);

/* HashReset removes every element and ends a walk on the table's own cursor. HashReset does not set the count of
 * HashEntries back. Later insertions add to the old count, so do not use it after a reset. Address copies of an IP
 * table are not freed: collect them first (HASH_SEL_ADDRESS) and pass them to free(). Compatibility: programs rely on
 * the count. */
QUILL_API void HashReset(sHash *table);

/* HashDestroy frees the table with all its elements and takes it out of the statistics. For IP tables use
 * HashDestroyIpAf. */
QUILL_API void HashDestroy(sHash *table);

/* HashFind returns the value under key, or 0 when the key is absent. */
QUILL_API quill_word HashFind(const sHash *table, quill_word key);

/* HashInsert inserts key with itself as the value. Returns 1, or 0 when HashFind finds it or memory ran out. */
QUILL_API int HashInsert(sHash *table, quill_word key);

/* HashInsertKeyAndValue inserts key with value. Returns 1, or 0 when HashFind finds it or memory ran out. */
QUILL_API int HashInsertKeyAndValue(sHash *table, quill_word key, quill_word value);

/* HashUpdateKeyAndValue replaces the value under key. Returns 1, or 0 when the key is absent; it never inserts. */
QUILL_API int HashUpdateKeyAndValue(sHash *table, quill_word key, quill_word value);

/* HashRemove removes the newest element under key. Returns 1, or 0 when the key is absent. */
QUILL_API int HashRemove(sHash *table, quill_word key);

/* HashRemoveGet does what HashRemove does and returns the removed value, or 0 when the key is absent. */
QUILL_API quill_word HashRemoveGet(sHash *table, quill_word key);

/* HashGet does op (HASH_OP_…) on the table's own cursor. sel (HASH_SEL_…) selects what a next step returns. Gives 0 for
 * a null table. */
QUILL_API quill_word HashGet(sHash *table, int op, uint32_t sel);

/* HashGetR does what HashGet does, on the caller's cursor. */
QUILL_API quill_word HashGetR(const sHash *table, int op, uint32_t sel, sHashCursor *cursor);

/* HashGetFromBucket walks one bucket on the table's own cursor. It implements only HASH_OP_FIRST and HASH_OP_NEXT. The
 * walk ends after the bucket's last element, with the cursor on the next bucket that holds an element. Gives 0 for a
 * null table or a bucket that does not exist. */
QUILL_API quill_word HashGetFromBucket(sHash *table, int op, uint32_t sel, uint32_t bucket);

/* HashGetRFromBucket does what HashGetFromBucket does, on the caller's cursor. */
QUILL_API quill_word HashGetRFromBucket(const sHash *table, int op, uint32_t sel, uint32_t bucket, sHashCursor *cursor);

/* HashIsEmpty returns 1 when no bucket holds an element, else 0. It checks every bucket. */
QUILL_API int HashIsEmpty(const sHash *table);

/* HashEntries returns the number of elements; see HashReset. */
QUILL_API int32_t HashEntries(const sHash *table);

/* hash_add_table_to_list registers table for statistics when fewer than 64 are registered. Creation already registers
 * the table, so programs do not call this function. A second call for a registered table changes nothing. */
QUILL_API void hash_add_table_to_list(sHash *table);

/* hash_get_stats stores a new buffer that describes the registered tables in *out (release it with free()). It returns
 * the buffer's size in bytes. Without tables the buffer has 4 bytes. When out of memory, it returns 0 and *out is null.
 * All numbers are 32-bit in the host's order:
 *
 *     offset       size  what
 *     0            4     number of records
 *     4 + 76 i     4     bucket count of table i
 *     8 + 76 i     4     elements
 *     12 + 76 i    4     most elements after the first in any bucket since the last HashReset
 *     16 + 76 i    64    name, padded with zero bytes; empty while another thread is still creating the table
 *
 * It may be called while other threads use their tables. The counts of a table in use are those of some moment. */
QUILL_API uint32_t hash_get_stats(void **out);

QUILL_END_DECLS

#endif
