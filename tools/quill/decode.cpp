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
#include "report.h"

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

constexpr Column kColumns[] = {{"offset", 6, true}, {"kind", -9}, {"length", 6}, {"value", 0}};

void show(const Element &element, Report &report) {
    report.begin_row();
    report.number("offset", element.offset);
    report.text(also_plain("kind"), element.kind->name);
    report.number("length", element.length);
    element.kind->show(element, report);
    report.end_row();
}

// The members of a message's object. False, with the damage, where not all of it could be read.
bool show_message(std::span<const uint8_t> message, Report &report, Damage &damage) {
    bool whole = true;
    report.number(json_only("length"), message.size());
    report.begin_list("elements");
    report.columns(kColumns);
    Element element;
    for (size_t at = 0; whole && at < message.size(); at += element.length) {
        whole = read_element(message, static_cast<uint32_t>(at), element, damage);
        if (whole) show(element, report);
    }
    report.end_list();
    report_damage(whole ? nullptr : &damage, report);
    return whole;
}

bool decode_message(const Bytes &message, Report &report, const char *name) {
    if (message.size() > UINT32_MAX) fail("%s: longer than a message can be", name);
    Damage damage;
    report.begin_object();
    const bool whole = show_message(message, report, damage);
    report.end_object();
    if (!whole) damage.complain_of(name);
    return whole;
}

bool decode_lines(std::string_view text, Report &report, const char *name) {
    bool all = true;
    size_t number = 0;
    for (std::string_view line; next_line(text, line);) {
        char where[512], title[24];
        snprintf(where, sizeof where, "%s:%zu", name, ++number);
        snprintf(title, sizeof title, "%zu", number);
        Bytes message;
        size_t fault;
        Damage damage;
        report.begin_object(nullptr, title);
        report.number(json_only("line"), number);
        bool whole = parse_hex(line, message, fault);
        if (whole) {
            whole = show_message(message, report, damage);
        } else {
            damage.expect(message.size(), "hexadecimal digits, two a byte");
            damage.find("none at character %zu", fault + 1);
            report_damage(&damage, report);
        }
        report.end_object();
        if (!whole) damage.complain_of(where);
        all = all && whole;
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
    const Kind *const kind = find_kind(word);
    if (!kind) fail("%s:%zu: no kind \"%.*s\"", name, number, shown(word), word.data());
    if (const char *wanted = kind->write(value, message))
        fail("%s:%zu: %s: expected %s, found %.*s", name, number, kind->name, wanted, value.empty() ? 7 : shown(value),
             value.empty() ? "nothing" : value.data());
}

// A text in the form that a kind's write() reads.
void append_quoted(Bytes &out, std::string_view text) {
    append(out, "\"");
    for (const char c : text) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
        append(out, escape);
    }
    append(out, "\"");
}

// An element as decode shows it: its kind, and its value, or bytes in place of what has none.
void encode_object(JsonInput &json, Bytes &message) {
    const Kind *kind = nullptr;
    Bytes value, family, raw;
    bool is_hex = false;
    while (json.next_member()) {
        size_t fault;
        const std::string_view key = json.key();
        if (key == "kind" && !(kind = find_kind(json.value()))) json.refuse("a kind of element before this");
        if (key == "family") append(family, json.value());
        if (key == "bytes" && !parse_hex(json.value(), raw, fault)) json.refuse("bytes in hexadecimal before this");
        if (key != "value" && key != "hex") continue;
        is_hex = key == "hex";
        append(value, json.value());
    }
    if (!kind) json.refuse("an element's kind before this");
    if (!raw.empty()) return append(message, raw.view());
    Bytes text;
    size_t fault;
    if (kind->is_text) {
        Bytes content;
        if (is_hex && !parse_hex(value.view(), content, fault)) json.refuse("bytes in hexadecimal before this");
        append_quoted(text, is_hex ? content.view() : value.view());
    } else {
        append(text, family.view());
        if (!family.empty()) append(text, " ");
        append(text, value.view());
    }
    if (const char *wanted = kind->write(text.view(), message)) json.refuse(wanted);
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
    Report report(json ? Form::kJson : plain_form ? Form::kPlain : Form::kTable);
    const Bytes input = hex ? read_dump(path) : read_input(path);
    const bool whole = lines ? decode_lines(input.view(), report, name) : decode_message(input, report, name);
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
