// Elements of codec messages, as quill decode shows them and quill encode reads them.
#pragma once

#include <quill/types.h>
#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "damage.h"
#include "input.h"
#include "report.h"

namespace quill::cli {

struct Kind;

struct Element {
    const Kind *kind;
    uint32_t offset, length;           // in the message, its tag included
    std::span<const uint8_t> raw;      // its fixed part in the message
    std::span<const uint8_t> content;  // of texts and data, in the message
    uint64_t number;                   // of the unsigned kinds, and a bool's byte
    int32_t negative;                  // of s32
    uint8_t mac[6];
    ip_af_addr address;
};

// The description of a kind of element.
struct Kind {
    const char *name;
    uint32_t (*fixed)();  // bytes from the tag to the end of the fixed part, an element's least size
    uint32_t counted;     // how many of them are the length of a text or of data
    // The library's checked reader of the element. Its result is negative, with errno, on failure. The pointer is null
    // for texts and data, which are shown without a copy.
    int (*read)(const void *message, uint32_t size, uint32_t *at, Element &out);
    // Shows the element's value as a part of a row. In a plain line, the value has the form that write() reads.
    void (*show)(const Element &element, Report &report);
    // Appends the element with a value. Returns a text about what is wrong with the value, or null.
    const char *(*write)(std::string_view value, Bytes &message);
    bool is_text = false;
};

// Returns null for an unknown name.
const Kind *find_kind(std::string_view name);

// Reads the element at the offset, which must be less than the message's length.
bool read_element(std::span<const uint8_t> message, uint32_t offset, Element &out, Damage &damage);

// Parses "..." with the escapes of print_escaped. Returns a text about what is wrong with it, or null.
const char *parse_quoted(std::string_view value, Bytes &out);

}  // namespace quill::cli
