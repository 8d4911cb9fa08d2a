// Where a message or a buffer ends too early, and why.
#pragma once

#include <stddef.h>

#include "report.h"

namespace quill::cli {

struct Damage {
    size_t offset;
    char expected[48], found[48];

    // Both in words, as in "17 bytes of ipv6" and "2 left".
    [[gnu::format(printf, 3, 4)]] void expect(size_t at, const char *format, ...);
    [[gnu::format(printf, 2, 3)]] void find(const char *format, ...);

    // `number` is that of the message if there are several; 0 for a single one.
    void complain_of(const char *where, size_t number = 0) const;
};

// The member "damage" of an object of JSON: null for an undamaged message.
void report_damage(const Damage *damage, Report &report);

}  // namespace quill::cli
