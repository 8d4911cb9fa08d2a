/* quill/location.h: fully qualified location names, and the day codes, times and dates of schedules.
 *
 * A location name (fqln) is four parts with dots between them, part1.part2.part3.part4. A dot inside a part has a
 * backslash before it. A backslash escapes the next character: b1.f2.r\.3.x has the parts b1, f2, r.3 and x. A dot that
 * is not escaped is a separator.
 *
 * Names may hold any bytes. A null name, part or text is read like the empty one. All functions are reentrant. */
#ifndef QUILL_LOCATION_H
#define QUILL_LOCATION_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- location names */

/* fqln_crack splits fqln and writes its parts without backslashes, each with a NUL at its end. Parts that the name does
 * not have are empty. The sizes count characters, so each buffer needs its size + 1 bytes. Text after a fourth
 * separator is ignored. When a buffer is null, its part is dropped, however long the part is. Always returns 0.
 *
 * A part of size characters or more ends the split, also one that just fits. The later parts stay empty. Compatibility:
 * programs prefer an empty part to a part that follows a cut part. */
QUILL_API int fqln_crack(const char *fqln, char *part1, uint32_t size1, char *part2, uint32_t size2, char *part3,
                         uint32_t size3, char *part4, uint32_t size4);

/* fqln_escape_dot writes src to dst, with a backslash before each dot, so that the text can be a part of a name.
 * Returns dst. dst has room for size characters. fqln_escape_dot stops when room for fewer than two is left. Only an
 * escaped dot can fill the last place. So dst needs size + 1 bytes, with the NUL. A size of 0 gives the empty text. dst
 * must not overlap src.
 *
 *     a.b      a\.b
 *     a\\b     a\b: of two backslashes one is left
 *     a\.b     a.b: an escaped dot loses its escape, so escape a part only once
 *     a\b.c    ab.c: a backslash is dropped, and the next dot or backslash, at any distance, gets none of its own
 *
 * Compatibility: stored names were escaped in this way. */
QUILL_API char *fqln_escape_dot(const char *src, char *dst, uint32_t size);

/* FQLN_PART_SIZE is the size with which fqln_build escapes each part. */
enum { FQLN_PART_SIZE = 128 };

/* fqln_build writes the name of four parts to out, which holds size bytes with the NUL. Returns out. It escapes each
 * part as fqln_escape_dot does with the size FQLN_PART_SIZE. The whole name is cut to fit out. With a size of 0 nothing
 * is written.
 *
 *     fqln_build("b1", "f2", "r.3", "x", out, 64)    b1.f2.r\.3.x
 *
 * fqln_build may leave out parts long before out is full. After each part and each dot, fqln_build adds the length of
 * the name so far to a sum. When the sum after a part is at least size, the later parts are left out. Of four parts of
 * 20 characters in a size of 128, the fourth is left out (20 + 21 + 41 + 42 + 62 = 186). No part is left out when size
 * is above 9 * n + 6, where n is the length of the longest escaped part. Compatibility: peers compare names that were
 * cut in this way. */
QUILL_API char *fqln_build(const char *part1, const char *part2, const char *part3, const char *part4, char *out,
                           uint32_t size);

/* fqln_is_well_formed returns 1 when fqln has exactly three separators, else 0. Parts may be empty, as in "...". */
QUILL_API int fqln_is_well_formed(const char *fqln);

/* fqln_find_part_after_name returns a pointer to the first separator of fqln (borrowed), or null when fqln has no
 * separator. The second part begins after the separator. */
QUILL_API const char *fqln_find_part_after_name(const char *fqln);

/* --- schedules */

/* Day codes. Codes below DAY_DAILY are days of the week. */
enum { DAY_DAILY = 7, DAY_WEEKEND = 8, DAY_WEEKDAY = 9 };

/* day_is_specific_day returns 1 when day is a day of the week, else 0. day_is_daily, day_is_wkend and day_is_wkday do
 * the same for DAY_DAILY, DAY_WEEKEND and DAY_WEEKDAY (Monday to Friday). */
QUILL_API int day_is_specific_day(uint32_t day);
QUILL_API int day_is_daily(uint32_t day);
QUILL_API int day_is_wkend(uint32_t day);
QUILL_API int day_is_wkday(uint32_t day);

/* validate_time returns 1 when text consists of ASCII digits and exactly one ':', else 0. It checks nothing else:
 * "99:99" and ":" pass. Compatibility: stored schedules hold such texts. */
QUILL_API int validate_time(const char *text);

/* validate_date returns 1 when text has at most 10 characters, ASCII digits and exactly two '/', else 0. It checks
 * neither the order of year, month and day nor the numbers: "2024/01/01", "1/1/24" and "//" pass. Compatibility: stored
 * schedules hold such texts. */
QUILL_API int validate_date(const char *text);

QUILL_END_DECLS

#endif
