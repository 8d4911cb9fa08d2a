// Lists of pointers.
#include <glib.h>
#include <quill/list.h>

#include <quill/quill.hpp>

#include <list>
#include <memory>

#include "bench.h"

namespace {

struct Quill {
    using Node = sListNode *;
    sList *list = ListCreate();
    Quill() = default;
    Quill(const Quill &) = delete;
    ~Quill() { ListDestroy(list); }
    Node append(void *object) { return ListInsertRN(list, object); }
    void *remove_first() { return ListGetAndRemoveHead(list); }
    void remove(Node node) { ListRemoveNode(list, 0, node); }
    size_t count() const { return ListEntries(list); }
    uint64_t walk() {
        uint64_t sum = 0;
        sListNode *at;
        ListGetR(list, LIST_OP_FIRST, &at);
        while (const quill_word object = ListGetR(list, LIST_OP_NEXT, &at)) sum += object;
        return sum;
    }
};

struct Glib {
    using Node = GList *;
    GQueue *list = g_queue_new();
    Glib() = default;
    Glib(const Glib &) = delete;
    ~Glib() { g_queue_free(list); }
    Node append(void *object) {
        g_queue_push_tail(list, object);
        return list->tail;
    }
    void *remove_first() { return g_queue_pop_head(list); }
    void remove(Node node) { g_queue_delete_link(list, node); }
    size_t count() const { return g_queue_get_length(list); }
    uint64_t walk() {
        uint64_t sum = 0;
        for (const GList *at = list->head; at; at = at->next) sum += reinterpret_cast<uintptr_t>(at->data);
        return sum;
    }
};

struct Std {
    using Node = std::list<void *>::iterator;
    std::list<void *> list;
    Node append(void *object) { return list.insert(list.end(), object); }
    void *remove_first() {
        if (list.empty()) return nullptr;
        void *object = list.front();
        list.pop_front();
        return object;
    }
    void remove(Node node) { list.erase(node); }
    size_t count() const { return list.size(); }
    uint64_t walk() {
        uint64_t sum = 0;
        for (const void *object : list) sum += reinterpret_cast<uintptr_t>(object);
        return sum;
    }
};

template <typename List>
struct Bed {
    size_t n;
    std::vector<uint32_t> order;
    List list;
    std::vector<typename List::Node> nodes;

    explicit Bed(size_t count) : n(count), order(bench::shuffled(count)) {}

    uint64_t fill() {
        nodes.clear();
        for (uintptr_t i = 1; i <= n; i++) nodes.push_back(list.append(reinterpret_cast<void *>(i)));
        return list.count();
    }
    uint64_t drain() {
        uint64_t sum = 0;
        while (void *object = list.remove_first()) sum += reinterpret_cast<uintptr_t>(object);
        return sum;
    }
    uint64_t remove() {
        for (const uint32_t i : order) list.remove(nodes[i]);
        return n - list.count();
    }
};

template <typename List>
void add_list(const char *contender, size_t n) {
    using bench::Work;
    const auto row = [&](const char *work, auto prepare) {
        bench::add(std::string("list: ") + work, contender, n, n,
                   [=] { return prepare(std::make_shared<Bed<List>>(n)); });
    };
    row("append", [](auto bed) { return Work{[bed] { return bed->fill(); }, [bed] { bed->drain(); }}; });
    row("remove first", [](auto bed) { return Work{[bed] { return bed->drain(); }, [bed] { bed->fill(); }}; });
    row("remove by node", [](auto bed) { return Work{[bed] { return bed->remove(); }, [bed] { bed->fill(); }}; });
    row("walk", [](auto bed) {
        bed->fill();
        return Work{[bed] { return bed->list.walk(); }};
    });
}

// Does the same walk by a range-based for of quill/quill.hpp.
void add_range(size_t n) {
    bench::add("list: walk", "quill, in C++", n, n, [n] {
        auto list = std::make_shared<quill::list<void>>();
        for (uintptr_t i = 1; i <= n; i++)
            if (!list->push_back(reinterpret_cast<void *>(i))) abort();
        return bench::Work{[list] {
            uint64_t sum = 0;
            for (const void *object : *list) sum += reinterpret_cast<uintptr_t>(object);
            return sum;
        }};
    });
}

const bool added = [] {
    for (const size_t n : {100u, 1000u, 10000u, 100000u, 1000000u}) {
        add_list<Quill>("quill", n);
        add_range(n);
        add_list<Glib>("GQueue", n);
        add_list<Std>("std::list", n);
    }
    return true;
}();

}  // namespace
