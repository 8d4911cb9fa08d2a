#include <gtest/gtest.h>
#include <quill/tlv.h>
#include <signal.h>

#include <string>
#include <vector>

#include "support/contract.h"
#include "support/guard_page.h"

namespace {

using quill::test::GuardedPage;
using Bytes = std::vector<uint8_t>;

enum { kUnused, kVlan, kSeen, kName, kMac, kNoStorage, kNoHandler, kCount };

struct Station {
    uint32_t vlan;
    int32_t seen;
    char name[8];
    uint8_t mac[6];
};

Station station;
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

// Everything, packed: a record a line.
const Bytes kMessage = {
    0, 36,                                          // total
    0, 1,  0, 4, 0,    0,    0,    20,              // vlan
    0, 2,  0, 4, 0xff, 0xff, 0xff, 0xfe,            // seen
    0, 3,  0, 6, 'p',  'r',  'i',  'n',  't', 's',  // name
    0, 4,  0, 6, 0,    0x1b, 0x63, 1,    2,   3,    // mac
};

class Tlv : public testing::Test {
protected:
    void SetUp() override {
        tlvDefn = nullptr;
        initTLVLib(use_rows, kCount, &station, sizeof station);
        for (tlv_row &row : rows) row.set = 0;
        tlvreset();
        hook_calls = 0;
    }

    static void set_all() {
        const uint32_t vlan = 20;
        const int32_t seen = -2;
        const uint8_t mac[] = {0, 0x1b, 0x63, 1, 2, 3};
        EXPECT_NE(tlvset(kVlan, &vlan), 0);
        EXPECT_NE(tlvset(kSeen, &seen), 0);
        EXPECT_EQ(tlvset(kName, "prints"), 1);
        EXPECT_EQ(tlvset(kMac, mac), 1);
    }

    static int read(const Bytes &message) {
        static GuardedPage page;
        return readtlvBuffer(page.hold(message), static_cast<int32_t>(message.size()));
    }
};

TEST_F(Tlv, PacksAndReadsEveryField) {
    set_all();
    Bytes buffer(64, 0xee);
    ASSERT_EQ(settlvBuffer(buffer.data(), 64), static_cast<int>(kMessage.size()));
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + static_cast<long>(kMessage.size())), kMessage);
    EXPECT_EQ(buffer[kMessage.size()], 0xee);

    EXPECT_EQ(tlvreset(), static_cast<uint32_t>(kCount));
    EXPECT_EQ(station.vlan, 0u);
    EXPECT_EQ(read(kMessage), static_cast<int>(kMessage.size()));
    for (const uint32_t type : {kVlan, kSeen, kName, kMac}) EXPECT_EQ(tlvisset(type), 1u);
    EXPECT_EQ(tlvisset(kUnused), 0u);
    EXPECT_EQ(*static_cast<uint32_t *>(tlvget(kVlan)), 20u);
    EXPECT_EQ(station.seen, -2);
    EXPECT_STREQ(static_cast<char *>(tlvget(kName)), "prints");
    EXPECT_EQ(station.mac[1], 0x1b);
    EXPECT_EQ(hook_calls, 4 + 1 + 1 + 1 + 5 + 2);  // each operation calls it
}

TEST_F(Tlv, RoomForEachField) {
    set_all();
    for (int32_t length = -1; length <= static_cast<int32_t>(kMessage.size()); length++) {
        GuardedPage page;
        void *buffer = page.room(static_cast<size_t>(std::max(length, 0)), 0xee);
        EXPECT_EQ(settlvBuffer(buffer, length), length == static_cast<int32_t>(kMessage.size()) ? length : 0);
    }
    // A text wants two bytes more than it takes, which only shows where it is the last field.
    tlvreset();
    EXPECT_EQ(tlvset(kName, "1234567"), 1);
    uint8_t buffer[16];
    EXPECT_EQ(settlvBuffer(buffer, 2 + 2 + 2 + 7 + 1), 0);
    EXPECT_EQ(settlvBuffer(buffer, 2 + 2 + 2 + 7 + 2), 2 + 2 + 2 + 7);
    EXPECT_EQ(settlvBuffer(buffer, 3), 0);  // not even the type fits
    tlvreset();
    EXPECT_EQ(settlvBuffer(buffer, 2), 2);
    EXPECT_EQ(settlvBuffer(buffer, 1), 0);
}

// The total has 16 bits, and each record four bytes beside its content.
TEST_F(Tlv, PacksNoMoreThanTheTotalCanSay) {
    static uint8_t content[2][0x8000];
    static tlv_row large[] = {{nullptr, bufhdlr, 0, "none", 0},
                              {content[0], bufhdlr, sizeof content[0], "first", 0},
                              {content[1], bufhdlr, 0, "second", 0}};
    initTLVLib([] { tlvDefn = large; }, 3, nullptr, 0);
    Bytes buffer(0x10010);
    for (const uint32_t size : {0xffffu - 0x8000 - 8, 0xffffu - 0x8000 - 7}) {
        large[2].size = size;
        EXPECT_EQ(tlvset(1, content[0]) + tlvset(2, content[1]), 2);
        const bool fits = size + 0x8000 + 8 <= 0xffff;
        EXPECT_EQ(settlvBuffer(buffer.data(), static_cast<int32_t>(buffer.size())), fits ? 0x10001 : 0);
    }
}

TEST_F(Tlv, SkipsWhatItDoesNotKnow) {
    const Bytes skipped = {
        0, 31, 0, 0, 0, 4, 9, 9,  9, 9,  // type 0, though it has a row
        0, 9,  0, 1, 9,                  // no row
        0, 5,  0, 0,                     // no storage
        0, 6,  0, 2, 9, 9,               // no handler
        0, 1,  0, 4, 0, 0, 0, 20,        // vlan
    };
    EXPECT_EQ(read(skipped), 33);
    EXPECT_EQ(station.vlan, 20u);
    EXPECT_EQ(zero, 0u);
    EXPECT_EQ(tlvisset(kUnused), 0u);

    // What is written under type 0 is not read back.
    tlvreset();
    const uint32_t nine = 9;
    EXPECT_EQ(tlvset(kUnused, &nine), 6);
    Bytes buffer(10);
    EXPECT_EQ(settlvBuffer(buffer.data(), 10), 10);
    EXPECT_EQ(buffer, (Bytes{0, 8, 0, 0, 0, 4, 0, 0, 0, 9}));
    zero = 0;
    EXPECT_EQ(read(buffer), 10);
    EXPECT_EQ(zero, 0u);
}

TEST_F(Tlv, RefusesDamage) {
    const struct {
        const char *what;
        Bytes message;
    } cases[] = {
        {"no total", {0}},
        {"total beyond the end", {0, 1}},
        {"a type cut short", {0, 1, 0}},
        {"no length", {0, 2, 0, 1}},
        {"a length cut short", {0, 3, 0, 9, 0}},
        {"a number of 3 bytes", {0, 7, 0, 1, 0, 3, 1, 2, 3}},
        {"a number cut short", {0, 7, 0, 1, 0, 4, 1, 2, 3}},
        {"a text without room for its NUL", {0, 12, 0, 3, 0, 8, '1', '2', '3', '4', '5', '6', '7', '8'}},
        {"a buffer of another size", {0, 9, 0, 4, 0, 5, 1, 2, 3, 4, 5}},
        {"an unknown record that runs past the end", {0, 5, 0, 9, 0, 2, 1}},
    };
    for (const auto &c : cases) EXPECT_EQ(read(c.message), 0) << c.what;
    EXPECT_EQ(read({0, 0}), 2);

    // The field at the damage counts as set.
    tlvreset();
    EXPECT_EQ(read({0, 6, 0, 4, 0, 1, 7, 7}), 0);
    EXPECT_EQ(tlvisset(kMac), 1u);
    EXPECT_EQ(tlvisset(kVlan), 0u);
}

TEST_F(Tlv, SurvivesEveryTruncation) {
    for (int size = 0; size < static_cast<int>(kMessage.size()); size++) {
        Bytes message(kMessage.begin(), kMessage.begin() + size);
        EXPECT_EQ(read(message), 0);
        if (size < 2) continue;
        message[1] = static_cast<uint8_t>(size - 2);  // a total that is right, so that the cut is found in the record
        const bool between_records = size == 2 || size == 10 || size == 18 || size == 28;
        EXPECT_EQ(read(message), between_records ? size : 0) << size;
    }
}

TEST_F(Tlv, SaysWhatItCannotSetOrGet) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(tlvset(kName, "12345678"), 0);
    EXPECT_EQ(tlvset(kNoStorage, &zero), 0);
    EXPECT_EQ(tlvset(kNoHandler, &zero), 0);
    EXPECT_EQ(tlvget(kName), nullptr);
    EXPECT_EQ(tlvget(kNoStorage), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error setting data for name\nError setting data for no storage\nError setting data for \n"
              "Error getting data for name when value is not set\n");
    EXPECT_EQ(tlvisset(kName), 0u);
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
    quill::test::expect_contracts({{without_a_table, "tlvDefn", "tlv", 100, "initTLVLib"}});
}

// The table is reached through its operations as well, in this order.
TEST_F(Tlv, OperationsTable) {
    void (*const *operations)() = reinterpret_cast<void (*const *)()>(&HBMSG);
    void (*const expected[])() = {
        reinterpret_cast<void (*)()>(tlvreset),     reinterpret_cast<void (*)()>(tlvset),
        reinterpret_cast<void (*)()>(tlvisset),     reinterpret_cast<void (*)()>(tlvget),
        reinterpret_cast<void (*)()>(settlvBuffer), reinterpret_cast<void (*)()>(readtlvBuffer)};
    for (size_t i = 0; i < 6; i++) EXPECT_EQ(operations[i], expected[i]) << i;
}

// A handler of the program's own cannot make the library leave the buffer.
TEST_F(Tlv, RefusesHandlersThatCountTooMuch) {
    const tlv_row kept = rows[kMac];
    rows[kMac].handler = [](int op, void *, int remaining, const void *, tlv_row *) {
        return op == TLV_SET ? 1 : remaining + 1;
    };
    tlvset(kMac, &zero);
    uint8_t buffer[32];
    EXPECT_EQ(settlvBuffer(buffer, sizeof buffer), 0);
    EXPECT_EQ(read(kMessage), 0);
    rows[kMac] = kept;
}

}  // namespace
