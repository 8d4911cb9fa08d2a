// The sections of a signed regulatory table, line by line.
#pragma once

#include <stdio.h>

#include <optional>
#include <string_view>

namespace quill {

enum RegTableSection { kCertificateSection, kSignatureSection, kTableSection, kVersionSection, kRegTableSections };

struct RegTableMarker {
    RegTableSection section;
    bool opens;
    std::string_view text;
};

// In the order in which a line is compared with them.
inline constexpr RegTableMarker kRegTableMarkers[] = {
    {kCertificateSection, true, "-----BEGIN CERTIFICATE-----"},
    {kSignatureSection, true, "-----BEGIN SIGNATURE-----"},
    {kTableSection, true, "-----BEGIN FILE-----"},
    {kVersionSection, true, "-----BEGIN VERSION-----"},
    {kCertificateSection, false, "-----END CERTIFICATE-----"},
    {kSignatureSection, false, "-----END SIGNATURE-----"},
    {kTableSection, false, "-----END FILE-----"},
    {kVersionSection, false, "-----END VERSION-----"},
};

inline const RegTableMarker *reg_table_marker(std::string_view line) {
    for (const RegTableMarker &marker : kRegTableMarkers) {
        if (line.starts_with(marker.text)) return &marker;
    }
    return nullptr;
}

// Calls take(section, line) for every line, once for each section that the line is in. The reader of the version and
// the reader of the signed data both use this function, so that no version can be forged. That would be possible if
// only one of them took a line for content.
template <typename Take>
void read_reg_table(FILE *file, Take take) {
    char buffer[399];
    bool in[kRegTableSections] = {};
    for (;;) {
        size_t length = 0;
        for (int c = 0; length < sizeof buffer && c != '\n';) {
            c = getc_unlocked(file);
            if (c == EOF) break;
            buffer[length++] = static_cast<char>(c);
        }
        const std::string_view line(buffer, length);
        if (line.empty()) return;
        if (line[0] == '\n') continue;
        const RegTableMarker *const marker = reg_table_marker(line);
        if (marker) in[marker->section] = marker->opens;
        // openssl needs the certificate with its markers.
        if (marker && marker->section == kCertificateSection) take(kCertificateSection, line);
        if (marker) continue;
        for (int section = 0; section < kRegTableSections; section++) {
            if (in[section]) take(static_cast<RegTableSection>(section), line);
        }
    }
}

}  // namespace quill
