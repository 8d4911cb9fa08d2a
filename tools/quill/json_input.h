// What the program's own --json output says of a message, read back.
#pragma once

#include <stddef.h>

#include <string_view>

#include "input.h"

namespace quill::cli {

// Reads a JSON document (RFC 8259) from its start. The program ends, with the name of the input, where it is none.
class JsonInput {
public:
    JsonInput(std::string_view text, const char *name) : text_(text), left_(text), name_(name) {}

    // The member of that name in the document, which is an object: goes to the first of the objects in its array. False
    // if the array is empty.
    bool enter(std::string_view array);
    // The next member of the object that the reader is in; false at its end.
    bool next_member();
    // Goes to the next object of the array. At its end, nothing but the end of the document may follow: false.
    bool next_object();

    std::string_view key() const { return key_.view(); }
    // The member's value: a text without its quotes and escapes, else as it is. Objects and arrays are empty.
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
