/*
** Definitions: creation and its defaults, table growth, the lookup cache,
** searches by name, label and level, plain queries and setters.
*/
#include <cstring>
#include <string>

#include "rkruntime.h"
#include "store_fixture.h"

TEST(Create, NewDefinitionsTakeTheNextCodeWithDefaults) {
  EXPECT_EQ(ddNewRecordDef(0), 0); /* no site yet */
  int s = newSite("eightchr");
  EXPECT_EACH(0, ddNewRecordDef(-1), ddNewDataDef(s + 1));
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_EQ(V({r, d, ddNewRecordDef(s)}), V({256, 2048, 257}));
  for (int code : {r, d}) {
    ddSchema *e = ddGetSchema(code);
    EXPECT_EQ(V({e->code, static_cast<int>(e->flags), ddGetTagType(code), ddGetLength(code),
                 ddGetArrayCount(code), ddGetKey(code), ddIsDisplay(code), ddIsEdit(code), ddIsSearch(code),
                 ddGetExtendCode(code)}),
              V({code, DD_FLAG_IS_PACKED, 0, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(std::memcmp(e->siteId, "eightchr", 9), 0);
  }
  ddRSchema *rec = ddGetRSchema(r);
  ddDSchema *dat = ddGetDSchema(d);
  EXPECT_TRUE(!rec->fields && !rec->links && !rec->extFields && rec->fieldCount == 0);
  EXPECT_TRUE(dat->valueFlags == 0u && !dat->reservedBlock && !ddGetDefString(d) && !ddIsEnumSet(d));
  const char *id = ddGetSchema(ddNewRecordDef(newSite(nullptr, "no id")))->siteId;
  EXPECT_EQ(std::memcmp(id, "\0\0\0\0\0\0\0\0\0", 9), 0);
}

TEST(Create, TablesGrowExactlyAndCodeSpaceRunsOut) {
  newSite("zero");
  int s = newSite("grow"), at = 4096; /* site 1: its codes carry the site */
  ddSite *site = ddSiteNo2SiteInfo(s);
  int first = ddNewRecordDef(s);
  ddSetName(first, "first");
  const char *name = ddGetName(first);
  ddSchema *before = ddGetSchema(first);
  for (int i = 0; i < 20; i++) ddNewRecordDef(s);
  EXPECT_EQ(V({site->recordCount, site->lastRecord - site->firstRecord + 1}), V({21, 21}));
  for (int i = 0; i < 21; i++) EXPECT_EQ(site->recordMap[i], at + 256 + i);
  /* The entry moved, its text did not, and the cache gives the new place. */
  EXPECT_TRUE(ddGetSchema(first) != before && ddGetSchema(first) == &site->recordTable[0].head);
  EXPECT_EQ(ddGetName(first), name);
  int last = 0;
  for (int i = 21; i < 1792; i++) last = ddNewRecordDef(s);
  EXPECT_EQ(V({last, ddNewRecordDef(s), site->recordCount}), V({at + 2047, 0, 1792}));
  int mapped = 0; /* data slots whose map holds the code they were given */
  for (int i = 0; i < 2048; i++) last = ddNewDataDef(s), mapped += site->dataMap[i] == last;
  EXPECT_EQ(V({last, mapped, ddNewDataDef(s), ddIsRcode(at + 2047), ddIsDcode(at + 4095)}),
            V({at + 4095, 2048, 0, 1, 1}));
}

TEST(Lookup, CacheKeysOnTheAskedCode) {
  int s = newSite("c");
  int r = ddNewRecordDef(s), d = ddNewDataDef(s);
  EXPECT_TRUE(ddGetRSchema(d) == nullptr && ddGetDSchema(r) == nullptr && ddGetSchema(0) == nullptr);
  EXPECT_EQ(ddGetSchema(r), &ddGetRSchema(r)->head);
  EXPECT_EQ(ddGetSchema(d), &ddGetDSchema(d)->head); /* the misses above did not disturb it */
  /* An empty slot inside a range: an entry whose code is 0. */
  ddSite *site = ddSiteNo2SiteInfo(s);
  static const char *siteId = site->recordTable[0].head.siteId; /* kept reachable */
  ASSERT_NE(siteId, nullptr);
  std::memset(&site->recordTable[0], 0, sizeof(ddRSchema));
  ddClearLookupCache();
  ASSERT_NE(ddGetSchema(r), nullptr);
  EXPECT_EQ(V({ddGetSchema(r)->code, ddGetArrayCount(r), ddGetTagType(r)}), V({0, 1, 0}));
}

TEST(Lookup, SearchOrdersFollowEveryChange) {
  int s0 = newSite("s0"), s1 = newSite("s1"), s2 = newSite("s2");
  int d0 = ddNewDataDef(s0), r1 = ddNewRecordDef(s1), d1 = ddNewDataDef(s1);
  int r1b = ddNewRecordDef(s1), d2 = ddNewDataDef(s2);
  for (auto [code, name] : {std::pair{d0, "shared"}, {r1, "shared"}, {d1, "inone"}, {r1b, "inone"}})
    ddSetName(code, name);
  /* Lowest site first; records before data in a site. */
  EXPECT_EQ(V({ddNameToCode("shared"), ddNameToCode("inone"), ddNameToCode(nullptr)}), V({d0, r1b, 0}));
  EXPECT_TRUE(ddRecordByName("shared") == ddGetRSchema(r1) && ddRecordByName("nosuch") == nullptr);
  ddSetName(d0, nullptr);
  ddSetName(r1b, "renamed");
  EXPECT_EQ(V({ddNameToCode("shared"), ddNameToCode("inone"), ddNameToCode("renamed")}), V({r1, d1, r1b}));
  for (auto [code, label] : {std::pair{d0, "lab"}, {d2, "lab"}, {r1, "reclab"}}) ddSetLabel(code, label);
  /* Highest site first, data only. */
  EXPECT_EQ(V({ddLabelToCode("lab"), ddLabelToCode("reclab"), ddLabelToCode(nullptr)}), V({d2, 0, 0}));
  ddSetLabel(d2, nullptr);
  EXPECT_EQ(ddLabelToCode("lab"), d0);
  EXPECT_EQ(ddIlevel2Code(0), 0);
  ddSetIlevel(r1b, 5);
  ddSetIlevel(r1, 5);
  EXPECT_EQ(V({ddIlevel2Code(5), ddIlevel2Code(6)}), V({r1, 0}));
  ddSetIlevel(r1, 0);
  EXPECT_EQ(ddIlevel2Code(5), r1b);
  /* Searches of unchanged tables build no index; one change, one build. */
  unsigned built = ddIndexBuilds();
  for (int i = 0; i < 3; i++) ddNameToCode("shared"), ddLabelToCode("lab"), ddIlevel2Code(5);
  EXPECT_EQ(ddIndexBuilds(), built);
  ddSetName(d1, "again");
  EXPECT_EQ(V({ddNameToCode("again"), ddNameToCode("shared"), static_cast<int>(ddIndexBuilds() - built)}),
            V({d1, r1, 1}));
  static int visits; /* a walk stops everything on zero */
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int, void *) { return ++visits < 2 ? 1 : 0; }, 1, 1, nullptr), 0);
  EXPECT_EQ(visits, 2);
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int kind, void *) { return kind == 2 ? 7 : 3; }, 1, 0, nullptr), 3);
  EXPECT_EQ(ddWalkSchemas([](ddSchema *, int, void *) { return 0; }, 0, 0, nullptr), 1);
}

/* An import adds its site to the searches: names stay with the lowest site,
** labels go to the highest, and within a site the first slot wins. */
TEST(Lookup, ImportsAddTheirSitesToTheSearchOrders) {
  int a = -1, b = -1;
  ASSERT_EQ(ddImportSchema(schemaFile("dataDef x { rktype_ival, LABEL=\"L\" };\n"
                                      "dataDef y { rktype_ival, LABEL=\"L\" };\n").c_str(), &a), 1);
  int ax = ddNameToCode("x");
  std::string label = ddGetLabel(ax);
  EXPECT_EQ(ddLabelToCode(label.c_str()), ax);
  ASSERT_EQ(ddImportSchema(schemaFile("dataDef z { rktype_ival, LABEL=\"L\" };\n"
                                      "dataDef x { rktype_ival, LABEL=\"L\" };\n").c_str(), &b), 1);
  unsigned built = ddIndexBuilds(); /* the import left the index built */
  int bz = ddNameToCode("z");
  EXPECT_EQ(ddIndexBuilds(), built);
  EXPECT_EQ(V({ddGetSiteNo(ax), ddGetSiteNo(bz), ddNameToCode("x"), ddLabelToCode(label.c_str())}), V({a, b, ax, bz}));
}

TEST(Queries, ValuesAsStoredDecodedAndNoEntryResults) {
  int s = newSite("q"), r = (ddNewRecordDef(s), ddNewRecordDef(s)), d = (ddNewDataDef(s), ddNewDataDef(s));
  for (int code : {d, r}) ddGetSchema(code)->tagType = MTYPE_FLAG;
  ddSetLength(d, 1);
  ddSetLength(r, 3);
  EXPECT_EQ(V({ddGetLength(d), ddGetLength(r)}), V({-1, 3})); /* records are never negated */
  ddGetSchema(r)->tagType = MTYPE_BEAD;
  int bead = ddHasBead(r);
  ddGetSchema(r)->tagType = MTYPE_ROOT;
  EXPECT_EQ(V({bead, ddHasBead(r), ddHasBead(d), ddHasBead(0), ddGetArrayCount(0), ddIsEnumOptionMenu(0),
               ddGetLength(0)}),
            V({1, 1, 0, 0, 0, 1, 0}));
  /* Record-only queries on a data code, data-only queries on a record. */
  EXPECT_EACH(1, ddSetIlevel(r, 9), ddSetMaxId(r, 1234));
  ddSetPrefix(r, "pre");
  EXPECT_EQ(V({ddGetIlevel(d), ddGetMaxId(d), ddGetMaxId(r), ddIsDefSet(r), ddIsRangeSet(r)}),
            V({0, 0, 1234, 0, 0}));
  EXPECT_TRUE(ddGetPrefix(d) == nullptr && ddGetDefString(r) == nullptr && ddGetMinVal(r) == 0.0f);
  EXPECT_STREQ(ddGetPrefix(r), "pre");
  /* Several fields at once. */
  ddSetName(r, "rec");
  ddSetLength(r, 12);
  ddGetRSchema(r)->fieldCount = 200; /* widened without sign */
  ddSetIlevel(r, 3);
  int index = -1, tag = -1, length = -1, count = -1, level = -1;
  const char *name = "x";
  ddDeRcode(r, &index, &tag, &length, &name, &count, &level);
  EXPECT_EQ(V({index, length, count, level}), V({1, 12, 200, 3}));
  EXPECT_STREQ(name, "rec");
  ddDeRcode(d, &index, &tag, &length, &name, &count, &level);
  EXPECT_EQ(V({index, length, count, name == nullptr}), V({1, 0, 0, 1})); /* the data slot */
  ddDeRcode(0, &index, &tag, &length, &name, &count, &level);
  ddDeRcode(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  int none = index;
  ddDeDcode(r, &index, &tag, &length, &name); /* a record's code: nothing of a data item */
  EXPECT_EQ(V({none, index, tag, length, name == nullptr}), V({0, 1, 0, 0, 1}));
  ddSetName(d, "dat");
  ddSetLength(d, 4);
  ddDeDcode(d, &index, &tag, &length, &name);
  EXPECT_EQ(V({index, length}), V({1, 4}));
  EXPECT_STREQ(name, "dat");
}

TEST(Setters, TextsFlagsKeyAndValues) {
  int s = newSite("t");
  int d = ddNewDataDef(s);
  char buffer[] = "speed";
  EXPECT_EQ(ddSetName(d, buffer), 1);
  buffer[0] = 'S';
  long blocks = UZA_liveBlocks("apidd1");
  EXPECT_EQ(ddSetName(d, ddGetName(d)), 1); /* the very text it holds */
  EXPECT_STREQ(ddGetName(d), "speed"); /* a copy, kept through both */
  long same = UZA_liveBlocks("apidd1");
  EXPECT_TRUE(ddSetName(d, nullptr) == 1 && ddGetName(d) == nullptr);
  EXPECT_EQ(V({int(same - blocks), int(UZA_liveBlocks("apidd1") - blocks)}), V({0, -1}));
  EXPECT_EQ(V({ddSetLabel(d, "Speed"), ddSetDesc(d, "how fast"), ddSetPrefix(d, "p"), ddSetName(0, "x")}),
            V({1, 1, 0, 0})); /* prefix: records only */
  EXPECT_EQ(std::string(ddGetLabel(d)) + "|" + ddGetDesc(d), "Speed|how fast");
  static const char compiledName[] = "compiled"; /* as a compiled table points into its library */
  int r = ddNewRecordDef(s);
  ddGetSchema(r)->name = compiledName;
  ddGetRSchema(r)->prefix = compiledName;
  EXPECT_EACH(1, ddSetName(r, "renamed"), ddSetPrefix(r, nullptr));
  EXPECT_EQ(std::string(ddGetName(r)) + compiledName, "renamedcompiled");
  EXPECT_EQ(ddOwnsBlock(ddGetName(r)), 1);
  EXPECT_EQ(V({ddSetKey(r, 5), ddGetKey(r), ddSetKey(r, 3), ddGetKey(r), ddSetKey(r, -1), ddGetKey(r)}),
            V({0, 1, 1, 3, 0, 3}));
  EXPECT_EQ(V({ddSetIsDisplay(r, 3), ddSetIsSearch(r, 1), ddIsDisplay(r), ddSetIsDisplay(r, 2),
               ddIsDisplay(r), ddSetIsEdit(d, 1), ddIsEdit(d), ddSetKey(0, 1)}),
            V({1, 1, 1, 1, 0, 1, 1, 0}));
  EXPECT_EQ(ddGetSchema(r)->flags, 3u | DD_FLAG_IS_SEARCH | DD_FLAG_IS_PACKED);
  EXPECT_EQ(V({ddSetRange(r, 1, 2), ddSetIlevel(d, 4), ddSetMaxId(d, 4), ddSetRange(d, 10.0f, -10.0f),
               ddIsRangeSet(d), ddUnsetRange(d), ddIsRangeSet(d)}),
            V({0, 0, 0, 1, 1, 1, 0}));
  EXPECT_TRUE(ddGetMinVal(d) == 10.0f && ddGetMaxVal(d) == -10.0f);
  EXPECT_EQ(V({ddSetDefVal(d, 2.5f), ddIsDefSet(d), ddUnsetDefVal(d), ddIsDefSet(d), ddUnsetDefVal(r), ddUnsetRange(r)}),
            V({1, 1, 1, 0, 0, 0}));
  EXPECT_EQ(ddGetDefVal(d), 2.5f);
}
