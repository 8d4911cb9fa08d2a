// Elements of codec messages, as quill decode shows them and quill encode reads them.
#pragma once

#include <quill/types.h>
#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "console.h"
#include "damage.h"
#include "input.h"

namespace quill::cli {

// In the order of their tags.
enum Kind : uint8_t {
    kStr,
    kMac,
    kU8,
    kU16,
    kU32,
    kIp,
    kS32,
    kBool,
    kHex,
    kU64,
    kIpv6,
    kIpAf,
    kStr3,
    kHexLen32,
    kHex32,
    kKinds
};

struct Element {
    Kind kind;
    uint32_t offset, length;           // in the message, its tag included
    std::span<const uint8_t> raw;      // its fixed part in the message
    std::span<const uint8_t> content;  // of texts and data, in the message
    uint8_t bytes[16];
    uint64_t number;   // of the unsigned kinds, and a bool's byte
    int32_t negative;  // of s32
    ip_af_addr address;
};

const char *name_of(Kind kind);
bool find_kind(std::string_view name, Kind &out);

// Reads the element at an offset below the message's length.
bool read_element(std::span<const uint8_t> message, uint32_t offset, Element &out, Damage &damage);

// Its value: as quill encode reads it, and as a member of a JSON object.
void print_value(const Element &element);
void print_value(const Element &element, Json &json);
bool is_text(Kind kind);
bool is_data(Kind kind);
// Behind a value, what bytes it does not show.
void print_hidden(const Element &element);

// "..." with the escapes of print_escaped. What is wrong with it, or null.
const char *parse_quoted(std::string_view value, Bytes &out);

// Appends the element of a kind whose value is said as print_value says it. What is wrong with it, or null.
const char *write_element(Kind kind, std::string_view value, Bytes &message);

}  // namespace quill::cli
