#include <quill/ap_version.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "base/ascii.h"
#include "base/bounded_text.h"
#include "base/decimal.h"
#include "base/paths.h"
#include "base/text_file.h"

// How it works
//
// Texts are cut first. The rest is read in one pass: two quads are read as one quad that continues after a hyphen.

namespace {

constexpr int kQuad = 4, kTwoQuads = 8;
constexpr size_t kLongestText = 128;  // text after that is ignored
constexpr size_t kQuadsSize = 32;     // two quads with their NUL

// The character that follows each number.
constexpr char kSeparators[kTwoQuads] = {'.', '.', '.', '-', '.', '.', '.', '\0'};

// --- cutting

// Returns the second quad of text, or null if text has one quad.
char *second_quad(char *text) {
    char *hyphen = strchr(text, '-');
    return hyphen && quill::is_digit(hyphen[1]) ? hyphen + 1 : nullptr;
}

// Cuts text before the first of some characters. A text without one is not written to: it may be read-only.
void cut_at(char *text, const char *characters) {
    if (char *const found = strpbrk(text, characters)) *found = '\0';
}

// --- reading

// Stores the numbers of text, up to the first place where text differs from two quads. Returns how many numbers it
// stored.
int scan_quads(const char *text, int32_t *numbers) {
    for (int i = 0; i < kTwoQuads; i++) {
        if (i > 0 && *text++ != kSeparators[i - 1]) return i;
        if (!quill::read_int<quill::Overflow::kClamps>(text, numbers[i])) return i;
    }
    return kTwoQuads;
}

// --- comparing

// Returns -1, 0 or 1 if a is below, equal to or above b.
int compare_numbers(const int32_t *a, const int32_t *b, int count) {
    const auto [x, y] = std::mismatch(a, a + count, b);
    if (x == a + count) return 0;
    return *x < *y ? -1 : 1;
}

bool is_version(int kind) { return kind == kQuad || kind == kTwoQuads; }

// --- end of life

constexpr uint32_t kAgedModels[] = {42, 43};
constexpr int32_t kFirstForAged[] = {4, 2};

enum EndOfLife { kOtherModel, kTooOld, kNewEnough, kNoVersion };

// --- the running system

constexpr char kUnknown[] = "Unknown";

char os_build[128];

// Returns the text after the first blank, or null if there is no blank.
char *after_blank(char *text) {
    char *blank = strchr(text, ' ');
    return blank ? blank + 1 : nullptr;
}

}  // namespace

char *ap_version_format(char *source, char *output, uint32_t size, int mode) {
    char *second = second_quad(source);
    if (!second) {
        cut_at(source, "-");
        quill::copy_text(output, size, source);
        return output;
    }
    cut_at(second, "-_");  // in every mode, because callers also need the cut source
    if (mode == 0) quill::copy_text(output, size, second);
    if (mode == 1) quill::copy_text(output, size, source);
    return output;
}

int match_ap_version(const char *text, int32_t *parsed) {
    if (!text) return 0;
    char work[kLongestText + 1] = "", quads[kQuadsSize] = "";
    strncpy(work, text, kLongestText);
    const int count = scan_quads(ap_version_format(work, quads, sizeof quads, 1), parsed);
    return count == kTwoQuads ? kTwoQuads : count >= kQuad ? kQuad : 0;
}

int compare_r_version_with_c_version(const char *r, int *r_kind, const char *c, int *c_kind) {
    int32_t r_numbers[kTwoQuads] = {}, c_numbers[kTwoQuads] = {};
    if (!r || !c) return 1;
    *r_kind = match_ap_version(r, r_numbers);
    *c_kind = match_ap_version(c, c_numbers);
    if (!is_version(*r_kind) || !is_version(*c_kind)) return 1;
    const int from = *r_kind == kTwoQuads && *c_kind == kTwoQuads ? kQuad : 0;
    return compare_numbers(c_numbers + from, r_numbers + from, kQuad);
}

int version_within_range(const int32_t *range, const int32_t *version) {
    constexpr int32_t kNoEnd[3] = {};
    if (!range || !version) return 0;
    const int32_t *first = range, *end = range + 3;
    if (compare_numbers(version, first, 3) < 0) return 0;
    return compare_numbers(end, kNoEnd, 3) == 0 || compare_numbers(version, end, 3) < 0;
}

int check_eol_ap_version(const char *version, uint32_t model) {
    if (std::find(std::begin(kAgedModels), std::end(kAgedModels), model) == std::end(kAgedModels)) return kOtherModel;
    int32_t numbers[kTwoQuads] = {};
    const int kind = match_ap_version(version, numbers);
    if (!is_version(kind)) return kNoVersion;
    return compare_numbers(numbers + (kind - kQuad), kFirstForAged, 2) < 0 ? kTooOld : kNewEnough;
}

const char *get_os_version() {
    if (quill::read_start(quill::paths::kOsBuild, os_build) < 1) return kUnknown;
    char *second = after_blank(os_build);
    char *version = second ? after_blank(second) : nullptr;
    if (!version) return kUnknown;
    cut_at(version, " ");
    return version;
}
