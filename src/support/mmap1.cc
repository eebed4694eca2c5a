/*
** The key map: a list of entries, newest at the front. A map whose keys are
** equal when their words are equal also keeps a hash from key to entry, so
** that it is not searched from the front; one with its own equality is.
*/
#define RK_SOURCE_NAME "mmap1"
#include "mmap.h"

#include "mhash.h"
#include "rkmem.h"

namespace {
using KeyIndex = WordHash<mmapEntry *>;

KeyIndex *indexOf(mmap *map) {
  return static_cast<KeyIndex *>(map->index);
}

mmapEntry *findEntry(mmap *map, intptr_t key) {
  if (KeyIndex *index = indexOf(map)) {
    mmapEntry **e = index->find(static_cast<uint64_t>(key));
    return e ? *e : nullptr;
  }
  for (mmapEntry *e = map->first; e != nullptr; e = e->next)
    if (map->equal ? map->equal(key, e->key) != 0 : key == e->key) return e;
  return nullptr;
}
} // namespace

mmap *mmapNew(mmapEqual equal) {
  auto *map = static_cast<mmap *>(rkAllocatez(sizeof(mmap)));
  map->equal = equal;
  if (equal == nullptr) map->index = new KeyIndex;
  return map;
}

void mmapFree(mmap *map) {
  if (map == nullptr) return;
  for (mmapEntry *e = map->first; e != nullptr;) {
    mmapEntry *next = e->next;
    rkFree(e);
    e = next;
  }
  delete indexOf(map);
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
  bool fresh;
  if (KeyIndex *index = indexOf(map)) index->insert(static_cast<uint64_t>(key), &fresh) = e;
  return 0;
}

intptr_t mmapGet(mmap *map, intptr_t key) {
  mmapEntry *e = findEntry(map, key);
  return e ? e->value : 0;
}
