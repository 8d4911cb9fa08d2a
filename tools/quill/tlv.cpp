// quill tlv.
#include <quill/tlv.h>

#include <span>
#include <string_view>

#include "capture.h"
#include "command.h"
#include "console.h"
#include "damage.h"
#include "elements.h"
#include "input.h"
#include "json_input.h"
#include "report.h"

namespace quill::cli {

constexpr char kTlvHelp[] =
    "usage: quill tlv [--hex] [--pcap OUT] [--plain | --json] [FILE]\n"
    "       quill tlv --encode [--json] [--hex] [FILE]\n"
    "\n"
    "Shows the records of a TLV buffer: offset, type, length and the bytes of the\n"
    "value. A value of four bytes is also shown as a number, and a printable value as\n"
    "a text. The buffer is read from FILE, or from standard input. The meaning of a\n"
    "type depends on the program. A damaged buffer is shown up to the damage. The\n"
    "command then reports the place of the damage, and ends with status 1.\n"
    "\n"
    "  --hex       the buffer is text: bytes in hexadecimal, as for quill decode\n"
    "  --pcap OUT  also write the buffer to a capture file, as quill decode does\n"
    "  --plain     print text that --encode reads\n"
    "  --json      print a JSON object; with --encode, read one\n"
    "  --encode    make a buffer from a text and write it to standard output, with\n"
    "              --hex as digits. Each line is a type and a value: bytes in\n"
    "              hexadecimal, a text in quotes, or u32 and a number. Empty lines\n"
    "              and lines that begin with # are skipped\n"
    "\n"
    "example: echo '0009 0003 0005 68656c6c6f' | quill tlv --hex\n";

namespace {

constexpr size_t kTotalSize = 2, kTypeSize = 2, kLengthSize = 2;

uint32_t number_at(const uint8_t *at, size_t size) {
    uint32_t value = 0;
    for (size_t i = 0; i < size; i++) value = value << 8 | at[i];
    return value;
}

bool is_printable(std::span<const uint8_t> value) {
    for (const uint8_t c : value)
        if (c < 0x20 || c == 0x7f) return false;
    return !value.empty() && is_utf8(as_text(value));
}

struct Record {
    size_t offset;
    uint32_t type;
    std::span<const uint8_t> value;
};

constexpr Column kColumns[] = {{"offset", 6, true}, {"type", 5}, {"length", 6}, {"value", 0}};
constexpr size_t kLongestInRow = 16;  // of the bytes of a value; a longer value is dumped

void show(const Record &record, Report &report) {
    const auto value = record.value;
    report.begin_row();
    report.number("offset", record.offset);
    report.number(also_plain("type"), record.type);
    report.number("length", value.size());
    if (value.size() > kLongestInRow)
        report.dump(also_plain("hex"), value);
    else
        report.hex(also_plain("hex"), value);
    if (value.size() == 4) report.number("number", number_at(value.data(), 4));
    if (is_printable(value)) report.quoted("text", as_text(value));
    report.end_row();
}

bool damaged(Damage &damage, size_t offset, size_t wanted, const char *what, size_t found) {
    damage.expect(offset, "%zu bytes of %s", wanted, what);
    damage.find("%zu left", found);
    return false;
}

// Reads the record at an offset before `end`, which is the end of the records.
bool read_record(std::span<const uint8_t> buffer, size_t at, size_t end, Record &out, Damage &damage) {
    const size_t left = end - at;
    if (left < kTypeSize + kLengthSize) return damaged(damage, at, kTypeSize + kLengthSize, "type and length", left);
    const uint8_t *const type = buffer.data() + at, *const value = type + kTypeSize;
    const size_t length = number_at(value, kLengthSize), room = left - kTypeSize;
    // The record is skipped in the same way as the library skips an unknown type.
    if (unknownhdlr(TLV_DECODE, const_cast<uint8_t *>(value), static_cast<int>(room)) == 0)
        return damaged(damage, at + kTypeSize, length, "value", room - kLengthSize);
    out = {at, number_at(type, kTypeSize), buffer.subspan(at + kTypeSize + kLengthSize, length)};
    return true;
}

template <typename Show>
bool read_records(std::span<const uint8_t> buffer, Damage &damage, Show show) {
    if (buffer.size() < kTotalSize) return damaged(damage, 0, kTotalSize, "total", buffer.size());
    const size_t total = number_at(buffer.data(), kTotalSize), there = buffer.size() - kTotalSize;
    const size_t end = kTotalSize + (total < there ? total : there);
    for (size_t at = kTotalSize; at < end;) {
        Record record;
        if (!read_record(buffer, at, end, record, damage)) return false;
        show(record);
        at += kTypeSize + kLengthSize + record.value.size();
    }
    if (total > there) return damaged(damage, 0, total, "records", there);
    if (there == total) return true;
    damage.expect(end, "the end");
    damage.find("%zu bytes", there - total);
    return false;
}

// --- making a buffer

void append_record(Bytes &buffer, uint64_t type, std::span<const uint8_t> value) {
    append_number(buffer, type, kTypeSize);
    append_number(buffer, value.size(), kLengthSize);
    for (const uint8_t byte : value) buffer.append(byte);
}

// Reads a value in the form of a line. Returns a text about what is wrong with it, or null.
const char *read_value(std::string_view text, Bytes &value) {
    uint64_t number;
    size_t fault;
    if (text.starts_with('"')) return parse_quoted(text, value);
    if (text.starts_with("u32 ")) {
        if (!parse_number(part(text, 4), UINT32_MAX, number)) return "a number up to 4294967295";
        append_number(value, number, 4);
        return nullptr;
    }
    return parse_hex(text, value, fault) ? nullptr : "bytes in hexadecimal, a text in quotes, or u32 and a number";
}

void encode_line(std::string_view line, Bytes &buffer, const char *name, size_t number) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') return;
    const std::string_view word = part(line, 0, line.find_first_of(" \t"));
    uint64_t type;
    Bytes value;
    if (!parse_number(word, UINT16_MAX, type)) fail("%s:%zu: expected a type up to 65535", name, number);
    if (const char *wanted = read_value(trimmed(part(line, word.size())), value))
        fail("%s:%zu: expected %s", name, number, wanted);
    if (value.size() > UINT16_MAX) fail("%s:%zu: expected at most 65535 bytes", name, number);
    append_record(buffer, type, value);
}

void encode_json(std::string_view text, Bytes &buffer, const char *name) {
    JsonInput json(text, name);
    for (bool more = json.enter("records"); more; more = json.next_object()) {
        uint64_t type = 0;
        size_t fault;
        Bytes value;
        while (json.next_member()) {
            if (json.key() == "type" && !parse_number(json.value(), UINT16_MAX, type))
                json.refuse("a type before this");
            if (json.key() == "hex" && !parse_hex(json.value(), value, fault)) json.refuse("hexadecimal before this");
        }
        if (value.size() > UINT16_MAX) json.refuse("at most 65535 bytes before this");
        append_record(buffer, type, value);
    }
}

int encode_tlv(const char *path, bool hex, bool as_json) {
    const char *const name = name_of_input(path);
    const Bytes input = read_input(path);
    Bytes buffer;
    append_number(buffer, 0, kTotalSize);
    std::string_view text = input.view();
    size_t number = 0;
    if (as_json)
        encode_json(text, buffer, name);
    else
        for (std::string_view line; next_line(text, line);) encode_line(line, buffer, name, ++number);
    const size_t total = buffer.size() - kTotalSize;
    if (total > UINT16_MAX) fail("%s: more than the 65535 bytes of records that a buffer has", name);
    buffer.data()[0] = static_cast<uint8_t>(total >> 8);
    buffer.data()[1] = static_cast<uint8_t>(total);
    write_message(buffer, hex);
    return kDone;
}

}  // namespace

int tlv(Arguments &arguments) {
    const bool hex = arguments.take("--hex"), as_json = arguments.take("--json");
    const bool as_plain = arguments.take("--plain"), encodes = arguments.take("--encode");
    Capture capture(arguments, kTlvBuffers);
    const auto operands = arguments.operands(0, 1);
    if (as_plain && (as_json || encodes)) arguments.misused("--plain alone");
    if (encodes && !hex) arguments.refuse_terminal();
    const char *path = operands.empty() ? nullptr : operands[0];
    if (encodes) return encode_tlv(path, hex, as_json);
    const char *name = name_of_input(path);
    const Bytes buffer = hex ? read_dump(path) : read_input(path);

    capture.add(buffer);
    Damage damage;
    Report report(as_json ? Form::kJson : as_plain ? Form::kPlain : Form::kTable);
    report.begin_object();
    report.begin_list("records");
    report.columns(kColumns);
    const bool whole = read_records(buffer, damage, [&](const Record &record) { show(record, report); });
    report.end_list();
    report_damage(whole ? nullptr : &damage, report);
    report.end_object();
    if (!whole) damage.complain_of(name);
    return whole ? kDone : kData;
}

}  // namespace quill::cli
