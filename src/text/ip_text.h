// The text of an IPv6 address, as the C library's inet_ntop writes it.
#pragma once

#include <stdint.h>

namespace quill {

constexpr int kIpv6Groups = 8;

// Writes groups in host order, with "::" for the longest of the runs of two zero groups and more, and a NUL: RFC 5952.
// Returns the NUL's place, at most 39 bytes on.
char *write_ipv6_groups(char *to, const uint16_t *groups);

// Writes the text of 16 bytes, of at most 45 characters, and a NUL. Returns to.
char *write_ipv6(char *to, const uint8_t *address);

}  // namespace quill
