/*
** Lists, maps and ordered sets: order, lookup, walks, and the guards that
** report a caller's fault and carry on.
*/
#include "rkruntime.h"
#include "store_fixture.h"
#include "support/mhash.h"
#include "support/mlist.h"
#include "support/mmap.h"

namespace {
using W = std::vector<intptr_t>;
int numeric(intptr_t a, intptr_t b) { return a < b ? -1 : a > b ? 1 : 0; }
W values(mlist *list) {
  W out;
  for (mlistNode *n = mlistHead(list); n; n = mlistNext(n)) out.push_back(n->value);
  return out;
}
/* Boxed values, so that equal keys can be told apart by address. */
struct Box { intptr_t key; };
int byKey(intptr_t a, intptr_t b) {
  return numeric(reinterpret_cast<Box *>(a)->key, reinterpret_cast<Box *>(b)->key);
}
intptr_t box(Box &b) { return reinterpret_cast<intptr_t>(&b); }
} // namespace

TEST(List, SortedInsertPutsTheNewestOfEqualsFirst) {
  Box first5{5}, three{3}, second5{5}, key{5}, four{4};
  mlist *list = mlistNew();
  for (Box *b : {&first5, &three, &second5}) mlistInsertSorted(list, box(*b), byKey);
  EXPECT_EQ(values(list), W({box(three), box(second5), box(first5)}));
  EXPECT_EQ(W({mlistFind(list, box(key), byKey), mlistFind(list, box(four), byKey)}), W({box(second5), 0}));
  mlistFree(list);
}

TEST(List, StackOrderIndexAndForEach) {
  mlist *list = mlistNew();
  EXPECT_TRUE(mlistHead(list) == nullptr && mlistCount(list) == 0);
  for (intptr_t v : {1, 2, 3}) mlistPush(list, v);
  EXPECT_EQ(W({mlistCount(list), mlistNth(list, 0), mlistNth(list, 2), mlistNth(list, 3), mlistNth(nullptr, 0)}),
            W({3, 3, 1, 0, 0}));
  EXPECT_TRUE(!mlistNext(mlistNext(mlistNext(mlistHead(list)))) && !mlistNext(nullptr) && !mlistHead(nullptr));
  mlistPush(list, -4352); /* negative codes are legal values */
  W seen; /* forEach stops at the first non-zero result */
  mlistForEach(list, [](intptr_t v, void *ctx) { return static_cast<W *>(ctx)->push_back(v), v == 2 ? 1 : 0; }, &seen);
  EXPECT_EQ(seen, W({-4352, 3, 2}));
  mlistFree(list);
  mlistFree(nullptr);
}

TEST(Map, PutReplacesAndGetFindsTheLatest) {
  mmap *map = mmapNew(nullptr);
  EXPECT_EQ(W({mmapGet(map, 1), mmapPut(map, 1, 100), mmapPut(map, 1, 200), mmapPut(map, -4096, 300),
               mmapGet(map, 1), mmapGet(map, -4096), mmapGet(map, 2)}),
            W({0, 0, 100, 0, 200, 300, 0}));
  mmapFree(map);
  mmapFree(nullptr);
  map = mmapNew([](intptr_t wanted, intptr_t key) { return static_cast<int>(wanted % 10 == key % 10); });
  mmapPut(map, 13, 1);
  EXPECT_EQ(W({mmapGet(map, 23), mmapPut(map, 3, 2), mmapGet(map, 13)}), W({1, 1, 2}));
  mmapFree(map);
}

TEST(Guards, ReportOnStandardErrorAndCarryOn) {
  mlist *list = mlistNew();
  testing::internal::CaptureStderr();
  mlistPush(list, 0); /* a zero value is reported, and pushed all the same */
  EXPECT_EQ(W({mlistCount(nullptr), mlistFind(nullptr, 1, numeric), mlistFind(list, 0, numeric)}), W({0, 0, 0}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "rkdd: pointer guard failed in mlistPush\n"
                                                    "rkdd: pointer guard failed in mlistCount\n"
                                                    "rkdd: pointer guard failed in mlistFind\n"
                                                    "rkdd: pointer guard failed in mlistFind\n");
  EXPECT_EQ(mlistCount(list), 1);
  mlist unwritten;
  unwritten.first = reinterpret_cast<mlistNode *>(static_cast<intptr_t>(0xCDCDCDCDu));
  testing::internal::CaptureStderr();
  EXPECT_EQ(mlistHead(&unwritten), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "rkdd: word guard failed in mlistHead\n");
  mlistFree(list);
}

/* The word hash beside maps and block registries: entries taken out from
** the middle of a run of collisions leave every other entry findable. */
TEST(Hash, WordsStayFindableAcrossGrowthAndRemoval) {
  WordHash<int> hash;
  bool fresh = false;
  /* Keys a multiple of 4096 apart, as blocks of one pool are. */
  for (int i = 0; i < 3000; i++) hash.insert(uint64_t(i) << 12, &fresh) = i;
  EXPECT_FALSE((hash.insert(0, &fresh), fresh));
  for (int i = 0; i < 3000; i += 3) EXPECT_TRUE(hash.erase(uint64_t(i) << 12));
  EXPECT_FALSE(hash.erase(0));
  EXPECT_EQ(hash.size(), 2000u);
  for (int i = 0; i < 3000; i++) {
    int *v = hash.find(uint64_t(i) << 12);
    if (i % 3 == 0)
      EXPECT_EQ(v, nullptr) << i;
    else
      EXPECT_TRUE(v && *v == i) << i;
  }
  TextHash<int> texts;
  const char *names[] = {"s0d1", "s0d10", "s0d1x", "abcdefghijklmnop", "abcdefghijklmnoq", ""};
  for (int i = 0; i < 6; i++) texts.insert(names[i], &fresh) = i;
  for (int i = 0; i < 6; i++) EXPECT_TRUE(texts.find(names[i]) && *texts.find(names[i]) == i) << names[i];
  EXPECT_EQ(texts.find("s0d"), nullptr);
  EXPECT_EQ(texts.find(std::string_view("s0d10", 4)) , texts.find("s0d1"));
}

/* The store's registry of its own blocks: neighbours on one page and blocks
** far apart are told apart, and only a registered block is ever freed. */
TEST(Registry, OnlyRegisteredBlocksAreReleased) {
  void *blocks[] = {UZA_allocate(8, "t", 1), UZA_allocate(8, "t", 2), UZA_allocate(8, "t", 3),
                    UZA_allocate(5000, "t", 4)};
  for (void *b : {blocks[0], blocks[2], blocks[3]}) ddOwnBlock(b);
  EXPECT_EACH(0, ddOwnsBlock(blocks[1]), ddOwnsBlock(nullptr), ddOwnsBlock(&blocks));
  EXPECT_EQ(ddReleaseBlockAt(blocks[2], "t", 6), 1);
  EXPECT_EACH(0, ddReleaseBlockAt(blocks[2], "t", 7), ddReleaseBlockAt(blocks[1], "t", 8)); /* gone; never registered */
  EXPECT_EACH(1, ddOwnsBlock(blocks[0]), ddOwnsBlock(blocks[3]));
  EXPECT_EQ(UZA_liveBlocks("t"), 3);
  EXPECT_EACH(1, ddReleaseBlockAt(blocks[0], "t", 9), ddReleaseBlockAt(blocks[3], "t", 10));
  UZA_free(blocks[1], "t", 5);
}
