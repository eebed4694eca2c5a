/*
** Schema import end to end: a file becomes a site that answers like one
** defined call by call, with codes in file order, forward references,
** packed layouts, links, descriptions and the exact diagnostics.
*/
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

#include "import/ddbuffer.h"
#include "import/ddmod.h"
#include "rkdd/rkdd.h"
#include "rkruntime.h"
#include "store/ddstore.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

/* One file per process: ctest runs the cases side by side. */
std::string writeSchema(const std::string &name, const std::string &text) {
  std::string path = testing::TempDir() + "rkdd_import_" + std::to_string(getpid()) + "_" + name;
  std::ofstream(path) << text;
  return path;
}

/* Imports text; gives the result and leaves the site and the output. */
int import(const std::string &text, int *site, std::string *out, const std::string &name = "s") {
  std::string path = writeSchema(name, text);
  CaptureStdout();
  int result = ddImportSchema(path.c_str(), site);
  *out = GetCapturedStdout();
  return result;
}

int kindOf(const ddField &f) {
  return static_cast<int32_t>(f.bits << 16) >> 22;
}

const char kWorkedExample[] =
    "// Two data items, a structure and a record.\n"
    "dataDef AreaName { rktype_text, LEN=32, LABEL=\"Area name\" };\n"
    "dataDef AreaDepth\n"
    "{\n"
    "    rktype_fval,          /* the type comes first */\n"
    "    MIN=0, MAX = 100.5,\n"
    "    NOEDIT\n"
    "}\n"
    "\n"
    "struct AreaBody\n"
    "{\n"
    "    AreaName;\n"
    "    AreaDepth, PTR;\n"
    "};\n"
    "\n"
    "recordDef Area { rktype_rec, AreaBody, LEV=IFACELVL, PARENT=AreaUsers, KEY=1 };\n"
    "\n"
    "parent AreaUsers { Area; };\n"
    "\n"
    "describe Area { One area\n"
    "of the model. }\n"
    "define AreaLimit 16\n";

} // namespace

TEST(Import, WorkedExampleBuildsEveryDefinition) {
  int site = -1;
  std::string out;
  ASSERT_EQ(import(kWorkedExample, &site, &out), 1);
  EXPECT_EQ(out, "WARNING: elemtype 14 not supported!\n");
  EXPECT_EQ(site, 0);
  EXPECT_EQ(ddIsTempSite(site), 0);

  int name = ddNameToCode("AreaName"), depth = ddNameToCode("AreaDepth"), area = ddNameToCode("Area");
  EXPECT_EQ(name, 2048);
  EXPECT_EQ(depth, 2049);
  EXPECT_EQ(area, 256);

  EXPECT_EQ(ddGetTagType(name), MTYPE_TEXT);
  EXPECT_EQ(ddGetLength(name), 32); /* the file's LEN, in bytes */
  EXPECT_STREQ(ddGetLabel(name), "\"Area name\"");
  EXPECT_EQ(ddLabelToCode("\"Area name\""), name);
  EXPECT_EQ(ddIsDisplay(name) + ddIsEdit(name) + ddIsSearch(name), 3);

  EXPECT_EQ(ddGetTagType(depth), MTYPE_FLOAT);
  EXPECT_EQ(ddGetLength(depth), 4);
  EXPECT_EQ(ddIsEdit(depth), 0);
  EXPECT_EQ(ddIsRangeSet(depth), 1);
  EXPECT_EQ(ddGetMinVal(depth), 0.0f);
  EXPECT_EQ(ddGetMaxVal(depth), 100.5f);
  EXPECT_EQ(ddIsDefSet(depth), 0);

  EXPECT_EQ(ddGetTagType(area), MTYPE_REC);
  EXPECT_EQ(ddGetKey(area), 1);
  EXPECT_EQ(ddGetIlevel(area), 3);
  EXPECT_EQ(ddGetArrayCount(area), 1);
  EXPECT_STREQ(ddGetDesc(area), "One area\nof the model. ");
  ASSERT_EQ(ddGetFieldCount(area), 2);
  ddField *f = ddGetField(area);
  EXPECT_EQ(f[0].code, name);
  EXPECT_EQ(kindOf(f[0]), DD_KIND_DC);
  EXPECT_EQ(f[1].code, depth);
  EXPECT_EQ(kindOf(f[1]), DD_KIND_POINTER);
  int offset = -1, bit = -1, kind = -1;
  ASSERT_EQ(ddGetFieldOffset(area, depth, &offset, &bit, &kind), 1);
  EXPECT_EQ(offset, 32);
  EXPECT_EQ(bit, 0);
  EXPECT_EQ(kind, DD_KIND_POINTER);
  EXPECT_EQ(ddGetLength(area), 36);
  ASSERT_EQ(ddGetParentCount(area), 1);
  EXPECT_EQ(ddGetParentNth(area, 0), area);
  EXPECT_EQ(ddGetChildCount(area), 0);
}

TEST(Import, CodesFollowFileOrderAndForwardReferencesResolve) {
  int site = -1;
  std::string out;
  ASSERT_EQ(import("dataDef zeta { rktype_ival };\n"
                   "dataDef alpha { rktype_sval };\n"
                   "recordDef first { rktype_rec, S, PARENT=P };\n"
                   "struct S { alpha; zeta; later; nothing; };\n"
                   "recordDef later { rktype_rec, T };\n"
                   "struct T { zeta, BIT=70; };\n"
                   "parent P { later; first; };\n",
                   &site, &out),
            1);
  int zeta = ddNameToCode("zeta"), alpha = ddNameToCode("alpha");
  int first = ddNameToCode("first"), later = ddNameToCode("later");
  EXPECT_EQ(zeta, 2048);
  EXPECT_EQ(alpha, 2049);
  EXPECT_EQ(later, first + 1);
  ddField *f = ddGetField(first);
  ASSERT_EQ(ddGetFieldCount(first), 4);
  EXPECT_EQ(f[0].code, alpha);
  EXPECT_EQ(f[1].code, zeta);
  EXPECT_EQ(f[2].code, later);
  EXPECT_EQ(kindOf(f[2]), DD_KIND_STRUCTURE);
  EXPECT_EQ(f[3].code, 0); /* names nothing: code 0, and no error */
  EXPECT_EQ(kindOf(f[3]), DD_KIND_STRUCTURE);
  EXPECT_EQ(ddGetFieldOffset(later, zeta, nullptr, &f[0].offset, nullptr), 1);
  EXPECT_EQ(f[0].offset, 70 & 63); /* the bit position keeps its low 6 bits */
  /* The nested record was laid out on demand: 2 + 4 + 4. */
  EXPECT_EQ(ddGetLength(first), 10);
  EXPECT_EQ(ddGetParentNth(first, 0), later);
  EXPECT_EQ(ddGetParentNth(first, 1), first);
}

TEST(Import, TwoImportsGiveTwoSitesAndTheTenthSiteIsTheLast) {
  const char *text = "recordDef R { rktype_rec, rkNULL };\ndataDef D { rktype_ival };\n";
  int a = -1, b = -1;
  std::string out;
  ASSERT_EQ(import(text, &a, &out), 1);
  ASSERT_EQ(import(text, &b, &out), 1);
  EXPECT_EQ(b, a + 1);
  EXPECT_EQ(ddSiteGetNthRcode(b, 0) - ddSiteGetNthRcode(a, 0), 4096);
  EXPECT_EQ(ddNameToCode("R"), ddSiteGetNthRcode(a, 0)); /* the lower site wins */
  std::string path = writeSchema("s", text);
  EXPECT_STREQ(ddSiteNo2SiteInfo(a)->desc, path.c_str());

  int n;
  while (ddSiteCount() < 10) ASSERT_NE(ddNewSite(nullptr, "filler", &n), nullptr);
  int untouched = 99;
  ASSERT_EQ(import(text, &untouched, &out), 0);
  EXPECT_EQ(out, "");
  EXPECT_EQ(untouched, 99);
}

TEST(Import, EmptyFilesAndFailedReads) {
  int site = -1;
  std::string out;
  ASSERT_EQ(import("// nothing but a comment\n/* and another */\n", &site, &out), 1);
  EXPECT_EQ(ddSiteNo2SiteInfo(site)->recordCount, 0);
  EXPECT_EQ(ddSiteNo2SiteInfo(site)->dataCount, 0);

  int before = ddSiteCount();
  int untouched = 42;
  EXPECT_EQ(import("dataDef A { rktype_ival };\nbogus B\n", &untouched, &out), 0);
  EXPECT_EQ(untouched, 42);
  EXPECT_EQ(ddSiteCount(), before); /* a failed read makes no site */
  CaptureStdout();
  EXPECT_EQ(ddImportSchema("/nonexistent/dir/file.schema", &untouched), 0);
  GetCapturedStdout();
  EXPECT_EQ(ddSiteCount(), before);
}

TEST(Import, OpenPointsAreReportedAndNotCounted) {
  int site = -1;
  std::string out;
  /* A missing structure or list is the file's fault: reported, not counted. */
  ASSERT_EQ(import("recordDef R { rktype_rec, NoSuchStruct, PARENT=NoList, CHILD=Empty };\n"
                   "child Empty { };\n"
                   "struct Hollow { pad, PAD=2; };\n"
                   "recordDef H { rktype_rec, Hollow };\n",
                   &site, &out),
            1);
  EXPECT_EQ(out, "WARNING: elemtype 14 not supported!\n"
                 "ERROR: Structure \"NoSuchStruct\" of \"R\" not defined.\n"
                 "ERROR: Parent list \"NoList\" of \"R\" not defined.\n"
                 "WARNING: elemtype 14 not supported!\n");
  int r = ddNameToCode("R"), h = ddNameToCode("H");
  EXPECT_EQ(ddGetFieldCount(r), 0);
  EXPECT_EQ(ddGetChildCount(r), 0); /* an empty list gives no table, and no refusal */
  EXPECT_EQ(ddGetFieldCount(h), 0);  /* a structure with no counted member likewise */
  EXPECT_EQ(ddGetLength(h), 0);
}

TEST(Import, StoreRefusalsAreCountedAndTheSiteStands) {
  int site = -1;
  std::string out;
  /* A record's own structure refers to a data item of an earlier site by
  ** code 0, which is fine; a refusal comes from a failing setter. Here the
  ** code space runs out: 2049 data items in one site. */
  std::string text;
  for (int i = 0; i < 2049; i++) text += "dataDef d" + std::to_string(i) + " { rktype_cval };\n";
  ASSERT_EQ(import(text, &site, &out), 0);
  EXPECT_EQ(out, "1 errors during parsing\n");
  EXPECT_EQ(ddNameToCode("d2047"), 4095);
  EXPECT_EQ(ddNameToCode("d2048"), 0);
  EXPECT_EQ(ddCacheFixups(0), 0); /* the caller's caching value is back */
}

TEST(Import, DataOptionsReachTheDefinition) {
  int site = -1;
  std::string out;
  ASSERT_EQ(import("dataDef lo { rktype_fval, MIN=-2.5 };\n"
                   "dataDef def { rktype_ival, DEF=7, KEY=6, VER=300, ACNT=4, NODISP, XCODE=Target };\n"
                   "dataDef txt { rktype_text, LEN=8, DEF=hello };\n"
                   "dataDef flag3 { rktype_flag, LEN=3 };\n"
                   "recordDef rec { rktype_rec, rkNULL, PREFIX=px, MSG=message };\n"
                   "describe lo { ignored for data }\n",
                   &site, &out),
            1);
  EXPECT_EQ(out, "Warning: Range only partially determined.\n"
                 "WARNING: elemtype 14 not supported!\n");
  int lo = ddNameToCode("lo"), def = ddNameToCode("def"), txt = ddNameToCode("txt");
  EXPECT_EQ(ddGetMinVal(lo), -2.5f);
  EXPECT_EQ(ddGetMaxVal(lo), 0.0f);
  EXPECT_EQ(ddGetDesc(lo), nullptr);
  EXPECT_EQ(ddGetDefVal(def), 7.0f);
  EXPECT_EQ(ddGetKey(def), 2); /* low 2 bits */
  EXPECT_EQ(ddGetVersion(def), 44);
  EXPECT_EQ(ddGetArrayCount(def), 4);
  EXPECT_EQ(ddIsDisplay(def), 0);
  EXPECT_STREQ(ddGetSchema(def)->xcodeName, "Target");
  EXPECT_EQ(ddGetExtendCode(def), 0); /* attached only by a later ddSetCode */
  EXPECT_EQ(ddIsDefSet(txt), 1);
  EXPECT_EQ(ddGetDefVal(txt), 0.0f);
  EXPECT_EQ(ddGetLength(txt), 8);
  EXPECT_EQ(ddGetLength(ddNameToCode("flag3")), -3);
  int rec = ddNameToCode("rec");
  EXPECT_STREQ(ddGetPrefix(rec), "px");
  EXPECT_STREQ(ddGetDesc(rec), "message");
}

TEST(Import, ExampleSchemaImportsCleanly) {
  int site = -1;
  CaptureStdout();
  int result = ddImportSchema(RKDD_EXAMPLES_DIR "/scene.schema", &site);
  std::string out = GetCapturedStdout();
  ASSERT_EQ(result, 1) << out;
  int light = ddNameToCode("LpLight");
  ASSERT_NE(light, 0);
  EXPECT_EQ(ddGetLength(light), ddGetLength(ddNameToCode("LpStrobe")));
  EXPECT_GT(ddGetLength(light), 0);
  EXPECT_EQ(ddGetAliasNth(light, 0), ddNameToCode("LpStrobe"));
  EXPECT_EQ(ddExportSchema(site), 0);
  CaptureStdout();
  ddExportHeader(site);
  ddExportDocumentation(-1);
  EXPECT_EQ(GetCapturedStdout(), "Not implemented.\n");
}

TEST(Import, AnXcodeTakesEffectAtTheNextCompiledSite) {
  int core = -1;
  ddNewSite("core", "core", &core);
  int target = ddNewRecordDef(core);
  ddSetName(target, "Target");
  int site = -1;
  std::string out;
  ASSERT_EQ(import("recordDef Ext { MTYPE_INT, rkNULL, XCODE=Target };\n", &site, &out), 1);
  int ext = ddNameToCode("Ext");
  EXPECT_EQ(ddGetExtendCode(ext), 0);
  EXPECT_EQ(ddGetExtFieldCount(target), 0);

  static int32_t noCodes[1];
  int later = -1;
  ddSite *compiled = ddNewSite("lib", "compiled", &later);
  compiled->recordMap = noCodes;
  compiled->dataMap = noCodes;
  ddSetCode(compiled);
  EXPECT_EQ(ddGetExtendCode(ext), target);
  EXPECT_EQ(ddGetExtFieldNth(target, 0), ext);
  EXPECT_EQ(ddHasExtension(target), ext);
}
