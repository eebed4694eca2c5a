/*
** Part 2.6: paths between records. Every row of the path table, the cache
** on the target, ddFindFieldParent, and cycles of every kind.
*/
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rkdd/rkdd.h"
#include "store/ddfield.h"
#include "store/ddstore.h"
#include "store_fixture.h"
#include "rkruntime.h"
#include "support/mlist.h"

namespace {

class Paths : public StoreTest {
protected:
  /* A named record, so that others can extend it by name. */
  int named(const std::string &name) {
    return record(name.c_str());
  }

  /* ext extends target (by the target's name). */
  void extend(int ext, int target) {
    ASSERT_EQ(ddSetXcode(ext, ddGetName(target)), 1);
  }

  /* The cached path of target as signed elements: -E for an extension hop. */
  std::vector<int> path(int start, int target) {
    std::vector<int> out;
    int n = ddBuildPath(start, target);
    for (int i = 0; i < n; i++) {
      int code = -1, flag = -1;
      EXPECT_EQ(ddGetNthParent(start, target, static_cast<unsigned>(i), &code, &flag), 1);
      out.push_back(flag ? -code : code);
    }
    return out;
  }
};

using V = std::vector<int>;

} // namespace

/* ---------------------------------------------------------------------------
** The table of Part 2.6, row by row
*/

TEST_F(Paths, TIsASlotOfR) {
  int t = data(4);
  int r = named("R");
  ASSERT_EQ(setFields(r, {makeSlot(data(2)), makeSlot(t)}), 1);
  EXPECT_EQ(path(r, t), V({r}));
}

TEST_F(Paths, TInStructureHeldByR) {
  int t = data(4);
  int r = named("R"), s = named("S");
  ASSERT_EQ(setFields(s, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(path(r, t), V({r}));
}

TEST_F(Paths, TTwoStructuresDownNamesTheMiddleOne) {
  int t = data(4);
  int r = named("R"), s1 = named("S1"), s2 = named("S2");
  ASSERT_EQ(setFields(s2, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(s1, {makeSlot(s2, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s1, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(path(r, t), V({s1}));
}

TEST_F(Paths, TBehindAPointer) {
  int t = data(4);
  int r = named("R"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(path(r, t), V({r, p}));
}

TEST_F(Paths, TBehindTwoPointers) {
  int t = data(4);
  int r = named("R"), p1 = named("P1"), p2 = named("P2");
  ASSERT_EQ(setFields(p2, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(p1, {makeSlot(p2, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p1, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(path(r, t), V({r, p1, p2}));
}

TEST_F(Paths, TBehindAPointerInAStructure) {
  int t = data(4);
  int r = named("R"), s = named("S"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(s, {makeSlot(p, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(path(r, t), V({r, p}));
}

TEST_F(Paths, TInAStructureBehindAPointer) {
  int t = data(4);
  int r = named("R"), p = named("P"), s = named("S");
  ASSERT_EQ(setFields(s, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(p, {makeSlot(s, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(path(r, t), V({r, p}));
}

TEST_F(Paths, TIsASlotOfAnExtension) {
  int t = data(4);
  int r = named("R"), e = named("E");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  extend(e, r);
  EXPECT_EQ(path(r, t), V({-e}));
}

TEST_F(Paths, TIsTheExtensionItself) {
  int r = named("R"), e = named("E");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  extend(e, r);
  EXPECT_EQ(path(r, e), V({-e}));
  /* A data item that extends R is found the same way. */
  int d = data(4);
  extend(d, r);
  EXPECT_EQ(path(r, d), V({-d}));
}

TEST_F(Paths, TIsASlotOfAnExtensionOfAnExtension) {
  int t = data(4);
  int r = named("R"), e1 = named("E1"), e2 = named("E2");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e1, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e2, {makeSlot(t)}), 1);
  extend(e1, r);
  extend(e2, e1);
  EXPECT_EQ(path(r, t), V({-e2}));
}

TEST_F(Paths, TBehindAPointerOfAnExtension) {
  int t = data(4);
  int r = named("R"), e = named("E"), p = named("P");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(p, DD_KIND_POINTER)}), 1);
  extend(e, r);
  EXPECT_EQ(path(r, t), V({-e, p}));
}

TEST_F(Paths, TInAnExtensionOfARecordBehindAPointer) {
  int t = data(4);
  int r = named("R"), p = named("P"), e = named("E");
  ASSERT_EQ(setFields(p, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  extend(e, p);
  EXPECT_EQ(path(r, t), V({r, -e}));
}

/* ---------------------------------------------------------------------------
** Order of the search
*/

TEST_F(Paths, FirstSlotThroughAStructureWinsOverALaterSlotForT) {
  int t = data(4);
  int r = named("R"), s1 = named("S1"), s2 = named("S2");
  ASSERT_EQ(setFields(s2, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(s1, {makeSlot(s2, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s1, DD_KIND_STRUCTURE), makeSlot(t)}), 1);
  EXPECT_EQ(path(r, t), V({s1})); /* through S1, not R itself */
}

TEST_F(Paths, ExtensionComesBeforeASlot) {
  int t = data(4);
  int r = named("R"), e = named("E");
  ASSERT_EQ(setFields(r, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  extend(e, r);
  EXPECT_EQ(path(r, t), V({-e}));
}

TEST_F(Paths, NewestExtensionIsSearchedFirst) {
  int t = data(4);
  int r = named("R"), a = named("A"), b = named("B");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(a, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(t)}), 1);
  extend(a, r);
  extend(b, r);
  EXPECT_EQ(path(r, t), V({-b}));
}

TEST_F(Paths, SlotForItsOwnCodeIsNotSearched) {
  int t = data(4);
  int r = named("R");
  ASSERT_EQ(setFields(r, {makeSlot(r, DD_KIND_POINTER), makeSlot(t)}), 1);
  EXPECT_EQ(path(r, t), V({r}));
  /* And T is the record itself: the slot's code is T, which is a hit. */
  EXPECT_EQ(path(r, r), V({r}));
}

TEST_F(Paths, KindZeroRecordIsSearchedLikeAStructure) {
  int t = data(4);
  int r = named("R"), s = named("S");
  ASSERT_EQ(setFields(s, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s, DD_KIND_DC)}), 1);
  EXPECT_EQ(path(r, t), V({r}));
}

TEST_F(Paths, DataCodeIsNeverEntered) {
  int t = data(4), d = data(4);
  int r = named("R");
  ASSERT_EQ(setFields(r, {makeSlot(d, DD_KIND_STRUCTURE), makeSlot(d, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddBuildPath(r, t), 0);
}

TEST_F(Paths, TargetTheStartHoldsOnlyThroughAnotherRecordOfAnySite) {
  int other = -1;
  ASSERT_NE(ddNewSite("other", "another", &other), nullptr);
  int t = data(4);
  int r = named("R");
  int p = record("P", other);
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(path(r, t), V({r, p}));
}

/* ---------------------------------------------------------------------------
** The cache on the target, and ddGetNthParent
*/

TEST_F(Paths, NoPathGivesZero) {
  int t = data(4);
  int r = named("R");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  EXPECT_EQ(ddBuildPath(r, t), 0);
  EXPECT_EQ(entry(t)->pathList, nullptr);
  int code = 5, flag = 5;
  EXPECT_EQ(ddGetNthParent(r, t, 0, &code, &flag), 0);
  EXPECT_EQ(code, 5);
  EXPECT_EQ(flag, 5);
}

TEST_F(Paths, RepeatedBuildKeepsTheSameList) {
  int t = data(4);
  int r = named("R"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddBuildPath(r, t), 2);
  mlist *cached = entry(t)->pathList;
  ASSERT_NE(cached, nullptr);
  EXPECT_EQ(ddBuildPath(r, t), 2);
  EXPECT_EQ(entry(t)->pathList, cached);
}

TEST_F(Paths, CachedPathOutlivesChanges) {
  int t = data(4);
  int r = named("R"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(ddBuildPath(r, t), 2);
  ASSERT_EQ(setFields(r, {makeSlot(t)}), 1);
  EXPECT_EQ(ddBuildPath(r, t), 2); /* still the cached list */
}

TEST_F(Paths, ExtensionHopStartIsSearchedAgain) {
  int t = data(4);
  int r = named("R"), e = named("E");
  ASSERT_EQ(setFields(r, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  extend(e, r);
  ASSERT_EQ(ddBuildPath(r, t), 1);
  mlist *first = entry(t)->pathList;
  /* The first element reads as E, not R: the list is dropped and searched. */
  EXPECT_EQ(ddBuildPath(r, t), 1);
  EXPECT_NE(entry(t)->pathList, nullptr);
  EXPECT_EQ(mlistNth(entry(t)->pathList, 0), -e);
  (void)first;
  /* With start E the cached list is found. */
  mlist *cached = entry(t)->pathList;
  EXPECT_EQ(ddBuildPath(e, t), 1);
  EXPECT_EQ(entry(t)->pathList, cached);
}

TEST_F(Paths, SecondStartReplacesThePath) {
  int t = data(4);
  int r = named("R"), r2 = named("R2"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(r2, {makeSlot(t)}), 1);
  ASSERT_EQ(ddBuildPath(r, t), 2);
  ASSERT_EQ(ddBuildPath(r2, t), 1);
  int code = 0, flag = 7;
  ASSERT_EQ(ddGetNthParent(r, t, 0, &code, &flag), 1); /* start is not read */
  EXPECT_EQ(code, r2);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(ddBuildPath(r, t), 2);
}

TEST_F(Paths, FailedSearchDropsThePathOfAnotherStart) {
  int t = data(4);
  int r = named("R"), lonely = named("L");
  ASSERT_EQ(setFields(r, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(lonely, {makeSlot(data(1))}), 1);
  ASSERT_EQ(ddBuildPath(r, t), 1);
  EXPECT_EQ(ddBuildPath(lonely, t), 0);
  EXPECT_EQ(entry(t)->pathList, nullptr);
  ASSERT_EQ(ddBuildPath(r, t), 1);
  /* A start that is no record code fails the same way. */
  EXPECT_EQ(ddBuildPath(t, t), 0);
  EXPECT_EQ(entry(t)->pathList, nullptr);
  EXPECT_EQ(ddBuildPath(0, t), 0);
}

TEST_F(Paths, GetNthParentDetails) {
  int t = data(4);
  int r = named("R"), p = named("P"), e = named("E");
  ASSERT_EQ(setFields(p, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  extend(e, p);
  ASSERT_EQ(ddBuildPath(r, t), 2);
  int code = 0, flag = 0;
  ASSERT_EQ(ddGetNthParent(r, t, 1, &code, &flag), 1);
  EXPECT_EQ(code, e);
  EXPECT_EQ(flag, 1);
  /* Both out-words null. */
  EXPECT_EQ(ddGetNthParent(r, t, 0, nullptr, nullptr), 1);
  /* Past the end: 1, with code 0 and flag 0. */
  code = flag = 9;
  EXPECT_EQ(ddGetNthParent(r, t, 2, &code, &flag), 1);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(flag, 0);
  /* No definition. */
  EXPECT_EQ(ddGetNthParent(r, t + 900, 0, &code, &flag), 0);
  /* A target with no path. */
  EXPECT_EQ(ddGetNthParent(r, p, 0, &code, &flag), 0);
}

TEST_F(Paths, StartWithoutFieldTableEndsBeforeItsExtensions) {
  int t = data(4);
  int r = named("R"), e = named("E");
  ASSERT_EQ(setFields(e, {makeSlot(t)}), 1);
  extend(e, r);
  EXPECT_EQ(ddBuildPath(r, t), 0);
  EXPECT_EQ(ddBuildPath(r, e), 0);
}

TEST_F(Paths, TargetWithoutDefinitionReleasesTheList) {
  int r = named("R");
  int undefinedCode = ddSiteDataCode(site, 40);
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r, {makeSlot(undefinedCode)}), 1);
  long before = UZA_liveBlocks("mlist1");
  EXPECT_EQ(ddBuildPath(r, undefinedCode), 1);
  EXPECT_EQ(UZA_liveBlocks("mlist1"), before);
  EXPECT_EQ(ddGetNthParent(r, undefinedCode, 0, nullptr, nullptr), 0);
}

TEST_F(Paths, MarkExtensionHop) {
  mlist *list = mlistNew();
  ddMarkExtensionHop(list); /* empty: nothing */
  mlistPush(list, 5);
  mlistPush(list, 7);
  ddMarkExtensionHop(list);
  EXPECT_EQ(mlistNth(list, 0), -7);
  EXPECT_EQ(mlistNth(list, 1), 5);
  ddMarkExtensionHop(list);
  EXPECT_EQ(mlistNth(list, 0), -7);
  mlistFree(list);
  ddMarkExtensionHop(nullptr);
}

TEST_F(Paths, FindPathDirectly) {
  int t = data(4);
  int r = named("R"), p = named("P");
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p, DD_KIND_POINTER)}), 1);
  int counter = 0;
  mlist *list = ddFindPath(r, t, r, nullptr, &counter);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(counter, 2);
  EXPECT_EQ(mlistCount(list), 2);
  mlistFree(list);
  /* The caller's own table stops the search at once. */
  counter = 0;
  EXPECT_EQ(ddFindPath(r, t, r, ddGetField(r), &counter), nullptr);
  EXPECT_EQ(counter, 0);
  /* The owner of the call names the hit. */
  list = ddFindPath(p, t, 4242, nullptr, &counter);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(mlistNth(list, 0), 4242);
  mlistFree(list);
}

/* ---------------------------------------------------------------------------
** Cycles: a branch that comes back to a record on the way gives null
*/

TEST_F(Paths, PointerCycles) {
  int t = data(4), nowhere = data(4);
  /* length 1 through a second slot for itself is skipped anyway; length 2 */
  int a = named("A"), b = named("B");
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(a, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddBuildPath(a, nowhere), 0);
  EXPECT_EQ(ddBuildPath(b, nowhere), 0);
  /* length 3, with T off the cycle */
  int c = named("C"), d = named("D"), e = named("E"), f = named("F");
  ASSERT_EQ(setFields(f, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(d, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(d, {makeSlot(e, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(c, DD_KIND_POINTER), makeSlot(f, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddBuildPath(c, nowhere), 0);
  EXPECT_EQ(path(c, t), V({c, d, e, f}));
  EXPECT_EQ(path(d, t), V({d, e, f}));
}

TEST_F(Paths, StructureCycles) {
  int t = data(4), nowhere = data(4);
  ddCacheFixups(1);
  int a = named("A"), b = named("B"), c = named("C"), d = named("D"), g = named("G");
  /* length 2: A <-> B */
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(a, DD_KIND_STRUCTURE)}), 1);
  /* length 3: C -> D -> G -> C, T behind G in line */
  int s = named("S");
  ASSERT_EQ(setFields(c, {makeSlot(d, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(d, {makeSlot(g, DD_KIND_DC)}), 1);
  ASSERT_EQ(setFields(g, {makeSlot(c, DD_KIND_STRUCTURE), makeSlot(s, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(s, {makeSlot(t)}), 1);
  ddFixup();
  EXPECT_EQ(ddBuildPath(a, nowhere), 0);
  EXPECT_EQ(ddBuildPath(b, nowhere), 0);
  EXPECT_EQ(ddBuildPath(c, nowhere), 0);
  EXPECT_EQ(path(c, t), V({g}));
  EXPECT_EQ(path(d, t), V({g}));
}

TEST_F(Paths, ExtensionCycles) {
  int t = data(4), nowhere = data(4);
  /* length 1: A extends itself */
  int a = named("A");
  ASSERT_EQ(setFields(a, {makeSlot(data(1))}), 1);
  extend(a, a);
  EXPECT_EQ(ddBuildPath(a, nowhere), 0);
  /* length 2: B and C extend each other */
  int b = named("B"), c = named("C");
  ASSERT_EQ(setFields(b, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(data(1))}), 1);
  extend(b, c);
  extend(c, b);
  EXPECT_EQ(ddBuildPath(b, nowhere), 0);
  EXPECT_EQ(ddBuildPath(c, nowhere), 0);
  /* length 3: D <- E <- F <- D, T in G which extends F */
  int d = named("D"), e = named("E"), f = named("F"), g = named("G");
  for (int x : {d, e, f}) ASSERT_EQ(setFields(x, {makeSlot(data(1))}), 1);
  ASSERT_EQ(setFields(g, {makeSlot(t)}), 1);
  extend(e, d);
  extend(f, e);
  extend(d, f);
  EXPECT_EQ(ddBuildPath(d, nowhere), 0);
  extend(g, f);
  EXPECT_EQ(path(d, t), V({-g}));
  EXPECT_EQ(path(e, t), V({-g}));
}

TEST_F(Paths, MixedCycles) {
  int t = data(4), nowhere = data(4);
  ddCacheFixups(1);
  /* A points to B, B holds C in line, C extends A: a cycle of three kinds. */
  int a = named("A"), b = named("B"), c = named("C"), p = named("P");
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(c, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(data(1)), makeSlot(p, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(p, {makeSlot(a, DD_KIND_POINTER), makeSlot(t)}), 1);
  ddFixup();
  extend(c, a);
  for (int start : {a, b, c, p}) EXPECT_EQ(ddBuildPath(start, nowhere), 0) << start;
  /* A's extension C comes first, then its pointer to P. */
  EXPECT_EQ(path(a, t), V({-c, p}));
  EXPECT_EQ(path(b, t), V({b, p}));
}

TEST_F(Paths, ManyPathsStayFast) {
  /* 40 records, each pointing twice to the next and extended by the next:
  ** a search without memory would try more than 3^40 ways. */
  int nowhere = data(4);
  std::vector<int> rungs;
  for (int i = 0; i < 40; i++) rungs.push_back(named("rung" + std::to_string(i)));
  for (int i = 0; i + 1 < 40; i++) {
    ASSERT_EQ(setFields(rungs[i], {makeSlot(rungs[i + 1], DD_KIND_POINTER),
                                   makeSlot(rungs[i + 1], DD_KIND_STRUCTURE)}),
              1);
    extend(rungs[i + 1], rungs[i]);
  }
  ASSERT_EQ(setFields(rungs[39], {makeSlot(rungs[0], DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddBuildPath(rungs[0], nowhere), 0);
  EXPECT_EQ(path(rungs[0], rungs[39]), V({-rungs[39]}));
}

/* ---------------------------------------------------------------------------
** ddFindFieldParent
*/

TEST_F(Paths, FindFieldParent) {
  int other = -1;
  ASSERT_NE(ddNewSite("other", "another", &other), nullptr);
  int d = data(4);
  int elsewhere = record(nullptr, other);
  ASSERT_EQ(setFields(elsewhere, {makeSlot(d)}), 1);
  EXPECT_EQ(ddFindFieldParent(d), 0); /* a record in another site is not found */
  int r1 = record(), r2 = record();
  ASSERT_EQ(setFields(r2, {makeSlot(d)}), 1);
  ASSERT_EQ(setFields(r1, {makeSlot(data(1)), makeSlot(d, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddFindFieldParent(d), r1);
  /* A record as a field, of any kind. */
  int inner = record();
  ASSERT_EQ(setFields(r2, {makeSlot(d), makeSlot(inner, 7)}), 1);
  EXPECT_EQ(ddFindFieldParent(inner), r2);
  EXPECT_EQ(ddFindFieldParent(r1), 0);
  EXPECT_EQ(ddFindFieldParent(0), 0);
  EXPECT_EQ(ddFindFieldParent(d + 1000), 0);
}
