#include <gtest/gtest.h>

#include "rkdd/rkdd.h"

TEST(Smoke, FirstSiteIsCore) {
  int site = -1;
  ASSERT_NE(ddNewSite("core", nullptr, &site), nullptr);
  EXPECT_EQ(site, 0);
  EXPECT_EQ(ddNewRecordDef(site), 256);
}
