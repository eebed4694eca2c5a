/*
** Inside the definition buffer: the calls between its rules (ddbuffer1) and
** the indexes and arena that make them fast (ddbufidx1).
*/
#ifndef RKDD_IMPORT_DDBUFIDX_H
#define RKDD_IMPORT_DDBUFIDX_H

#include <stddef.h>
#include <stdint.h>

#include "import/ddbuffer.h"

/* A new zeroed entry with its own copy of name in the same piece, put into
** the name set whose list is *list (made on first use) in front of its
** equals. It lives as long as the buffers. */
template <typename Entry> Entry *ddBufAddNamed(mlist **list, const char *name);
/* Puts an entry into the number set whose list is *list in front of its
** equals. */
void ddBufInsertNumber(mlist **list, ddBufNumbered *entry);

/* The blocks the arena carves, taken from and given back to the memory
** layer on behalf of the buffer (ddbuffer1): zeroed, size bytes. */
void *ddBufferNewBlock(size_t size);
void ddBufferFreeBlock(void *block);

#endif
