// IPv6 texts as the C library reads them, and where the library deliberately differs.
#pragma once

#include <arpa/inet.h>

#include <array>
#include <string>

#include "base/endian.h"

namespace quill::test {

using Groups = std::array<uint16_t, 8>;
using AddressBytes = std::array<uint8_t, 16>;

inline AddressBytes bytes_of(const Groups &groups) {
    AddressBytes bytes;
    for (size_t i = 0; i < groups.size(); i++) store_be(&bytes[2 * i], groups[i]);
    return bytes;
}

inline Groups groups_of(const AddressBytes &bytes) {
    Groups groups;
    for (size_t i = 0; i < groups.size(); i++) groups[i] = load_be<uint16_t>(&bytes[2 * i]);
    return groups;
}

inline bool library_reads(const std::string &text, Groups *groups) {
    AddressBytes bytes;
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1) return false;
    *groups = groups_of(bytes);
    return true;
}

// "::" at an end of a text with seven other groups: the one form that is refused and that the C library may read.
inline bool gap_for_one_group_at_an_end(const std::string &text) {
    size_t colons = 0;
    for (const char c : text) colons += c == ':';
    return colons == 8 && (text.starts_with("::") || text.ends_with("::"));
}

// Whether a group has more digits than the C library takes, being padded with zeros.
inline bool padded_group(const std::string &text) {
    size_t digits = 0;
    for (const char c : text) {
        digits = c == ':' ? 0 : digits + 1;
        if (digits > 4) return true;
    }
    return false;
}

}  // namespace quill::test
