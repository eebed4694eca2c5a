/* Temporary sites: records known by local code, in a table grown to the highest. */
#include "rkruntime.h"
#include "store_fixture.h"

TEST(TempSite, GrowsByCodeTheFirstRegistrationStandsAndBytesAreSigned) {
  int n;
  ddNewSite("core", "core schema", &n);
  ASSERT_EQ(ddInitTemp("tmp", 0, &n), 1);
  ddSite *s = ddSiteNo2SiteInfo(n);
  ddSetTempCode(1, 255, 4, 0, 0); /* below the site's codes, above them, no such site */
  ddSetTempCode(1, 4096, 4, 0, 0);
  ddSetTempCode(1, INT32_MIN + 2, 4, 0, 0); /* far below: no overflow on the way */
  ddSetTempCode(7, 300, 4, 0, 0);
  EXPECT_EQ(V({n, s->recordCount, ddSiteCount()}), V({1, 0, 2}));
  ddSetTempCode(1, 300, 40, 3, 2);
  const int code = ddGetUCode("tmp", 300);
  EXPECT_EQ(V({s->recordCount, s->lastRecord, ddSiteGetNthRcode(1, 44), ddSiteGetNthRcode(1, 0)}),
            V({45, 300, 300, 0}));
  EXPECT_EQ(V({code, ddGetTagType(code), ddGetLength(code), ddGetIlevel(code), ddGetVersion(code),
               ddGetRSchema(code)->links->subRev, ddGetArrayCount(code), ddGetLength(4096 + 280)}),
            V({4096 + 300, MTYPE_REC, 40, 63, 2, 3, 1, 0}));
  EXPECT_EQ(ddGetSchema(code)->flags & DD_FLAG_IS_PACKED, 0u);
  ddSetTempCode(1, 300, 99, 9, 9); /* the first registration stands */
  EXPECT_EQ(V({ddGetLength(code), ddGetRSchema(code)->links->subRev}), V({40, 3}));
  ddRSchema *table = s->recordTable;
  ddLinks *links = ddGetRSchema(code)->links;
  ddSetTempCode(1, 280, 8, 0, 0); /* empty slots below are filled in place, the base's too */
  ddSetTempCode(1, 256, 6, 0, 0);
  EXPECT_TRUE(s->recordTable == table && ddGetLength(4096 + 280) == 8 && ddGetLength(4096 + 256) == 6);
  ddSchema *cached = ddGetSchema(code);
  long bytes = UZA_liveBytes("apidd1");
  ddSetTempCode(1, 301, 12, 0, 0);
  /* One slot, one map word and a links block more: the old blocks went. */
  EXPECT_EQ(UZA_liveBytes("apidd1") - bytes, long(sizeof(ddRSchema) + 4 + sizeof(ddLinks)));
  EXPECT_TRUE(ddGetSchema(code) != cached && ddGetRSchema(code)->links == links); /* moved */
  EXPECT_EQ(V({s->recordCount, ddGetLength(code), ddGetLength(4096 + 301)}), V({46, 40, 12}));
  ddSetTempCode(1, 4095, 4, 200, 200);
  EXPECT_EQ(V({s->recordCount, ddGetRSchema(8191)->links->subRev, ddGetVersion(8191)}),
            V({3840, -56, -56}));
}

TEST(TempSite, WorksOnAnySiteWithoutTouchingItsDefinitions) {
  int n;
  ddNewSite("core", "core schema", &n);
  int record = ddNewRecordDef(0);
  ddSetName(record, "kept");
  ddSetTempCode(0, 256, 77, 1, 1);
  ddSetTempCode(0, 258, 5, 0, 0); /* grows the core table past a gap */
  EXPECT_STREQ(ddGetName(record), "kept");
  EXPECT_EQ(V({ddGetLength(record), ddSiteGetNthRcode(0, 1), ddGetLength(258), ddNewRecordDef(0)}),
            V({0, 0, 5, 259}));
}

TEST(TempSite, TempnessIsAnEmptyDescription) {
  int a, b, c, d, again, core;
  ddNewSite("core", "core schema", &a);
  ddNewSite("blank", "", &b);
  ddNewSite(nullptr, nullptr, &c);
  ASSERT_EQ(ddInitTemp("tmp", 0, &d), 1);
  EXPECT_EQ(V({ddIsTempSite(a), ddIsTempSite(b), ddIsTempSite(c), ddIsTempSite(d),
               ddIsTempSite(-1), ddIsTempSite(ddSiteCount())}), V({0, 1, 1, 1, 0, 0}));
  EXPECT_EACH(1, ddInitTemp("tmp", 5, &again), ddInitTemp("core", 0, &core)); /* found again */
  EXPECT_EQ(V({again, core, ddSiteCount()}), V({d, a, 4}));
  while (ddSiteCount() < 10) ddInitTemp(nullptr, 0, &c);
  EXPECT_EQ(ddInitTemp("tmp", 0, &again), 0);
}
