/* Compiled site fix-up: codes, maps, fields, links, extensions, levels, faults. */
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "compiled_fixture.h"
#include "rkruntime.h"
#include "store_fixture.h"
#include "support/mlist.h"

using namespace fx;

static bool zeroes(const void *p, size_t n) { return !std::memcmp(p, std::string(n, 0).data(), n); }

TEST(CompiledSite, CoreAndExtensionSitesAndTheLibrarysStorage) {
  Tables t = coreTables(), x = extensionTables();
  ASSERT_EQ(install("core", t), 0);
  ddSite *s = ddSiteNo2SiteInfo(0);
  EXPECT_TRUE(s->recordTable != t.records && ddOwnsBlock(s->recordTable) && ddOwnsBlock(s->dataMap));
  for (int i = 0; i < 3; i++) /* site 0 keeps its local codes; the library's map is filled */
    EXPECT_EQ(V({t.recordMap[i], s->recordMap[i], s->dataMap[i]}), V({kRoot + i, kRoot + i, kXpos + i}));
  ddRSchema *node = ddGetRSchema(kNode);
  EXPECT_TRUE(node->fields == t.records[1].fields && !ddOwnsBlock(node->fields)); /* left in place */
  ddLinks *l = node->links;
  EXPECT_EQ(V({node->fields[3].code, node->ilevel, l->parentCount, l->parents[0], l->children[0], l->aliasCount}),
            V({kPoint, 2, 1, kRoot, kPoint, 0}));
  EXPECT_TRUE(zeroes(l->parents + 1, 64 * sizeof(int32_t)) && zeroes(node->head.reservedBlock, 4));
  EXPECT_TRUE(zeroes(ddGetDSchema(kCaption)->reservedBlock, 12) && !l->aliases &&
              zeroes(ddGetDSchema(kCaption)->head.reservedBlock, 4));
  /* Site 1: codes grow by the site's offset, and field codes within its bounds. */
  ASSERT_EQ(install("ext", x), 1);
  ddRSchema *marker = ddGetRSchema(4096 + kMarker);
  EXPECT_EQ(V({x.recordMap[0], marker->fields[1].code}), V({4096 + kMarker, kXpos}));
  EXPECT_EQ(V({marker->ilevel, ddGetIlevel(4096 + kTag), ddGetIlevel(4096 + kNote)}), V({256, 257, 7}));
  mlist *ext = ddGetRSchema(kNode)->extFields;
  EXPECT_EQ(V({marker->head.extendCode, mlistCount(ext), int(mlistNth(ext, 0))}), V({kNode, 1, 4096 + kMarker}));
  EXPECT_EQ(V({marker->links->parents[0], marker->links->parents[1], ddGetRSchema(4096 + kTag)->links->aliases[0]}),
            V({kNode, 4096 + kMarker, kPoint}));
  /* Only field codes within the four bounds grow; a shared table grows once. */
  static ddField slots[] = {{299, 0, 0},  {300, 0, 0},  {301, 0, 0},  {302, 0, 0}, {2999, 0, 0},
                            {3000, 0, 0}, {3001, 0, 0}, {3002, 0, 0}, {42, 0, 0},  {-1, 0, 0}};
  static ddRSchema records[] = {record({.code = 300, .fields = slots, .fieldCount = 10}),
                                record({.code = 301, .fields = slots, .fieldCount = 10})};
  static ddDSchema items[] = {data(3000, "a", MTYPE_INT, 4), data(3001, "b", MTYPE_INT, 4)};
  static int32_t rmap[2], dmap[2];
  install("edges", {records, 2, 300, 301, 300, rmap, items, 2, 3000, 3001, 3000, dmap});
  V codes;
  for (const ddField &slot : slots) codes.push_back(slot.code);
  EXPECT_EQ(codes, V({299, 8492, 8493, 302, 2999, 11192, 11193, 3002, 42, -1}));
  /* Growth leaves the library's storage alone (a bad free aborts). */
  long bytes = UZA_liveBytes("apidd1");
  long before = ddSiteNo2SiteInfo(0)->recordCount;
  EXPECT_EQ(ddNewRecordDef(0), kPoint + 1);
  /* A table and map with room for eight and a site id more: the heap copy
  ** of the compiled table went. */
  EXPECT_EQ(UZA_liveBytes("apidd1") - bytes, long((8 - before) * (sizeof(ddRSchema) + 4) + 9));
  EXPECT_EQ(ddNewDataDef(0), kCaption + 1);
  EXPECT_STREQ(ddGetName(kNode), "node");
}

TEST(CompiledSite, NamesAndExtensionsResolveAcrossSites) {
  install("core", coreTables());
  static const char *up[] = {"root", "nowhere", "point"}, *kids[] = {"node"}, *same[] = {"probe", "later"};
  static ddRSchema names[] = {
      record({.code = 256, .name = "node"}),
      record({.code = 257, .name = "probe", .parents = up, .parentCount = 3, .children = kids, .childCount = 1,
              .aliases = same, .aliasCount = 2}),
      record({.code = 258, .name = "bare", .parentCount = 3, .children = kids})}; /* counts without names and back */
  static ddRSchema one[] = {record({.code = 256, .name = "early", .xcodeName = "late", .tagType = MTYPE_REC}),
                            record({.code = 257, .name = "under", .xcodeName = "node", .tagType = MTYPE_BEAD})};
  static ddRSchema two[] = {record({.code = 256, .name = "late", .xcodeName = "node", .tagType = MTYPE_REC})};
  static ddRSchema three[] = {record({.code = 256, .name = "third", .tagType = MTYPE_ROOT}),
                              record({.code = 257, .name = "later"})};
  static int32_t nmap[3], map1[2], map2[1], map3[2], dmap[1];
  install("names", {names, 3, 256, 258, 256, nmap, nullptr, 0, 2048, 2047, 2048, dmap});
  ddLinks *l = ddGetRSchema(4096 + 257)->links;
  /* A gap keeps its place; the lowest site's node. */
  EXPECT_EQ(V({l->parentCount, l->parents[0], l->parents[1], l->parents[2], l->children[0]}),
            V({2, kRoot, 0, kPoint, kNode}));
  EXPECT_TRUE(zeroes(l->parents + 3, 64 * sizeof(int32_t)));
  ddLinks *bare = ddGetRSchema(4096 + 258)->links;
  EXPECT_TRUE(bare->parents == nullptr && bare->children == nullptr);
  /* An extension resolves once its target arrives, and never twice. */
  install("one", {one, 2, 256, 257, 256, map1, nullptr, 0, 2048, 2047, 2048, dmap});
  EXPECT_EQ(ddGetExtendCode(2 * 4096 + 256), 0);
  install("two", {two, 1, 256, 256, 256, map2, nullptr, 0, 2048, 2047, 2048, dmap});
  install("three", {three, 2, 256, 257, 256, map3, nullptr, 0, 2048, 2047, 2048, dmap});
  EXPECT_EQ(V({ddGetExtendCode(2 * 4096 + 256), mlistCount(ddGetRSchema(3 * 4096 + 256)->extFields),
               mlistCount(ddGetRSchema(kNode)->extFields)}), V({3 * 4096 + 256, 1, 2}));
  /* Names resolve once: a record that arrives later is not looked for again. */
  EXPECT_EQ(V({l->aliasCount, l->aliases[0], l->aliases[1]}), V({1, 4096 + 257, 0}));
  /* Levels run on across sites; a root takes none. */
  EXPECT_EQ(V({ddGetIlevel(2 * 4096 + 256), ddGetIlevel(2 * 4096 + 257), ddGetIlevel(3 * 4096 + 256),
               ddGetIlevel(4 * 4096 + 256)}), V({256, 257, 258, 0}));
  EXPECT_TRUE(ddSiteNo2SiteInfo(4)->dataTable == nullptr && ddSiteNo2SiteInfo(4)->dataMap == nullptr);
}

TEST(CompiledSite, BoundsBeyondTheCountAreWalkedAndSkippedSlotsLeftAlone) {
  install("core", coreTables());
  /* Maps of 2 and 1 slots; the bounds cover 4 and 2 table positions. */
  static const char *up[] = {"root"};
  static ddRSchema records[] = {record({.parents = up, .parentCount = 1}),
                                record({.code = 257, .parents = up, .parentCount = 1}),
                                record({.code = 256}), record({})};
  static ddDSchema items[] = {ddDSchema{}, data(2048, "late", MTYPE_INT, 4)};
  static int32_t rmap[2], dmap[1];
  ASSERT_EQ(install("long", {records, 2, 256, 259, 256, rmap, items, 1, 2048, 2049, 2048, dmap}), 1);
  ddSite *s = ddSiteNo2SiteInfo(1);
  EXPECT_EQ(V({s->recordMap[0], s->recordMap[1], s->dataMap[0]}), V({4096 + 256, 4096 + 257, 4096 + 2048}));
  EXPECT_TRUE(records[2].links != nullptr && items[1].reservedBlock != nullptr);
  /* The empty first slot got no links and its names are passed over. */
  EXPECT_EQ(s->recordTable[0].links, nullptr);
  EXPECT_EQ(V({s->recordTable[1].links->parentCount, s->recordTable[1].links->parents[0]}), V({1, kRoot}));
}

/* A site compiled with no definitions, its empty data range starting where
** its records do, still takes new records there. */
TEST(CompiledSite, AnEmptyDataRangeAtTheRecordBaseLeavesRoomForRecords) {
  static ddRSchema records[1];
  static ddDSchema items[1];
  static int32_t rmap[1], dmap[1];
  int n = install("bare", {records, 0, 256, 255, 256, rmap, items, 0, 256, 255, 256, dmap});
  EXPECT_EQ(ddNewRecordDef(n), n * 4096 + 256);
}

TEST(CompiledSite, LevelsStopAtTheTopWithAWarningEachTime) {
  newSite("core", "empty core");
  static int32_t dmap[1];
  std::vector<std::vector<ddRSchema>> tables(8);
  std::vector<std::vector<int32_t>> maps(8, std::vector<int32_t>(4095));
  testing::internal::CaptureStdout();
  for (int i = 0; i < 8; i++) {
    for (int c = 1; c <= 4095; c++) tables[i].push_back(record({.code = c, .tagType = MTYPE_REC}));
    install(nullptr, {tables[i].data(), 4095, 1, 4095, 1, maps[i].data(), nullptr, 0, 4096, 4095, 4096, dmap});
  }
  std::string warnings; /* 8 * 4095 records, levels 256 to 32739 */
  for (int i = 0; i < 277; i++) warnings += "WARNING: Internal format level overflow\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), warnings);
  EXPECT_EQ(V({ddGetIlevel(4096 + 1), ddGetIlevel(8 * 4096 + 3818), ddGetIlevel(8 * 4096 + 3819),
               ddGetIlevel(8 * 4096 + 4095)}), V({256, 32738, 32739, 32739}));
}

TEST(CompiledSiteDeath, EveryFaultPrintsItsMessageAndExits) {
  int n;
  static int32_t map[4], dmap[4];
  static ddRSchema high[] = {record({.code = 256}), record({.code = 300})}, low[] = {record({.code = 250})};
  static ddRSchema hole[] = {record({.code = 256}), record({}), record({.code = 258})};
  static ddDSchema items[] = {data(3000, "far", MTYPE_INT, 4)};
  const std::pair<Tables, const char *> faults[] = {
      {{.recordMap = nullptr, .dataMap = dmap}, "NULL code map supplied by DLL during rkInitDD\n"},
      {{.recordMap = map}, "NULL code map supplied by DLL during rkInitDD\n"},
      {{high, 2, 256, 257, 256, map, nullptr, 0, 2048, 2047, 2048, dmap},
       "Unable to fixup table; bad record code 300 (= index 44\n"},
      {{low, 1, 256, 256, 256, map, nullptr, 0, 2048, 2047, 2048, dmap},
       "Unable to fixup table; bad record code 250 (= index -6\n"},
      {{nullptr, 2, 256, 257, 256, map, nullptr, 0, 2048, 2047, 2048, dmap},
       "Did not fill record map table (index 0); record schema table incomplete\n"},
      {{hole, 3, 256, 258, 256, map, nullptr, 0, 2048, 2047, 2048, dmap},
       "Did not fill record map table (index 1); record schema table incomplete\n"},
      {{nullptr, 0, 256, 255, 256, map, items, 1, 2048, 2048, 2048, dmap},
       "Unable to fixup table; bad data code 3000 (= index 952)\n"},
      {{nullptr, 0, 256, 255, 256, map, nullptr, 1, 2048, 2048, 2048, dmap},
       "Did not fill data map table (index 0); data schema table incomplete\n"},
  };
  for (const auto &[tables, text] : faults) /* standard output goes to the captured standard error */
    EXPECT_EXIT((std::fflush(stdout), dup2(2, 1), ddSetCode(siteWith(nullptr, tables, &n))),
                testing::ExitedWithCode(1), testing::Eq(std::string(text)));
}
