/*
** Singly linked lists of one-word values, and the ordered set laid over a
** sorted list. A list owns its nodes, never what its values point to.
*/
#ifndef RKDD_SUPPORT_MLIST_H
#define RKDD_SUPPORT_MLIST_H

#include <stdint.h>

/* One element. Callers walking with mlistHead/mlistNext read value. */
typedef struct mlistNode {
  intptr_t value;
  struct mlistNode *next;
} mlistNode;

typedef struct mlist {
  mlistNode *first;
} mlist;

/* Compare two words: 0 equal, negative when a ranks first, positive after. */
typedef int (*mlistCompare)(intptr_t a, intptr_t b);
/* Called on each value; a non-zero result stops mlistForEach. */
typedef int (*mlistVisit)(intptr_t value, void *context);
/* Set visitor: the address of a cell holding the element, kind, depth. */
typedef int (*msetVisitor)(const intptr_t *cell, int kind, int depth);

/* A new empty list. */
mlist *mlistNew(void);
/* Releases the nodes and the head; null does nothing. */
void mlistFree(mlist *list);
/* Puts value at the front. */
void mlistPush(mlist *list, intptr_t value);
/* Inserts before the first element e with compare(value, e) <= 0. */
void mlistInsertSorted(mlist *list, intptr_t value, mlistCompare compare);
/* Links fresh, a node that the caller made and keeps, behind node (at the
** front when node is null) with value in it, and gives it. Lets a caller that
** knows the place keep a sorted list without a walk, in nodes it carves
** itself; such a list must not go to mlistFree. */
mlistNode *mlistLinkAfter(mlist *list, mlistNode *node, mlistNode *fresh, intptr_t value);
/* The first element e with compare(key, e) == 0, or 0. */
intptr_t mlistFind(mlist *list, intptr_t key, mlistCompare compare);
/* Number of elements. */
int mlistCount(mlist *list);
/* Calls visit(value, context) from the front until it gives non-zero. */
void mlistForEach(mlist *list, mlistVisit visit, void *context);
/* The first node, or null for a null or empty list. */
mlistNode *mlistHead(mlist *list);
/* The node's successor, or null. */
mlistNode *mlistNext(mlistNode *node);
/* The value at index, or 0 for a null list or an index past the end. */
intptr_t mlistNth(mlist *list, unsigned int index);

/* Ordered set. *root holds an mlist pointer or 0; the caller passes the same
** compare on every call for one root. */

/* Looks key up; gives the address of the process-wide set cell, which holds
** the element found or 0. Read it before the next msetFind. */
intptr_t *msetFind(intptr_t key, intptr_t *root, mlistCompare compare);
/* Inserts value in order; equal elements are allowed, the newest first. */
void msetInsert(intptr_t value, intptr_t *root, mlistCompare compare);
/* Calls visitor(&cell, 1, 1) on every element in order; never stops early. */
void msetWalk(intptr_t root, msetVisitor visitor);

/* Guards on words handed to the list by its callers. A failed guard reports
** the fault on standard error, breaks into an attached debugger, and gives 0
** so the operation can carry on; it gives 1 when the word is good. */
int mlistPointerGuard(intptr_t word, const char *operation);
int mlistWordGuard(intptr_t word, const char *operation);

#endif
