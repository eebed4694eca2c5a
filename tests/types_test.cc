/*
** Tag type keywords and default lengths, and format level keywords.
*/
#include "import/ddutil.h"
#include "store_fixture.h"

using namespace testing::internal; /* CaptureStdout */

TEST(TagTypes, BothKeywordFormsNameTheSameNumber) {
  const struct { const char *name; int type; } cases[] = {
      {"rktype_null", MTYPE_NULL}, {"MTYPE_USHORT", MTYPE_USHORT}, {"rktype_usval", MTYPE_USHORT},
      {"rktype_text", MTYPE_TEXT}, {"MTYPE_XFORM", 16},            {"rktype_xfm", 16},
      {"rktype_xform", -1},        {"MTYPE_Flag", -1},             {"rktype_Ival", -1},
      {"MTYPE_INT ", -1},          {"", -1},                       {nullptr, -1}};
  for (const auto &c : cases) EXPECT_EQ(ddTypeFromName(c.name), c.type) << (c.name ? c.name : "null");
}

/* Record kinds and unknown types have no length, and say so. */
TEST(TagTypes, DefaultLengthsAndTheWarningForRecordKinds) {
  const int cases[][2] = {{MTYPE_CHAR, 1}, {MTYPE_SHORT, 2}, {MTYPE_DOUBLE, 8}, {MTYPE_FLAG, 1},
                          {MTYPE_ENUM, 4}, {MTYPE_TEXT, -1}, {MTYPE_DATA, 4},   {MTYPE_NULL, 0},
                          {MTYPE_REC, 0},  {MTYPE_XFORM, 0}, {-1, 0},           {17, 0}};
  CaptureStdout();
  for (const auto &[type, size] : cases) EXPECT_EQ(ddTypeSize(type), size) << type;
  EXPECT_EQ(GetCapturedStdout(), "WARNING: elemtype 14 not supported!\n"
                                 "WARNING: elemtype 16 not supported!\n"
                                 "WARNING: elemtype -1 not supported!\n"
                                 "WARNING: elemtype 17 not supported!\n");
}

TEST(FormatLevels, KeywordsDigitsAndTheUnknownLevel) {
  const struct { const char *name; int level; } cases[] = {
      {"IFACELVL", 3}, {"IDEFAULT", 0}, {"IXREF", 37}, {"ILPSYSTEM", 25}, {"3", 3},        {"007", 7},
      {"3D", 3},       {"IUNKNOWN", 225}, {"-1", 225}, {"", 225},         {"level", 225}, {"ifacelvl", 225}};
  CaptureStdout();
  for (const auto &c : cases) EXPECT_EQ(ddLevelFromName(c.name), c.level) << c.name;
  EXPECT_EQ(GetCapturedStdout(), "ERROR: Invalid IFMT Level: \"-1\"\n"
                                 "ERROR: Invalid IFMT Level: \"\"\n"
                                 "ERROR: Invalid IFMT Level: \"level\"\n"
                                 "ERROR: Invalid IFMT Level: \"ifacelvl\"\n");
}
