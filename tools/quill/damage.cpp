#include "damage.h"

#include <stdarg.h>
#include <stdio.h>

#include "command.h"

namespace quill::cli {

void Damage::expect(size_t at, const char *format, ...) {
    offset = at;
    va_list values;
    va_start(values, format);
    vsnprintf(expected, sizeof expected, format, values);
    va_end(values);
}

void Damage::find(const char *format, ...) {
    va_list values;
    va_start(values, format);
    vsnprintf(found, sizeof found, format, values);
    va_end(values);
}

void Damage::complain_of(const char *where, size_t number) const {
    char which[24] = "";
    if (number > 0) snprintf(which, sizeof which, ":%zu", number);
    complain("%s%s: offset %zu: expected %s, found %s", where, which, offset, expected, found);
}

void report_damage(const Damage *damage, Report &report) {
    if (!damage) return report.unknown(json_only("damage"));
    report.begin_object("damage");
    report.number(json_only("offset"), damage->offset);
    report.text(json_only("expected"), damage->expected);
    report.text(json_only("found"), damage->found);
    report.end_object();
}

}  // namespace quill::cli
