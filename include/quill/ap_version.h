/* quill/ap_version.h: software versions of access points, and of the system that is running.
 *
 * A version is a quad, four decimal numbers with dots between them. A version text is the access point's own quad. If
 * the software was built against a controller's software, a hyphen and the controller's quad follow. It may end with a
 * suffix, which begins with '_' or '-'. A hyphen without a digit after it begins a suffix, too:
 *
 *     8.10.0.0                      a quad
 *     8.10.0.0-rc                   a quad and a suffix
 *     8.10.0.0-8.10.0.5_12345       two quads and a suffix
 *
 * Numbers are read as the C library's "%d" reads them: spaces and a sign may precede each number, except right after
 * the hyphen. Values outside int32_t are clamped. All comparisons are signed.
 *
 * All functions but get_os_version are reentrant. */
#ifndef QUILL_AP_VERSION_H
#define QUILL_AP_VERSION_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* ap_version_format cuts the suffix off source, in place, and copies to output what mode selects. output has size bytes
 * with the NUL, and must not overlap source. A copy that is too long is cut to size - 1 characters and the NUL. A size
 * of 0 writes nothing to output. Returns output.
 *
 *     mode                           0           1                      any other
 *     8.10.0.0-8.10.0.5_12345        8.10.0.5    8.10.0.0-8.10.0.5      nothing is written
 *     8.10.0.0-rc_1                  8.10.0.0    8.10.0.0               8.10.0.0
 *     8.10.0.0_rc-2                  2           8.10.0.0_rc-2          nothing is written
 *     8.10.0.0_12345                 8.10.0.0_12345, in every mode: without a hyphen nothing is cut
 *
 * With a source of two quads, a mode other than 0 and 1 cuts source and leaves output as it is. Compatibility: callers
 * rely on that. */
QUILL_API char *ap_version_format(char *source, char *output, uint32_t size, int mode);

/* match_ap_version reads a version into parsed: the first quad into parsed[0] to [3], the second into [4] to [7].
 * Returns 8 for two quads, and 4 for one quad. Any text may follow the quads. Returns 0 for any other text, and for
 * null.
 *
 * Set parsed to zero first: an element whose number is not read keeps its old value. Numbers before the point where
 * text stops being a version are stored even when the result is 0. Only the first 128 characters of text are read. Of
 * the quads, with the hyphen between them, only the first 31 characters are read. */
QUILL_API int match_ap_version(const char *text, int32_t parsed[8]);

/* compare_r_version_with_c_version compares the versions r and c, and stores what match_ap_version returns for each.
 * Returns 1 when c is the newer one, -1 when it is the older one, 0 when they are equal.
 *
 * When both versions have a second quad, only the second quads are compared: the versions can be equal although the
 * first quads differ. All other versions are compared by the first quad. The function also returns 1 when a text is not
 * a version, or is null. With a null text it stores nothing.
 *
 *     r                  c                  result
 *     6.4.0.0            6.5.0.0-8.0.0.0    1
 *     1.0.0.0-8.0.0.0    2.0.0.0-8.0.0.0    0 */
QUILL_API int compare_r_version_with_c_version(const char *r, int *r_kind, const char *c, int *c_kind);

/* version_within_range returns 1 when version (major, minor, patch) is in range, else 0, also for null. range holds the
 * lowest version of the range (major, minor, patch), and then the first version above the range. An upper version of 0,
 * 0, 0 means no upper end. */
QUILL_API int version_within_range(const int32_t range[6], const int32_t version[3]);

/* check_eol_ap_version returns whether a software version still supports the access point models 42 and 43. These
 * models need version 4.2 or later. When version has two quads, the second is used. Returns
 *     0    another model: version is not read
 *     1    too old for the model
 *     2    new enough
 *     3    not a version, or null */
QUILL_API int check_eol_ap_version(const char *version, uint32_t model);

/* get_os_version returns the version of the running system: the third word of /proc/osbuild. It returns "Unknown" when
 * the file cannot be read, or has no third word within its first 127 bytes. Words end at one blank each, so two blanks
 * in a row have an empty word between them. A line end belongs to the word.
 *
 * The result is borrowed, and lasts until the next call, which reads the file again. Only one thread at a time may call
 * it. */
QUILL_API const char *get_os_version(void);

QUILL_END_DECLS

#endif
