/* quill/list.h: a doubly linked list of object pointers with a built-in cursor.
 *
 * The list is for small collections whose order matters: the order of insertion, or one that a comparison gives. The
 * list stores pointers. It never copies an object, and frees objects only in the two functions whose names contain
 * FreeData.
 *
 * Cost: one heap block of three words per object. Inserting at either end, removing a node by its handle and stepping
 * take constant time. Functions that search for an object compare pointers from the head.
 *
 * Cursor: the list has one cursor of its own, for ListGet. Every insertion moves it to the new node, so a next step
 * right after an insertion returns the inserted object. When the node under the cursor is removed, the cursor moves on
 * to the following node. A walk with ListGetR uses a cursor of the caller's. Removals do not adjust it, so it must not
 * rest on a node that is removed.
 *
 * Every function except ListRemoveNode accepts a null list: the function then does nothing and returns 0 or null.
 * Inserting a null object breaks the contract. A search for a null object finds nothing. The same object may be
 * inserted more than once. Searches then find the occurrence nearest to the head. A list has no lock: only one thread
 * at a time may use it.
 *
 *     sList *queue = ListCreate();
 *     ListInsert(queue, station);
 *     ListGet(queue, LIST_OP_FIRST);
 *     for (void *s; (s = (void *)ListGet(queue, LIST_OP_NEXT)) != NULL;)
 *         serve(s);
 *     ListDestroy(queue); */
#ifndef QUILL_LIST_H
#define QUILL_LIST_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

typedef struct sList sList;         /* a list */
typedef struct sListNode sListNode; /* an object's place in one; both are handled by pointer only */

/* These numbers select what ListGet and ListGetR do. Any other number does nothing and gives 0. */
enum {
    LIST_OP_FIRST = 1,   /* put the cursor on the head; gives the number of objects */
    LIST_OP_HEAD = 2,    /* the head's object, 0 when the list is empty; the cursor stays */
    LIST_OP_TAIL = 3,    /* the tail's object, 0 when the list is empty; the cursor stays */
    LIST_OP_NEXT = 4,    /* the object under the cursor, which then moves on; 0 past the end */
    LIST_OP_PREVIOUS = 5 /* one step back, then the object before the cursor; see ListGet */
};

/* ListCompare gives the order of new_object against listed_object: exactly -1 (before), 0 (equal) or 1 (after). Any
 * other result breaks the contract. */
typedef int (*ListCompare)(const void *new_object, const void *listed_object);

/* ListCreate returns a new empty list, or null when out of memory. Release it with ListDestroy. */
QUILL_API sList *ListCreate(void);

/* ListInsert appends object (kept) at the tail. Returns 1, or 0 for a null list or when out of memory. */
QUILL_API int ListInsert(sList *list, void *object);

/* ListInsertAt inserts object (kept) right after the first node that holds anchor, or at the head when anchor is null.
 * On an empty list it does what ListInsert does, whatever the anchor is. Returns 1. Returns 0 with the list unchanged
 * when anchor is not listed, for a null list, or when out of memory. */
QUILL_API int ListInsertAt(sList *list, void *object, const void *anchor);

/* ListInsertSorted inserts object (kept) in the order of compare. An object equal to listed ones goes before the first
 * of them. The list must be in that order already. In a list of several objects, compare is called twice for the head
 * when the object goes after it. Returns 1, or 0 for a null list or when out of memory. */
QUILL_API int ListInsertSorted(sList *list, void *object, ListCompare compare);

/* ListInsertRN appends object (kept) like ListInsert and returns its node: a borrowed handle for ListRemoveNode, which
 * lasts until the object is removed. Returns null for a null list or when out of memory. */
QUILL_API sListNode *ListInsertRN(sList *list, void *object);

/* ListRemove unlinks the first node that holds object; the object itself stays. Returns 1, or 0 when it is absent. */
QUILL_API int ListRemove(sList *list, const void *object);

/* ListRemoveFreeData does what ListRemove does, and passes object to free() when it was listed. Returns 1, or 0 when
 * absent. */
QUILL_API int ListRemoveFreeData(sList *list, void *object);

/* ListRemoveNode unlinks node, a handle from ListInsertRN of this list, without a search; the object stays. The
 * argument ignored has no effect. Returns 1, or 0 for a null node. A null list breaks the contract. The node must be in
 * this very list. A node of another list, or one removed before, corrupts both lists. Only some of these errors are
 * detected as a breach of contract. */
QUILL_API int ListRemoveNode(sList *list, quill_word ignored, sListNode *node);

/* ListGetAndRemoveHead unlinks the head and returns its object, null when the list is empty. */
QUILL_API void *ListGetAndRemoveHead(sList *list);

/* ListExists returns 1 when some node holds object, else 0. */
QUILL_API int ListExists(const sList *list, const void *object);

/* ListEntries returns the number of nodes. */
QUILL_API uint32_t ListEntries(const sList *list);

/* ListGet does op (LIST_OP_…) on the list's own cursor and returns what op gives. That is an object pointer as a word,
 * or for LIST_OP_FIRST the number of objects.
 *
 * LIST_OP_PREVIOUS first moves the cursor to the previous node, or from past the end to the tail. It then gives the
 * object of the node before the cursor. So after LIST_OP_NEXT returned X, LIST_OP_PREVIOUS gives the object before X.
 * From past the end, its first result is the last object but one. It gives 0 when there is no such object. On the head,
 * the cursor stays where it is. */
QUILL_API quill_word ListGet(sList *list, int op);

/* ListGetR does what ListGet does, on the caller's own *cursor. LIST_OP_FIRST sets *cursor. So several walks at the
 * same time are possible. *cursor is null at the end of a walk. */
QUILL_API quill_word ListGetR(const sList *list, int op, sListNode **cursor);

/* ListReinit unlinks every node; the objects stay. Returns 1, or 0 for a null list. */
QUILL_API int ListReinit(sList *list);

/* ListAppend moves all nodes of source to the end of destination. When source had nodes, ListAppend also puts
 * destination's cursor on destination's head. The handle of source (taken) is freed, also when source was empty. Does
 * nothing when either is null; then source is not freed. destination and source must be different lists. */
QUILL_API void ListAppend(sList *destination, sList *source);

/* ListDestroy unlinks every node and frees the list (taken); the objects stay. */
QUILL_API void ListDestroy(sList *list);

/* ListDestroyFreeData does what ListDestroy does, and passes every object to free(). So no object may be listed twice.
 */
QUILL_API void ListDestroyFreeData(sList *list);

QUILL_END_DECLS

#endif
