/*
** The binary layout that libraries with compiled schemas share with the
** store: every field of the shared structures at its fixed offset.
*/
#include <gtest/gtest.h>

#include <cstddef>

#include "rkdd/rkdd.h"

#define AT(type, field, at) {offsetof(type, field), at, #type "." #field}
#define SIZE(type, size) {sizeof(type), size, "sizeof " #type}

TEST(Abi, SharedStructuresHaveTheirFixedLayout) {
  const struct { size_t got, want; const char *what; } layout[] = {
      SIZE(ddField, 12), AT(ddField, bits, 4), AT(ddField, offset, 8),
      SIZE(ddSchema, 112), AT(ddSchema, flags, 8), AT(ddSchema, siteId, 16), AT(ddSchema, version, 24),
      AT(ddSchema, extendCode, 28), AT(ddSchema, xcodeName, 32), AT(ddSchema, length, 44),
      AT(ddSchema, name, 48), AT(ddSchema, desc, 64), AT(ddSchema, pathList, 88),
      AT(ddSchema, reservedBlock, 104),
      SIZE(ddRSchema, 192), AT(ddRSchema, ilevel, 112), AT(ddRSchema, fieldCount, 118),
      AT(ddRSchema, aliasNameCount, 121), AT(ddRSchema, fields, 128), AT(ddRSchema, extFields, 160),
      AT(ddRSchema, maxId, 176), AT(ddRSchema, links, 184),
      SIZE(ddDSchema, 152), AT(ddDSchema, minVal, 112), AT(ddDSchema, defString, 128),
      AT(ddDSchema, valueFlags, 136), AT(ddDSchema, reservedBlock, 144),
      AT(ddLinks, aliasCount, 2), AT(ddLinks, parents, 8), AT(ddLinks, subRev, 32),
      SIZE(ddSite, 200), AT(ddSite, desc, 12), AT(ddSite, recordTable, 120), AT(ddSite, recordMap, 144),
      AT(ddSite, dataTable, 152), AT(ddSite, dataMap, 176), AT(ddSite, siteNo, 184),
      AT(ddSite, codeOffset, 192)};
  for (const auto &l : layout) EXPECT_EQ(l.got, l.want) << l.what;
}
