#include "report.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "command.h"
#include "console.h"

namespace quill::cli {

Form take_form(Arguments &arguments) {
    const bool plain = arguments.take("--plain"), json = arguments.take("--json");
    if (plain && json) arguments.misused("--plain or --json, not both");
    return json ? Form::kJson : plain ? Form::kPlain : Form::kTable;
}

// --- structure

void Report::begin_object(const char *name, const char *title) {
    if (form_ == Form::kJson) return begin('{', name);
    if (!title) return;
    const bool is_plain = form_ == Form::kPlain;
    printf("%s%s", has_section_ ? "\n" : "", is_plain ? "# " : bold());
    print_escaped(title);
    printf("%s\n", is_plain ? "" : plain());
    has_section_ = true;
}

void Report::end_object() {
    if (form_ == Form::kJson) end('}');
}

void Report::begin_list(const char *name, bool is_numbered) {
    if (is_numbered) next_number_ = 0;
    if (form_ == Form::kJson) begin('[', name);
}

void Report::end_list() {
    next_number_ = -1;
    if (form_ == Form::kJson) end(']');
}

void Report::columns(std::span<const Column> columns) {
    columns_ = columns;
    if (form_ != Form::kTable) return;
    fputs(bold(), stdout);
    for (const Column &column : columns)
        printf("%s%*s", &column == columns.data() ? "" : "  ", column.width, column.title);
    printf("%s\n", plain());
}

void Report::begin_row() {
    in_row_ = true;
    cells_ = 0;
    if (form_ == Form::kJson) begin('{', nullptr);
}

void Report::end_row() {
    in_row_ = false;
    if (form_ == Form::kJson) return end('}');
    putchar('\n');
    print_dump(dump_, "        ");
    dump_ = {};
}

// --- values

void Report::text(const Name &name, std::string_view value, std::string_view shown) {
    if (form_ != Form::kJson) return show(name, shown.empty() ? value : shown);
    key(name.key);
    string(value);
}

void Report::quoted(const Name &name, std::string_view value, const char *key_of_bytes) {
    if (form_ != Form::kJson)
        show(name, value, '"');
    else if (key_of_bytes && !is_utf8(value))
        hex(key_of_bytes, {reinterpret_cast<const uint8_t *>(value.data()), value.size()});
    else
        text(name, value);
}

void Report::boolean(const Name &name, bool value, std::string_view shown) {
    literal(name, value ? "true" : "false", shown);
}

void Report::unknown(const Name &name) { literal(name, "null", "unknown"); }

void Report::digits(const Name &name, bool negative, uint64_t magnitude, std::string_view shown) {
    char text[24];
    const int length = snprintf(text, sizeof text, "%s%" PRIu64, negative ? "-" : "", magnitude);
    literal(name, {text, static_cast<size_t>(length)}, shown);
}

void Report::hex(const Name &name, std::span<const uint8_t> bytes, const char *word) {
    if (form_ == Form::kJson) {
        key(name.key);
        putchar('"');
        print_hex(bytes);
        putchar('"');
    } else if (!bytes.empty() && begin_value(name)) {
        fputs(word, stdout);
        print_hex(bytes);
        end_value();
    }
}

void Report::dump(const Name &name, std::span<const uint8_t> bytes) {
    if (form_ == Form::kTable)
        dump_ = bytes;
    else
        hex(name, bytes);
}

// --- a table

// Prepares the place of a value; returns false if the value is not shown.
bool Report::begin_value(const Name &name) {
    if (!name.shown || (form_ == Form::kPlain && !name.in_plain)) return false;
    if (in_row_)
        fputs(cells_++ == 0 ? "" : form_ == Form::kPlain ? " " : "  ", stdout);
    else if (next_number_ >= 0)
        printf("%s%3d%s  ", faint(), next_number_++, plain());
    else if (*name.shown && has_section_)
        printf("  %-*s ", name_width_, name.shown);
    else if (*name.shown)
        printf("%s: ", name.shown);
    return true;
}

void Report::end_value() {
    if (!in_row_) putchar('\n');
}

void Report::show(const Name &name, std::string_view value, char quote) {
    if (!begin_value(name)) return;
    const bool in_column = in_row_ && form_ == Form::kTable && cells_ <= columns_.size();
    const Column column = in_column ? columns_[cells_ - 1] : Column{"", 0};
    const int padding = abs(column.width) - static_cast<int>(value.size());
    if (column.is_faint) fputs(faint(), stdout);
    if (column.width > 0 && padding > 0) printf("%*s", padding, "");
    if (quote) putchar(quote);
    if (*name.shown)
        print_escaped(value, quote);
    else
        print_text(value);
    if (quote) putchar(quote);
    if (column.width < 0 && padding > 0) printf("%*s", padding, "");
    if (column.is_faint) fputs(plain(), stdout);
    end_value();
}

// --- JSON

void Report::literal(const Name &name, std::string_view value, std::string_view shown) {
    if (form_ != Form::kJson) return show(name, shown.empty() ? value : shown);
    key(name.key);
    fwrite(value.data(), 1, value.size(), stdout);
}

void Report::begin(char bracket, const char *name) {
    key(name);
    putchar(bracket);
    comma_due_ = false;
    depth_++;
}

void Report::end(char bracket) {
    putchar(bracket);
    comma_due_ = --depth_ > 0;
    if (depth_ == 0) putchar('\n');  // each document is one line
}

void Report::key(const char *name) {
    if (comma_due_) putchar(',');
    comma_due_ = true;
    if (name) printf("\"%s\":", name);
}

void Report::string(std::string_view value) {
    putchar('"');
    while (!value.empty()) {
        const char c = value[0];
        const size_t length = utf8_length(value);
        if (c == '"' || c == '\\')
            printf("\\%c", c);
        else if (is_control(value))
            printf("\\u%04x", static_cast<unsigned>(static_cast<uint8_t>(value[length - 1])));
        else if (length == 0)
            fputs("\\ufffd", stdout);
        else
            fwrite(value.data(), 1, length, stdout);
        value.remove_prefix(length ? length : 1);
    }
    putchar('"');
}

}  // namespace quill::cli
