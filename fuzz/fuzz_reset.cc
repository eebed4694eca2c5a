/*
** A fresh store for each input without a process of its own: every block
** the memory layer hands out is noted here (the fuzz targets are linked with
** --wrap on its three entry points), and fuzzFreshStore forgets the state of
** the library's source files and releases every block still live.
*/
#include <cstddef>
#include <unordered_set>

#include "import/ddbuffer.h"
#include "rkruntime.h"
#include "store/ddstore.h"

extern "C" {
void *__real_UZA_allocate(size_t size, const char *file, int line);
void *__real_UZA_allocatez(size_t size, const char *file, int line);
void __real_UZA_free(void *block, const char *file, int line);
}

namespace {
std::unordered_set<void *> &liveBlocks() {
  static auto *blocks = new std::unordered_set<void *>; /* lives to exit */
  return *blocks;
}
} // namespace

extern "C" void *__wrap_UZA_allocate(size_t size, const char *file, int line) {
  void *block = __real_UZA_allocate(size, file, line);
  liveBlocks().insert(block);
  return block;
}

extern "C" void *__wrap_UZA_allocatez(size_t size, const char *file, int line) {
  void *block = __real_UZA_allocatez(size, file, line);
  liveBlocks().insert(block);
  return block;
}

extern "C" void __wrap_UZA_free(void *block, const char *file, int line) {
  liveBlocks().erase(block);
  __real_UZA_free(block, file, line);
}

void fuzzFreshStore() {
  ddBufferDiscardAll();
  ddFuzzResetImport();
  ddFuzzResetPlaces();
  ddFuzzResetIndex();
  ddFuzzResetFields();
  ddFuzzResetCompiled();
  ddFuzzResetSites();
  for (void *block : liveBlocks()) __real_UZA_free(block, "fuzz_reset", __LINE__);
  liveBlocks().clear();
}
