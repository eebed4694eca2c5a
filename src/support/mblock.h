/*
** A set of memory blocks by address: which blocks a part of the library
** allocated itself, as against storage that belongs to its callers.
*/
#ifndef RKDD_SUPPORT_MBLOCK_H
#define RKDD_SUPPORT_MBLOCK_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "support/mhash.h"

/* Blocks start on 8-byte boundaries, so each is one bit in a map of its
** 4 KiB page: blocks made by one allocator lie on few pages, which keeps
** the set small, and a block made just after another usually finds its bit
** on a line at hand. */
class BlockRegistry {
public:
  void add(const void *block) {
    bool fresh;
    pages_.insert(pageOf(block), &fresh)[wordAt(block)] |= bitOf(block);
  }
  bool holds(const void *block) { return wordOf(block) != nullptr; }
  /* Takes block out; false when it was not in. */
  bool remove(const void *block) {
    uint64_t *word = wordOf(block);
    if (word != nullptr) *word &= ~bitOf(block);
    return word != nullptr;
  }

private:
  using Bits = std::array<uint64_t, 4096 / 8 / 64>;
  static uintptr_t addressOf(const void *block) { return reinterpret_cast<uintptr_t>(block); }
  static uint64_t pageOf(const void *block) { return addressOf(block) >> 12; }
  static size_t wordAt(const void *block) { return (addressOf(block) >> 9) & 7; }
  static uint64_t bitOf(const void *block) { return uint64_t{1} << ((addressOf(block) >> 3) & 63); }
  /* The word that holds block's bit, when the bit is set; else null. */
  uint64_t *wordOf(const void *block) {
    Bits *bits = pages_.find(pageOf(block));
    uint64_t *word = bits ? &(*bits)[wordAt(block)] : nullptr;
    return word != nullptr && (*word & bitOf(block)) != 0 ? word : nullptr;
  }
  WordHash<Bits> pages_;
};

#endif
