#include <quill/list.h>

#include <ctype.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>

#include "support/case_file.h"
#include "support/contract.h"
#include "support/failing_alloc.h"

// The records as debuggers see them. Programs see only their names.
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

char objects[128];  // objects are letters; the comparison ignores case
quill_word compared;

char *object(char name) { return &objects[static_cast<size_t>(name)]; }
char name_of(const void *at) { return at ? static_cast<char>(static_cast<const char *>(at) - objects) : '.'; }
char digit(quill_word number) { return static_cast<char>('0' + number); }

int compare(const void *new_object, const void *listed_object) {
    compared++;
    const int a = tolower(name_of(new_object)), b = tolower(name_of(listed_object));
    return (a > b) - (a < b);
}

sList *list_of(int count) {
    sList *list = ListCreate();
    for (int i = 0; i < count; i++) ListInsert(list, object(static_cast<char>('x' + i)));
    return list;
}

sListNode *node_of(const sList *list, const void *object) {
    sListNode *node = list ? list->head : nullptr;
    while (node && node->objPtr != object) node = node->next;
    return node;
}

// Returns the objects, with > before the one at the list's cursor and ) before the one at the caller's. Both marks may
// be at the end.
std::string state(const sList *list, const sListNode *cursor) {
    std::string text;
    const sListNode *previous = nullptr;
    uint32_t count = 0;
    for (const sListNode *node = list ? list->head : nullptr; node; previous = node, node = node->next, count++) {
        EXPECT_EQ(node->prev, previous);
        text += std::string(node == list->cursor, '>') + std::string(node == cursor, ')') + name_of(node->objPtr);
    }
    EXPECT_EQ(list ? list->tail : nullptr, previous);
    EXPECT_EQ(ListEntries(list), count);
    return text + std::string(!list || !list->cursor, '>') + std::string(!cursor, ')');
}

// Returns the results of a script's operations, and the list at each space. Allocations fail in operations after %.
std::string operate(sList *list, const char *script) {
    std::string shown;
    shown.reserve(400);
    sListNode *cursor = nullptr;
    for (const char *s = script; *s; s++) {
        const NthAllocation failing(*s == '%' ? 1 : 9);
        const char op = *(s += *s == '%');
        char *const x = strchr("+&<@~-?#", op) ? object(*++s) : nullptr;
        switch (op) {
            case ' ': shown += ' ' + state(list, cursor) + ' '; break;
            case '+': shown += digit(ListInsert(list, x) == 1); break;
            case '&': shown += ListInsertRN(list, x) ? '1' : '0'; break;
            case '<': shown += digit(ListInsertAt(list, x, nullptr) == 1); break;
            case '@': shown += digit(ListInsertAt(list, x, object(*++s)) == 1); break;
            case '~': shown += digit(ListInsertSorted(list, x, compare) == 1); break;
            case '-': shown += digit(ListRemove(list, x) == 1); break;
            case '?': shown += digit(ListExists(list, x) == 1); break;
            case '#': shown += digit(list && ListRemoveNode(list, 1, node_of(list, x)) == 1); break;
            case '^': shown += name_of(ListGetAndRemoveHead(list)); break;
            case '!': shown += digit(ListReinit(list) == 1); break;
            case '*': ListAppend(list, list_of(*++s - '0')); break;
            case ':': shown += digit(std::exchange(compared, 0)); break;
            default: {  // a step of the list's cursor; a capital letter moves the caller's cursor
                constexpr char kSteps[] = "0fhtnp6";
                const int step = static_cast<int>(strchr(kSteps, tolower(op)) - kSteps);
                const quill_word got = isupper(op) ? ListGetR(list, step, &cursor) : ListGet(list, step);
                shown += step == LIST_OP_FIRST ? digit(got) : name_of(reinterpret_cast<const void *>(got));
            }
        }
    }
    ListDestroy(list);
    return shown;
}

std::string list(const char *script) { return operate(ListCreate(), script); }

std::string null_list(const char *script) { return operate(nullptr, script); }

TEST(List, Cases) { expect_cases("containers/list.cases", QUILL_CASE_FUNCTIONS(list, null_list)); }

TEST(List, FreeDataFunctionsFreeEveryListedObjectOnce) {
    const long live = live_allocations();
    sList *list = nullptr;
    EXPECT_EQ(expect_failures_survived([&] { return (list = ListCreate()) != nullptr; }), 1);
    for (int i = 0; i < 4; i++) ListInsert(list, malloc(1));
    EXPECT_EQ(ListRemoveFreeData(list, objects) + ListRemoveFreeData(nullptr, objects), 0);
    EXPECT_EQ(ListRemoveFreeData(list, list->head->objPtr), 1);
    EXPECT_EQ(live_allocations(), live + 1 + 2 * 3);
    ListDestroyFreeData(list);
    ListDestroyFreeData(nullptr);
    ListAppend(nullptr, list = list_of(1));
    ListAppend(list, nullptr);
    EXPECT_EQ(ListEntries(list), 1u);
    ListDestroy(list);
    EXPECT_EQ(live_allocations(), live);
}

int out_of_range(const void *, const void *) { return 2; }

// Gives a wrong result only for nodes after the head.
int below_range(const void *, const void *listed) { return listed == &objects[int{'x'}] ? 1 : -2; }

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
