/*
** The key map: a list of entries, newest at the front, searched linearly.
*/
#define RK_SOURCE_NAME "mmap1"
#include "mmap.h"

#include "rkmem.h"

namespace {
mmapEntry *findEntry(mmap *map, intptr_t key) {
  for (mmapEntry *e = map->first; e != nullptr; e = e->next)
    if (map->equal ? map->equal(key, e->key) != 0 : key == e->key) return e;
  return nullptr;
}
} // namespace

mmap *mmapNew(mmapEqual equal) {
  auto *map = static_cast<mmap *>(rkAllocatez(sizeof(mmap)));
  map->equal = equal;
  return map;
}

void mmapFree(mmap *map) {
  if (map == nullptr) return;
  for (mmapEntry *e = map->first; e != nullptr;) {
    mmapEntry *next = e->next;
    rkFree(e);
    e = next;
  }
  rkFree(map);
}

intptr_t mmapPut(mmap *map, intptr_t key, intptr_t value) {
  if (mmapEntry *e = findEntry(map, key)) {
    intptr_t old = e->value;
    e->value = value;
    return old;
  }
  auto *e = static_cast<mmapEntry *>(rkAllocatez(sizeof(mmapEntry)));
  e->next = map->first;
  e->key = key;
  e->value = value;
  map->first = e;
  return 0;
}

intptr_t mmapGet(mmap *map, intptr_t key) {
  mmapEntry *e = findEntry(map, key);
  return e ? e->value : 0;
}
