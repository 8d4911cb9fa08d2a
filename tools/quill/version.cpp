// quill version.
#include <quill/ap_version.h>

#include <iterator>
#include <span>
#include <string_view>

#include "command.h"
#include "input.h"
#include "report.h"

namespace quill::cli {

constexpr char kVersionHelp[] =
    "usage: quill version compare [--json] VERSION VERSION\n"
    "       quill version range [--json] LOWEST FIRST_ABOVE VERSION\n"
    "       quill version eol [--json] VERSION MODEL\n"
    "\n"
    "compare  print whether the first version is older, equal or newer. If both have\n"
    "         a controller's version after a hyphen, as in 8.10.0.0-8.10.0.5, only\n"
    "         these are compared\n"
    "range    print whether VERSION is at least LOWEST and below FIRST_ABOVE, each as\n"
    "         major.minor.patch; a FIRST_ABOVE of 0.0.0 means no upper end\n"
    "eol      print whether software of VERSION still supports the access point\n"
    "         MODEL, such as 42\n"
    "\n"
    "range and eol end with status 1 when the answer is no.\n"
    "\n"
    "  --json   print the answer as a JSON object\n"
    "\n"
    "example: quill version range 8.10.0 8.11.0 8.10.105\n";

namespace {

void answer(const char *words, bool as_json) {
    Report report(as_json);
    report.begin_object();
    report.text({"answer", ""}, words);
    report.end_object();
}

int compare(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const auto versions = arguments.operands(2, 2);
    int kinds[2];
    const int order = compare_r_version_with_c_version(versions[0], &kinds[0], versions[1], &kinds[1]);
    for (size_t i = 0; i < 2; i++)
        if (kinds[i] == 0) fail("\"%s\" is not a version: expected four numbers, as in 8.10.0.0", versions[i]);
    answer(order > 0 ? "older" : order < 0 ? "newer" : "equal", as_json);
    return kDone;
}

// Reads major.minor.patch in decimal. The program ends if the text has any other form.
void read_three(const char *text, int32_t out[3]) {
    std::string_view left = text;
    for (int i = 0; i < 3; i++) {
        const size_t end = left.find('.');
        uint64_t number;
        const bool decimal = part(left, 0, end).find_first_not_of("0123456789") == std::string_view::npos;
        if (!decimal || !parse_number(part(left, 0, end), INT32_MAX, number) ||
            (i < 2 && end == std::string_view::npos) || (i == 2 && end != std::string_view::npos))
            fail("\"%s\" is not a version here: expected three numbers, as in 8.10.105", text);
        out[i] = static_cast<int32_t>(number);
        left.remove_prefix(end == std::string_view::npos ? left.size() : end + 1);
    }
}

int range(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const auto words = arguments.operands(3, 3);
    int32_t ends[6], version[3];
    read_three(words[0], ends);
    read_three(words[1], ends + 3);
    read_three(words[2], version);
    const bool within = version_within_range(ends, version);
    answer(within ? "within" : "outside", as_json);
    return within ? kDone : kData;
}

int end_of_life(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    const auto words = arguments.operands(2, 2);
    const char *const version = words[0], *const model = words[1];
    uint64_t number;
    if (!parse_number(model, UINT32_MAX, number)) arguments.misused("\"%s\" is not a model number", model);
    constexpr const char *kAnswers[] = {"supported by every version", "too old", "supported"};
    constexpr unsigned kTooOld = 1;
    const auto found = static_cast<unsigned>(check_eol_ap_version(version, static_cast<uint32_t>(number)));
    if (found >= std::size(kAnswers)) fail("\"%s\" is not a version: expected four numbers, as in 8.10.0.0", version);
    answer(kAnswers[found], as_json);
    return found == kTooOld ? kData : kDone;
}

}  // namespace

int version(Arguments &arguments) {
    if (arguments.take_operation("compare")) return compare(arguments);
    if (arguments.take_operation("range")) return range(arguments);
    if (arguments.take_operation("eol")) return end_of_life(arguments);
    return arguments.no_operation();
}

}  // namespace quill::cli
