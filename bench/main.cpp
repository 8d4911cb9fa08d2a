// usage: quill_bench [--list | --check | --instructions] [PATTERN] [options of Google Benchmark]
// PATTERN is a pattern as in a shell, and selects the titles that match: "hash table: *|quill|1000". The program
// registers every row, checks that all contenders of a row give the same results, and times them with Google Benchmark.
// With --instructions, it must run under callgrind, and does each work once between two dumps.
#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <sched.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "bench.h"

namespace {

struct Contender {
    std::string row, name;
    size_t n, operations;
    std::function<bench::Work()> prepare;

    std::string title() const { return row + "|" + name + "|" + std::to_string(n); }
};

std::vector<Contender> &contenders() {
    static std::vector<Contender> all;
    return all;
}

uint64_t once(const bench::Work &work) {
    if (work.before) work.before();
    return work.run();
}

// Returns how many runs are timed together. There are several, because reading the clock takes as long as a short run.
// Returns 1 if each run needs a preparation, because the preparation is not timed.
size_t runs_at_once(const bench::Work &work) {
    using Clock = std::chrono::steady_clock;
    if (work.before) return 1;
    size_t runs = 1;
    for (;; runs *= 2) {
        const auto start = Clock::now();
        for (size_t i = 0; i < runs; i++) benchmark::DoNotOptimize(work.run());
        if (Clock::now() - start > std::chrono::microseconds(20)) return runs;
    }
}

void time_contender(benchmark::State &state, const Contender &contender) {
    using Clock = std::chrono::steady_clock;
    const bench::Work work = contender.prepare();
    once(work);
    const size_t runs = runs_at_once(work);
    for (auto _ : state) {
        if (work.before) work.before();
        const auto start = Clock::now();
        for (size_t i = 0; i < runs; i++) benchmark::DoNotOptimize(work.run());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    const double operations =
        static_cast<double>(contender.operations * runs) * static_cast<double>(state.iterations());
    state.counters["ns"] =
        benchmark::Counter(operations * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Returns whether all contenders of each row give the same digest: a peer must do the same work as the library.
bool agree(size_t largest) {
    std::map<std::string, size_t> smallest;  // the smallest n of each row, which is always tested
    for (const Contender &c : contenders()) {
        size_t &n = smallest.try_emplace(c.row, c.n).first->second;
        n = std::min(n, c.n);
    }
    std::map<std::string, std::pair<std::string, uint64_t>> first;
    bool same = true;
    for (const Contender &c : contenders()) {
        if (c.n > largest && c.n != smallest[c.row]) continue;
        const uint64_t digest = once(c.prepare());
        const auto &[other, wanted] =
            first.try_emplace(c.row + "|" + std::to_string(c.n), std::pair(c.name, digest)).first->second;
        if (digest == wanted) continue;
        fprintf(stderr, "%s, n = %zu: %s answers otherwise than %s\n", c.row.c_str(), c.n, c.name.c_str(),
                other.c_str());
        same = false;
    }
    return same;
}

// Instructions are counted only for the library's rows. Rows that wait for other processes, and rows that take minutes
// under callgrind, are left out.
bool is_countable(const Contender &c) {
    for (const char *family : {"commands:", "syslog:", "multi-criteria search:"})
        if (c.row.starts_with(family)) return false;
    return c.name.starts_with("quill") && c.n <= 1000 && c.row != "MD5: 1 MiB";
}

void count_instructions() {
    std::erase_if(contenders(), [](const Contender &c) { return !is_countable(c); });
    for (const Contender &c : contenders()) {
        const bench::Work work = c.prepare();
        once(work);
        if (work.before) work.before();
        CALLGRIND_ZERO_STATS;
        benchmark::DoNotOptimize(work.run());
        const std::string title = "operations " + std::to_string(c.operations) + "|" + c.title();
        CALLGRIND_DUMP_STATS_AT(title.c_str());
    }
}

void keep_only(const char *pattern) {
    std::erase_if(contenders(), [&](const Contender &c) { return fnmatch(pattern, c.title().c_str(), 0) != 0; });
}

// Stays on one CPU, because other CPUs have other caches and clocks.
void stay_on_this_cpu() {
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &cpus);
    sched_setaffinity(0, sizeof cpus, &cpus);
}

}  // namespace

void bench::add(const std::string &row, const std::string &contender, size_t n, size_t operations,
                std::function<Work()> prepare) {
    contenders().push_back({row, contender, n, operations, std::move(prepare)});
}

int main(int argc, char **argv) {
    const auto drop_first = [&] { argv[1] = argv[0], argv++, argc--; };
    const auto option = [&](const char *name) {
        if (argc < 2 || strcmp(argv[1], name) != 0) return false;
        drop_first();
        return true;
    };
    const bool list = option("--list"), check = option("--check"), instructions = option("--instructions");
    if (argc > 1 && argv[1][0] != '-') {
        keep_only(argv[1]);
        drop_first();
    }
    if (list) {
        for (const Contender &c : contenders()) puts(c.title().c_str());
        return 0;
    }
    stay_on_this_cpu();
    if (instructions) return count_instructions(), 0;
    if (check) return agree(1000) ? 0 : 1;  // larger rows are checked when they are timed
    if (!agree(SIZE_MAX)) return 1;
    for (const Contender &c : contenders())
        benchmark::RegisterBenchmark(c.title().c_str(), [&c](benchmark::State &state) {
            time_contender(state, c);
        })->UseManualTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
