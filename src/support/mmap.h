/*
** Small association of one-word keys to one-word values, newest first.
** A map owns its entries, never its keys or values.
*/
#ifndef RKDD_SUPPORT_MMAP_H
#define RKDD_SUPPORT_MMAP_H

#include <stdint.h>

/* Key equality: non-zero when wanted equals key. Null compares the words. */
typedef int (*mmapEqual)(intptr_t wanted, intptr_t key);

typedef struct mmapEntry {
  struct mmapEntry *next;
  intptr_t key;
  intptr_t value;
} mmapEntry;

typedef struct mmap {
  mmapEntry *first;
  mmapEqual equal;
  void *index; /* with word equality: a hash from key to entry, beside the list */
} mmap;

/* A new empty map. */
mmap *mmapNew(mmapEqual equal);
/* Releases the entries and the map; null does nothing. */
void mmapFree(mmap *map);
/* Sets key's value; gives the value replaced, or 0 for a new key. */
intptr_t mmapPut(mmap *map, intptr_t key, intptr_t value);
/* The key's value, or 0. */
intptr_t mmapGet(mmap *map, intptr_t key);

#endif
