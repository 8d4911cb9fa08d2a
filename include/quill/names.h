/* quill/names.h: converts radio, security and protocol quantities to the words that pages, command lines and logs show,
 * and back.
 *
 * Texts that functions return are borrowed. Constant texts last as long as the process, and any thread may use them.
 * The other texts are in a static buffer of their function. The next call overwrites the buffer, and only one thread at
 * a time may use it:
 *
 *     sec_to_str, encr_to_str, loc_to_str                          one buffer each
 *     proto_to_str                                                 one buffer, for numbers without a name
 *     dbm_pwr_to_str                                               two, in turns: two results fit in one argument list
 *
 * All other functions are reentrant. Numbers are written and read as in the "C" locale, whatever locale the program has
 * set. A null text gives the same result as the empty text.
 *
 * Power has three units: dBm, tenths of a dBm, and the level of radio management. A level is 0 to 11, or 12 for
 * everything above. */
#ifndef QUILL_NAMES_H
#define QUILL_NAMES_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- frames */

/* Intrusion detection has its own codes for some subtypes of management frames. The table gives these codes, and the
 * numbers of the subtypes in IEEE 802.11 (table "Valid type and subtype combinations"):
 *
 *     code  subtype  frame
 *     1     10       disassociation
 *     2     12       deauthentication
 *     3     4        probe request
 *     4     5        probe response
 *     5     11       authentication
 *
 * ids_stype_to_wifi_stype returns the subtype of a code, and wifi_stype_to_ids_stype returns the code of a subtype.
 * Both return 0 for any other number. Subtype 0, which is an association request, has no code. */
QUILL_API uint32_t ids_stype_to_wifi_stype(uint32_t ids_stype);
QUILL_API uint32_t wifi_stype_to_ids_stype(uint32_t wifi_stype);

/* --- durations */

/* sec_to_str returns a duration in days, hours, minutes and seconds. The text begins with the largest unit that is not
 * 0.
 *
 *     sec_to_str(90061)    1d:1h:1m:1s
 *     sec_to_str(3600)     1h:0m:0s
 *     sec_to_str(0)        0s */
QUILL_API const char *sec_to_str(uint32_t seconds);

/* --- encryption */

/* encr_to_str returns "xsec" when flags has bit 0x100, else "Open" when it has 0x1. Otherwise it returns the names of
 * the other bits with commas between them, or the empty text. The names come in the order of this table, column by
 * column:
 *
 *     0x2   Static WEP        0x400  WPA 8021X AES         0x20    WPA2 PSK AES
 *     0x4   Dynamic WEP       0x200  WPA PSK AES           0x40    WPA2 8021X AES
 *     0x8   Static WPA        0x800  WPA2 PSK TKIP         0x2000  WPA2 AES GCM 128
 *     0x10  Dynamic WPA       0x1000 WPA2 8021X TKIP       0x4000  WPA2 AES GCM 256
 *
 *     encr_to_str(0x600)    WPA 8021X AES,WPA PSK AES
 *
 * Compatibility: the order is not that of the bits, and programs compare the whole text. */
QUILL_API const char *encr_to_str(uint32_t encr_flags);

/* --- locations */

/* loc_to_str returns the location a.b.c. a is the top 8 bits of loc, b the next 8 and c the low 16. For 0xffffffff it
 * returns "Not set".
 *
 *     loc_to_str(0x01020003)    1.2.3 */
QUILL_API const char *loc_to_str(uint32_t loc);

/* str_to_loc returns the location of a text a.b.c. Returns 0 when text does not begin with three such numbers. 0 is
 * also the location 0.0.0. Like the C library's "%d.%d.%d", it accepts spaces and a sign before each number, and
 * ignores text after the third number. Only the low 8, 8 and 16 bits of the numbers are used: 256.0.1 gives 0.0.1. */
QUILL_API uint32_t str_to_loc(const char *text);

/* --- IP protocols */

/* proto_to_str returns the name (constant) of the IP protocol with this number in IANA's registry. For a number without
 * a name it returns the number in decimal. The names are:
 *
 *     0 any     8 egp     29 tp          46 rsvp    58 icmpv6      98 encap
 *     1 icmp    12 pup    41 ipv6        47 gre     59 ipv6none    103 pim
 *     2 igmp    17 udp    43 routing     50 esp     60 dsopts      108 comp
 *     4 ipip    22 idp    44 fragment    51 ah      92 mtp         255 raw
 *     6 tcp */
QUILL_API const char *proto_to_str(int proto);

/* str_to_proto returns the number of a name in that table, in any letter case. Any other text is read as a decimal
 * number, after spaces and a sign, up to the first character that is not a digit. Only its low 16 bits are used: 70000
 * gives 4464. An unknown word gives 0, like "any". */
QUILL_API int str_to_proto(const char *text);

/* --- rates */

/* rate_offset_to_str returns the text of the legacy rate at an offset among the rates of the radio (constant):
 *
 *     offset       0  1  2    3   4   5   6   7   8   9   10  11
 *     802.11b/g    1  2  5.5  6   9   11  12  18  24  36  48  54    "1 mbps" and so on, ofdm_only 0
 *     802.11a      6  9  12   18  24  36  48  54                    any other ofdm_only
 *
 * Offset 255 gives "N/A", and any other offset gives "-". Compatibility: 11 comes between 9 and 12, and not with the
 * other 802.11b rates, because offsets increase with the rates. */
QUILL_API const char *rate_offset_to_str(uint32_t offset, int ofdm_only);

/* --- power */

/* DBM_PWR_NOT_SET marks a power, in tenths of a dBm, that is invalid or not set. */
enum { DBM_PWR_NOT_SET = 2047 };

/* dbm_pwr_to_str returns a number of tenths as dBm with one decimal, and "INV" for DBM_PWR_NOT_SET. The rest of the
 * buffer's 16 bytes is 0. The number is divided by 10 in single precision. The text shows every tenth from -1,048,576.2
 * to 1,048,576.2.
 *
 *     dbm_pwr_to_str(175)    17.5
 *     dbm_pwr_to_str(-5)     -0.5 */
QUILL_API const char *dbm_pwr_to_str(int tenths);

/* str_to_pwr_dbm reads a power in dBm from text and returns it in tenths of a dBm. text is an optional '-', digits, and
 * optionally '.' and exactly one digit. The number ends at the end of text or at a newline. Nothing after the newline
 * is read. Without digits the whole number is 0, as in "-" and ".5". The empty text, a text of any other form, and a
 * number outside int give DBM_PWR_NOT_SET.
 *
 *     17.5     175       17      170       17.55    2047
 *     -12.5    -125      12\n    12        17.5\n   175
 *
 * A whole number before a newline is returned as it is: it is neither multiplied by 10 nor negated. Compatibility: some
 * callers pass a line with its newline and expect this number. Other callers remove the newline first. */
QUILL_API int str_to_pwr_dbm(const char *text);

/* radio_tpl_to_dbm_power returns the power of a level in dBm. radio_tpl_to_dbm_10x_power returns the power of a level
 * in tenths of a dBm. The rows do not agree: a level is a step of 6 dBm in the first row, and of 3 dBm in the second.
 * Compatibility: each row has programs that rely on it.
 *
 *     level                      0  1   2   3   4    5    6    7    8    9    10   11   other
 *     radio_tpl_to_dbm_power     0  6   12  18  24   30   36   42   48   54   60   66   254
 *     ..._dbm_10x_power          0  30  60  90  120  150  180  210  240  270  300  330  1270 */
QUILL_API uint32_t radio_tpl_to_dbm_power(uint32_t level);
QUILL_API int radio_tpl_to_dbm_10x_power(uint32_t level);

/* radio_dbm_to_tpl_power returns the first level of the table above whose power is at least dbm - 4.
 * radio_dbm_10x_to_tpl_power returns the first level whose power is at least tenths - 20. This level is not always the
 * nearest: 5 dBm give level 1, and 4 dBm give level 0. Powers above 70 dBm, or above 350 tenths, give 12. A negative
 * number of tenths gives 0. A negative number of dBm gives 12, because that argument is unsigned. */
QUILL_API uint32_t radio_dbm_to_tpl_power(uint32_t dbm);
QUILL_API uint32_t radio_dbm_10x_to_tpl_power(int tenths);

/* radio_tpl_old_to_new_power and radio_tpl_new_to_old_power convert between the old scale of levels, 0 to 4, and the
 * present one. They are not inverse to each other: old 1 becomes new 4, which becomes old 2. Compatibility: stored
 * configurations rely on it.
 *
 *     old    0  1  2  3  other          new    0  1  2  3  4  5  other
 *     new    0  4  5  6  9              old    0  1  1  1  2  3  4 */
QUILL_API uint32_t radio_tpl_old_to_new_power(uint32_t old_level);
QUILL_API uint32_t radio_tpl_new_to_old_power(uint32_t new_level);

/* --- switches */

/* get_boolean_value returns 1 when text is "true", "yes" or "1" or begins with "enable", in any letter case. Otherwise
 * it returns 0, also for "on". get_boolean_str returns "disable" for 0 and "enable" for anything else (constant). */
QUILL_API int get_boolean_value(const char *text);
QUILL_API const char *get_boolean_str(int value);

QUILL_END_DECLS

#endif
