// Reads the program's own --json output for a message.
#pragma once

#include <stddef.h>

#include <string_view>

#include "input.h"

namespace quill::cli {

// Reads a JSON document (RFC 8259) from its start. If the input is not JSON, the program ends with a message that names
// the input.
class JsonInput {
public:
    JsonInput(std::string_view text, const char *name) : text_(text), left_(text), name_(name) {}

    // Goes to the first object in the member `array`, which must be an array. The document must be an object. Returns
    // false if the array is empty.
    bool enter(std::string_view array);
    // Goes to the next member of the current object; returns false at the end of the object.
    bool next_member();
    // Goes to the next object of the array. Returns false at the end of the array, after which only the end of the
    // document may follow.
    bool next_object();

    std::string_view key() const { return key_.view(); }
    // Returns the member's value. A text has its quotes and escapes removed; objects and arrays are empty; other values
    // are unchanged.
    std::string_view value() const { return value_.view(); }
    bool is_text() const { return is_text_; }

    [[noreturn]] void refuse(const char *expected) const;

private:
    char peek();
    bool skip(char c);
    void expect(char c, const char *what);
    void read_text(Bytes &out);
    void read_value();
    unsigned read_code_unit();
    void skip_nested();

    std::string_view text_, left_;
    const char *name_;
    Bytes key_, value_;
    bool is_text_ = false;
};

}  // namespace quill::cli
