// The names of the elements of messages, from the option --names.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

#include "command.h"
#include "damage.h"
#include "elements.h"
#include "input.h"

namespace quill::cli {

// The names of one message's elements, in their order.
class Labels {
public:
    Labels() = default;
    explicit Labels(std::string_view list) : left_(list), fits_(true) {}

    // Returns the name of the next element; empty after the last name. The first element without a name counts as
    // damage.
    std::string_view next(const Element &element, Damage &damage);
    // Returns whether the message, which ends here, has all elements that have names; if not, `damage` gets the reason.
    bool fit(size_t end, Damage &damage);

private:
    std::string_view left_;
    bool fits_ = false;
};

class Names {
public:
    // Takes "--names NAME,NAME..." or "--names @FILE". The file has names for each value of a message's first element.
    // If the names are wrong, the program ends.
    explicit Names(Arguments &arguments);

    bool are_given() const { return option_ != nullptr; }
    int width() const { return width_; }  // of the longest name
    // Returns the names for a message. If the file does not have its first element, returns no names, and sets the
    // damage.
    Labels of(std::span<const uint8_t> message, Damage &damage) const;

private:
    bool is_file() const { return *option_ == '@'; }
    bool check(std::string_view list);

    const char *option_;
    Bytes text_;
    int width_ = 4;
};

}  // namespace quill::cli
