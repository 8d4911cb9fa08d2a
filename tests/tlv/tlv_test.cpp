#include <gtest/gtest.h>
#include <quill/tlv.h>
#include <signal.h>

#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/contract.h"
#include "support/guard_page.h"
#include "support/hex.h"

namespace quill::test {
namespace {

enum { kUnused, kVlan, kSeen, kName, kMac, kNoStorage, kNoHandler, kCount };

struct Station {
    uint32_t vlan;
    int32_t seen;
    char name[8];
    uint8_t mac[6];
} station;
uint32_t zero;
int hook_calls;

tlv_row rows[kCount] = {
    {&zero, uinthdlr, sizeof zero, "zero", 0},
    {&station.vlan, uinthdlr, sizeof station.vlan, "vlan", 0},
    {&station.seen, longhdlr, sizeof station.seen, "seen", 0},
    {station.name, strhdlr, sizeof station.name, "name", 0},
    {station.mac, bufhdlr, sizeof station.mac, "mac", 0},
    {nullptr, uinthdlr, 4, "no storage", 0},
    {&zero, nullptr, 4, nullptr, 0},
};

void use_rows() {
    hook_calls++;
    tlvDefn = rows;
}

void start() {
    tlvDefn = nullptr;
    initTLVLib(use_rows, kCount, &station, sizeof station);
    for (tlv_row &row : rows) row.set = 0;
    EXPECT_EQ(tlvreset(), static_cast<uint32_t>(kCount));
    hook_calls = 0;
}

// Returns the result of reading, and the fields that are then set.
std::string reads(int length, const uint8_t *message) {
    start();
    std::string shown = std::to_string(readtlvBuffer(message, length));
    if (tlvisset(kUnused)) shown += " zero";
    if (tlvisset(kVlan)) shown += " vlan " + std::to_string(*static_cast<uint32_t *>(tlvget(kVlan)));
    if (tlvisset(kSeen)) shown += " seen " + std::to_string(station.seen);
    if (tlvisset(kName)) shown += std::string(" name ") + static_cast<char *>(tlvget(kName));
    if (tlvisset(kMac)) shown += " mac " + hex(station.mac);
    return shown;
}

// Returns the message of the fields that are not null, packed into a buffer of a size.
std::string packs(int room, const uint32_t *vlan, const int32_t *seen, const char *name, const uint8_t *mac) {
    static GuardedPage page;
    start();
    EXPECT_TRUE((!vlan || tlvset(kVlan, vlan)) && (!seen || tlvset(kSeen, seen)));
    EXPECT_TRUE((!name || tlvset(kName, name) == 1) && (!mac || tlvset(kMac, mac) == 1));
    uint8_t *const buffer = page.room(static_cast<size_t>(std::max(room, 0)), 0xee);
    return hex({buffer, static_cast<size_t>(settlvBuffer(buffer, room))});
}

TEST(Tlv, Cases) { expect_cases("tlv/tlv.cases", QUILL_CASE_FUNCTIONS(reads, packs)); }

// Cuts a message anywhere and corrects its total, so that the cut is found in the record.
TEST(Tlv, SurvivesEveryTruncation) {
    const uint32_t vlan = 20;
    const int32_t seen = -2;
    for (int room = -1; room < 38; room++) EXPECT_EQ(packs(room, &vlan, &seen, "prints", station.mac), "") << room;
    uint8_t message[38];
    packs(0, &vlan, &seen, "prints", station.mac);
    EXPECT_EQ(settlvBuffer(message, 38), 38);
    for (int size = 0; size < 38; size++) {
        GuardedPage page;
        uint8_t *cut = page.hold({message, static_cast<size_t>(size)});
        EXPECT_EQ(readtlvBuffer(cut, size), 0);
        if (size < 2) continue;
        cut[1] = static_cast<uint8_t>(size - 2);
        const bool between_records = size == 2 || size == 10 || size == 18 || size == 28;
        EXPECT_EQ(readtlvBuffer(cut, size), between_records ? size : 0) << size;
    }
}

// The total has 16 bits, and each record has four bytes before its content.
TEST(Tlv, PacksNoMoreThanTheTotalCanSay) {
    static uint8_t content[2][0x8000];
    static tlv_row large[] = {{nullptr, bufhdlr, 0, "none", 0},
                              {content[0], bufhdlr, sizeof content[0], "first", 0},
                              {content[1], bufhdlr, 0, "second", 0}};
    initTLVLib([] { tlvDefn = large; }, 3, nullptr, 0);
    std::vector<uint8_t> buffer(0x10010);
    for (const uint32_t size : {0xffffu - 0x8000 - 8, 0xffffu - 0x8000 - 7}) {
        large[2].size = size;
        EXPECT_EQ(tlvset(1, content[0]) + tlvset(2, content[1]), 2);
        EXPECT_EQ(settlvBuffer(buffer.data(), 0x10010), size + 0x8000 + 8 <= 0xffff ? 0x10001 : 0);
    }
}

TEST(Tlv, SaysWhatItCannotSetOrGet) {
    start();
    testing::internal::CaptureStdout();
    EXPECT_EQ(tlvset(kName, "12345678") + tlvset(kNoStorage, &zero) + tlvset(kNoHandler, &zero), 0);
    EXPECT_EQ(tlvget(kName), nullptr);
    EXPECT_EQ(tlvget(kNoStorage), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error setting data for name\nError setting data for no storage\nError setting data for \n"
              "Error getting data for name when value is not set\n");
    EXPECT_EQ(tlvisset(kName), 0u);
    uint8_t buffer[10];
    EXPECT_EQ(tlvset(kUnused, &zero), 6);
    EXPECT_EQ(settlvBuffer(buffer, 10), 10);   // type 0 is packed, though it is never read
    EXPECT_EQ(hook_calls, 3 + 2 + 1 + 1 + 1);  // each operation calls the hook
    const auto aborted = testing::KilledBySignal(SIGABRT);
    EXPECT_EXIT(tlvset(kCount, &zero), aborted, "");
    EXPECT_EXIT(tlvget(kCount), aborted, "");
    EXPECT_EXIT(tlvisset(UINT32_MAX), aborted, "");
    for (const tlv_handler handler : {uinthdlr, longhdlr, strhdlr, bufhdlr})
        EXPECT_EXIT(handler(3, nullptr, 0, nullptr, nullptr), aborted, "");
    EXPECT_EXIT(unknownhdlr(TLV_ENCODE, nullptr, 0), aborted, "");
    const auto without_a_table = [] {
        initTLVLib(nullptr, 1, nullptr, 0);
        tlvDefn = nullptr;
        tlvreset();
    };
    expect_contracts({{without_a_table, "tlvDefn", "tlv", 100, "initTLVLib"}});
}

TEST(Tlv, OperationsTable) {
    const tlv_operations expected = {tlvreset, tlvset, tlvisset, tlvget, settlvBuffer, readtlvBuffer};
    EXPECT_EQ(memcmp(&HBMSG, &expected, sizeof expected), 0);
}

// The program's own handler cannot make the library read or write outside of the buffer.
TEST(Tlv, RefusesHandlersThatCountTooMuch) {
    start();
    rows[kMac].handler = [](int op, void *, int remaining, const void *, tlv_row *) {
        return op == TLV_SET ? 1 : remaining + 1;
    };
    uint8_t buffer[32] = {0, 4, 0, kMac, 0, 0};
    EXPECT_EQ(readtlvBuffer(buffer, 6), 0);
    EXPECT_EQ(settlvBuffer(buffer, sizeof buffer), 0);
    rows[kMac].handler = bufhdlr;
}

}  // namespace
}  // namespace quill::test
