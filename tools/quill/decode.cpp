// quill decode and quill encode.
#include <stdio.h>

#include <span>
#include <string_view>

#include "command.h"
#include "console.h"
#include "damage.h"
#include "elements.h"
#include "input.h"
#include "json_input.h"

namespace quill::cli {

constexpr char kDecodeHelp[] =
    "usage: quill decode [--hex | --lines] [--plain | --json] [FILE]\n"
    "\n"
    "Shows the elements of a codec message: offset, kind, length (tag included) and\n"
    "value, opaque data as a dump. The message is read from FILE, or from standard\n"
    "input. At damage it says where, what was expected and what was found, and ends\n"
    "with status 1; the elements before are shown.\n"
    "\n"
    "  --hex    the message is text: hexadecimal digits, or what xxd, hexdump -C,\n"
    "           od -tx1, tcpdump -x, strace -x, gdb's x/xb or a C array show; FILE\n"
    "           may be the digits themselves\n"
    "  --lines  each line is the digits of one message\n"
    "  --plain  print what quill encode reads\n"
    "  --json   print a JSON object for each message, with the number of its line;\n"
    "           a u64 may be more than programs with 53-bit numbers can hold\n"
    "\n"
    "example: quill decode --hex '02 03  03 00 14'\n";

constexpr char kEncodeHelp[] =
    "usage: quill encode [--json] [--hex] [FILE]\n"
    "\n"
    "Makes a codec message from a text, FILE or standard input, and writes it to\n"
    "standard output. Each line is a kind and a value; empty lines and those that\n"
    "begin with # are skipped. quill decode --plain gives the text back.\n"
    "\n"
    "  str \"two words\"        str3; with \\n \\t \\r \\\\ \\\" \\xHH in it\n"
    "  mac 00:1b:63:aa:bb:cc  or with hyphens\n"
    "  u8 3                   u16, u32, u64, s32; hexadecimal behind 0x\n"
    "  ip 10.0.0.1\n"
    "  ipv6 2001:db8::1\n"
    "  ip_af 10.0.0.1         or an IPv6 address; or a family and 16 bytes\n"
    "  bool true\n"
    "  hex 0a 0b 0c           hex32, hex_len32\n"
    "\n"
    "  --json   read what quill decode --json prints\n"
    "  --hex    write hexadecimal digits, in one line\n"
    "\n"
    "example: printf 'mac 00:1b:63:aa:bb:cc\\nu16 20\\n' | quill encode | quill decode\n";

namespace {

enum class Form { kTable, kPlain, kJson };

void print_row(const Element &element) {
    printf("%s%6u%s  %-9s  %6u", faint(), element.offset, plain(), name_of(element.kind), element.length);
    if (is_data(element.kind)) {
        putchar('\n');
        print_dump(element.content, "        ");
        return;
    }
    fputs("  ", stdout);
    print_value(element);
    print_hidden(element);
    putchar('\n');
}

void print_plain(const Element &element) {
    fputs(name_of(element.kind), stdout);
    if (!is_data(element.kind) || !element.content.empty()) putchar(' ');
    print_value(element);
    putchar('\n');
}

void print_json(const Element &element, Json &json) {
    json.begin('{');
    json.number("offset", uint64_t{element.offset});
    json.text("kind", name_of(element.kind));
    json.number("length", uint64_t{element.length});
    print_value(element, json);
    json.end('}');
}

// Returns whether all of it could be read. `where` says which message it is, and `line` its line in a file of several.
bool decode_message(std::span<const uint8_t> message, Form form, const char *where, size_t line = 0) {
    if (message.size() > UINT32_MAX) fail("%s: longer than a message can be", where);
    Json json;
    Damage damage;
    bool whole = true;
    if (form == Form::kTable) printf("%soffset  kind       length  value%s\n", bold(), plain());
    if (form == Form::kJson) {
        json.begin('{');
        if (line) json.number("line", uint64_t{line});
        json.number("length", uint64_t{message.size()});
        json.begin('[', "elements");
    }
    Element element;
    for (uint32_t at = 0; at < message.size(); at += element.length) {
        whole = read_element(message, at, element, damage);
        if (!whole) break;
        if (form == Form::kTable)
            print_row(element);
        else if (form == Form::kPlain)
            print_plain(element);
        else
            print_json(element, json);
    }
    if (form == Form::kJson) {
        json.end(']');
        print_damage(whole ? nullptr : &damage, json);
        json.end('}');
        json.finish();
    }
    if (!whole) damage.complain_of(where);
    return whole;
}

bool decode_line(std::string_view text, Form form, const char *where, size_t line) {
    Bytes message;
    size_t fault;
    if (parse_hex(text, message, fault)) return decode_message(message, form, where, line);
    static constexpr char kExpected[] = "hexadecimal digits, two a byte";
    if (form == Form::kJson) {
        Damage damage;
        damage.expect(message.size(), "%s", kExpected);
        damage.find("character %zu", fault + 1);
        Json json;
        json.begin('{');
        json.number("line", uint64_t{line});
        print_damage(&damage, json);
        json.end('}');
        json.finish();
    }
    complain("%s: character %zu: expected %s", where, fault + 1, kExpected);
    return false;
}

bool decode_lines(std::string_view text, Form form, const char *name) {
    bool all = true;
    size_t number = 0;
    for (std::string_view line; next_line(text, line);) {
        char where[512];
        snprintf(where, sizeof where, "%s:%zu", name, ++number);
        if (form == Form::kTable) printf("%s%s%zu%s\n", number > 1 ? "\n" : "", bold(), number, plain());
        if (form == Form::kPlain) printf("%s# %zu\n", number > 1 ? "\n" : "", number);
        all = decode_line(line, form, where, number) && all;
    }
    return all;
}

void encode_line(std::string_view line, Bytes &message, const char *name, size_t number) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') return;
    if (line.find('\0') != std::string_view::npos) fail("%s:%zu: a NUL byte in the line", name, number);
    const size_t end = line.find_first_of(" \t");
    const std::string_view word = part(line, 0, end);
    const std::string_view value = trimmed(part(line, word.size()));
    const auto shown = [](std::string_view text) { return static_cast<int>(text.size() < 60 ? text.size() : 60); };
    Kind kind;
    if (!find_kind(word, kind)) fail("%s:%zu: no kind \"%.*s\"", name, number, shown(word), word.data());
    if (const char *wanted = write_element(kind, value, message))
        fail("%s:%zu: %s: expected %s, found %.*s", name, number, name_of(kind), wanted,
             value.empty() ? 7 : shown(value), value.empty() ? "nothing" : value.data());
}

// A text in the form that write_element reads.
void append_quoted(Bytes &out, std::string_view text) {
    append(out, "\"");
    for (const char c : text) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
        append(out, escape);
    }
    append(out, "\"");
}

// An element as print_json shows it: its kind, and its value, or bytes in place of what has none.
void encode_object(JsonInput &json, Bytes &message) {
    Kind kind = kKinds;
    Bytes value, family, raw;
    bool is_hex = false;
    while (json.next_member()) {
        size_t fault;
        const std::string_view key = json.key();
        if (key == "kind" && !find_kind(json.value(), kind)) json.refuse("a kind of element before this");
        if (key == "family") append(family, json.value());
        if (key == "bytes" && !parse_hex(json.value(), raw, fault)) json.refuse("bytes in hexadecimal before this");
        if (key != "value" && key != "hex") continue;
        is_hex = key == "hex";
        append(value, json.value());
    }
    if (kind == kKinds) json.refuse("an element's kind before this");
    if (!raw.empty()) return append(message, raw.view());
    Bytes text;
    size_t fault;
    if (is_text(kind)) {
        Bytes content;
        if (is_hex && !parse_hex(value.view(), content, fault)) json.refuse("bytes in hexadecimal before this");
        append_quoted(text, is_hex ? content.view() : value.view());
    } else {
        if (!family.empty()) append(text, family.view()), append(text, " ");
        append(text, value.view());
    }
    if (const char *wanted = write_element(kind, text.view(), message)) json.refuse(wanted);
}

void encode_json(std::string_view text, Bytes &message, const char *name) {
    JsonInput json(text, name);
    for (bool more = json.enter("elements"); more; more = json.next_object()) encode_object(json, message);
}

}  // namespace

int decode(Arguments &arguments) {
    const bool hex = arguments.take("--hex"), lines = arguments.take("--lines");
    const bool plain_form = arguments.take("--plain"), json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    if (hex && lines) arguments.misused("--hex or --lines, not both");
    if (plain_form && json) arguments.misused("--plain or --json, not both");
    const char *path = operands.empty() ? nullptr : operands[0];
    const char *name = name_of_input(path);
    const Form form = json ? Form::kJson : plain_form ? Form::kPlain : Form::kTable;
    const Bytes input = hex ? read_dump(path) : read_input(path);
    const bool whole = lines ? decode_lines(input.view(), form, name) : decode_message(input, form, name);
    return whole ? kDone : kData;
}

int encode(Arguments &arguments) {
    const bool json = arguments.take("--json"), hex = arguments.take("--hex");
    const auto operands = arguments.operands(0, 1);
    if (!hex) arguments.refuse_terminal();
    const char *path = operands.empty() ? nullptr : operands[0];
    const Bytes input = read_input(path);
    Bytes message;
    size_t number = 0;
    std::string_view text = input.view();
    if (json)
        encode_json(text, message, name_of_input(path));
    else
        for (std::string_view line; next_line(text, line);) encode_line(line, message, name_of_input(path), ++number);
    write_message(message, hex);
    return kDone;
}

}  // namespace quill::cli
