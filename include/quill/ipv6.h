/* quill/ipv6.h: IPv6 addresses to text and back, prefix lengths and masks (RFC 4291).
 *
 * An address is 16 bytes in transmission order (addr16), or eight groups as numbers of the host (groups8): group 0 of
 * 2001:db8:: is 0x2001 on every machine. There are three texts and two readers:
 *
 *     function           of bytes or groups  2001:db8::1 becomes
 *     ip6_to_str         bytes               what the C library's inet_ntop says: "2001:db8::1"
 *     ipv6_to_str        groups              "2001:db8::1", the same on every C library, never with dotted IPv4
 *     ip6_to_str_long    bytes               "2001:0db8:0000:0000:0000:0000:0000:0001"
 *
 *     str_to_ip6         bytes               reads what the C library's inet_pton reads
 *     ipv6_str_to_addr   groups              reads groups and "::" alone, on every C library alike
 *
 * Texts and the address of str_to_ip6 are borrowed: they stand in buffers of the process, which nothing guards. Those
 * of ip6_to_str and ip6_to_str_long last until the 10th call of the same function after it, those of ipv6_to_str until
 * the 8th, that of str_to_ip6 until the next. Every other function is reentrant. See quill/address.h for forms that
 * take a destination, and for ipv6_zeros, ipv6_ones and ipv6_loopback.
 */
#ifndef QUILL_IPV6_H
#define QUILL_IPV6_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

enum {
    QUILL_IPV6_LONG_SIZE = 40 /* bytes of 2001:0db8:0000:0000:0000:0000:0000:0001 and its NUL */
};

/* --- addresses */

/* str_to_ip6 returns the 16 bytes of text as inet_pton (POSIX, AF_INET6) reads it, or null when it does not. */
QUILL_API uint8_t *str_to_ip6(const char *text);

/* ip6_to_str returns the text of inet_ntop (POSIX, AF_INET6), which writes a mapped address as ::ffff:10.0.0.1. */
QUILL_API char *ip6_to_str(const uint8_t *addr16);

/* ip6_to_str_long returns eight groups of four lower-case digits, always 39 characters: texts of it sort as addresses.
 */
QUILL_API char *ip6_to_str_long(const uint8_t *addr16);

/* ipv6_to_str returns the compressed text of RFC 5952, section 4: lower case, no leading zeros, "::" for the longest
 * run of at least two zero groups, of equal ones the first. */
QUILL_API char *ipv6_to_str(const uint16_t *groups8);

/* ipv6_str_to_addr reads eight groups of hexadecimal digits in either case, or fewer with one "::" for the zeros left
 * out, into groups8. Returns 1, or 0 with groups8 unchanged.
 *
 * Not inet_pton: a group may have any number of leading zeros (00000001::), and deliberately so; a dotted tail
 * (::ffff:1.2.3.4) and a scope (fe80::1%lo) are refused; and "::" may stand for a single group between others
 * (1:2:3::5:6:7:8) but not at an end of the text (1:2:3:4:5:6:7:: and ::2:3:4:5:6:7:8 are refused). */
QUILL_API int ipv6_str_to_addr(const char *text, uint16_t *groups8);

/* ipv6_addr_incr adds one to the last group alone: deliberately nothing is carried, 1:ffff becomes 1:0. The address of
 * all ones becomes "::". */
QUILL_API void ipv6_addr_incr(uint16_t *groups8);

/* format_ipv6_with_colon puts a ':' between every four of the 32 characters at hex32, which need no NUL, and stores the
 * 39 characters and a NUL in out, QUILL_IPV6_LONG_SIZE bytes. Returns 1; or 0 with the empty text in out when one of
 * the 32 is neither a hexadecimal digit nor, deliberately, a ':', which is copied like a digit. */
QUILL_API int format_ipv6_with_colon(const char *hex32, char *out);

/* is_ipv6_link_local_address returns 1 when addr is IPv6 and its first group is fe80, is_ipv6_site_local_address when
 * it is fec0; else 0. Deliberately the whole group counts, not the ten bits of RFC 4291: fe81:: and febf:: are neither.
 */
QUILL_API int is_ipv6_link_local_address(ip_af_addr addr);
QUILL_API int is_ipv6_site_local_address(ip_af_addr addr);

/* --- prefix lengths, 0 to 128, and masks */

/* ipv6_prefix2addr_mask reads "2001:db8::/32": the address into groups8 as ipv6_str_to_addr does, the decimal length
 * into *plen. Deliberately it cuts text at the '/', which leaves the caller the address, also when it then returns 0: a
 * length that is not all digits or above 128, or an address that is refused. Without a '/' it returns 0 and changes
 * nothing. A '/' with nothing behind it is length 0. On 0, *plen may hold what was read of the length. */
QUILL_API int ipv6_prefix2addr_mask(char *text, uint16_t *groups8, uint16_t *plen);

/* ipv6_wild2len reads a decimal length into *plen. Returns 1; or 0 for a null or empty text, anything but digits, and a
 * number above 128; *plen then holds what was read of the number, unless text is null. */
QUILL_API int ipv6_wild2len(const char *text, uint16_t *plen);

/* ipv6_plen_to_addr writes the mask of the length into mask16: ff for every eight bits, then one byte with the bits
 * left over, 0 when there are none. What follows that byte is deliberately not written: clear mask16 first. A length of
 * 128 and any above it is sixteen bytes of ff.
 *
 *     uint8_t mask[16] = {0};
 *     ipv6_plen_to_addr(65, mask);                            // ffff:ffff:ffff:ffff:8000::
 */
QUILL_API void ipv6_plen_to_addr(uint32_t plen, uint8_t *mask16);

/* ipv6_mask_to_plen returns how many bits are set in the eight groups, and ipv6_addr_mask_to_plen in the 16 bytes of an
 * address, whatever its family. Whether the bits are the first ones is not looked at: ff00:00ff:: gives 16. */
QUILL_API uint16_t ipv6_mask_to_plen(const uint16_t *mask8);
QUILL_API uint8_t ipv6_addr_mask_to_plen(ip_af_addr mask);

QUILL_END_DECLS

#endif
