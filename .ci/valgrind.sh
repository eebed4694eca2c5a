#!/usr/bin/env bash
# The whole test suite of the plain build once under valgrind memcheck: any
# error, and any definitely lost block, fails it. The library keeps its
# blocks until the process ends by design, so reachable and possibly lost
# blocks (the memory layer hands out pointers behind a block header) do not.
#
# Left out: shared_library_exports, which runs cmake on the library file
# and none of our code. The death tests stay in: valgrind follows their
# children, and a child that aborts or exits on purpose still has its blocks
# reachable.
set -euo pipefail
cd "$(dirname "$0")/.."

#
# The memory layer is built without its pools here (RKDD_POOL=OFF), so that
# every block is a malloc block of its own that memcheck watches.
build=build-valgrind
jobs=$(nproc)
cmake --preset valgrind
cmake --build --preset valgrind -j "$jobs"
exclude="^shared_library_exports$"
echo "== tests under valgrind memcheck (excluded: $exclude)"
ctest -S .ci/memcheck.cmake -DBUILD="$PWD/$build" -DEXCLUDE="$exclude" -DJOBS="$jobs"
