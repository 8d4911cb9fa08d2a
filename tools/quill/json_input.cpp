#include "json_input.h"

#include <string.h>

#include "command.h"

namespace quill::cli {
namespace {

// Appends the character as UTF-8 (RFC 3629).
void append_character(Bytes &out, unsigned c) {
    const auto byte = [&](unsigned bits) { out.append(static_cast<uint8_t>(bits)); };
    if (c < 0x80) return byte(c);
    if (c < 0x800) {
        byte(0xc0 | c >> 6);
    } else if (c < 0x10000) {
        byte(0xe0 | c >> 12);
        byte(0x80 | (c >> 6 & 0x3f));
    } else {
        byte(0xf0 | c >> 18);
        byte(0x80 | (c >> 12 & 0x3f));
        byte(0x80 | (c >> 6 & 0x3f));
    }
    byte(0x80 | (c & 0x3f));
}

}  // namespace

void JsonInput::refuse(const char *expected) const {
    fail("%s: offset %zu: expected %s", name_, text_.size() - left_.size(), expected);
}

// Returns the next character that is not white space; a NUL at the end of the input.
char JsonInput::peek() {
    const size_t start = left_.find_first_not_of(" \t\r\n");
    left_ = part(left_, start == std::string_view::npos ? left_.size() : start);
    return left_.empty() ? '\0' : left_.front();
}

bool JsonInput::skip(char c) {
    if (left_.empty() || peek() != c) return false;
    left_.remove_prefix(1);
    return true;
}

void JsonInput::expect(char c, const char *what) {
    if (!skip(c)) refuse(what);
}

bool JsonInput::enter(std::string_view array) {
    expect('{', "a JSON object");
    for (next_member(); key() != array; next_member())
        if (!skip(',')) refuse("the message's elements or records");
    expect('[', "an array");
    if (skip('{')) return true;
    expect(']', "an object");
    return false;
}

bool JsonInput::next_member() {
    if (skip('}')) return false;
    (void)skip(',');
    expect('"', "a name in quotes");
    read_text(key_);
    expect(':', "a colon");
    if (peek() != '[' || key() == "elements" || key() == "records") {
        if (peek() != '[') read_value();
    } else {
        skip_nested();
    }
    return true;
}

bool JsonInput::next_object() {
    if (skip(',')) {
        expect('{', "an object");
        return true;
    }
    expect(']', "the end of the array");
    while (skip(',')) {
        expect('"', "a name in quotes");
        read_text(key_);
        expect(':', "a colon");
        read_value();
    }
    expect('}', "the end of the object");
    if (peek() != '\0') refuse("one message");
    return false;
}

unsigned JsonInput::read_code_unit() {
    Bytes bytes;
    size_t fault;
    if (!parse_hex(part(left_, 0, 4), bytes, fault) || bytes.size() != 2) refuse("four hexadecimal digits");
    left_.remove_prefix(4);
    return static_cast<unsigned>(bytes.data()[0] << 8 | bytes.data()[1]);
}

// Called after the opening quote.
void JsonInput::read_text(Bytes &out) {
    static constexpr char kNames[] = "\"\\/bfnrt", kMeanings[] = "\"\\/\b\f\n\r\t";
    out.resize(0);
    for (;;) {
        const size_t plain = left_.find_first_of("\"\\");
        if (plain == std::string_view::npos) refuse("the end of a text");
        append(out, part(left_, 0, plain));
        const bool ends = left_[plain] == '"';
        left_.remove_prefix(plain + 1);
        if (ends) return;
        const char escape = left_.empty() ? '\0' : left_.front();
        left_ = part(left_, 1);
        if (const char *const name = escape ? strchr(kNames, escape) : nullptr) {
            out.append(static_cast<uint8_t>(kMeanings[name - kNames]));
            continue;
        }
        if (escape != 'u') refuse("an escape of JSON");
        unsigned c = read_code_unit();
        if (c >= 0xd800 && c < 0xdc00 && left_.starts_with("\\u")) {  // the first half of a UTF-16 pair
            left_.remove_prefix(2);
            c = 0x10000 + ((c & 0x3ff) << 10 | (read_code_unit() & 0x3ff));
        }
        append_character(out, c);
    }
}

void JsonInput::read_value() {
    value_.resize(0);
    is_text_ = skip('"');
    if (is_text_) return read_text(value_);
    if (peek() == '{' || peek() == '[') return skip_nested();
    const std::string_view word = part(left_, 0, left_.find_first_of(" \t\r\n,]}"));
    if (word.empty()) refuse("a value");
    append(value_, word);
    left_.remove_prefix(word.size());
}

void JsonInput::skip_nested() {
    value_.resize(0);
    is_text_ = false;
    size_t depth = 0;
    Bytes text;
    do {
        const char c = peek();
        if (c == '\0') refuse("the end of an array or object");
        left_.remove_prefix(1);
        if (c == '"') read_text(text);
        depth += c == '{' || c == '[';
        depth -= c == '}' || c == ']';
    } while (depth > 0);
}

}  // namespace quill::cli
