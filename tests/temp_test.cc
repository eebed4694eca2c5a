/*
** Temporary sites: records known by local code alone, in a table that grows
** to the highest code and keeps empty slots below it.
*/
#include <gtest/gtest.h>

#include "rkruntime.h"
#include "store/ddstore.h"

namespace {

/* A core site 0 and a temporary site 1 named tmp. */
ddSite *tempSite() {
  int n;
  ddNewSite("core", "core schema", &n);
  EXPECT_EQ(ddInitTemp("tmp", 0, &n), 1);
  EXPECT_EQ(n, 1);
  return ddSiteNo2SiteInfo(1);
}

} // namespace

TEST(TempSite, GrowsByCodeAndTheFirstRegistrationStands) {
  ddSite *s = tempSite();
  ddSetTempCode(1, 300, 40, 3, 2);
  EXPECT_EQ(s->recordCount, 45);
  EXPECT_EQ(s->lastRecord, 300);
  EXPECT_EQ(ddSiteGetNthRcode(1, 44), 300); /* the local code, for good */
  EXPECT_EQ(ddSiteGetNthRcode(1, 0), 0);
  const int code = ddGetUCode("tmp", 300);
  EXPECT_EQ(code, 4096 + 300);
  EXPECT_EQ(ddGetTagType(code), MTYPE_REC);
  EXPECT_EQ(ddGetLength(code), 40);
  EXPECT_EQ(ddGetIlevel(code), 63);
  EXPECT_EQ(ddGetVersion(code), 2);
  EXPECT_EQ(ddGetRSchema(code)->links->subRev, 3);
  EXPECT_EQ(ddGetSchema(code)->flags & DD_FLAG_IS_PACKED, 0u);
  EXPECT_EQ(ddGetArrayCount(code), 1);
  EXPECT_EQ(ddGetTagType(4096 + 280), 0);
  EXPECT_EQ(ddGetLength(4096 + 280), 0);

  ddSetTempCode(1, 300, 99, 9, 9);
  EXPECT_EQ(ddGetLength(code), 40);
  EXPECT_EQ(ddGetRSchema(code)->links->subRev, 3);

  ddRSchema *table = s->recordTable;
  ddLinks *links = ddGetRSchema(code)->links;
  ddSetTempCode(1, 280, 8, 0, 0);
  EXPECT_EQ(s->recordTable, table);
  EXPECT_EQ(ddGetLength(4096 + 280), 8);

  ddSchema *cached = ddGetSchema(code);
  long bytes = UZA_liveBytes("apidd1");
  ddSetTempCode(1, 301, 12, 0, 0);
  EXPECT_EQ(s->recordCount, 46);
  /* One slot, one map word and a links block more: the old blocks went. */
  EXPECT_EQ(UZA_liveBytes("apidd1") - bytes, long(sizeof(ddRSchema) + 4 + sizeof(ddLinks)));
  EXPECT_NE(ddGetSchema(code), cached);
  EXPECT_EQ(ddGetLength(code), 40);
  EXPECT_EQ(ddGetRSchema(code)->links, links);
  EXPECT_EQ(ddGetLength(4096 + 301), 12);
}

TEST(TempSite, BytesAreSignedAndCodesOutsideTheSiteAreRefused) {
  ddSite *s = tempSite();
  ddSetTempCode(1, 255, 4, 0, 0);
  EXPECT_EQ(s->recordCount, 0);
  EXPECT_EQ(s->recordTable, nullptr);
  /* No full code reaches a local code above 4095, so it is refused. */
  ddSetTempCode(1, 4096, 4, 0, 0);
  EXPECT_EQ(s->recordCount, 0);
  ddSetTempCode(1, 4095, 4, 200, 200);
  EXPECT_EQ(s->recordCount, 3840);
  EXPECT_EQ(ddGetTagType(8191), MTYPE_REC);
  EXPECT_EQ(ddGetRSchema(8191)->links->subRev, -56);
  EXPECT_EQ(ddGetRSchema(8191)->head.version, -56);
  EXPECT_EQ(ddGetVersion(8191), -56);
  ddSetTempCode(7, 300, 4, 0, 0); /* no such site: nothing happens */
  EXPECT_EQ(ddSiteCount(), 2);
}

TEST(TempSite, WorksOnAnySiteWithoutTouchingItsDefinitions) {
  int n;
  ddNewSite("core", "core schema", &n);
  int record = ddNewRecordDef(0);
  ddSetName(record, "kept");
  ddSetTempCode(0, 256, 77, 1, 1);
  EXPECT_STREQ(ddGetName(record), "kept");
  EXPECT_EQ(ddGetLength(record), 0);
  ddSetTempCode(0, 258, 5, 0, 0); /* grows the core table past a gap */
  EXPECT_EQ(ddSiteGetNthRcode(0, 1), 0);
  EXPECT_STREQ(ddGetName(record), "kept");
  EXPECT_EQ(ddGetLength(258), 5);
  EXPECT_EQ(ddNewRecordDef(0), 259);
}

TEST(TempSite, TempnessIsAnEmptyDescription) {
  int a, b, c, d;
  ddNewSite("core", "core schema", &a);
  ddNewSite("blank", "", &b);
  ddNewSite(nullptr, nullptr, &c);
  ASSERT_EQ(ddInitTemp("tmp", 0, &d), 1);
  EXPECT_EQ(ddIsTempSite(a), 0);
  EXPECT_EQ(ddIsTempSite(b), 1);
  EXPECT_EQ(ddIsTempSite(c), 1);
  EXPECT_EQ(ddIsTempSite(d), 1);
  EXPECT_EQ(ddIsTempSite(-1), 0);
  EXPECT_EQ(ddIsTempSite(ddSiteCount()), 0);
  int again, core;
  EXPECT_EQ(ddInitTemp("tmp", 5, &again), 1);
  EXPECT_EQ(again, d);
  EXPECT_EQ(ddInitTemp("core", 0, &core), 1); /* an existing site, not made temporary */
  EXPECT_EQ(core, a);
  EXPECT_EQ(ddSiteCount(), 4);
  while (ddSiteCount() < 10) ddInitTemp(nullptr, 0, &c);
  EXPECT_EQ(ddInitTemp("tmp", 0, &again), 0);
}
