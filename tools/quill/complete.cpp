#include "complete.h"

#include <stdio.h>

#include <string_view>

#include "input.h"

namespace quill::cli {
namespace {

// The help text describes each option in lines of its own, "  --json  print ..." and continuation lines. It describes
// an operation in the same way, "split  print ...", if the usage is "quill fqln split".
constexpr std::string_view kOption = "  --", kGap = "  ";

// `first` is the first line of the description, and `below` has the lines after it.
void print_choice(std::string_view name, std::string_view first, std::string_view below) {
    Bytes text;
    append(text, trimmed(first));
    for (std::string_view line; next_line(below, line) && line.starts_with("      ");) {
        append(text, " ");
        append(text, trimmed(line));
    }
    const std::string_view sentence = part(text.view(), 0, text.view().find("; "));
    const std::string_view shown = part(sentence, 0, sentence.find(". "));
    printf("%.*s\t%.*s\n", static_cast<int>(name.size()), name.data(), static_cast<int>(shown.size()), shown.data());
}

struct Option {
    std::string_view name, value, description;  // value is the placeholder of the option's value, such as FILE
};

bool parse_option(std::string_view line, Option &out) {
    if (!line.starts_with(kOption)) return false;
    const std::string_view text = part(line, 2), head = part(text, 0, text.find(kGap));
    const size_t blank = head.find(' ');
    out = {part(head, 0, blank), blank < head.size() ? part(head, blank + 1) : std::string_view(),
           part(text, head.size())};
    return true;
}

bool takes_value(std::string_view help, std::string_view word) {
    Option option;
    for (std::string_view line; next_line(help, line);)
        if (parse_option(line, option) && option.name == word) return !option.value.empty();
    return false;
}

void print_operation(std::string_view name, std::string_view help) {
    for (std::string_view line; next_line(help, line);)
        if (line.starts_with(name) && part(line, name.size()).starts_with(kGap))
            return print_choice(name, part(line, name.size()), help);
}

// Prints the operations of a usage line, such as "verify|version" after the command's name.
void print_operations(const Command &command, std::string_view line) {
    if (!line.starts_with("usage:") && !line.starts_with("       quill ")) return;
    const std::string_view name = command.name;
    const std::string_view after = part(line, line.find(name) + name.size() + 1);
    std::string_view names = part(after, 0, after.find(' '));
    if (names.find_first_not_of("abcdefghijklmnopqrstuvwxyz|") != std::string_view::npos) return;
    while (!names.empty()) {
        const std::string_view operation = part(names, 0, names.find('|'));
        print_operation(operation, command.help);
        names = part(names, operation.size() + 1);
    }
}

}  // namespace

void print_choices(const Command &command, std::span<char *> words) {
    std::string_view left = command.help;
    if (!words.empty() && takes_value(left, words.back())) return;
    Option option;
    for (std::string_view line; next_line(left, line);) {
        if (words.empty()) print_operations(command, line);
        if (parse_option(line, option)) print_choice(option.name, option.description, left);
    }
    puts("--help\tshow all of this command's help");
}

}  // namespace quill::cli
