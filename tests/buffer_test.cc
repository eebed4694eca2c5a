/* The definition buffer: name spaces, order by name and number, numbering. */
#include <algorithm>
#include <climits>
#include <tuple>

#include "import/ddbuffer.h"
#include "store_fixture.h"
#include "support/mlist.h"

using Names = std::vector<std::string>;

static Names names(intptr_t set) {
  Names out;
  for (mlistNode *n = mlistHead(reinterpret_cast<mlist *>(set)); n; n = n->next)
    out.push_back(reinterpret_cast<ddBufKey *>(n->value)->name);
  return out;
}

TEST(Buffer, NameSpacesOrderAndNumbering) {
  static ddBuffer b; /* a buffer's blocks are kept for good: static keeps them reachable */
  ddBufferInit(&b);
  /* Records and data share one name space; every other kind has its own. */
  EXPECT_TRUE(ddBufferAddName(&b, DDBUF_RECORD, "r") && !ddBufferAddName(&b, DDBUF_DATA, "r"));
  for (int kind = DDBUF_STRUCT; kind <= DDBUF_DEFINE; kind++)
    EXPECT_NE(ddBufferAddName(&b, kind, "r"), nullptr) << kind;
  EXPECT_EQ(ddBufferAddName(&b, DDBUF_DEFINE, "r"), nullptr);
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddBufferAddName(&b, 8, "x"), nullptr);
  EXPECT_EQ(ddBufferAddName(&b, -1, "x"), nullptr);
  EXPECT_EQ(ddBufferAddItem(&b, 6, &b.structs, "x", 0), nullptr);
  EXPECT_EQ(ddBufferAddItem(&b, 1, &b.structs, "x", 0), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ERROR: Internal error.\nERROR: Internal error.\nERROR: Internal error.\n"
            "ERROR: Internal error.\n");
  int n = 0;
  for (const char *name : {"b", "a", "c", "abc", "Abc"}) {
    ASSERT_NE(ddBufferAddName(&b, DDBUF_DATA, name), nullptr);
    EXPECT_NE(ddBufferNumber(&b, DDBUF_DATA, name, n++), nullptr);
  }
  EXPECT_EQ(names(b.dataByName), (Names{"Abc", "a", "abc", "b", "c"}));
  EXPECT_EQ(names(b.dataByNumber), (Names{"b", "a", "c", "abc", "Abc"}));
  EXPECT_STREQ(static_cast<ddBufData *>(ddBufferFindNumber(2, b.dataByNumber))->name, "c");
  EXPECT_EQ(ddBufferFindNumber(5, b.dataByNumber), nullptr);
  /* Refusals: another kind, an unknown name, a number taken. */
  EXPECT_FALSE(ddBufferNumber(&b, DDBUF_STRUCT, "r", 0) || ddBufferNumber(&b, DDBUF_DATA, "r", 0) ||
               ddBufferNumber(&b, DDBUF_RECORD, "z", 0));
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddBufferNumber(&b, DDBUF_DATA, "c", 0), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number (0) already used.\n");
  EXPECT_EQ(static_cast<ddBufData *>(ddBufferFindName("c", b.dataByName))->number, 0);
  EXPECT_EQ(names(b.dataByNumber).size(), 5u);
  EXPECT_EQ(ddBufferFindNumber(0, b.recordByNumber), nullptr); /* creates no set */
  EXPECT_EQ(b.recordByNumber, 0);
  /* Numbers far apart compare by sign, without overflow. */
  ddBufKey keys[] = {{nullptr, INT_MIN}, {nullptr, INT_MAX}, {nullptr, 7}, {nullptr, 3}};
  auto w = [&](int i) { return reinterpret_cast<intptr_t>(&keys[i]); };
  EXPECT_TRUE(ddBufferCompareNumber(w(0), w(1)) < 0 && ddBufferCompareNumber(w(1), w(0)) > 0);
  EXPECT_EQ(ddBufferCompareNumber(w(2), w(3)), 4);
}

TEST(Buffer, SetsStaySortedWhateverTheOrderOfArrival) {
  static ddBuffer b; /* a buffer's blocks are kept for good: static keeps them reachable */
  ddBufferInit(&b);
  /* Byte order as strcmp gives it: unsigned bytes, a name before its longer
  ** forms, and names that agree in their first eight bytes. */
  for (const char *n : {"m", "c", "abcdefghz", "x", "\xC3x", "abcdefgh", "a", "q", "abcdefghij", "b"})
    ddBufferAddName(&b, DDBUF_DEFINE, n);
  EXPECT_EQ(names(b.defines), (Names{"a", "abcdefgh", "abcdefghij", "abcdefghz", "b", "c", "m", "q",
                                     "x", "\xC3x"}));
  EXPECT_STREQ(static_cast<ddBufKey *>(ddBufferFindName("q", b.defines))->name, "q");
  /* Hundreds of names in a scrambled order, many alike in their first eight
  ** bytes: the set still reads in strcmp order. */
  Names many;
  for (int i = 0; i < 700; i++) {
    int k = (i * 337) % 700;
    many.push_back((k % 2 ? "structure" : "s") + std::to_string(k));
    ASSERT_NE(ddBufferAddName(&b, DDBUF_STRUCT, many.back().c_str()), nullptr);
  }
  std::sort(many.begin(), many.end());
  EXPECT_EQ(names(b.structs), many);

  /* Equal indices: the newest stands first and is the one found. */
  static intptr_t items = 0; /* kept reachable, like a buffer's sets */
  for (auto [name, index] : {std::pair{"i2", 2}, {"i0", 0}, {"j2", 2}, {"i1", 1}, {"k2", 2}})
    ddBufferAddItem(&b, DDBUF_PARENT, &items, name, index);
  EXPECT_EQ(names(items), (Names{"i0", "i1", "k2", "j2", "i2"}));
  EXPECT_STREQ(static_cast<ddBufKey *>(ddBufferFindNumber(2, items))->name, "k2");
  /* Two sets filled by turns, in order and out of it. */
  static intptr_t one = 0, two = 0;
  for (auto [root, name, index] : {std::tuple{&one, "a0", 0}, {&one, "a1", 1}, {&two, "b5", 5}, {&one, "a3", 3},
                                   {&two, "b6", 6}, {&two, "b4", 4}, {&one, "a2", 2}, {&two, "b7", 7}})
    ddBufferAddItem(&b, DDBUF_STRUCT, root, name, index);
  EXPECT_EQ(names(one), (Names{"a0", "a1", "a2", "a3"}));
  EXPECT_EQ(names(two), (Names{"b4", "b5", "b6", "b7"}));
  EXPECT_STREQ(static_cast<ddBufKey *>(ddBufferFindNumber(6, two))->name, "b6");

  /* A set begun without the buffer's help is searched and extended right,
  ** and so is one whose buffer was released. */
  static ddBufKey early = {const_cast<char *>("n"), 0};
  static intptr_t set = 0;
  msetInsert(reinterpret_cast<intptr_t>(&early), &set, ddBufferCompareName);
  b.describes = set;
  ddBufferAddName(&b, DDBUF_DESCRIBE, "z");
  ddBufferAddName(&b, DDBUF_DESCRIBE, "c");
  EXPECT_EQ(ddBufferAddName(&b, DDBUF_DESCRIBE, "n"), nullptr);
  EXPECT_EQ(names(b.describes), (Names{"c", "n", "z"}));
  ddBufferRelease(&b);
  EXPECT_STREQ(static_cast<ddBufKey *>(ddBufferFindName("m", b.defines))->name, "m");
  ddBufferAddName(&b, DDBUF_DEFINE, "n");
  EXPECT_EQ(names(b.defines), (Names{"a", "abcdefgh", "abcdefghij", "abcdefghz", "b", "c", "m", "n",
                                     "q", "x", "\xC3x"}));
}
