/*
** Compiled site fix-up: final codes, maps, field slots, links, extensions,
** format levels, the move to the heap, and the faults that end the process.
*/
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "compiled_fixture.h"
#include "rkruntime.h"
#include "store/ddstore.h"
#include "support/mlist.h"

using namespace fx;

namespace {

bool zeroes(const void *block, size_t n) {
  for (size_t i = 0; i < n; i++)
    if (static_cast<const unsigned char *>(block)[i] != 0) return false;
  return true;
}

/* The whole of a message as an anchored regular expression. */
std::string exactly(const std::string &text) {
  std::string re = "^";
  for (char c : text) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) re += '\\';
    re += c;
  }
  return re + "$";
}

/* A site with these tables whose ddSetCode is expected to stop. */
ddSite *siteWith(const Tables &t) {
  int n;
  ddSite *site = ddNewSite(nullptr, "broken", &n);
  fill(site, t);
  return site;
}

} // namespace

/* Standard output goes to the death test's captured standard error. */
#define EXPECT_SETCODE_STOPS(site, text)                                                   \
  EXPECT_EXIT((std::fflush(stdout), dup2(2, 1), ddSetCode(site)), testing::ExitedWithCode(1), \
              exactly(text))

TEST(CompiledSite, SiteZeroKeepsItsLocalCodesAndGetsLinks) {
  Tables t = coreTables();
  ASSERT_EQ(install("core", t), 0);
  ddSite *s = ddSiteNo2SiteInfo(0);
  EXPECT_NE(s->recordTable, t.records);
  EXPECT_NE(s->dataMap, t.dataMap);
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(t.recordMap[i], kRoot + i); /* filled in the library's own array */
    EXPECT_EQ(s->recordMap[i], kRoot + i);
    EXPECT_EQ(s->dataMap[i], kXpos + i);
  }
  EXPECT_TRUE(ddOwnsBlock(s->recordTable) && ddOwnsBlock(s->dataMap));
  ddRSchema *node = ddGetRSchema(kNode);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->fields, t.records[1].fields);
  EXPECT_FALSE(ddOwnsBlock(node->fields));
  EXPECT_EQ(node->fields[3].code, kPoint);
  EXPECT_EQ(node->ilevel, 2); /* site 0 keeps compiled levels */
  ASSERT_NE(node->links, nullptr);
  EXPECT_EQ(node->links->parentCount, 1);
  EXPECT_EQ(node->links->parents[0], kRoot);
  EXPECT_EQ(node->links->children[0], kPoint);
  EXPECT_TRUE(zeroes(node->links->parents + 1, 64 * sizeof(int32_t)));
  EXPECT_EQ(node->links->aliases, nullptr);
  EXPECT_EQ(node->links->aliasCount, 0);
  EXPECT_TRUE(zeroes(node->head.reservedBlock, 4));
  EXPECT_TRUE(zeroes(ddGetDSchema(kCaption)->reservedBlock, 12));
  EXPECT_TRUE(zeroes(ddGetDSchema(kCaption)->head.reservedBlock, 4));
  EXPECT_EQ(ddNameToCode("caption"), kCaption);
}

TEST(CompiledSite, SiteOneOffsetsCodesFieldsAndNumbersLevels) {
  install("core", coreTables());
  Tables t = extensionTables();
  ASSERT_EQ(install("ext", t), 1);
  ddRSchema *marker = ddGetRSchema(4096 + kMarker);
  ASSERT_NE(marker, nullptr);
  EXPECT_EQ(marker->head.code, 4096 + kMarker);
  EXPECT_EQ(t.recordMap[0], 4096 + kMarker);
  EXPECT_EQ(marker->fields[0].code, 4096 + kWeight);
  EXPECT_EQ(marker->fields[1].code, kXpos); /* a core code outside the site's bounds */
  EXPECT_EQ(marker->fields[2].code, 4096 + kTag);
  EXPECT_EQ(marker->ilevel, 256);
  EXPECT_EQ(ddGetIlevel(4096 + kTag), 257);
  EXPECT_EQ(ddGetIlevel(4096 + kNote), 7);
  EXPECT_EQ(marker->head.extendCode, kNode);
  mlist *ext = ddGetRSchema(kNode)->extFields;
  EXPECT_EQ(mlistCount(ext), 1);
  EXPECT_EQ(mlistNth(ext, 0), 4096 + kMarker);
  EXPECT_EQ(marker->links->parents[0], kNode);
  EXPECT_EQ(marker->links->parents[1], 4096 + kMarker); /* its own site's final code */
  EXPECT_EQ(ddGetRSchema(4096 + kTag)->links->aliases[0], kPoint);
  EXPECT_EQ(ddNameToCode("colour"), 4096 + kColour);
}

TEST(CompiledSite, OnlyFieldCodesWithinTheFourBoundsGrow) {
  int n;
  ddNewSite("core", "empty core", &n);
  static ddField slots[] = {{299, 0, 0},  {300, 0, 0},  {301, 0, 0},  {302, 0, 0}, {2999, 0, 0},
                            {3000, 0, 0}, {3001, 0, 0}, {3002, 0, 0}, {42, 0, 0},  {-1, 0, 0}};
  /* Two records share one field table: it must not be offset twice. */
  static ddRSchema records[] = {record({.code = 300, .fields = slots, .fieldCount = 10}),
                                record({.code = 301, .fields = slots, .fieldCount = 10})};
  static ddDSchema items[] = {data(3000, "a", MTYPE_INT, 4), data(3001, "b", MTYPE_INT, 4)};
  static int32_t rmap[2], dmap[2];
  install("edges", {records, 2, 300, 301, 300, rmap, items, 2, 3000, 3001, 3000, dmap});
  const int want[] = {299, 4396, 4397, 302, 2999, 7096, 7097, 3002, 42, -1};
  for (int k = 0; k < 10; k++) EXPECT_EQ(slots[k].code, want[k]) << "slot " << k;
}

TEST(CompiledSite, NamesResolveOnceToTheLowestSiteAndKeepGaps) {
  install("core", coreTables());
  static const char *up[] = {"root", "nowhere", "point"}, *kids[] = {"node"}, *same[] = {"probe", "late"};
  static ddRSchema records[] = {
      record({.code = 256, .name = "node"}),
      record({.code = 257, .name = "probe", .parents = up, .parentCount = 3, .children = kids, .childCount = 1,
              .aliases = same, .aliasCount = 2}),
      record({.code = 258, .name = "bare", .parentCount = 3}),
  };
  static int32_t rmap[3], dmap[1];
  install("names", {records, 3, 256, 258, 256, rmap, nullptr, 0, 2048, 2047, 2048, dmap});
  static ddRSchema late[] = {record({.code = 256, .name = "late"})};
  static int32_t lmap[1];
  install("late", {late, 1, 256, 256, 256, lmap, nullptr, 0, 2048, 2047, 2048, dmap});
  ddLinks *l = ddGetRSchema(4096 + 257)->links;
  EXPECT_EQ(l->parentCount, 2);
  EXPECT_EQ(l->parents[0], kRoot);
  EXPECT_EQ(l->parents[1], 0); /* the gap stays where the name was */
  EXPECT_EQ(l->parents[2], kPoint);
  EXPECT_TRUE(zeroes(l->parents + 3, 64 * sizeof(int32_t)));
  EXPECT_EQ(l->children[0], kNode); /* site 0's node, not site 1's */
  EXPECT_EQ(l->aliasCount, 1);
  EXPECT_EQ(l->aliases[0], 4096 + 257);
  EXPECT_EQ(l->aliases[1], 0); /* a later site's record is not looked for again */
  ddLinks *bare = ddGetRSchema(4096 + 258)->links;
  EXPECT_EQ(bare->parents, nullptr);
  EXPECT_EQ(bare->parentCount, 0);
}

TEST(CompiledSite, ExtensionsResolveAtALaterSiteAndNeverTwice) {
  install("core", coreTables());
  static ddRSchema one[] = {record({.code = 256, .name = "early", .tagType = MTYPE_REC, .xcodeName = "late"}),
                            record({.code = 257, .name = "under", .tagType = MTYPE_BEAD, .xcodeName = "node"})};
  static ddRSchema two[] = {record({.code = 256, .name = "late", .tagType = MTYPE_REC, .xcodeName = "node"})};
  static ddRSchema three[] = {record({.code = 256, .name = "third", .tagType = MTYPE_ROOT})};
  static int32_t map1[2], map2[1], map3[1], dmap[1];
  install("one", {one, 2, 256, 257, 256, map1, nullptr, 0, 2048, 2047, 2048, dmap});
  EXPECT_EQ(ddGetExtendCode(4096 + 256), 0);
  install("two", {two, 1, 256, 256, 256, map2, nullptr, 0, 2048, 2047, 2048, dmap});
  install("three", {three, 1, 256, 256, 256, map3, nullptr, 0, 2048, 2047, 2048, dmap});
  EXPECT_EQ(ddGetExtendCode(4096 + 256), 8192 + 256);
  EXPECT_EQ(mlistCount(ddGetRSchema(8192 + 256)->extFields), 1);
  EXPECT_EQ(mlistCount(ddGetRSchema(kNode)->extFields), 2);
  /* Levels run on across sites; a root takes none. */
  EXPECT_EQ(ddGetIlevel(4096 + 256), 256);
  EXPECT_EQ(ddGetIlevel(4096 + 257), 257);
  EXPECT_EQ(ddGetIlevel(8192 + 256), 258);
  EXPECT_EQ(ddGetIlevel(12288 + 256), 0);
  ddSite *s = ddSiteNo2SiteInfo(3);
  EXPECT_EQ(s->dataTable, nullptr); /* an empty table and map end up null */
  EXPECT_EQ(s->dataMap, nullptr);
}

TEST(CompiledSite, LevelsStopAtTheTopWithAWarningEachTime) {
  int n;
  ddNewSite("core", "empty core", &n);
  static int32_t dmap[1];
  std::vector<std::vector<ddRSchema>> tables(8);
  std::vector<std::vector<int32_t>> maps(8, std::vector<int32_t>(4095));
  testing::internal::CaptureStdout();
  for (int i = 0; i < 8; i++) {
    for (int c = 1; c <= 4095; c++) tables[i].push_back(record({.code = c, .tagType = MTYPE_REC}));
    install(nullptr, {tables[i].data(), 4095, 1, 4095, 1, maps[i].data(), nullptr, 0, 4096, 4095, 4096, dmap});
  }
  std::string out = testing::internal::GetCapturedStdout();
  std::string warning = "WARNING: Internal format level overflow\n";
  size_t count = 0;
  for (size_t at = out.find(warning); at != std::string::npos; at = out.find(warning, at + 1)) count++;
  EXPECT_EQ(out.size(), count * warning.size());
  EXPECT_EQ(count, 277u); /* 8 * 4095 records, levels 256 to 32739 */
  EXPECT_EQ(ddGetIlevel(4096 + 1), 256);
  EXPECT_EQ(ddGetIlevel(8 * 4096 + 3818), 32738);
  EXPECT_EQ(ddGetIlevel(8 * 4096 + 3819), 32739);
  EXPECT_EQ(ddGetIlevel(8 * 4096 + 4095), 32739);
}

TEST(CompiledSite, SettersAndGrowthLeaveTheLibrarysStorageAlone) {
  Tables t = coreTables();
  install("core", t);
  const char *compiled = ddGetName(kNode);
  EXPECT_EQ(ddSetName(kNode, "knot"), 1); /* a bad free would abort here */
  EXPECT_STREQ(ddGetName(kNode), "knot");
  EXPECT_STREQ(compiled, "node");
  EXPECT_EQ(ddSetName(kNode, "again"), 1);
  long bytes = UZA_liveBytes("apidd1");
  EXPECT_EQ(ddNewRecordDef(0), kStyle + 1);
  /* A table and map of eight slots and a site id more; the heap copy of
  ** four slots went. */
  EXPECT_EQ(UZA_liveBytes("apidd1") - bytes, long((8 - 4) * (sizeof(ddRSchema) + 4) + 9));
  EXPECT_EQ(ddNewDataDef(0), kVisible + 1);
  EXPECT_STREQ(ddGetName(kNode), "again");
  EXPECT_EQ(ddGetRSchema(kNode)->links->parents[0], kRoot);
  EXPECT_EQ(t.records[1].head.code, kNode);
  EXPECT_EQ(t.recordMap[3], kStyle);
}

TEST(CompiledSiteDeath, EveryFaultPrintsItsMessageAndExits) {
  static int32_t map[4], dmap[4];
  static ddRSchema high[] = {record({.code = 256}), record({.code = 300})};
  static ddRSchema low[] = {record({.code = 250})};
  static ddRSchema hole[] = {record({.code = 256}), record({}), record({.code = 258})};
  static ddDSchema items[] = {data(3000, "far", MTYPE_INT, 4)};
  EXPECT_SETCODE_STOPS(siteWith({.recordMap = nullptr, .dataMap = dmap}),
                       "NULL code map supplied by DLL during rkInitDD\n");
  EXPECT_SETCODE_STOPS(siteWith({.recordMap = map}), "NULL code map supplied by DLL during rkInitDD\n");
  EXPECT_SETCODE_STOPS(siteWith({high, 2, 256, 257, 256, map, nullptr, 0, 2048, 2047, 2048, dmap}),
                       "Unable to fixup table; bad record code 300 (= index 44\n");
  EXPECT_SETCODE_STOPS(siteWith({low, 1, 256, 256, 256, map, nullptr, 0, 2048, 2047, 2048, dmap}),
                       "Unable to fixup table; bad record code 250 (= index -6\n");
  EXPECT_SETCODE_STOPS(siteWith({nullptr, 2, 256, 257, 256, map, nullptr, 0, 2048, 2047, 2048, dmap}),
                       "Did not fill record map table (index 0); record schema table incomplete\n");
  EXPECT_SETCODE_STOPS(siteWith({hole, 3, 256, 258, 256, map, nullptr, 0, 2048, 2047, 2048, dmap}),
                       "Did not fill record map table (index 1); record schema table incomplete\n");
  EXPECT_SETCODE_STOPS(siteWith({nullptr, 0, 256, 255, 256, map, items, 1, 2048, 2048, 2048, dmap}),
                       "Unable to fixup table; bad data code 3000 (= index 952)\n");
  EXPECT_SETCODE_STOPS(siteWith({nullptr, 0, 256, 255, 256, map, nullptr, 1, 2048, 2048, 2048, dmap}),
                       "Did not fill data map table (index 0); data schema table incomplete\n");
}
