// The text of an IPv6 address, as the C library's inet_ntop writes it.
#pragma once

#include <stdint.h>

#include <span>

namespace quill {

constexpr int kIpv6Groups = 8;

// Writes groups in host order, with "::" for the longest of the runs of two zero groups and more, and a NUL: RFC 5952.
// Returns the NUL's place, at most 39 bytes on.
char *write_ipv6_groups(char *to, const uint16_t *groups);

// Writes the text of 16 bytes, and a NUL, to at least 40 bytes. Returns to; null if the C library refuses, with to's
// content unspecified.
char *write_ipv6(std::span<char> to, const uint8_t *address);

}  // namespace quill
