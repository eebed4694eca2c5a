/*
** One difference while a list of them is being made, and what every list
** does with them at the end: the one order they are given in, and the copy
** of each into the list's own arena.
*/
#ifndef RKDD_KIT_CHANGE_H
#define RKDD_KIT_CHANGE_H

#include <rkdd/kit.h>

#include "arena.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace kit {

struct Change {
  int attr, defKind;
  std::string def, field, oldText, newText;
  int cls = 0; /* KIT_BREAKING or KIT_COMPATIBLE, once ruled */
};

/* By definition name, kind, field name and attribute; ties keep their order. */
inline void sortChanges(std::vector<Change> &all) {
  std::stable_sort(all.begin(), all.end(), [](const Change &x, const Change &y) {
    return std::tie(x.def, x.defKind, x.field, x.attr) < std::tie(y.def, y.defKind, y.field, y.attr);
  });
}

/* The change as the public struct, its texts copied into the arena. */
inline void storeChange(Arena &arena, kitChange &k, const Change &c) {
  k.attr = c.attr;
  k.defKind = c.defKind;
  k.def = arena.copy(c.def);
  k.field = arena.copy(c.field);
  k.oldText = arena.copy(c.oldText);
  k.newText = arena.copy(c.newText);
}

} // namespace kit

#endif
