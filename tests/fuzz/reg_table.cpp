// The sections of signed regulatory tables, compared with a reader of whole texts. The version must be the last line of
// the signed version section.
#include <quill/reg_table.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>

#include "fuzz/fuzz.h"
#include "security/reg_table_sections.h"

namespace {

struct Content {
    std::array<std::string, quill::kRegTableSections> sections;
    std::string version;
};

Content content_of(std::string text) {
    const char *const names[] = {"CERTIFICATE", "SIGNATURE", "FILE", "VERSION"};
    Content content;
    bool in[4] = {};
    while (!text.empty()) {
        const std::string line = text.substr(0, std::min<size_t>(text.find('\n'), 398) + 1);
        text.erase(0, line.size());
        if (line == "\n") continue;
        int marker = -1;
        for (int i = 0; i < 4 && marker < 0; i++) {
            for (const bool opens : {true, false}) {
                const std::string start = std::string(opens ? "-----BEGIN " : "-----END ") + names[i] + "-----";
                if (line.compare(0, start.size(), start) != 0) continue;
                in[i] = opens;
                marker = i;
            }
        }
        if (marker == 0) content.sections[0] += line;  // a certificate keeps its markers, as PEM has them
        for (size_t i = 0; i < 4 && marker < 0; i++) {
            if (in[i]) content.sections[i] += line;
        }
        if (marker < 0 && in[3]) content.version = line;
    }
    return content;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const int file = memfd_create("table", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    EXPECT(file >= 0 && ftruncate(file, 0) == 0);
    EXPECT(pwrite(file, data, size, 0) == static_cast<ssize_t>(size));

    FILE *const stream = fopen(path.c_str(), "r");
    EXPECT(stream);
    std::array<std::string, quill::kRegTableSections> sections;
    quill::read_reg_table(stream, [&](quill::RegTableSection section, std::string_view line) {
        EXPECT(!line.empty() && line.size() <= 399);
        sections[section] += line;
    });
    fclose(stream);
    const Content expected = content_of(std::string(data, data + size));
    EXPECT(sections == expected.sections);

    char *version = nullptr;
    EXPECT(get_reg_tbl_file_ver(path.c_str(), &version) == 0 && strlen(version) < 128);
    if (!sections[quill::kVersionSection].empty()) {
        const std::string last(expected.version.c_str());  // up to a NUL
        EXPECT(version == last.substr(0, 127));
    }
    return 0;
}
