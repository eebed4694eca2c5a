/*
** Tag type keywords and default lengths, and format level keywords.
*/
#include <gtest/gtest.h>

#include "import/ddutil.h"
#include "store/ddstore.h"
#include "rkdd/rkdd.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST(TagTypes, BothKeywordFormsNameTheSameNumber) {
  EXPECT_EQ(ddTypeFromName("rktype_null"), MTYPE_NULL);
  EXPECT_EQ(ddTypeFromName("MTYPE_USHORT"), MTYPE_USHORT);
  EXPECT_EQ(ddTypeFromName("rktype_usval"), MTYPE_USHORT);
  EXPECT_EQ(ddTypeFromName("rktype_text"), MTYPE_TEXT);
  EXPECT_EQ(ddTypeFromName("MTYPE_XFORM"), 16);
  EXPECT_EQ(ddTypeFromName("rktype_xfm"), 16);
  EXPECT_EQ(ddTypeFromName("rktype_xform"), -1);
  EXPECT_EQ(ddTypeFromName("MTYPE_Flag"), -1);
  EXPECT_EQ(ddTypeFromName("rktype_Ival"), -1);
  EXPECT_EQ(ddTypeFromName("MTYPE_INT "), -1);
  EXPECT_EQ(ddTypeFromName(""), -1);
  EXPECT_EQ(ddTypeFromName(nullptr), -1);
}

TEST(TagTypes, DefaultLengthsAndTheWarningForRecordKinds) {
  CaptureStdout();
  EXPECT_EQ(ddTypeSize(MTYPE_CHAR), 1);
  EXPECT_EQ(ddTypeSize(MTYPE_SHORT), 2);
  EXPECT_EQ(ddTypeSize(MTYPE_DOUBLE), 8);
  EXPECT_EQ(ddTypeSize(MTYPE_FLAG), 1);
  EXPECT_EQ(ddTypeSize(MTYPE_ENUM), 4);
  EXPECT_EQ(ddTypeSize(MTYPE_TEXT), -1);
  EXPECT_EQ(ddTypeSize(MTYPE_DATA), 4);
  EXPECT_EQ(ddTypeSize(MTYPE_NULL), 0);
  EXPECT_EQ(GetCapturedStdout(), "");
  CaptureStdout();
  EXPECT_EQ(ddTypeSize(MTYPE_REC), 0);
  EXPECT_EQ(ddTypeSize(MTYPE_XFORM), 0);
  EXPECT_EQ(ddTypeSize(-1), 0);
  EXPECT_EQ(ddTypeSize(17), 0);
  EXPECT_EQ(GetCapturedStdout(), "WARNING: elemtype 14 not supported!\n"
                                 "WARNING: elemtype 16 not supported!\n"
                                 "WARNING: elemtype -1 not supported!\n"
                                 "WARNING: elemtype 17 not supported!\n");
}

TEST(FormatLevels, KeywordsDigitsAndTheUnknownLevel) {
  CaptureStdout();
  EXPECT_EQ(ddLevelFromName("IFACELVL"), 3);
  EXPECT_EQ(ddLevelFromName("IDEFAULT"), 0);
  EXPECT_EQ(ddLevelFromName("IXREF"), 37);
  EXPECT_EQ(ddLevelFromName("ILPSYSTEM"), 25);
  EXPECT_EQ(ddLevelFromName("3"), 3);
  EXPECT_EQ(ddLevelFromName("007"), 7);
  EXPECT_EQ(ddLevelFromName("3D"), 3);
  EXPECT_EQ(ddLevelFromName("IUNKNOWN"), 225);
  EXPECT_EQ(GetCapturedStdout(), "");
  CaptureStdout();
  EXPECT_EQ(ddLevelFromName("-1"), 225);
  EXPECT_EQ(ddLevelFromName(""), 225);
  EXPECT_EQ(ddLevelFromName("level"), 225);
  EXPECT_EQ(ddLevelFromName("ifacelvl"), 225);
  EXPECT_EQ(GetCapturedStdout(), "ERROR: Invalid IFMT Level: \"-1\"\n"
                                 "ERROR: Invalid IFMT Level: \"\"\n"
                                 "ERROR: Invalid IFMT Level: \"level\"\n"
                                 "ERROR: Invalid IFMT Level: \"ifacelvl\"\n");
}
