/* quill/hash_keyed.h: hash tables keyed by texts, MAC addresses, and IP addresses with their family.
 *
 * A keyed table is an ordinary table from _HashCreate. The functions that a program uses on a table determine its kind
 * of keys. Do not use functions of several kinds on one table. Walks (HashGet), counts, reset and statistics of
 * quill/hash.h work unchanged. The table keeps its own copy of every key. Costs, pools, threads and walks are those of
 * quill/hash.h.
 *
 * Presence is tested by key, so a value of 0 is an ordinary value here. Only the Find functions give 0 both for this
 * value and for an absent key. The key word is 0 in text and MAC tables, so walk them by HASH_SEL_KEY_COPY and
 * HASH_SEL_KEY_BYTES. Update inserts an absent key, which the generic HashUpdateKeyAndValue never does. The table never
 * frees what a value points to. So get the pointer from a Find function before an update or a removal drops it.
 *
 *     sHash *stations = HashCreate(101);
 *     HashMacUpdateKeyAndValue(stations, mac, (quill_word)session);
 *     struct session *s = (struct session *)HashMacFind(stations, mac); */
#ifndef QUILL_HASH_KEYED_H
#define QUILL_HASH_KEYED_H

#include <quill/hash.h>
#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- Texts, compared byte by byte. The hash has 8 bits (Pearson, "Fast hashing of variable-length text strings",
 * CACM 33(6), 1990): buckets above the 256th stay empty, and chains grow with more than a few hundred keys. */

/* HashStringFind returns the value under key, or 0 when the key is absent. */
QUILL_API quill_word HashStringFind(const sHash *table, const char *key);

/* HashIsStringPresent returns 1 when key is in the table, else 0. */
QUILL_API int HashIsStringPresent(const sHash *table, const char *key);

/* HashStringInsertKeyAndValue inserts key with value. Returns 1, or 0 when key is present or memory ran out. */
QUILL_API int HashStringInsertKeyAndValue(sHash *table, const char *key, quill_word value);

/* HashStringInsert inserts key with the value 0. The result is that of HashStringInsertKeyAndValue. */
QUILL_API int HashStringInsert(sHash *table, const char *key);

/* HashStringUpdateKeyAndValue replaces the value under key, or inserts both. Returns 1, or 0 when memory ran out. */
QUILL_API int HashStringUpdateKeyAndValue(sHash *table, const char *key, quill_word value);

/* HashStringRemove removes key. Returns 1, or 0 when it is absent. */
QUILL_API int HashStringRemove(sHash *table, const char *key);

/* --- MAC addresses: 6 bytes in transmission order. The bucket is computed from the last four bytes as a big-endian
 * number, so addresses of one vendor spread well. */

/* HashMacFind returns the value under mac, or 0 when it is absent. */
QUILL_API quill_word HashMacFind(const sHash *table, const void *mac);

/* HashIsMacPresent returns 1 when mac is in the table, else 0. */
QUILL_API int HashIsMacPresent(const sHash *table, const void *mac);

/* HashIsMacPresentandValue does what HashIsMacPresent does, and stores the value in *value when mac is present. value
 * may be null. */
QUILL_API int HashIsMacPresentandValue(const sHash *table, const void *mac, quill_word *value);

/* HashIsMacPresentAndSetHashState does what HashIsMacPresent does. When mac is present, it also puts the table's own
 * cursor on the element of mac. The next HashGet(table, HASH_OP_NEXT, …) returns that element, and the walk continues
 * from there. */
QUILL_API int HashIsMacPresentAndSetHashState(sHash *table, const void *mac);

/* HashMacInsertKeyAndValue inserts mac with value. Returns 1, or 0 when mac is present or memory ran out. */
QUILL_API int HashMacInsertKeyAndValue(sHash *table, const void *mac, quill_word value);

/* HashMacInsert inserts mac with the value 0. The result is that of HashMacInsertKeyAndValue. */
QUILL_API int HashMacInsert(sHash *table, const void *mac);

/* HashMacUpdateKeyAndValue replaces the value under mac, or inserts both. Returns 1, or 0 when memory ran out. */
QUILL_API int HashMacUpdateKeyAndValue(sHash *table, const void *mac, quill_word value);

/* HashMacRemove removes mac. Returns 1, or 0 when it is absent. */
QUILL_API int HashMacRemove(sHash *table, const void *mac);

/* --- IP addresses with their family. All 16 address bytes are hashed, but only the first 4 of an IPv4 address are
 * compared. The other 12 must be zero, else a look-up may miss the key or find another. The two filler bytes are
 * neither hashed nor compared. */

/* HashIpAfAddrFind returns the value under addr, or 0 when it is absent. */
QUILL_API quill_word HashIpAfAddrFind(const sHash *table, const ip_af_addr *addr);

/* HashIsIpAfAddrPresent returns 1 when addr is in the table, else 0. */
QUILL_API int HashIsIpAfAddrPresent(const sHash *table, const ip_af_addr *addr);

/* HashIpAfAddrInsertKeyAndValue inserts addr with value. Returns 1, or 0 when addr is present or memory ran out. */
QUILL_API int HashIpAfAddrInsertKeyAndValue(sHash *table, const ip_af_addr *addr, quill_word value);

/* HashIpAfAddrInsert inserts addr with the value 0. The result is that of HashIpAfAddrInsertKeyAndValue. */
QUILL_API int HashIpAfAddrInsert(sHash *table, const ip_af_addr *addr);

/* HashIpAfAddrUpdateKeyAndValue replaces the value under addr, or inserts both. Returns 1, or 0 when memory ran out. */
QUILL_API int HashIpAfAddrUpdateKeyAndValue(sHash *table, const ip_af_addr *addr, quill_word value);

/* HashIpAfAddrRemove removes addr. Returns 1, or 0 when it is absent. */
QUILL_API int HashIpAfAddrRemove(sHash *table, const ip_af_addr *addr);

/* HashIpAfGet does what HashGet does, for IP tables. HASH_SEL_ADDRESS gives the stored address. HASH_OP_SKIP_N does
 * nothing and gives 0. */
QUILL_API quill_word HashIpAfGet(sHash *table, int op, uint32_t sel);

/* HashIpAfGetR does what HashIpAfGet does, on the caller's cursor. */
QUILL_API quill_word HashIpAfGetR(const sHash *table, int op, uint32_t sel, sHashCursor *cursor);

/* HashDestroyIpAf frees the table with all its elements and their addresses. The table stays registered and keeps its
 * place among the 64 of hash_get_stats. Its record then has only zeros and an empty name. Compatibility: readers of the
 * statistics rely on it. */
QUILL_API void HashDestroyIpAf(sHash *table);

QUILL_END_DECLS

#endif
