// quill scramble, unscramble, fqln, addr and argv: the library's functions for texts.
#include <quill/address.h>
#include <quill/argv.h>
#include <quill/ipv6.h>
#include <quill/location.h>
#include <quill/scramble.h>
#include <quill/types.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <span>
#include <string_view>

#include "command.h"
#include "console.h"
#include "input.h"
#include "report.h"

namespace quill::cli {

constexpr char kScrambleHelp[] =
    "usage: quill scramble [--ascii] [TEXT]\n"
    "\n"
    "Prints the scrambled bytes of TEXT, or of a line of standard input, in\n"
    "hexadecimal. Scrambling keeps nothing secret: anyone can undo it.\n"
    "\n"
    "  --ascii  print at most 3 characters of the printable form, as programs show\n"
    "           it; TEXT cannot be restored from them\n"
    "\n"
    "example: quill scramble abc\n";

constexpr char kUnscrambleHelp[] =
    "usage: quill unscramble [--ascii] [TEXT]\n"
    "\n"
    "Prints the original of a scrambled text. TEXT, or a line of standard input, is\n"
    "the scrambled bytes in hexadecimal.\n"
    "\n"
    "  --ascii  TEXT is in the printable form\n"
    "\n"
    "example: quill unscramble 524c54\n";

constexpr char kFqlnHelp[] =
    "usage: quill fqln split [--json] NAME\n"
    "       quill fqln build PART1 PART2 PART3 PART4\n"
    "\n"
    "split  print the four parts of a location name, one a line\n"
    "build  print the name of four parts, with their dots escaped\n"
    "\n"
    "  --json  print the parts as a JSON array\n"
    "\n"
    "example: quill fqln build campus b1 r.3 ap7\n";

constexpr char kAddrHelp[] =
    "usage: quill addr [--json] ADDRESS...\n"
    "\n"
    "Shows each MAC, IPv4 or IPv6 address in all its forms, and what kind of address\n"
    "it is. A MAC address has six bytes of two digits, with or without colons,\n"
    "hyphens or dots between them. If all bytes are separated, one digit is enough\n"
    "for a byte. An IP address may have a prefix length. Names are not looked up.\n"
    "\n"
    "  --json  print a JSON object for each address, one a line\n"
    "\n"
    "example: quill addr 001b.63aa.bbcc 10.0.0.1 2001:db8::1/64\n";

constexpr char kArgvHelp[] =
    "usage: quill argv [--json] [LINE]\n"
    "\n"
    "Splits LINE, or each line of standard input, and shows the words, without quotes\n"
    "and backslashes. Then joins the words again, and shows the result.\n"
    "\n"
    "  --json  print the words and the result as a JSON object, one for each line\n"
    "\n"
    "example: quill argv \"set name 'north wing' vlan\\\\ 20\"\n";

namespace {

// --- scrambling

Bytes hex_operand(std::span<char *> operands) {
    const Bytes text = read_text(operands);
    Bytes bytes;
    size_t fault;
    if (!parse_hex(text.view(), bytes, fault))
        fail("character %zu: expected hexadecimal digits, two a byte", fault + 1);
    return bytes;
}

// --- location names

int split(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const char *const name = arguments.operands(1, 1)[0];
    if (!fqln_is_well_formed(name))
        fail("\"%s\" is not a location name: expected four parts with dots between them", name);
    const size_t size = strlen(name) + 1;
    Bytes parts[4];
    for (Bytes &part : parts) part.resize(size + 1);
    char *text[4];
    for (int i = 0; i < 4; i++) text[i] = reinterpret_cast<char *>(parts[i].data());
    const auto room = static_cast<uint32_t>(size);
    fqln_crack(name, text[0], room, text[1], room, text[2], room, text[3], room);
    Report report(as_json);
    report.begin_list();
    for (const char *part : text) report.text({nullptr, ""}, part);
    report.end_list();
    return kDone;
}

int build(Arguments &arguments) {
    const auto parts = arguments.operands(4, 4);
    char name[9 * FQLN_PART_SIZE + 8], again[4][FQLN_PART_SIZE + 1];
    fqln_build(parts[0], parts[1], parts[2], parts[3], name, sizeof name);
    constexpr uint32_t kSize = FQLN_PART_SIZE;
    fqln_crack(name, again[0], kSize, again[1], kSize, again[2], kSize, again[3], kSize);
    for (size_t i = 0; i < parts.size(); i++)
        if (strcmp(parts[i], again[i]) != 0)
            fail("\"%s\" does not come back from a name: it is too long, or has a backslash", parts[i]);
    print_text(name);
    putchar('\n');
    return kDone;
}

// --- addresses

bool is_mac(const char *text, uint8_t (&mac)[6]) {
    // str_to_mac() also returns all zeros for texts that are not addresses.
    memcpy(mac, str_to_mac(text), sizeof mac);
    for (const uint8_t byte : mac)
        if (byte) return strspn(text, "0123456789abcdefABCDEFxX:-.") == strlen(text);
    uint8_t zeros[6];
    return valid_mac(zeros, text) || strcmp(text, "000000000000") == 0 || strcmp(text, "0000.0000.0000") == 0;
}

void show_mac(const uint8_t (&mac)[6], const char *text, Report &report) {
    char buffer[QUILL_MAC_STR_SIZE];
    report.begin_object(nullptr, text);
    report.text("kind", "MAC");
    report.text("colons", mac_to_str_r(mac, buffer, 0));
    report.text("hyphens", mac_to_str_w_options(mac, buffer, 1, '-'));
    report.text("plain", mac_to_str_no_delemit(mac, buffer, 0));
    report.boolean("multicast", (mac[0] & 1) != 0);
    report.boolean("local", (mac[0] & 2) != 0);
    report.end_object();
}

void show_ipv4(const ip_af_addr &address, const char *prefix, const char *text, Report &report) {
    char buffer[QUILL_IP_STR_SIZE], hex[11];
    const uint8_t *byte = address.addr;
    uint32_t word;
    memcpy(&word, byte, sizeof word);
    report.begin_object(nullptr, text);
    report.text("kind", "IPv4");
    report.text("dotted", quill_inet_ntop(address, buffer));
    snprintf(hex, sizeof hex, "0x%02x%02x%02x%02x", byte[0], byte[1], byte[2], byte[3]);
    report.text("hexadecimal", hex);
    report.boolean("unicast", is_unicast_ipaddr(word) != 0);
    if (prefix) {
        ip_af_addr mask = {};
        mask.family = QUILL_AF_INET;
        ipv6_plen_to_addr(static_cast<uint32_t>(atoi(prefix)), mask.addr);  // also the start of an IPv4 mask
        report.text("mask", quill_inet_ntop(mask, buffer));
    }
    report.end_object();
}

void show_ipv6(const ip_af_addr &address, const char *prefix, const char *text, Report &report) {
    uint16_t groups[8];
    for (size_t i = 0; i < 8; i++)
        groups[i] = static_cast<uint16_t>(address.addr[2 * i] << 8 | address.addr[2 * i + 1]);
    report.begin_object(nullptr, text);
    report.text("kind", "IPv6");
    report.text("short", ipv6_to_str(groups));
    report.text("long", ip6_to_str_long(address.addr));
    report.text("inet_ntop", ip6_to_str(address.addr));
    report.boolean("link-local", is_ipv6_link_local_address(address) != 0);
    report.boolean("site-local", is_ipv6_site_local_address(address) != 0);
    if (prefix) {
        uint16_t length;
        uint8_t mask[16] = {};
        ipv6_wild2len(prefix, &length);
        ipv6_plen_to_addr(length, mask);
        report.text("mask", ip6_to_str(mask));
    }
    report.end_object();
}

void show_ip(const ip_af_addr &address, const char *prefix, const char *text, Report &report) {
    if (address.family == QUILL_AF_INET)
        show_ipv4(address, prefix, text, report);
    else
        show_ipv6(address, prefix, text, report);
}

bool show_address(char *text, Report &report) {
    uint8_t mac[6];
    ip_af_addr address;
    if (validate_and_assign_ip_addr(text, &address)) {
        show_ip(address, nullptr, text, report);
        return true;
    }
    if (char *slash = strchr(text, '/')) {
        uint16_t length;
        const char *const prefix = slash + 1;
        *slash = '\0';
        const bool read = validate_and_assign_ip_addr(text, &address) && ipv6_wild2len(prefix, &length) &&
                          (length <= 32 || address.family == QUILL_AF_INET6);
        *slash = '/';
        if (read) show_ip(address, prefix, text, report);
        return read;
    }
    if (!is_mac(text, mac)) return false;
    show_mac(mac, text, report);
    return true;
}

// --- command lines

// Splits a line into words and joins them again.
void show_words(Bytes &line, bool as_json) {
    const size_t most = line.size() / 2 + 1;
    Bytes room, joined;
    room.resize((most + 1) * sizeof(char *));
    auto **const words = reinterpret_cast<char **>(room.data());
    const int count = cmdline_to_argv(static_cast<int>(most), words, line.text());
    joined.resize(2 * line.size() + 3 * static_cast<size_t>(count) + 1);
    char *const text = reinterpret_cast<char *>(joined.data());
    *text = '\0';
    argv_to_cmdline(text, static_cast<int>(joined.size()), count, words);
    Report report(as_json);
    report.begin_object();
    report.begin_list("words", true);
    for (const char *word : std::span(words, static_cast<size_t>(count))) report.text(Name(nullptr, "word"), word);
    report.end_list();
    report.text("joined", text);
    report.end_object();
}

}  // namespace

int scramble(Arguments &arguments) {
    const bool ascii = arguments.take("--ascii");
    Bytes text = read_text(arguments.operands(0, 1));
    Bytes out;
    out.resize(text.size() + 8);
    if (ascii) {
        scrambleStringAscii(text.text(), reinterpret_cast<char *>(out.data()), static_cast<uint32_t>(out.size()));
        puts(reinterpret_cast<char *>(out.data()));
        return kDone;
    }
    out.resize(static_cast<size_t>(scrambleString(text.text(), out.data())));
    print_hex(out);
    putchar('\n');
    return kDone;
}

int unscramble(Arguments &arguments) {
    const bool ascii = arguments.take("--ascii");
    const auto operands = arguments.operands(0, 1);
    Bytes in = ascii ? read_text(operands) : hex_operand(operands);
    Bytes out;
    out.resize(in.size() + 1);
    char *text = reinterpret_cast<char *>(out.data());
    if (ascii) {
        unscrambleStringAscii(in.text(), text);
        out.resize((strlen(in.text()) + 1) / 2);
    } else {
        out.resize(static_cast<size_t>(unscrambleString(in.data(), text, static_cast<int>(in.size()))));
    }
    print_text(out.view());
    putchar('\n');
    return kDone;
}

int fqln(Arguments &arguments) {
    if (arguments.take_operation("split")) return split(arguments);
    if (arguments.take_operation("build")) return build(arguments);
    return arguments.no_operation();
}

int addr(Arguments &arguments) {
    Report report(arguments.take("--json"), 12);
    bool all = true;
    for (char *text : arguments.operands(1, SIZE_MAX)) {
        if (show_address(text, report)) continue;
        complain("\"%s\" is not an address: expected a MAC, IPv4 or IPv6 address", text);
        all = false;
    }
    return all ? kDone : kData;
}

int argv(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    Bytes input = operands.empty() ? read_input(nullptr) : read_text(operands);
    if (input.view().find('\0') != std::string_view::npos) fail("a NUL byte in the text");
    if (!operands.empty()) {
        show_words(input, as_json);
        return kDone;
    }
    std::string_view left = input.view(), text;
    while (next_line(left, text)) {
        Bytes line;
        append(line, text);
        show_words(line, as_json);
    }
    return kDone;
}

}  // namespace quill::cli
