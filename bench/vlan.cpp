// VLAN bitmaps: few VLANs, whole ranges, and every other id, which has the longest text.
#include <hwloc.h>
#include <quill/vmap.h>

#include <bitset>
#include <cstring>
#include <memory>

#include "bench.h"

namespace {

// --- texts, against hwloc's bitmaps in their list form

struct Set {
    const char *name;
    std::string text;
};

const std::vector<Set> &sets() {
    static const std::vector<Set> all = [] {
        std::string worst;
        for (int id = 2; id <= 4094; id += 2) worst += (worst.empty() ? "" : ",") + std::to_string(id);
        return std::vector<Set>{{"sparse", "1,10,100-110,1000,2000,3000-3002,4000"},
                                {"dense", "1-500,502-1500,1510-3000,3002-4094"},
                                {"worst", worst}};
    }();
    return all;
}

struct HwlocFree {
    void operator()(hwloc_bitmap_t map) const { hwloc_bitmap_free(map); }
};
using Hwloc = std::unique_ptr<std::remove_pointer_t<hwloc_bitmap_t>, HwlocFree>;

struct VmapFree {
    void operator()(vmap *map) const { vmap_free(map); }
};
using Vmap = std::unique_ptr<vmap, VmapFree>;

// The digest includes only some ids, so it takes little time. Each of these ids is absent from one of the sets, so the
// digest shows a text that was read wrongly.
constexpr unsigned kSamples[] = {3, 501, 1000, 4000};
uint64_t sample(const vmap *map) {
    uint64_t found = 0;
    for (const unsigned id : kSamples) found = found << 1 | (map->words[id / 32] >> id % 32 & 1);
    return found;
}
uint64_t sample(hwloc_const_bitmap_t map) {
    uint64_t found = 0;
    for (const unsigned id : kSamples) found = found << 1 | static_cast<uint64_t>(hwloc_bitmap_isset(map, id));
    return found;
}

uint64_t weight(const vmap *map) {
    uint64_t bits = 0;
    for (size_t i = 0; i < VMAP_WORDS; i += 2) {
        uint64_t pair;
        memcpy(&pair, map->words + i, sizeof pair);
        bits += static_cast<uint64_t>(__builtin_popcountll(pair));
    }
    return bits;
}

void add_texts(const Set &set) {
    const auto row = [&](const char *work) { return std::string("VLAN bitmap: ") + work + ", " + set.name; };
    bench::add(row("parse"), "quill", 0, 1, [&set] {
        return bench::Work{[&set] { return sample(Vmap(vmap_from_string(set.text.c_str())).get()); }};
    });
    bench::add(row("parse"), "hwloc", 0, 1, [&set] {
        return bench::Work{[&set]() -> uint64_t {
            const Hwloc map(hwloc_bitmap_alloc());
            hwloc_bitmap_list_sscanf(map.get(), set.text.c_str());
            return sample(map.get());
        }};
    });
    bench::add(row("print"), "quill", 0, 1, [&set] {
        auto map = std::shared_ptr<vmap>(vmap_from_string(set.text.c_str()), vmap_free);
        return bench::Work{[map]() -> uint64_t {
            vmap_clear_string(map.get());
            return strlen(vmap_to_string(map.get()));
        }};
    });
    bench::add(row("print"), "hwloc", 0, 1, [&set] {
        auto map = std::shared_ptr<std::remove_pointer_t<hwloc_bitmap_t>>(hwloc_bitmap_alloc(), hwloc_bitmap_free);
        hwloc_bitmap_list_sscanf(map.get(), set.text.c_str());
        return bench::Work{[map]() -> uint64_t {
            char *text;
            const int length = hwloc_bitmap_list_asprintf(&text, map.get());
            free(text);
            return static_cast<uint64_t>(length);
        }};
    });
}

// --- sets, compared with std::bitset if it has the operation, else with a plain loop

using Bits = std::bitset<4096>;

Bits bits_of(const char *text) {
    Bits bits;
    const Vmap map(vmap_from_string(text));
    for (size_t id = 0; id < bits.size(); id++) bits[id] = map->words[id / 32] >> id % 32 & 1;
    return bits;
}

constexpr size_t kTurns = 20000;  // an even number, because two inversions restore a set

struct Pair {
    const char *name, *a, *b;
};

void add_pair(const Pair &pair, const char *work, std::function<int(vmap **, const vmap *)> ours,
              std::function<int(Bits &, const Bits &)> theirs) {
    const std::string row = std::string("VLAN bitmap: ") + work + ", " + pair.name;
    bench::add(row, "quill", 0, kTurns, [=] {
        auto a = std::shared_ptr<vmap *>(new vmap *(vmap_from_string(pair.a)), [](vmap **map) {
            vmap_free(*map);
            delete map;
        });
        auto b = std::shared_ptr<vmap>(vmap_from_string(pair.b), vmap_free);
        return bench::Work{[a, b, ours]() -> uint64_t {
            uint64_t result = 0;
            for (size_t i = 0; i < kTurns; i++) result += static_cast<uint64_t>(ours(a.get(), b.get()));
            return result + weight(*a);
        }};
    });
    bench::add(row, "std::bitset", 0, kTurns, [=] {
        auto a = std::make_shared<Bits>(bits_of(pair.a)), b = std::make_shared<Bits>(bits_of(pair.b));
        return bench::Work{[a, b, theirs]() -> uint64_t {
            uint64_t result = 0;
            for (size_t i = 0; i < kTurns; i++) result += static_cast<uint64_t>(theirs(*a, *b));
            return result + a->count();
        }};
    });
}

// Each operation changes the first set. The second set is another one, except in the comparison of equal sets.
void add_sets(const Set &set, const Set &other) {
    const Pair pair = {set.name, set.text.c_str(), other.text.c_str()}, alike = {set.name, pair.a, pair.a};
    const auto compare = [](vmap **a, const vmap *b) { return vmap_compare(*a, b) == 0; };
    const auto compare_bits = [](Bits &a, const Bits &b) { return a == b; };
    add_pair(pair, "merge", vmap_merge, [](Bits &a, const Bits &b) { return a |= b, 1; });
    add_pair(pair, "exclude", vmap_exclude, [](Bits &a, const Bits &b) { return a |= b, a ^= b, 1; });
    add_pair(
        pair, "invert", [](vmap **a, const vmap *) { return vmap_invert(a); },
        [](Bits &a, const Bits &) { return a.flip(), 1; });
    add_pair(pair, "compare with another", compare, compare_bits);
    add_pair(alike, "compare with its like", compare, compare_bits);
}

const bool added = [] {
    for (const Set &set : sets()) add_texts(set);
    for (size_t i = 0; i < sets().size(); i++) add_sets(sets()[i], sets()[(i + 1) % sets().size()]);
    return true;
}();

}  // namespace
