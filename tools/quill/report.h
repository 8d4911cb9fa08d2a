// The output of a command: a table for people, JSON (RFC 8259) for programs, or plain lines that this program can read.
// A command outputs each value with one call; this class chooses the form.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string_view>

namespace quill::cli {

class Arguments;

enum class Form { kTable, kPlain, kJson };

// The names of a value: its key in JSON, and its name in a table, or "" for a value without a name.
struct Name {
    constexpr Name(const char *name) : key(name), shown(name) {}
    constexpr Name(const char *json_key, const char *name) : key(json_key), shown(name) {}

    const char *key;    // null for an item of a list
    const char *shown;  // null if tables do not show the value
    bool in_plain = false;
};
constexpr Name json_only(const char *key) { return {key, nullptr}; }
// The name of a value that plain lines also contain.
constexpr Name also_plain(const char *key) {
    Name name(key);
    name.in_plain = true;
    return name;
}

struct Column {
    const char *title;
    int width;  // negative for texts, which are aligned to the left; 0 for the last one
    bool is_faint = false;
};

// Takes --plain or --json; a command may have at most one of them.
Form take_form(Arguments &arguments);

class Report {
public:
    // Names in a table take at least name_width columns.
    explicit Report(Form form, int name_width = 18) : form_(form), name_width_(name_width) {}
    explicit Report(bool as_json, int name_width = 18) : Report(as_json ? Form::kJson : Form::kTable, name_width) {}

    // Begins an object of JSON. In a table, an object with a title is a section: a heading, and a line for each value.
    void begin_object(const char *key = nullptr, const char *title = nullptr);
    void end_object();
    // Begins a list of values, objects or rows. A table may show a number before each value.
    void begin_list(const char *key = nullptr, bool is_numbered = false);
    void end_list();
    // An object that is a line of a table.
    void columns(std::span<const Column> columns);
    void begin_row();
    void end_row();

    // Values. `shown` is what a table shows in place of the value.
    void text(const Name &name, std::string_view value, std::string_view shown = {});
    // In JSON, a value that is not UTF-8 is written as bytes in hexadecimal, under another key.
    void quoted(const Name &name, std::string_view value, const char *key_of_bytes = nullptr);
    void boolean(const Name &name, bool value) { boolean(name, value, value ? "yes" : "no"); }
    void boolean(const Name &name, bool value, std::string_view shown);
    void unknown(const Name &name);  // null
    template <typename Number>
    void number(const Name &name, Number value, std::string_view shown = {}) {
        const bool negative = value < Number{};
        digits(name, negative, negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value), shown);
    }
    // Bytes in hexadecimal; in a table after a word, or as a dump below the row.
    void hex(const Name &name, std::span<const uint8_t> bytes, const char *word = "");
    void dump(const Name &name, std::span<const uint8_t> bytes);

private:
    bool begin_value(const Name &name);
    void end_value();
    void digits(const Name &name, bool negative, uint64_t magnitude, std::string_view shown);
    void literal(const Name &name, std::string_view value, std::string_view shown);
    void show(const Name &name, std::string_view value, char quote = '\0');
    void begin(char bracket, const char *key);
    void end(char bracket);
    void key(const char *name);
    void string(std::string_view value);

    Form form_;
    int name_width_;
    unsigned depth_ = 0;  // of JSON's brackets
    bool comma_due_ = false;
    bool has_section_ = false;
    bool in_row_ = false;
    size_t cells_ = 0;  // of the row
    int next_number_ = -1;
    std::span<const Column> columns_;
    std::span<const uint8_t> dump_;  // below the row
};

}  // namespace quill::cli
