// TLV buffers of any bytes. The fields that were read are packed, and reading the result gives the same fields.
#include <quill/tlv.h>

#include "fuzz/fuzz.h"

namespace {

struct Fields {
    uint32_t number;
    int32_t signed_number;
    char name[12];
    uint8_t mac[6];
    char empty[1];
} fields;

constexpr uint32_t kWithoutStorage = 5;  // an index in rows; the row can be set, but not packed

tlv_row rows[] = {
    {nullptr, nullptr, 0, "unused", 0},
    {&fields.number, uinthdlr, sizeof fields.number, "number", 0},
    {&fields.signed_number, longhdlr, sizeof fields.signed_number, "signed", 0},
    {fields.name, strhdlr, sizeof fields.name, "name", 0},
    {fields.mac, bufhdlr, sizeof fields.mac, "mac", 0},
    {nullptr, bufhdlr, 4, "without storage", 0},
    {fields.empty, strhdlr, sizeof fields.empty, "empty", 0},
};

void use_rows() { tlvDefn = rows; }

// A bit for each row that is set.
uint32_t rows_set() {
    uint32_t set = 0;
    for (uint32_t i = 1; i < std::size(rows); i++) set |= tlvisset(i) << i;
    return set;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage message, packed;
    initTLVLib(use_rows, std::size(rows), &fields, sizeof fields);
    tlvreset();
    const auto length = static_cast<int32_t>(std::min<size_t>(size, 4000));
    const int consumed = readtlvBuffer(message.hold({data, static_cast<size_t>(length)}), length);
    EXPECT(consumed == 0 || (consumed <= length && consumed == 2 + (data[0] << 8 | data[1])));
    EXPECT(memchr(fields.name, '\0', sizeof fields.name) && fields.empty[0] == '\0');
    if (consumed == 0) return 0;
    const Fields read = fields;
    const uint32_t set = rows_set();
    for (int room = 0; room < 80; room += 7) (void)settlvBuffer(packed.room(static_cast<size_t>(room), 0xee), room);
    uint8_t *const buffer = packed.room(200, 0xee);
    const int used = settlvBuffer(buffer, 200);
    EXPECT(used > 0 || set == 0 || (set & 1u << kWithoutStorage));
    tlvreset();
    if (used == 0) return 0;
    EXPECT(readtlvBuffer(packed.hold(std::vector<uint8_t>(buffer, buffer + used)), used) == used);
    EXPECT((rows_set() | 1u << kWithoutStorage) == (set | 1u << kWithoutStorage));
    EXPECT(fields.number == read.number && fields.signed_number == read.signed_number);
    EXPECT(strcmp(fields.name, read.name) == 0 && memcmp(fields.mac, read.mac, sizeof read.mac) == 0);
    return 0;
}
