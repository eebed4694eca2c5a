/*
** The definition buffer: name spaces, order by name and by number, numbering
** and its refusals.
*/
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "import/ddbuffer.h"
#include "support/mlist.h"

namespace {

/* The names of a set's entries in set order. */
std::vector<std::string> names(intptr_t set) {
  std::vector<std::string> out;
  for (mlistNode *n = mlistHead(reinterpret_cast<mlist *>(set)); n; n = n->next)
    out.push_back(reinterpret_cast<ddBufKey *>(n->value)->name);
  return out;
}

using Names = std::vector<std::string>;

} // namespace

TEST(Buffer, NameSpaces) {
  static ddBuffer b; /* a buffer's blocks are kept for good: static keeps them reachable */
  ddBufferInit(&b);
  EXPECT_NE(ddBufferAddName(&b, DDBUF_RECORD, "a"), nullptr);
  EXPECT_EQ(ddBufferAddName(&b, DDBUF_DATA, "a"), nullptr);
  EXPECT_NE(ddBufferAddName(&b, DDBUF_DATA, "b"), nullptr);
  EXPECT_EQ(ddBufferAddName(&b, DDBUF_RECORD, "b"), nullptr);
  for (int kind = DDBUF_STRUCT; kind <= DDBUF_DEFINE; kind++) {
    EXPECT_NE(ddBufferAddName(&b, kind, "a"), nullptr) << kind;
    EXPECT_EQ(ddBufferAddName(&b, kind, "a"), nullptr) << kind;
  }
  EXPECT_EQ(names(b.recordByName), Names{"a"});
  EXPECT_EQ(names(b.defines), Names{"a"});
  EXPECT_EQ(b.dataByNumber, 0); /* adding a name numbers nothing */

  testing::internal::CaptureStdout();
  EXPECT_EQ(ddBufferAddName(&b, 8, "x"), nullptr);
  EXPECT_EQ(ddBufferAddName(&b, -1, "x"), nullptr);
  EXPECT_EQ(ddBufferAddItem(&b, 6, &b.structs, "x", 0), nullptr);
  EXPECT_EQ(ddBufferAddItem(&b, 1, &b.structs, "x", 0), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ERROR: Internal error.\nERROR: Internal error.\nERROR: Internal error.\nERROR: "
            "Internal error.\n");
}

TEST(Buffer, OrderAndNumbering) {
  static ddBuffer b; /* kept reachable, as above */
  ddBufferInit(&b);
  int n = 0;
  for (const char *name : {"b", "a", "c", "abc", "Abc"}) {
    ASSERT_NE(ddBufferAddName(&b, DDBUF_DATA, name), nullptr);
    EXPECT_NE(ddBufferNumber(&b, DDBUF_DATA, name, n++), nullptr);
  }
  EXPECT_EQ(names(b.dataByName), (Names{"Abc", "a", "abc", "b", "c"}));
  EXPECT_EQ(names(b.dataByNumber), (Names{"b", "a", "c", "abc", "Abc"}));
  EXPECT_EQ(static_cast<ddBufData *>(ddBufferFindName("a", b.dataByName))->number, 1);
  EXPECT_STREQ(static_cast<ddBufData *>(ddBufferFindNumber(2, b.dataByNumber))->name, "c");
  EXPECT_EQ(ddBufferFindNumber(5, b.dataByNumber), nullptr);

  /* Refusals: another kind, an unknown name, a number taken. */
  ddBufferAddName(&b, DDBUF_RECORD, "r");
  EXPECT_EQ(ddBufferNumber(&b, DDBUF_STRUCT, "r", 0), nullptr);
  EXPECT_EQ(ddBufferNumber(&b, DDBUF_RECORD, "zz", 0), nullptr);
  EXPECT_EQ(ddBufferNumber(&b, DDBUF_DATA, "r", 0), nullptr);
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddBufferNumber(&b, DDBUF_DATA, "c", 0), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number (0) already used.\n");
  EXPECT_EQ(static_cast<ddBufData *>(ddBufferFindName("c", b.dataByName))->number, 0);
  EXPECT_EQ(names(b.dataByNumber).size(), 5u);

  /* Finding in an absent set creates nothing. */
  EXPECT_EQ(ddBufferFindName("a", b.structs), nullptr);
  EXPECT_EQ(ddBufferFindNumber(0, b.recordByNumber), nullptr);
  EXPECT_EQ(b.structs, 0);
  EXPECT_EQ(b.recordByNumber, 0);

  /* Numbers far apart compare by sign, without overflow. */
  ddBufKey keys[] = {{nullptr, INT_MIN}, {nullptr, INT_MAX}, {nullptr, 7}, {nullptr, 3}};
  auto w = [&](int i) { return reinterpret_cast<intptr_t>(&keys[i]); };
  EXPECT_LT(ddBufferCompareNumber(w(0), w(1)), 0);
  EXPECT_GT(ddBufferCompareNumber(w(1), w(0)), 0);
  EXPECT_EQ(ddBufferCompareNumber(w(2), w(3)), 4);
}
