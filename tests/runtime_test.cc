/*
** The memory layer: fill patterns, pools, the byte limit, and the loud end of
** an exhausted allocator or a bad release.
*/
#include <gtest/gtest.h>

#include <cstring>

#include "rkruntime.h"

/* Small blocks come from pools and are used again once released; large ones,
** and those laid on huge pages, are filled and counted the same way. */
TEST(Runtime, ReleasedBlocksServeTheNextRequestOfTheirSize) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{8}, size_t{9}, size_t{40}, size_t{255}, size_t{256},
                      size_t{257}, size_t{5000}, RKRUNTIME_HUGE_BLOCK, size_t{3} << 20}) {
    auto *a = static_cast<unsigned char *>(UZA_allocatez(size, "pool", 1));
    auto *b = static_cast<unsigned char *>(UZA_allocate(size, "pool", 2));
    EXPECT_EQ(UZA_liveBytes("pool"), static_cast<long>(2 * size)) << size;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % (size > 256 ? 16 : 8), 0u) << size;
    std::memset(a, 0x11, size); /* writing a whole block leaves its neighbour alone */
    for (size_t i = 0; i < size; i++) ASSERT_EQ(b[i], 0xCD) << size;
    UZA_free(a, "pool", 3);
    auto *c = static_cast<unsigned char *>(UZA_allocatez(size, "pool", 4));
#if !defined(RKRUNTIME_NO_POOL)
    if (size <= 256) {
      EXPECT_EQ(c, a) << size;
    }
#endif
    for (size_t i = 0; i < size; i++) ASSERT_EQ(c[i], 0) << size;
    UZA_free(b, "pool", 5);
    UZA_free(c, "pool", 6);
    EXPECT_EQ(UZA_liveBlocks("pool"), 0);
  }
}

TEST(RuntimeDeathTest, ExhaustionAndBadReleasesAbortWithOneLine) {
  EXPECT_DEATH(
      {
        UZA_setByteLimit(1000);
        UZA_allocate(2000, "apidd1", 42);
      },
      "rkruntime: out of memory \\(apidd1:42\\)");
  EXPECT_DEATH(UZA_free(nullptr, "mlist1", 7), "rkruntime: free of a null pointer \\(mlist1:7\\)");
  EXPECT_DEATH(
      {
        static long foreign[8] = {0};
        UZA_free(&foreign[4], "mmap1", 9);
      },
      "did not give");
#if !defined(RKRUNTIME_NO_POOL)
  /* A pooled block keeps its tag when released, so a second release is
  ** caught; a block that went back to malloc is malloc's to catch. */
  EXPECT_DEATH(
      {
        void *twice = UZA_allocate(24, "mmap1", 10);
        UZA_free(twice, "mmap1", 11);
        UZA_free(twice, "mmap1", 12);
      },
      "block released twice \\(mmap1:12\\)");
#endif
}

TEST(Runtime, LimitCountsLiveBytesOnly) {
  EXPECT_EQ(UZA_setByteLimit(100), 0u);
  void *a = UZA_allocate(60, "t", 1);
  UZA_free(a, "t", 2);
  void *b = UZA_allocate(60, "t", 3); /* fits again once a is gone */
  UZA_free(b, "t", 4);
  EXPECT_EQ(UZA_setByteLimit(0), 100u);
}
