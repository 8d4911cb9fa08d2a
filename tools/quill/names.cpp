#include "names.h"

#include <algorithm>

namespace quill::cli {
namespace {

constexpr std::string_view kRepeated = "...";  // after the last name: any number of elements have this name

std::string_view first_item(std::string_view list) { return part(list, 0, list.find(',')); }

std::string_view without_dots(std::string_view name) {
    return name.ends_with(kRepeated) ? part(name, 0, name.size() - kRepeated.size()) : name;
}

struct Entry {
    std::string_view value, names;  // of the first element, and of all
};

// Parses "VALUE: NAME,NAME..."; the value may also contain colons. Returns false for an empty line and a comment.
bool parse_entry(std::string_view line, Entry &out) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') return false;
    const size_t colon = line.rfind(':');
    out = {trimmed(part(line, 0, colon)), {}};
    if (colon != std::string_view::npos) out.names = trimmed(part(line, colon + 1));
    return true;
}

// Returns whether the message begins with an element of that value, in the form that encode reads.
bool begins_with(std::span<const uint8_t> message, const Element &first, std::string_view value) {
    Bytes element;
    return first.kind->write(value, element) == nullptr &&
           element.view() == as_text(message.subspan(first.offset, first.length));
}

Bytes text_of(const char *option) {
    if (option && *option == '@') return read_input(option + 1);
    Bytes text;
    if (option) append(text, option);
    return text;
}

}  // namespace

std::string_view Labels::next(const Element &element, Damage &damage) {
    const std::string_view item = first_item(left_), name = trimmed(item);
    if (name.empty() && fits_) {
        damage.expect(element.offset, "the end");
        damage.find("%s", element.kind->name);
        fits_ = false;
    }
    if (!name.ends_with(kRepeated)) left_ = part(left_, item.size() + 1);
    return without_dots(name);
}

bool Labels::fit(size_t end, Damage &damage) {
    const std::string_view name = trimmed(first_item(left_));
    if (fits_ && !name.empty() && !name.ends_with(kRepeated)) {
        damage.expect(end, "%.*s", static_cast<int>(name.size()), name.data());
        damage.find("the end");
        fits_ = false;
    }
    return fits_;
}

Names::Names(Arguments &arguments) : option_(arguments.take_value("--names")), text_(text_of(option_)) {
    if (!option_) return;
    std::string_view text = text_.view(), line;
    if (!is_file() && !check(text)) arguments.misused("--names: expected names with commas between them");
    Entry entry;
    for (size_t number = 1; is_file() && next_line(text, line); number++)
        if (parse_entry(line, entry) && !check(entry.names))
            fail("%s:%zu: expected a value, a colon, and names with commas between them", option_ + 1, number);
}

// Returns false if a name is missing, or if a name follows one with "...".
bool Names::check(std::string_view list) {
    for (bool more = true; more;) {
        const std::string_view item = first_item(list), name = trimmed(item);
        more = item.size() < list.size();
        if (without_dots(name).empty() || (more && name.ends_with(kRepeated))) return false;
        width_ = std::max(width_, static_cast<int>(without_dots(name).size()));
        list = part(list, item.size() + 1);
    }
    return true;
}

Labels Names::of(std::span<const uint8_t> message, Damage &damage) const {
    if (!is_file()) return Labels(text_.view());
    Element first;
    const bool has_first = !message.empty() && read_element(message, 0, first, damage);
    std::string_view text = text_.view(), line;
    Entry entry;
    while (next_line(text, line))
        if (parse_entry(line, entry) && (entry.value == "*" || (has_first && begins_with(message, first, entry.value))))
            return Labels(entry.names);
    damage.expect(0, "a first element that is in the file of names");
    damage.find("%s", has_first ? "another" : "none");
    return {};
}

}  // namespace quill::cli
