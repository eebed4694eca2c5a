/*
** The binary layout that libraries with compiled schemas share with the
** store: every field of the shared structures at its fixed offset.
*/
#include <gtest/gtest.h>

#include <cstddef>

#include "rkdd/rkdd.h"

TEST(Abi, SharedStructuresHaveTheirFixedLayout) {
  EXPECT_EQ(sizeof(ddField), 12u);
  EXPECT_EQ(offsetof(ddField, bits), 4u);
  EXPECT_EQ(offsetof(ddField, offset), 8u);

  EXPECT_EQ(sizeof(ddSchema), 112u);
  EXPECT_EQ(offsetof(ddSchema, flags), 8u);
  EXPECT_EQ(offsetof(ddSchema, siteId), 16u);
  EXPECT_EQ(offsetof(ddSchema, version), 24u);
  EXPECT_EQ(offsetof(ddSchema, extendCode), 28u);
  EXPECT_EQ(offsetof(ddSchema, xcodeName), 32u);
  EXPECT_EQ(offsetof(ddSchema, length), 44u);
  EXPECT_EQ(offsetof(ddSchema, name), 48u);
  EXPECT_EQ(offsetof(ddSchema, desc), 64u);
  EXPECT_EQ(offsetof(ddSchema, pathList), 88u);
  EXPECT_EQ(offsetof(ddSchema, reservedBlock), 104u);

  EXPECT_EQ(offsetof(ddRSchema, ilevel), 112u);
  EXPECT_EQ(offsetof(ddRSchema, fieldCount), 118u);
  EXPECT_EQ(offsetof(ddRSchema, aliasNameCount), 121u);
  EXPECT_EQ(offsetof(ddRSchema, fields), 128u);
  EXPECT_EQ(offsetof(ddRSchema, extFields), 160u);
  EXPECT_EQ(offsetof(ddRSchema, maxId), 176u);
  EXPECT_EQ(offsetof(ddRSchema, links), 184u);
  EXPECT_EQ(sizeof(ddRSchema), 192u);

  EXPECT_EQ(offsetof(ddDSchema, minVal), 112u);
  EXPECT_EQ(offsetof(ddDSchema, defString), 128u);
  EXPECT_EQ(offsetof(ddDSchema, valueFlags), 136u);
  EXPECT_EQ(offsetof(ddDSchema, reservedBlock), 144u);
  EXPECT_EQ(sizeof(ddDSchema), 152u);

  EXPECT_EQ(offsetof(ddLinks, aliasCount), 2u);
  EXPECT_EQ(offsetof(ddLinks, parents), 8u);
  EXPECT_EQ(offsetof(ddLinks, subRev), 32u);

  EXPECT_EQ(offsetof(ddSite, desc), 12u);
  EXPECT_EQ(offsetof(ddSite, recordTable), 120u);
  EXPECT_EQ(offsetof(ddSite, recordMap), 144u);
  EXPECT_EQ(offsetof(ddSite, dataTable), 152u);
  EXPECT_EQ(offsetof(ddSite, dataMap), 176u);
  EXPECT_EQ(offsetof(ddSite, siteNo), 184u);
  EXPECT_EQ(offsetof(ddSite, codeOffset), 192u);
  EXPECT_EQ(sizeof(ddSite), 200u);
}
