// quill decode and quill encode.
#include <stdio.h>

#include <span>
#include <string_view>

#include "command.h"
#include "console.h"
#include "damage.h"
#include "input.h"
#include "message.h"

namespace quill::cli {

constexpr char kDecodeHelp[] =
    "usage: quill decode [--hex | --lines] [--names NAMES] [--pcap OUT]\n"
    "                    [--plain | --json] [FILE]\n"
    "\n"
    "Shows the elements of a codec message: offset, kind, length (tag included) and\n"
    "value. Opaque data is shown as a dump. The message is read from FILE, or from\n"
    "standard input. A damaged message is shown up to the damage. The command then\n"
    "reports the place of the damage, what was expected and what was found. It ends\n"
    "with status 1.\n"
    "\n"
    "  --hex          the message is text: hexadecimal digits, or what xxd,\n"
    "                 hexdump -C, od -tx1, tcpdump -x, strace -x, gdb's x/xb or a C\n"
    "                 array show; FILE may be the digits themselves\n"
    "  --lines        each line is the digits of one message\n"
    "  --names NAMES  the names of the elements, as in event,mac,vlan; \"...\" after\n"
    "                 the last name gives that name to all further elements. A\n"
    "                 message with more or fewer elements is damaged. @FILE is a file\n"
    "                 with lists of names. Each line begins with a value of the first\n"
    "                 element, in the form of quill encode: \"1: event,mac,vlan\". The\n"
    "                 first line that fits is used; the value * fits any message\n"
    "  --pcap OUT     also write the messages to the capture file OUT. Wireshark\n"
    "                 shows them with libquill's dissector\n"
    "  --plain        print text that quill encode reads\n"
    "  --json         print a JSON object for each message, with --lines also the\n"
    "                 number of its line. A u64 may be too large for programs with\n"
    "                 53-bit numbers\n"
    "\n"
    "example: quill decode --hex '02 03  03 00 14'\n";

constexpr char kEncodeHelp[] =
    "usage: quill encode [--json] [--hex] [FILE]\n"
    "\n"
    "Makes a codec message from a text and writes it to standard output. The text is\n"
    "read from FILE, or from standard input. Each line is a kind and a value. Empty\n"
    "lines and lines that begin with # are skipped. quill decode --plain prints such\n"
    "a text.\n"
    "\n"
    "  str \"two words\"        also str3; escapes are \\n \\t \\r \\\\ \\\" \\xHH\n"
    "  mac 00:1b:63:aa:bb:cc  or with hyphens\n"
    "  u8 3                   also u16, u32, u64, s32; hexadecimal after 0x\n"
    "  ip 10.0.0.1\n"
    "  ipv6 2001:db8::1\n"
    "  ip_af 10.0.0.1         or an IPv6 address; or a family and 16 bytes\n"
    "  bool true\n"
    "  hex 0a 0b 0c           also hex32, hex_len32\n"
    "\n"
    "  --json   read what quill decode --json prints\n"
    "  --hex    write hexadecimal digits, in one line\n"
    "\n"
    "example: printf 'mac 00:1b:63:aa:bb:cc\\nu16 20\\n' | quill encode | quill decode\n";

namespace {

void decode_line(std::string_view line, Decoder &decoder, const char *name, size_t number) {
    Bytes message;
    size_t fault;
    if (parse_hex(line, message, fault)) return decoder.show(message, name, "line", number);
    Damage damage;
    damage.expect(message.size(), "hexadecimal digits, two a byte");
    damage.find("none at character %zu", fault + 1);
    decoder.refuse(damage, name, "line", number);
}

}  // namespace

int decode(Arguments &arguments) {
    const bool hex = arguments.take("--hex"), lines = arguments.take("--lines");
    Decoder decoder(arguments);
    const auto operands = arguments.operands(0, 1);
    if (hex && lines) arguments.misused("--hex or --lines, not both");
    const char *path = operands.empty() ? nullptr : operands[0];
    const char *name = name_of_input(path);
    const Bytes input = hex ? read_dump(path) : read_input(path);
    if (!lines) {
        decoder.show(input, name);
        return decoder.status();
    }
    size_t number = 0;
    std::string_view text = input.view();
    for (std::string_view line; next_line(text, line);) decode_line(line, decoder, name, ++number);
    return decoder.status();
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
