// Codec messages as the program shows them, and as it reads them from a text or from its own JSON.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "capture.h"
#include "command.h"
#include "damage.h"
#include "elements.h"
#include "input.h"
#include "names.h"
#include "report.h"

namespace quill::cli {

// Shows messages in the form that the user has chosen, and remembers whether one of them was damaged. Damage is
// reported on standard error, with the name of the message's source. If there are several messages, each has a number,
// shown under a key.
class Decoder {
public:
    // Takes the options that are common to the commands that show messages.
    explicit Decoder(Arguments &arguments);

    // For a command that waits for messages: creates the capture file, if there is to be one, before the first message.
    void open_capture() { capture_.open(); }
    void show(std::span<const uint8_t> message, const char *name, const char *key = nullptr, size_t number = 0);
    // Reports a message that could not be read.
    void refuse(const Damage &damage, const char *name, const char *key, size_t number);
    int status() const { return all_whole_ ? kDone : kData; }

private:
    void begin_message(const char *key, size_t number);
    void end_message(const Damage *damage, const char *name, size_t number);
    bool show_elements(std::span<const uint8_t> message, Damage &damage);
    void show(const Element &element, std::string_view label);

    Report report_;
    Names names_;
    Capture capture_;
    Column columns_[5];
    bool all_whole_ = true;
};

// Appends the element that a line of text describes; an empty line or a comment describes none. If the line is wrong,
// the program ends with a message that names the place.
void encode_line(std::string_view line, Bytes &message, const char *name, size_t number);
// Appends the elements of a message's object, as the decoder shows it in JSON.
void encode_json(std::string_view text, Bytes &message, const char *name);

}  // namespace quill::cli
