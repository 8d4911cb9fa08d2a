// quill md5 and quill hmac.
#include <errno.h>
#include <quill/md5.h>
#include <stdio.h>
#include <string.h>

#include <span>

#include "command.h"
#include "console.h"
#include "input.h"

namespace quill::cli {

constexpr char kMd5Help[] =
    "usage: quill md5 [FILE]...\n"
    "\n"
    "Prints the MD5 digest of each FILE, or of standard input, as md5sum does. A\n"
    "digest tells accidents, not forgers.\n"
    "\n"
    "example: quill md5 /flash/table.signed\n";

constexpr char kHmacHelp[] =
    "usage: quill hmac (--key TEXT | --key-hex DIGITS | --key-file FILE) [FILE]\n"
    "\n"
    "Prints the HMAC-MD5 code (RFC 2104) of FILE, or of standard input. A key on the\n"
    "command line is seen by whoever may list processes: prefer --key-file, all of\n"
    "whose bytes count.\n"
    "\n"
    "example: printf 'what do ya want for nothing?' | quill hmac --key Jefe\n";

namespace {

void print_digest(const uint8_t (&digest)[MD5_DIGEST_SIZE], const char *name) {
    print_hex(digest);
    printf("  %s\n", name);
}

bool digest_of(const char *path, uint8_t (&digest)[MD5_DIGEST_SIZE]) {
    const bool standard = strcmp(path, "-") == 0;
    FILE *file = standard ? stdin : fopen(path, "rbe");
    if (!file) return complain("cannot open %s: %s", path, strerror(errno)), false;
    md5_context context;
    MD5Init(&context);
    uint8_t part[16384];
    for (size_t got; (got = fread(part, 1, sizeof part, file)) > 0;)
        MD5Update(&context, part, static_cast<unsigned>(got));
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
    const auto paths = arguments.operands(0, SIZE_MAX);
    char standard[] = "-", *only[] = {standard};
    bool all = true;
    for (const char *path : paths.empty() ? std::span<char *>(only) : paths) {
        uint8_t digest[MD5_DIGEST_SIZE];
        const bool done = digest_of(path, digest);
        if (done) print_digest(digest, path);
        all = all && done;
    }
    return all ? kDone : kData;
}

int hmac(Arguments &arguments) {
    Bytes key = read_key(arguments);
    const auto operands = arguments.operands(0, 1);
    const char *path = operands.empty() ? nullptr : operands[0];
    Bytes data = read_input(path);
    if (key.empty()) fail("the key is empty");
    if (data.empty()) fail("%s is empty: there is no code of nothing", name_of_input(path));
    uint8_t code[MD5_DIGEST_SIZE];
    if (data.size() > UINT32_MAX || key.size() > INT32_MAX ||
        calc_hmac_md5(key.data(), static_cast<int>(key.size()), data.data(), static_cast<unsigned>(data.size()), code))
        fail("%s is too long", name_of_input(path));
    print_hex(code);
    putchar('\n');
    return kDone;
}

}  // namespace quill::cli
