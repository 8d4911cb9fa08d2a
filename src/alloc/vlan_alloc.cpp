#include <quill/vlan_alloc.h>

#include <stdio.h>

#include <quill/hash.h>
#include <quill/types.h>
#include <quill/vmap.h>

#include <algorithm>
#include <span>

#include "base/bounded_text.h"
#include "base/contract.h"

// The usages of this process: maps a VLAN id to the number of its users + 1. No lock protects the table.
sHash *vlanPool_usage_hash_table;

namespace {

enum Level : unsigned { kTrace = 0, kFault = 1 };

constexpr char kNoTable[] = "vlanPool usage hash table is NULL";

// The caller's log function, and the operation that logs. A call builds "function (vlan_alloc:line): text" and returns
// the result of the caller's function, or without_log if there is no function. The line numbers in the messages are
// fixed. Compatibility: support staff search logs for them.
class Log {
public:
    Log(vlan_alloc_log function, const char *operation) : function_(function), operation_(operation) {}

    // Texts and numbers are joined without printf, which is faster: a daemon that places stations logs several messages
    // for each station.
    template <typename... Parts>
    quill_word operator()(Level level, int line, quill_word without_log, Parts... parts) const {
        return function_ ? write(function_, operation_, level, line, parts...) : without_log;
    }

private:
    // Out of line, so that callers without a log function do not pay for the buffer and its stack guard.
    template <typename... Parts>
    [[gnu::noinline]] static quill_word write(vlan_alloc_log function, const char *operation, Level level, int line,
                                              Parts... parts) {
        char buffer[128];
        quill::BoundedText message(buffer, sizeof buffer);
        message.add(operation);
        message.add(" (vlan_alloc:");
        message.add(line);
        message.add("): ");
        (message.add(parts), ...);
        return function(level, buffer);
    }

    vlan_alloc_log function_;
    const char *operation_;
};

quill_word usage_of(uint32_t vlan, vlan_alloc_log function) {
    const Log log(function, "vlan_alloc_get");
    if (!vlanPool_usage_hash_table) {
        log(kFault, 167, 0, kNoTable);
        return 0;
    }
    const quill_word usage = HashFind(vlanPool_usage_hash_table, vlan);
    if (usage == 0) log(kFault, 173, 0, "Vlan Alloc failed: vlan id not found, usage=0, vlan_id=", int(vlan));
    return usage;
}

quill_word take(uint32_t vlan, const Log &log) {
    const quill_word usage = HashFind(vlanPool_usage_hash_table, vlan);
    const int done = usage ? HashUpdateKeyAndValue(vlanPool_usage_hash_table, vlan, usage + 1)
                           : HashInsertKeyAndValue(vlanPool_usage_hash_table, vlan, 2);
    return log(kTrace, 140, static_cast<quill_word>(done), "Vlan Alloc  usage ; usage=", int(usage), " vlan ",
               int(vlan));
}

quill_word give_back(uint32_t vlan, const Log &log) {
    const quill_word usage = HashFind(vlanPool_usage_hash_table, vlan);
    if (usage == 0) return log(kTrace, 153, 0, "Vlan Alloc failed: vlanid doesn't exist; vlan_id=", int(vlan));
    log(kTrace, 144, 0, "Vlan Alloc  usage ; usage=", int(usage), " vlan ", int(vlan));
    if (usage == 1)
        return log(kTrace, 149, usage, "Vlan Alloc failed: usage incorrect; usage=", int(usage), " vlan_id ",
                   int(vlan));
    return static_cast<quill_word>(HashUpdateKeyAndValue(vlanPool_usage_hash_table, vlan, usage - 1));
}

// --- choosing a VLAN. A pool is a list of entries; an entry of 0 is an empty slot.

using Pool = std::span<const uint16_t>;

Pool checked(const uint16_t *list, uint32_t count, const char *function) {
    quill::require(list || count == 0, "list", "vlan_alloc", 200, function);
    return {list, count};
}

bool any(uint16_t vlan) { return vlan != 0; }

// Returns true for VLANs that the filter does not mark. The filter is a bitmap in the layout of a vmap. Ids beyond the
// bitmap are never marked.
struct NotMarked {
    const uint32_t *filter;

    bool operator()(uint16_t vlan) const {
        const bool marked = vlan / 32u < VMAP_WORDS && (filter[vlan / 32u] >> vlan % 32u & 1);
        return any(vlan) && !marked;
    }
};

template <typename Usable>
uint32_t count_of(Pool pool, Usable usable) {
    return static_cast<uint32_t>(std::count_if(pool.begin(), pool.end(), usable));
}

// Returns the first entry with the smallest usage. The usage of an unknown VLAN is looked up again for every
// comparison, because each of these look-ups is logged.
template <typename Usable>
uint32_t least_used(Pool pool, Usable usable, vlan_alloc_log log) {
    uint32_t best = 0;
    quill_word best_usage = 0;  // 0: not known
    for (const uint16_t vlan : pool) {
        if (!usable(vlan)) continue;
        if (best == 0) {
            best = vlan;
            continue;
        }
        if (best_usage == 0) best_usage = usage_of(best, log);
        const quill_word usage = usage_of(vlan, log);
        const bool is_less = usage < best_usage;  // no branch: processors could not predict it
        best = is_less ? vlan : best;
        best_usage = is_less ? usage : best_usage;
    }
    return best;
}

template <typename Usable>
uint32_t entry_number(Pool pool, Usable usable, uint32_t k) {
    for (const uint16_t vlan : pool)
        if (usable(vlan) && k-- == 0) return vlan;
    return 0;
}

template <typename Usable>
uint32_t by_hash(Pool pool, Usable usable, const void *mac, const char *function) {
    const uint32_t count = count_of(pool, usable);
    if (count == 0) return 0;
    quill::require(mac != nullptr, "mac", "vlan_alloc", 201, function);
    const auto *m = static_cast<const uint8_t *>(mac);
    const uint32_t hash = m[0] ^ m[1] ^ m[2] ^ m[3] ^ m[4] ^ m[5];
    return entry_number(pool, usable, hash % count);
}

}  // namespace

quill_word vlan_alloc_init(vlan_alloc_log log) {
    vlanPool_usage_hash_table = _HashCreate(23, __func__, __LINE__);
    if (!vlanPool_usage_hash_table) return Log(log, __func__)(kFault, 52, 0, "Hash creation failed");
    return reinterpret_cast<quill_word>(vlanPool_usage_hash_table);
}

void vlan_alloc_exit(void) {
    if (vlanPool_usage_hash_table) HashDestroy(vlanPool_usage_hash_table);
    vlanPool_usage_hash_table = nullptr;
}

void vlan_alloc_print(void) {
    sHash *table = vlanPool_usage_hash_table;
    if (!table) {
        fprintf(stderr, "%s: vlanPool_usage_hash_table is NULL\n", __func__);
        return;
    }
    fprintf(stderr, "%s: Print VLAN POOL Usage ...... \n", __func__);
    HashGet(table, HASH_OP_FIRST, 0);
    while (const quill_word vlan = HashGet(table, HASH_OP_NEXT, HASH_SEL_KEY))
        fprintf(stderr, "%s: vlan_id = %d, usage = %d \n", __func__, int(vlan), int(HashFind(table, vlan)));
}

quill_word vlan_alloc_add(uint32_t vlan, uint32_t usage, vlan_alloc_log log) {
    if (!vlanPool_usage_hash_table) return Log(log, __func__)(kFault, 98, 0, kNoTable);
    return static_cast<quill_word>(HashInsertKeyAndValue(vlanPool_usage_hash_table, vlan, usage));
}

quill_word vlan_alloc_release(uint32_t vlan, vlan_alloc_log log) {
    if (!vlanPool_usage_hash_table) return Log(log, __func__)(kFault, 114, 0, kNoTable);
    return static_cast<quill_word>(HashRemove(vlanPool_usage_hash_table, vlan));
}

quill_word vlan_alloc_update(uint32_t vlan, uint32_t allocate, vlan_alloc_log function) {
    const Log log(function, __func__);
    if (!vlanPool_usage_hash_table) return log(kFault, 131, 0, kNoTable);
    return allocate ? take(vlan, log) : give_back(vlan, log);
}

uint32_t vlan_alloc_assign_leastUsed(const uint16_t *list, uint32_t count, vlan_alloc_log log) {
    const Pool pool = checked(list, count, __func__);
    switch (count_of(pool, any)) {
        case 0: return 0;
        case 1: return pool[0];  // always slot 0, even if the only VLAN is in another slot
        default: return least_used(pool, any, log);
    }
}

uint32_t vlan_alloc_assign_leastUsed_filter(const uint16_t *list, uint32_t count, vlan_alloc_log log,
                                            const uint32_t *filter) {
    if (!filter) return 0;
    const Pool pool = checked(list, count, __func__);
    const NotMarked not_marked{filter};
    if (count_of(pool, any) < 2 || count_of(pool, not_marked) == 0)
        return vlan_alloc_assign_leastUsed(list, count, log);
    return least_used(pool, not_marked, log);
}

uint32_t vlan_alloc_assign_hashBased(const uint16_t *list, uint32_t count, const void *mac) {
    return by_hash(checked(list, count, __func__), any, mac, __func__);
}

uint32_t vlan_alloc_assign_hashBased_filter(const uint16_t *list, uint32_t count, const void *mac,
                                            const uint32_t *filter) {
    if (!filter) return 0;
    const Pool pool = checked(list, count, __func__);
    const NotMarked not_marked{filter};
    return count_of(pool, not_marked) ? by_hash(pool, not_marked, mac, __func__) : by_hash(pool, any, mac, __func__);
}
