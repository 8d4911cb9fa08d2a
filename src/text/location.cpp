#include <quill/location.h>

#include <string.h>

#include <initializer_list>

#include "base/ascii.h"
#include "base/bounded_text.h"

// How it works
//
// One rule defines the separators of a name (next_separator). Two functions have rules of their own. fqln_crack() stops
// at a full part. fqln_escape_dot() holds a backslash back until the next dot or backslash. Compatibility: programs
// rely on both.

namespace {

constexpr int kSeparators = 3;
constexpr size_t kLongestDate = 10;

const char *or_empty(const char *text) { return text ? text : ""; }

// Returns the first separator in name, or null.
const char *next_separator(const char *name) {
    bool escaped = false;
    for (; *name; name++) {
        if (*name == '.' && !escaped) return name;
        escaped = *name == '\\' && !escaped;
    }
    return nullptr;
}

struct Part {
    char *text;     // null if the caller does not need this part
    uint32_t room;  // characters that still fit, besides the NUL

    bool full() const { return text && room == 0; }
    void add(char c) {
        if (!text) return;
        *text++ = c;
        room--;
    }
    void terminate() {
        if (text) *text = '\0';
    }
};

// --- schedules

// Returns whether text consists of digits and exactly `count` separators.
bool is_digits_and(const char *text, char separator, int count) {
    for (; *text; text++) {
        if (*text == separator)
            count--;
        else if (!quill::is_digit(*text))
            return false;
    }
    return count == 0;
}

}  // namespace

// --- location names

int fqln_crack(const char *fqln, char *part1, uint32_t size1, char *part2, uint32_t size2, char *part3, uint32_t size3,
               char *part4, uint32_t size4) {
    Part parts[] = {{part1, size1}, {part2, size2}, {part3, size3}, {part4, size4}};
    for (Part &part : parts) part.terminate();
    Part *part = parts;
    bool escaped = false;
    // A full part ends the split, so that the caller can see that later parts are missing.
    for (const char *c = or_empty(fqln); *c && !part->full(); c++) {
        if (*c == '.' && !escaped) {
            if (part == &parts[kSeparators]) break;
            part++->terminate();
            continue;
        }
        escaped = *c == '\\' && !escaped;
        if (!escaped) part->add(*c);
    }
    part->terminate();
    return 0;
}

char *fqln_escape_dot(const char *src, char *dst, uint32_t size) {
    char *to = dst;
    bool pending = false;  // a backslash that is not written yet
    for (const char *c = or_empty(src); *c && size > 1; c++) {
        if (*c == '\\') {
            pending = !pending;
            if (pending) continue;
        } else if (*c == '.') {
            // A pending backslash is dropped, so an escaped dot loses its escape. Compatibility: keeping the backslash
            // would change stored names.
            if (!pending) {
                *to++ = '\\';
                size--;
            }
            pending = false;
        }
        // Other characters leave a backslash pending.
        *to++ = *c;
        size--;
    }
    *to = '\0';
    return dst;
}

char *fqln_build(const char *part1, const char *part2, const char *part3, const char *part4, char *out, uint32_t size) {
    char escaped[FQLN_PART_SIZE + 1];
    const auto escape = [&](const char *part) { return fqln_escape_dot(part, escaped, FQLN_PART_SIZE); };
    // The sum is not the length so far: each append adds the length of the whole name, so the sum grows faster.
    // Compatibility: some names end early because of this sum, and programs know these names.
    size_t sum = quill::copy_text(out, size, escape(part1));
    for (const char *part : {part2, part3}) {
        if (sum >= size) return out;
        sum += quill::append_text(out, size, ".");
        sum += quill::append_text(out, size, escape(part));
    }
    if (sum >= size) return out;
    quill::append_text(out, size, ".");
    quill::append_text(out, size, escape(part4));
    return out;
}

int fqln_is_well_formed(const char *fqln) {
    int separators = 0;
    for (const char *at = or_empty(fqln); (at = next_separator(at)); at++) separators++;
    return separators == kSeparators;
}

const char *fqln_find_part_after_name(const char *fqln) { return next_separator(or_empty(fqln)); }

// --- schedules

int day_is_specific_day(uint32_t day) { return day < DAY_DAILY; }

int day_is_daily(uint32_t day) { return day == DAY_DAILY; }

int day_is_wkend(uint32_t day) { return day == DAY_WEEKEND; }

int day_is_wkday(uint32_t day) { return day == DAY_WEEKDAY; }

int validate_time(const char *text) { return is_digits_and(or_empty(text), ':', 1); }

int validate_date(const char *text) {
    return strnlen(or_empty(text), kLongestDate + 1) <= kLongestDate && is_digits_and(or_empty(text), '/', 2);
}
