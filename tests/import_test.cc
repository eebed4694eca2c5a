/*
** Schema import end to end: a file becomes a site that answers like one
** defined call by call, with codes in file order, forward references,
** packed layouts, links, descriptions and the exact diagnostics.
*/
#include <cfloat>

#include "import/ddmod.h"
#include "store_fixture.h"

using namespace testing::internal; /* CaptureStdout */

namespace {
std::string out;
/* Imports a file, or text written to one; leaves the site, and the output in out. */
int importFile(const std::string &file, int *site) {
  CaptureStdout();
  int result = ddImportSchema(file.c_str(), site);
  out = GetCapturedStdout();
  return result;
}
int import(const std::string &text, int *site) { return importFile(schemaFile(text), site); }
int kindOf(const ddField &f) { return static_cast<int32_t>(f.bits << 16) >> 22; }

} // namespace

TEST(Import, CodesFollowFileOrderAndForwardReferencesResolve) {
  int site = -1;
  ASSERT_EQ(import("dataDef zeta { rktype_ival };\n"
                   "dataDef alpha { rktype_sval };\n"
                   "recordDef first { rktype_rec, S, PARENT=P };\n"
                   "struct S { alpha; zeta; later; nothing; };\n"
                   "recordDef later { rktype_rec, T };\n"
                   "struct T { zeta, BIT=70; };\n"
                   "parent P { later; first; };\n", &site), 1);
  int zeta = ddNameToCode("zeta"), alpha = ddNameToCode("alpha");
  int first = ddNameToCode("first"), later = ddNameToCode("later");
  EXPECT_EQ(V({zeta, alpha, later}), V({2048, 2049, first + 1}));
  ddField *f = ddGetField(first);
  ASSERT_EQ(ddGetFieldCount(first), 4);
  /* A member that names nothing gets code 0, and no error. */
  EXPECT_EQ(V({f[0].code, f[1].code, f[2].code, kindOf(f[2]), f[3].code, kindOf(f[3])}),
            V({alpha, zeta, later, DD_KIND_STRUCTURE, 0, DD_KIND_STRUCTURE}));
  int bit = -1; /* the bit position keeps its low 6 bits */
  EXPECT_EQ(V({ddGetFieldOffset(later, zeta, nullptr, &bit, nullptr), bit}), V({1, 70 & 63}));
  /* The nested record was laid out on demand: 2 + 4 + 4. */
  EXPECT_EQ(V({ddGetLength(first), ddGetParentNth(first, 0), ddGetParentNth(first, 1)}), V({10, later, first}));
}

/* Bits: a flag takes one, an enumeration its LEN (one when LEN=0, which is
** reported), and a member not held in bits takes none and ends the byte.
** An ENUM item counts from the structure's start: the bytes before it (a
** pointer's 4, a byte of flags, a structure that holds one, 4) are folded
** into its bit. */
TEST(Import, BitPositionsFollowTheWidthsOfTheMembersBefore) {
  struct Case {
    const char *members;
    std::vector<int> bits;
  };
  const Case cases[] = {
      {"F; E3; G;", {0, 1, 4}},
      {"E0; E3; F;", {0, 1, 4}},
      {"F; T; G;", {0, 0, 0}},
      {"C, PTR; N3;", {0, 32}},
      {"F; F; F; F; F; F; F; F; N3;", {0, 1, 2, 3, 4, 5, 6, 7, 8}},
      {"Inner; N3;", {0, 32}},
  };
  for (const Case &c : cases) {
    int site = -1;
    ASSERT_EQ(import(std::string("dataDef F { rktype_flag };\ndataDef G { rktype_flag };\n"
                                 "dataDef E0 { rktype_enum, LEN=0 };\ndataDef E3 { rktype_enum, LEN=3 };\n"
                                 "dataDef T { rktype_text, LEN=8 };\ndataDef N3 { rktype_enum, LEN=3, ENUM };\n"
                                 "dataDef C { rktype_cval };\nstruct S { ") +
                         c.members + " };\nrecordDef R { rktype_bead, S };\n"
                                     "struct In { N3; };\nrecordDef Inner { rktype_rec, In };\n", &site), 1)
        << c.members;
    const ddField *f = ddGetField(ddSiteGetNthRcode(site, 0));
    std::vector<int> bits;
    for (size_t i = 0; i < c.bits.size(); i++) bits.push_back(static_cast<int>(f[i].bits & DD_FIELD_BITPOS_MASK));
    EXPECT_EQ(bits, c.bits) << c.members;
  }
}

TEST(Import, SitesFromEmptyFailedAndRepeatedImports) {
  int site = -1, untouched = 42;
  ASSERT_EQ(import("// nothing but a comment\n/* and another */\n", &site), 1);
  EXPECT_EQ(ddSiteNo2SiteInfo(site)->recordCount + ddSiteNo2SiteInfo(site)->dataCount, 0);
  /* A failed read makes no site. */
  EXPECT_EQ(V({import("dataDef A { rktype_ival };\nbogus B\n", &untouched), untouched, ddSiteCount()}),
            V({0, 42, 1}));
  EXPECT_EQ(V({importFile("/nonexistent/dir/file.schema", &untouched), ddSiteCount()}), V({0, 1}));
  /* Store refusals are counted and the site stands; here the code space runs out. */
  std::string many;
  for (int i = 0; i < 2049; i++) many += "dataDef d" + std::to_string(i) + " { rktype_cval };\n";
  ASSERT_EQ(import(many, &site), 0);
  EXPECT_EQ(out, "1 errors during parsing\n");
  /* The caller's caching value is back. */
  EXPECT_EQ(V({site, ddNameToCode("d2047"), ddNameToCode("d2048"), ddCacheFixups(0)}), V({1, 8191, 0, 0}));
  /* Two imports give two sites; the tenth site is the last. */
  const char *text = "recordDef R { rktype_rec, rkNULL };\ndataDef D { rktype_ival };\n";
  int a = -1, b = -1;
  ASSERT_EQ(import(text, &a), 1);
  ASSERT_EQ(import(text, &b), 1);
  /* The lower site wins a name. */
  EXPECT_EQ(V({b - a, ddSiteGetNthRcode(b, 0) - ddSiteGetNthRcode(a, 0), ddNameToCode("R")}),
            V({1, 4096, ddSiteGetNthRcode(a, 0)}));
  EXPECT_EQ(ddSiteNo2SiteInfo(a)->desc, schemaFile(text));
  while (ddSiteCount() < 10) ASSERT_NE(ddNewSite(nullptr, "filler", &site), nullptr);
  ASSERT_EQ(import(text, &untouched), 0);
  EXPECT_EQ(out + std::to_string(untouched), "42");
}

TEST(Import, OptionsReachTheDefinitionAndOpenPointsAreReportedNotCounted) {
  int site = -1;
  /* A missing structure or list is the file's fault: reported, not counted. */
  ASSERT_EQ(import("dataDef lo { rktype_fval, MIN=-2.5 };\n"
                   "dataDef hi { rktype_fval, MIN=0, MAX=3.4028234663852886e38 };\n"
                   "dataDef def { rktype_ival, DEF=7, KEY=6, VER=300, ACNT=4, NODISP, XCODE=Target };\n"
                   "dataDef txt { rktype_text, LEN=8, DEF=hello };\n"
                   "dataDef flag3 { rktype_flag, LEN=3 };\n"
                   "recordDef rec { rktype_rec, rkNULL, PREFIX=px, MSG=message };\n"
                   "describe lo { ignored for data }\n"
                   "recordDef R { rktype_rec, NoSuchStruct, PARENT=NoList, CHILD=Empty };\n"
                   "child Empty { };\n"
                   "struct Hollow { pad, PAD=2; };\n"
                   "recordDef H { rktype_rec, Hollow };\n", &site), 1);
  EXPECT_EQ(out, "Warning: Range only partially determined.\n"
                 "WARNING: elemtype 14 not supported!\n"
                 "WARNING: elemtype 14 not supported!\n"
                 "ERROR: Structure \"NoSuchStruct\" of \"R\" not defined.\n"
                 "ERROR: Parent list \"NoList\" of \"R\" not defined.\n"
                 "WARNING: elemtype 14 not supported!\n");
  /* An empty list gives no table, and no refusal; a structure with no
  ** counted member likewise. */
  int r = ddNameToCode("R"), h = ddNameToCode("H");
  EXPECT_EQ(V({ddGetFieldCount(r), ddGetChildCount(r), ddGetFieldCount(h), ddGetLength(h)}), V({0, 0, 0, 0}));
  int lo = ddNameToCode("lo"), def = ddNameToCode("def"), txt = ddNameToCode("txt");
  EXPECT_TRUE(ddGetMinVal(lo) == -2.5f && ddGetMaxVal(lo) == 0.0f && ddGetDesc(lo) == nullptr);
  EXPECT_EQ(ddGetMaxVal(ddNameToCode("hi")), FLT_MAX); /* the largest float stays finite */
  EXPECT_TRUE(ddGetDefVal(def) == 7.0f && ddGetDefVal(txt) == 0.0f);
  /* KEY keeps its low 2 bits; the XCODE waits for a later ddSetCode. */
  EXPECT_EQ(V({ddGetKey(def), ddGetVersion(def), ddGetArrayCount(def), ddIsDisplay(def), ddGetExtendCode(def),
               ddIsDefSet(txt), ddGetLength(txt), ddGetLength(ddNameToCode("flag3"))}),
            V({2, 44, 4, 0, 0, 1, 8, -3}));
  EXPECT_STREQ(ddGetSchema(def)->xcodeName, "Target");
  int rec = ddNameToCode("rec");
  EXPECT_EQ(std::string(ddGetPrefix(rec)) + "|" + ddGetDesc(rec), "px|message");
}

TEST(Import, ExampleSchemaImportsCleanly) {
  int site = -1;
  ASSERT_EQ(importFile(RKDD_EXAMPLES_DIR "/scene.schema", &site), 1) << out;
  int light = ddNameToCode("LpLight"), strobe = ddNameToCode("LpStrobe");
  EXPECT_EQ(V({ddGetLength(light), ddGetAliasNth(light, 0), ddExportSchema(site)}),
            V({ddGetLength(strobe), strobe, 0}));
  CaptureStdout();
  ddExportHeader(site);
  ddExportDocumentation(-1);
  EXPECT_EQ(GetCapturedStdout(), "Not implemented.\n");
}
