/*
** The memory layer: a small tag in front of each block records its size and
** the source file that asked for it, so that live blocks and bytes can be
** counted per file and a bad release is caught at once. Small blocks come
** from pools, larger ones from malloc.
*/
#include "rkruntime.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <atomic>

#if defined(__linux__)
#include <sys/mman.h>
#endif

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

/* Right in front of every block. A pooled block's size fits the tag; a block
** from malloc has kLargeSize there and its size in the word before the tag,
** which keeps its body 16-aligned. */
struct Tag {
  uint32_t magic;
  uint16_t owner; /* index into fileCounts, or kOtherFiles */
  uint16_t size;
};
struct LargeHeader {
  uint64_t size;
  Tag tag;
};
static_assert(sizeof(Tag) == 8 && sizeof(LargeHeader) == 16, "headers keep blocks aligned");
constexpr uint16_t kLargeSize = UINT16_MAX;

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

uint32_t findCount(const char *name) {
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

/* The count of the file named file. Callers pass string constants, so the
** answer for an address is remembered in a small table indexed by it. */
uint32_t countFor(const char *file) {
  static struct {
    const char *file;
    uint32_t count;
  } known[16];
  auto &k = known[(reinterpret_cast<uintptr_t>(file) >> 3) & 15];
  if (k.file != file || file == nullptr) k = {file, findCount(file ? file : "(unnamed)")};
  return k.count;
}

/* Small blocks. A schema import asks for hundreds of thousands of blocks of a
** few dozen bytes (names, entries, list nodes) and keeps most of them for
** good; malloc spends more time and memory on each than the caller does. So
** blocks of up to kPooledMax bytes are carved from slabs, one pool per 8-byte
** size class, behind an 8-byte tag: they are 8-aligned, which every type the
** library stores needs and no more. A released block goes on its class's
** free list for the next request of that class; slabs are never given back.
** Under AddressSanitizer, and in a build for valgrind (RKRUNTIME_NO_POOL,
** see the header), every block comes from malloc, so that those tools see
** each one. */
#if defined(RKRUNTIME_NO_POOL)
constexpr size_t kPooledMax = 0;
#else
constexpr size_t kPooledMax = 256;
#endif
constexpr size_t kGrain = sizeof(Tag);
constexpr size_t kFirstSlab = 1024, kLargestSlab = 64 * 1024;
static_assert(kPooledMax < kLargeSize, "pooled sizes fit a tag");
static_assert(kFirstSlab >= sizeof(Tag) + kPooledMax, "a first slab holds a block of any class");

struct FreeBlock {
  FreeBlock *next;
};
struct Pool {
  FreeBlock *free;  /* released blocks of this class */
  char *next, *end; /* what is left of the newest slab */
  size_t slabBytes; /* size of the next slab: doubles up to kLargestSlab */
};
Pool pools[kPooledMax / kGrain + 1];

/* Slabs are cut in turn from shared regions, so that a program that asks
** for a few blocks of many classes finds them on a few pages, not on a
** page or more of each class; the first region is small for the same
** reason. Slabs start small and double as their class is used. */
constexpr size_t kFirstRegion = 16 * 1024, kRegion = kLargestSlab;
struct Region {
  char *next, *end;
  size_t taken; /* bytes of all regions so far */
} region;

/* A slab of want bytes, or of what is left of the region when that still
** holds at least least bytes; its length in *got. Null when malloc fails. */
char *takeSlab(size_t want, size_t least, size_t *got) {
  size_t left = static_cast<size_t>(region.end - region.next);
  if (region.next == nullptr || left < least) {
    size_t bytes = region.taken == 0 ? kFirstRegion : kRegion;
    auto *fresh = static_cast<char *>(std::malloc(bytes));
    if (fresh == nullptr) return nullptr;
    region = {fresh, fresh + bytes, region.taken + bytes};
    left = bytes;
  }
  *got = std::min(want, left);
  char *slab = region.next;
  region.next += *got;
  return slab;
}

bool pooled(size_t size) { return kPooledMax > 0 && size <= kPooledMax; }
Pool &poolFor(size_t size) { return pools[size == 0 ? 0 : (size - 1) / kGrain]; }

/* Blocks of a huge page or more. Each page of such a block is one fault
** when the system backs it with a huge page, where 4 KiB pages take 512; so
** the block is mapped on its own, starts on a huge-page boundary, fills
** whole huge pages, and is offered to the system for them (it may decline:
** huge pages off, or none free). A fresh mapping is zero already. */
constexpr size_t kHugePage = size_t{2} << 20;
static_assert(RKRUNTIME_HUGE_BLOCK + sizeof(LargeHeader) == kHugePage, "a huge block fills one page");

bool huge(size_t size) { return size + sizeof(LargeHeader) >= kHugePage; }
size_t hugeLength(size_t size) { return (size + sizeof(LargeHeader) + kHugePage - 1) / kHugePage * kHugePage; }

LargeHeader *takeHuge(size_t size, bool zero) {
  size_t length = hugeLength(size);
#if defined(__linux__)
  (void)zero;
  /* One huge page more than needed, then what lies outside an aligned run
  ** goes back. */
  void *raw = mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  auto at = reinterpret_cast<uintptr_t>(raw), start = (at + kHugePage - 1) & ~(kHugePage - 1);
  if (start > at) munmap(raw, start - at);
  if (start - at < kHugePage) munmap(reinterpret_cast<void *>(start + length), kHugePage - (start - at));
  madvise(reinterpret_cast<void *>(start), length, MADV_HUGEPAGE); /* a hint: a refusal changes nothing */
  return reinterpret_cast<LargeHeader *>(start);
#else
  void *block = std::aligned_alloc(kHugePage, length);
  if (block != nullptr && zero) std::memset(block, 0, size + sizeof(LargeHeader));
  return static_cast<LargeHeader *>(block);
#endif
}

void giveBackHuge(LargeHeader *h) {
#if defined(__linux__)
  munmap(h, hugeLength(h->size));
#else
  std::free(h);
#endif
}

/* A block of size bytes with its tag in front, or null. A large block that
** is to be zero comes from calloc, which knows when fresh pages are zero
** already and then writes none of them. */
Tag *takeBlock(size_t size, bool zero) {
  if (!pooled(size)) {
    size_t total = sizeof(LargeHeader) + size;
    auto *h = huge(size) ? takeHuge(size, zero)
                         : static_cast<LargeHeader *>(zero ? std::calloc(1, total) : std::malloc(total));
    if (h == nullptr) return nullptr;
    h->size = size;
    h->tag.size = kLargeSize;
    return &h->tag;
  }
  Pool &pool = poolFor(size);
  Tag *tag;
  if (FreeBlock *f = pool.free) {
    pool.free = f->next;
    tag = reinterpret_cast<Tag *>(f) - 1;
  } else {
    /* The body has room for a free-list link, so size 0 takes kGrain too. */
    size_t total = sizeof(Tag) + (size == 0 ? kGrain : (size + kGrain - 1) / kGrain * kGrain);
    if (pool.next == nullptr || static_cast<size_t>(pool.end - pool.next) < total) {
      pool.slabBytes = pool.slabBytes == 0 ? kFirstSlab : std::min(2 * pool.slabBytes, kLargestSlab);
      size_t got;
      char *slab = takeSlab(pool.slabBytes, total, &got);
      if (slab == nullptr) return nullptr;
      pool.next = slab;
      pool.end = slab + got;
    }
    tag = reinterpret_cast<Tag *>(pool.next);
    pool.next += total;
  }
  tag->size = static_cast<uint16_t>(size);
  return tag;
}

size_t sizeOf(const Tag *tag) {
  return tag->size == kLargeSize ? reinterpret_cast<const LargeHeader *>(tag + 1)[-1].size : tag->size;
}

void giveBack(Tag *tag) {
  if (tag->size == kLargeSize) {
    auto *h = reinterpret_cast<LargeHeader *>(tag + 1) - 1;
    return huge(h->size) ? giveBackHuge(h) : std::free(h);
  }
  Pool &pool = poolFor(tag->size);
  /* The link lives in the body, so the tag keeps its dead mark and a second
  ** release is still caught. */
  auto *f = reinterpret_cast<FreeBlock *>(tag + 1);
  f->next = pool.free;
  pool.free = f;
}

/* A pooled body is whole words: filling them all is a short loop where a
** call to memset would cost more than the fill. */
void fillBody(void *block, size_t size, unsigned char fill) {
  if (!pooled(size)) {
    /* Zero is calloc's or the fresh mapping's; a huge block going back is
    ** unmapped, which catches a later use better than any fill. */
    if (fill != 0 && !(fill == kDeadByte && huge(size))) std::memset(block, fill, size);
    return;
  }
  uint64_t pattern = fill * 0x0101010101010101u, *word = static_cast<uint64_t *>(block);
  for (size_t i = 0; i < (size + kGrain - 1) / kGrain; i++) word[i] = pattern;
}

void *allocate(size_t size, const char *file, int line, unsigned char fill) {
  Guard guard;
  bool overLimit = byteLimit != 0 && (liveTotal > byteLimit || size > byteLimit - liveTotal);
  if (overLimit || size > SIZE_MAX - sizeof(LargeHeader)) fail("out of memory", file, line);
  Tag *tag = takeBlock(size, fill == 0);
  if (tag == nullptr) fail("out of memory", file, line);
  uint32_t owner = countFor(file);
  tag->magic = kLiveMagic;
  tag->owner = static_cast<uint16_t>(owner);
  FileCount &count = fileCounts[owner];
  count.blocks++;
  count.bytes += static_cast<long>(size);
  liveTotal += size;
  void *block = tag + 1;
  fillBody(block, size, fill);
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
  Tag *tag = static_cast<Tag *>(block) - 1;
  if (tag->magic == kDeadMagic) fail("block released twice", file, line);
  if (tag->magic != kLiveMagic) fail("free of a block this allocator did not give", file, line);
  tag->magic = kDeadMagic;
  size_t size = sizeOf(tag);
  fileCounts[tag->owner].blocks--;
  fileCounts[tag->owner].bytes -= static_cast<long>(size);
  liveTotal -= size;
  fillBody(block, size, kDeadByte);
  giveBack(tag);
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
