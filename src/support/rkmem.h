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

#endif
