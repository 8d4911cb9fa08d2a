// What the elements of messages are called, as the user says with --names.
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

    // The name of the next element. Empty after the last name; the first such element is damage.
    std::string_view next(const Element &element, Damage &damage);
    // Whether the message, which ends here, has the elements that are named; otherwise the damage says why.
    bool fit(size_t end, Damage &damage);

private:
    std::string_view left_;
    bool fits_ = false;
};

class Names {
public:
    // Of "--names NAME,NAME..." or "--names @FILE", which has names for each value of a message's first element. The
    // program ends when they are wrong.
    explicit Names(Arguments &arguments);

    bool are_given() const { return option_ != nullptr; }
    int width() const { return width_; }  // of the longest one
    // Those of a message. Without any, with the damage, if the file does not have its first element.
    Labels of(std::span<const uint8_t> message, Damage &damage) const;

private:
    bool is_file() const { return *option_ == '@'; }
    bool check(std::string_view list);

    const char *option_;
    Bytes text_;
    int width_ = 4;
};

}  // namespace quill::cli
