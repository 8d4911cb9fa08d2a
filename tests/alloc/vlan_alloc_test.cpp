#include <quill/vlan_alloc.h>

#include <gtest/gtest.h>
#include <quill/vmap.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/contract.h"
#include "support/failing_alloc.h"

namespace {

using quill::test::NthAllocation;
using Ids = std::vector<uint16_t>;
using Messages = std::vector<std::string>;

Messages logged;
constexpr quill_word kLogged = 77;  // what the log function returns

quill_word log(unsigned level, const char *message) {
    logged.push_back(std::to_string(level) + " " + message);
    return kLogged;
}

Messages take_logged() { return std::exchange(logged, {}); }

// The filter has exactly the words of a map, on the heap, so that sanitizers see reads behind it.
std::vector<uint32_t> marking(const Ids &ids) {
    std::vector<uint32_t> filter(VMAP_WORDS);
    for (const uint16_t id : ids) filter[id / 32u] |= uint32_t{1} << id % 32u;
    return filter;
}

class VlanAlloc : public testing::Test {
protected:
    void SetUp() override {
        logged.clear();
        vlan_alloc_init(nullptr);
    }
    void TearDown() override { vlan_alloc_exit(); }
};

TEST_F(VlanAlloc, EveryOperationWithoutATableIsLogged) {
    vlan_alloc_exit();
    EXPECT_EQ(vlanPool_usage_hash_table, nullptr);
    vlan_alloc_exit();
    const std::string missing = "): vlanPool usage hash table is NULL";
    EXPECT_EQ(vlan_alloc_add(5, 1, log), kLogged);
    EXPECT_EQ(vlan_alloc_release(5, log), kLogged);
    EXPECT_EQ(vlan_alloc_update(5, 1, log), kLogged);
    EXPECT_EQ(vlan_alloc_update(5, 0, log), kLogged);
    EXPECT_EQ(
        take_logged(),
        (Messages{"1 vlan_alloc_add (vlan_alloc:98" + missing, "1 vlan_alloc_release (vlan_alloc:114" + missing,
                  "1 vlan_alloc_update (vlan_alloc:131" + missing, "1 vlan_alloc_update (vlan_alloc:131" + missing}));
    constexpr uint16_t kPool[] = {5, 6};
    EXPECT_EQ(vlan_alloc_assign_leastUsed(kPool, 2, log), 5u);
    EXPECT_EQ(take_logged(), Messages(2, "1 vlan_alloc_get (vlan_alloc:167" + missing));

    EXPECT_EQ(vlan_alloc_add(5, 1, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_release(5, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_update(5, 1, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_update(5, 0, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_assign_leastUsed(kPool, 2, nullptr), 5u);
}

TEST_F(VlanAlloc, AFailedCreationIsLogged) {
    for (int n = 1;; n++) {
        vlan_alloc_exit();
        NthAllocation failing(n);
        const quill_word result = vlan_alloc_init(n % 2 ? log : nullptr);
        EXPECT_EQ(reinterpret_cast<quill_word>(vlanPool_usage_hash_table), result == kLogged ? 0 : result);
        if (!failing.reached()) break;
        if (vlanPool_usage_hash_table) continue;  // only its place in the statistics is missing
        EXPECT_EQ(result, n % 2 ? kLogged : 0);
        EXPECT_EQ(take_logged(),
                  n % 2 ? Messages{"1 vlan_alloc_init (vlan_alloc:52): Hash creation failed"} : Messages{});
    }
    EXPECT_NE(vlanPool_usage_hash_table, nullptr);
    EXPECT_EQ(HashEntries(vlanPool_usage_hash_table), 0);
    HashInsert(vlanPool_usage_hash_table, 23);
    EXPECT_EQ(HashGetFromBucket(vlanPool_usage_hash_table, HASH_OP_FIRST, 0, 0), 0u);
    EXPECT_EQ(HashGetFromBucket(vlanPool_usage_hash_table, HASH_OP_NEXT, 0, 0), 23u);

    sHash *first = vlanPool_usage_hash_table;  // which a second creation leaves to itself
    EXPECT_NE(vlan_alloc_init(log), 0u);
    EXPECT_NE(vlanPool_usage_hash_table, first);
    EXPECT_EQ(HashFind(first, 23), 23u);
    HashDestroy(first);
}

TEST_F(VlanAlloc, UsageIsCountedAndTraced) {
    const auto trace = [](int line, int usage, const char *vlan) {
        return "0 vlan_alloc_update (vlan_alloc:" + std::to_string(line) +
               "): Vlan Alloc  usage ; usage=" + std::to_string(usage) + " vlan " + vlan;
    };
    const std::string incorrect =
        "0 vlan_alloc_update (vlan_alloc:149): Vlan Alloc failed: usage incorrect; usage=1 vlan_id 10";
    const std::string unknown =
        "0 vlan_alloc_update (vlan_alloc:153): Vlan Alloc failed: vlanid doesn't exist; vlan_id=30";
    struct Step {
        uint32_t vlan, allocate;
        quill_word result, silent_result;  // with a log function and without
        quill_word usage;                  // afterwards
        Messages messages;
    };
    const Step steps[] = {
        {10, 1, kLogged, 1, 2, {trace(140, 1, "10")}},
        {10, 9, kLogged, 1, 3, {trace(140, 2, "10")}},
        {10, 0, 1, 1, 2, {trace(144, 3, "10")}},
        {10, 0, 1, 1, 1, {trace(144, 2, "10")}},
        {10, 0, kLogged, 1, 1, {trace(144, 1, "10"), incorrect}},
        {30, 0, kLogged, 0, 0, {unknown}},
        {4094, 1, kLogged, 1, 2, {trace(140, 0, "4094")}},
    };
    for (const vlan_alloc_log sink : {vlan_alloc_log{log}, vlan_alloc_log{nullptr}}) {
        EXPECT_EQ(vlan_alloc_add(10, 1, sink), 1u);
        EXPECT_EQ(vlan_alloc_add(10, 5, sink), 0u);
        for (const Step &s : steps) {
            EXPECT_EQ(vlan_alloc_update(s.vlan, s.allocate, sink), sink ? s.result : s.silent_result);
            EXPECT_EQ(HashFind(vlanPool_usage_hash_table, s.vlan), s.usage);
            EXPECT_EQ(take_logged(), sink ? s.messages : Messages{});
        }
        EXPECT_EQ(vlan_alloc_release(4094, sink), 1u);
        EXPECT_EQ(vlan_alloc_release(4094, sink), 0u);
        EXPECT_EQ(vlan_alloc_release(10, sink), 1u);
        EXPECT_EQ(take_logged(), Messages{});
    }
}

TEST_F(VlanAlloc, AnAllocationWithoutMemoryIsSeenInTheResult) {
    uint32_t vlan = 1;
    int failures = 0;
    for (; vlan <= 1100; vlan++) {  // more than a slab of elements
        NthAllocation failing(1);
        const bool adds = vlan % 2;
        const quill_word result = adds ? vlan_alloc_add(vlan, 1, nullptr) : vlan_alloc_update(vlan, 1, nullptr);
        failures += failing.reached();
        EXPECT_EQ(result, !failing.reached());
        EXPECT_EQ(HashFind(vlanPool_usage_hash_table, vlan), failing.reached() ? 0 : adds ? 1 : 2);
    }
    EXPECT_GT(failures, 0);
}

constexpr uint8_t kMac[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0x97};  // the XOR is 5

struct Choice {
    uint32_t least_used, least_used_filtered, hash_based, hash_based_filtered;
    bool operator==(const Choice &) const = default;
};

Choice choose(const Ids &pool, const Ids &marked) {
    const std::vector<uint32_t> filter = marking(marked);
    const auto size = static_cast<uint32_t>(pool.size());
    return {vlan_alloc_assign_leastUsed(pool.data(), size, log),
            vlan_alloc_assign_leastUsed_filter(pool.data(), size, nullptr, filter.data()),
            vlan_alloc_assign_hashBased(pool.data(), size, kMac),
            vlan_alloc_assign_hashBased_filter(pool.data(), size, kMac, filter.data())};
}

void PrintTo(const Choice &c, std::ostream *out) {
    *out << c.least_used << ' ' << c.least_used_filtered << ' ' << c.hash_based << ' ' << c.hash_based_filtered;
}

TEST_F(VlanAlloc, AssignmentsChooseFromThePool) {
    for (const uint32_t vlan : {10u, 20u, 30u}) vlan_alloc_add(vlan, vlan == 30 ? 2 : 1, nullptr);
    struct Case {
        Ids pool, marked;
        Choice wanted;
        size_t misses;  // look-ups of VLANs that are not known, for the least used without the filter
    };
    const Case cases[] = {
        {{}, {}, {0, 0, 0, 0}, 0},
        {{0, 0, 0}, {}, {0, 0, 0, 0}, 0},
        {{20, 0}, {20}, {20, 20, 20, 20}, 0},
        {{0, 20}, {}, {0, 0, 20, 20}, 0},         // one entry, and it is not the first
        {{10, 20, 30}, {}, {10, 10, 30, 30}, 0},  // the first of equals
        {{10, 20, 30}, {10}, {10, 20, 30, 30}, 0},
        {{10, 20, 30}, {30}, {10, 10, 30, 20}, 0},
        {{10, 20, 30}, {10, 20}, {10, 30, 30, 30}, 0},
        {{30, 20}, {20}, {20, 30, 20, 30}, 0},
        {{30, 0, 10, 20, 0}, {0, 10, 20, 30}, {10, 10, 20, 20}, 0},  // nothing left: as without the filter
        {{30, 10, 40, 20, 50}, {40}, {40, 50, 30, 10}, 4},
        {{40, 40}, {40}, {40, 40, 40, 40}, 2},
        {{10, 4095, 4096, 65535}, {10, 4095}, {4095, 4096, 4095, 65535}, 5},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.pool) + " without " + testing::PrintToString(c.marked));
        EXPECT_EQ(choose(c.pool, c.marked), c.wanted);
        EXPECT_EQ(take_logged().size(), c.misses);
    }
    Ids longer(400, 10);  // than 256
    longer.back() = 40;
    EXPECT_EQ(choose(longer, {10}), (Choice{40, 40, 10, 40}));
    EXPECT_EQ(choose(longer, {40}), (Choice{40, 10, 10, 10}));

    logged.clear();
    constexpr uint16_t kPool[] = {10, 20, 40};
    EXPECT_EQ(vlan_alloc_assign_leastUsed_filter(kPool, 3, log, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_assign_hashBased_filter(kPool, 3, kMac, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_assign_leastUsed_filter(kPool, 3, log, marking({10}).data()), 40u);
    EXPECT_EQ(take_logged(),
              Messages{"1 vlan_alloc_get (vlan_alloc:173): Vlan Alloc failed: vlan id not found, usage=0, vlan_id=40"});
    vlan_alloc_update(10, 1, nullptr);
    EXPECT_EQ(vlan_alloc_assign_leastUsed(kPool, 2, nullptr), 20u);
}

TEST_F(VlanAlloc, ContractViolationsAreReported) {
    static constexpr uint16_t kPool[] = {10};
    quill::test::expect_contracts({
        {[] { vlan_alloc_assign_hashBased_filter(nullptr, 1, kMac, marking({}).data()); }, "list", "vlan_alloc", 200,
         "vlan_alloc_assign_hashBased_filter"},
        {[] { vlan_alloc_assign_hashBased(kPool, 1, nullptr); }, "mac", "vlan_alloc", 201,
         "vlan_alloc_assign_hashBased"},
    });
}

TEST_F(VlanAlloc, PrintWritesTheTableToStandardError) {
    vlan_alloc_add(24, 2, nullptr);  // in the order of the buckets, newest first
    vlan_alloc_add(5, 1, nullptr);
    vlan_alloc_add(1, 3, nullptr);
    testing::internal::CaptureStderr();
    vlan_alloc_print();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "vlan_alloc_print: Print VLAN POOL Usage ...... \n"
              "vlan_alloc_print: vlan_id = 1, usage = 3 \n"
              "vlan_alloc_print: vlan_id = 24, usage = 2 \n"
              "vlan_alloc_print: vlan_id = 5, usage = 1 \n");
    vlan_alloc_exit();
    testing::internal::CaptureStderr();
    vlan_alloc_print();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "vlan_alloc_print: vlanPool_usage_hash_table is NULL\n");
}

}  // namespace
