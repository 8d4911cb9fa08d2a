// Codec messages as the program shows them, and as it reads them from a text or from its own JSON.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "damage.h"
#include "input.h"
#include "report.h"

namespace quill::cli {

// The members of a message's object. False, with the damage, where not all of it could be read.
bool show_message(std::span<const uint8_t> message, Report &report, Damage &damage);
// The object itself, which of several has its number under a key. The damage is told on standard error, with the name of
// where the message comes from.
bool decode_message(std::span<const uint8_t> message, Report &report, const char *name, const char *key = nullptr,
                    size_t number = 0);
// Begins the object of a message that is one of several.
void begin_message(Report &report, const char *key, size_t number);

// Appends the element that a line of text describes; an empty line or a comment describes none. The program ends, with
// the place, where the line is wrong.
void encode_line(std::string_view line, Bytes &message, const char *name, size_t number);
// Appends the elements of an object as show_message writes it.
void encode_json(std::string_view text, Bytes &message, const char *name);

}  // namespace quill::cli
