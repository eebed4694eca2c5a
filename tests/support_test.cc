/*
** Lists, maps and ordered sets: order, lookup, walks, and the guards that
** report a caller's fault and carry on.
*/
#include <gtest/gtest.h>

#include <vector>

#include "support/mlist.h"
#include "support/mmap.h"

namespace {

int numeric(intptr_t a, intptr_t b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

std::vector<intptr_t> values(mlist *list) {
  std::vector<intptr_t> out;
  for (mlistNode *n = mlistHead(list); n; n = mlistNext(n)) out.push_back(n->value);
  return out;
}

/* Boxed values, so that equal keys can be told apart by address. */
struct Box {
  intptr_t key;
};
int byKey(intptr_t a, intptr_t b) {
  return numeric(reinterpret_cast<Box *>(a)->key, reinterpret_cast<Box *>(b)->key);
}

} // namespace

TEST(List, SortedInsertPutsTheNewestOfEqualsFirst) {
  Box first5{5}, three{3}, second5{5};
  mlist *list = mlistNew();
  mlistInsertSorted(list, reinterpret_cast<intptr_t>(&first5), byKey);
  mlistInsertSorted(list, reinterpret_cast<intptr_t>(&three), byKey);
  mlistInsertSorted(list, reinterpret_cast<intptr_t>(&second5), byKey);
  EXPECT_EQ(values(list), (std::vector<intptr_t>{reinterpret_cast<intptr_t>(&three),
                                                 reinterpret_cast<intptr_t>(&second5),
                                                 reinterpret_cast<intptr_t>(&first5)}));
  Box key{5};
  EXPECT_EQ(mlistFind(list, reinterpret_cast<intptr_t>(&key), byKey), reinterpret_cast<intptr_t>(&second5));
  key.key = 4;
  EXPECT_EQ(mlistFind(list, reinterpret_cast<intptr_t>(&key), byKey), 0);
  mlistFree(list);
}

TEST(List, StackOrderCountAndIndex) {
  mlist *list = mlistNew();
  EXPECT_EQ(mlistHead(list), nullptr);
  EXPECT_EQ(mlistCount(list), 0);
  for (intptr_t v : {1, 2, 3}) mlistPush(list, v);
  EXPECT_EQ(mlistHead(list)->value, 3);
  EXPECT_EQ(mlistCount(list), 3);
  EXPECT_EQ(mlistNth(list, 0), 3);
  EXPECT_EQ(mlistNth(list, 2), 1);
  EXPECT_EQ(mlistNth(list, 3), 0);
  EXPECT_EQ(mlistNth(nullptr, 0), 0);
  EXPECT_EQ(mlistNext(mlistNext(mlistNext(mlistHead(list)))), nullptr);
  EXPECT_EQ(mlistNext(nullptr), nullptr);
  EXPECT_EQ(mlistHead(nullptr), nullptr);
  /* Negative codes are legal values. */
  mlistPush(list, -4352);
  EXPECT_EQ(mlistNth(list, 0), -4352);
  mlistFree(list);
  mlistFree(nullptr);
}

TEST(List, ForEachStopsAtTheFirstNonZeroResult) {
  mlist *list = mlistNew();
  for (intptr_t v : {1, 2, 3, 4}) mlistPush(list, v);
  std::vector<intptr_t> seen;
  mlistForEach(list, [](intptr_t v, void *ctx) {
    static_cast<std::vector<intptr_t> *>(ctx)->push_back(v);
    return v == 3 ? 1 : 0;
  }, &seen);
  EXPECT_EQ(seen, (std::vector<intptr_t>{4, 3}));
  mlistFree(list);
}

TEST(Set, FindAndInsertMakeTheRootOnFirstUse) {
  intptr_t root = 0;
  intptr_t *cell = msetFind(7, &root, numeric);
  ASSERT_NE(cell, nullptr);
  EXPECT_EQ(*cell, 0);
  ASSERT_NE(root, 0);
  EXPECT_EQ(mlistCount(reinterpret_cast<mlist *>(root)), 0);

  intptr_t other = 0;
  msetInsert(9, &other, numeric);
  EXPECT_EQ(mlistCount(reinterpret_cast<mlist *>(other)), 1);

  for (intptr_t v : {5, 1, 3}) msetInsert(v, &root, numeric);
  EXPECT_EQ(*msetFind(3, &root, numeric), 3);
  EXPECT_EQ(*msetFind(4, &root, numeric), 0);
  /* One cell serves every find: the next find overwrites it. */
  EXPECT_EQ(msetFind(5, &root, numeric), msetFind(1, &other, numeric));
  mlistFree(reinterpret_cast<mlist *>(root));
  mlistFree(reinterpret_cast<mlist *>(other));
}

TEST(Set, WalkVisitsEveryElementInOrderWhateverTheVisitorSays) {
  static std::vector<intptr_t> seen;
  intptr_t root = 0;
  msetWalk(root, [](const intptr_t *, int, int) { return 1; });
  EXPECT_EQ(root, 0); /* a walk creates nothing */
  for (intptr_t v : {30, 10, 20}) msetInsert(v, &root, numeric);
  msetWalk(root, [](const intptr_t *cell, int kind, int depth) {
    seen.push_back(*cell);
    EXPECT_EQ(kind, 1);
    EXPECT_EQ(depth, 1);
    return 1; /* ignored */
  });
  EXPECT_EQ(seen, (std::vector<intptr_t>{10, 20, 30}));
  mlistFree(reinterpret_cast<mlist *>(root));
}

TEST(Map, PutReplacesAndGetFindsTheLatest) {
  mmap *map = mmapNew(nullptr);
  EXPECT_EQ(mmapGet(map, 1), 0);
  EXPECT_EQ(mmapPut(map, 1, 100), 0);
  EXPECT_EQ(mmapPut(map, 1, 200), 100);
  EXPECT_EQ(mmapPut(map, -4096, 300), 0);
  EXPECT_EQ(mmapGet(map, 1), 200);
  EXPECT_EQ(mmapGet(map, -4096), 300);
  EXPECT_EQ(mmapGet(map, 2), 0);
  mmapFree(map);
  mmapFree(nullptr);
}

TEST(Map, CustomEqualityDecidesWhichKeysMatch) {
  mmap *map = mmapNew([](intptr_t wanted, intptr_t key) { return static_cast<int>(wanted % 10 == key % 10); });
  mmapPut(map, 13, 1);
  EXPECT_EQ(mmapGet(map, 23), 1);
  EXPECT_EQ(mmapPut(map, 3, 2), 1);
  EXPECT_EQ(mmapGet(map, 13), 2);
  mmapFree(map);
}

TEST(Guards, ReportOnStandardErrorAndCarryOn) {
  mlist *list = mlistNew();
  testing::internal::CaptureStderr();
  mlistPush(list, 0); /* a zero value is reported, and pushed all the same */
  EXPECT_EQ(mlistCount(nullptr), 0);
  EXPECT_EQ(mlistFind(list, 0, numeric), 0);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, "rkdd: pointer guard failed in mlistPush\n"
                 "rkdd: pointer guard failed in mlistCount\n"
                 "rkdd: pointer guard failed in mlistFind\n");
  EXPECT_EQ(mlistCount(list), 1);

  mlist unwritten;
  unwritten.first = reinterpret_cast<mlistNode *>(static_cast<intptr_t>(0xCDCDCDCDu));
  testing::internal::CaptureStderr();
  EXPECT_EQ(mlistHead(&unwritten), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "rkdd: word guard failed in mlistHead\n");
  mlistFree(list);
}
