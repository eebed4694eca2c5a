/* The definition buffer: name spaces, order by name and number, numbering, discarding. */
#include <algorithm>
#include <climits>
#include <tuple>

#include "import/ddbuffer.h"
#include "rkruntime.h"
#include "store_fixture.h"

using Names = std::vector<std::string>;

template <typename Entry> static Names names(const ddBufSet<Entry> &set) {
  Names out;
  for (Entry *entry : set) out.push_back(entry->name);
  return out;
}

TEST(Buffer, NameSpacesOrderAndNumbering) {
  static ddBuffer b; /* a buffer's blocks are kept for good: static keeps them reachable */
  ddBufferInit(&b);
  /* Records and data share one name space; every other kind has its own. */
  EXPECT_TRUE(ddBufferAdd(&b, &b.recordByName, "r") && !ddBufferAdd(&b, &b.dataByName, "r"));
  auto addR = [&](auto... sets) { return (... && (ddBufferAdd(&b, sets, "r") != nullptr)); };
  EXPECT_TRUE(addR(&b.structs, &b.aliases, &b.parents, &b.children, &b.describes, &b.defines));
  EXPECT_EQ(ddBufferAdd(&b, &b.defines, "r"), nullptr);
  int n = 0;
  for (const char *name : {"b", "a", "c", "abc", "Abc"}) {
    ddBufData *d = ddBufferAdd(&b, &b.dataByName, name);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(ddBufferNumber(&b.dataByNumber, d, n++), d);
  }
  EXPECT_EQ(names(b.dataByName), (Names{"Abc", "a", "abc", "b", "c"}));
  EXPECT_EQ(names(b.dataByNumber), (Names{"b", "a", "c", "abc", "Abc"}));
  EXPECT_STREQ(ddBufferFindNumber(2, b.dataByNumber)->name, "c");
  EXPECT_EQ(ddBufferFindNumber(5, b.dataByNumber), nullptr);
  /* A number taken is refused, though written. */
  ddBufData *c = ddBufferFindName("c", b.dataByName);
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddBufferNumber(&b.dataByNumber, c, 0), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number (0) already used.\n");
  EXPECT_EQ(c->number, 0);
  EXPECT_EQ(names(b.dataByNumber).size(), 5u);
  EXPECT_EQ(ddBufferFindNumber(0, b.recordByNumber), nullptr); /* creates no set */
  EXPECT_EQ(b.recordByNumber.list, nullptr);
  /* Numbers far apart compare by sign, without overflow. */
  ddBufNumbered keys[] = {{{}, INT_MIN}, {{}, INT_MAX}, {{}, 7}, {{}, 3}};
  auto w = [&](int i) { return ddBufWord(&keys[i]); };
  EXPECT_TRUE(ddBufferCompareNumber(w(0), w(1)) < 0 && ddBufferCompareNumber(w(1), w(0)) > 0);
  EXPECT_EQ(ddBufferCompareNumber(w(2), w(3)), 4);
}

TEST(Buffer, SetsStaySortedWhateverTheOrderOfArrival) {
  static ddBuffer b; /* a buffer's blocks are kept for good: static keeps them reachable */
  ddBufferInit(&b);
  /* Byte order as strcmp gives it: unsigned bytes, a name before its longer
  ** forms, and names that agree in their first eight bytes. */
  for (const char *n : {"m", "c", "abcdefghz", "x", "\xC3x", "abcdefgh", "a", "q", "abcdefghij", "b"})
    ddBufferAdd(&b, &b.defines, n);
  EXPECT_EQ(names(b.defines), (Names{"a", "abcdefgh", "abcdefghij", "abcdefghz", "b", "c", "m", "q",
                                     "x", "\xC3x"}));
  EXPECT_STREQ(ddBufferFindName("q", b.defines)->name, "q");
  /* Hundreds of names in a scrambled order, many alike in their first eight
  ** bytes: the set still reads in strcmp order. */
  Names many;
  for (int i = 0; i < 700; i++) {
    int k = (i * 337) % 700;
    many.push_back((k % 2 ? "structure" : "s") + std::to_string(k));
    ASSERT_NE(ddBufferAdd(&b, &b.structs, many.back().c_str()), nullptr);
  }
  std::sort(many.begin(), many.end());
  EXPECT_EQ(names(b.structs), many);

  /* Equal indices: the newest stands first and is the one found. */
  static ddBufSet<ddBufCodeItem> items{}; /* kept reachable, like a buffer's sets */
  for (auto [name, index] : {std::pair{"i2", 2}, {"i0", 0}, {"j2", 2}, {"i1", 1}, {"k2", 2}})
    ddBufferAddItem(&items, name, index);
  EXPECT_EQ(names(items), (Names{"i0", "i1", "k2", "j2", "i2"}));
  EXPECT_STREQ(ddBufferFindNumber(2, items)->name, "k2");
  /* Two sets filled by turns, in order and out of it. */
  static ddBufSet<ddBufMember> one{}, two{};
  for (auto [set, name, index] : {std::tuple{&one, "a0", 0}, {&one, "a1", 1}, {&two, "b5", 5}, {&one, "a3", 3},
                                  {&two, "b6", 6}, {&two, "b4", 4}, {&one, "a2", 2}, {&two, "b7", 7}})
    ddBufferAddItem(set, name, index);
  EXPECT_EQ(names(one), (Names{"a0", "a1", "a2", "a3"}));
  EXPECT_EQ(names(two), (Names{"b4", "b5", "b6", "b7"}));
  EXPECT_STREQ(ddBufferFindNumber(6, two)->name, "b6");

  /* A set begun without the buffer's help is searched and extended right,
  ** and so is one whose buffer was released. */
  static ddBufDescribe early{{const_cast<char *>("n"), {}}, nullptr};
  b.describes.list = mlistNew();
  mlistInsertSorted(b.describes.list, ddBufWord(&early), ddBufferCompareName);
  ddBufferAdd(&b, &b.describes, "z");
  ddBufferAdd(&b, &b.describes, "c");
  EXPECT_EQ(ddBufferAdd(&b, &b.describes, "n"), nullptr);
  EXPECT_EQ(names(b.describes), (Names{"c", "n", "z"}));
  ddBufferRelease(&b);
  EXPECT_STREQ(ddBufferFindName("m", b.defines)->name, "m");
  ddBufferAdd(&b, &b.defines, "n");
  EXPECT_EQ(names(b.defines), (Names{"a", "abcdefgh", "abcdefghij", "abcdefghz", "b", "c", "m", "n",
                                     "q", "x", "\xC3x"}));
}

/* Discarding every buffer frees each block once: blocks taken after one
** discard are all that the next frees. */
TEST(Buffer, DiscardingAllFreesEachBlockOnce) {
  long before = UZA_liveBlocks("ddbuffer1");
  for (int round = 0; round < 2; round++) {
    static ddBuffer b;
    ddBufferInit(&b);
    ddBufferAdd(&b, &b.defines, "x");
    EXPECT_GT(UZA_liveBlocks("ddbuffer1"), before);
    ddBufferDiscardAll();
    EXPECT_EQ(UZA_liveBlocks("ddbuffer1"), before) << round;
  }
}
