#include <quill/list.h>

#include <quill/types.h>

#include <assert.h>
#include <stdlib.h>

#include <utility>

#include "base/contract.h"
#include "base/memory.h"

// How it works
//
//     list:  head ──▶ node ◀──▶ node ◀──▶ node ◀── tail          count = 3
//                              cursor ──▲
//
// The outer links of the first and the last node are null. The other functions use three primitives. link_between()
// puts a node between two neighbours, unlink() takes one out, and find() searches from the head. A function that links
// a node puts the cursor on it. unlink() moves the cursor off the removed node, so the cursor is always null or on a
// member.

struct sListNode {
    void *objPtr;  // never null
    sListNode *next;
    sListNode *prev;
};

struct sList {
    sListNode *head;
    sListNode *tail;
    sListNode *cursor;  // what the next step of ListGet returns
    uint32_t count;
};

namespace {

using quill::require;

using NodeOwner = quill::Owned<sListNode>;

// Inlined, so that the line and the function are passed only when an error is reported.
inline NodeOwner new_node(void *object, unsigned line, const char *function) {
    NodeOwner node = quill::new_object<sListNode>();
    if (!node) return node;
    require(object != nullptr, "objPtr", "list", line, function);
    node->objPtr = object;
    return node;
}

// A null prev links at the head, a null next at the tail.
sListNode *link_between(sList &list, sListNode *prev, sListNode *next, NodeOwner owner) {
    sListNode *node = owner.release();
    node->prev = prev;
    node->next = next;
    (prev ? prev->next : list.head) = node;
    (next ? next->prev : list.tail) = node;
    list.cursor = node;
    list.count++;
    return node;
}

sListNode *append(sList &list, NodeOwner node) { return link_between(list, list.tail, nullptr, std::move(node)); }

// Takes the node out of the list; the caller then owns it. Marked inline, because a removal does little else.
inline void unlink(sList &list, const sListNode *node) {
    assert((node->prev ? node->prev->next : list.head) == node && "a node of this list");
    assert((node->next ? node->next->prev : list.tail) == node && "a node of this list");
    assert(list.count > 0);
    if (list.cursor == node) list.cursor = node->next;
    (node->prev ? node->prev->next : list.head) = node->next;
    (node->next ? node->next->prev : list.tail) = node->prev;
    if (--list.count == 0) list.head = list.tail = list.cursor = nullptr;
}

void remove(sList &list, sListNode *node) {
    unlink(list, node);
    free(node);
}

sListNode *find(const sList &list, const void *object) {
    sListNode *node = list.head;
    while (node && node->objPtr != object) node = node->next;
    return node;
}

bool sorts_after(const void *object, const sListNode &listed, ListCompare compare) {
    const int order = compare(object, listed.objPtr);
    require(-1 <= order && order <= 1, "-1 <= order && order <= 1", "list", 300, "ListInsertSorted");
    return order == 1;
}

quill_word as_word(const void *object) { return reinterpret_cast<quill_word>(object); }

quill_word object_of(const sListNode *node) { return node ? as_word(node->objPtr) : 0; }

sListNode *&checked(sListNode **cursor) {
    require(cursor != nullptr, "cursor", "list", 220, "ListGetR");
    return *cursor;
}

quill_word step_next(sListNode *&cursor) {
    const sListNode *node = cursor;
    if (!node) return 0;
    cursor = node->next;
    require(node->objPtr != nullptr, "node->objPtr", "list", 231, "ListGetR");
    return as_word(node->objPtr);
}

quill_word step_previous(const sList &list, sListNode *&cursor) {
    sListNode *node = cursor ? cursor->prev : list.tail;
    if (!node) return 0;
    cursor = node;
    return object_of(node->prev);
}

void remove_all(sList &list) {
    while (list.head) remove(list, list.head);
}

}  // namespace

sList *ListCreate(void) { return quill::new_zeroed<sList>().release(); }

int ListInsert(sList *list, void *object) {
    if (!list) return 0;
    NodeOwner node = new_node(object, 117, __func__);
    return node && append(*list, std::move(node));
}

int ListInsertAt(sList *list, void *object, const void *anchor) {
    if (!list) return 0;
    if (!list->head) return ListInsert(list, object);
    NodeOwner node = new_node(object, 155, __func__);
    if (!node) return 0;
    sListNode *prev = anchor ? find(*list, anchor) : nullptr;
    if (anchor && !prev) return 0;
    link_between(*list, prev, prev ? prev->next : list->head, std::move(node));
    return 1;
}

int ListInsertSorted(sList *list, void *object, ListCompare compare) {
    if (!list) return 0;
    require(compare != nullptr, "compare", "list", 280, "ListInsertSorted");
    NodeOwner node = new_node(object, 290, __func__);
    if (!node) return 0;
    sListNode *next = list->head;
    // With several nodes, the head is compared twice if the object sorts after it. Compatibility: comparison functions
    // may count their calls.
    if (list->count > 1 && sorts_after(object, *next, compare)) {
        while (next && sorts_after(object, *next, compare)) next = next->next;
    } else if (list->count == 1 && sorts_after(object, *next, compare)) {
        next = nullptr;
    }
    link_between(*list, next ? next->prev : list->tail, next, std::move(node));
    return 1;
}

sListNode *ListInsertRN(sList *list, void *object) {
    if (!list) return nullptr;
    NodeOwner node = new_node(object, 539, __func__);
    return node ? append(*list, std::move(node)) : nullptr;
}

int ListRemove(sList *list, const void *object) {
    sListNode *node = list ? find(*list, object) : nullptr;
    if (!node) return 0;
    remove(*list, node);
    return 1;
}

int ListRemoveFreeData(sList *list, void *object) {
    if (!ListRemove(list, object)) return 0;
    free(object);
    return 1;
}

int ListRemoveNode(sList *list, quill_word, sListNode *node) {
    require(list != nullptr, "list", "list", 570, "ListRemoveNode");
    if (!node) return 0;
    if (node != list->head && node != list->tail) {
        require(node->prev != nullptr, "node->prev", "list", 582, "ListRemoveNode");
        require(node->next != nullptr, "node->next", "list", 583, "ListRemoveNode");
    }
    remove(*list, node);
    return 1;
}

void *ListGetAndRemoveHead(sList *list) {
    if (!list || !list->head) return nullptr;
    const NodeOwner head(list->head);
    unlink(*list, head.get());
    return head->objPtr;
}

int ListExists(const sList *list, const void *object) { return list && find(*list, object); }

uint32_t ListEntries(const sList *list) { return list ? list->count : 0; }

quill_word ListGet(sList *list, int op) { return list ? ListGetR(list, op, &list->cursor) : 0; }

quill_word ListGetR(const sList *list, int op, sListNode **cursor) {
    if (!list) return 0;
    if (op == LIST_OP_NEXT) [[likely]]
        return step_next(checked(cursor));  // most steps of a walk are this case; a jump table would double the cost
    switch (op) {
        case LIST_OP_FIRST: checked(cursor) = list->head; return list->count;
        case LIST_OP_HEAD: return object_of(list->head);
        case LIST_OP_TAIL: return object_of(list->tail);
        case LIST_OP_PREVIOUS: return step_previous(*list, checked(cursor));
        default: return 0;
    }
}

int ListReinit(sList *list) {
    if (!list) return 0;
    remove_all(*list);
    return 1;
}

void ListAppend(sList *destination, sList *source) {
    if (!destination || !source) return;
    require(destination != source, "destination != source", "list", 480, "ListAppend");
    if (source->head) {
        (destination->tail ? destination->tail->next : destination->head) = source->head;
        source->head->prev = destination->tail;
        destination->tail = source->tail;
        destination->count += source->count;
        destination->cursor = destination->head;
    }
    free(source);
}

void ListDestroy(sList *list) {
    if (!list) return;
    remove_all(*list);
    free(list);
}

void ListDestroyFreeData(sList *list) {
    if (!list) return;
    while (list->head) free(ListGetAndRemoveHead(list));
    free(list);
}
