/*
** Peak heap use of a stretch of code: malloc and its relatives are wrapped for
** the whole program, and while counting is on they follow the bytes held.
*/
#ifndef RKDD_BENCH_HEAP_H
#define RKDD_BENCH_HEAP_H

#include <cstddef>

namespace heap {

/* Starts counting from zero; blocks freed from here on that were taken before
** count as given back. */
void start();
/* The most bytes held at any time since start, as the allocator sizes blocks. */
long long peak();

} // namespace heap

#endif
