/* quill/argv.h: splits a command line into words, and joins words into a command line. Nothing is allocated and no
 * shell is involved.
 *
 *     char line[] = "set name 'north wing' vlan\\ 20";
 *     char *words[8];
 *     int count = cmdline_to_argv(8, words, line);    // 4: set, name, north wing, vlan 20
 *
 *     char text[64];
 *     args_to_cmdline(text, sizeof text, "echo", "a;b", NULL);    // echo "a;b"
 *
 * A word may contain any byte except NUL. Only the characters named here have a meaning, whatever the locale.
 *
 * Splitting a joined line gives the original words under two conditions. No word is empty or has a carriage return or
 * line feed in it. A word that has a single quote in it must also have one of < > ; & | blank tab, which cause double
 * quotes. Joined words are not safe to give to a shell: "$" and the back quote are not escaped.
 *
 * All functions may be called from several threads and from signal handlers. */
#ifndef QUILL_ARGV_H
#define QUILL_ARGV_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* cmdline_to_argv splits a line into words, in the line itself: it ends each word with a NUL in the line. It stores
 * pointers to the first `capacity` words in words (borrowed: they last as long as the line). It stores no null pointer
 * after them. Returns how many words the line has, which may be more than capacity. Returns 0 for null and for a line
 * without words.
 *
 * Words are separated by blanks, tabs, carriage returns and line feeds. Quotes and backslashes are removed:
 *
 *     a\ b        a b        a backslash keeps the next character as it is, also between quotes
 *     'a "b'      a "b       between single quotes
 *     "a 'b"      a 'b       between double quotes
 *     a"b c"d     ab cd      quotes may begin and end inside a word
 *     ''                     an empty word
 *     "a b        a b        a quote that is not closed lasts to the end of the line
 *     a\          a          a backslash at the end is dropped */
QUILL_API int cmdline_to_argv(int capacity, char **words, char *line);

/* argv_to_cmdline joins words by blanks into buffer, which has size bytes. A word with one of the characters < > ; & |
 * blank tab CR LF in it is put between double quotes. Carriage returns and line feeds are dropped. In every word,
 * quoted or not, double quotes and backslashes get a backslash before them. The line ends after count words, or at a
 * null pointer among the words.
 *
 * Returns the length of the whole line, without the NUL, as snprintf does. When that is size or more, the line is cut
 * to size - 1 bytes and the NUL. For a size of 0 or less it returns 0 and writes nothing. */
QUILL_API int argv_to_cmdline(char *buffer, int size, int count, char *const *words);

/* args_to_cmdline does what argv_to_cmdline does, with the words as arguments. A null pointer, (char *)NULL, follows
 * the last word. Without any word it returns 0 and leaves the buffer as it is, while argv_to_cmdline writes the empty
 * text. */
QUILL_API int args_to_cmdline(char *buffer, int size, ...) __attribute__((sentinel));

QUILL_END_DECLS

#endif
