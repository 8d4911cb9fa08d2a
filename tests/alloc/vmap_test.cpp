#include <gtest/gtest.h>
#include <quill/sxdr.h>
#include <quill/vmap.h>

#include <algorithm>
#include <functional>
#include <string>

#include "support/case_file.h"
#include "support/failing_alloc.h"
#include "support/hex.h"
#include "support/random.h"
#include "support/vmap_owner.h"

namespace {

using quill::test::hex;
using quill::test::Map;
using quill::test::Random;
using quill::test::text_of;
using std::string;

constexpr int kBits = VMAP_WORDS * 32;
using Model = std::bitset<kBits>;

Map map_of(const char *text) { return Map(vmap_from_string(text)); }

Model bits_of(const vmap *map) {
    Model bits;
    for (int i = 0; i < kBits; i++) bits[static_cast<size_t>(i)] = map->words[i / 32] >> i % 32 & 1;
    return bits;
}

string parsed(const char *text) {
    const long live = quill::test::live_allocations();
    const Map map = map_of(text);
    EXPECT_EQ(vmap_validate_string(text), map != nullptr);
    if (!map) {
        EXPECT_EQ(quill::test::live_allocations(), live) << "a refused text leaked";
    }
    return map ? vmap_to_string(map.get()) : "refused";
}

string ranges(const char *text, int references) {
    const Map map = text ? map_of(text) : nullptr;
    if (map) map->references = static_cast<uint16_t>(references);
    const string ranges = vmap_to_range_str(map.get(), 0);
    const string all = ranges + ", " + vmap_to_range_str(map.get(), 1);
    if (map) map->references = 1;
    return all;
}

int compared(const char *a, const char *b) {
    return vmap_compare((a ? map_of(a) : nullptr).get(), (b ? map_of(b) : nullptr).get()) != 0;
}

string written(const char *text) {
    const Map map = map_of(text);
    uint8_t buffer[643];
    const uint32_t size = vmap_sxdr_write(map.get(), buffer);
    EXPECT_EQ(vmap_sxdr_size(map.get()), size);
    return std::to_string(size) + " " + hex({buffer, size});
}

string read(const uint8_t *message) {
    const Map map = map_of("7");
    vmap_to_string(map.get());
    const string size = std::to_string(vmap_sxdr_read(map.get(), message));
    return size + " " + vmap_to_string(map.get());
}

// Returns the bytes of an array of bits for that many ids. With reserved, bit 0 comes before them and is in use.
string bitid(uint32_t ids, int reserved) {
    uint8_t *const map = bitid_init(ids, reserved ? &ids : nullptr);
    const string bytes = hex({map, (ids + (reserved ? 1u : 0u) + 7) / 8});
    bitid_finish(map);
    return bytes;
}

TEST(Vmap, Cases) {
    quill::test::expect_cases("alloc/vmap.cases",
                              QUILL_CASE_FUNCTIONS(parsed, vlan_idx_validate, ranges, compared, written, read, bitid));
}

TEST(Vmap, FullAndEmptyMaps) {
    const Map all = map_of("all");
    EXPECT_EQ(all->words[0], 0xfffffffeu);
    EXPECT_EQ(all->words[127], 0x7fffffffu);
    // The inverse of an empty set also has the two bits that are not VLANs.
    vmap *inverse = vmap_alloc();
    EXPECT_EQ(vmap_invert(&inverse), 1);
    EXPECT_STREQ(vmap_to_string(inverse), "1-4094");
    EXPECT_EQ(vmap_delete_range(&inverse, 1, 4094), 1);
    EXPECT_FALSE(vmap_is_empty(inverse));
    EXPECT_STREQ(vmap_to_string(inverse), "0");
    vmap_free(inverse);
}

struct Operation {
    int (*on_map)(vmap **map, int32_t first, int32_t last, const vmap *other);
    Model (*on_model)(const Model &model, const Model &range, const Model &other);
};
constexpr Operation kOperations[] = {
    {[](vmap **map, int32_t first, int32_t last, const vmap *) { return vmap_add_range(map, first, last); },
     [](const Model &model, const Model &range, const Model &) { return model | range; }},
    {[](vmap **map, int32_t first, int32_t last, const vmap *) { return vmap_delete_range(map, first, last); },
     [](const Model &model, const Model &range, const Model &) { return model & ~range; }},
    {[](vmap **map, int32_t, int32_t, const vmap *other) { return vmap_merge(map, other); },
     [](const Model &model, const Model &, const Model &other) { return model | other; }},
    {[](vmap **map, int32_t, int32_t, const vmap *other) { return vmap_exclude(map, other); },
     [](const Model &model, const Model &, const Model &other) { return model & ~other; }},
    {[](vmap **map, int32_t, int32_t, const vmap *) { return vmap_invert(map); },
     [](const Model &model, const Model &, const Model &) { return ~model; }},
    {[](vmap **map, int32_t, int32_t, const vmap *other) { return vmap_set_bits(map, other->words); },
     [](const Model &, const Model &, const Model &other) { return other; }},
    {[](vmap **map, int32_t, int32_t, const vmap *) { return vmap_merge(map, *map); },
     [](const Model &model, const Model &, const Model &) { return model; }},
};

void expect_bits(vmap *map, const Model &model) {
    ASSERT_EQ(bits_of(map), model);
    ASSERT_EQ(map->references, 1);
    ASSERT_EQ(map->text, nullptr) << "a text of other bits";
    const string expected = text_of(model);
    ASSERT_EQ(vmap_to_string(map), expected.empty() ? "0" : expected);
    ASSERT_EQ(vmap_to_range_str(map, 0), expected.substr(0, VMAP_RANGE_STR_SIZE - 1));
    ASSERT_EQ(vmap_to_range_str(map, 1), text_of(~model).substr(0, VMAP_RANGE_STR_SIZE - 1));
    ASSERT_EQ(vmap_is_empty(map), model.none());
    // The printed text can be read back.
    ASSERT_EQ(text_of(bits_of(map_of(vmap_to_string(map)).get())), expected);
}

TEST(Vmap, MatchesAModel) {
    Random random(4);
    vmap *map = vmap_alloc();
    Model model;
    for (int step = 0; step < 1500; step++) {
        const auto first = static_cast<int32_t>(random.below(kBits + 40)) - 20;
        const auto last = random.one_in(4) ? static_cast<int32_t>(random.below(kBits + 40)) - 20
                                           : first + static_cast<int32_t>(random.below(70)) - 2;
        Model range;
        for (int32_t id = std::max(first, 0); id <= std::min(last, kBits - 1); id++) range.set(static_cast<size_t>(id));
        Map other(vmap_alloc());
        for (uint32_t &word : other->words) word = static_cast<uint32_t>(random.next() & random.next() & random.next());

        Map sharer(random.one_in(2) ? vmap_clone(map) : nullptr);
        const Model before = model;
        const vmap *const map_before = map;
        const size_t operation = random.below(std::size(kOperations));
        SCOPED_TRACE(testing::Message() << "step " << step << ", operation " << operation);
        model = kOperations[operation].on_model(model, range, bits_of(other.get()));
        const bool itself = operation == std::size(kOperations) - 1;
        ASSERT_TRUE(kOperations[operation].on_map(&map, first, last, other.get()) == 1 || itself);
        ASSERT_NO_FATAL_FAILURE(expect_bits(map, model));
        ASSERT_EQ(map == map_before, !sharer);
        if (sharer) {
            ASSERT_EQ(sharer.get(), map_before);
            ASSERT_EQ(bits_of(sharer.get()), before);
            ASSERT_EQ(sharer->references, 1);
        }
    }
    vmap_free(map);
}

TEST(Vmap, RangeStringIsCutAtItsBuffer) {
    vmap *odd = vmap_alloc();
    for (int id = 1; id <= 4094; id += 2) vmap_add_range(&odd, id, id);
    const string whole = vmap_to_string(odd);
    EXPECT_GT(whole.size(), 9000u);
    EXPECT_EQ(vmap_to_range_str(odd, 0), whole.substr(0, VMAP_RANGE_STR_SIZE - 1));
    vmap_free(odd);
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

// Each item has 4 characters, and commas separate the items. 127 items thus have 634 characters, and their str element
// has 637 bytes.
TEST(Vmap, TravelsAsTextWhileThatIsShorter) {
    for (const auto &[ids, tail, size] :
         {std::tuple(127, "", 640u), {127, ",1", 642}, {127, ",10", 643}, {128, "", 643}}) {
        string text;
        for (int i = 0; i < ids; i++) text += (i ? "," : "") + std::to_string(1000 + 2 * i);
        const string message = written((text + tail).c_str());
        EXPECT_EQ(message.substr(0, 3), std::to_string(size));
        EXPECT_EQ(message.substr(4, 6), size < 643 ? "070201" : "070200");
    }
}

TEST(Vmap, LongMessagesAndTheirDamage) {
    const string longest = string("\7\2\1\0\2\x7f", 6) + string(638, '0') + "9",
                 longer = string("\7\2\1\0\2\x80", 6) + string(640, '1');
    const auto read_bytes = [](const string &bytes) { return read(reinterpret_cast<const uint8_t *>(bytes.data())); };
    EXPECT_EQ(read_bytes(longest), "645 9");
    EXPECT_EQ(read_bytes(longer), "0 0");
    string words = string("\7\2", 3);
    for (int i = 0; i < VMAP_WORDS; i++) words += "\4\1\1\1\1";
    EXPECT_EQ(read_bytes(words).substr(0, 10), "643 8,16,2");
    words[3 + 5 * 2] = 3;  // the third word is not a u32
    EXPECT_EQ(read_bytes(words), "0 8,16,24,32,40,48,56");
    const Map map = map_of("7");
    vmap_to_string(map.get());
    vmap_sxdr_read(map.get(), longest.data());
    EXPECT_EQ(map->text, nullptr);
}

TEST(Vmap, SurvivesWithoutMemory) {
    using quill::test::expect_failures_survived;
    vmap *map = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (map = vmap_from_string("1-5,7")) != nullptr; }), 1);
    EXPECT_EQ(expect_failures_survived([&] { return vmap_to_string(map) != nullptr; }), 1);
    const Map six = map_of("6");
    const std::function<int(vmap **)> changes[] = {
        vmap_clear,
        vmap_invert,
        [](vmap **m) { return vmap_add_range(m, 6, 6); },
        [](vmap **m) { return vmap_delete_range(m, 1, 6); },
        [&](vmap **m) { return vmap_merge(m, six.get()); },
        [&](vmap **m) { return vmap_exclude(m, six.get()); },
        [&](vmap **m) { return vmap_set_bits(m, six->words); },
        [](vmap **m) {
            vmap *const copy = vmap_copy_on_modify(*m);
            vmap_free(copy);
            return copy ? 1 : 0;
        },
    };
    for (const auto &change : changes) {
        const Map sharer(vmap_clone(map));
        {
            quill::test::NthAllocation failing(1);
            vmap *handle = map;
            EXPECT_EQ(change(&handle), 0);
            EXPECT_EQ(handle, map);
        }
        EXPECT_EQ(map->references, 2);
        EXPECT_STREQ(vmap_to_range_str(map, 0), "1-5,7");
    }
    // Without memory for the text, a map is written as words.
    vmap_clear_string(map);
    uint8_t buffer[643];
    for (const auto write : {+[](vmap *m, uint8_t *) { return vmap_sxdr_size(m); },
                             +[](vmap *m, uint8_t *to) { return vmap_sxdr_write(m, to); }}) {
        quill::test::NthAllocation failing(1);
        EXPECT_EQ(write(map, buffer), 643u);
    }
    const Map back = map_of("0"), owned(map);
    EXPECT_EQ(vmap_sxdr_read(back.get(), buffer), 643u);
    EXPECT_STREQ(vmap_to_string(back.get()), "1-5,7");
}

TEST(Bitid, WithoutMemoryThereIsNone) {
    const quill::test::NthAllocation failing(1);
    EXPECT_EQ(bitid_init(100, nullptr), nullptr);
    bitid_finish(nullptr);
}

}  // namespace
