/*
** Definitions: creation and its defaults, table growth, the lookup cache,
** searches by name, label and level, plain queries and setters.
*/
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "rkdd/rkdd.h"
#include "rkruntime.h"
#include "store/ddstore.h"

namespace {
int newSite(const char *id, const char *desc = "test") {
  int n = -1;
  EXPECT_NE(ddNewSite(id, desc, &n), nullptr);
  return n;
}
} // namespace

TEST(Create, NewDefinitionsTakeTheNextCodeWithDefaults) {
  EXPECT_EQ(ddNewRecordDef(0), 0); /* no site yet */
  int s = newSite("eightchr");
  EXPECT_EQ(ddNewRecordDef(-1), 0);
  EXPECT_EQ(ddNewDataDef(s + 1), 0);
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_EQ(r, 256);
  EXPECT_EQ(d, 2048);
  EXPECT_EQ(ddNewRecordDef(s), 257);
  int fr, lr, fd, ld;
  ddSiteInfo(s, &fr, &lr, &fd, &ld);
  EXPECT_EQ(lr, 257);
  EXPECT_EQ(fd, ld);

  for (int code : {r, d}) {
    ddSchema *e = ddGetSchema(code);
    EXPECT_EQ(e->code, code);
    EXPECT_EQ(e->flags, DD_FLAG_IS_PACKED);
    EXPECT_EQ(ddGetTagType(code), 0);
    EXPECT_EQ(ddGetLength(code), 0);
    EXPECT_EQ(ddGetArrayCount(code), 1);
    EXPECT_EQ(ddGetKey(code), 0);
    EXPECT_EQ(ddIsDisplay(code) + ddIsEdit(code) + ddIsSearch(code), 0);
    EXPECT_EQ(ddGetName(code), nullptr);
    EXPECT_EQ(ddGetExtendCode(code), 0);
    EXPECT_EQ(e->pathList, nullptr);
    EXPECT_EQ(std::memcmp(e->siteId, "eightchr", 9), 0);
  }
  ddRSchema *rec = ddGetRSchema(r);
  EXPECT_EQ(rec->fields, nullptr);
  EXPECT_EQ(rec->links, nullptr);
  EXPECT_EQ(rec->extFields, nullptr);
  EXPECT_EQ(rec->fieldCount, 0);
  ddDSchema *dat = ddGetDSchema(d);
  EXPECT_EQ(dat->valueFlags, 0u);
  EXPECT_EQ(dat->reservedBlock, nullptr);
  EXPECT_EQ(ddGetDefString(d), nullptr);
  EXPECT_EQ(ddIsEnumSet(d), 0);

  int bare = newSite(nullptr, "no id");
  int br = ddNewRecordDef(bare);
  const char *id = ddGetSchema(br)->siteId;
  for (int i = 0; i < 9; i++) EXPECT_EQ(id[i], '\0');
}

TEST(Create, TablesStayExactlyAsLongAsTheirCounts) {
  int s = newSite("grow");
  ddSite *site = ddSiteNo2SiteInfo(s);
  int first = ddNewRecordDef(s);
  ddSetName(first, "first");
  const char *name = ddGetName(first);
  ddSchema *before = ddGetSchema(first);
  for (int i = 0; i < 20; i++) ddNewRecordDef(s);
  EXPECT_EQ(site->recordCount, 21);
  EXPECT_EQ(site->lastRecord - site->firstRecord + 1, 21);
  for (int i = 0; i < 21; i++) EXPECT_EQ(site->recordMap[i], 256 + i);
  /* The entry moved, its text did not, and the cache gives the new place. */
  ddSchema *after = ddGetSchema(first);
  EXPECT_NE(after, before);
  EXPECT_EQ(after, &site->recordTable[0].head);
  EXPECT_EQ(ddGetName(first), name);
  EXPECT_EQ(UZA_liveBlocks("apidd1") > 0, true);
}

TEST(Create, CodeSpaceExhaustionGivesZero) {
  int s = newSite("full");
  int last = 0;
  for (int i = 0; i < 1792; i++) last = ddNewRecordDef(s);
  EXPECT_EQ(last, 2047);
  EXPECT_EQ(ddNewRecordDef(s), 0); /* 2048 would shadow the first data code */
  EXPECT_EQ(ddSiteNo2SiteInfo(s)->recordCount, 1792);
  for (int i = 0; i < 2048; i++) last = ddNewDataDef(s);
  EXPECT_EQ(last, 4095);
  EXPECT_EQ(ddNewDataDef(s), 0); /* 4096 would fall into the next site */
  EXPECT_EQ(ddIsRcode(2047), 1);
  EXPECT_EQ(ddIsDcode(4095), 1);
}

TEST(Lookup, CacheKeysOnTheAskedCode) {
  int s = newSite("c");
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_EQ(ddGetRSchema(d), nullptr);
  EXPECT_EQ(ddGetDSchema(r), nullptr);
  EXPECT_EQ(ddGetSchema(r), &ddGetRSchema(r)->head);
  EXPECT_EQ(ddGetSchema(d), &ddGetDSchema(d)->head);
  EXPECT_EQ(ddGetSchema(0), nullptr);
  EXPECT_EQ(ddGetSchema(d), &ddGetDSchema(d)->head); /* a miss did not disturb it */

  /* An empty slot inside a range: an entry whose code is 0. */
  ddSite *site = ddSiteNo2SiteInfo(s);
  static const char *siteId = site->recordTable[0].head.siteId; /* kept reachable */
  ASSERT_NE(siteId, nullptr);
  std::memset(&site->recordTable[0], 0, sizeof(ddRSchema));
  ddClearLookupCache();
  ASSERT_NE(ddGetSchema(r), nullptr);
  EXPECT_EQ(ddGetSchema(r)->code, 0);
  EXPECT_EQ(ddGetArrayCount(r), 1);
  EXPECT_EQ(ddGetTagType(r), 0);
}

TEST(Lookup, NameLabelAndLevelSearchOrders) {
  int s0 = newSite("s0"), s1 = newSite("s1"), s2 = newSite("s2");
  int d0 = ddNewDataDef(s0), r1 = ddNewRecordDef(s1), d1 = ddNewDataDef(s1);
  int r1b = ddNewRecordDef(s1), d2 = ddNewDataDef(s2);
  ddSetName(d0, "shared");
  ddSetName(r1, "shared");
  EXPECT_EQ(ddNameToCode("shared"), d0); /* lowest site first */
  ddSetName(d1, "inone");
  ddSetName(r1b, "inone");
  EXPECT_EQ(ddNameToCode("inone"), r1b); /* records before data in a site */
  EXPECT_EQ(ddRecordByName("shared"), ddGetRSchema(r1));
  EXPECT_EQ(ddRecordByName("nosuch"), nullptr);
  EXPECT_EQ(ddNameToCode(nullptr), 0);
  ddSetName(d0, nullptr);
  EXPECT_EQ(ddNameToCode("shared"), r1);

  ddSetLabel(d0, "lab");
  ddSetLabel(d2, "lab");
  ddSetLabel(r1, "reclab");
  EXPECT_EQ(ddLabelToCode("lab"), d2); /* highest site first */
  EXPECT_EQ(ddLabelToCode("reclab"), 0);
  EXPECT_EQ(ddLabelToCode(nullptr), 0);

  EXPECT_EQ(ddIlevel2Code(0), 0);
  ddSetIlevel(r1b, 5);
  ddSetIlevel(r1, 5);
  EXPECT_EQ(ddIlevel2Code(5), r1);
  EXPECT_EQ(ddIlevel2Code(6), 0);
}

TEST(Lookup, WalkStopsEverythingOnZero) {
  int s0 = newSite("a"), s1 = newSite("b");
  ddNewRecordDef(s0);
  ddNewDataDef(s0);
  ddNewRecordDef(s1);
  static int visits;
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int, void *) { return ++visits < 2 ? 1 : 0; }, 1, 1, nullptr), 0);
  EXPECT_EQ(visits, 2);
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int kind, void *) { return kind == 2 ? 7 : 3; }, 1, 0, nullptr), 3);
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int, void *) { return 0; }, 0, 0, nullptr), 1);
}

TEST(Queries, ValuesAsStoredAndNoEntryResults) {
  int s = newSite("q");
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  ddGetSchema(d)->version = 300;
  EXPECT_EQ(ddGetVersion(d), 44);
  ddGetSchema(d)->version = 200;
  EXPECT_EQ(ddGetVersion(d), -56);

  ddGetSchema(d)->tagType = MTYPE_FLAG;
  ddSetLength(d, 1);
  EXPECT_EQ(ddGetLength(d), -1);
  ddSetLength(d, 0);
  EXPECT_EQ(ddGetLength(d), 0);
  ddGetSchema(r)->tagType = MTYPE_FLAG;
  ddSetLength(r, 3);
  EXPECT_EQ(ddGetLength(r), 3); /* records are never negated */

  ddGetSchema(r)->tagType = MTYPE_BEAD;
  EXPECT_EQ(ddHasBead(r), 1);
  ddGetSchema(r)->tagType = MTYPE_ROOT;
  EXPECT_EQ(ddHasBead(r), 1);
  EXPECT_EQ(ddHasBead(d), 0);
  EXPECT_EQ(ddHasBead(0), 0);
  EXPECT_EQ(ddGetArrayCount(0), 0);
  EXPECT_EQ(ddIsEnumOptionMenu(0), 1);

  /* Record-only queries on a data code, data-only queries on a record. */
  ddSetIlevel(r, 9);
  ddSetMaxId(r, 1234);
  ddSetPrefix(r, "pre");
  EXPECT_EQ(ddGetIlevel(d), 0);
  EXPECT_EQ(ddGetPrefix(d), nullptr);
  EXPECT_EQ(ddGetMaxId(d), 0);
  EXPECT_EQ(ddGetMaxId(r), 1234);
  EXPECT_STREQ(ddGetPrefix(r), "pre");
  EXPECT_EQ(ddGetMinVal(r), 0.0f);
  EXPECT_EQ(ddGetDefString(r), nullptr);
  EXPECT_EQ(ddIsDefSet(r), 0);
  EXPECT_EQ(ddIsRangeSet(r), 0);
}

TEST(Queries, DecodeSeveralFieldsAtOnce) {
  int s = newSite("de");
  ddNewRecordDef(s);
  int r = ddNewRecordDef(s), d0 = ddNewDataDef(s), d = ddNewDataDef(s);
  (void)d0;
  ddSetName(r, "rec");
  ddSetLength(r, 12);
  ddGetRSchema(r)->fieldCount = 200;
  ddSetIlevel(r, 3);
  int index = -1, tag = -1, length = -1, count = -1, level = -1;
  const char *name = "x";
  ddDeRcode(r, &index, &tag, &length, &name, &count, &level);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(length, 12);
  EXPECT_STREQ(name, "rec");
  EXPECT_EQ(count, 200); /* widened without sign */
  EXPECT_EQ(level, 3);
  ddDeRcode(d, &index, &tag, &length, &name, &count, &level);
  EXPECT_EQ(index, 1); /* the data slot */
  EXPECT_EQ(length, 0);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(count, 0);
  ddDeRcode(0, &index, &tag, &length, &name, &count, &level);
  EXPECT_EQ(index, 0);
  ddDeRcode(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);

  ddSetName(d, "dat");
  ddSetLength(d, 4);
  ddDeDcode(d, &index, &tag, &length, &name);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(length, 4);
  EXPECT_STREQ(name, "dat");
  ddDeDcode(r, &index, &tag, &length, &name);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(name, nullptr);
}

TEST(Setters, TextsAreCopiedAndReplaced) {
  int s = newSite("t");
  int d = ddNewDataDef(s);
  char buffer[] = "speed";
  EXPECT_EQ(ddSetName(d, buffer), 1);
  EXPECT_NE(ddGetName(d), buffer);
  buffer[0] = 'S';
  EXPECT_STREQ(ddGetName(d), "speed");
  EXPECT_EQ(ddNameToCode("speed"), d);

  long blocks = UZA_liveBlocks("apidd1");
  EXPECT_EQ(ddSetName(d, ddGetName(d)), 1); /* the very text it holds */
  EXPECT_STREQ(ddGetName(d), "speed");
  EXPECT_EQ(UZA_liveBlocks("apidd1"), blocks);
  EXPECT_EQ(ddSetName(d, nullptr), 1);
  EXPECT_EQ(ddGetName(d), nullptr);
  EXPECT_EQ(UZA_liveBlocks("apidd1"), blocks - 1);
  EXPECT_EQ(ddNameToCode("speed"), 0);

  EXPECT_EQ(ddSetLabel(d, "Speed"), 1);
  EXPECT_EQ(ddSetDesc(d, "how fast"), 1);
  EXPECT_STREQ(ddGetLabel(d), "Speed");
  EXPECT_STREQ(ddGetDesc(d), "how fast");
  EXPECT_EQ(ddSetPrefix(d, "p"), 0); /* records only */
  EXPECT_EQ(ddSetName(0, "x"), 0);
}

TEST(Setters, AForeignTextIsReplacedButNeverFreed) {
  static const char compiledName[] = "compiled";
  int s = newSite("f");
  int r = ddNewRecordDef(s);
  ddGetSchema(r)->name = compiledName; /* as a compiled table points into its library */
  ddGetRSchema(r)->prefix = compiledName;
  EXPECT_EQ(ddSetName(r, "renamed"), 1);
  EXPECT_EQ(ddSetPrefix(r, nullptr), 1);
  EXPECT_STREQ(ddGetName(r), "renamed");
  EXPECT_STREQ(compiledName, "compiled");
  EXPECT_EQ(ddOwnsBlock(compiledName), 0);
  EXPECT_EQ(ddOwnsBlock(ddGetName(r)), 1);
}

TEST(Setters, FlagsKeyAndValues) {
  int s = newSite("k");
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_EQ(ddSetKey(r, 5), 0);
  EXPECT_EQ(ddGetKey(r), 1);
  EXPECT_EQ(ddSetKey(r, 3), 1);
  EXPECT_EQ(ddGetKey(r), 3);
  EXPECT_EQ(ddSetKey(r, -1), 0);
  EXPECT_EQ(ddGetKey(r), 3);
  EXPECT_EQ(ddSetIsDisplay(r, 3), 1);
  EXPECT_EQ(ddSetIsSearch(r, 1), 1);
  EXPECT_EQ(ddIsDisplay(r), 1);
  EXPECT_EQ(ddSetIsDisplay(r, 2), 1);
  EXPECT_EQ(ddIsDisplay(r), 0);
  EXPECT_EQ(ddSetIsEdit(d, 1), 1);
  EXPECT_EQ(ddIsEdit(d), 1);
  EXPECT_EQ(ddGetSchema(r)->flags, 3u | DD_FLAG_IS_SEARCH | DD_FLAG_IS_PACKED);
  EXPECT_EQ(ddSetKey(0, 1), 0);

  EXPECT_EQ(ddSetRange(r, 1, 2), 0);
  EXPECT_EQ(ddSetIlevel(d, 4), 0);
  EXPECT_EQ(ddSetMaxId(d, 4), 0);
  EXPECT_EQ(ddSetRange(d, 10.0f, -10.0f), 1);
  EXPECT_EQ(ddIsRangeSet(d), 1);
  EXPECT_EQ(ddUnsetRange(d), 1);
  EXPECT_EQ(ddIsRangeSet(d), 0);
  EXPECT_EQ(ddGetMinVal(d), 10.0f);
  EXPECT_EQ(ddGetMaxVal(d), -10.0f);
  EXPECT_EQ(ddSetDefVal(d, 2.5f), 1);
  EXPECT_EQ(ddIsDefSet(d), 1);
  EXPECT_EQ(ddUnsetDefVal(d), 1);
  EXPECT_EQ(ddIsDefSet(d), 0);
  EXPECT_EQ(ddGetDefVal(d), 2.5f);
  EXPECT_EQ(ddUnsetDefVal(r), 0);
}

TEST(Lookup, SearchesFollowEveryChangeOfNameLabelLevelAndTable) {
  int s0 = newSite("i0"), s1 = newSite("i1");
  int a = ddNewRecordDef(s1), d = ddNewDataDef(s1);
  ddSetName(a, "a");
  ddSetLabel(d, "lab");
  EXPECT_EQ(ddNameToCode("a"), a);
  EXPECT_EQ(ddLabelToCode("lab"), d);
  ddSetName(a, "b"); /* a rename, after the searches above */
  EXPECT_EQ(ddNameToCode("a"), 0);
  EXPECT_EQ(ddNameToCode("b"), a);
  int low = ddNewRecordDef(s0); /* a lower site takes the name over */
  ddSetName(low, "b");
  EXPECT_EQ(ddNameToCode("b"), low);
  ddSetLabel(d, nullptr);
  EXPECT_EQ(ddLabelToCode("lab"), 0);
  ddSetIlevel(a, 7);
  EXPECT_EQ(ddIlevel2Code(7), a);
  ddSetIlevel(low, 7);
  EXPECT_EQ(ddIlevel2Code(7), low);
  ddSetIlevel(low, 0);
  EXPECT_EQ(ddIlevel2Code(7), a);

  /* Growth within the table's room keeps entries in place; searches and
  ** the cache still see every new definition. */
  ddRSchema *first = ddGetRSchema(a);
  int next = ddNewRecordDef(s1);
  ddSetName(next, "next");
  EXPECT_EQ(ddGetRSchema(a), first);
  EXPECT_EQ(ddNameToCode("next"), next);
  for (int i = 0; i < 40; i++) ddSetName(ddNewRecordDef(s1), ("r" + std::to_string(i)).c_str());
  EXPECT_EQ(ddNameToCode("r39"), next + 40);
  EXPECT_STREQ(ddGetName(a), "b");
  EXPECT_EQ(ddSiteNo2SiteInfo(s1)->recordCount, 42);
}
