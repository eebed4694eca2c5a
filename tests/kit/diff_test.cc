/*
** Tests of the rules on schema changes: each rule on a small pair of
** schemas, and on the example and generated schemas, a pair of versions
** compared both ways round.
*/
#include <gtest/gtest.h>

#include <rkdd/kit.h>

#include "schemagen.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Model = std::unique_ptr<kitModel, decltype(&kitModelFree)>;
using Diff = std::unique_ptr<kitDiff, decltype(&kitDiffFree)>;

/* Imports text as a new site and reads its model. */
Model load(const std::string &text) {
  std::string path = ::testing::TempDir() + "diff_" + std::to_string(getpid()) + ".schema";
  std::ofstream(path) << text;
  int site = -1;
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddImportSchema(path.c_str(), &site), 1) << text;
  testing::internal::GetCapturedStdout();
  std::remove(path.c_str());
  return Model(kitModelRead(site), kitModelFree);
}

Diff diff(const Model &a, const Model &b) {
  Diff d(kitDiffModels(a.get(), b.get()), kitDiffFree);
  EXPECT_NE(d, nullptr);
  return d;
}

/* One line per change: "def.field attr class". */
std::vector<std::string> lines(const kitDiff &d) {
  std::vector<std::string> all;
  for (int i = 0; i < d.count; i++) {
    const kitChange &c = d.changes[i];
    std::string where = c.def;
    if (*c.field) where += std::string(".") + c.field;
    all.push_back(where + " " + kitAttrName(c.attr) + " " + kitClassName(d.classes[i]));
  }
  return all;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

/* Point is held in line by Car; Tail is held by nobody. */
const std::string kBase = R"(dataDef Speed { rktype_ival, LABEL="Speed" };
dataDef Mass  { rktype_fval };
dataDef Count { rktype_sval };
dataDef Dim   { rktype_flag };
dataDef Lit   { rktype_flag };
dataDef Spare { rktype_ival };
struct PointBody { Mass; Speed; };
struct CarBody   { Speed; Point; Lit; };
struct TailBody  { Speed; Mass; Count; Dim; Lit; };
recordDef Point { rktype_rec, PointBody };
recordDef Car   { rktype_bead, CarBody, LEV=IOBJLVL, PARENT=CarUp };
recordDef Tail  { rktype_bead, TailBody };
parent CarUp { Tail; };
)";

struct Rule {
  const char *name;
  const char *from, *to; /* the new schema is the base with from replaced by to */
  std::vector<std::string> want;
};

const Rule kRules[] = {
  {"AddedOverAnOldCode", "dataDef Spare { rktype_ival", "dataDef Other { rktype_fval",
   {"Other added breaking", "Spare removed breaking"}},
  /* Same code and layout: data reads the same, a look-up by the old name fails. */
  {"Renamed", "dataDef Spare", "dataDef Other", {"Other renamed breaking"}},
  {"CodeRenumbered", "dataDef Lit   { rktype_flag };\ndataDef Spare { rktype_ival };",
   "dataDef Spare { rktype_ival };\ndataDef Lit   { rktype_flag };",
   {"Lit code breaking", "Spare code breaking"}},
  {"FieldRemoved", "Count; Dim; Lit; }", "Count; Dim; }",
   {"Tail length breaking", "Tail.Lit fieldRemoved breaking"}},
  {"FieldAppended", "Count; Dim; Lit; }", "Count; Dim; Lit; Spare; }",
   {"Tail length breaking", "Tail.Spare fieldAdded compatible"}},
  {"FieldInserted", "{ Speed; Mass;", "{ Speed; Spare; Mass;",
   {"Tail length breaking", "Tail.Count fieldIndex breaking", "Tail.Count fieldOffset breaking",
    "Tail.Dim fieldIndex breaking", "Tail.Dim fieldOffset breaking",
    "Tail.Lit fieldIndex breaking", "Tail.Lit fieldOffset breaking",
    "Tail.Mass fieldIndex breaking", "Tail.Mass fieldOffset breaking",
    "Tail.Spare fieldAdded breaking"}},
  {"FieldAppendedToARecordHeldInLine", "{ Mass; Speed; }", "{ Mass; Speed; Lit; }",
   {"Car length breaking", "Car.Lit fieldOffset breaking", "Car.Point fieldSize breaking",
    "Car.Point nestedLayout breaking", "Point length breaking",
    "Point.Lit fieldAdded breaking"}},
  {"FieldKind", "Point; Lit; }", "Point, PTR; Lit; }",
   {"Car length breaking", "Car.Lit fieldOffset breaking", "Car.Point fieldKind breaking",
    "Car.Point fieldSize breaking"}},
  {"FieldBitPosition", "dataDef Dim   { rktype_flag }", "dataDef Dim   { rktype_sval }",
   {"Dim tagType breaking", "Dim length breaking", "Tail length breaking",
    "Tail.Dim fieldSize breaking", "Tail.Dim fieldTagType breaking",
    "Tail.Lit fieldOffset breaking", "Tail.Lit fieldBitPos breaking"}},
  /* Same size, so only the nested layout tells Car that Point changed. */
  {"FieldRetypedInANestedRecord", "dataDef Mass  { rktype_fval }", "dataDef Mass  { rktype_ival }",
   {"Car.Point nestedLayout breaking", "Mass tagType breaking",
    "Point.Mass fieldTagType breaking", "Tail.Mass fieldTagType breaking"}},
  {"FieldRecounted", "dataDef Count { rktype_sval }", "dataDef Count { rktype_sval, ACNT=3 }",
   {"Count arrayCount breaking", "Tail length breaking", "Tail.Count fieldSize breaking",
    "Tail.Count fieldArrayCount breaking", "Tail.Dim fieldOffset breaking",
    "Tail.Lit fieldOffset breaking"}},
  {"RecordCountHeldInLine", "{ rktype_rec, PointBody }", "{ rktype_rec, PointBody, ACNT=2 }",
   {"Car length breaking", "Car.Lit fieldOffset breaking", "Car.Point fieldSize breaking",
    "Car.Point fieldArrayCount breaking", "Point arrayCount breaking"}},
  {"RecordCountHeldByNobody", "{ rktype_bead, TailBody }", "{ rktype_bead, TailBody, ACNT=2 }",
   {"Tail arrayCount compatible"}},
  {"LevelChanged", "LEV=IOBJLVL", "LEV=IGROUP", {"Car level breaking"}},
  {"LevelGiven", "{ rktype_bead, TailBody }", "{ rktype_bead, TailBody, LEV=IGROUP }",
   {"Tail level compatible"}},
  {"AttributesAndLinks", "recordDef Car   { rktype_bead, CarBody, LEV=IOBJLVL, PARENT=CarUp };",
   "recordDef Car   { rktype_bead, CarBody, LEV=IOBJLVL, LABEL=\"Car\", PREFIX=\"c\", "
   "MSG=\"A car\", NODISP, NOEDIT, NOSEARCH, VER=2, KEY=1 };",
   {"Car key compatible", "Car display compatible", "Car edit compatible",
    "Car search compatible", "Car version compatible", "Car label compatible",
    "Car description compatible", "Car prefix compatible", "Car parents compatible"}},
  {"RangeAndDefault", "dataDef Speed { rktype_ival, LABEL=\"Speed\" }",
   "dataDef Speed { rktype_ival, LABEL=\"Speed\", MIN=0, MAX=9, DEF=3 }",
   {"Speed range compatible", "Speed default compatible"}},
};

class DiffRule : public ::testing::TestWithParam<Rule> {};

TEST_P(DiffRule, ClassifiesEveryChange) {
  const Rule &rule = GetParam();
  Model before = load(kBase), after = load(replaced(kBase, rule.from, rule.to));
  EXPECT_EQ(lines(*diff(before, after)), rule.want);
}

INSTANTIATE_TEST_SUITE_P(Rules, DiffRule, ::testing::ValuesIn(kRules),
                         [](const auto &info) { return std::string(info.param.name); });

/* Tables that repeat a name pair up slot by slot, and a change to the second
** of the name is told under "#2". */
TEST(DiffRules, RepeatedFieldNamesKeepTheirNumber) {
  const std::string text = "dataDef A { rktype_ival };\ndataDef B { rktype_sval };\n"
                           "struct RBody { A; B; A; };\nrecordDef R { rktype_bead, RBody };\n";
  Model before = load(text), after = load(replaced(text, "B { rktype_sval }", "B { rktype_ival }"));
  EXPECT_EQ(lines(*diff(before, after)),
            (std::vector<std::string>{"B tagType breaking", "B length breaking", "R length breaking",
                                      "R.A#2 fieldOffset breaking", "R.B fieldSize breaking",
                                      "R.B fieldTagType breaking"}));
}

/* A layout change reaches every record that holds the changed one in line,
** however deep, also one whose other field names nothing. */
TEST(DiffRules, NestedLayoutClimbsEveryHolder) {
  const std::string text = "dataDef A { rktype_fval };\nstruct InnerBody { A; };\nstruct MidBody { Inner; };\n"
                           "struct OuterBody { Gap; Mid; };\nrecordDef Inner { rktype_rec, InnerBody };\n"
                           "recordDef Mid { rktype_rec, MidBody };\nrecordDef Outer { rktype_bead, OuterBody };\n";
  Diff d = diff(load(text), load(replaced(text, "rktype_fval", "rktype_ival")));
  EXPECT_EQ(lines(*d), (std::vector<std::string>{"A tagType breaking", "Inner.A fieldTagType breaking",
                                                 "Mid.Inner nestedLayout breaking",
                                                 "Outer.Mid nestedLayout breaking"}));
}

/* A change as a tuple, and the change the diff the other way round gives. */
using Seen = std::tuple<std::string, int, std::string, int, std::string, std::string>;
Seen seen(const kitChange &c) { return {c.def, c.defKind, c.field, c.attr, c.oldText, c.newText}; }
Seen swapped(const kitChange &c) {
  static const std::map<int, int> opposite = {{KIT_ADDED, KIT_REMOVED}, {KIT_REMOVED, KIT_ADDED},
                                              {KIT_FIELD_ADDED, KIT_FIELD_REMOVED},
                                              {KIT_FIELD_REMOVED, KIT_FIELD_ADDED}};
  auto it = opposite.find(c.attr);
  return {c.def, c.defKind, c.field, it == opposite.end() ? c.attr : it->second, c.newText, c.oldText};
}

/* Both ways round, a generated schema and a version of it with a field
** made a pointer and an item added give the same changes with old and new
** swapped. */
TEST(DiffProperty, BothWaysRoundGiveTheSameChanges) {
  const gen::Size size{64, 32, 8};
  Model a = load(gen::rkddSchema(size, 0));
  Model b = load(gen::rkddSchemaOneFieldChanged(size, 0) + "dataDef s0Extra { rktype_ival };\n");
  Diff forth = diff(a, b), back = diff(b, a);
  ASSERT_GT(forth->count, 0);
  EXPECT_GT(forth->breakingCount, 0);
  std::multiset<Seen> there, again;
  for (int i = 0; i < forth->count; i++) there.insert(seen(forth->changes[i]));
  for (int i = 0; i < back->count; i++) again.insert(swapped(back->changes[i]));
  EXPECT_EQ(there, again);
}

} // namespace
