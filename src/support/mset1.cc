/*
** The ordered set: find, insert and walk over a sorted list held in a root
** word. Every search is a walk from the front of the list.
*/
#include "mlist.h"

namespace {
intptr_t msetCell; /* the result of the latest msetFind */

mlist *rootList(intptr_t *root) {
  if (*root == 0) *root = reinterpret_cast<intptr_t>(mlistNew());
  return reinterpret_cast<mlist *>(*root);
}
} // namespace

intptr_t *msetFind(intptr_t key, intptr_t *root, mlistCompare compare) {
  msetCell = mlistFind(rootList(root), key, compare);
  return &msetCell;
}

void msetInsert(intptr_t value, intptr_t *root, mlistCompare compare) {
  mlistInsertSorted(rootList(root), value, compare);
}

void msetWalk(intptr_t root, msetVisitor visitor) {
  if (root == 0) return;
  for (mlistNode *node = reinterpret_cast<mlist *>(root)->first; node; node = node->next) {
    intptr_t cell = node->value;
    visitor(&cell, 1, 1);
  }
}
