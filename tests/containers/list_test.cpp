#include <quill/list.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <tuple>
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

namespace quill::test {
namespace {

int objects[] = {0, 0, 1, 1, 2, 2, 3, 3};  // compared in pairs, told apart by address
int unlisted;
size_t compared;

int compare(const void *new_object, const void *listed_object) {
    compared++;
    const int a = *static_cast<const int *>(new_object), b = *static_cast<const int *>(listed_object);
    return (a > b) - (a < b);
}

quill_word word(const void *object) { return reinterpret_cast<quill_word>(object); }

void *object_of(const sListNode *node) { return node ? node->objPtr : nullptr; }

sList *list_of(size_t count) {
    sList *list = ListCreate();
    for (size_t i = 0; i < count; i++) ListInsert(list, &objects[i]);
    return list;
}

// Random operations on a list, and what it should then hold.
class ListSequence {
public:
    explicit ListSequence(uint64_t seed) : random_(seed), list_(ListCreate()) {}
    ~ListSequence() { ListDestroy(list_); }

    void step() {
        int *const object = &objects[random_.below(8)], *const anchor = &objects[random_.below(8)];
        const size_t size = held_.size(), at = find(object), behind = size == 0 ? 0 : find(anchor) + 1;
        switch (random_.below(14)) {
            case 0: insert(size, object, [&] { return ListInsert(list_, object) == 1; }); break;
            case 1: insert(size, object, [&] { return object_of(ListInsertRN(list_, object)) == object; }); break;
            case 2: insert(0, object, [&] { return ListInsertAt(list_, object, nullptr) == 1; }); break;
            case 3: insert(behind, object, [&] { return ListInsertAt(list_, object, anchor) == 1; }); break;
            case 4: insert_sorted(object); break;
            case 5: EXPECT_EQ(ListExists(list_, object), at < size); [[fallthrough]];
            case 6: remove(ListRemove(list_, object) == 1, at); break;
            case 7: remove(ListGetAndRemoveHead(list_) == (size ? held_[0] : nullptr) && size > 0, 0); break;
            case 8: remove_node(random_.below(8)); break;
            case 9: append(random_.below(4)); break;
            case 10:
                if (random_.one_in(20)) reinitialise();
                break;
            default: walk(static_cast<int>(random_.below(7)), static_cast<int>(random_.below(7)));
        }
        check();
    }

private:
    size_t find(const int *object) const {
        return static_cast<size_t>(std::find(held_.begin(), held_.end(), object) - held_.begin());
    }
    // Of the insertions some find no memory.
    template <typename Insertion>
    void insert(size_t at, int *object, Insertion insertion) {
        bool inserted, failed;
        {
            const NthAllocation failing(random_.one_in(8) ? 1 : 2);
            inserted = insertion();
            failed = failing.reached();
        }
        ASSERT_EQ(inserted, at <= held_.size() && !failed);
        if (!inserted) return;
        held_.insert(held_.begin() + static_cast<ptrdiff_t>(at), object);
        callers_ += callers_ >= at;
        own_ = at;
    }
    void insert_sorted(int *object) {
        const size_t size = held_.size();
        const auto not_after = [object](const int *listed) { return *object <= *listed; };
        const auto at = static_cast<size_t>(std::find_if(held_.begin(), held_.end(), not_after) - held_.begin());
        compared = 0;
        insert(at, object, [&] { return ListInsertSorted(list_, object, compare) == 1; });
        if (held_.size() == size) return;
        // With several nodes the head is compared once more when it does not decide.
        EXPECT_EQ(compared, size < 2 ? size : at == 0 ? 1 : 1 + std::min(at + 1, size));
    }
    // A caller's cursor must not stay on a removed node.
    void remove(bool removed, size_t at) {
        ASSERT_EQ(removed, at < held_.size());
        if (!removed) return;
        held_.erase(held_.begin() + static_cast<ptrdiff_t>(at));
        own_ -= own_ > at;
        if (callers_ > at)
            callers_--;
        else if (callers_ == at)
            walk(LIST_OP_HEAD, LIST_OP_FIRST);
    }
    void remove_node(size_t at) {
        sListNode *node = list_->head;
        for (size_t i = 0; node && i < at; i++) node = node->next;
        if (node) remove(ListRemoveNode(list_, 0, node) == 1, at);
        EXPECT_EQ(ListRemoveNode(list_, 1, nullptr), 0);
    }
    void append(uint32_t count) {
        const bool callers_at_end = callers_ == held_.size();
        for (uint32_t i = 0; i < count; i++) held_.push_back(&objects[i]);
        ListAppend(list_, list_of(count));
        // A null own cursor moves only with nodes that arrive; a caller's stays null in any case.
        if (count > 0) own_ = 0;
        if (callers_at_end) callers_ = held_.size();
    }
    void reinitialise() {
        EXPECT_EQ(ListReinit(list_), 1);
        held_.clear();
        own_ = callers_ = 0;
        cursor_ = nullptr;
    }
    quill_word get(int op, size_t &cursor) const {
        const size_t size = held_.size();
        if (op == LIST_OP_FIRST) return cursor = 0, size;
        if (op == LIST_OP_HEAD) return size ? word(held_.front()) : 0;
        if (op == LIST_OP_TAIL) return size ? word(held_.back()) : 0;
        if (op == LIST_OP_NEXT) return cursor < size ? word(held_[cursor++]) : 0;
        // Of the object before the cursor's new place.
        if (op == LIST_OP_PREVIOUS && cursor > 0) return --cursor ? word(held_[cursor - 1]) : 0;
        return 0;
    }
    void walk(int op, int callers_op) {
        EXPECT_EQ(ListGet(list_, op), get(op, own_)) << "op " << op;
        EXPECT_EQ(ListGetR(list_, callers_op, &cursor_), get(callers_op, callers_)) << "op " << callers_op;
    }
    void check() const {
        const size_t size = held_.size();
        size_t own = list_->cursor ? SIZE_MAX : size, callers = cursor_ ? SIZE_MAX : size;
        std::vector<int *> found;
        const sListNode *previous = nullptr;
        for (const sListNode *node = list_->head; node; previous = node, node = node->next) {
            ASSERT_EQ(node->prev, previous);
            if (node == list_->cursor) own = found.size();
            if (node == cursor_) callers = found.size();
            found.push_back(static_cast<int *>(node->objPtr));
        }
        ASSERT_EQ(found, held_);
        ASSERT_EQ(std::tuple(list_->tail, ListEntries(list_), own, callers),
                  std::tuple(previous, size, own_, callers_));
    }

    Random random_;
    sList *list_;
    sListNode *cursor_ = nullptr;
    std::vector<int *> held_;
    size_t own_ = 0, callers_ = 0;  // where the list's cursor and the caller's stand; the size stands for null
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

TEST(List, FreeDataFunctionsFreeEveryListedObjectOnce) {
    const long live = live_allocations();
    sList *list = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (list = ListCreate()) != nullptr; }), 1);
    for (int i = 0; i < 4; i++) ListInsert(list, malloc(1));
    EXPECT_EQ(ListRemoveFreeData(list, &unlisted), 0);
    EXPECT_EQ(ListRemoveFreeData(list, list->head->objPtr), 1);
    EXPECT_EQ(live_allocations(), live + 1 + 2 * 3);
    ListDestroyFreeData(list);
    EXPECT_EQ(live_allocations(), live);
}

TEST(List, ANullListDoesNothing) {
    sListNode *cursor = nullptr;
    EXPECT_EQ(ListInsert(nullptr, objects) + ListInsertAt(nullptr, objects, nullptr), 0);
    EXPECT_EQ(ListInsertSorted(nullptr, objects, compare), 0);
    EXPECT_EQ(ListInsertRN(nullptr, objects), nullptr);
    EXPECT_EQ(ListRemove(nullptr, objects) + ListRemoveFreeData(nullptr, objects), 0);
    EXPECT_EQ(ListGetAndRemoveHead(nullptr), nullptr);
    EXPECT_EQ(ListExists(nullptr, objects) + ListReinit(nullptr), 0);
    EXPECT_EQ(ListEntries(nullptr), 0u);
    for (int op = 0; op < 7; op++) EXPECT_EQ(ListGet(nullptr, op) | ListGetR(nullptr, op, &cursor), 0u);
    ListDestroy(nullptr);
    ListDestroyFreeData(nullptr);
    sList *list = list_of(1);
    ListAppend(nullptr, list);
    ListAppend(list, nullptr);
    EXPECT_EQ(ListEntries(list), 1u);
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
    expect_contracts({
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
}  // namespace quill::test
