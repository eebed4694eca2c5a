/*
** The memory layer: a small header on each block records its size and the
** source file that asked for it, so that live blocks and bytes can be counted
** per file and a bad release is caught at once. Small blocks come from pools.
*/
#include "rkruntime.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <atomic>

namespace {

constexpr uint32_t kLiveMagic = 0x4B4C4956u; /* a live block */
constexpr uint32_t kDeadMagic = 0x4B444541u; /* a released one */
constexpr unsigned char kFreshByte = 0xCD;
constexpr unsigned char kDeadByte = 0xDD;

/* Live counts for one source-file name. Names are few, so a flat table. */
struct FileCount {
  char name[32];
  const char *seen; /* where the name was last passed from: callers pass string
                       constants, so a match by address needs no compare */
  long blocks;
  long bytes;
};

/* Placed in front of every block; 16 bytes keeps the block 16-aligned. */
struct alignas(16) BlockHeader {
  uint32_t magic;
  uint32_t owner; /* index into fileCounts, or kOtherFiles */
  uint64_t size;
};
static_assert(sizeof(BlockHeader) == 16, "header must keep blocks aligned");

constexpr int kMaxFiles = 64;
constexpr uint32_t kOtherFiles = kMaxFiles;
FileCount fileCounts[kMaxFiles + 1] = {}; /* the last counts files beyond the table */
int fileCountUsed = 0;
FileCount &otherFiles = fileCounts[kOtherFiles];
size_t liveTotal = 0;
size_t byteLimit = 0;
/* The counters are shared by every thread of the host. Holding them takes a
** few instructions, so a spin lock costs less than a mutex on this path. */
std::atomic_flag lock = ATOMIC_FLAG_INIT;

struct Guard {
  Guard() {
    while (lock.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Guard() { lock.clear(std::memory_order_release); }
};

[[noreturn]] void fail(const char *what, const char *file, int line) {
  std::fprintf(stderr, "rkruntime: %s (%s:%d)\n", what, file ? file : "?", line);
  std::fflush(stderr);
  std::abort();
}

uint32_t countFor(const char *file) {
  const char *name = file ? file : "(unnamed)";
  for (int i = 0; i < fileCountUsed; i++)
    if (fileCounts[i].seen == name) return i;
  for (int i = 0; i < fileCountUsed; i++)
    if (std::strncmp(fileCounts[i].name, name, sizeof fileCounts[i].name - 1) == 0) {
      fileCounts[i].seen = name;
      return i;
    }
  if (fileCountUsed == kMaxFiles) return kOtherFiles;
  FileCount *fc = &fileCounts[fileCountUsed];
  std::strncpy(fc->name, name, sizeof fc->name - 1);
  fc->seen = name;
  return fileCountUsed++;
}

/* Small blocks. A schema import asks for hundreds of thousands of blocks of a
** few dozen bytes (names, entries, list nodes) and keeps most of them for
** good; malloc spends more on each than the caller does. So blocks of up to
** kPooledMax bytes are carved from slabs, one pool per 16-byte size class,
** and a released one goes on its class's free list for the next request of
** that class. Slabs are never given back. Under AddressSanitizer, and in a
** build for valgrind (RKRUNTIME_NO_POOL), every block is a malloc block of its
** own, so that those tools see each one. */
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RKRUNTIME_NO_POOL 1
#endif
#endif
#if defined(RKRUNTIME_NO_POOL) || defined(__SANITIZE_ADDRESS__)
constexpr size_t kPooledMax = 0;
#else
constexpr size_t kPooledMax = 256;
#endif
constexpr size_t kGrain = sizeof(BlockHeader);
constexpr size_t kFirstSlab = 4096, kLargestSlab = 64 * 1024;

struct FreeBlock {
  FreeBlock *next;
};
struct Pool {
  FreeBlock *free;   /* released blocks of this class */
  char *next, *end;  /* what is left of the newest slab */
  size_t slabBytes;  /* size of the next slab: doubles up to kLargestSlab */
};
Pool pools[kPooledMax / kGrain + 1];

bool pooled(size_t size) { return kPooledMax > 0 && size <= kPooledMax; }
Pool &poolFor(size_t size) { return pools[size == 0 ? 0 : (size - 1) / kGrain]; }

BlockHeader *takeBlock(size_t size) {
  if (!pooled(size)) return static_cast<BlockHeader *>(std::malloc(sizeof(BlockHeader) + size));
  Pool &pool = poolFor(size);
  if (FreeBlock *f = pool.free) {
    pool.free = f->next;
    return reinterpret_cast<BlockHeader *>(f) - 1;
  }
  size_t total = sizeof(BlockHeader) + (size == 0 ? kGrain : (size + kGrain - 1) / kGrain * kGrain);
  if (pool.next == nullptr || static_cast<size_t>(pool.end - pool.next) < total) {
    pool.slabBytes = pool.slabBytes == 0 ? kFirstSlab : std::min(2 * pool.slabBytes, kLargestSlab);
    auto *slab = static_cast<char *>(std::malloc(pool.slabBytes)); /* malloc aligns to 16 */
    if (slab == nullptr) return nullptr;
    pool.next = slab;
    pool.end = slab + pool.slabBytes;
  }
  auto *h = reinterpret_cast<BlockHeader *>(pool.next);
  pool.next += total;
  return h;
}

void giveBack(BlockHeader *h) {
  if (!pooled(h->size)) return std::free(h);
  Pool &pool = poolFor(h->size);
  /* The link lives in the body (every pooled body has 16 bytes or more), so
  ** the header keeps its dead mark and a second release is still caught. */
  auto *f = reinterpret_cast<FreeBlock *>(h + 1);
  f->next = pool.free;
  pool.free = f;
}

void *allocate(size_t size, const char *file, int line, unsigned char fill) {
  Guard guard;
  bool overLimit = byteLimit != 0 && (liveTotal > byteLimit || size > byteLimit - liveTotal);
  if (overLimit || size > SIZE_MAX - sizeof(BlockHeader)) fail("out of memory", file, line);
  BlockHeader *h = takeBlock(size);
  if (h == nullptr) fail("out of memory", file, line);
  h->magic = kLiveMagic;
  h->size = size;
  h->owner = countFor(file);
  fileCounts[h->owner].blocks++;
  fileCounts[h->owner].bytes += static_cast<long>(size);
  liveTotal += size;
  void *block = h + 1;
  std::memset(block, fill, size);
  return block;
}

} // namespace

extern "C" void *UZA_allocate(size_t size, const char *file, int line) {
  return allocate(size, file, line, kFreshByte);
}

extern "C" void *UZA_allocatez(size_t size, const char *file, int line) {
  return allocate(size, file, line, 0);
}

extern "C" void UZA_free(void *block, const char *file, int line) {
  if (block == nullptr) fail("free of a null pointer", file, line);
  Guard guard;
  BlockHeader *h = static_cast<BlockHeader *>(block) - 1;
  if (h->magic == kDeadMagic) fail("block released twice", file, line);
  if (h->magic != kLiveMagic) fail("free of a block this allocator did not give", file, line);
  h->magic = kDeadMagic;
  fileCounts[h->owner].blocks--;
  fileCounts[h->owner].bytes -= static_cast<long>(h->size);
  liveTotal -= h->size;
  std::memset(block, kDeadByte, h->size);
  giveBack(h);
}

namespace {
/* Sums one counter over the files named file, or over all files. */
long liveCount(const char *file, long FileCount::*counter) {
  Guard guard;
  long n = file ? 0 : otherFiles.*counter;
  for (int i = 0; i < fileCountUsed; i++)
    if (!file || std::strncmp(fileCounts[i].name, file, sizeof fileCounts[i].name - 1) == 0)
      n += fileCounts[i].*counter;
  return n;
}
} // namespace

extern "C" long UZA_liveBlocks(const char *file) {
  return liveCount(file, &FileCount::blocks);
}

extern "C" long UZA_liveBytes(const char *file) {
  return liveCount(file, &FileCount::bytes);
}

extern "C" size_t UZA_setByteLimit(size_t limit) {
  Guard guard;
  size_t old = byteLimit;
  byteLimit = limit;
  return old;
}
