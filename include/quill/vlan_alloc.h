/* quill/vlan_alloc.h: distributes wireless clients over the VLANs of a pool.
 *
 * A pool is an array of VLAN ids of any length; entries of 0 are empty slots. The assign functions choose a VLAN for a
 * client: the VLAN with the fewest users, or one by a hash of the client's MAC address. With the hash, the same client
 * gets the same VLAN again. The assign functions only choose. The caller records the choice with vlan_alloc_update(id,
 * 1, log), and releases it with vlan_alloc_update(id, 0, log).
 *
 * Usage is counted from 1, so a VLAN that is known but unused (1) differs from an unknown VLAN (0). First add the
 * pool's VLANs with vlan_alloc_add(id, 1, log). An unknown VLAN counts as the least used of all. The first allocation
 * of an unknown VLAN stores the usage 2.
 *
 * Diagnostics go to the caller's log function as "function (vlan_alloc:line): text", at most 127 characters. The text
 * lasts until the log function returns:
 *
 *     level  function           line           text
 *     1      vlan_alloc_init    52             Hash creation failed
 *     1      …_add, _release,   98, 114,       vlanPool usage hash table is NULL
 *            _update, _get      131, 167
 *     0      vlan_alloc_update  140 (one user  Vlan Alloc  usage ; usage=U vlan V
 *                               more), 144     (U is the usage before)
 *     0      vlan_alloc_update  149            Vlan Alloc failed: usage incorrect; usage=1 vlan_id V
 *     0      vlan_alloc_update  153            Vlan Alloc failed: vlanid doesn't exist; vlan_id=V
 *     1      vlan_alloc_get     173            Vlan Alloc failed: vlan id not found, usage=0, vlan_id=V
 *
 * In these messages, "vlan_alloc_get" means a look-up of a least-used function; no function has this name. When a
 * function's last action is a call of log, the function returns what log returned. With a null log nothing is logged.
 * Without a table, all usages are 0.
 *
 * The process has one usage table, which has no lock. Make all calls from one thread, or protect them with one lock.
 *
 *     vlan_alloc_init(log);
 *     for (i = 0; i < n; i++)
 *         vlan_alloc_add(pool[i], 1, log);
 *     vlan = vlan_alloc_assign_leastUsed(pool, n, log);
 *     vlan_alloc_update(vlan, 1, log);                    // the client came
 *     vlan_alloc_update(vlan, 0, log);                    // the client left
 *     vlan_alloc_exit(); */
#ifndef QUILL_VLAN_ALLOC_H
#define QUILL_VLAN_ALLOC_H

#include <quill/hash.h>
#include <quill/types.h>

QUILL_BEGIN_DECLS

/* vlan_alloc_log receives a level (0 or 1) and a message. */
typedef quill_word (*vlan_alloc_log)(unsigned level, const char *message);

/* vlanPool_usage_hash_table maps VLAN ids to usages; null before vlan_alloc_init and after vlan_alloc_exit. Programs
 * may read it: HashFind(vlanPool_usage_hash_table, vlan) is the usage. */
extern QUILL_API sHash *vlanPool_usage_hash_table;

/* vlan_alloc_init creates the usage table and returns it as a word. Without memory it returns what log returned, or 0
 * without a log, and vlanPool_usage_hash_table is null. A second call replaces the table without destroying the first
 * table. */
QUILL_API quill_word vlan_alloc_init(vlan_alloc_log log);

/* vlan_alloc_exit destroys the usage table, if there is one. */
QUILL_API void vlan_alloc_exit(void);

/* vlan_alloc_print writes every VLAN with its usage to standard error, on the usage table's own cursor. */
QUILL_API void vlan_alloc_print(void);

/* vlan_alloc_add adds a VLAN with a usage, normally 1 and never 0. Returns 1, or 0 when the VLAN is already known or
 * memory ran out. */
QUILL_API quill_word vlan_alloc_add(uint32_t vlan, uint32_t usage, vlan_alloc_log log);

/* vlan_alloc_release removes a VLAN, whatever its usage. Returns 1, or 0 when the VLAN was not known. */
QUILL_API quill_word vlan_alloc_release(uint32_t vlan, vlan_alloc_log log);

/* vlan_alloc_update adds one user to a VLAN (allocate is not 0) or removes one (allocate is 0). Usage never falls below
 * 1. A release of a VLAN without users or of an unknown VLAN changes nothing and is logged.
 *
 *     call                               returns
 *     allocation                         what log returned; without a log 1, or 0 when memory ran out
 *     release                            1
 *     release that changed nothing       what log returned; without a log the usage found */
QUILL_API quill_word vlan_alloc_update(uint32_t vlan, uint32_t allocate, vlan_alloc_log log);

/* vlan_alloc_assign_leastUsed returns the VLAN with the smallest usage in list (count entries). Of several such VLANs,
 * it returns the first. It returns 0 when the list has no VLAN. For a list with just one VLAN it returns list[0], which
 * is 0 when the VLAN is in a later slot. The call looks up each VLAN once. While the best VLAN so far is unknown, the
 * call also looks that VLAN up again before each comparison. Compatibility: programs rely on the result for a single
 * VLAN. */
QUILL_API uint32_t vlan_alloc_assign_leastUsed(const uint16_t *list, uint32_t count, vlan_alloc_log log);

/* vlan_alloc_assign_leastUsed_filter does what vlan_alloc_assign_leastUsed does, for the VLANs that filter does not
 * mark. When filter marks every VLAN, all are used. A list with just one VLAN gives list[0], whatever the filter. The
 * filter has the VMAP_WORDS words of a vmap. Returns 0 for a null filter. */
QUILL_API uint32_t vlan_alloc_assign_leastUsed_filter(const uint16_t *list, uint32_t count, vlan_alloc_log log,
                                                      const uint32_t *filter);

/* vlan_alloc_assign_hashBased returns the VLAN for the client with the address mac (6 bytes). The n VLANs in list are
 * numbered from 0. The result is the VLAN whose number is the XOR of the six bytes, modulo n. Returns 0 when the list
 * has no VLAN. */
QUILL_API uint32_t vlan_alloc_assign_hashBased(const uint16_t *list, uint32_t count, const void *mac);

/* vlan_alloc_assign_hashBased_filter does what vlan_alloc_assign_hashBased does, for the VLANs that filter does not
 * mark. When filter marks every VLAN, all are used. Returns 0 for a null filter. */
QUILL_API uint32_t vlan_alloc_assign_hashBased_filter(const uint16_t *list, uint32_t count, const void *mac,
                                                      const uint32_t *filter);

QUILL_END_DECLS

#endif
