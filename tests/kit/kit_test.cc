/*
** Tests of rkddkit: the model of a site read through the public interface,
** the comparison of two models, and the schema text round trip.
*/
#include <gtest/gtest.h>

#include <rkdd/kit.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using Model = std::unique_ptr<kitModel, decltype(&kitModelFree)>;
using Changes = std::unique_ptr<kitChanges, decltype(&kitChangesFree)>;

Model read(int site) { return Model(kitModelRead(site), kitModelFree); }
Changes compare(const Model &a, const Model &b) {
  return Changes(kitCompare(a.get(), b.get()), kitChangesFree);
}

int import(const std::string &path) {
  int site = -1;
  EXPECT_EQ(ddImportSchema(path.c_str(), &site), 1) << path;
  return site;
}

/* One line per change: "def.field attr: old -> new". */
std::vector<std::string> describe(const kitChanges &list) {
  std::vector<std::string> lines;
  for (int i = 0; i < list.count; i++) {
    const kitChange &c = list.changes[i];
    std::string line = std::string(c.def);
    if (c.field[0]) line += std::string(".") + c.field;
    lines.push_back(line + " " + kitAttrName(c.attr) + ": " + c.oldText + " -> " + c.newText);
  }
  return lines;
}

const std::string kScene = RKDD_SOURCE_DIR "/examples/scene.schema";

} // namespace

/* Site 1 holds the names of site 0 again: the model resolves every field and
** link within its own site, where a look-up by name would find site 0's. */
TEST(KitModel, ReadsASiteBuiltCallByCallResolvingNamesInItsOwnSite) {
  int core, site;
  ddNewSite("core", "core", &core);
  ddSetName(ddNewDataDef(core), "speed");
  ddSetName(ddNewRecordDef(core), "car");
  ddNewSite("ext", "extension", &site);
  int speed = ddNewDataDef(site), flag = ddNewDataDef(site);
  int car = ddNewRecordDef(site), wheel = ddNewRecordDef(site);
  ddSetName(speed, "speed");
  ddSetTagType(speed, MTYPE_DOUBLE);
  ddSetName(flag, "lit");
  ddSetTagType(flag, MTYPE_FLAG);
  ddSetName(car, "car");
  ddSetName(wheel, "wheel");
  ddSetTagType(wheel, MTYPE_REC);
  ddField wheelFields[] = {{speed, 0, 0}};
  ddSetField(wheel, wheelFields, 1);
  ddField carFields[] = {{flag, 3u, 0},
                         {wheel, DD_KIND_STRUCTURE << DD_FIELD_KIND_SHIFT, 0},
                         {car, DD_KIND_POINTER << DD_FIELD_KIND_SHIFT, 0}};
  ddSetField(car, carFields, 3);
  int parents[] = {wheel, ddSiteGetNthRcode(core, 0)};
  ddSetParent(car, parents, 2);

  Model m = read(site);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(read(7), nullptr);
  ASSERT_EQ(m->recordCount, 2);
  ASSERT_EQ(m->dataCount, 2);
  EXPECT_EQ(m->records[0].local, 256);
  EXPECT_EQ(m->data[1].local, 2049);
  EXPECT_EQ(kitFindName(m.get(), "speed"), &m->data[0]);
  EXPECT_EQ(kitFindCode(m.get(), wheel), &m->records[1]);

  const kitDef &c = m->records[0];
  ASSERT_EQ(c.fieldCount, 3);
  EXPECT_EQ(c.length, 1 + 8 + 4);
  struct Want {
    const char *name;
    int code, kind, bitPos, offset, size, tagType, nested;
  } want[] = {{"lit", flag, DD_KIND_DC, 3, 0, 1, MTYPE_FLAG, -1},
              {"wheel", wheel, DD_KIND_STRUCTURE, 0, 1, 8, MTYPE_REC, 1},
              {"car", car, DD_KIND_POINTER, 0, 9, 4, MTYPE_NULL, -1}};
  for (int i = 0; i < 3; i++) {
    const kitField &f = c.fields[i];
    EXPECT_STREQ(f.name, want[i].name);
    EXPECT_EQ(f.code, want[i].code);
    EXPECT_EQ(f.site, site);
    EXPECT_EQ(f.kind, want[i].kind) << i;
    EXPECT_EQ(f.bitPos, want[i].bitPos) << i;
    EXPECT_EQ(f.offset, want[i].offset) << i;
    EXPECT_EQ(f.size, want[i].size) << i;
    EXPECT_EQ(f.tagType, want[i].tagType) << i;
    EXPECT_EQ(f.nested, want[i].nested) << i;
    EXPECT_EQ(f.problem, KIT_FIELD_OK) << i;
  }
  ASSERT_EQ(c.parentCount, 2);
  EXPECT_STREQ(c.parents[0].name, "wheel");
  EXPECT_EQ(c.parents[0].site, site);
  EXPECT_STREQ(c.parents[1].name, "car");
  EXPECT_EQ(c.parents[1].site, core);
}

TEST(KitCompare, MatchesByNameAndListsEveryDifferenceInOrder) {
  int a = import(kScene), b = import(kScene);
  Model ma = read(a), same = read(b);
  EXPECT_EQ(compare(ma, same)->count, 0);

  auto code = [&same](const char *name) { return kitFindName(same.get(), name)->code; };
  ddSetLabel(code("LpRadius"), "Radius");
  ddSetKey(code("LpLight"), 3);
  ddSetName(ddNewDataDef(b), "LpExtra");
  ddSetName(code("LpCount"), "LpCounts"); /* a rename is a removal and an addition */
  ddSetRange(code("LpIntensity"), 1, 2);
  Model mb = read(b);
  Changes changes = compare(ma, mb);
  ASSERT_NE(changes, nullptr);
  EXPECT_EQ(describe(*changes),
            (std::vector<std::string>{
              "LpCount removed: 2052 -> ",
              "LpCounts added:  -> 2052",
              "LpExtra added:  -> 2059",
              "LpIntensity range: 0 .. 100000 -> 1 .. 2",
              "LpLight key: 0 -> 3",
              "LpOrigin.LpCount fieldRemoved: 1 -> ",
              "LpOrigin.LpCounts fieldAdded:  -> 1",
              "LpRadius label: \"Radius (m)\" -> Radius",
            }));
}
