#include <quill/vmap.h>

#include <assert.h>
#include <quill/sxdr.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <bit>

#include "base/ascii.h"
#include "base/bounded_text.h"
#include "base/decimal.h"
#include "base/memory.h"

// How it works
//
// Functions that list ids use for_each_run(), which finds the ends of runs a word at a time. Functions that change bits
// use modify(), which makes the private copy and drops the text. Only vmap_clear(), vmap_sxdr_read() and
// vmap_from_string() change bits themselves. Functions that read range text use parse_ranges().

namespace {

constexpr int32_t kLastBit = VMAP_WORDS * 32 - 1;
constexpr uint32_t kEndId = VMAP_LAST_ID + 1;

// On the wire, a text is sent as a str element of at most this size. A longer text is sent as words. The words take 640
// bytes, one more than this size.
constexpr uint32_t kLongestStrElement = 639;

// --- bits

// Calls change(word, mask) for every word that contains bits from first to last. The mask selects these bits.
template <typename Change>
void for_each_word(uint32_t *words, int32_t first, int32_t last, Change change) {
    first = std::max(first, 0);
    last = std::min(last, kLastBit);
    if (first > last) return;
    const uint32_t from_first = ~0u << (first & 31), to_last = ~0u >> (31 - (last & 31));
    uint32_t *const begin = words + first / 32, *const end = words + last / 32;
    if (begin == end) return change(*begin, from_first & to_last);
    change(*begin, from_first);
    for (uint32_t *word = begin + 1; word < end; word++) change(*word, ~0u);
    change(*end, to_last);
}

void set_range(uint32_t *words, int32_t first, int32_t last) {
    for_each_word(words, first, last, [](uint32_t &word, uint32_t mask) { word |= mask; });
}

// Returns the first VLAN id, at or above `from`, whose bit XORed with flip is set; kEndId if there is no such id.
uint32_t next_member(const uint32_t *words, uint32_t flip, uint32_t from) {
    constexpr uint32_t kBlock = 4;
    uint32_t i = from / 32;
    uint32_t members = (words[i] ^ flip) & ~0u << from % 32;
    while (!members) {
        // Words without such a bit are skipped a block at a time, because they often come in long stretches.
        const auto at = [&](uint32_t k) { return words[i + k] ^ flip; };
        if (++i == VMAP_WORDS) return kEndId;
        while (i + kBlock <= VMAP_WORDS && !(at(0) | at(1) | at(2) | at(3))) i += kBlock;
        if (i == VMAP_WORDS) return kEndId;
        members = words[i] ^ flip;
    }
    return std::min(kEndId, i * 32 + static_cast<uint32_t>(std::countr_zero(members)));
}

// Calls visit(first, last) for every maximal run of VLAN ids whose bits, XORed with flip, are set.
template <typename Visit>
void for_each_run(const uint32_t *words, uint32_t flip, Visit visit) {
    for (uint32_t id = VMAP_FIRST_ID; (id = next_member(words, flip, id)) < kEndId;) {
        const uint32_t end = next_member(words, ~flip, id);
        visit(id, end - 1);
        id = end;
    }
}

// words[i] = combined(words[i], others[i]). GCC vectorises this at -O2 only if each block is read whole before it is
// written, so that it needs no check for overlap. That is 3 times as fast as the plain loop. Unrolled to one cache
// line.
template <typename Combine>
void combine(uint32_t *words, const uint32_t *others, Combine combined) {
    using Block = std::array<uint32_t, 4>;
#pragma GCC unroll 4
    for (size_t i = 0; i < VMAP_WORDS; i += Block().size()) {
        Block ours, theirs;
        memcpy(&ours, words + i, sizeof ours);
        memcpy(&theirs, others + i, sizeof theirs);
        for (size_t k = 0; k < ours.size(); k++) ours[k] = combined(ours[k], theirs[k]);
        memcpy(words + i, &ours, sizeof ours);
    }
}

// --- text out

using quill::BoundedText;

void add_run(BoundedText &text, uint32_t first, uint32_t last) {
    if (text.length() > 0) text.add(',');
    text.add(first);
    if (last == first) return;
    text.add('-');
    text.add(last);
}

char *new_text(const uint32_t *words) {
    size_t size = 1;
    for_each_run(words, 0, [&](uint32_t first, uint32_t last) {
        size += first == last ? sizeof "4094" : sizeof "4093-4094";  // with room for the comma
    });
    if (size == 1) return strdup("0");
    quill::Owned<char> text(static_cast<char *>(malloc(size)));
    if (!text) return nullptr;
    BoundedText out(text.get(), size);
    for_each_run(words, 0, [&](uint32_t first, uint32_t last) { add_run(out, first, last); });
    return text.release();
}

// --- text in

// Reads a VLAN id and moves past its digits; returns 0 if there is no VLAN id.
template <int kMostDigits = quill::kAnyNumber>
int32_t read_id(const char *&text) {
    const uint32_t id = quill::read_digits<quill::Overflow::kStops, kMostDigits>(text, VMAP_LAST_ID);
    return id <= VMAP_LAST_ID ? static_cast<int32_t>(id) : 0;
}

// Calls add(first, last) for every item of a range text, up to the first fault. Returns false if there is a fault.
template <typename Add>
bool parse_ranges(const char *text, Add add) {
    if (text[0] == '0' && text[1] == '\0') return true;
    if (quill::compare_ignoring_case(text, "all") == 0) {
        add(VMAP_FIRST_ID, VMAP_LAST_ID);
        return true;
    }
    for (;; text++) {
        const int32_t first = read_id(text);
        int32_t last = first;
        if (*text == '-') last = read_id(++text);
        if (first == 0 || last < first || (*text != ',' && *text != '\0')) return false;
        add(first, last);
        if (*text == '\0') return true;
    }
}

// --- sharing

vmap *copy_of(const vmap &map) {
    vmap *copy = vmap_alloc();
    if (copy) std::copy_n(map.words, VMAP_WORDS, copy->words);
    return copy;
}

void drop_text(vmap &map) {
    if (!map.text) return;
    free(map.text);
    map.text = nullptr;
}

template <typename Change>
int modify(vmap **map, Change change) {
    if ((*map)->references != 1) {
        vmap *own = copy_of(**map);
        if (!own) return 0;
        vmap_free(*map);
        *map = own;
    }
    change((*map)->words);
    drop_text(**map);
    return 1;
}

uint32_t words_size() { return VMAP_WORDS * sxdr_size_u32(); }

uint32_t write_words(const uint32_t *words, uint8_t *buffer) {
    for (uint32_t i = 0; i < VMAP_WORDS; i++) buffer += sxdr_write_u32(words[i], buffer);
    return words_size();
}

uint32_t read_words(uint32_t *words, const uint8_t *source) {
    for (uint32_t i = 0; i < VMAP_WORDS; i++, source += sxdr_size_u32())
        if (!sxdr_read_u32(&words[i], source)) return 0;
    return words_size();
}

uint32_t read_text(uint32_t *words, const uint8_t *source) {
    std::fill_n(words, VMAP_WORDS, 0u);
    char text[kLongestStrElement + 1];
    if (sxdr_read_str_size(source) >= sizeof text) return 0;  // too long, or not a str element
    const uint32_t consumed = sxdr_read_str(text, source);
    return parse_ranges(text, [&](int32_t first, int32_t last) { set_range(words, first, last); }) ? consumed : 0;
}

}  // namespace

// --- sharing

vmap *vmap_alloc(void) {
    vmap *map = quill::new_zeroed<vmap>().release();
    if (map) map->references = 1;
    return map;
}

void vmap_free(vmap *map) {
    if (!map) return;
    assert(map->references > 0 && "freed more often than it was cloned");
    if (--map->references != 0) return;
    vmap_clear_string(map);
    free(map);
}

vmap *vmap_clone(vmap *map) {
    map->references++;
    return map;
}

vmap *vmap_copy_on_modify(vmap *map) { return map->references == 1 ? map : copy_of(*map); }

// --- changing bits

int vmap_add_range(vmap **map, int32_t first, int32_t last) {
    return modify(map, [=](uint32_t *words) { set_range(words, first, last); });
}

int vmap_delete_range(vmap **map, int32_t first, int32_t last) {
    return modify(map, [=](uint32_t *words) {
        for_each_word(words, first, last, [](uint32_t &word, uint32_t mask) { word &= ~mask; });
    });
}

int vmap_merge(vmap **map, const vmap *other) {
    return modify(map, [=](uint32_t *words) {
        combine(words, other->words, [](uint32_t ours, uint32_t theirs) { return ours | theirs; });
    });
}

int vmap_exclude(vmap **map, const vmap *other) {
    return modify(map, [=](uint32_t *words) {
        combine(words, other->words, [](uint32_t ours, uint32_t theirs) { return ours & ~theirs; });
    });
}

int vmap_invert(vmap **map) {
    return modify(map, [](uint32_t *words) { combine(words, words, [](uint32_t ours, uint32_t) { return ~ours; }); });
}

int vmap_set_bits(vmap **map, const uint32_t *bits) {
    return modify(map, [=](uint32_t *words) { std::copy_n(bits, VMAP_WORDS, words); });
}

int vmap_clear(vmap **map) {
    if ((*map)->references >= 2) {
        // The old map's count does not change: from now on, its other holders own this handle's reference.
        vmap *fresh = vmap_alloc();
        if (!fresh) return 0;
        *map = fresh;
        return 1;
    }
    std::fill_n((*map)->words, VMAP_WORDS, 0u);
    vmap_clear_string(*map);
    return 1;
}

// --- text

void vmap_clear_string(vmap *map) { drop_text(*map); }

const char *vmap_to_string(vmap *map) {
    if (!map->text) map->text = new_text(map->words);
    return map->text;
}

vmap *vmap_from_string(const char *text) {
    if (!text) return nullptr;
    vmap *map = vmap_alloc();
    if (!map) return nullptr;
    if (parse_ranges(text, [&](int32_t first, int32_t last) { set_range(map->words, first, last); })) return map;
    vmap_free(map);
    return nullptr;
}

int vmap_validate_string(const char *text) {
    return text && parse_ranges(text, [](int32_t, int32_t) {});
}

const char *vmap_to_range_str(const vmap *map, int invert) {
    static char text[VMAP_RANGE_STR_SIZE];
    static constexpr uint32_t kEmpty[VMAP_WORDS] = {};
    // The bits are not read if the reference count is 0 (an unused record) or the number of VLANs (a full one).
    const bool full = map && map->references == VMAP_LAST_ID;
    const bool scanned = map && map->references != 0 && !full;
    const uint32_t flip = (invert != 0) != full ? ~0u : 0;
    BoundedText out(text, sizeof text);
    for_each_run(scanned ? map->words : kEmpty, flip,
                 [&](uint32_t first, uint32_t last) { add_run(out, first, last); });
    return text;
}

// --- messages

uint32_t vmap_sxdr_write(vmap *map, void *buffer) {
    auto *const at = static_cast<uint8_t *>(buffer);
    const char *text = vmap_to_string(map);
    const bool as_text = text && sxdr_size_str(text) <= kLongestStrElement;
    const uint32_t size = sxdr_write_bool(as_text, at);
    return size + (as_text ? sxdr_write_str(text, at + size) : write_words(map->words, at + size));
}

uint32_t vmap_sxdr_read(vmap *map, const void *buffer) {
    auto *const at = static_cast<const uint8_t *>(buffer);
    uint8_t as_text;
    const uint32_t size = sxdr_read_bool(&as_text, at);
    if (size == 0) return 0;
    vmap_clear_string(map);
    const uint32_t consumed = as_text ? read_text(map->words, at + size) : read_words(map->words, at + size);
    return consumed ? size + consumed : 0;
}

uint32_t vmap_sxdr_size(vmap *map) {
    const char *text = vmap_to_string(map);
    const uint32_t size = text ? sxdr_size_str(text) : words_size();
    return sxdr_size_bool(1) + (size <= kLongestStrElement ? size : words_size());
}

// --- queries

int vmap_compare(const vmap *a, const vmap *b) {
    if (!a || !b) return a != b;
    return memcmp(a->words, b->words, sizeof a->words);
}

int vmap_is_empty(const vmap *map) {
    return std::all_of(map->words, map->words + VMAP_WORDS, [](uint32_t word) { return word == 0; });
}

int vlan_idx_validate(const char *text) { return text && read_id<4>(text) != 0 && *text == '\0'; }

uint8_t *bitid_init(uint32_t n, const void *reserve_zero) {
    const uint64_t bits = uint64_t{n} + (reserve_zero ? 1 : 0);
    const auto size = static_cast<size_t>((bits + 7) / 8);
    auto *ids = quill::new_zeroed<uint8_t>(std::max<size_t>(size, 1)).release();
    if (!ids) return nullptr;
    if (bits % 8 != 0) ids[size - 1] = static_cast<uint8_t>(0xff << bits % 8);
    if (reserve_zero) ids[0] |= 1;
    return ids;
}

void bitid_finish(uint8_t *ids) { free(ids); }
