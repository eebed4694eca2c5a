/* Parents, children and aliases of records, and extensions. */
#include "rkruntime.h"
#include "store_fixture.h"

using Links = StoreTest;

namespace {
struct ListApi {
  int (*set)(int, int *, int);
  int (*count)(int);
  int *(*get)(int);
  int (*nth)(int, int);
} const kLists[] = {{ddSetParent, ddGetParentCount, ddGetParent, ddGetParentNth},
                    {ddSetChild, ddGetChildCount, ddGetChild, ddGetChildNth},
                    {ddSetAlias, ddGetAliasCount, ddGetAlias, ddGetAliasNth}};
} // namespace

TEST_F(Links, EveryListSetsCopiesAndRefuses) {
  int r = record(), a = record(), b = record(), d = data(4);
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(&list - kLists);
    int codes[3] = {a, d, a}; /* data codes pass, a code may stand twice */
    ASSERT_EQ(list.set(r, codes, 3), 1);
    codes[0] = b; /* the store keeps a copy */
    EXPECT_EQ(V({list.count(r), list.nth(r, 0), list.nth(r, 2), list.nth(r, 3), list.nth(r, -1)}),
              V({3, a, a, 0, 0}));
    ASSERT_EQ(list.set(r, list.get(r) + 1, 2), 1); /* a part of its own live array */
    EXPECT_EQ(V({list.count(r), list.nth(r, 0), list.nth(r, 1)}), V({2, d, a}));
  }
  ASSERT_EQ(ddSetChild(r, nullptr, 0), 1); /* each list is its own */
  EXPECT_EQ(V({ddGetParentCount(r), ddGetChildCount(r), ddGetAliasCount(r)}), V({2, 0, 2}));
  EXPECT_EQ(ddGetChild(r), nullptr);
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 3); /* one links block, two arrays */
}

TEST_F(Links, RefusalsAndCachingAndStoreMadeArrays) {
  int r = record(), a = record(), d = data(4);
  int undefined[3] = {a + 300, a, a + 300}, *codes = undefined + 1; /* undefined first, then second */
  EXPECT_EACH(0, ddSetParent(r, codes, 0), ddSetParent(r, nullptr, 2), ddSetParent(r, undefined, 2),
              ddSetParent(r, codes, 2), ddSetParent(r, codes, -1));
  EXPECT_EQ(ddGetRSchema(r)->links, nullptr); /* no block made */
  EXPECT_EACH(0, ddSetParent(d, codes, 1), ddSetChild(d, codes, 1), ddSetAlias(0, codes, 1));
  EXPECT_EACH(0, ddGetParentCount(d), ddGetParentNth(d, 0), ddGetSubRev(d), ddGetChildCount(-1));
  EXPECT_EQ(ddGetParent(d), nullptr);
  ddCacheFixups(1); /* caching skips the look-ups only, and marks no layout */
  EXPECT_EQ(ddSetParent(r, codes, 2), 1);
  EXPECT_EQ(ddSetParent(r, nullptr, 2), 0);
  EXPECT_EQ(V({ddGetParentCount(r), ddGetParentNth(r, 1), ddFixupPending}), V({2, a + 300, 0}));
  /* A count above a byte keeps its low bits, and all codes are copied. */
  std::vector<int> many(257, a);
  many[256] = r;
  ASSERT_EQ(ddSetChild(r, many.data(), 257), 1);
  EXPECT_EQ(V({ddGetChildCount(r), ddGetChild(r)[256]}), V({1, r}));
  /* Arrays as compiled sites get them, with spare slots, are the store's to free. */
  int s = record();
  ddRSchema *rs = ddGetRSchema(s);
  rs->links = static_cast<ddLinks *>(UZA_allocatez(sizeof(ddLinks), "test", __LINE__));
  rs->links->parents = static_cast<int32_t *>(UZA_allocatez(4 * 65, "test", __LINE__));
  rs->links->parents[0] = a;
  rs->links->parentCount = 1;
  rs->links->subRev = -3;
  ASSERT_EQ(ddSetParent(s, &r, 1), 1);
  EXPECT_EQ(UZA_liveBlocks("test"), 1);
  EXPECT_EQ(V({ddGetSubRev(s), ddGetParentNth(s, 0)}), V({-3, r}));
}

TEST_F(Links, Extensions) {
  int target = record("target"), t2 = record("t2"), ext = record("ext"), c = record();
  int d = data(4);
  ddSetName(d, "item");
  EXPECT_EACH(0, ddGetExtFieldCount(target), ddGetExtFieldNth(target, 0), ddGetExtFieldCount(d));
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  EXPECT_EQ(V({ddGetExtendCode(ext), ddIsLegalXcode(target, ext), ddIsLegalXcode(ext, target)}),
            V({target, 1, 0}));
  EXPECT_EQ(ddGetSchema(ext)->xcodeName, nullptr); /* the name is not stored */
  /* An unknown name, no name or a data item's name changes nothing. */
  EXPECT_EACH(1, ddSetXcode(ext, "nobody"), ddSetXcode(ext, nullptr), ddSetXcode(ext, "item"));
  EXPECT_EACH(0, ddSetXcode(ext + 500, "target"), ddSetXcode(0, "target"));
  EXPECT_EQ(ddGetExtendCode(ext), target);
  /* Newest first; repeating moves nothing; a data item may extend. */
  ASSERT_EQ(ddSetXcode(d, "target"), 1);
  ASSERT_EQ(ddSetXcode(c, "target"), 1);
  ASSERT_EQ(ddSetXcode(ext, "target"), 1);
  ddAddXcode(ddGetSchema(ext), "target");
  EXPECT_EQ(ddGetExtFieldCount(target), 3);
  EXPECT_EQ(V({ddGetExtFieldNth(target, 0), ddGetExtFieldNth(target, 1),
               ddGetExtFieldNth(target, 2), ddGetExtFieldNth(target, 3)}),
            V({c, d, ext, 0}));
  /* A second target; the first keeps its list. */
  ASSERT_EQ(ddSetXcode(ext, "t2"), 1);
  EXPECT_EQ(V({ddGetExtendCode(ext), ddGetExtFieldCount(t2), ddGetExtFieldCount(target)}),
            V({t2, 1, 3}));
  EXPECT_EACH(1, ddIsLegalXcode(0, 123456), ddIsLegalXcode(0, target)); /* extends nothing */
}

TEST_F(Links, HasExtensionSearchesRecordsFromSiteOneUp) {
  int s1 = newSite("one"), s2 = newSite("two");
  int target = record("target"), inCore = record(), in2 = record(nullptr, s2);
  int in1a = record(nullptr, s1), in1b = record(nullptr, s1), d = ddNewDataDef(s1);
  ASSERT_TRUE(EXPECT_EACH(1, ddSetXcode(inCore, "target"), ddSetXcode(d, "target")));
  EXPECT_EQ(ddHasExtension(target), 0); /* site 0 and data items do not count */
  ASSERT_EQ(ddSetXcode(in2, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in2);
  ASSERT_EQ(ddSetXcode(in1b, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in1b);
  ASSERT_EQ(ddSetXcode(in1a, "target"), 1);
  EXPECT_EQ(ddHasExtension(target), in1a);
  EXPECT_EACH(0, ddHasExtension(0), ddHasExtension(-target));
  ddSite *one = ddSiteNo2SiteInfo(s1); /* an empty slot is passed over */
  one->recordTable[0].head.code = 0;
  EXPECT_EQ(ddHasExtension(target), in1b);
}
