#include "elements.h"

#include <errno.h>
#include <quill/address.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>
#include <quill/types.h>
#include <stdio.h>
#include <string.h>

#include <iterator>
#include <limits>

namespace quill::cli {

const char *parse_quoted(std::string_view value, Bytes &out) {
    if (value.size() < 2 || value.front() != '"' || value.back() != '"') return "a text between double quotes";
    value = part(value, 1, value.size() - 2);
    for (size_t i = 0; i < value.size(); i++) {
        if (value[i] == '"') return "a backslash before a quote within the text";
        if (value[i] != '\\') {
            out.append(static_cast<uint8_t>(value[i]));
            continue;
        }
        static constexpr char kNames[] = "ntr\\\"", kMeanings[] = "\n\t\r\\\"";
        const char escape = ++i < value.size() ? value[i] : '\0';
        size_t fault;
        if (const char *name = escape ? strchr(kNames, escape) : nullptr)
            out.append(static_cast<uint8_t>(kMeanings[name - kNames]));
        else if (escape == 'x' && value.size() - i > 2 && parse_hex(part(value, i + 1, 2), out, fault))
            i += 2;
        else
            return "\\n, \\t, \\r, \\\\, \\\" or \\xHH after a backslash";
    }
    return nullptr;
}

namespace {

using Text = std::string_view;

// Room after a message for the output of a checked writer.
struct Room {
    Room(Bytes &after, size_t room) : message(after), start(after.size()), cursor(static_cast<uint32_t>(start)) {
        message.resize(start + room);
    }
    // Keeps what was written. Returns a text about what is wrong, or null.
    const char *keep(int written, const char *wanted) {
        message.resize(written < 0 ? start : cursor);
        return written < 0 ? wanted : nullptr;
    }
    uint32_t size() const { return static_cast<uint32_t>(message.size()); }

    Bytes &message;
    size_t start;
    uint32_t cursor;
};

// Writes a value of a fixed size with its checked writer.
template <auto kWrite, typename Value>
const char *append_value(const Value *value, uint32_t size, Bytes &message) {
    Room room(message, 24);
    return room.keep(kWrite(value, size, message.data(), room.size(), &room.cursor), "room for it");
}

// --- unsigned numbers

template <typename T, auto kRead>
int read_number(const void *message, uint32_t size, uint32_t *at, Element &out) {
    T value = 0;
    const int got = kRead(message, size, at, &value, sizeof value);
    out.number = value;
    return got;
}

void show_number(const Element &element, Report &report) { report.number(also_plain("value"), element.number); }

template <typename T>
const char *number_wanted() {
    static char text[48];
    snprintf(text, sizeof text, "a number up to %llu", static_cast<unsigned long long>(std::numeric_limits<T>::max()));
    return text;
}

template <typename T, auto kWrite>
const char *write_number(Text value, Bytes &message) {
    uint64_t number;
    if (!parse_number(value, std::numeric_limits<T>::max(), number)) return number_wanted<T>();
    const T narrow = static_cast<T>(number);
    return append_value<kWrite>(&narrow, sizeof narrow, message);
}

// --- bool: bytes other than 0 and 1 are shown as numbers

int read_bool(const void *message, uint32_t size, uint32_t *at, Element &out) {
    out.number = out.raw.back();
    uint8_t value;
    return sxdr_read_bool_safe(message, size, at, &value, sizeof value);
}

void show_bool(const Element &element, Report &report) {
    if (element.number > 1)
        show_number(element, report);
    else
        report.boolean(also_plain("value"), element.number == 1, element.number ? "true" : "false");
}

const char *write_bool(Text value, Bytes &message) {
    uint64_t number = value == "true";
    if (value != "true" && value != "false" && !parse_number(value, UINT8_MAX, number))
        return "true, false, or a number up to 255";
    const auto byte = static_cast<uint8_t>(number);
    return append_value<sxdr_write_bool_safe>(&byte, sizeof byte, message);
}

// Shows bytes that the value does not show.
void show_hidden(const Element &element, Report &report) { report.hex("bytes", element.raw, "of the bytes "); }

// --- s32: a sign, filler, and a magnitude

int read_s32(const void *message, uint32_t size, uint32_t *at, Element &out) {
    return sxdr_read_s32_safe(message, size, at, &out.negative, sizeof out.negative);
}

void show_s32(const Element &element, Report &report) {
    report.number(also_plain("value"), element.negative);
    const uint8_t *const raw = element.raw.data(), sign = raw[3];
    const uint32_t magnitude = static_cast<uint32_t>(raw[5] << 24 | raw[6] << 16 | raw[7] << 8 | raw[8]);
    if (sign > 1 || magnitude > uint32_t{INT32_MAX} + sign || (sign == 1 && magnitude == 0))
        show_hidden(element, report);
}

const char *write_s32(Text value, Bytes &message) {
    const bool negative = value.starts_with('-');
    uint64_t magnitude;
    if (!parse_number(part(value, negative), uint64_t{INT32_MAX} + negative, magnitude))
        return "a number from -2147483648 to 2147483647";
    const auto whole = static_cast<int64_t>(magnitude);
    const auto number = static_cast<int32_t>(negative ? -whole : whole);
    return append_value<sxdr_write_s32_safe>(&number, sizeof number, message);
}

// --- MAC addresses

int read_mac(const void *message, uint32_t size, uint32_t *at, Element &out) {
    return sxdr_read_mac_safe(message, size, at, out.mac, sizeof out.mac);
}

void show_mac(const Element &element, Report &report) {
    char text[QUILL_MAC_STR_SIZE];
    report.text(also_plain("value"), mac_to_str_r(element.mac, text, 0));
}

const char *write_mac(Text value, Bytes &message) {
    char text[QUILL_MAC_STR_SIZE] = "";
    uint8_t mac[6];
    if (value.size() == sizeof text - 1) memcpy(text, value.data(), value.size());
    if (!valid_mac(mac, text)) return "a MAC address as 00:1b:63:aa:bb:cc";
    return append_value<sxdr_write_mac_safe, void>(mac, sizeof mac, message);
}

// --- IP addresses

int read_ip(const void *message, uint32_t size, uint32_t *at, Element &out) {
    uint32_t ip = 0;
    const int got = sxdr_read_ip_safe(message, size, at, &ip, sizeof ip);
    out.address.family = QUILL_AF_INET;
    memcpy(out.address.addr, &ip, sizeof ip);
    return got;
}

int read_ipv6(const void *message, uint32_t size, uint32_t *at, Element &out) {
    out.address.family = QUILL_AF_INET6;
    return sxdr_read_ipv6_safe(message, size, at, out.address.addr, sizeof out.address.addr);
}

int read_ip_af(const void *message, uint32_t size, uint32_t *at, Element &out) {
    return sxdr_read_ip_af_safe(message, size, at, &out.address, sizeof out.address);
}

void show_ip(const Element &element, Report &report) {
    char text[QUILL_IP_STR_SIZE];
    report.text(also_plain("value"), quill_inet_ntop(element.address, text));
}

// If the family is neither IPv4 nor IPv6, the value is the family and all bytes. The same holds if the bytes after an
// IPv4 address are not zero.
void show_ip_af(const Element &element, Report &report) {
    static constexpr uint8_t kZeros[12] = {};
    const ip_af_addr &address = element.address;
    if (address.family == QUILL_AF_INET6 ||
        (address.family == QUILL_AF_INET && memcmp(address.addr + 4, kZeros, sizeof kZeros) == 0)) {
        show_ip(element, report);
    } else {
        report.number(also_plain("family"), address.family);
        report.hex(also_plain("hex"), address.addr);
    }
    if (element.raw[3] != 0 || element.raw[4] != 0) show_hidden(element, report);
}

bool parse_ip(Text value, uint16_t family, ip_af_addr &out) {
    char text[QUILL_IP_STR_SIZE + 1] = "";
    if (value.size() < sizeof text) memcpy(text, value.data(), value.size());
    return validate_and_assign_ip_addr(text, &out) && (family == 0 || out.family == family);
}

const char *write_ip(Text value, Bytes &message) {
    ip_af_addr address;
    if (!parse_ip(value, QUILL_AF_INET, address)) return "an IPv4 address";
    uint32_t ip;
    memcpy(&ip, address.addr, sizeof ip);
    return append_value<sxdr_write_ip_safe>(&ip, sizeof ip, message);
}

const char *write_ipv6(Text value, Bytes &message) {
    ip_af_addr address;
    if (!parse_ip(value, QUILL_AF_INET6, address)) return "an IPv6 address";
    return append_value<sxdr_write_ipv6_safe, void>(address.addr, sizeof address.addr, message);
}

const char *write_ip_af(Text value, Bytes &message) {
    ip_af_addr address = {};
    const size_t blank = value.find(' ');
    if (blank == Text::npos) {
        if (!parse_ip(value, 0, address)) return "an IP address";
    } else {
        uint64_t family;
        size_t fault;
        Bytes bytes;
        if (!parse_number(part(value, 0, blank), UINT16_MAX, family) || !parse_hex(part(value, blank), bytes, fault) ||
            bytes.size() != sizeof address.addr)
            return "an IP address, or a family and 16 bytes in hexadecimal";
        address.family = static_cast<uint16_t>(family);
        memcpy(address.addr, bytes.data(), bytes.size());
    }
    return append_value<sxdr_write_ip_af_safe>(&address, sizeof address, message);
}

// --- texts and data

void show_text(const Element &element, Report &report) {
    report.quoted(also_plain("value"), as_text(element.content), "hex");
}

void show_data(const Element &element, Report &report) { report.dump(also_plain("hex"), element.content); }

// The checked writers of kinds with 32-bit lengths do not write empty content, and hex32 has no checked writer.
int write_str3(const char *text, uint32_t length, uint8_t *message, uint32_t size, uint32_t *cursor) {
    if (length > 0) return sxdr_write_long_str_safe(text, length, message, size, cursor);
    *cursor += sxdr_write_str3("", message + *cursor);
    return 0;
}

int write_hex_len32(const char *bytes, uint32_t length, uint8_t *message, uint32_t size, uint32_t *cursor) {
    if (length > 0) return sxdr_write_long_hex_safe(bytes, length, message, size, cursor);
    *cursor += sxdr_write_hex_len32(0, message + *cursor);
    return 0;
}

int write_hex32(const char *bytes, uint32_t length, uint8_t *message, uint32_t, uint32_t *cursor) {
    *cursor += sxdr_write_hex32(bytes, length, message + *cursor);
    return 0;
}

template <auto kWrite>
const char *append_content(Bytes &content, Bytes &message) {
    constexpr size_t kLongestHead = 5;
    Room room(message, kLongestHead + content.size());
    const char *const bytes = content.text();
    return room.keep(kWrite(bytes, static_cast<uint32_t>(content.size()), message.data(), room.size(), &room.cursor),
                     "at most 65535 bytes");
}

template <auto kWrite>
const char *write_text(Text value, Bytes &message) {
    Bytes content;
    const char *const wanted = parse_quoted(value, content);
    return wanted ? wanted : append_content<kWrite>(content, message);
}

template <auto kWrite>
const char *write_data(Text value, Bytes &message) {
    Bytes content;
    size_t fault;
    if (!parse_hex(value, content, fault)) return "bytes in hexadecimal";
    return append_content<kWrite>(content, message);
}

// --- the kinds

uint32_t tag_and_32_bits() { return 5; }

// In the order of their tags. The library has no function for the sizes of the last three.
constexpr Kind kKinds[] = {
    {"str", [] { return sxdr_size_str(""); }, 2, nullptr, show_text, write_text<sxdr_write_str_safe>, true},
    {"mac", sxdr_size_mac, 0, read_mac, show_mac, write_mac},
    {"u8", sxdr_size_u8, 0, read_number<uint8_t, sxdr_read_u8_safe>, show_number,
     write_number<uint8_t, sxdr_write_u8_safe>},
    {"u16", sxdr_size_u16, 0, read_number<uint16_t, sxdr_read_u16_safe>, show_number,
     write_number<uint16_t, sxdr_write_u16_safe>},
    {"u32", sxdr_size_u32, 0, read_number<uint32_t, sxdr_read_u32_safe>, show_number,
     write_number<uint32_t, sxdr_write_u32_safe>},
    {"ip", sxdr_size_ip, 0, read_ip, show_ip, write_ip},
    {"s32", sxdr_size_s32, 0, read_s32, show_s32, write_s32},
    {"bool", [] { return sxdr_size_bool(0); }, 0, read_bool, show_bool, write_bool},
    {"hex", [] { return sxdr_size_hex("", 0); }, 2, nullptr, show_data, write_data<sxdr_write_hex_safe>},
    {"u64", sxdr_size_u64, 0, read_number<uint64_t, sxdr_read_u64_safe>, show_number,
     write_number<uint64_t, sxdr_write_u64_safe>},
    {"ipv6", sxdr_size_ipv6, 0, read_ipv6, show_ip, write_ipv6},
    {"ip_af", sxdr_size_ip_af, 0, read_ip_af, show_ip_af, write_ip_af},
    {"str3", tag_and_32_bits, 4, nullptr, show_text, write_text<write_str3>, true},
    {"hex_len32", tag_and_32_bits, 4, nullptr, show_data, write_data<write_hex_len32>},
    {"hex32", tag_and_32_bits, 4, nullptr, show_data, write_data<write_hex32>},
};

bool read_fixed(std::span<const uint8_t> message, Element &out, Damage &damage) {
    uint32_t at = out.offset;
    if (out.kind->read(message.data(), static_cast<uint32_t>(message.size()), &at, out) >= 0) return true;
    damage.expect(out.offset, "whole elements inside %s", out.kind->name);
    damage.find("%s", errno == EBADMSG ? "one of another kind" : strerror(errno));
    return false;
}

// `left` is the rest of the message, from the element on.
bool read_counted(std::span<const uint8_t> left, Element &out, Damage &damage) {
    uint32_t length = 0;
    for (const uint8_t byte : left.subspan(1, out.kind->counted)) length = length << 8 | byte;
    const auto content = left.subspan(out.length);
    if (content.size() < length) {
        damage.expect(out.offset, "%u bytes in %s", length, out.kind->name);
        damage.find("%zu left", content.size());
        return false;
    }
    out.content = content.first(length);
    out.length += length;
    return true;
}

}  // namespace

const Kind *find_kind(Text name) {
    for (const Kind &kind : kKinds)
        if (name == kind.name) return &kind;
    return nullptr;
}

bool read_element(std::span<const uint8_t> message, uint32_t offset, Element &out, Damage &damage) {
    const auto left = message.subspan(offset);
    if (left[0] >= std::size(kKinds)) {
        damage.expect(offset, "a tag from 0 to %zu", std::size(kKinds) - 1);
        damage.find("0x%02x", left[0]);
        return false;
    }
    const Kind &kind = kKinds[left[0]];
    out = {};
    out.kind = &kind;
    out.offset = offset;
    out.length = kind.fixed();
    if (left.size() < out.length) {
        damage.expect(offset, "%u bytes of %s", out.length, kind.name);
        damage.find("%zu left", left.size());
        return false;
    }
    out.raw = left.first(out.length);
    return kind.read ? read_fixed(message, out, damage) : read_counted(left, out, damage);
}

}  // namespace quill::cli
