#include "elements.h"

#include <errno.h>
#include <inttypes.h>
#include <quill/address.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>
#include <quill/types.h>
#include <stdio.h>
#include <string.h>

#include <limits>

namespace quill::cli {
namespace {

struct Layout {
    const char *name;
    uint8_t fixed;    // bytes from the tag to the end of the fixed part, an element's least size
    uint8_t counted;  // how many of them are the length of a text or of data
};

constexpr Layout kLayouts[kKinds] = {
    {"str", 3, 2},   {"mac", 7, 0},    {"u8", 2, 0},   {"u16", 3, 0},       {"u32", 5, 0},
    {"ip", 5, 0},    {"s32", 9, 0},    {"bool", 3, 0}, {"hex", 3, 2},       {"u64", 9, 0},
    {"ipv6", 17, 0}, {"ip_af", 21, 0}, {"str3", 5, 4}, {"hex_len32", 5, 4}, {"hex32", 5, 4},
};

uint32_t length_of_content(const uint8_t *element, Kind kind) {
    uint32_t length = 0;
    for (unsigned i = 0; i < kLayouts[kind].counted; i++) length = length << 8 | element[1 + i];
    return length;
}

// The library's reader of the kind; what it delivers, or -1 with errno.
int call_reader(std::span<const uint8_t> message, Element &out) {
    uint32_t at = out.offset;
    const auto size = static_cast<uint32_t>(message.size());
    const auto number = [&](auto read, auto value) {
        const int got = read(message.data(), size, &at, &value, sizeof value);
        out.number = value;
        return got;
    };
    switch (out.kind) {
        case kU8: return number(sxdr_read_u8_safe, uint8_t{});
        case kU16: return number(sxdr_read_u16_safe, uint16_t{});
        case kU32: return number(sxdr_read_u32_safe, uint32_t{});
        case kU64: return number(sxdr_read_u64_safe, uint64_t{});
        case kBool: {
            const int got = number(sxdr_read_bool_safe, uint8_t{});
            if (got >= 0) out.number = message[out.offset + 2];  // also what is neither true nor false
            return got;
        }
        case kS32: return sxdr_read_s32_safe(message.data(), size, &at, &out.negative, sizeof out.negative);
        case kIp: {
            uint32_t ip;
            const int got = sxdr_read_ip_safe(message.data(), size, &at, &ip, sizeof ip);
            if (got >= 0) memcpy(out.bytes, &ip, sizeof ip);
            return got;
        }
        case kMac: return sxdr_read_mac_safe(message.data(), size, &at, out.bytes, 6);
        case kIpv6: return sxdr_read_ipv6_safe(message.data(), size, &at, out.bytes, 16);
        case kIpAf: return sxdr_read_ip_af_safe(message.data(), size, &at, &out.address, sizeof out.address);
        default: return 0;  // texts and data are shown where they stand
    }
}

bool read_fixed(std::span<const uint8_t> message, Element &out, Damage &damage) {
    if (call_reader(message, out) >= 0) return true;
    damage.expect(out.offset, "whole elements inside %s", name_of(out.kind));
    damage.find("%s", errno == EBADMSG ? "one of another kind" : strerror(errno));
    return false;
}

// `left` is the message from the element on.
bool read_counted(std::span<const uint8_t> left, Element &out, Damage &damage) {
    const uint32_t length = length_of_content(left.data(), out.kind);
    const auto behind = left.subspan(out.length);
    if (behind.size() < length) {
        damage.expect(out.offset, "%u bytes in %s", length, name_of(out.kind));
        damage.find("%zu left", behind.size());
        return false;
    }
    out.content = behind.first(length);
    out.length += length;
    return true;
}

bool is_canonical(const ip_af_addr &address) {
    static constexpr uint8_t kZeros[16] = {};
    return address.family == QUILL_AF_INET6 ||
           (address.family == QUILL_AF_INET && memcmp(address.addr + 4, kZeros, 12) == 0);
}

// An address in its own form, for every kind that is one; else the empty text.
const char *address_text(const Element &element, char (&buffer)[QUILL_IP_STR_SIZE]) {
    ip_af_addr address = {};
    switch (element.kind) {
        case kMac: return mac_to_str_r(element.bytes, buffer, 0);
        case kIp:
            address.family = QUILL_AF_INET;
            memcpy(address.addr, element.bytes, 4);
            return quill_inet_ntop(address, buffer);
        case kIpv6:
            address.family = QUILL_AF_INET6;
            memcpy(address.addr, element.bytes, 16);
            return quill_inet_ntop(address, buffer);
        case kIpAf: return is_canonical(element.address) ? quill_inet_ntop(element.address, buffer) : "";
        default: return "";
    }
}

// Bytes that a value does not show: a sign that is neither 0 nor 1 or belongs to a number that no int32_t holds, and
// filler.
bool hides_bytes(const Element &element) {
    const uint8_t *raw = element.raw.data();
    if (element.kind == kIpAf) return raw[3] != 0 || raw[4] != 0;
    if (element.kind != kS32) return false;
    const uint8_t sign = raw[3];
    const uint32_t magnitude = static_cast<uint32_t>(raw[5] << 24 | raw[6] << 16 | raw[7] << 8 | raw[8]);
    return sign > 1 || magnitude > uint32_t{INT32_MAX} + sign || (sign == 1 && magnitude == 0);
}

// --- reading values

const char *parse_ip(std::string_view value, uint16_t family, ip_af_addr &out) {
    char text[QUILL_IP_STR_SIZE + 1] = "";
    if (value.size() < sizeof text) memcpy(text, value.data(), value.size());
    const bool found =
        value.size() < sizeof text && validate_and_assign_ip_addr(text, &out) && (family == 0 || out.family == family);
    if (found) return nullptr;
    return family == QUILL_AF_INET ? "an IPv4 address" : family == QUILL_AF_INET6 ? "an IPv6 address" : "an IP address";
}

// "10.0.0.1", "2001:db8::1", or for others the family and the sixteen bytes.
const char *parse_ip_af(std::string_view value, ip_af_addr &out) {
    const size_t blank = value.find(' ');
    if (blank == std::string_view::npos) return parse_ip(value, 0, out);
    uint64_t family;
    size_t fault;
    Bytes bytes;
    if (!parse_number(part(value, 0, blank), UINT16_MAX, family) || !parse_hex(part(value, blank), bytes, fault) ||
        bytes.size() != sizeof out.addr)
        return "an IP address, or a family and 16 bytes in hexadecimal";
    out = {};
    out.family = static_cast<uint16_t>(family);
    memcpy(out.addr, bytes.data(), bytes.size());
    return nullptr;
}

const char *parse_mac(std::string_view value, uint8_t (&out)[6]) {
    char text[QUILL_MAC_STR_SIZE] = "";
    if (value.size() != sizeof text - 1) return "a MAC address as 00:1b:63:aa:bb:cc";
    memcpy(text, value.data(), sizeof text - 1);
    return valid_mac(out, text) ? nullptr : "a MAC address as 00:1b:63:aa:bb:cc";
}

const char *parse_bool(std::string_view value, uint8_t &out) {
    uint64_t number = 0;
    if (value == "true" || value == "false")
        number = value == "true";
    else if (!parse_number(value, UINT8_MAX, number))
        return "true, false, or a number up to 255";
    out = static_cast<uint8_t>(number);
    return nullptr;
}

const char *parse_s32(std::string_view value, int32_t &out) {
    const bool negative = value.starts_with('-');
    uint64_t magnitude;
    if (!parse_number(part(value, negative), uint64_t{INT32_MAX} + negative, magnitude))
        return "a number from -2147483648 to 2147483647";
    out = static_cast<int32_t>(negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude));
    return nullptr;
}

// --- writing elements

// Makes room behind the message, has `write` fill it, and keeps what that used.
template <typename Write>
const char *append(Bytes &message, size_t room, const char *wanted, Write write) {
    const size_t start = message.size();
    message.resize(start + room);
    auto cursor = static_cast<uint32_t>(start);
    const int written = write(message.data(), static_cast<uint32_t>(message.size()), &cursor);
    message.resize(written < 0 ? start : cursor);
    return written < 0 ? wanted : nullptr;
}

template <typename T>
const char *append_number(std::string_view value, Bytes &message, const char *wanted,
                          int (*write)(const T *, uint32_t, void *, uint32_t, uint32_t *)) {
    uint64_t number;
    if (!parse_number(value, std::numeric_limits<T>::max(), number)) return wanted;
    const T narrow = static_cast<T>(number);
    return append(message, 16, wanted, [&](void *to, uint32_t size, uint32_t *cursor) {
        return write(&narrow, sizeof narrow, to, size, cursor);
    });
}

const char *append_content(Kind kind, Bytes &content, Bytes &message) {
    const bool wide = kLayouts[kind].counted == 4;
    const char *const wanted = wide ? "fewer bytes" : "at most 65535 bytes";
    const auto length = static_cast<uint32_t>(content.size());
    const char *const text = content.text();
    if (kind == kHex32 || (wide && length == 0)) {  // which have no checked writer
        const size_t start = message.size();
        message.resize(start + kLayouts[kind].fixed + length);
        uint8_t *const at = message.data() + start;
        kind == kStr3       ? sxdr_write_str3("", at)
        : kind == kHexLen32 ? sxdr_write_hex_len32(0, at)
                            : sxdr_write_hex32(text, length, at);
        return nullptr;
    }
    return append(message, size_t{length} + 5, wanted, [=](void *to, uint32_t size, uint32_t *cursor) {
        switch (kind) {
            case kStr: return sxdr_write_str_safe(text, length, to, size, cursor);
            case kStr3: return sxdr_write_long_str_safe(text, length, to, size, cursor);
            case kHex: return sxdr_write_hex_safe(text, length, to, size, cursor);
            default: return sxdr_write_long_hex_safe(text, length, to, size, cursor);
        }
    });
}

}  // namespace

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
            return "\\n, \\t, \\r, \\\\, \\\" or \\xHH behind a backslash";
    }
    return nullptr;
}

const char *name_of(Kind kind) { return kLayouts[kind].name; }

bool is_text(Kind kind) { return kind == kStr || kind == kStr3; }

bool is_data(Kind kind) { return kind == kHex || kind == kHexLen32 || kind == kHex32; }

bool find_kind(std::string_view name, Kind &out) {
    for (unsigned tag = 0; tag < kKinds; tag++) {
        if (name != kLayouts[tag].name) continue;
        out = static_cast<Kind>(tag);
        return true;
    }
    return false;
}

bool read_element(std::span<const uint8_t> message, uint32_t offset, Element &out, Damage &damage) {
    const auto left = message.subspan(offset);
    if (left[0] >= kKinds) {
        damage.expect(offset, "a tag from 0 to %d", kKinds - 1);
        damage.find("0x%02x", left[0]);
        return false;
    }
    out = {};
    out.kind = static_cast<Kind>(left[0]);
    out.offset = offset;
    const Layout &layout = kLayouts[out.kind];
    out.length = layout.fixed;
    if (left.size() < layout.fixed) {
        damage.expect(offset, "%u bytes of %s", layout.fixed, layout.name);
        damage.find("%zu left", left.size());
        return false;
    }
    out.raw = left.first(layout.fixed);
    return layout.counted ? read_counted(left, out, damage) : read_fixed(message, out, damage);
}

void print_value(const Element &element) {
    char buffer[QUILL_IP_STR_SIZE];
    switch (element.kind) {
        case kStr:
        case kStr3:
            putchar('"');
            print_escaped(as_text(element.content), '"');
            putchar('"');
            break;
        case kHex:
        case kHexLen32:
        case kHex32: print_hex(element.content); break;
        case kS32: printf("%" PRId32, element.negative); break;
        case kBool:
            if (element.number > 1)
                printf("%" PRIu64, element.number);
            else
                fputs(element.number ? "true" : "false", stdout);
            break;
        case kIpAf:
            if (!is_canonical(element.address)) {
                printf("%u ", element.address.family);
                print_hex(element.address.addr);
                break;
            }
            [[fallthrough]];
        case kMac:
        case kIp:
        case kIpv6: fputs(address_text(element, buffer), stdout); break;
        default: printf("%" PRIu64, element.number);
    }
}

void print_hidden(const Element &element) {
    if (!hides_bytes(element)) return;
    fputs("  of the bytes ", stdout);
    print_hex(element.raw);
}

void print_value(const Element &element, Json &json) {
    char buffer[QUILL_IP_STR_SIZE];
    if (hides_bytes(element)) json.hex("bytes", element.raw);
    if (is_text(element.kind) && is_utf8(as_text(element.content))) {
        json.text("value", as_text(element.content));
    } else if (is_text(element.kind) || is_data(element.kind)) {
        json.hex("hex", element.content);
    } else if (element.kind == kS32) {
        json.number("value", int64_t{element.negative});
    } else if (element.kind == kBool && element.number <= 1) {
        json.boolean("value", element.number == 1);
    } else if (element.kind == kIpAf && !is_canonical(element.address)) {
        json.number("family", uint64_t{element.address.family});
        json.hex("hex", element.address.addr);
    } else if (const char *address = address_text(element, buffer); *address) {
        json.text("value", address);
    } else {
        json.number("value", element.number);
    }
}

const char *write_element(Kind kind, std::string_view value, Bytes &message) {
    ip_af_addr address = {};
    uint8_t mac[6], boolean;
    int32_t negative;
    Bytes content;
    size_t fault;
    // With what a reader wanted instead of the value, nothing is written.
    const auto write = [&](const char *wanted, auto writer, const auto *from, uint32_t size) {
        if (wanted) return wanted;
        return append(message, 24, "room for it",
                      [=](void *to, uint32_t room, uint32_t *cursor) { return writer(from, size, to, room, cursor); });
    };
    switch (kind) {
        case kU8: return append_number(value, message, "a number up to 255", sxdr_write_u8_safe);
        case kU16: return append_number(value, message, "a number up to 65535", sxdr_write_u16_safe);
        case kU32: return append_number(value, message, "a number up to 4294967295", sxdr_write_u32_safe);
        case kU64: return append_number(value, message, "a number up to 18446744073709551615", sxdr_write_u64_safe);
        case kS32: return write(parse_s32(value, negative), sxdr_write_s32_safe, &negative, sizeof negative);
        case kBool: return write(parse_bool(value, boolean), sxdr_write_bool_safe, &boolean, sizeof boolean);
        case kMac: return write(parse_mac(value, mac), sxdr_write_mac_safe, static_cast<const void *>(mac), sizeof mac);
        case kIp: {
            const char *const wanted = parse_ip(value, QUILL_AF_INET, address);
            uint32_t ip;
            memcpy(&ip, address.addr, sizeof ip);
            return write(wanted, sxdr_write_ip_safe, &ip, sizeof ip);
        }
        case kIpv6:
            return write(parse_ip(value, QUILL_AF_INET6, address), sxdr_write_ipv6_safe,
                         static_cast<const void *>(address.addr), 16);
        case kIpAf: return write(parse_ip_af(value, address), sxdr_write_ip_af_safe, &address, sizeof address);
        case kStr:
        case kStr3: {
            const char *const wanted = parse_quoted(value, content);
            return wanted ? wanted : append_content(kind, content, message);
        }
        default:
            return parse_hex(value, content, fault) ? append_content(kind, content, message) : "bytes in hexadecimal";
    }
}

}  // namespace quill::cli
