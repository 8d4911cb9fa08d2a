// Hash tables and their object pool against std::unordered_map and malloc. n is the number of elements; tables have as
// many buckets, rounded up to odd, so a bucket holds one element on average.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <quill/hash.h>
#include <quill/hash_keyed.h>

#include <array>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "hash/object_pool.h"

namespace {

// Keys without a pattern that would suit one table's bucket count better than another's; no two of them are equal.
quill_word word_key(uint32_t i) {
    uint32_t k = i + 1;
    k = (k ^ k >> 16) * 0x85ebca6bu;
    k = (k ^ k >> 13) * 0xc2b2ae35u;
    return k ^ k >> 16;
}

std::array<uint8_t, 6> mac_key(uint32_t i) {
    const auto k = static_cast<uint32_t>(word_key(i));
    return {0x00,
            0x1b,
            static_cast<uint8_t>(k >> 24),
            static_cast<uint8_t>(k >> 16),
            static_cast<uint8_t>(k >> 8),
            static_cast<uint8_t>(k)};
}

struct MacHash {
    size_t operator()(const std::array<uint8_t, 6> &mac) const {
        uint64_t bits = 0;
        memcpy(&bits, mac.data(), mac.size());
        return std::hash<uint64_t>()(bits);
    }
};

sHash *table_for(uint32_t n) { return _HashCreate(static_cast<int32_t>(n | 1), "bench", 0); }

void word_find(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    sHash *table = table_for(n);
    for (uint32_t i = 0; i < n; i++) HashInsert(table, word_key(i));
    uint32_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(HashFind(table, word_key(i)));
        if (++i == n) i = 0;
    }
    HashDestroy(table);
}

void word_find_std(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    std::unordered_map<quill_word, quill_word> table(n);
    for (uint32_t i = 0; i < n; i++) table.emplace(word_key(i), i + 1);
    uint32_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.find(word_key(i))->second);
        if (++i == n) i = 0;
    }
}

void word_insert_remove(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    sHash *table = table_for(n);
    for (auto _ : state) {
        for (uint32_t i = 0; i < n; i++) HashInsert(table, word_key(i));
        for (uint32_t i = 0; i < n; i++) HashRemove(table, word_key(i));
    }
    state.SetItemsProcessed(state.iterations() * n);
    HashDestroy(table);
}

void word_insert_remove_std(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    std::unordered_map<quill_word, quill_word> table(n);
    for (auto _ : state) {
        for (uint32_t i = 0; i < n; i++) table.emplace(word_key(i), i + 1);
        for (uint32_t i = 0; i < n; i++) table.erase(word_key(i));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void mac_find(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    sHash *table = table_for(n);
    for (uint32_t i = 0; i < n; i++) HashMacInsertKeyAndValue(table, mac_key(i).data(), i + 1);
    uint32_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(HashMacFind(table, mac_key(i).data()));
        if (++i == n) i = 0;
    }
    HashDestroy(table);
}

void mac_find_std(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    std::unordered_map<std::array<uint8_t, 6>, quill_word, MacHash> table(n);
    for (uint32_t i = 0; i < n; i++) table.emplace(mac_key(i), i + 1);
    uint32_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.find(mac_key(i))->second);
        if (++i == n) i = 0;
    }
}

void pool(benchmark::State &state) {
    static quill::Mpool *objects = quill::mpool_create(48, 512, 4, 100000, "bench");
    std::vector<void *> live(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        for (void *&object : live) object = quill::mpool_alloc(objects);
        for (void *object : live) quill::mpool_free(objects, object);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void pool_malloc(benchmark::State &state) {
    std::vector<void *> live(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        for (void *&object : live) benchmark::DoNotOptimize(object = malloc(48));
        for (void *object : live) free(object);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Heap bytes in use for each of n entries, buckets included.
template <typename Fill>
void memory(benchmark::State &state, Fill fill) {
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        const auto owner = fill(static_cast<uint32_t>(state.range(0)));
        const size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
        state.counters["bytes_per_entry"] = static_cast<double>(after - before) / static_cast<double>(state.range(0));
        benchmark::DoNotOptimize(owner);
    }
}

void memory_word(benchmark::State &state) {
    memory(state, [](uint32_t n) {
        sHash *table = table_for(n);
        for (uint32_t i = 0; i < n; i++) HashInsert(table, word_key(i));
        return std::unique_ptr<sHash, void (*)(sHash *)>(table, HashDestroy);
    });
}

void memory_word_std(benchmark::State &state) {
    memory(state, [](uint32_t n) {
        std::unordered_map<quill_word, quill_word> table(n);
        for (uint32_t i = 0; i < n; i++) table.emplace(word_key(i), i + 1);
        return table;
    });
}

// First, while the pools are cold.
BENCHMARK(memory_word)->Arg(100000)->Iterations(1);
BENCHMARK(memory_word_std)->Arg(100000)->Iterations(1);

BENCHMARK(word_find)->Arg(1000)->Arg(100000);
BENCHMARK(word_find_std)->Arg(1000)->Arg(100000);
BENCHMARK(word_insert_remove)->Arg(1000)->Arg(100000);
BENCHMARK(word_insert_remove_std)->Arg(1000)->Arg(100000);
BENCHMARK(mac_find)->Arg(1000)->Arg(100000);
BENCHMARK(mac_find_std)->Arg(1000)->Arg(100000);
BENCHMARK(pool)->Arg(100)->Arg(10000);
BENCHMARK(pool_malloc)->Arg(100)->Arg(10000);

}  // namespace
