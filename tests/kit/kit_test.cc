/*
** Tests of rkddkit: the model of a site read through the public interface,
** the comparison of two models, and the schema text round trip.
*/
#include <gtest/gtest.h>

#include <rkdd/kit.h>

#include "compiled_fixture.h"
#include "schemagen.h"

#include <cstdio>
#include <fstream>
#include <cstdlib>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <unistd.h>

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

std::string textOf(const Model &m, int *lost) {
  char *raw = kitSchemaText(m.get(), stderr, lost);
  std::string text = raw ? raw : "";
  std::free(raw);
  return text;
}

/* Imports text as a new site; its number. */
int importText(const std::string &text) {
  std::string path = ::testing::TempDir() + "kit_" + std::to_string(getpid()) + ".schema";
  std::ofstream(path) << text;
  int site = import(path);
  std::remove(path.c_str());
  return site;
}

/* The round trip of a site: exporting it loses nothing (or exactly
** expectLost things, each warned about) but the widths of enumerations that
** no layout tells, the import of the text compares equal to it, and
** exporting that import gives the same text. */
void roundTrip(int site, int expectLost = 0) {
  Model first = read(site);
  ASSERT_NE(first, nullptr);
  std::vector<int32_t> widths(static_cast<size_t>(first->dataCount));
  int untold = kitBitWidths(first.get(), widths.data());
  int lost = -1;
  std::string text = textOf(first, &lost);
  EXPECT_EQ(lost, expectLost + untold) << text;
  Model second = read(importText(text));
  ASSERT_NE(second, nullptr);
  if (expectLost == 0) {
    Changes changes = compare(first, second);
    EXPECT_EQ(describe(*changes), std::vector<std::string>{}) << text;
  }
  int again = -1;
  EXPECT_EQ(textOf(second, &again), text);
  EXPECT_EQ(again, untold);
}

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
  EXPECT_EQ(kitFindCode(m.get(), wheel), &m->records[1]);

  const kitDef &c = m->records[0];
  ASSERT_EQ(c.fieldCount, 3);
  EXPECT_EQ(c.length, 1 + 8 + 4);
  using Field = std::tuple<std::string, int, int, int, int, int, int, int, int, int>;
  const Field want[] = {{"lit", flag, site, DD_KIND_DC, 3, 0, 1, MTYPE_FLAG, -1, KIT_FIELD_OK},
                        {"wheel", wheel, site, DD_KIND_STRUCTURE, 0, 1, 8, MTYPE_REC, 1, KIT_FIELD_OK},
                        {"car", car, site, DD_KIND_POINTER, 0, 9, 4, MTYPE_NULL, -1, KIT_FIELD_OK}};
  for (int i = 0; i < 3; i++) {
    const kitField &f = c.fields[i];
    EXPECT_EQ(Field(f.name ? f.name : "~", f.code, f.site, f.kind, f.bitPos, f.offset, f.size, f.tagType, f.nested, f.problem),
              want[i]);
  }
  ASSERT_EQ(c.parentCount, 2);
  EXPECT_EQ(std::tuple(std::string(c.parents[0].name), c.parents[0].site, std::string(c.parents[1].name),
                       c.parents[1].site), std::tuple("wheel", site, "car", core));
}

/* Codes with gaps between them, as a compiled or temporary site leaves: the
** guess by distance fails and the search must still find each, and nothing
** in a gap or past either end. */
TEST(KitModel, FindsCodesAcrossGaps) {
  const int codes[] = {256, 258, 300, 301, 999, 1500, 2047};
  kitDef defs[7] = {};
  for (int i = 0; i < 7; i++) defs[i].code = codes[i];
  kitModel m = {};
  m.records = defs;
  m.recordCount = 7;
  for (int i = 0; i < 7; i++) EXPECT_EQ(kitFindCode(&m, codes[i]), &defs[i]) << codes[i];
  for (int missing : {255, 257, 299, 998, 1501, 2048}) EXPECT_EQ(kitFindCode(&m, missing), nullptr) << missing;
}

TEST(KitCompare, MatchesByNameAndListsEveryDifferenceInOrder) {
  int a = import(kScene), b = import(kScene);
  Model ma = read(a), same = read(b);
  EXPECT_EQ(compare(ma, same)->count, 0);

  /* One code and layout under a new name: a rename, and the field holding it still matches. */
  ddSetName(kitFindName(same.get(), "LpCount")->code, "LpCounts");
  ddSetLabel(kitFindName(same.get(), "LpCount")->code, "Counts");
  Model mb = read(b);
  EXPECT_EQ(describe(*compare(ma, mb)),
            (std::vector<std::string>{"LpCounts label: \"Counts per axis\" -> Counts",
                                      "LpCounts renamed: LpCount -> LpCounts"}));
  /* Another layout under the old code: a removal and an addition. */
  ddSetTagType(kitFindName(same.get(), "LpCount")->code, MTYPE_INT);
  Changes changes = compare(ma, read(b));
  ASSERT_GE(changes->count, 2);
  EXPECT_EQ(describe(*changes)[0], "LpCount removed: 2052 -> ");
  EXPECT_EQ(describe(*changes)[1], "LpCounts added:  -> 2052");
}

/* LpPolarity is last in the one record that holds it: its width is lost. */
TEST(KitRoundTrip, Example) {
  Model m = read(import(kScene));
  std::vector<int32_t> widths(static_cast<size_t>(m->dataCount));
  EXPECT_EQ(kitBitWidths(m.get(), widths.data()), 1);
  const kitDef *direction = kitFindName(m.get(), "LpDirection"), *visible = kitFindName(m.get(), "LpVisible");
  EXPECT_EQ(widths[static_cast<size_t>(direction - m->data)], 2);
  EXPECT_EQ(widths[static_cast<size_t>(visible - m->data)], 1);
  roundTrip(m->site);
}

class KitRoundTripGenerated : public ::testing::TestWithParam<gen::Size> {};

TEST_P(KitRoundTripGenerated, BenchmarkSchema) {
  roundTrip(importText(gen::rkddSchema(GetParam(), 0)));
}

INSTANTIATE_TEST_SUITE_P(Sizes, KitRoundTripGenerated,
                         ::testing::Values(gen::Size{64, 32, 8}, gen::Size{512, 256, 24},
                                           gen::Size{2048, 1792, 32}, gen::Size{2048, 1792, 255}),
                         [](const ::testing::TestParamInfo<gen::Size> &p) {
                           return std::to_string(p.param.data) + "_" + std::to_string(p.param.records) +
                                  "_" + std::to_string(p.param.members);
                         });

/* Models of a site that nobody changes, read on four threads at once, are
** the model one thread reads. */
TEST(KitThreads, ModelsReadAtOnceAreTheModelOfOneThread) {
  int site = importText(gen::rkddSchema({256, 512, 40}, 0));
  Model one = read(site);
  ASSERT_TRUE(one);
  std::vector<Model> got;
  for (int t = 0; t < 4; t++) got.emplace_back(nullptr, kitModelFree);
  std::latch start(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; t++)
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      got[t] = read(site);
    });
  for (std::thread &thread : threads) thread.join();
  for (const Model &m : got) {
    ASSERT_TRUE(m);
    EXPECT_EQ(describe(*compare(one, m)), std::vector<std::string>{});
  }
}

/* A compiled table states offsets and lengths itself: where they are not
** the packed layout's (here lengths of 0), no text can say them. */
TEST(KitRoundTrip, CompiledTables) {
  int site = fx::install("core", fx::coreTables());
  int lost = 0;
  std::free(kitSchemaText(read(site).get(), nullptr, &lost));
  EXPECT_EQ(lost, 2);
  ddGetRSchema(fx::kNode)->head.length = 32;
  ddGetRSchema(fx::kPoint)->head.length = 8;
  roundTrip(site);
}

/* Everything a site built by calls can hold that a schema file can say. */
TEST(KitRoundTrip, SiteBuiltCallByCall) {
  int site;
  ddNewSite("calls", "built by calls", &site);
  int text = ddNewDataDef(site), flag = ddNewDataDef(site), value = ddNewDataDef(site);
  int inner = ddNewRecordDef(site), outer = ddNewRecordDef(site);
  ddSetName(text, "caption");
  ddSetTagType(text, MTYPE_TEXT);
  ddSetLength(text, 12);
  ddSetLabel(text, "\"Caption, short\"");
  ddSetDesc(text, "shown=first");
  ddSetName(flag, "lit");
  ddSetTagType(flag, MTYPE_FLAG);
  ddSetName(value, "level");
  ddSetTagType(value, MTYPE_FLOAT);
  ddSetRange(value, -1.5f, 1e30f);
  ddSetIsDisplay(value, 0);
  ddGetSchema(value)->version = -300;
  ddSetName(inner, "inner");
  ddSetTagType(inner, MTYPE_REC);
  ddField innerFields[] = {{value, 0, 0}, {flag, 0, 0}};
  ddSetField(inner, innerFields, 2);
  ddSetName(outer, "outer");
  ddSetTagType(outer, MTYPE_BEAD);
  ddSetIlevel(outer, 250);
  ddSetDesc(outer, "An outer record.\nTwo lines, with a \"quote\".");
  ddField outerFields[] = {{text, 0, 0},
                           {inner, DD_KIND_STRUCTURE << DD_FIELD_KIND_SHIFT, 0},
                           {outer, DD_KIND_POINTER << DD_FIELD_KIND_SHIFT, 0},
                           {value, 5u, 0}};
  ddSetField(outer, outerFields, 4);
  int up[] = {outer, inner};
  ddSetParent(inner, up, 2);
  roundTrip(site);
}

/* What the text cannot say is warned about, one warning each, and the text
** still imports without an error. */
TEST(KitExport, WarnsAboutWhatTheTextCannotSay) {
  int core, site;
  ddNewSite("core", "core", &core);
  int foreign = ddNewDataDef(core);
  ddSetName(foreign, "foreign");
  ddNewSite("odd", "odd", &site);
  ddNewDataDef(site); /* unnamed */
  int twin = ddNewDataDef(site), twin2 = ddNewDataDef(site);
  int label = ddNewDataDef(site), raw = ddNewRecordDef(site);
  ddSetName(twin, "twin");
  ddSetName(twin2, "twin");
  ddSetName(label, "label");
  ddSetLabel(label, "a, b");          /* a comma ends an option */
  ddSetMaxId(raw, 7);
  ddField fields[] = {{twin, 0, 0}, {foreign, 0, 0}};
  ddSetField(raw, fields, 2);
  ddSetName(raw, "raw");

  Model m = read(site);
  int lost = 0;
  std::string text = textOf(m, &lost);
  EXPECT_EQ(lost, 5) << text; /* unnamed, twin, label, foreign field, max id */
  for (const char *part : {"dataDef _code2048 ", "dataDef twin_2050 ", "// field 1: code 2048 left out",
                           "recordDef raw { rktype_null, raw, NODISP"})
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  testing::internal::CaptureStdout();
  importText(text);
  std::string diagnostics = testing::internal::GetCapturedStdout();
  EXPECT_EQ(diagnostics.find("ERROR"), std::string::npos) << diagnostics;
}
