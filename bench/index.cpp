// The index table, with the indices 1 … n. Few of them, or nearly all of them, are taken.
#include <quill/idx_table.h>

#include <bit>
#include <memory>
#include <set>

#include "bench.h"

namespace {

class Quill {
public:
    explicit Quill(uint32_t n) : table_(idx_table_create(1, n)) {}
    Quill(const Quill &) = delete;
    ~Quill() { idx_table_free(table_); }
    uint32_t take() {
        uint16_t index = 0;
        return idx_table_index_alloc(table_, &index) == 0 ? index : 0;
    }
    bool give(uint32_t index) { return idx_table_index_free(table_, index) == 0; }
    bool reserve(uint32_t index) { return idx_table_index_reserve(table_, index) == 0; }

private:
    idx_table *table_;
};

class Set {
public:
    explicit Set(uint32_t n) {
        for (uint32_t i = 1; i <= n; i++) free_.insert(free_.end(), i);
    }
    uint32_t take() {
        if (free_.empty()) return 0;
        const uint32_t index = *free_.begin();
        free_.erase(free_.begin());
        return index;
    }
    bool give(uint32_t index) { return free_.insert(index).second; }
    bool reserve(uint32_t index) { return free_.erase(index) != 0; }

private:
    std::set<uint32_t> free_;
};

class Bits {
public:
    explicit Bits(uint32_t n) : taken_(n + 1) { taken_[0] = true; }
    uint32_t take() {
        for (uint32_t i = 1; i < taken_.size(); i++)
            if (!taken_[i]) return taken_[i] = true, i;
        return 0;
    }
    bool give(uint32_t index) { return change(index, false); }
    bool reserve(uint32_t index) { return change(index, true); }

private:
    bool change(uint32_t index, bool taken) {
        const bool changes = taken_[index] != taken;
        taken_[index] = taken;
        return changes;
    }
    std::vector<bool> taken_;
};

// The same scan, one word at a time.
class Words {
public:
    explicit Words(uint32_t n) : taken_(n / 64 + 1) {
        change(0, true);
        for (uint32_t i = n + 1; i < taken_.size() * 64; i++) change(i, true);
    }
    uint32_t take() {
        for (uint32_t i = 0; i < taken_.size(); i++) {
            if (!~taken_[i]) continue;
            const uint32_t index = i * 64 + static_cast<uint32_t>(std::countr_one(taken_[i]));
            return change(index, true), index;
        }
        return 0;
    }
    bool give(uint32_t index) { return change(index, false); }
    bool reserve(uint32_t index) { return change(index, true); }

private:
    bool change(uint32_t index, bool taken) {
        uint64_t &word = taken_[index / 64];
        const uint64_t bit = uint64_t{1} << index % 64, before = word;
        word = taken ? word | bit : word & ~bit;
        return word != before;
    }
    std::vector<uint64_t> taken_;
};

constexpr size_t kTurns = 8;  // number of indices that one run takes and frees

template <typename Table>
void add_table(const char *contender, uint32_t n) {
    const auto row = [&](const char *work, auto prepare) {
        bench::add(std::string("index table: ") + work, contender, n, 2 * kTurns, prepare);
    };
    const auto turns = [](auto table, const std::vector<uint32_t> &given) {
        return bench::Work{[table, given]() -> uint64_t {
            uint64_t sum = 0;
            for (const uint32_t index : given) sum += table->give(index);
            for (size_t i = 0; i < given.size(); i++) sum = sum * 31 + table->take();
            return sum;
        }};
    };
    row("alloc and free, nearly full", [=] {
        auto table = std::make_shared<Table>(n);
        while (table->take()) {
        }
        std::vector<uint32_t> given(kTurns);
        for (uint32_t i = 0; i < given.size(); i++) given[i] = n - 8 * i;
        return turns(table, given);
    });
    row("alloc and free, nearly empty", [=] {
        auto table = std::make_shared<Table>(n);
        std::vector<uint32_t> given(kTurns);
        for (uint32_t &index : given) index = table->take();
        return turns(table, given);
    });
    row("reserve and free", [=] {
        auto table = std::make_shared<Table>(n);
        return bench::Work{[table, n]() -> uint64_t {
            uint64_t sum = 0;
            for (uint32_t i = 0; i < kTurns; i++) sum += table->reserve(n - 7 * i);
            for (uint32_t i = 0; i < kTurns; i++) sum += table->give(n - 7 * i);
            return sum;
        }};
    });
}

const bool added = [] {
    for (const uint32_t n : {64u, 512u, 1024u, 4096u}) {
        add_table<Quill>("quill", n);
        add_table<Set>("std::set", n);
        add_table<Bits>("linear bit scan", n);
        add_table<Words>("linear word scan", n);
    }
    return true;
}();

}  // namespace
