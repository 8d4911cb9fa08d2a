// The text of an IPv6 address, as the C library's inet_ntop writes it.
#pragma once

#include <stdint.h>

#include <span>

namespace quill {

constexpr int kIpv6Groups = 8;

// Writes groups, given in host order, and a NUL. The longest run of two or more zero groups becomes "::" (RFC 5952).
// Returns the place of the NUL, at most 39 bytes after `to`.
char *write_ipv6_groups(char *to, const uint16_t *groups);

// Writes the text of 16 bytes, and a NUL, to at least 40 bytes. Returns `to`; null if the C library refuses, and the
// content of `to` is then unspecified.
char *write_ipv6(std::span<char> to, const uint8_t *address);

}  // namespace quill
