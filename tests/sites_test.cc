/*
** The site table and the code space: finding or making sites by id and
** description, the ten-site limit, and decoding codes to site and slot.
*/
#include <gtest/gtest.h>

#include <string>

#include "rkdd/rkdd.h"
#include "store/ddstore.h"

namespace {
int newSite(const char *id, const char *desc) {
  int n = -1;
  EXPECT_NE(ddNewSite(id, desc, &n), nullptr);
  return n;
}
} // namespace

TEST(Sites, NewSiteHasEmptyRangesAtItsOffset) {
  int core = newSite("core", "the core");
  int ext = newSite("ext", "an extension");
  EXPECT_EQ(core, 0);
  EXPECT_EQ(ext, 1);
  EXPECT_EQ(ddSiteCount(), 2);
  int fr, lr, fd, ld;
  ASSERT_EQ(ddSiteInfo(ext, &fr, &lr, &fd, &ld), 1);
  EXPECT_EQ(fr, 4096 + 256);
  EXPECT_EQ(lr, 4096 + 255);
  EXPECT_EQ(fd, 4096 + 2048);
  EXPECT_EQ(ld, 4096 + 2047);
  ddSite *s = ddSiteNo2SiteInfo(ext);
  EXPECT_EQ(s->codeOffset, 4096);
  EXPECT_EQ(s->siteNo, 1);
  EXPECT_EQ(s->siteWord, 64);
  EXPECT_EQ(s->recordTable, nullptr);
  EXPECT_EQ(s->recordMap, nullptr);
  EXPECT_EQ(s->dataCount, 0);
  fr = -7;
  EXPECT_EQ(ddSiteInfo(2, &fr, &lr, &fd, &ld), 0);
  EXPECT_EQ(ddSiteInfo(-1, &fr, &lr, &fd, &ld), 0);
  EXPECT_EQ(fr, -7);
  EXPECT_EQ(ddSiteNo2SiteInfo(2), nullptr);
  EXPECT_EQ(ddSiteNo2SiteInfo(-1), nullptr);
}

TEST(Sites, MatchingByIdAndDescription) {
  int a = newSite("shared", "first");
  EXPECT_EQ(newSite("shared", nullptr), a);  /* null desc: any description */
  EXPECT_EQ(newSite("shared", "first"), a);
  int b = newSite("shared", "second");       /* same id, other desc: a new site */
  EXPECT_NE(b, a);
  EXPECT_EQ(ddSiteId2SiteInfo("shared"), ddSiteNo2SiteInfo(a));

  int bare = newSite("bare", nullptr);
  EXPECT_NE(newSite("bare", "given"), bare); /* a desc never matches an empty one */
  EXPECT_EQ(newSite("bare", ""), bare);      /* but the empty text does */

  int n1 = newSite(nullptr, "same");
  int n2 = newSite(nullptr, "same");
  EXPECT_NE(n1, n2); /* no id: no search */
  EXPECT_EQ(ddSiteNo2SiteInfo(n1)->id[0], '\0');

  int empty = -1;
  EXPECT_EQ(ddSiteId2SiteNo("", &empty), 1); /* matches the first site without id */
  EXPECT_EQ(empty, n1);
  EXPECT_EQ(ddSiteId2SiteInfo(""), nullptr);
  EXPECT_EQ(ddSiteId2SiteInfo(nullptr), nullptr);
  EXPECT_EQ(ddSiteId2SiteNo(nullptr, &empty), 0);
}

TEST(Sites, LongIdsAndDescriptionsAreCut) {
  int a = newSite("ninechars", nullptr);
  EXPECT_STREQ(ddSiteNo2SiteInfo(a)->id, "ninechar");
  int b = newSite("ninechars", nullptr); /* the cut id never matches the whole one */
  EXPECT_NE(a, b);
  EXPECT_EQ(ddSiteId2SiteInfo("ninechars"), ddSiteNo2SiteInfo(a)); /* first 8 only */
  int n = -1;
  EXPECT_EQ(ddSiteId2SiteNo("ninechar-whatever", &n), 1);
  EXPECT_EQ(n, a);
  EXPECT_EQ(ddGetUCode("ninechars", 256), 0); /* whole-string compare */

  std::string desc96(96, 'd'), desc97(97, 'd');
  int c = newSite("d", desc97.c_str());
  EXPECT_EQ(std::string(ddSiteNo2SiteInfo(c)->desc), desc96);
  EXPECT_NE(newSite("d", desc97.c_str()), c);
  EXPECT_EQ(newSite("d", desc96.c_str()), c);

  std::string id8 = "eightchr";
  int d = newSite(id8.c_str(), nullptr);
  EXPECT_EQ(newSite(id8.c_str(), nullptr), d); /* exactly 8 still matches */
}

TEST(Sites, TheTableHoldsTenAndThenRefusesEverything) {
  for (int i = 0; i < 10; i++) EXPECT_EQ(newSite("same", std::to_string(i).c_str()), i);
  int n = 77;
  EXPECT_EQ(ddNewSite("same", nullptr, &n), nullptr); /* even an existing id */
  EXPECT_EQ(ddNewSite(nullptr, nullptr, &n), nullptr);
  EXPECT_EQ(n, 77);
  EXPECT_EQ(ddSiteCount(), 10);
  EXPECT_EQ(ddNewRecordDef(9), 9 * 4096 + 256);
  EXPECT_EQ(ddGetSiteNo(9 * 4096 + 256), 9);
}

TEST(Codes, DecodingUsesTruncatingDivision) {
  int s0 = newSite("core", "c");
  int s1 = newSite("ext", "e");
  int r0 = ddNewRecordDef(s0), d0 = ddNewDataDef(s0), r1 = ddNewRecordDef(s1);
  ASSERT_EQ(r1, 4352);
  int index = -1;
  ddSite *site = nullptr;
  EXPECT_EQ(ddDecodeCode(r1, &index, &site), 1);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(site, ddSiteNo2SiteInfo(s1));
  EXPECT_EQ(ddDecodeCode(d0, &index, &site), 2);
  EXPECT_EQ(site, ddSiteNo2SiteInfo(s0));

  /* A code in the gap writes the site but not the index. */
  index = -1;
  site = nullptr;
  EXPECT_EQ(ddDecodeCode(4096 + 1000, &index, &site), 0);
  EXPECT_EQ(site, ddSiteNo2SiteInfo(s1));
  EXPECT_EQ(index, -1);
  site = nullptr;
  EXPECT_EQ(ddDecodeCode(-4096, &index, &site), 0); /* site -1 */
  EXPECT_EQ(site, nullptr);
  EXPECT_EQ(ddDecodeCode(-1, &index, &site), 0);    /* site 0, local -1 */
  EXPECT_EQ(site, ddSiteNo2SiteInfo(s0));

  for (int code : {0, -1, -4095, -4096, -4352, 1000, 4096 + 1000, 3 * 4096 + 256}) {
    EXPECT_EQ(ddIsRcode(code), 0) << code;
    EXPECT_EQ(ddIsDcode(code), 0) << code;
    EXPECT_EQ(ddGetSiteNo(code), 0) << code;
    EXPECT_EQ(ddIsKor(code), 1) << code;
    EXPECT_EQ(ddGetMyCode(code), 0) << code;
    EXPECT_EQ(ddGetSiteId(code), nullptr) << code;
  }
  EXPECT_EQ(ddIsRcode(r0), 1);
  EXPECT_EQ(ddIsDcode(d0), 1);
  EXPECT_EQ(ddIsDcode(r0), 0);
  EXPECT_EQ(ddGetSiteNo(r1), 1);
  EXPECT_EQ(ddIsKor(r1), 0);
  EXPECT_EQ(ddGetMyCode(r1), 256);
  EXPECT_STREQ(ddGetSiteId(r1), "ext");
  EXPECT_EQ(ddGetUCode("ext", 256), 4352);
  EXPECT_EQ(ddGetUCode("ext", 1000), 1000); /* in no range: given back as it is */
  EXPECT_EQ(ddGetUCode("nosuch", 256), 0);
  EXPECT_EQ(ddGetUCode(nullptr, 256), 0);
}

TEST(Codes, SlotsByNumber) {
  int s = newSite("x", "y");
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_EQ(ddSiteGetNthRcode(s, 0), r);
  EXPECT_EQ(ddSiteGetNthDcode(s, 0), d);
  EXPECT_EQ(ddSiteGetNthRSchema(s, 0), ddGetRSchema(r));
  EXPECT_EQ(ddSiteGetNthDSchema(s, 0), ddGetDSchema(d));
  EXPECT_EQ(ddSiteGetNthRSchema(s, 1), nullptr);
  EXPECT_EQ(ddSiteGetNthRSchema(s, -1), nullptr);
  EXPECT_EQ(ddSiteGetNthRcode(s + 1, 0), 0);
  EXPECT_EQ(ddSiteGetNthDcode(-1, 0), 0);
  EXPECT_EQ(ddSiteRecordCode(s, 5), 261);
  EXPECT_EQ(ddSiteDataCode(s, 5), 2053);
}
