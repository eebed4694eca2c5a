/*
** The small schema at start-up: the first load of a fresh process beside a
** warm one, with its page faults and its resident and heap growth, and name
** look-ups in one small site; each beside the peers.
*/
#ifndef RKDD_BENCH_STARTUP_H
#define RKDD_BENCH_STARTUP_H

namespace startup {

/* Registers the Start/ and Small/ benchmarks. */
void registerAll();

/* When argv asks this program to be a start-up child, measures that one
** load and gives the exit status; otherwise -1. */
int childMain(int argc, char **argv);

} // namespace startup

#endif
