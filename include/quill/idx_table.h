/* quill/idx_table.h: allocates small indices from a range: always the free index nearest to the range's first value.
 *
 * The range runs upwards (first below last) or downwards, or is one index. A downward table gives its highest index
 * first. A range has at most 4,096 indices, within 0 to 65535. Allocation, release and reservation take constant time:
 * two bit scans. A table is one heap block of 16 bytes, plus 8 bytes for every 64 indices. A table has no lock: only
 * one thread at a time may use it.
 *
 *     idx_table *ids = idx_table_create(1, 64);
 *     uint16_t id;
 *     if (idx_table_index_alloc(ids, &id) == 0)
 *         use(id);                                        // 1
 *     idx_table_free(ids); */
#ifndef QUILL_IDX_TABLE_H
#define QUILL_IDX_TABLE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

typedef struct idx_table idx_table; /* a table, handled by pointer only */

/* idx_table_create returns a new table of the indices first to last, both included, all free. Returns null when the
 * range has more than 4,096 indices, when it is not within 0 to 65535, or when memory ran out. Release it with
 * idx_table_free. */
QUILL_API idx_table *idx_table_create(uint32_t first, uint32_t last);

/* idx_table_free frees table (taken). With a null table it does nothing. */
QUILL_API void idx_table_free(idx_table *table);

/* idx_table_index_alloc takes the free index nearest to the range's first value, and stores it in *out. Returns 0, or
 * -1 with *out unchanged when every index is taken. */
QUILL_API int idx_table_index_alloc(idx_table *table, uint16_t *out);

/* idx_table_index_free frees a taken index. Returns 0, or -1 when it lies outside the range. To free a free index
 * breaks the contract, because another part of the program may have taken the index after its first release. */
QUILL_API int idx_table_index_free(idx_table *table, uint32_t index);

/* idx_table_index_reserve takes one particular index, as when restoring a saved configuration. Returns 0, or -1 when it
 * lies outside the range or is taken. */
QUILL_API int idx_table_index_reserve(idx_table *table, uint32_t index);

QUILL_END_DECLS

#endif
