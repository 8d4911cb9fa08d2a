/* quill/vmap.h: a set of VLAN ids (IEEE 802.1Q, 1 to 4094) as a bitmap, shared by reference counting.
 *
 * A map is 4,096 bits, a reference count and a cached text: 520 bytes on the device. Holders share one map with
 * vmap_clone, and each releases its own reference with vmap_free. A function that changes bits takes the address of the
 * holder's pointer (its handle). When the map is shared, the function first makes a private copy and stores that in the
 * handle (copy on modify). So the change does not affect other holders.
 *
 *     vmap *pool = vmap_from_string("10-20,30");
 *     if (pool && vmap_delete_range(&pool, 15, 15))
 *         puts(vmap_to_string(pool));                     // 10-14,16-20,30
 *     vmap_free(pool);
 *
 * vmap_from_string and vmap_validate_string accept range text. Range text is "0" for no id, "all" (in any letter case)
 * for 1-4094, or ids and ranges separated by commas, as in 1-10,20,30-40. Leading zeros are allowed. Blanks, signs,
 * empty items, an id of 0 or above 4094 and a range that runs downwards are not allowed. Order does not matter and
 * items may overlap.
 *
 * Only one thread at a time may use a map, also a map that several holders share: the count is a plain number. A map
 * must not be null, unless a function says otherwise. */
#ifndef QUILL_VMAP_H
#define QUILL_VMAP_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

enum {
    VMAP_WORDS = 128,  /* 32-bit words of a map: id v is bit v % 32, from the low end, of word v / 32 */
    VMAP_FIRST_ID = 1, /* the ids that are VLANs; bits 0 and 4095 are never in a text */
    VMAP_LAST_ID = 4094,
    VMAP_RANGE_STR_SIZE = 1024 /* bytes of vmap_to_range_str's buffer */
};

/* vmap is public so that programs can read its words, for example as the filter of quill/vlan_alloc.h. Only the
 * functions below change it. */
typedef struct vmap {
    uint32_t words[VMAP_WORDS]; /* the ids */
    int32_t references;         /* number of holders; 1 after vmap_alloc */
    char *text;                 /* the result of vmap_to_string, owned by the map; null after the bits changed */
} vmap;

/* vmap_alloc returns a new empty map with one reference, or null when out of memory. Release it with vmap_free. */
QUILL_API vmap *vmap_alloc(void);

/* vmap_free drops one reference. When this was the last one, it frees the map and its text. With a null map it does
 * nothing. */
QUILL_API void vmap_free(vmap *map);

/* vmap_clone adds a reference and returns the same map; release it with vmap_free. */
QUILL_API vmap *vmap_clone(vmap *map);

/* vmap_copy_on_modify returns map itself when it has exactly one reference. Otherwise it returns a new map with the
 * same bits, one reference and no text, or null when out of memory. The references of map are unchanged. */
QUILL_API vmap *vmap_copy_on_modify(vmap *map);

/* The functions that change *map return 1, or 0 with everything unchanged when a copy was needed and memory ran out. */

/* vmap_add_range adds the ids from first to last, and vmap_delete_range removes them. The ids may be 0 to 4095. Other
 * ids are ignored, and a range that runs downwards changes nothing. */
QUILL_API int vmap_add_range(vmap **map, int32_t first, int32_t last);
QUILL_API int vmap_delete_range(vmap **map, int32_t first, int32_t last);

/* vmap_merge adds the ids of other, and vmap_exclude removes them. */
QUILL_API int vmap_merge(vmap **map, const vmap *other);
QUILL_API int vmap_exclude(vmap **map, const vmap *other);

/* vmap_invert inverts all 4,096 bits, also 0 and 4095. So vmap_is_empty returns 0 for the inverse of an empty map, even
 * after 1-4094 is removed from that inverse. */
QUILL_API int vmap_invert(vmap **map);

/* vmap_set_bits replaces all bits by those of the VMAP_WORDS words. */
QUILL_API int vmap_set_bits(vmap **map, const uint32_t *words);

/* vmap_clear empties *map in place when the map is not shared. When it is shared, vmap_clear stores a new empty map in
 * the handle. The count of the old map is not reduced: one of its other holders must call vmap_free once more, or the
 * map leaks. Compatibility: holders do so. */
QUILL_API int vmap_clear(vmap **map);

/* vmap_clear_string removes the cached text and frees it. */
QUILL_API void vmap_clear_string(vmap *map);

/* vmap_to_string returns the ids as range text, or "0" for an empty set. The text is borrowed until the map changes or
 * is freed. Returns null when out of memory. The map keeps the text, so a second call costs nothing. */
QUILL_API const char *vmap_to_string(vmap *map);

/* vmap_from_string returns a new map of the ids in text (release it with vmap_free). Returns null for a null, empty or
 * invalid text, or when out of memory. */
QUILL_API vmap *vmap_from_string(const char *text);

/* vmap_validate_string returns 1 when vmap_from_string would accept text, else 0. */
QUILL_API int vmap_validate_string(const char *text);

/* vmap_to_range_str returns the ids as range text. With invert it returns the ids of 1 to 4094 that are not in the map.
 * For an empty set it returns "". A null map is an empty one.
 *
 * The text is borrowed from one static buffer of VMAP_RANGE_STR_SIZE bytes. The next call overwrites it, and a longer
 * text is cut at 1,023 characters. Do not call vmap_to_range_str from several threads: use vmap_to_string instead.
 *
 * A map with a reference count of 0 counts as empty. A map with a count of 4094 counts as full, also when it really has
 * that many holders. Compatibility: programs use the count as a mark for an empty or full map. */
QUILL_API const char *vmap_to_range_str(const vmap *map, int invert);

/* vmap_sxdr_write writes map to buffer as elements of quill/sxdr.h. When the str element of the range text is shorter
 * than 640 bytes, it writes a bool 1 and that element. Otherwise, and when there is no memory for the text, it writes a
 * bool 0 and the 128 words as u32 elements: 643 bytes. Returns the bytes written, at most what vmap_sxdr_size returned
 * before. */
QUILL_API uint32_t vmap_sxdr_write(vmap *map, void *buffer);

/* vmap_sxdr_read replaces the bits of map by those of a message. map must not be shared, because no copy is made. The
 * elements must be complete: it does not compare lengths with the message's end. To receive a set from another process,
 * use a str element and read it with sxdr_read_str_safe and vmap_from_string. Only a bool of 1 means that a text
 * follows.
 *
 * Returns the bytes consumed, or 0:
 *
 *     what is wrong                                           map then has
 *     the first element is not a bool                         what it had
 *     the text has 640 bytes or more, or is another kind      no id
 *     the text is invalid                                     the items before the fault
 *     one of the 128 elements is not a u32                    the words before it, 0 in that word, its old bits after
 *                                                             it
 *
 * The first change drops the cached text. */
QUILL_API uint32_t vmap_sxdr_read(vmap *map, const void *buffer);

/* vmap_sxdr_size returns the bytes that vmap_sxdr_write will write, at most 643. */
QUILL_API uint32_t vmap_sxdr_size(vmap *map);

/* vmap_compare returns 0 when both maps have the same bits or both are null, and 1 when just one is null. Otherwise it
 * returns what memcmp over the words gives, whose sign depends on the host's byte order. */
QUILL_API int vmap_compare(const vmap *a, const vmap *b);

/* vmap_is_empty returns 1 when none of the 4,096 bits is set, else 0. */
QUILL_API int vmap_is_empty(const vmap *map);

/* vlan_idx_validate returns 1 when text is a VLAN id: 1 to 4 digits, and a number from 1 to 4094. Otherwise, and for
 * null, it returns 0. */
QUILL_API int vlan_idx_validate(const char *text);

/* The two functions below are for tables of ids that are kept as plain bits. quill/idx_table.h allocates indices
 * faster.
 *
 * bitid_init returns a new array of bits for n ids, or null when out of memory. Bit k is bit k % 8 of byte k / 8, and a
 * set bit means in use. The ids are 0 to n - 1. With a non-null reserve_zero they are 1 to n, and bit 0 is in use. The
 * bits after the last id are in use too, so a search for a clear bit may go byte by byte. Release the array with
 * bitid_finish. */
QUILL_API uint8_t *bitid_init(uint32_t n, const void *reserve_zero);

/* bitid_finish frees the array (taken). With a null pointer it does nothing. */
QUILL_API void bitid_finish(uint8_t *ids);

QUILL_END_DECLS

#endif
