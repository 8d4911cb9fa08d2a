#include <gtest/gtest.h>
#include <quill/sxdr.h>
#include <quill/vmap.h>

#include <algorithm>
#include <functional>
#include <string>

#include "support/failing_alloc.h"
#include "support/hex.h"
#include "support/random.h"
#include "support/vmap_owner.h"

namespace {

using quill::test::hex;
using quill::test::Map;
using quill::test::Random;
using quill::test::text_of;

constexpr int kBits = VMAP_WORDS * 32;
using Model = std::bitset<kBits>;

Map map_of(const char *text) { return Map(vmap_from_string(text)); }

Model bits_of(const vmap *map) {
    Model bits;
    for (int i = 0; i < kBits; i++) bits[static_cast<size_t>(i)] = map->words[i / 32] >> i % 32 & 1;
    return bits;
}

TEST(Vmap, ReadsRangeText) {
    const struct {
        const char *text, *expected;
    } cases[] = {
        {"0", "0"},
        {"all", "1-4094"},
        {"ALL", "1-4094"},
        {"aLl", "1-4094"},
        {"1-4094", "1-4094"},
        {"1,3,5", "1,3,5"},
        {"1-3,4094", "1-3,4094"},
        {"007", "7"},
        {"5-5", "5"},
        {"30,10-20", "10-20,30"},
        {"1-10,5-12", "1-12"},
        {"31-33", "31-33"},
        {"0001-0002", "1-2"},
        {"00000000000000000000000005", "5"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(vmap_validate_string(c.text), 1) << c.text;
        EXPECT_STREQ(vmap_to_string(map_of(c.text).get()), c.expected) << c.text;
    }
}

TEST(Vmap, RefusesOtherTexts) {
    const long live = quill::test::live_allocations();
    for (const char *text : {"",     "00", "0,5", "5,0",  "0-5", "4095",  "10000", "4294967297", "1-4095", "1,,",
                             "1,,2", "1,", ",1",  "5-",   "-5",  "3-1",   "1-2-3", "1--2",       "1, 2",   " 1",
                             "1 ",   "+1", "a",   "alll", "al",  "all,1", "1;2",   "1\n",        "\xb2"}) {
        EXPECT_EQ(vmap_validate_string(text), 0) << text;
        EXPECT_EQ(vmap_from_string(text), nullptr) << text;
    }
    EXPECT_EQ(vmap_validate_string(nullptr), 0);
    EXPECT_EQ(vmap_from_string(nullptr), nullptr);
    EXPECT_EQ(quill::test::live_allocations(), live) << "a refused text leaked";
}

TEST(Vmap, FullAndEmptyMaps) {
    const Map all = map_of("all"), empty = map_of("0");
    EXPECT_EQ(all->words[0], 0xfffffffeu);
    EXPECT_EQ(all->words[127], 0x7fffffffu);
    EXPECT_EQ(vmap_compare(all.get(), map_of("1-4094").get()), 0);
    EXPECT_TRUE(vmap_is_empty(empty.get()));
    EXPECT_STREQ(vmap_to_range_str(empty.get(), 0), "");
    EXPECT_STREQ(vmap_to_range_str(empty.get(), 1), "1-4094");
    EXPECT_STREQ(vmap_to_range_str(all.get(), 0), "1-4094");
    EXPECT_STREQ(vmap_to_range_str(all.get(), 1), "");
    EXPECT_STREQ(vmap_to_range_str(nullptr, 0), "");
    EXPECT_STREQ(vmap_to_range_str(nullptr, 1), "1-4094");
    EXPECT_STREQ(vmap_to_range_str(map_of("2-4094").get(), 1), "1");

    EXPECT_EQ(vmap_compare(nullptr, nullptr), 0);
    EXPECT_EQ(vmap_compare(all.get(), nullptr), 1);
    EXPECT_EQ(vmap_compare(nullptr, all.get()), 1);
    EXPECT_NE(vmap_compare(all.get(), empty.get()), 0);

    // The inverse of nothing holds the two bits that are no VLANs.
    vmap *inverse = vmap_alloc();
    EXPECT_EQ(vmap_invert(&inverse), 1);
    EXPECT_STREQ(vmap_to_string(inverse), "1-4094");
    EXPECT_EQ(vmap_delete_range(&inverse, 1, 4094), 1);
    EXPECT_FALSE(vmap_is_empty(inverse));
    EXPECT_STREQ(vmap_to_string(inverse), "0");
    vmap_free(inverse);
}

// The reference count's word, not the bits, decides about two special maps.
TEST(Vmap, RangeStringGoesByTheCount) {
    vmap *map = vmap_from_string("5");
    map->references = 0;
    EXPECT_STREQ(vmap_to_range_str(map, 0), "");
    EXPECT_STREQ(vmap_to_range_str(map, 1), "1-4094");
    map->references = 4094;
    EXPECT_STREQ(vmap_to_range_str(map, 0), "1-4094");
    EXPECT_STREQ(vmap_to_range_str(map, 1), "");
    map->references = 2;
    EXPECT_STREQ(vmap_to_range_str(map, 0), "5");
    map->references = 1;
    vmap_free(map);
}

TEST(Vmap, RangeStringIsCutAtItsBuffer) {
    vmap *odd = vmap_alloc();
    for (int id = 1; id <= 4094; id += 2) vmap_add_range(&odd, id, id);
    const std::string whole = vmap_to_string(odd);
    EXPECT_EQ(whole, text_of(bits_of(odd)));
    EXPECT_GT(whole.size(), 9000u);
    EXPECT_EQ(vmap_to_range_str(odd, 0), whole.substr(0, VMAP_RANGE_STR_SIZE - 1));
    vmap_free(odd);
}

TEST(Vmap, MatchesAModel) {
    Random random(4);
    vmap *map = vmap_alloc();
    Model model;
    for (int step = 0; step < 3000; step++) {
        const auto first = static_cast<int32_t>(random.below(kBits + 40)) - 20;
        const auto last = random.one_in(4) ? static_cast<int32_t>(random.below(kBits + 40)) - 20
                                           : first + static_cast<int32_t>(random.below(70)) - 2;
        Model range;
        for (int32_t id = std::max(first, 0); id <= std::min(last, kBits - 1); id++) range.set(static_cast<size_t>(id));
        Map other(vmap_alloc());
        for (int i = 0; i < VMAP_WORDS; i++)
            other->words[i] = static_cast<uint32_t>(random.next() & random.next() & random.next());
        const Model others = bits_of(other.get());

        vmap *sharer = random.one_in(2) ? vmap_clone(map) : nullptr;
        const Model before = model;
        vmap *const map_before = map;
        switch (random.below(9)) {
            case 0:
            case 1:
                ASSERT_EQ(vmap_add_range(&map, first, last), 1);
                model |= range;
                break;
            case 2:
            case 3:
                ASSERT_EQ(vmap_delete_range(&map, first, last), 1);
                model &= ~range;
                break;
            case 4:
                ASSERT_EQ(vmap_merge(&map, other.get()), 1);
                model |= others;
                break;
            case 5:
                ASSERT_EQ(vmap_exclude(&map, other.get()), 1);
                model &= ~others;
                break;
            case 6:
                ASSERT_EQ(vmap_invert(&map), 1);
                model.flip();
                break;
            case 7:
                ASSERT_EQ(vmap_set_bits(&map, other->words), 1);
                model = others;
                break;
            default: vmap_merge(&map, map); break;  // with itself
        }
        ASSERT_EQ(bits_of(map), model) << "step " << step;
        ASSERT_EQ(map->references, 1);
        ASSERT_EQ(map->text, nullptr) << "a text of other bits";
        const std::string expected = text_of(model);
        ASSERT_EQ(vmap_to_string(map), expected.empty() ? "0" : expected);
        ASSERT_EQ(vmap_to_range_str(map, 0), expected.substr(0, VMAP_RANGE_STR_SIZE - 1));
        ASSERT_EQ(vmap_to_range_str(map, 1), text_of(~model).substr(0, VMAP_RANGE_STR_SIZE - 1));
        ASSERT_EQ(vmap_is_empty(map), model.none());
        if (sharer) {
            ASSERT_EQ(sharer, map_before);
            ASSERT_NE(sharer, map);
            ASSERT_EQ(bits_of(sharer), before);
            ASSERT_EQ(sharer->references, 1);
            vmap_free(sharer);
        } else {
            ASSERT_EQ(map, map_before);
        }

        // What is printed reads back.
        const Map back = map_of(vmap_to_string(map));
        ASSERT_TRUE(back);
        ASSERT_EQ(text_of(bits_of(back.get())), expected);
    }
    vmap_free(map);
}

TEST(Vmap, CopyOnModifyLeavesTheOldCount) {
    vmap *map = vmap_from_string("1,2");
    EXPECT_EQ(vmap_copy_on_modify(map), map);
    EXPECT_EQ(vmap_clone(map), map);
    const char *text = vmap_to_string(map);
    EXPECT_EQ(vmap_to_string(map), text) << "the text is made once";
    const Map copy(vmap_copy_on_modify(map));
    EXPECT_NE(copy.get(), map);
    EXPECT_EQ(map->references, 2);
    EXPECT_EQ(copy->references, 1);
    EXPECT_EQ(copy->text, nullptr);
    EXPECT_EQ(vmap_compare(copy.get(), map), 0);
    vmap_clear_string(map);
    EXPECT_EQ(map->text, nullptr);
    vmap_free(map);
    vmap_free(map);
}

TEST(Vmap, ClearKeepsTheReferenceOnASharedMap) {
    vmap *map = vmap_from_string("7");
    vmap_to_string(map);
    vmap *const own = map;
    EXPECT_EQ(vmap_clear(&map), 1);
    EXPECT_EQ(map, own);
    EXPECT_STREQ(vmap_to_string(map), "0");

    vmap *shared = vmap_from_string("7");
    vmap *handle = vmap_clone(shared);
    EXPECT_EQ(vmap_clear(&handle), 1);
    EXPECT_NE(handle, shared);
    EXPECT_TRUE(vmap_is_empty(handle));
    EXPECT_EQ(shared->references, 2);
    EXPECT_STREQ(vmap_to_string(shared), "7");
    for (vmap *each : {map, handle, shared, shared}) vmap_free(each);
}

TEST(Vmap, TravelsAsTextWhileThatIsShorter) {
    // Items of 4 characters and a comma each: 127 of them are 634 characters, so 637 bytes of str element.
    struct {
        int ids;
        const char *tail;
        uint32_t size;
        bool as_text;
    } const cases[] = {{127, "", 640, true}, {127, ",1", 642, true}, {127, ",10", 643, false}, {128, "", 643, false}};
    for (const auto &c : cases) {
        std::string text;
        for (int i = 0; i < c.ids; i++) text += (i ? "," : "") + std::to_string(1000 + 2 * i);
        const Map map = map_of((text + c.tail).c_str());
        ASSERT_TRUE(map);
        uint8_t buffer[644];
        buffer[643] = 0xee;
        EXPECT_EQ(vmap_sxdr_size(map.get()), c.size);
        ASSERT_EQ(vmap_sxdr_write(map.get(), buffer), c.size);
        EXPECT_EQ(buffer[643], 0xee);
        EXPECT_EQ(buffer[2], c.as_text);
        const Map back = map_of("all");
        vmap_to_string(back.get());
        EXPECT_EQ(vmap_sxdr_read(back.get(), buffer), c.size);
        EXPECT_EQ(vmap_compare(back.get(), map.get()), 0);
        EXPECT_EQ(back->text, nullptr);
    }
    uint8_t buffer[643];
    EXPECT_EQ(vmap_sxdr_write(map_of("10-20,30").get(), buffer), 14u);
    EXPECT_EQ(hex({buffer, 14}),
              "0702010000083130"
              "2d32302c3330");
    vmap *full = vmap_alloc();
    vmap_invert(&full);
    vmap_exclude(&full, map_of("2,4,6,8,10,12,14,16,18,20,22,24,26,28,30").get());
    for (int id = 100; id < 4000; id += 2) vmap_delete_range(&full, id, id);
    EXPECT_EQ(vmap_sxdr_write(full, buffer), 643u);
    EXPECT_EQ(hex({buffer, 13}),
              "07020004"
              "aaaaaaab"
              "04ffffffff");
    vmap_free(full);
}

TEST(Vmap, RefusesDamagedMessages) {
    uint8_t words[643];
    uint8_t *at = words + sxdr_write_bool(0, words);
    for (int i = 0; i < VMAP_WORDS; i++) at += sxdr_write_u32(0x01010101, at);
    words[3 + 5 * 2] = 3;  // the third is no u32
    const std::string long_text = std::string("\7\2\1\0\2\x80", 6) + std::string(640, '1');
    const struct {
        const char *what;
        std::string message;
        const char *left;  // of a map of 7
    } cases[] = {
        {"not a bool", std::string("\2\1\0\0\1\65", 6), "7"},
        {"not a str", std::string("\7\2\1\10\0\1\65", 7), "0"},
        {"a text of 640", long_text, "0"},
        {"a fault behind two items", std::string("\7\2\1\0\0\7\65,8-9,0", 13), "5,8-9"},
        {"an empty text", std::string("\7\2\1\0\0\0", 6), "0"},
        {"a word of another kind", std::string(reinterpret_cast<char *>(words), sizeof words), "8,16,24,32,40,48,56"},
    };
    for (const auto &c : cases) {
        const Map map = map_of("7");
        vmap_to_string(map.get());
        EXPECT_EQ(vmap_sxdr_read(map.get(), c.message.data()), 0u) << c.what;
        EXPECT_STREQ(vmap_to_string(map.get()), c.left) << c.what;
    }
    const Map map = map_of("7");
    const std::string longest = std::string("\7\2\1\0\2\x7f", 6) + std::string(638, '0') + "9";
    EXPECT_EQ(vmap_sxdr_read(map.get(), longest.data()), 645u);
    EXPECT_STREQ(vmap_to_string(map.get()), "9");
    const std::string other_bool("\7\2\2", 3);  // only 1 is true, so words must follow
    EXPECT_EQ(vmap_sxdr_read(map.get(), (other_bool + "\3").c_str()), 0u);
}

TEST(Vmap, SurvivesWithoutMemory) {
    using quill::test::expect_failures_survived;
    vmap *map = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (map = vmap_from_string("1-5,7")) != nullptr; }), 1);
    EXPECT_EQ(expect_failures_survived([&] { return vmap_to_string(map) != nullptr; }), 1);
    vmap_clear_string(map);

    vmap *sharer = vmap_clone(map), *const before = map;
    const auto unchanged = [&] {
        EXPECT_EQ(map, before);
        EXPECT_EQ(map->references, 2);
        EXPECT_STREQ(vmap_to_range_str(map, 0), "1-5,7");
    };
    EXPECT_EQ(expect_failures_survived([&] { return vmap_clear(&map) == 1; }, unchanged), 1);
    vmap_free(map);
    map = sharer;  // which has the reference of the handle that was cleared
    const Map six = map_of("6");
    const std::function<int()> changes[] = {
        [&] { return vmap_delete_range(&map, 1, 6); },         [&] { return vmap_merge(&map, six.get()); },
        [&] { return vmap_exclude(&map, six.get()); },         [&] { return vmap_invert(&map); },
        [&] { return vmap_set_bits(&map, six.get()->words); },
    };
    for (const auto &change : changes) {
        quill::test::NthAllocation failing(1);
        EXPECT_EQ(change(), 0);
        unchanged();
    }
    EXPECT_EQ(expect_failures_survived([&] { return vmap_add_range(&map, 6, 6) == 1; }, unchanged), 1);
    EXPECT_STREQ(vmap_to_string(map), "1-7");
    vmap *copy = nullptr;
    const Map shared(vmap_clone(six.get()));
    EXPECT_EQ(expect_failures_survived([&] { return (copy = vmap_copy_on_modify(shared.get())) != nullptr; }), 1);
    vmap_free(copy);
    vmap_free(map);
    vmap_free(sharer);

    // Without memory for the text, a map still travels.
    const Map plain = map_of("10");
    uint8_t buffer[643];
    {
        quill::test::NthAllocation failing(1);
        EXPECT_EQ(vmap_sxdr_size(plain.get()), 643u);
    }
    {
        quill::test::NthAllocation failing(1);
        EXPECT_EQ(vmap_sxdr_write(plain.get(), buffer), 643u);
    }
    const Map back = map_of("0");
    EXPECT_EQ(vmap_sxdr_read(back.get(), buffer), 643u);
    EXPECT_STREQ(vmap_to_string(back.get()), "10");
}

TEST(Vmap, ValidatesAnId) {
    for (const char *good : {"1", "9", "0001", "100", "4094"}) EXPECT_EQ(vlan_idx_validate(good), 1) << good;
    for (const char *bad : {"", "0", "0000", "4095", "9999", "01234", "12a", "a", "-1", "+1", " 1", "1 ", "1-2"})
        EXPECT_EQ(vlan_idx_validate(bad), 0) << bad;
    EXPECT_EQ(vlan_idx_validate(nullptr), 0);
}

TEST(Bitid, MarksWhatCannotBeUsed) {
    for (uint32_t n = 0; n <= 40; n++)
        for (const bool reserve : {false, true}) {
            uint8_t *ids = bitid_init(n, reserve ? &n : nullptr);
            ASSERT_NE(ids, nullptr);
            const uint32_t used = n + (reserve ? 1 : 0);
            for (uint32_t bit = 0; bit < (used + 7) / 8 * 8; bit++)
                EXPECT_EQ(ids[bit / 8] >> bit % 8 & 1, bit >= used || (reserve && bit == 0)) << n << " bit " << bit;
            bitid_finish(ids);
        }
    bitid_finish(nullptr);
    EXPECT_EQ(quill::test::expect_failures_survived([] {
                  uint8_t *ids = bitid_init(100, nullptr);
                  bitid_finish(ids);
                  return ids != nullptr;
              }),
              1);
}

}  // namespace
