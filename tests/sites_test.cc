/*
** The site table and the code space: finding or making sites by id and
** description, the ten-site limit, and decoding codes to site and slot.
*/
#include <string>

#include "store_fixture.h"

/* Room made ahead keeps entries in place until it is used up; the counts
** show only what was added. */
TEST(Sites, ReservedRoomKeepsEntriesInPlace) {
  int n = newSite("core", "the core");
  ddSite *s = ddSiteNo2SiteInfo(n);
  ddReserveDefinitions(n, 0, 0); /* nothing asked, nothing made */
  EXPECT_TRUE(s->recordTable == nullptr && s->dataTable == nullptr);
  ddReserveDefinitions(n, 1, 2);
  ddRSchema *records = s->recordTable;
  ddDSchema *data = s->dataTable;
  ddNewRecordDef(n), ddNewDataDef(n), ddNewDataDef(n);
  EXPECT_TRUE(records && data && s->recordTable == records && s->dataTable == data);
  ddReserveDefinitions(n, 0, 1);
  data = s->dataTable;
  ddNewDataDef(n);
  EXPECT_EQ(s->dataTable, data);
  ddReserveDefinitions(n, 100, 0);
  ddRSchema *table = s->recordTable;
  ddReserveDefinitions(n, 50, 0); /* fits in the room there is: nothing moves */
  EXPECT_EQ(s->recordCount, 1);
  for (int i = 0; i < 100; i++) ddNewRecordDef(n);
  EXPECT_TRUE(s->recordTable == table && s->recordCount == 101 && s->dataCount == 3);
  ddNewRecordDef(n);
  EXPECT_NE(s->recordTable, table);
  EXPECT_EQ(ddGetRSchema(s->recordMap[100]), &s->recordTable[100]); /* copied whole */
}

TEST(Sites, MatchingByIdAndDescription) {
  int a = newSite("shared", "first");
  /* A null desc matches any description; another desc makes a new site. */
  EXPECT_EQ(V({newSite("shared", nullptr), newSite("shared", "first"), newSite("shared", "second")}),
            V({a, a, a + 1}));
  EXPECT_EQ(ddSiteId2SiteInfo("shared"), ddSiteNo2SiteInfo(a));
  int bare = newSite("bare", nullptr);
  /* A desc never matches an empty one, but the empty text does. */
  EXPECT_EQ(V({newSite("bare", "given"), newSite("bare", "")}), V({bare + 1, bare}));
  int n1 = newSite(nullptr, "same");
  EXPECT_EQ(newSite(nullptr, "same"), n1 + 1); /* no id: no search */
  EXPECT_EQ(ddSiteNo2SiteInfo(n1)->id[0], '\0');
  int empty = -1;
  EXPECT_EQ(V({ddSiteId2SiteNo("", &empty), empty}), V({1, n1})); /* the first site without id */
  EXPECT_EQ(ddSiteId2SiteNo(nullptr, &empty), 0);
  EXPECT_TRUE(ddSiteId2SiteInfo("") == nullptr && ddSiteId2SiteInfo(nullptr) == nullptr);
}

TEST(Sites, LongIdsAreCutAndTheTableHoldsTen) {
  EXPECT_EQ(V({newSite("eightchr", nullptr), newSite("eightchr", nullptr)}), V({0, 0})); /* 8 still match */
  /* Longer ids and descriptions are cut; the cut id never matches the whole one. */
  EXPECT_EQ(V({newSite("ninechars", nullptr), newSite("ninechars", nullptr)}), V({1, 2}));
  EXPECT_STREQ(ddSiteNo2SiteInfo(1)->id, "ninechar");
  EXPECT_EQ(ddSiteId2SiteInfo("ninechars"), ddSiteNo2SiteInfo(1)); /* first 8 only */
  int n = -1;
  EXPECT_EQ(V({ddSiteId2SiteNo("ninechar-whatever", &n), n, ddGetUCode("ninechars", 256)}),
            V({1, 1, 0})); /* ddGetUCode compares the whole string */
  std::string desc96(96, 'd'), desc97(97, 'd');
  EXPECT_EQ(V({newSite("d", desc97.c_str()), newSite("d", desc97.c_str()), newSite("d", desc96.c_str())}),
            V({3, 4, 3}));
  EXPECT_EQ(std::string(ddSiteNo2SiteInfo(3)->desc), desc96);
  for (int i = 5; i < 10; i++) EXPECT_EQ(newSite("same", std::to_string(i).c_str()), i);
  n = 77;
  EXPECT_EQ(ddNewSite("same", nullptr, &n), nullptr); /* even an existing id */
  EXPECT_EQ(ddNewSite(nullptr, nullptr, &n), nullptr);
  EXPECT_EQ(V({n, ddSiteCount(), ddNewRecordDef(9), ddGetSiteNo(9 * 4096 + 256)}), V({77, 10, 9 * 4096 + 256, 9}));
}

TEST(Codes, DecodingSlotsAndTruncatingDivision) {
  int s0 = newSite("core", "c"), s1 = newSite("ext", "e"), fr, lr, fd, ld;
  ASSERT_EQ(ddSiteInfo(s1, &fr, &lr, &fd, &ld), 1); /* empty ranges at the site's offset */
  EXPECT_EQ(V({fr, lr, fd, ld, ddSiteNo2SiteInfo(s1)->siteWord}),
            V({4096 + 256, 4096 + 255, 4096 + 2048, 4096 + 2047, 64}));
  EXPECT_EQ(V({ddSiteInfo(2, &fr, &lr, &fd, &ld), ddSiteInfo(-1, &fr, &lr, &fd, &ld), fr}), V({0, 0, 4352}));
  int r0 = ddNewRecordDef(s0), d0 = ddNewDataDef(s0), r1 = ddNewRecordDef(s1);
  ASSERT_EQ(r1, 4352);
  int index = -1;
  ddSite *site = nullptr;
  EXPECT_EQ(V({ddDecodeCode(r1, &index, &site), index, site == ddSiteNo2SiteInfo(s1)}), V({1, 0, 1}));
  EXPECT_EQ(V({ddDecodeCode(d0, &index, &site), site == ddSiteNo2SiteInfo(s0)}), V({2, 1}));
  /* A code in the gap writes the site but not the index. */
  index = -1;
  site = nullptr;
  EXPECT_EQ(V({ddDecodeCode(4096 + 1000, &index, &site), index, site == ddSiteNo2SiteInfo(s1)}), V({0, -1, 1}));
  site = nullptr;
  EXPECT_EQ(V({ddDecodeCode(-4096, &index, &site), site == nullptr}), V({0, 1})); /* site -1 */
  EXPECT_EQ(V({ddDecodeCode(-1, &index, &site), site == ddSiteNo2SiteInfo(s0)}), V({0, 1})); /* site 0, local -1 */
  for (int code : {0, -1, -4095, -4096, -4352, 1000, 4096 + 1000, 3 * 4096 + 256}) {
    EXPECT_EQ(V({ddIsRcode(code), ddIsDcode(code), ddGetSiteNo(code), ddIsKor(code), ddGetMyCode(code)}),
              V({0, 0, 0, 1, 0})) << code;
    EXPECT_EQ(ddGetSiteId(code), nullptr) << code;
  }
  EXPECT_EQ(V({ddIsRcode(r0), ddIsDcode(d0), ddIsDcode(r0), ddGetSiteNo(r1), ddIsKor(r1), ddGetMyCode(r1)}),
            V({1, 1, 0, 1, 0, 256}));
  EXPECT_STREQ(ddGetSiteId(r1), "ext");
  /* A local code in no range is given back as it is. */
  EXPECT_EQ(V({ddGetUCode("ext", 256), ddGetUCode("ext", 1000), ddGetUCode("nosuch", 256), ddGetUCode(nullptr, 256),
               ddGetUCode("core", 2048)}),
            V({4352, 1000, 0, 0, d0}));
  /* Slots by number. */
  EXPECT_EQ(V({ddSiteGetNthRcode(s0, 0), ddSiteGetNthDcode(s0, 0), ddSiteGetNthRcode(s1 + 1, 0),
               ddSiteGetNthDcode(-1, 0), ddSiteRecordCode(s0, 5), ddSiteDataCode(s0, 5)}),
            V({r0, d0, 0, 0, 261, 2053}));
  EXPECT_TRUE(ddSiteGetNthRSchema(s0, 0) == ddGetRSchema(r0) && ddSiteGetNthDSchema(s0, 0) == ddGetDSchema(d0));
  EXPECT_TRUE(ddSiteGetNthRSchema(s0, 1) == nullptr && ddSiteGetNthRSchema(s0, -1) == nullptr);
  EXPECT_TRUE(ddSiteNo2SiteInfo(2) == nullptr && ddSiteNo2SiteInfo(-1) == nullptr);
}
