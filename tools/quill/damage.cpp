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

void Damage::complain_of(const char *where) const {
    complain("%s: offset %zu: expected %s, found %s", where, offset, expected, found);
}

void print_damage(const Damage *damage, Json &json) {
    if (!damage) return json.null("damage");
    json.begin('{', "damage");
    json.number("offset", uint64_t{damage->offset});
    json.text("expected", damage->expected);
    json.text("found", damage->found);
    json.end('}');
}

}  // namespace quill::cli
