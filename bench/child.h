/*
** What the benchmark groups share: the CPU clock and a measurement run in a
** child process of its own, which starts with no sites.
*/
#ifndef RKDD_BENCH_CHILD_H
#define RKDD_BENCH_CHILD_H

#include <functional>

namespace bench {

/* CPU seconds of this process: steadier than the wall clock on a shared machine. */
double cpuNow();

/* Runs job in a child process with standard output (the library's warnings)
** on /dev/null, and gives the number it reports; negative when the child
** failed. */
double inChild(const std::function<double()> &job);

} // namespace bench

#endif
