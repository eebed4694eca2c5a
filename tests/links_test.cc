/*
** Part 2.5: parents, children and aliases, and extensions.
*/
#include <gtest/gtest.h>

#include <vector>

#include "rkdd/rkdd.h"
#include "rkruntime.h"
#include "store/ddfield.h"
#include "store/ddstore.h"
#include "store_fixture.h"

using Links = StoreTest;

namespace {

using Setter = int (*)(int, int *, int);
using Counter = int (*)(int);
using Getter = int *(*)(int);
using Nth = int (*)(int, int);

struct ListApi {
  const char *name;
  Setter set;
  Counter count;
  Getter get;
  Nth nth;
};

const ListApi kLists[] = {
    {"parents", ddSetParent, ddGetParentCount, ddGetParent, ddGetParentNth},
    {"children", ddSetChild, ddGetChildCount, ddGetChild, ddGetChildNth},
    {"aliases", ddSetAlias, ddGetAliasCount, ddGetAlias, ddGetAliasNth},
};

} // namespace

TEST_F(Links, NewRecordHasNothing) {
  int r = record();
  EXPECT_EQ(ddGetParentCount(r), 0);
  EXPECT_EQ(ddGetChildCount(r), 0);
  EXPECT_EQ(ddGetAliasCount(r), 0);
  EXPECT_EQ(ddGetSubRev(r), 0);
  EXPECT_EQ(ddGetParentNth(r, 0), 0);
  EXPECT_EQ(ddGetChildNth(r, 0), 0);
  EXPECT_EQ(ddGetAliasNth(r, 0), 0);
  EXPECT_EQ(ddGetParent(r), nullptr);
  EXPECT_EQ(ddGetChild(r), nullptr);
  EXPECT_EQ(ddGetAlias(r), nullptr);
  EXPECT_EQ(ddGetRSchema(r)->links, nullptr);
}

TEST_F(Links, SetAliasMakesTheBlock) {
  int r = record(), a = record(), b = record();
  int codes[2] = {a, b};
  ASSERT_EQ(ddSetAlias(r, codes, 2), 1);
  ASSERT_NE(ddGetRSchema(r)->links, nullptr);
  EXPECT_EQ(ddGetAliasCount(r), 2);
  EXPECT_EQ(ddGetAliasNth(r, 1), b);
  EXPECT_EQ(ddGetParentCount(r), 0);
  EXPECT_EQ(ddGetParent(r), nullptr);
  EXPECT_EQ(ddGetChildCount(r), 0);
  EXPECT_EQ(ddGetSubRev(r), 0);
}

TEST_F(Links, EveryListSetsAndReads) {
  int r = record(), a = record(), b = record(), d = data(4);
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(list.name);
    int codes[3] = {a, d, a}; /* data codes pass, a code may stand twice */
    ASSERT_EQ(list.set(r, codes, 3), 1);
    EXPECT_EQ(list.count(r), 3);
    ASSERT_NE(list.get(r), nullptr);
    EXPECT_NE(list.get(r), codes); /* a copy */
    codes[0] = b;                 /* changing the caller's array changes nothing */
    EXPECT_EQ(list.nth(r, 0), a);
    EXPECT_EQ(list.nth(r, 1), d);
    EXPECT_EQ(list.nth(r, 2), a);
    EXPECT_EQ(list.nth(r, 3), 0);
    EXPECT_EQ(list.nth(r, -1), 0);
    EXPECT_EQ(list.get(r)[1], d);
  }
  /* Each list is its own. */
  int one[1] = {b};
  ASSERT_EQ(ddSetChild(r, one, 1), 1);
  EXPECT_EQ(ddGetChildCount(r), 1);
  EXPECT_EQ(ddGetParentCount(r), 3);
  EXPECT_EQ(ddGetAliasCount(r), 3);
}

TEST_F(Links, EmptyingAList) {
  int r = record(), a = record();
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(list.name);
    /* On a record with none. */
    EXPECT_EQ(list.set(r, nullptr, 0), 1);
    EXPECT_EQ(list.get(r), nullptr);
    EXPECT_EQ(list.count(r), 0);
    int codes[1] = {a};
    ASSERT_EQ(list.set(r, codes, 1), 1);
    EXPECT_EQ(list.set(r, nullptr, 0), 1);
    EXPECT_EQ(list.get(r), nullptr);
    EXPECT_EQ(list.count(r), 0);
    EXPECT_EQ(list.nth(r, 0), 0);
  }
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1); /* the links block alone */
}

TEST_F(Links, RefusalsKeepTheOldList) {
  int r = record(), a = record(), b = record();
  int codes[2] = {a, b};
  int other[1] = {b};
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(list.name);
    ASSERT_EQ(list.set(r, codes, 2), 1);
    int *old = list.get(r);
    EXPECT_EQ(list.set(r, other, 0), 0);
    EXPECT_EQ(list.set(r, nullptr, 1), 0);
    EXPECT_EQ(list.set(r, other, -1), 0);
    EXPECT_EQ(list.get(r), old);
    EXPECT_EQ(list.count(r), 2);
    EXPECT_EQ(list.nth(r, 1), b);
  }
}

TEST_F(Links, RefusalOnANewRecordMakesNoBlock) {
  int r = record(), a = record();
  int codes[1] = {a};
  EXPECT_EQ(ddSetParent(r, codes, 0), 0);
  EXPECT_EQ(ddSetParent(r, nullptr, 2), 0);
  EXPECT_EQ(ddGetRSchema(r)->links, nullptr);
}

TEST_F(Links, UndefinedCodeRefusedUnlessCaching) {
  int r = record(), a = record();
  int first[1] = {a};
  ASSERT_EQ(ddSetParent(r, first, 1), 1);
  int undefinedCodes[2] = {a, a + 300};
  ASSERT_EQ(ddGetSchema(a + 300), nullptr);
  EXPECT_EQ(ddSetParent(r, undefinedCodes, 2), 0);
  EXPECT_EQ(ddGetParentCount(r), 1);
  EXPECT_EQ(ddGetParentNth(r, 0), a);
  ddCacheFixups(1);
  EXPECT_EQ(ddSetParent(r, undefinedCodes, 2), 1);
  EXPECT_EQ(ddGetParentNth(r, 1), a + 300);
  /* Caching skips only the look-ups. */
  EXPECT_EQ(ddSetParent(r, nullptr, 2), 0);
  EXPECT_EQ(ddGetParentCount(r), 2);
  /* No layout is marked. */
  EXPECT_EQ(ddFixupPending, 0);
}

TEST_F(Links, OnlyRecordsHaveLists) {
  int d = data(4), a = record();
  int codes[1] = {a};
  EXPECT_EQ(ddSetParent(d, codes, 1), 0);
  EXPECT_EQ(ddSetChild(d, codes, 1), 0);
  EXPECT_EQ(ddSetAlias(0, codes, 1), 0);
  EXPECT_EQ(ddGetParentCount(d), 0);
  EXPECT_EQ(ddGetParent(d), nullptr);
  EXPECT_EQ(ddGetParentNth(d, 0), 0);
  EXPECT_EQ(ddGetSubRev(d), 0);
  EXPECT_EQ(ddGetChildCount(-1), 0);
}

TEST_F(Links, OwnLiveArrayHandedBack) {
  int r = record(), a = record(), b = record(), c = record();
  int codes[3] = {a, b, c};
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(list.name);
    ASSERT_EQ(list.set(r, codes, 3), 1);
    ASSERT_EQ(list.set(r, list.get(r), list.count(r)), 1);
    EXPECT_EQ(list.count(r), 3);
    EXPECT_EQ(list.nth(r, 0), a);
    EXPECT_EQ(list.nth(r, 2), c);
    /* A part of it. */
    ASSERT_EQ(list.set(r, list.get(r) + 1, 2), 1);
    EXPECT_EQ(list.nth(r, 0), b);
    EXPECT_EQ(list.nth(r, 1), c);
    EXPECT_EQ(list.count(r), 2);
  }
  /* One block, three arrays. */
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 4);
}

TEST_F(Links, CountAboveByteKeepsLowBitsAndCopiesAll) {
  int r = record(), a = record();
  std::vector<int> codes(257, a);
  codes[256] = r;
  ASSERT_EQ(ddSetParent(r, codes.data(), 257), 1);
  EXPECT_EQ(ddGetParentCount(r), 1);
  EXPECT_EQ(ddGetParent(r)[256], r); /* all copied: ASan checks the bound */
}

TEST_F(Links, StoreMadeArraysWithSpareSlotsAreFreed) {
  /* As ddSetCode makes them: allocated by the store with 64 spare slots. */
  int r = record(), a = record();
  ddRSchema *rs = ddGetRSchema(r);
  rs->links = static_cast<ddLinks *>(UZA_allocatez(sizeof(ddLinks), "test", __LINE__));
  rs->links->parents = static_cast<int32_t *>(UZA_allocatez(sizeof(int32_t) * 65, "test", __LINE__));
  rs->links->parents[0] = a;
  rs->links->parentCount = 1;
  rs->links->subRev = -3;
  EXPECT_EQ(ddGetSubRev(r), -3);
  EXPECT_EQ(ddGetParentNth(r, 0), a);
  EXPECT_EQ(UZA_liveBlocks("test"), 2);
  int codes[1] = {r};
  ASSERT_EQ(ddSetParent(r, codes, 1), 1);
  EXPECT_EQ(UZA_liveBlocks("test"), 1);
  EXPECT_EQ(ddGetParentNth(r, 0), r);
  EXPECT_EQ(ddGetSubRev(r), -3);
}

/* ---------------------------------------------------------------------------
** Extensions
*/

TEST_F(Links, SetXcodeAttaches) {
  int target = record("target"), ext = record("ext");
  EXPECT_EQ(ddSetXcode(ext, "target"), 1);
  EXPECT_EQ(ddGetExtendCode(ext), target);
  EXPECT_EQ(ddGetExtFieldCount(target), 1);
  EXPECT_EQ(ddGetExtFieldNth(target, 0), ext);
  EXPECT_EQ(ddGetExtFieldNth(target, 1), 0);
  EXPECT_EQ(ddGetExtFieldNth(target, static_cast<unsigned>(-1)), 0);
  /* The name is not stored. */
  EXPECT_EQ(entry(ext)->xcodeName, nullptr);
}

TEST_F(Links, SetXcodeWithUnknownNameOrCode) {
  int target = record("target"), ext = record("ext");
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  EXPECT_EQ(ddSetXcode(ext, "nobody"), 1);
  EXPECT_EQ(ddGetExtendCode(ext), target);
  EXPECT_EQ(ddSetXcode(ext, nullptr), 1);
  EXPECT_EQ(ddSetXcode(ext + 500, "target"), 0);
  EXPECT_EQ(ddSetXcode(0, "target"), 0);
  EXPECT_EQ(ddGetExtFieldCount(target), 1);
  /* A data item's name is no target. */
  data(4, "item");
  EXPECT_EQ(ddSetXcode(ext, "item"), 1);
  EXPECT_EQ(ddGetExtendCode(ext), target);
}

TEST_F(Links, SetXcodeIsIdempotent) {
  int target = record("target"), ext = record("ext");
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  EXPECT_EQ(ddGetExtFieldCount(target), 1);
  ddAddXcode(entry(ext), "target");
  EXPECT_EQ(ddGetExtFieldCount(target), 1);
}

TEST_F(Links, ExtensionListOrderIsNewestFirst) {
  int target = record("target");
  int a = record(), b = data(4), c = record();
  ASSERT_EQ(ddSetXcode(a, "target"), 1);
  ASSERT_EQ(ddSetXcode(b, "target"), 1); /* a data item may extend */
  ASSERT_EQ(ddSetXcode(c, "target"), 1);
  ASSERT_EQ(ddSetXcode(a, "target"), 1); /* repeating moves nothing */
  ASSERT_EQ(ddGetExtFieldCount(target), 3);
  EXPECT_EQ(ddGetExtFieldNth(target, 0), c);
  EXPECT_EQ(ddGetExtFieldNth(target, 1), b);
  EXPECT_EQ(ddGetExtFieldNth(target, 2), a);
}

TEST_F(Links, SecondTargetKeepsTheFirstList) {
  int t1 = record("t1"), t2 = record("t2"), ext = record();
  ASSERT_EQ(ddSetXcode(ext, "t1"), 1);
  ASSERT_EQ(ddSetXcode(ext, "t2"), 1);
  EXPECT_EQ(ddGetExtendCode(ext), t2);
  EXPECT_EQ(ddGetExtFieldCount(t1), 1);
  EXPECT_EQ(ddGetExtFieldCount(t2), 1);
  EXPECT_EQ(ddIsLegalXcode(t2, ext), 1);
  EXPECT_EQ(ddIsLegalXcode(t1, ext), 0);
}

TEST_F(Links, ExtFieldQueriesOnOtherCodes) {
  int d = data(4), r = record();
  EXPECT_EQ(ddGetExtFieldCount(d), 0);
  EXPECT_EQ(ddGetExtFieldCount(r), 0);
  EXPECT_EQ(ddGetExtFieldNth(r, 0), 0);
  EXPECT_EQ(ddGetExtFieldNth(d, 0), 0);
  EXPECT_EQ(ddGetExtFieldCount(0), 0);
}

TEST_F(Links, IsLegalXcode) {
  int target = record("target"), ext = record();
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  EXPECT_EQ(ddIsLegalXcode(target, ext), 1);
  EXPECT_EQ(ddIsLegalXcode(ext, target), 0);
  EXPECT_EQ(ddIsLegalXcode(0, 123456), 1);
  EXPECT_EQ(ddIsLegalXcode(0, target), 1); /* extends nothing */
}

TEST_F(Links, HasExtensionSearchesFromSiteOneUp) {
  /* site is 0 here: a fresh process */
  ASSERT_EQ(site, 0);
  int s1 = -1, s2 = -1;
  ASSERT_NE(ddNewSite("one", "site one", &s1), nullptr);
  ASSERT_NE(ddNewSite("two", "site two", &s2), nullptr);
  int target = record("target", 0);
  int inCore = record(nullptr, 0);
  int in2 = record(nullptr, s2);
  int in1a = record(nullptr, s1), in1b = record(nullptr, s1);
  EXPECT_EQ(ddHasExtension(target), 0);
  ASSERT_EQ(ddSetXcode(inCore, "target"), 1);
  /* A record of site 0 is not found, though it is in the list. */
  EXPECT_EQ(ddHasExtension(target), 0);
  EXPECT_EQ(ddGetExtFieldNth(target, 0), inCore);
  ASSERT_EQ(ddSetXcode(in2, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in2);
  ASSERT_EQ(ddSetXcode(in1b, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in1b);
  ASSERT_EQ(ddSetXcode(in1a, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in1a);
  EXPECT_EQ(ddHasExtension(0), 0);
  EXPECT_EQ(ddHasExtension(-target), 0);
}

TEST_F(Links, HasExtensionLooksAtRecordsOnly) {
  int s1 = -1;
  ASSERT_NE(ddNewSite("one", "site one", &s1), nullptr);
  int target = record("target");
  int d = ddNewDataDef(s1);
  ASSERT_EQ(ddSetXcode(d, "target"), 1);
  EXPECT_EQ(ddGetExtFieldCount(target), 1);
  EXPECT_EQ(ddHasExtension(target), 0);
}

TEST_F(Links, HasExtensionSkipsEmptySlots) {
  int s1 = -1;
  ASSERT_NE(ddNewSite("one", "site one", &s1), nullptr);
  int r = record(nullptr, s1);
  ddSite *one = ddSiteNo2SiteInfo(s1);
  /* A slot with code 0 and an extendCode that matches is passed over. */
  one->recordTable[0].head.code = 0;
  one->recordTable[0].head.extendCode = 77;
  EXPECT_EQ(ddHasExtension(77), 0);
  one->recordTable[0].head.code = r;
  EXPECT_EQ(ddHasExtension(77), r);
}
