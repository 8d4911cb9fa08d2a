/* quill/ipv6.h: IPv6 addresses to text and back, prefix lengths and masks (RFC 4291).
 *
 * An address is 16 bytes in transmission order (addr16), or eight groups in host byte order (groups8). Group 0 of
 * 2001:db8:: is 0x2001 on every machine. Three functions make text, and two functions read it:
 *
 *     function           of bytes or groups  2001:db8::1 becomes
 *     ip6_to_str         bytes               the text of the C library's inet_ntop: "2001:db8::1"
 *     ipv6_to_str        groups              "2001:db8::1", the same on every C library, never with dotted IPv4
 *     ip6_to_str_long    bytes               "2001:0db8:0000:0000:0000:0000:0000:0001"
 *
 *     str_to_ip6         bytes               reads what the C library's inet_pton reads
 *     ipv6_str_to_addr   groups              reads only groups and "::", the same on every C library
 *
 * Texts, and the address from str_to_ip6, are borrowed: they are in buffers of the process, which have no lock. Results
 * of ip6_to_str and ip6_to_str_long last until the 10th later call of the same function. Results of ipv6_to_str last
 * until the 8th later call, and results of str_to_ip6 until the next. Every other function is reentrant. See
 * quill/address.h for forms that take a destination, and for ipv6_zeros, ipv6_ones and ipv6_loopback. */
#ifndef QUILL_IPV6_H
#define QUILL_IPV6_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

enum {
    QUILL_IPV6_LONG_SIZE = 40 /* bytes of 2001:0db8:0000:0000:0000:0000:0000:0001 and its NUL */
};

/* --- addresses */

/* str_to_ip6 returns the 16 bytes of text as inet_pton (POSIX, AF_INET6) reads it, or null when inet_pton refuses it.
 */
QUILL_API uint8_t *str_to_ip6(const char *text);

/* ip6_to_str returns the text of inet_ntop (POSIX, AF_INET6), which writes a mapped address as ::ffff:10.0.0.1. */
QUILL_API char *ip6_to_str(const uint8_t *addr16);

/* ip6_to_str_long returns eight groups of four lower-case digits, always 39 characters. So its texts sort in the order
 * of the addresses. */
QUILL_API char *ip6_to_str_long(const uint8_t *addr16);

/* ipv6_to_str returns the compressed text of RFC 5952, section 4: lower case and no leading zeros. "::" replaces the
 * longest run of at least two zero groups, or the first of several runs of that length. */
QUILL_API char *ipv6_to_str(const uint16_t *groups8);

/* ipv6_str_to_addr reads eight groups of hexadecimal digits in either case into groups8, or fewer groups with one "::"
 * in place of groups that are zero. Returns 1, or 0 with groups8 unchanged. It differs from inet_pton:
 *
 *     00000001::             accepted: a group may have any number of leading zeros
 *     ::ffff:1.2.3.4         refused: a dotted tail
 *     fe80::1%lo             refused: a scope
 *     1:2:3::5:6:7:8         accepted: "::" may replace a single group between others
 *     1:2:3:4:5:6:7::        refused: a single group at an end; also ::2:3:4:5:6:7:8
 *
 * Compatibility: configurations hold such texts. */
QUILL_API int ipv6_str_to_addr(const char *text, uint16_t *groups8);

/* ipv6_addr_incr adds one to the last group alone, without a carry: 1:ffff becomes 1:0. The exception is the address of
 * all ones, which becomes "::". Compatibility: callers count within a group. */
QUILL_API void ipv6_addr_incr(uint16_t *groups8);

/* format_ipv6_with_colon puts a ':' between every four of the 32 characters at hex32, which need no NUL. It stores the
 * 39 characters and a NUL in out, QUILL_IPV6_LONG_SIZE bytes. Returns 1. Returns 0 with the empty text in out when one
 * of the 32 is not a hexadecimal digit. A ':' counts as a digit and is copied. Compatibility: callers pass such texts.
 */
QUILL_API int format_ipv6_with_colon(const char *hex32, char *out);

/* is_ipv6_link_local_address returns 1 when addr is IPv6 and its first group is fe80, else 0.
 * is_ipv6_site_local_address does the same for fec0. The whole group is compared, not only the ten bits of RFC 4291:
 * for fe81:: and febf:: both return 0. Compatibility: programs rely on it. */
QUILL_API int is_ipv6_link_local_address(ip_af_addr addr);
QUILL_API int is_ipv6_site_local_address(ip_af_addr addr);

/* --- prefix lengths, 0 to 128, and masks */

/* ipv6_prefix2addr_mask reads a text such as "2001:db8::/32". It reads the address into groups8, as ipv6_str_to_addr
 * does, and the decimal length into *plen. A '/' with nothing after it is length 0. It cuts text at the '/', so that
 * text is then the address alone.
 *
 * Returns 1. Returns 0 when the length has other characters than digits or is above 128, or the address is refused. A
 * refused text is cut, too. groups8 is then unchanged, and *plen contains what ipv6_wild2len reads. Without a '/' it
 * returns 0 and changes nothing. Compatibility: callers use the cut text. */
QUILL_API int ipv6_prefix2addr_mask(char *text, uint16_t *groups8, uint16_t *plen);

/* ipv6_wild2len reads a decimal length into *plen. Returns 1. Returns 0 for a null or empty text, other characters than
 * digits, and a number above 128. *plen then contains the number as far as it was read: "12x" gives 12, "129" 129, and
 * the empty text 0. A null text leaves *plen unchanged. */
QUILL_API int ipv6_wild2len(const char *text, uint16_t *plen);

/* ipv6_plen_to_addr writes the mask of the length into mask16: ff for every eight bits, then one byte with the
 * remaining bits, or 0 when no bits remain. It does not write the bytes after that byte, so clear mask16 first: a
 * length of 64 writes bytes 0 to 8. A length of 128 or more is sixteen bytes of ff. Compatibility: callers keep the
 * rest of their buffer.
 *
 *     uint8_t mask[16] = {0};
 *     ipv6_plen_to_addr(65, mask);                            // ffff:ffff:ffff:ffff:8000:: */
QUILL_API void ipv6_plen_to_addr(uint32_t plen, uint8_t *mask16);

/* ipv6_mask_to_plen returns the number of bits that are set in the eight groups. ipv6_addr_mask_to_plen does the same
 * for the 16 bytes of an address, whatever its family. The bits need not be the first ones: ff00:00ff:: gives 16. */
QUILL_API uint16_t ipv6_mask_to_plen(const uint16_t *mask8);
QUILL_API uint8_t ipv6_addr_mask_to_plen(ip_af_addr mask);

QUILL_END_DECLS

#endif
