#include <quill/vlan_alloc.h>

#include <gtest/gtest.h>
#include <quill/vmap.h>

#include <string>
#include <utility>
#include <vector>

#include "support/case_file.h"
#include "support/contract.h"
#include "support/failing_alloc.h"

namespace quill::test {
namespace {

using std::string;
using Ids = std::vector<uint16_t>;

string logged;
constexpr quill_word kLogged = 77;  // what the log function returns

quill_word log(unsigned level, const char *message) {
    logged += "; " + std::to_string(level) + " " + message;
    return kLogged;
}
vlan_alloc_log sink(int logs) { return logs ? log : nullptr; }

string with_log(quill_word result) { return std::to_string(result) + std::exchange(logged, ""); }
string add(uint32_t vlan, uint32_t usage, int logs) { return with_log(vlan_alloc_add(vlan, usage, sink(logs))); }
string release(uint32_t vlan, int logs) { return with_log(vlan_alloc_release(vlan, sink(logs))); }
string update(uint32_t vlan, uint32_t allocate, int logs) {
    return with_log(vlan_alloc_update(vlan, allocate, sink(logs)));
}
string least_used(const uint16_t *pool, uint32_t size) {
    return with_log(vlan_alloc_assign_leastUsed(pool, size, log));
}
uint32_t least_used_silently(const uint16_t *pool, uint32_t size) {
    return vlan_alloc_assign_leastUsed(pool, size, nullptr);
}
quill_word usage(uint32_t vlan) { return HashFind(vlanPool_usage_hash_table, vlan); }

void leave() {
    vlan_alloc_exit();
    EXPECT_EQ(vlanPool_usage_hash_table, nullptr);
}
void create() {
    vlan_alloc_exit();
    EXPECT_NE(vlan_alloc_init(log), 0u);
}

string print() {
    testing::internal::CaptureStderr();
    vlan_alloc_print();
    return testing::internal::GetCapturedStderr();
}

// The filter has exactly the words of a map. It is on the heap, so that sanitizers detect reads past its end.
std::vector<uint32_t> marking(const Ids &ids) {
    std::vector<uint32_t> filter(VMAP_WORDS);
    for (const uint16_t id : ids) filter[id / 32u] |= uint32_t{1} << id % 32u;
    return filter;
}

constexpr uint8_t kMac[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0x97};  // the XOR of the bytes is 5

string choose(const uint16_t *pool, uint32_t size, const uint16_t *marked, uint32_t count) {
    const std::vector<uint32_t> filter = marking(Ids(marked, marked + count));
    string choices;
    for (const uint32_t choice : {vlan_alloc_assign_leastUsed(pool, size, nullptr),
                                  vlan_alloc_assign_leastUsed_filter(pool, size, nullptr, filter.data()),
                                  vlan_alloc_assign_hashBased(pool, size, kMac),
                                  vlan_alloc_assign_hashBased_filter(pool, size, kMac, filter.data())})
        choices += (choices.empty() ? "" : " ") + std::to_string(choice);
    return choices;
}

class VlanAlloc : public testing::Test {
protected:
    void SetUp() override { create(); }
    void TearDown() override { vlan_alloc_exit(); }
};

TEST_F(VlanAlloc, Cases) {
    expect_cases("alloc/vlan_alloc.cases", QUILL_CASE_FUNCTIONS(leave, add, release, update, least_used,
                                                                least_used_silently, create, usage, choose, print));
}

TEST_F(VlanAlloc, LongPoolsAndMissingFilters) {
    Ids longer(400, 10);  // longer than 256 VLANs
    longer.back() = 40;
    add(10, 1, 0);
    const uint16_t known[] = {10}, unknown[] = {40};
    EXPECT_EQ(choose(longer.data(), 400, known, 1), "40 40 10 40");
    EXPECT_EQ(choose(longer.data(), 400, unknown, 1), "40 10 10 10");
    EXPECT_EQ(vlan_alloc_assign_leastUsed_filter(known, 1, log, nullptr), 0u);
    EXPECT_EQ(vlan_alloc_assign_hashBased_filter(known, 1, kMac, nullptr), 0u);
    EXPECT_EQ(logged, "");
}

TEST_F(VlanAlloc, AFailedCreationIsLogged) {
    for (int n = 1;; n++) {
        vlan_alloc_exit();
        NthAllocation failing(n);
        const string result = with_log(vlan_alloc_init(sink(n % 2)));
        if (!failing.reached()) break;
        if (vlanPool_usage_hash_table) continue;  // the table exists, and only its place in the statistics is missing
        EXPECT_EQ(result, n % 2 ? "77; 1 vlan_alloc_init (vlan_alloc:52): Hash creation failed" : "0");
    }
    EXPECT_EQ(HashEntries(vlanPool_usage_hash_table), 0);
    sHash *const first = vlanPool_usage_hash_table;  // a second creation does not destroy this table
    HashInsert(first, 23);
    EXPECT_NE(vlan_alloc_init(log), 0u);
    EXPECT_NE(vlanPool_usage_hash_table, first);
    EXPECT_EQ(HashFind(first, 23), 23u);
    HashDestroy(first);
}

TEST_F(VlanAlloc, AnAllocationWithoutMemoryIsSeenInTheResult) {
    int failures = 0;
    for (uint32_t vlan = 1; vlan <= 1100; vlan++) {  // more elements than a slab holds
        NthAllocation failing(1);
        const bool adds = vlan % 2;
        const quill_word result = adds ? vlan_alloc_add(vlan, 1, nullptr) : vlan_alloc_update(vlan, 1, nullptr);
        failures += failing.reached();
        EXPECT_EQ(result, !failing.reached());
        EXPECT_EQ(usage(vlan), failing.reached() ? 0 : adds ? 1 : 2);
    }
    EXPECT_GT(failures, 0);
}

TEST_F(VlanAlloc, ContractViolationsAreReported) {
    static constexpr uint16_t kPool[] = {10};
    expect_contracts({
        {[] { vlan_alloc_assign_hashBased_filter(nullptr, 1, kMac, marking({}).data()); }, "list", "vlan_alloc", 200,
         "vlan_alloc_assign_hashBased_filter"},
        {[] { vlan_alloc_assign_hashBased(kPool, 1, nullptr); }, "mac", "vlan_alloc", 201,
         "vlan_alloc_assign_hashBased"},
    });
}

}  // namespace
}  // namespace quill::test
