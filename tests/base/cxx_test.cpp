// Tests quill/quill.hpp, and quill/message.h on which it is built.
#include <gtest/gtest.h>
#include <quill/quill.hpp>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "support/random.h"

namespace {

using quill::test::Random;

struct Station {
    uint32_t id;
    savl by_id;
    savle by_number;
};

int by_id(const Station &a, const Station &b) { return a.id < b.id ? -1 : a.id > b.id; }

template <typename Range>
std::vector<uint32_t> ids_of(Range &&stations) {
    std::vector<uint32_t> ids;
    for (Station &s : stations) ids.push_back(s.id);
    return ids;
}

TEST(VlanSet, CopiesPartWhenOneIsChanged) {
    quill::vlan_set all("1-10,31-33,64,4094");
    quill::vlan_set some = all;
    EXPECT_EQ(some.get(), all.get());
    EXPECT_TRUE(some.remove(5) && some.add(100, 102));
    EXPECT_STREQ(some.text(), "1-4,6-10,31-33,64,100-102,4094");
    EXPECT_STREQ(all.text(), "1-10,31-33,64,4094");
    EXPECT_TRUE(all.contains(5) && !some.contains(5) && !all.contains(4096));
    EXPECT_TRUE(some.exclude(all) && some != all);
    EXPECT_EQ(std::vector<uint16_t>(some.begin(), some.end()), (std::vector<uint16_t>{100, 101, 102}));
    EXPECT_TRUE(some.invert() && some.invert() && some.merge(all) && some.remove(100, 102) && some == all);
    EXPECT_EQ(std::vector<uint16_t>(all.begin(), all.end()).size(), 15u);
    EXPECT_TRUE(all.invert());  // also adds ids 0 and 4095, which are not VLANs
    EXPECT_EQ(std::vector<uint16_t>(all.begin(), all.end()).size(), 4079u);
    EXPECT_FALSE(quill::vlan_set("1-5000"));
}

TEST(VlanSet, IsClearedWithoutALeak) {
    quill::vlan_set one("1-10"), other = one;
    EXPECT_TRUE(other.clear() && other.empty() && !one.empty());
    EXPECT_EQ(one.get()->references, 1);
    EXPECT_TRUE(one.clear() && one == other);
    EXPECT_EQ(one.begin(), one.end());
    one = std::move(other);
    EXPECT_TRUE(one && !other);  // NOLINT(bugprone-use-after-move)
}

TEST(List, IsWalkedWhileItsObjectsAreRemoved) {
    std::vector<Station> stations(4);
    quill::list<Station> list, more;
    for (Station &s : stations) s.id = static_cast<uint32_t>(&s - stations.data());
    EXPECT_TRUE(list.push_back(&stations[1]) && list.push_front(&stations[0]) && more.push_back(&stations[3]));
    EXPECT_TRUE(list.insert_after(&stations[1], &stations[2]) && !list.insert_after(&stations[3], &stations[3]));
    list.append(std::move(more));
    EXPECT_TRUE(list.front() == &stations[0] && list.back() == &stations[3] && list.size() == 4);
    std::vector<uint32_t> seen;
    for (Station *s : list) {
        seen.push_back(s->id);
        if (s->id % 2 == 0) list.remove(s);
    }
    EXPECT_EQ(seen, (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_TRUE(list.pop_front() == &stations[1] && list.pop_front() == &stations[3] && !list.pop_front());
}

TEST(HashTable, TellsAValueOfZeroFromAnAbsentKey) {
    quill::text_table<int> texts(7);
    EXPECT_TRUE(texts.insert("eth0", 0) && !texts.insert("eth0", 1));
    EXPECT_EQ(texts.find("eth0"), 0);
    EXPECT_EQ(texts.find("eth1"), std::nullopt);
    EXPECT_TRUE(texts.set("eth0", 2) && texts.find("eth0") == 2);
    ip_af_addr address = {QUILL_AF_INET, {}, {10, 0, 0, 1}};
    quill::ip_table<const char *> addresses(7);
    EXPECT_TRUE(addresses.set(&address, nullptr) && addresses.contains(&address));
    for (auto [key, value] : addresses) EXPECT_TRUE(memcmp(key, &address, sizeof address) == 0 && !value);
    quill::word_table<int> words(7);
    EXPECT_FALSE(words.insert(1, 0));
    EXPECT_TRUE(words.set(1, 2) && words.set(1, 3) && words.size() == 1 && words.find(1) == 3 && !words.find(2));
}

TEST(HashTable, IsWalkedWhileItsEntriesAreRemoved) {
    quill::mac_table<uint32_t> table(7);
    for (uint8_t i = 0; i < 100; i++) EXPECT_TRUE(table.insert(std::array<uint8_t, 6>{0, 0, 0, 1, 2, i}.data(), i));
    uint32_t sum = 0;
    for (auto [mac, value] : table) {
        EXPECT_EQ(mac[5], value);
        sum += value;
        EXPECT_TRUE(table.remove(mac));
    }
    EXPECT_TRUE(sum == 4950 && table.empty());
}

TEST(IndexTable, SaysThatNoneIsLeft) {
    quill::index_table table(1, 2);
    EXPECT_TRUE(table.reserve(1) && table.take() == 2 && !table.take() && table.release(1) && !table.release(3));
    EXPECT_FALSE(quill::index_table(0, 5000));
}

TEST(Trees, GiveTheirRecordsInOrder) {
    std::vector<Station> stations(100);
    savl_tree tree = SAVL_TREE_INIT(tree, savl_u32_compare);
    savle_tree embedded = SAVLE_TREE_INIT(embedded, savle_u32_compare, Station, by_number, id, nullptr);
    quill::rb_set<Station, by_id> set;
    Random random(1);
    std::vector<uint32_t> sorted;
    for (Station &s : stations) {
        do s = {random.below(1000), {}, {}};
        while (set.find(s));
        s.by_id.key = &s.id;
        savl *at;
        savle *embedded_at;
        int side;
        ASSERT_FALSE(savl_find(&tree, &s.id, &at, &side));
        savl_insert(&s.by_id, at, side);
        ASSERT_FALSE(savle_find(&embedded, &s.id, &embedded_at, &side));
        savle_insert(&s.by_number, embedded_at, side);
        ASSERT_EQ(set.insert(&s), &s);
        sorted.push_back(s.id);
    }
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(ids_of(set), sorted);
    EXPECT_EQ(ids_of(quill::in_order<Station, offsetof(Station, by_number)>(embedded)), sorted);
    EXPECT_EQ(set.above({sorted[3], {}, {}})->id, sorted[4]);
    EXPECT_EQ(set.below({sorted[0], {}, {}}), nullptr);
    for (Station &s : quill::in_order<Station, offsetof(Station, by_id)>(tree)) savl_delete(&s.by_id);
    EXPECT_EQ(tree.head.right, nullptr);
    while (!set.empty()) EXPECT_TRUE(set.remove(*set.begin()));
}

TEST(PipeStream, GivesTheStatusOfItsCommand) {
    quill::pipe_stream command("", "r"), next("read line; exit ${#line}", "w");
    ASSERT_TRUE(next);
    fputs("four\n", next.get());
    command = std::move(next);
    EXPECT_FALSE(next);  // the old command has been closed, not exchanged
    EXPECT_EQ(command.close(), 4 << 8);
}

// The messages below have one element of each kind. Its name is that of the kind.
const char *const kNames[] = {"u8",  "u16",  "u32",   "u64", "s32",      "bool", "ip",
                              "mac", "ipv6", "ip_af", "str", "long_str", "hex",  "long_hex"};
constexpr uint8_t kMac[] = {0, 1, 2, 3, 4, 5};
constexpr uint8_t kIpv6[16] = {0x20, 1};
constexpr ip_af_addr kAddress = {QUILL_AF_INET, {}, {10, 0, 0, 1}};

bool write(quill::message_writer &out) {
    out.u8("u8", 1).u16("u16", 2).u32("u32", 3).u64("u64", 4).s32("s32", -5).boolean("bool", true).ip("ip", 7);
    out.mac("mac", kMac).ipv6("ipv6", kIpv6).ip_af("ip_af", kAddress).str("str", "eight").long_str("long_str", "nine");
    return out.hex("hex", kMac, 6).long_hex("long_hex", kIpv6, 16).end();
}

bool read(quill::message_reader &in, std::string &shown) {
    uint8_t a = 0, mac[6] = {}, ipv6[16] = {}, hex[6] = {}, long_hex[16] = {};
    uint16_t b = 0;
    uint32_t c = 0, ip = 0, hex_length = 0, long_hex_length = 0;
    uint64_t d = 0;
    int32_t e = 0;
    bool f = false;
    ip_af_addr address = {};
    char text[6] = "", long_text[5] = "";
    in.u8("u8", a).u16("u16", b).u32("u32", c).u64("u64", d).s32("s32", e).boolean("bool", f).ip("ip", ip);
    in.mac("mac", mac).ipv6("ipv6", ipv6).ip_af("ip_af", address).str("str", text).long_str("long_str", long_text);
    const bool done = in.hex("hex", hex, hex_length).long_hex("long_hex", long_hex, long_hex_length).end();
    for (const uint64_t value : {uint64_t{a}, uint64_t{b}, uint64_t{c}, d, uint64_t{f}, uint64_t{ip}, uint64_t{mac[5]},
                                 uint64_t{ipv6[0]}, uint64_t{address.addr[3]}, uint64_t{hex_length}, uint64_t{hex[5]},
                                 uint64_t{long_hex_length}, uint64_t{long_hex[1]}})
        shown += std::to_string(value) + " ";
    shown += std::to_string(e) + " " + text + " " + long_text;
    return done;
}

TEST(Message, ComesBackWholeAndIsRefusedAtEachTruncation) {
    uint8_t message[256];
    quill::message_writer out(message);
    ASSERT_TRUE(write(out));
    std::string shown;
    quill::message_reader whole(message, out.size());
    EXPECT_TRUE(read(whole, shown));
    EXPECT_EQ(shown, "1 2 3 4 1 7 5 32 1 6 5 16 1 -5 eight nine");
    size_t field = 0;
    for (uint32_t length = 0, begin = 0; length < out.size(); length++) {
        quill::message_reader cut(message, length);
        EXPECT_FALSE(read(cut, shown));
        if (cut.offset() != begin) field++;  // the previous element was complete
        begin = cut.offset();
        ASSERT_LT(field, std::size(kNames));
        EXPECT_STREQ(cut.what(), kNames[field]);
        EXPECT_TRUE(cut.error() == ENODATA || cut.error() == EMSGSIZE) << length;
        std::vector<uint8_t> room(length);
        quill::message_writer narrow(room.data(), length);
        EXPECT_FALSE(write(narrow));
        EXPECT_STREQ(narrow.what(), kNames[field]);
        EXPECT_TRUE(narrow.size() == begin && narrow.offset() == begin) << length;
    }
    EXPECT_EQ(field, std::size(kNames) - 1);
}

TEST(Message, NamesWhatItDoesNotAllow) {
    uint8_t message[32];
    quill::message_writer out(message);
    ASSERT_TRUE(out.u32("vlan", 4095).u8("more", 1).end());
    uint32_t vlan = 0;
    quill::message_reader in(message, out.size());
    EXPECT_FALSE(in.u32("vlan", vlan).check(vlan <= VMAP_LAST_ID).u32("next", vlan).end());
    EXPECT_TRUE(in.error() == EPROTO && in.offset() == 0 && strcmp(in.what(), "vlan") == 0);
    quill::message_reader longer(message, out.size());
    EXPECT_FALSE(longer.u32("vlan", vlan).end());
    EXPECT_TRUE(longer.error() == EMSGSIZE && longer.offset() == 5 && strcmp(longer.what(), "end") == 0);
    EXPECT_FALSE(quill::message_writer(message).long_str("empty", "").end());
    EXPECT_FALSE(quill::message_writer(message).str("null", nullptr).end());
}

}  // namespace
