/*
** Allocation helpers for the library's own sources. Each source file defines
** RK_SOURCE_NAME (its name without directory or extension) before including
** this, so that every block is tagged with the file and line that asked.
*/
#ifndef RKDD_SUPPORT_RKMEM_H
#define RKDD_SUPPORT_RKMEM_H

#include "rkruntime.h"

#define rkAllocate(size)  UZA_allocate((size), RK_SOURCE_NAME, __LINE__)
#define rkAllocatez(size) UZA_allocatez((size), RK_SOURCE_NAME, __LINE__)
#define rkFree(block)     UZA_free((block), RK_SOURCE_NAME, __LINE__)

/* 1 where the memory layer serves every block from malloc (see rkruntime.h):
** code that carves small pieces from large blocks then takes a block per
** piece too, so that memory tools see each one. */
#if defined(RKRUNTIME_NO_POOL)
#define RK_PIECE_BY_PIECE 1
#else
#define RK_PIECE_BY_PIECE 0
#endif

#endif
