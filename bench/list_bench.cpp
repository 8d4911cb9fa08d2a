// The list against std::list.
#include <benchmark/benchmark.h>
#include <quill/list.h>

#include <list>

namespace {

void append_and_drain(benchmark::State &state) {
    sList *list = ListCreate();
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); i++) ListInsert(list, &state);
        while (ListGetAndRemoveHead(list)) {
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    ListDestroy(list);
}

void append_and_drain_std(benchmark::State &state) {
    std::list<void *> list;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); i++) list.push_back(&state);
        while (!list.empty()) list.pop_front();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void walk(benchmark::State &state) {
    sList *list = ListCreate();
    for (int64_t i = 0; i < state.range(0); i++) ListInsert(list, &state);
    for (auto _ : state) {
        ListGet(list, LIST_OP_FIRST);
        while (quill_word object = ListGet(list, LIST_OP_NEXT)) benchmark::DoNotOptimize(object);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    ListDestroy(list);
}

void walk_std(benchmark::State &state) {
    std::list<void *> list(static_cast<size_t>(state.range(0)), &state);
    for (auto _ : state)
        for (void *object : list) benchmark::DoNotOptimize(object);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(append_and_drain)->Arg(100)->Arg(100000);
BENCHMARK(append_and_drain_std)->Arg(100)->Arg(100000);
BENCHMARK(walk)->Arg(100)->Arg(100000);
BENCHMARK(walk_std)->Arg(100)->Arg(100000);

}  // namespace
