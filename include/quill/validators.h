/* quill/validators.h: checks and rewrites of text that people typed, on its way into configuration, messages and shell
 * commands.
 *
 * The predicates do not agree on what says "valid": some answer 1, some 0, as their callers have always read them. Each
 * comment says which.
 *
 * Texts may hold any bytes: they may come from the network as they are. Letters and digits are those of ASCII and
 * spaces are blank, tab, newline, vertical tab, form feed and carriage return, whatever locale the program has set;
 * bytes above 127 belong to no class. A null text is refused as said at each function; of the functions that write,
 * those that change a text in place leave a null text alone, and a destination must not be null.
 *
 * A function with a length reads exactly that many bytes; a NUL among them does not end the text. A function without
 * one reads up to the NUL.
 *
 * All are reentrant. Only hextoint prints anything.
 */
#ifndef QUILL_VALIDATORS_H
#define QUILL_VALIDATORS_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- numbers */

/* xctoc returns the value of the hexadecimal digit c, in either case: 0 to 15. Any other number gives 0, which cannot
 * be told from the digit 0. */
QUILL_API int xctoc(int c);

/* hextoint reads text as hexadecimal digits, in either case, behind an optional "0x" (not "0X"), of at most nbytes
 * bytes: two digits a byte. The empty text gives 0. Where nbytes is above 4, of a longer number the low 32 bits are
 * returned.
 *
 * On error it returns 0xffffffff and writes a line to standard output, with the C library's puts: for a text that is
 * too long "Error: char string too long " (the blank belongs to it), for any other character, and a null text, "Error:
 * bad char". Deliberately the valid text ffffffff gives the same number: ask for fewer bytes, or look at the text,
 * where the difference matters. A negative nbytes is too little for any text.
 *
 *     hextoint("0x1A2b", 2)    0x1a2b */
QUILL_API uint32_t hextoint(const char *text, int nbytes);

/* is_numeric returns 1 and the number in *value when every character of text is a decimal digit, also when there is
 * none (0). Otherwise it returns 0, and *value is the number of the digits before the first other character; a null
 * text counts as one with such a character. A number above 32 bits is taken modulo 2^32. A null value is fine. */
QUILL_API int is_numeric(const char *text, uint32_t *value);

/* validate_lag_num returns 1 when text is the number of a link aggregation group (port channel), 0 to 63, else 0.
 * loopback_idx_validate is the same for a loopback interface. Both want one or two digits, and deliberately take the
 * empty text for 0: forms that leave the field out mean the first one. Null gives 0. */
QUILL_API int validate_lag_num(const char *text);
QUILL_API int loopback_idx_validate(const char *text);

/* pap_hexify writes the len bytes at src as 2 * len lower-case hexadecimal digits to dst, and no NUL. A negative len
 * counts as 0. Returns deliberately dst + 2 * len + 2, two places behind the last digit: callers use it as a mark only,
 * so nothing may be read or written there.
 *
 *     0x0a 0xff    0aff */
QUILL_API char *pap_hexify(char *dst, const uint8_t *src, int len);

/* --- names and displayed texts */

/* valid_display_string returns 0 when none of the len bytes at text is a control character of ASCII (0 to 31, 127), 1
 * when one is, and 255 for a null text or a negative len. Bytes above 127 are fine: they are UTF-8. */
QUILL_API int valid_display_string(const char *text, int len);

/* validate_file_name replaces each of \ / : * " < > | ? among the len bytes at name by '-', in place, and returns 0:
 * whatever was typed becomes a file's name and no path. Returns 1 for a null name or a len of 0 or less. */
QUILL_API int validate_file_name(char *name, int len);

/* is_valid_restricted_filename returns 1 when name begins with a letter or digit and goes on with letters, digits, '_',
 * '-', '.' and blanks only. Otherwise, and for an empty or null name, 0. */
QUILL_API int is_valid_restricted_filename(const char *name);

/* email_addr_validate returns 0 for an address local@domain, else, and for null, -1:
 *
 *     local     1 to 64 letters, digits and !#$%&'*+-/=?^_`.{|}~ (atoms and dots of RFC 5322; lengths of RFC 5321,
 *               section 4.5.3.1; no quoted form)
 *     domain    1 to 255 letters, digits, '-' and '.', with at least one '.', none of them first or last
 *
 * Dots next to each other and a '-' at the end are accepted. */
QUILL_API int email_addr_validate(const char *addr);

/* domain_name_validate returns 0 for a name of letters, digits, '-' and '.' that neither begins nor ends with '-' or
 * '.'. Else 2 for such a beginning, then 1 for another character, then 2 for such an end. Deliberately the first
 * character may be anything else, as in _sip.example.com: service names (RFC 2782) begin so. An empty or a null name
 * gives 2: it has no first character. */
QUILL_API int domain_name_validate(const char *name);

/* clear_quotes removes a quote (' or ") at the start of text, and another at the end, in place: they need not match,
 * and each goes without the other. Returns the index of the last character before the one at the end went, which is the
 * length after the removal at the start minus 1: -1 for a text that is then empty, and for null.
 *
 *     "abc"    becomes abc, returns 3
 *     'abc     becomes abc, returns 2 */
QUILL_API int clear_quotes(char *text);

/* --- the shell */

/* has_shell_metachars returns the first character of text that has a meaning to the shell, one of
 * < > * ? [ ] | ; & ( ) { } # $ \ ! % ^ `, so that a message can show it. 0 when there is none, 255 for a null text. */
QUILL_API int has_shell_metachars(const char *text);

/* has_shell_specialchars returns c when it is one of the characters above or one of @ . " , / : = - + _ ~, else 0. */
QUILL_API int has_shell_specialchars(int c);

/* insert_in_str inserts c before position pos of text, which needs room for one more character; the rest and its NUL
 * move up. A pos below 0 or behind the end is no position of the text: nothing changes. */
QUILL_API void insert_in_str(char *text, char c, int pos);

/* escape_shell_specialchars writes src to dst with a '\' before each character that has_shell_specialchars reports. dst
 * needs room for 2 * strlen(src) + 1 characters and must not overlap src. A null src leaves dst as it is.
 *
 *     a;b c    a\;b c
 *     a.b      a\.b, deliberately: the shell reads it as a.b, and scripts compare these texts
 *
 * In a command of /bin/sh, outside of quotes, the shell turns the result back into src, as one word, unless src is
 * empty or holds a quote ('), a blank, a tab or a newline. The rule leaves these four as they are: a blank separates
 * words, a newline ends the command, and a quote runs on to the next. Refuse such texts first:
 *
 *     if (*name == '\0' || strpbrk(name, "' \t\n")) return refuse(name); */
QUILL_API void escape_shell_specialchars(const char *src, char *dst);

/* is_string_vulnerable returns 1 when one of the len bytes at text is ; \ & | ` > < $ ( ) { } or !; with alnum_only,
 * when one is no letter or digit; with no_space, when one is a space; and with check_traversal, when the text up to its
 * NUL, whatever len is, holds ../ or its URL-encoded forms %2E%2E%2F and %252E%252E%252F. Deliberately these are looked
 * for in upper case only. Otherwise 0. What cannot be examined is unsafe: a null text and a negative len give 1. */
QUILL_API int is_string_vulnerable(const char *text, int len, int alnum_only, int no_space, int check_traversal);

QUILL_END_DECLS

#endif
