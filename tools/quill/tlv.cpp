// quill tlv.
#include <quill/tlv.h>
#include <stdio.h>

#include <span>

#include "command.h"
#include "console.h"
#include "damage.h"
#include "input.h"

namespace quill::cli {

constexpr char kTlvHelp[] =
    "usage: quill tlv [--hex] [--json] [FILE]\n"
    "\n"
    "Shows the records of a TLV buffer, FILE or standard input: offset, type,\n"
    "length, and the value as bytes, as a number when it has four and as a text when\n"
    "it is printable. What a type means, only its program knows. At damage it says\n"
    "where, and ends with status 1; the records before are shown.\n"
    "\n"
    "  --hex   the buffer is text: hexadecimal digits\n"
    "  --json  print a JSON object\n"
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

void print_row(const Record &record) {
    printf("%s%6zu%s  %5u  %6zu  ", faint(), record.offset, plain(), record.type, record.value.size());
    if (record.value.size() > 16) {
        if (is_printable(record.value)) {
            putchar('"');
            print_escaped(as_text(record.value), '"');
            putchar('"');
        }
        putchar('\n');
        print_dump(record.value, "        ");
        return;
    }
    print_hex(record.value);
    if (record.value.size() == 4) printf("  %u", number_at(record.value.data(), 4));
    if (is_printable(record.value)) {
        fputs("  \"", stdout);
        print_escaped(as_text(record.value), '"');
        putchar('"');
    }
    putchar('\n');
}

void print_json(const Record &record, Json &json) {
    json.begin('{');
    json.number("offset", uint64_t{record.offset});
    json.number("type", uint64_t{record.type});
    json.number("length", uint64_t{record.value.size()});
    json.hex("hex", record.value);
    if (record.value.size() == 4) json.number("number", uint64_t{number_at(record.value.data(), 4)});
    if (is_printable(record.value)) json.text("text", as_text(record.value));
    json.end('}');
}

bool damaged(Damage &damage, size_t offset, size_t wanted, const char *what, size_t found) {
    damage.expect(offset, "%zu bytes of %s", wanted, what);
    damage.find("%zu left", found);
    return false;
}

// The record at an offset before `end`, where the records end.
bool read_record(std::span<const uint8_t> buffer, size_t at, size_t end, Record &out, Damage &damage) {
    const size_t left = end - at;
    if (left < kTypeSize + kLengthSize) return damaged(damage, at, kTypeSize + kLengthSize, "type and length", left);
    const uint8_t *const type = buffer.data() + at, *const value = type + kTypeSize;
    const size_t length = number_at(value, kLengthSize), room = left - kTypeSize;
    // As the library skips a record of a type that it does not know.
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

}  // namespace

int tlv(Arguments &arguments) {
    const bool hex = arguments.take("--hex"), as_json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    const char *path = operands.empty() ? nullptr : operands[0];
    const char *name = name_of_input(path);
    const Bytes input = read_input(path);
    Bytes from_hex;
    size_t fault;
    if (hex && !parse_hex(input.view(), from_hex, fault))
        fail("%s: character %zu: expected hexadecimal digits, two a byte", name, fault + 1);
    const std::span<const uint8_t> buffer = hex ? from_hex : input;

    Damage damage;
    bool whole;
    if (as_json) {
        Json json;
        json.begin('{');
        json.begin('[', "records");
        whole = read_records(buffer, damage, [&](const Record &record) { print_json(record, json); });
        json.end(']');
        print_damage(whole ? nullptr : &damage, json);
        json.end('}');
        json.finish();
    } else {
        printf("%soffset   type  length  value%s\n", bold(), plain());
        whole = read_records(buffer, damage, print_row);
    }
    if (!whole) damage.complain_of(name);
    return whole ? kDone : kData;
}

}  // namespace quill::cli
