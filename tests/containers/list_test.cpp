#include <quill/list.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "support/contract.h"
#include "support/failing_alloc.h"
#include "support/random.h"

// The records as debuggers see them; programs know only their names.
struct sListNode {
    void *objPtr;
    sListNode *next;
    sListNode *prev;
};
struct sList {
    sListNode *head;
    sListNode *tail;
    sListNode *cursor;
    uint32_t count;
};

namespace {

using quill::test::expect_failures_survived;
using quill::test::live_allocations;
using quill::test::Random;

int objects[] = {0, 0, 1, 1, 2, 2, 3, 3};  // compared in pairs, told apart by address
int unlisted;
int compared;

int compare(const void *new_object, const void *listed_object) {
    compared++;
    const int a = *static_cast<const int *>(new_object), b = *static_cast<const int *>(listed_object);
    return (a > b) - (a < b);
}

quill_word word(const void *object) { return reinterpret_cast<quill_word>(object); }

// What a list should hold, with its own cursor and one of a caller as positions; the size stands for a null cursor.
struct Model {
    std::vector<int *> held;
    size_t own = 0;
    size_t callers = 0;

    void insert(size_t at, int *object) {
        held.insert(held.begin() + static_cast<ptrdiff_t>(at), object);
        callers += callers >= at;
        own = at;
    }
    void erase(size_t at) {
        held.erase(held.begin() + static_cast<ptrdiff_t>(at));
        own -= own > at;
        callers -= callers > at;
    }
    size_t find(const int *object) const {
        return static_cast<size_t>(std::find(held.begin(), held.end(), object) - held.begin());
    }
    quill_word get(int op, size_t &cursor) const {
        const size_t size = held.size();
        switch (op) {
            case LIST_OP_FIRST: cursor = 0; return size;
            case LIST_OP_HEAD: return size ? word(held.front()) : 0;
            case LIST_OP_TAIL: return size ? word(held.back()) : 0;
            case LIST_OP_NEXT: return cursor < size ? word(held[cursor++]) : 0;
            case LIST_OP_PREVIOUS:
                if (cursor == 0) return 0;
                cursor--;
                return cursor ? word(held[cursor - 1]) : 0;
            default: return 0;
        }
    }
};

class ListSequence {
public:
    explicit ListSequence(uint64_t seed) : random_(seed), list_(ListCreate()) {}
    ~ListSequence() { ListDestroy(list_); }

    void step() {
        int *object = &objects[random_.below(std::size(objects))];
        const size_t size = model_.held.size(), at = model_.find(object);
        switch (random_.below(16)) {
            case 0:
                EXPECT_EQ(ListInsert(list_, object), 1);
                model_.insert(size, object);
                break;
            case 1:
                EXPECT_EQ(ListInsertRN(list_, object)->objPtr, object);
                model_.insert(size, object);
                break;
            case 2: insert_at(object, &objects[random_.below(std::size(objects))]); break;
            case 3: insert_at(object, nullptr); break;
            case 4:
            case 5: insert_sorted(object); break;
            case 6:
            case 7:
                EXPECT_EQ(ListExists(list_, object), at < size);
                EXPECT_EQ(ListRemove(list_, object), at < size);
                if (at < size) erased(at);
                break;
            case 8:
                if (size > 0) remove_node(random_.below(static_cast<uint32_t>(size)));
                EXPECT_EQ(ListRemoveNode(list_, 1, nullptr), 0);
                break;
            case 9:
                EXPECT_EQ(ListGetAndRemoveHead(list_), size ? model_.held[0] : nullptr);
                if (size > 0) erased(0);
                break;
            case 10: append(random_.below(4)); break;
            case 11:
                if (!random_.one_in(20)) break;
                EXPECT_EQ(ListReinit(list_), 1);
                model_ = {};
                cursor_ = nullptr;
                break;
            default: {
                const int op = static_cast<int>(random_.below(7));
                EXPECT_EQ(ListGet(list_, op), model_.get(op, model_.own)) << "op " << op;
                const int callers_op = static_cast<int>(random_.below(7));
                EXPECT_EQ(ListGetR(list_, callers_op, &cursor_), model_.get(callers_op, model_.callers));
            }
        }
        check();
    }

private:
    void insert_at(int *object, int *anchor) {
        const size_t size = model_.held.size(), at = model_.find(anchor);
        const bool accepted = !anchor || size == 0 || at < size;
        EXPECT_EQ(ListInsertAt(list_, object, anchor), accepted);
        if (accepted) model_.insert(anchor && size > 0 ? at + 1 : 0, object);
    }
    void insert_sorted(int *object) {
        const std::vector<int *> &held = model_.held;
        const auto not_after = [object](const int *listed) { return *object <= *listed; };
        const auto at = static_cast<size_t>(std::find_if(held.begin(), held.end(), not_after) - held.begin());
        compared = 0;
        EXPECT_EQ(ListInsertSorted(list_, object, compare), 1);
        // With several nodes the head is compared once more when it does not decide.
        const size_t calls = held.size() < 2 ? held.size() : at == 0 ? 1 : 1 + std::min(at + 1, held.size());
        EXPECT_EQ(compared, static_cast<int>(calls));
        model_.insert(at, object);
    }
    void remove_node(size_t at) {
        sListNode *node = list_->head;
        for (size_t i = 0; i < at; i++) node = node->next;
        EXPECT_EQ(ListRemoveNode(list_, 0, node), 1);
        erased(at);
    }
    void append(uint32_t count) {
        sList *source = ListCreate();
        const bool callers_at_end = model_.callers == model_.held.size();
        for (uint32_t i = 0; i < count; i++) {
            ListInsert(source, &objects[i]);
            model_.held.push_back(&objects[i]);
        }
        ListAppend(list_, source);
        // A null own cursor moves only with nodes that arrive; a caller's stays null in any case.
        if (count > 0) model_.own = 0;
        if (callers_at_end) model_.callers = model_.held.size();
    }
    // A caller's cursor must not stay on a removed node.
    void erased(size_t at) {
        const bool under_callers = model_.callers == at;
        model_.erase(at);
        if (!under_callers) return;
        EXPECT_EQ(ListGetR(list_, LIST_OP_FIRST, &cursor_), model_.get(LIST_OP_FIRST, model_.callers));
    }
    void check() const {
        const size_t size = model_.held.size();
        ASSERT_EQ(ListEntries(list_), size);
        const sListNode *node = list_->head, *previous = nullptr;
        for (size_t i = 0; i < size; i++) {
            ASSERT_NE(node, nullptr) << i;
            ASSERT_EQ(node->objPtr, model_.held[i]) << i;
            ASSERT_EQ(node->prev, previous) << i;
            ASSERT_EQ(list_->cursor == node, model_.own == i) << i;
            ASSERT_EQ(cursor_ == node, model_.callers == i) << i;
            previous = node;
            node = node->next;
        }
        ASSERT_EQ(node, nullptr);
        ASSERT_EQ(list_->tail, previous);
        ASSERT_EQ(list_->cursor == nullptr, model_.own == size);
        ASSERT_EQ(cursor_ == nullptr, model_.callers == size);
    }

    Random random_;
    sList *list_;
    sListNode *cursor_ = nullptr;
    Model model_;
};

TEST(List, RandomOperationsFollowTheModel) {
    for (uint64_t seed = 1; seed <= 4; seed++) {
        ListSequence sequence(seed);
        for (int i = 0; i < 3000 && !HasFailure(); i++) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
            sequence.step();
        }
    }
}

sList *list_of(size_t count) {
    sList *list = ListCreate();
    for (size_t i = 0; i < count; i++) ListInsert(list, &objects[i]);
    return list;
}

TEST(List, PreviousAnswersTheObjectBeforeTheCursorsNewPlace) {
    sList *list = list_of(3);
    EXPECT_EQ(ListGet(list, LIST_OP_FIRST), 3u);
    for (const quill_word wanted : {word(&objects[0]), word(&objects[1]), word(&objects[2]), quill_word{0}})
        EXPECT_EQ(ListGet(list, LIST_OP_NEXT), wanted);
    for (const quill_word wanted : {word(&objects[1]), word(&objects[0]), quill_word{0}, quill_word{0}})
        EXPECT_EQ(ListGet(list, LIST_OP_PREVIOUS), wanted);
    ListDestroy(list);
}

TEST(List, FreeDataFunctionsFreeEveryListedObjectOnce) {
    const long live = live_allocations();
    sList *list = ListCreate();
    for (int i = 0; i < 4; i++) ListInsert(list, malloc(1));
    void *first = reinterpret_cast<void *>(ListGet(list, LIST_OP_HEAD));
    EXPECT_EQ(ListRemoveFreeData(list, &unlisted), 0);
    EXPECT_EQ(ListRemoveFreeData(list, first), 1);
    EXPECT_EQ(ListEntries(list), 3u);
    EXPECT_EQ(live_allocations(), live + 1 + 2 * 3);
    ListDestroyFreeData(list);
    EXPECT_EQ(live_allocations(), live);
}

TEST(List, ANullListDoesNothing) {
    sListNode *cursor = nullptr;
    EXPECT_EQ(ListInsert(nullptr, objects), 0);
    EXPECT_EQ(ListInsertAt(nullptr, objects, nullptr), 0);
    EXPECT_EQ(ListInsertSorted(nullptr, objects, compare), 0);
    EXPECT_EQ(ListInsertRN(nullptr, objects), nullptr);
    EXPECT_EQ(ListRemove(nullptr, objects), 0);
    EXPECT_EQ(ListRemoveFreeData(nullptr, objects), 0);
    EXPECT_EQ(ListGetAndRemoveHead(nullptr), nullptr);
    EXPECT_EQ(ListExists(nullptr, objects), 0);
    EXPECT_EQ(ListEntries(nullptr), 0u);
    for (int op = 0; op < 7; op++) {
        EXPECT_EQ(ListGet(nullptr, op), 0u);
        EXPECT_EQ(ListGetR(nullptr, op, &cursor), 0u);
    }
    EXPECT_EQ(ListReinit(nullptr), 0);
    ListDestroy(nullptr);
    ListDestroyFreeData(nullptr);
    sList *list = list_of(1);
    ListAppend(nullptr, list);
    ListAppend(list, nullptr);
    EXPECT_EQ(ListEntries(list), 1u);
    ListDestroy(list);
}

TEST(List, FailedAllocationsLeaveTheListAsItWas) {
    sList *list = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (list = ListCreate()) != nullptr; }), 1);
    for (uint32_t held = 0; held < 3; held++) {  // each insertion finds the list empty, with one node, and with several
        const auto unchanged = [&] {
            EXPECT_EQ(ListEntries(list), held);
            EXPECT_EQ(ListExists(list, &unlisted), 0);
        };
        const auto survives = [&](auto insert) {
            EXPECT_EQ(expect_failures_survived(insert, unchanged), 1);
            EXPECT_EQ(ListRemove(list, &unlisted), 1);
        };
        survives([&] { return ListInsert(list, &unlisted) == 1; });
        survives([&] { return ListInsertAt(list, &unlisted, nullptr) == 1; });
        survives([&] { return ListInsertSorted(list, &unlisted, compare) == 1; });
        survives([&] { return ListInsertRN(list, &unlisted) != nullptr; });
        ListInsert(list, &objects[held]);
    }
    const long live = live_allocations();
    EXPECT_EQ(ListInsertAt(list, &unlisted, &unlisted), 0);
    EXPECT_EQ(live_allocations(), live);
    ListDestroy(list);
}

int out_of_range(const void *, const void *) { return 2; }

// Compares only what follows the head.
int below_range(const void *, const void *listed) { return listed == objects ? 1 : -2; }

void append_to_itself(sList *list) { ListAppend(list, list); }

void step_onto_nothing(sList *list) {
    list->head->objPtr = nullptr;
    ListGet(list, LIST_OP_NEXT);
}

void remove_cut_off(sList *list, sListNode *sListNode::*link) {
    sListNode *middle = list->head->next;
    middle->*link = nullptr;
    ListRemoveNode(list, 0, middle);
}

TEST(List, ContractViolationsAreReported) {
    constexpr char kRange[] = "-1 <= order && order <= 1";
    quill::test::expect_contracts({
        {[] { ListInsert(list_of(1), nullptr); }, "objPtr", "list", 117, "ListInsert"},
        {[] { ListInsertAt(list_of(0), nullptr, objects); }, "objPtr", "list", 117, "ListInsert"},
        {[] { ListInsertAt(list_of(1), nullptr, nullptr); }, "objPtr", "list", 155, "ListInsertAt"},
        {[] { ListInsertSorted(list_of(0), nullptr, compare); }, "objPtr", "list", 290, "ListInsertSorted"},
        {[] { ListInsertSorted(list_of(0), objects, nullptr); }, "compare", "list", 280, "ListInsertSorted"},
        {[] { ListInsertSorted(list_of(1), objects, out_of_range); }, kRange, "list", 300, "ListInsertSorted"},
        {[] { ListInsertSorted(list_of(3), objects, below_range); }, kRange, "list", 300, "ListInsertSorted"},
        {[] { ListInsertRN(list_of(0), nullptr); }, "objPtr", "list", 539, "ListInsertRN"},
        {[] { ListRemoveNode(nullptr, 0, nullptr); }, "list", "list", 570, "ListRemoveNode"},
        {[] { ListGetR(list_of(1), LIST_OP_NEXT, nullptr); }, "cursor", "list", 220, "ListGetR"},
        {[] { append_to_itself(list_of(1)); }, "destination != source", "list", 480, "ListAppend"},
        {[] { step_onto_nothing(list_of(1)); }, "node->objPtr", "list", 231, "ListGetR"},
        {[] { remove_cut_off(list_of(3), &sListNode::prev); }, "node->prev", "list", 582, "ListRemoveNode"},
        {[] { remove_cut_off(list_of(3), &sListNode::next); }, "node->next", "list", 583, "ListRemoveNode"},
    });
}

}  // namespace
