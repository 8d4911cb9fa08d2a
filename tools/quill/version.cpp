// quill version.
#include <quill/ap_version.h>
#include <stdio.h>
#include <string.h>

#include <initializer_list>
#include <span>
#include <string_view>

#include "command.h"
#include "input.h"

namespace quill::cli {

constexpr char kVersionHelp[] =
    "usage: quill version compare VERSION VERSION\n"
    "       quill version range LOWEST FIRST_ABOVE VERSION\n"
    "       quill version eol VERSION MODEL\n"
    "\n"
    "compare  print older, equal or newer: what the first is to the second. Two\n"
    "         versions that both have the one of a controller, as in\n"
    "         8.10.0.0-8.10.0.5, are compared by that alone\n"
    "range    tell whether major.minor.patch is in a range; a FIRST_ABOVE of 0.0.0\n"
    "         is no end\n"
    "eol      tell whether software still supports an access point model\n"
    "\n"
    "range and eol end with status 1 when the answer is no.\n"
    "\n"
    "example: quill version range 8.10.0 8.11.0 8.10.105\n";

namespace {

int compare(const char *first, const char *second) {
    int kinds[2];
    const int order = compare_r_version_with_c_version(first, &kinds[0], second, &kinds[1]);
    for (const int i : {0, 1})
        if (kinds[i] == 0) fail("\"%s\" is no version: expected four numbers, as in 8.10.0.0", i == 0 ? first : second);
    puts(order > 0 ? "older" : order < 0 ? "newer" : "equal");
    return kDone;
}

// major.minor.patch, in decimal, and nothing behind it.
void read_three(const char *text, int32_t out[3]) {
    std::string_view left = text;
    for (int i = 0; i < 3; i++) {
        const size_t end = left.find('.');
        uint64_t number;
        const bool decimal = part(left, 0, end).find_first_not_of("0123456789") == std::string_view::npos;
        if (!decimal || !parse_number(part(left, 0, end), INT32_MAX, number) ||
            (i < 2 && end == std::string_view::npos) || (i == 2 && end != std::string_view::npos))
            fail("\"%s\" is no version here: expected three numbers, as in 8.10.105", text);
        out[i] = static_cast<int32_t>(number);
        left.remove_prefix(end == std::string_view::npos ? left.size() : end + 1);
    }
}

int range(std::span<char *> words) {
    int32_t ends[6], version[3];
    read_three(words[0], ends);
    read_three(words[1], ends + 3);
    read_three(words[2], version);
    const bool within = version_within_range(ends, version);
    puts(within ? "within" : "outside");
    return within ? kDone : kData;
}

int end_of_life(const Arguments &arguments, const char *version, const char *model) {
    uint64_t number;
    if (!parse_number(model, UINT32_MAX, number)) arguments.misused("\"%s\" is no model number", model);
    switch (check_eol_ap_version(version, static_cast<uint32_t>(number))) {
        case 0: return puts("supported by every version"), kDone;
        case 1: return puts("too old"), kData;
        case 2: return puts("supported"), kDone;
        default: fail("\"%s\" is no version: expected four numbers, as in 8.10.0.0", version);
    }
}

}  // namespace

int version(Arguments &arguments) {
    const auto words = arguments.operands(3, 4);
    if (strcmp(words[0], "compare") == 0 && words.size() == 3) return compare(words[1], words[2]);
    if (strcmp(words[0], "range") == 0 && words.size() == 4) return range(words.subspan(1));
    if (strcmp(words[0], "eol") == 0 && words.size() == 3) return end_of_life(arguments, words[1], words[2]);
    return arguments.misused("cannot %s this", words[0]);
}

}  // namespace quill::cli
