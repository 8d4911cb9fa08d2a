/* quill/address.h: MAC and IP addresses to text and back, checks, and arithmetic on address words.
 *
 * Two kinds of functions make text. Those that take a destination, and the _r forms, are reentrant. The others return a
 * borrowed buffer from a ring, so that one argument list can contain several results:
 *
 *     printf("%s moved from %s to %s\n", mac_to_str(station), ip_to_str(before), ip_to_str(now));
 *
 *     function           buffers  a result lasts until
 *     mac_to_str         64       the 64th call after it
 *     ip_to_str          10       the 10th call after it
 *     quill_ip_to_str    8        the 8th call after it, of this function or of quill_ipv6_to_str
 *     ip_to_str2         1        the next
 *     str_to_mac         1        the next
 *
 * Rings belong to the process and have no lock. Use these functions from one thread. Several threads may use them only
 * if a text that another thread overwrites does no harm. Texts are the same in every locale. */
#ifndef QUILL_ADDRESS_H
#define QUILL_ADDRESS_H

#include <quill/types.h>
#include <stddef.h>

QUILL_BEGIN_DECLS

/* Sizes of destinations, with the terminating NUL. */
enum {
    QUILL_MAC_STR_SIZE = 18,       /* 00:1a:2b:3c:4d:5e */
    QUILL_MAC_STR_PLAIN_SIZE = 13, /* 001a2b3c4d5e */
    QUILL_IP_STR_SIZE = 46         /* the longest IPv6 text, INET6_ADDRSTRLEN of <netinet/in.h> */
};

/* --- MAC addresses (IEEE 802, EUI-48): 6 bytes in transmission order */

/* mac_to_str_r writes mac as 00:1a:2b:3c:4d:5e into dst (QUILL_MAC_STR_SIZE bytes) and returns dst. Digits are in upper
 * case when upper is not 0. mac_to_str_w_options puts delim between the bytes, and nothing when delim is 0.
 * mac_to_str_no_delemit does the same with a delim of 0: QUILL_MAC_STR_PLAIN_SIZE bytes are enough. A null mac gives
 * UNKNOWN. Reentrant. */
QUILL_API char *mac_to_str_r(const uint8_t *mac, char *dst, int upper);
QUILL_API char *mac_to_str_w_options(const uint8_t *mac, char *dst, int upper, char delim);
QUILL_API char *mac_to_str_no_delemit(const uint8_t *mac, char *dst, int upper);

/* mac_to_str returns 00:1a:2b:3c:4d:5e in the next buffer of its ring, UNKNOWN for a null mac. */
QUILL_API char *mac_to_str(const uint8_t *mac);

/* str_to_mac reads an address that a person typed and returns it in its static buffer. When there are not exactly six
 * bytes, it returns all zeros, as for 00:00:00:00:00:00.
 *
 * A leading 0x or 0X is skipped. A byte is one or two hexadecimal digits. ':', '-' and '.' are separators. Several may
 * follow each other, and none is needed after two digits. A single digit is a byte only before a separator or the end
 * of text. 0:1a:2b:3c:4d:5e, 00-1A-2B-3C-4D-5E, 001a.2b3c.4d5e and 0x001a2b3c4d5e all are 00:1a:2b:3c:4d:5e.
 *
 * Any other character ends the reading. This is not a failure when six bytes were read: "00:1a:2b:3c:4d:5e/24" and
 * "00:1a:2b:3c:4d:5e:zz" give the address. A seventh byte gives zeros. Compatibility: programs pass addresses with a
 * prefix length or other text after them. */
QUILL_API uint8_t *str_to_mac(const char *text);

/* valid_mac returns 1 when text is exactly six groups of one or two hexadecimal digits with one ':' or '-' between
 * them, else 0. It stores each group that it reads, at most six, into the 6 bytes of mac_out. A refused text may change
 * the first bytes; the rest of mac_out is unchanged. Reentrant.
 *
 * In a group of one digit, the separator before it counts as the high digit. ':' is 10 and '-' is 13, so "00:1:…"
 * stores 0xa1 and "00-1-…" stores 0xd1. The first group has no separator, and its high digit is 0. Use str_to_mac where
 * a byte may have only one digit. Compatibility: programs rely on these values. */
QUILL_API int valid_mac(uint8_t *mac_out, const char *text);

/* valid_mac_range returns 1 when c is a hexadecimal digit in either case, else 0. Reentrant. */
QUILL_API int valid_mac_range(int c);

/* --- IPv4 addresses: a word in network order, as in_addr.s_addr */

/* str_to_ip does what the C library's inet_addr (POSIX) does. It returns the address, or 0xffffffff for bad text and
 * for 255.255.255.255. It also reads texts with fewer than four numbers, and octal and hexadecimal numbers: "010.1" is
 * 8.0.0.1. Reentrant. */
QUILL_API uint32_t str_to_ip(const char *text);

/* ip_to_str returns text such as 10.0.0.1 in the next buffer of its ring. ip_to_str2 returns it in its one buffer. */
QUILL_API char *ip_to_str(uint32_t ip);
QUILL_API char *ip_to_str2(uint32_t ip);

/* is_unicast_ipaddr returns 0 for 0.0.0.0, for 127.x.x.x, for 224.0.0.0 to 239.255.255.255 (multicast) and for every
 * 255.x.x.x. It returns 1 for all other addresses, also those of class E (240 to 254). Reentrant. Compatibility:
 * programs rely on the result for all of 255.x.x.x. */
QUILL_API int is_unicast_ipaddr(uint32_t ip);

/* --- addresses of either family */

/* quill_inet_ntop writes the text of addr into buf, QUILL_IP_STR_SIZE bytes, and returns buf. A family other than
 * QUILL_AF_INET and QUILL_AF_INET6 gives the empty text. IPv6 is in the form of the C library's inet_ntop. Reentrant.
 */
QUILL_API char *quill_inet_ntop(ip_af_addr addr, char *buf);

/* quill_ip_to_str_r writes the text of addr into the buflen bytes at buf and returns buf. Returns null when buf is
 * null, and when the text does not fit; buf may then hold a part of it. Unlike quill_inet_ntop, it treats every family
 * except QUILL_AF_INET6 as IPv4. So an address without a family is printed as its first four bytes. Names are never
 * looked up. Reentrant. Compatibility: programs print addresses without a family. */
QUILL_API char *quill_ip_to_str_r(ip_af_addr addr, char *buf, size_t buflen);

/* quill_ip_to_str does what quill_ip_to_str_r does, with the next buffer of the ring. quill_ipv6_to_str does the same
 * for the 16 bytes of an IPv6 address. */
QUILL_API char *quill_ip_to_str(ip_af_addr addr);
QUILL_API char *quill_ipv6_to_str(const uint8_t *addr16);

/* quill_inet_pton stores the address of text, which is a numeric address or a host name, in *out. Returns
 *
 *     1    the address is stored, and unused bytes are zero; an empty text is the address without a family, all zero
 *     0    text names no address, or a pointer is null: *out is unchanged
 *     0    the first address that the resolver found is of another family: only the family is stored
 *
 * Plain numeric text is converted within the process. Any other text goes to the C library's resolver (getaddrinfo, RFC
 * 3493). The resolver reads numeric forms such as 0x7f.1 and fe80::1%lo (whose scope is dropped). It then queries the
 * hosts file and name servers, which can take seconds. The function uses the first address that the resolver returns,
 * and is as thread-safe as getaddrinfo. Compatibility: programs pass empty fields to it. */
QUILL_API int quill_inet_pton(const char *text, ip_af_addr *out);

/* validate_and_assign_ip_addr does what quill_inet_pton does, for numeric text that inet_pton (POSIX) reads. Host names
 * are refused, and nothing is looked up. Returns 1, or 0 for a refused text. A refused text leaves *out unchanged,
 * except for the empty text, which zeroes *out. Null pointers give 0. Reentrant. Compatibility: callers treat an empty
 * field as refused. */
QUILL_API int validate_and_assign_ip_addr(const char *text, ip_af_addr *out);

/* --- well-known addresses */

/* The IPv6 addresses ::, all ones, and ::1, 16 bytes each. */
QUILL_API extern const uint8_t ipv6_zeros[16];
QUILL_API extern const uint8_t ipv6_ones[16];
QUILL_API extern const uint8_t ipv6_loopback[16];

/* zero_ip_addr is the lowest and all_1_ip_addr the highest address of the family that the process works with. Programs
 * use them as marks. Their family is 0 until fix_zero_and_all_1_ip_addr has been called. */
QUILL_API extern ip_af_addr zero_ip_addr;
QUILL_API extern ip_af_addr all_1_ip_addr;

/* fix_zero_and_all_1_ip_addr sets zero_ip_addr and all_1_ip_addr to 0.0.0.0 and 255.255.255.255 for QUILL_AF_INET, and
 * to the all-zero and all-one IPv6 address for QUILL_AF_INET6. For any other family it only sets the family of both
 * addresses to 0. Call it once at the start of a process, before other threads run. */
QUILL_API void fix_zero_and_all_1_ip_addr(int family);

/* --- arithmetic on address words
 *
 * The functions compute with 32-bit words as they are given and swap no bytes. On the device network and host order are
 * the same. The two prefixes only mark what a caller combines: nh_ a network word with a host word, nn_ two network
 * words. The functions whose names end in s cut the result to 16 bits. The exceptions nh_ands and nn_ands are the same
 * as nh_andl and nn_andl. Reentrant. */
QUILL_API uint32_t nh_addl(uint32_t a, uint32_t b); /* a + b, wrapping */
QUILL_API uint32_t nn_addl(uint32_t a, uint32_t b);
QUILL_API uint32_t nh_subl(uint32_t a, uint32_t b); /* a - b, wrapping */
QUILL_API uint32_t nn_subl(uint32_t a, uint32_t b);
QUILL_API uint32_t nh_adds(uint32_t a, uint32_t b); /* (a + b) & 0xffff */
QUILL_API uint32_t nn_adds(uint32_t a, uint32_t b);
QUILL_API uint32_t nh_subs(uint32_t a, uint32_t b); /* (a - b) & 0xffff */
QUILL_API uint32_t nn_subs(uint32_t a, uint32_t b);
QUILL_API uint32_t nh_andl(uint32_t a, uint32_t b); /* a & b */
QUILL_API uint32_t nn_andl(uint32_t a, uint32_t b);
QUILL_API uint32_t nh_ands(uint32_t a, uint32_t b);
QUILL_API uint32_t nn_ands(uint32_t a, uint32_t b);

QUILL_END_DECLS

#endif
