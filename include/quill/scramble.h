/* quill/scramble.h: reversible scrambling and escaping of texts. Scrambling keeps stored texts from being read at a
 * glance. Escaping removes one delimiter from a text, so that it can be an item of a list. Neither is cryptography:
 * anyone can undo them.
 *
 * Texts may hold any bytes. All functions are reentrant. Inputs and outputs must not overlap. */
#ifndef QUILL_SCRAMBLE_H
#define QUILL_SCRAMBLE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- scrambling */

/* scrambleString writes the scrambled bytes of in, without its NUL, to out. The number of bytes is the text's length.
 * scrambleString writes no terminator, because a scrambled byte may be 0. Returns the length. Each byte has its bits
 * moved and then 38 added, modulo 256:
 *
 *     bit    0  1  2  3  4  5  6  7
 *     to     3  1  6  4  0  2  5  7
 *
 *     scrambleString("abc", out)    returns 3, out holds "RLT" */
QUILL_API int scrambleString(const char *in, uint8_t *out);

/* unscrambleString writes the n plain bytes of the scrambled in to out. It adds no terminator: the caller sets out[n] =
 * 0. Returns n; an n of 0 or less writes nothing. */
QUILL_API int unscrambleString(const uint8_t *in, char *out, int n);

/* In the printable form, a scrambled byte of 0 is left out. Every other scrambled byte is a pair of a digit and a
 * character. In the last class the character may be 127 to 129:
 *
 *     scrambled byte b    0-48        49-125    126-174     175-255
 *     pair                5, b + 48   0, b      8, b - 78   3, b - 126 */

/* scrambleStringAscii writes the beginning of the printable form of in to out, which has out_size bytes. The text is
 * for display. The text stops after 3 characters, so it cannot be unscrambled. Always returns 1.
 *
 * n is the length of in, or out_size if that is smaller. n determines how many characters of the printable form are at
 * the start of out, before a NUL ("abcd" gives "0R0"):
 *
 *     n             0          1    2          3    4 and more
 *     characters    nothing    0    1          2    3, so the second pair lacks its character
 *
 * Each byte of out after the NUL and before position n is the byte of scrambleString at that position. The rest of out
 * is 0. Nothing is written beyond out_size bytes. Compatibility: programs show and compare just these characters. */
QUILL_API int scrambleStringAscii(const char *in, char *out, uint32_t out_size);

/* unscrambleStringAscii writes the plain bytes of a printable form, which may have any length, to out: one byte for
 * each pair of in. A single character at the end is read as a pair whose second character is 0, and gives one more
 * byte. "0R" gives the byte that was scrambled to 'R'. It writes (strlen(in) + 1) / 2 bytes and no terminator. out must
 * have room for these bytes. Always returns 1. It reads the pairs above, and also these:
 *
 *     digit     1     2    4          6      7    9     none
 *     byte b    -c    c    126 - c    208    c    78    c     (modulo 256, c the character) */
QUILL_API int unscrambleStringAscii(const char *in, char *out);

/* --- escaping */

/* A pair replaces each delimiter ch, and each escape character, which is (ch & 0xf0) | 0x0a. The first character of a
 * pair is the escape character. The second one is (ch & 0x0f) | 0x50 for the delimiter, and 'Z' for the escape
 * character. For the delimiter ',' the text "a,b*c" becomes "a*\b*Zc".
 *
 * Some delimiters stay in the text, so a list cannot be split at them. A delimiter from P to _ is itself the second
 * character of its pair. A delimiter whose code ends in hexadecimal a (newline, * : J Z j) is its own escape character.
 * string_decode still restores these texts. Compatibility: stored lists contain these pairs. */

/* string_encode writes src to dest with these pairs. Only the low 8 bits of ch are used, so a char of either sign may
 * be passed. With a ch of 0 only escape characters are escaped, because no text contains a 0.
 *
 *     char dest[11];
 *     string_encode("a,b*c", dest, sizeof dest - 1, ',')    0: a*\b*Zc
 *
 * DEST MUST HAVE size + 1 BYTES, unlike the dest of string_decode. size is the greatest length of the result, and a NUL
 * follows it. Returns
 *
 *      0    done
 *     -1    src is null, or not shorter than size: a text of size characters is refused, although dest could hold it
 *     -2    done: ch is not printable (32 to 126) and nothing was to be escaped, so dest is a copy of src
 *     -4    the result would be longer than size
 *
 * For -1 and -4 dest is unchanged. */
QUILL_API int string_encode(const char *src, char *dest, int size, uint32_t ch);

/* string_decode undoes string_encode with the same ch: it writes the text to dest, which has size bytes. size must be
 * above strlen(src); the text is never longer than src. Returns
 *      0    done
 *     -1    src is null, or not shorter than size
 *     -2    done: ch is not printable and src has no escape character, so dest is a copy of src
 *     -3    an escape character is not followed by a character that makes a pair, for instance at the end
 * For -1 and -3 dest is unchanged. The result -4 is reserved for texts that are too long and does not occur. */
QUILL_API int string_decode(const char *src, char *dest, int size, int ch);

QUILL_END_DECLS

#endif
