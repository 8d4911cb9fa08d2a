// quill md5 and quill hmac.
#include <errno.h>
#include <quill/md5.h>
#include <stdio.h>
#include <string.h>

#include <span>

#include "command.h"
#include "input.h"
#include "report.h"

namespace quill::cli {

constexpr char kMd5Help[] =
    "usage: quill md5 [--json] [FILE]...\n"
    "\n"
    "Prints the MD5 digest of each FILE, or of standard input, as md5sum does. A\n"
    "digest detects accidental changes, not forgeries.\n"
    "\n"
    "  --json  print a JSON array of files and digests\n"
    "\n"
    "example: quill md5 /flash/table.signed\n";

constexpr char kHmacHelp[] =
    "usage: quill hmac [--json] (--key TEXT | --key-hex HEX | --key-file KEY) [FILE]\n"
    "\n"
    "Prints the HMAC-MD5 code (RFC 2104) of FILE, or of standard input. Prefer\n"
    "--key-file: users who can list processes see a key on the command line. All\n"
    "bytes of the key file are the key.\n"
    "\n"
    "  --key TEXT      the key\n"
    "  --key-hex HEX   the key as hexadecimal digits\n"
    "  --key-file KEY  a file with the key\n"
    "  --json          print a JSON object\n"
    "\n"
    "example: printf 'what do ya want for nothing?' | quill hmac --key Jefe\n";

namespace {

using Digest = uint8_t[MD5_DIGEST_SIZE];

bool digest_of(const char *path, Digest &digest) {
    const bool standard = strcmp(path, "-") == 0;
    FILE *file = standard ? stdin : fopen(path, "rbe");
    if (!file) {
        complain("cannot open %s: %s", path, strerror(errno));
        return false;
    }
    md5_context context;
    MD5Init(&context);
    uint8_t part[16384];
    for (size_t got = sizeof part; got == sizeof part;) {
        got = fread(part, 1, sizeof part, file);
        MD5Update(&context, part, static_cast<unsigned>(got));
    }
    const bool whole = !ferror(file);
    if (!whole) complain("cannot read %s: %s", path, strerror(errno));
    if (!standard) fclose(file);
    MD5Final(digest, &context);
    return whole;
}

Bytes read_key(Arguments &arguments) {
    const char *text = arguments.take_value("--key"), *hex = arguments.take_value("--key-hex"),
               *file = arguments.take_value("--key-file");
    if ((text != nullptr) + (hex != nullptr) + (file != nullptr) != 1)
        arguments.misused("expected one of --key, --key-hex and --key-file");
    if (file) return read_input(file);
    Bytes key;
    size_t fault;
    if (hex && !parse_hex(hex, key, fault)) arguments.misused("--key-hex: expected hexadecimal digits, two a byte");
    if (text) {
        key.resize(strlen(text));
        memcpy(key.data(), text, key.size());
    }
    return key;
}

}  // namespace

int md5(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const auto paths = arguments.operands(0, SIZE_MAX);
    char standard[] = "-", *only[] = {standard};
    bool all = true;
    Report report(as_json);
    report.begin_list();
    for (const char *path : paths.empty() ? std::span<char *>(only) : paths) {
        Digest digest;
        if (!digest_of(path, digest)) {
            all = false;
            continue;
        }
        report.begin_row();
        report.hex("md5", digest);
        report.text("file", path);
        report.end_row();
    }
    report.end_list();
    return all ? kDone : kData;
}

int hmac(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    Bytes key = read_key(arguments);
    const auto operands = arguments.operands(0, 1);
    const char *path = operands.empty() ? "-" : operands[0];
    Bytes data = read_input(path);
    if (key.empty()) fail("the key is empty");
    if (data.empty()) fail("%s is empty: an empty input has no code", name_of_input(path));
    Digest code;
    if (data.size() > UINT32_MAX || key.size() > INT32_MAX ||
        calc_hmac_md5(key.data(), static_cast<int>(key.size()), data.data(), static_cast<unsigned>(data.size()), code))
        fail("%s is too long", name_of_input(path));
    Report report(as_json);
    report.begin_object();
    report.text(json_only("file"), path);
    report.hex({"hmac_md5", ""}, code);
    report.end_object();
    return kDone;
}

}  // namespace quill::cli
