// Where a message or a buffer ends too early, and why.
#pragma once

#include <stddef.h>

#include "report.h"

namespace quill::cli {

struct Damage {
    size_t offset;
    char expected[48], found[48];

    // These set the two texts, as in "17 bytes of ipv6" and "2 left".
    [[gnu::format(printf, 3, 4)]] void expect(size_t at, const char *format, ...);
    [[gnu::format(printf, 2, 3)]] void find(const char *format, ...);

    // Prints the damage on standard error. `number` is the number of the message; 0 if there is only one message.
    void complain_of(const char *where, size_t number = 0) const;
};

// Adds the member "damage" to an object of JSON: null for an undamaged message.
void report_damage(const Damage *damage, Report &report);

}  // namespace quill::cli
