/* quill/smss.h: filters objects, sorts them by columns, and gives one page of the result, for listing commands.
 *
 * The program registers its objects, names the fields and values to search for, and reads the page from the context.
 * Only the program's three accessors determine which fields an object has.
 *
 *     smss_ctx query;
 *     smss_init(&query);
 *     query.field_type = station_field_type;
 *     query.number = station_number;
 *     query.text = station_text;
 *     for (struct station *s = first; s; s = s->next) smss_add_object(&query, s);
 *     smss_add_search_criterion(&query, "vlan", "20");
 *     smss_add_search_criterion(&query, "name", "print");      // contains it, in any letter case
 *     smss_add_sort_criterion(&query, "rate", "desc");
 *     smss_search(&query, 0, 50);
 *     printf("%d of %d\n", (int)query.result_count, (int)query.total);
 *     for (int i = 0; i < query.result_count; i++) show(query.results[i]);
 *     smss_deinit(&query);
 *
 * Cost: for each object, filtering evaluates the criteria in turn, up to the one that decides. Each evaluation calls
 * field_type once, and number or text once. Sorting m matches takes about m log m comparisons. Each comparison calls
 * field_type once and number or text twice for a sort key, so accessors should be cheap. The second and later keys are
 * compared only when the earlier keys are equal. The context has 8 bytes (4 on the device) for each object and for each
 * match. The C library's qsort may take as much again while it sorts.
 *
 * When memory runs out, an object or a match is left out without an error. A criterion whose name or value got no
 * memory matches no object. Texts are compared without regard to the case of A to Z, whatever the locale.
 *
 * A context is for one smss_search: call smss_deinit and smss_init before the next one. Only one search at a time may
 * run in a process, even when the contexts differ. */
#ifndef QUILL_SMSS_H
#define QUILL_SMSS_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* The accessor field_type returns one of these numbers. Any other number means that the object has no such field. */
enum { SMSS_NUMBER = 0, SMSS_TEXT = 1 };

/* Only the first SMSS_TEXT_SIZE characters of a text are used. The buffer of the text accessor has room for them and a
 * terminator. */
enum { SMSS_TEXT_SIZE = 128 };

/* smss_ctx is a query. The program sets the accessors and match_any after smss_init, and reads results, result_count,
 * total and page_start after smss_search. */
typedef struct smss_ctx {
    void **objects;          /* the registered objects */
    int32_t object_capacity; /* number of objects that fit in objects */
    int32_t object_count;    /* of these, taken */
    /* The next three fields are the accessors. The argument field is the name in a criterion. */
    int (*field_type)(const void *object, const char *field);          /* SMSS_NUMBER, SMSS_TEXT or another number */
    uint32_t (*number)(const void *object, const char *field);         /* the value of a field that is a number */
    void (*text)(char *buffer, const void *object, const char *field); /* buffer: SMSS_TEXT_SIZE + 1 bytes */
    uint32_t match_any;      /* 0: an object must meet every criterion; else one is enough */
    uint32_t search_words;   /* entries used in search: two for each criterion */
    char *search[64];        /* names and wanted values in turn */
    uint32_t sort_words;     /* entries used in sort: two for each sort key */
    char *sort[64];          /* names and order words in turn */
    void **results;          /* the page: pointers to registered objects; lasts until smss_deinit */
    int32_t result_capacity; /* number of pointers that fit in results */
    int32_t result_count;    /* number of results on the page */
    int32_t total;           /* all matches */
    int32_t page_start;      /* index of the page's first match among all */
    char *text1;             /* the first buffer that the text accessor gets */
    char *text2;             /* the second buffer, for comparisons */
    void *pool;              /* strings of the query */
    int32_t pool_capacity;   /* bytes in pool */
    int32_t pool_used;       /* of these, taken */
} smss_ctx;

/* smss_init makes context an empty query. The program provides the record. smss_deinit releases what the query
 * allocates. */
QUILL_API void smss_init(smss_ctx *context);

/* smss_deinit frees all memory of the query, but not the objects, and zeroes the record. */
QUILL_API void smss_deinit(smss_ctx *context);

/* smss_add_object registers object (kept). */
QUILL_API void smss_add_object(smss_ctx *context, void *object);

/* smss_add_string returns a copy of length bytes of text, and a NUL after them (borrowed: it stays where it is until
 * smss_deinit). When text is null, the bytes are not set. Returns null when out of memory or when length is negative.
 */
QUILL_API char *smss_add_string(smss_ctx *context, const char *text, int length);

/* smss_add_search_criterion adds a filter by the field name. A text field must contain value. A number field must be
 * equal to value. value is a decimal number as atoi reads it, but modulo 2^32: "3000000000" finds 3,000,000,000, and
 * "-1" finds 4,294,967,295. Filters beyond 16 are ignored. */
QUILL_API void smss_add_search_criterion(smss_ctx *context, const char *name, const char *value);

/* smss_add_sort_criterion adds the field name as the next sort key: descending when order is "desc" in any letter case,
 * else ascending. Two numbers are compared by their difference modulo 2^32, read as signed. So numbers that differ by
 * 2^31 or more come in the reverse order. A comparison calls field_type for only one of its two objects. Sort keys
 * beyond 16 are ignored. */
QUILL_API void smss_add_sort_criterion(smss_ctx *context, const char *name, const char *order);

/* smss_search filters and sorts the objects, and stores one page in context. Without filters every object matches. The
 * order of objects with equal keys is not determined. Always returns 0.
 *
 * The matches are divided into pages of page_size matches. A page_size below 1 means 10, and one above 100,000 means
 * 100,000. The result is the page that contains match number start. Matches are counted from 0. A start below 0 means
 * 0. With a page_size of 5, a start of 7 gives the matches 5 to 9, and page_start is 5. A start past the end gives no
 * results, while total is the number of all matches. */
QUILL_API int smss_search(smss_ctx *context, int start, int page_size);

QUILL_END_DECLS

#endif
