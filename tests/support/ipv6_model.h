// IPv6 texts as the C library reads them.
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

}  // namespace quill::test
