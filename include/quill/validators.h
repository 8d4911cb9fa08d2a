/* quill/validators.h: checks and changes of text that people typed, before it goes into configuration, messages and
 * shell commands.
 *
 * The predicates do not agree on the result for a valid text: some return 1 and some 0. The comment of each predicate
 * gives its result. Compatibility: their callers rely on these results.
 *
 * Texts may hold any bytes, for example those of a network packet. Letters and digits are those of ASCII. Spaces are
 * blank, tab, newline, vertical tab, form feed and carriage return, whatever locale the program has set. Bytes above
 * 127 belong to no class. The comment of each function describes how it refuses a null text. Functions that change a
 * text in place leave a null text alone. A destination must not be null.
 *
 * A function with a length reads exactly that many bytes; a NUL among them does not end the text. A function without a
 * length reads up to the NUL.
 *
 * All functions are reentrant. Only hextoint prints anything. */
#ifndef QUILL_VALIDATORS_H
#define QUILL_VALIDATORS_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- numbers */

/* xctoc returns the value of the hexadecimal digit c, in either case: 0 to 15. Any other c gives 0, as the digit 0
 * does. */
QUILL_API int xctoc(int c);

/* hextoint reads text as hexadecimal digits in either case, after an optional "0x" (not "0X"). text has at most 2 *
 * nbytes digits. The empty text gives 0. With an nbytes above 4, text may have more than 8 digits. hextoint then
 * returns the low 32 bits of the number.
 *
 *     hextoint("0x1A2b", 2)    0x1a2b
 *
 * On error it returns 0xffffffff and writes a line to standard output, with the C library's puts. The line is "Error:
 * char string too long " (with the blank at its end) for a text that is too long. It is "Error: bad char" for any other
 * character and for a null text. With a negative nbytes, any text is too long.
 *
 * The valid text ffffffff gives the same number. Where the difference matters, pass a smaller nbytes or examine the
 * text. Compatibility: callers expect this number. */
QUILL_API uint32_t hextoint(const char *text, int nbytes);

/* is_numeric stores the number in *value and returns 1, when every character of text is a decimal digit. The empty text
 * is the number 0. Otherwise it returns 0, and *value is the number that the digits before the first other character
 * form. A null text is treated as a text with such a character. A number above 32 bits is taken modulo 2^32. value may
 * be null. */
QUILL_API int is_numeric(const char *text, uint32_t *value);

/* validate_lag_num returns 1 when text is the number of a link aggregation group (port channel), 0 to 63, else 0.
 * loopback_idx_validate does the same for a loopback interface. Both accept one or two digits, and read the empty text
 * as 0. Null gives 0. Compatibility: forms without this field mean the number 0. */
QUILL_API int validate_lag_num(const char *text);
QUILL_API int loopback_idx_validate(const char *text);

/* pap_hexify writes the len bytes at src as 2 * len lower-case hexadecimal digits to dst, and no NUL. A negative len
 * counts as 0. Returns dst + 2 * len + 2, which is 2 bytes beyond the end of the digits. Nothing may be read or written
 * there. Compatibility: callers use the result only as a mark.
 *
 *     0x0a 0xff    0aff */
QUILL_API char *pap_hexify(char *dst, const uint8_t *src, int len);

/* --- names and displayed texts */

/* valid_display_string returns 0 when none of the len bytes at text is a control character of ASCII (0 to 31, 127). It
 * returns 1 when any of them is a control character, and 255 for a null text or a negative len. Bytes above 127 are
 * allowed: they are UTF-8. */
QUILL_API int valid_display_string(const char *text, int len);

/* validate_file_name replaces each of \ / : * " < > | ? among the len bytes at name by '-', in place, and returns 0.
 * The result is then a file's name, and not a path. Returns 1 for a null name or a len of 0 or less. */
QUILL_API int validate_file_name(char *name, int len);

/* is_valid_restricted_filename returns 1 when name begins with a letter or digit and goes on with letters, digits, '_',
 * '-', '.' and blanks only. Otherwise, and for an empty or null name, it returns 0. */
QUILL_API int is_valid_restricted_filename(const char *name);

/* email_addr_validate returns -1 for null and for a text that is not an address local@domain. It returns 0 for such an
 * address:
 *
 *     local     1 to 64 letters, digits and !#$%&'*+-/=?^_`.{|}~ (atoms and dots of RFC 5322; lengths of RFC 5321,
 *               section 4.5.3.1; no quoted form)
 *     domain    1 to 255 letters, digits, '-' and '.', with at least one '.', none of them first or last
 *
 * Dots next to each other and a '-' at the end are accepted. */
QUILL_API int email_addr_validate(const char *addr);

/* domain_name_validate returns 0 for a name of letters, digits, '-' and '.' that neither begins nor ends with '-' or
 * '.'. Otherwise it checks in this order. It returns 2 for a name that begins with '-' or '.', then 1 for another
 * character after the first, then 2 for a name that ends with '-' or '.'. An empty or a null name gives 2: it has no
 * first character.
 *
 * The first character may be any other character, as in _sip.example.com. Compatibility: service names (RFC 2782) begin
 * so. */
QUILL_API int domain_name_validate(const char *name);

/* clear_quotes removes a quote (' or ") at the start of text, and another at the end, in place. The two quotes need not
 * match. Each is removed even when the other is missing. Returns the length after the removal at the start, minus 1.
 * The removal at the end does not change the result. The result is -1 for a text that is empty after the removal at the
 * start, and for null.
 *
 *     "abc"    becomes abc, returns 3
 *     'abc     becomes abc, returns 2 */
QUILL_API int clear_quotes(char *text);

/* --- the shell */

/* has_shell_metachars returns the first character of text that has a meaning to the shell, so that a message can show
 * it. These characters are < > * ? [ ] | ; & ( ) { } # $ \ ! % ^ `. Returns 0 when text has no such character, and 255
 * for a null text. */
QUILL_API int has_shell_metachars(const char *text);

/* has_shell_specialchars returns c when it is one of the characters above or one of @ . " , / : = - + _ ~, else 0. */
QUILL_API int has_shell_specialchars(int c);

/* insert_in_str inserts c before position pos of text, which needs room for one more character; the rest and its NUL
 * move up. With a pos of strlen(text) it appends c. Nothing changes for a null text, for a pos below 0, and for a pos
 * above strlen(text). */
QUILL_API void insert_in_str(char *text, char c, int pos);

/* escape_shell_specialchars writes src to dst with a '\' before each character that has_shell_specialchars reports. dst
 * needs room for 2 * strlen(src) + 1 characters and must not overlap src. A null src leaves dst as it is.
 *
 *     a;b c    a\;b c
 *     a.b      a\.b
 *
 * In a command of /bin/sh, outside of quotes, the shell turns the result back into src, as one word. Single quotes,
 * blanks, tabs and newlines are not escaped, and an empty src makes no word. Refuse such texts first:
 *
 *     if (*name == '\0' || strpbrk(name, "' \t\n")) return refuse(name);
 *
 * Compatibility: a dot is escaped without need; scripts compare these texts. */
QUILL_API void escape_shell_specialchars(const char *src, char *dst);

/* is_string_vulnerable returns 1 when one of the len bytes at text is ; \ & | ` > < $ ( ) { } or !, else 0. It also
 * returns 1
 *
 *     with alnum_only         when a byte is not a letter or digit
 *     with no_space           when a byte is a space
 *     with check_traversal    when the text up to its NUL, whatever len is, holds ../ or one of its URL-encoded forms
 *                             %2E%2E%2F and %252E%252E%252F, in upper case only
 *     always                  for a null text and a negative len, which cannot be examined
 *
 * Compatibility: callers accept texts with the lower-case forms. */
QUILL_API int is_string_vulnerable(const char *text, int len, int alnum_only, int no_space, int check_traversal);

QUILL_END_DECLS

#endif
