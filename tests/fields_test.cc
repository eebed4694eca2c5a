/* Record fields: bit word, queries, deferred layout, ownership, follow queries. */
#include <algorithm>

#include "rkruntime.h"
#include "store_fixture.h"

using namespace testing::internal; /* CaptureStdout */
using Fields = StoreTest;

TEST_F(Fields, SlotsAndQueries) {
  int a = data(4), b = data(4), c = data(2), one = data(1), r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a, -1, 5, 0xABCD0000u), makeSlot(b, 1), makeSlot(c, 2), makeSlot(a)}), 1);
  int offset = -1, bitPos = -1, kind = 0; /* the first of two slots */
  EXPECT_EQ(V({ddGetFieldOffset(r, a, &offset, &bitPos, &kind), kind, bitPos, offset}), V({1, -1, 5, 0}));
  EXPECT_EQ(V({ddGetFieldCount(r), ddGetFieldNth(r, 1), ddGetFieldNth(r, 4), ddIsField(r, c)}), V({4, b, 0, 1}));
  EXPECT_EACH(0, ddIsDC(r, c), ddIsPointer(r, c), ddIsDC(r, r), ddIsDC(a, a));
  ddField *f = ddGetField(r);
  EXPECT_TRUE(ddFieldIsPointer(&f[1]) && ddFieldIsStructure(&f[2]) && !ddFieldIsDC(&f[2]));
  ASSERT_EQ(ddSetFieldIsPointer(r, f), 1);
  EXPECT_EQ(f->bits, 0xABCD0000u | (1u << 6) | 5u);
  ASSERT_TRUE(EXPECT_EACH(1, ddSetFieldIsStructure(r, &f[1]), ddSetFieldIsDC(r, &f[2])));
  EXPECT_EQ(V({ddIsPointer(r, a), ddIsStructure(r, b), ddIsDC(r, c)}), V({1, 1, 1}));
  for (int k : {-512, 511, 0}) EXPECT_EQ((ddSetFieldKind(f, k), ddFieldKind(f)), k);
  EXPECT_EQ(f->bits & 0xFFFF003Fu, 0xABCD0005u);
  /* Refusals leave the kind: no slot, no record. */
  EXPECT_EACH(0, ddSetFieldIsPointer(r, nullptr), ddSetFieldIsPointer(a, f), ddSetFieldIsStructure(r + 100, f));
  offset = 77;
  EXPECT_EQ(V({ddFieldKind(f), ddGetFieldOffset(r, b, nullptr, nullptr, nullptr),
               ddGetFieldOffset(r, r, &offset, nullptr, nullptr), offset}), V({0, 1, 0, 77}));
  EXPECT_EACH(0, ddGetFieldCount(a), ddGetFieldNth(a, 0), ddIsField(-5, a));
  /* A full table; a record may hold itself and then takes no room. */
  std::vector<ddField> slots(255, makeSlot(one));
  slots[254].code = r;
  ASSERT_EQ(setFields(r, slots), 1);
  EXPECT_EQ(V({ddGetFieldNth(r, 254), ddGetFieldNth(r, 255), ddGetLength(r)}), V({r, 0, 254}));
  /* A count above a byte keeps its low bits. */
  ASSERT_EQ(setFields(r, std::vector<ddField>(257, makeSlot(one))), 1);
  EXPECT_EQ(V({ddGetFieldCount(r), ddGetLength(r)}), V({1, 1}));
}

TEST_F(Fields, LayoutSumsSlotsWithoutPadding) {
  int a = data(4), b = data(2), c = data(8), e = data(1), d5 = data(4), d0 = data(4);
  int r = record(), arr = record(), inner = record();
  ddField slots[3] = {makeSlot(a), makeSlot(b), makeSlot(c)};
  slots[1].offset = 200;
  ASSERT_EQ(ddSetField(r, slots, 3), 1);
  EXPECT_EQ(offsets(r), V({0, 4, 6}));
  EXPECT_EQ(V({ddGetLength(r), slots[1].offset}), V({14, 200})); /* the caller's copy stays */
  EXPECT_EQ(V({ddSetFieldIsPointer(r, ddGetField(r) + 2), ddGetLength(r)}), V({1, 10})); /* a pointer: 4 bytes */
  /* Array counts: 5 repeats, 0 counts once; a record keeps one element's length. */
  ddGetSchema(d5)->arrayCount = 5, ddGetSchema(d0)->arrayCount = 0;
  ASSERT_EQ(setFields(arr, {makeSlot(d5), makeSlot(d0), makeSlot(a)}), 1);
  EXPECT_EQ(offsets(arr), V({0, 20, 24}));
  ASSERT_EQ(setFields(inner, {makeSlot(c), makeSlot(b)}), 1);
  ddGetSchema(inner)->arrayCount = 3;
  int byValue = record(), byPointer = record(), asDC = record();
  ASSERT_TRUE(EXPECT_EACH(1, setFields(byValue, {makeSlot(inner, DD_KIND_STRUCTURE), makeSlot(e)}),
                          setFields(byPointer, {makeSlot(inner, DD_KIND_POINTER), makeSlot(e)})));
  ASSERT_EQ(setFields(asDC, {makeSlot(inner, DD_KIND_DC)}), 1);
  EXPECT_EQ(lengths({arr, byValue, byPointer, asDC, inner}), V({28, 31, 5, 30, 10}));
  /* By kind: a pointer takes 4 bytes, a kind with no size of its own none. */
  ddField byKind[] = {makeSlot(inner, DD_KIND_POINTER), makeSlot(inner, DD_KIND_STRUCTURE), makeSlot(a, 5)};
  EXPECT_EQ(V({ddFieldSize(&byKind[0]), ddFieldSize(&byKind[1]), ddFieldSize(&byKind[2])}), V({4, 30, 0}));
  /* Flags take one byte each, whatever their array count, and keep bitPos. */
  int f1 = typed(MTYPE_FLAG), f2 = typed(MTYPE_FLAG);
  ddGetSchema(f2)->arrayCount = 5;
  CaptureStdout();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(f1, 0, 3), makeSlot(f2, 0, 63)}), 1);
  EXPECT_EQ(GetCapturedStdout(), "");
  int bitPos;
  EXPECT_EQ(V({ddGetFieldOffset(r, f2, nullptr, &bitPos, nullptr), offsetOf(r, f2), bitPos, ddGetLength(r)}),
            V({1, 5, 63, 6}));
  ddSetLength(f2, 3);
  CaptureStdout(), ddMarkFixup(r);
  EXPECT_EQ(GetCapturedStdout() + std::to_string(ddGetLength(r)), "Note: multiple-bit bitfield\n6");
}

TEST_F(Fields, RefusalsKeepTheOldTable) {
  int a = data(4), b = data(2), r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b)}), 1);
  ddField *old = ddGetField(r);
  ddField slots[1] = {makeSlot(b)}, undefinedSlot[1] = {makeSlot(a + 77)};
  EXPECT_EACH(0, ddSetField(r, slots, 0), ddSetField(r, nullptr, 3), ddSetField(r, slots, -1),
              ddSetField(r, undefinedSlot, 1), ddSetField(a, slots, 1));
  EXPECT_EACH(0, ddSetUnpackedField(r, slots, 1, 9) /* b is packed */, ddSetUnpackedField(a, nullptr, 0, 9));
  ddCacheFixups(1);
  EXPECT_EQ(ddSetUnpackedField(r, undefinedSlot, 1, 9), 0);
  EXPECT_EQ(V({ddGetField(r) == old, ddGetFieldCount(r), ddGetLength(r), ddGetSchema(r)->flags & DD_FLAG_IS_PACKED ? 1 : 0}),
            V({1, 2, 6, 1}));
  /* While caching a packed table takes an undefined code; it takes no room. */
  ddField withUndefined[3] = {makeSlot(a), makeSlot(a + 77), makeSlot(b)};
  ASSERT_EQ(ddSetField(r, withUndefined, 3), 1);
  EXPECT_EQ((ddFixup(), offsets(r)), V({0, 4, 4}));
  ASSERT_EQ(ddSetField(r, nullptr, 0), 1);
  EXPECT_EQ((ddFixup(), V({ddGetField(r) == nullptr, ddGetLength(r)})), V({1, 0}));
}

TEST_F(Fields, UnpackedRecordKeepsItsLayout) {
  int a = data(4), v = record(), r = record(), s = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 16), 1);
  ddField slots[2] = {makeSlot(v), makeSlot(v, DD_KIND_POINTER)};
  slots[1].offset = 40;
  ASSERT_EQ(ddSetUnpackedField(r, slots, 2, 100), 1);
  EXPECT_EQ(ddGetSchema(r)->flags & DD_FLAG_IS_PACKED, 0u);
  EXPECT_EACH(0, setFields(r, {makeSlot(a)}), ddSetFieldIsDC(r, &ddGetField(r)[1]), ddSetTagType(r, MTYPE_REC));
  /* Passes leave it alone; a packed record holding it uses its length. */
  ASSERT_EQ(setFields(s, {makeSlot(a), makeSlot(r)}), 1);
  EXPECT_EQ(V({ddGetLength(r), ddGetLength(s), ddGetField(r)[1].offset}), V({100, 104, 40}));
  ASSERT_EQ(ddSetUnpackedField(r, ddGetField(r), 2, 3), 1); /* its own live table */
  EXPECT_EQ(offsets(r), V({0, 40}));
  EXPECT_EQ(V({ddGetLength(s), static_cast<int>(UZA_liveBlocks("apidd2"))}), V({7, 2}));
}

TEST_F(Fields, TablesAreCopiedFirstAndOnlyTheStoresAreFreed) {
  int a = data(4), b = data(2), c = data(1), r = record(), q = record();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b, 0, 7, 0x12340000u), makeSlot(c)}), 1);
  ASSERT_EQ(ddSetField(r, ddGetField(r) + 1, 2), 1); /* a part of its own live table */
  EXPECT_EQ(ddGetField(r)[0].bits, 0x12340000u | 7u);
  EXPECT_EQ(V({ddGetFieldNth(r, 0), ddGetFieldNth(r, 1), ddGetLength(r), static_cast<int>(UZA_liveBlocks("apidd2"))}),
            V({b, c, 3, 1}));
  /* A compiled table is laid out in place and let go without being freed; a
  ** kind other than 0, 1 and 2 takes no room. */
  static ddField compiled[4];
  compiled[0] = makeSlot(a, 5), compiled[1] = makeSlot(b), compiled[2] = makeSlot(a, -3), compiled[3] = makeSlot(a);
  ddGetRSchema(q)->fields = compiled, ddGetRSchema(q)->fieldCount = 4;
  ddMarkFixup(q);
  EXPECT_EQ(offsets(q), V({0, 0, 2, 2}));
  EXPECT_EACH(0, ddIsDC(q, a), ddIsPointer(q, a), ddIsStructure(q, a), ddOwnsBlock(compiled));
  ASSERT_EQ(ddSetField(q, ddGetField(q) + 1, 3), 1);
  EXPECT_EQ(V({ddGetField(q) != compiled, ddGetLength(q), static_cast<int>(UZA_liveBlocks("apidd2"))}), V({1, 6, 2}));
  /* The store's copy is freed in turn. */
  ASSERT_TRUE(EXPECT_EACH(1, setFields(q, {makeSlot(c)}), ddSetField(r, nullptr, 0)));
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1);
}

TEST_F(Fields, TagTypesAndText) {
  int d = ddNewDataDef(site), i = typed(MTYPE_INT), e = data(1), t = typed(MTYPE_TEXT);
  int r = record(), only = record(), holder = record();
  auto tag = [&](int type) { return ddSetTagType(d, type) == 1 ? ddGetLength(d) : -99; };
  EXPECT_EQ(tag(MTYPE_DOUBLE), 8);
  ddSetLength(d, 3);
  EXPECT_EQ(tag(MTYPE_DOUBLE), 3); /* the same tag keeps the length */
  EXPECT_EQ(tag(MTYPE_TEXT), -1);
  EXPECT_EQ(tag(MTYPE_BEAD), 0);
  EXPECT_EACH(0, ddSetTagType(d + 100, MTYPE_INT), ddSetTagType(0, MTYPE_INT));
  /* A new length moves nothing until a change runs the pass. */
  ASSERT_EQ(setFields(r, {makeSlot(i), makeSlot(e)}), 1);
  ddSetLength(i, 10);
  int before = offsetOf(r, e);
  ASSERT_EQ(ddSetTagType(i, MTYPE_DOUBLE), 1);
  EXPECT_EQ(V({before, offsetOf(r, e)}), V({4, 8}));
  /* A record's length from its tag is overwritten by the pass. */
  EXPECT_EQ(ddSetTagType(r, MTYPE_INT), 1);
  EXPECT_EQ(V({ddGetTagType(r), ddGetLength(r)}), V({MTYPE_INT, 9}));
  /* Text has length -1 and pulls the offset back; a record of length -1 in
  ** line is taken as stored, not laid out again. */
  ASSERT_TRUE(EXPECT_EACH(1, setFields(r, {makeSlot(t), makeSlot(i)}), setFields(only, {makeSlot(t)})));
  ASSERT_EQ(setFields(holder, {makeSlot(only, DD_KIND_STRUCTURE), makeSlot(e)}), 1);
  EXPECT_EQ(lengths({r, only, holder}), V({7, -1, 0}));
  EXPECT_EQ(V({offsetOf(r, i), offsetOf(holder, e)}), V({-1, -1}));
  ddGetSchema(t)->arrayCount = 4; /* an array of text pulls back by the count */
  EXPECT_EQ((ddMarkFixup(t), ddGetLength(only)), -4);
}

TEST_F(Fields, FixupStates) {
  int d = data(4), r = record(), s = record(), v = record();
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1); /* not caching: within the call */
  EXPECT_EQ(V({ddFixupPending, ddGetLength(r)}), V({0, 4}));
  ddSetLength(r, 99);
  ddFixup(); /* nothing pending: nothing changes */
  EXPECT_EQ(V({ddGetLength(r), ddCacheFixups(7)}), V({99, 0}));
  ASSERT_EQ(setFields(r, {makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ(V({ddFixupPending, ddGetField(r)[1].offset}), V({1, 0}));
  EXPECT_EQ(V({ddCacheFixups(0), ddGetLength(r)}), V({7, 99})); /* ending caching runs nothing */
  ASSERT_EQ(setFields(s, {makeSlot(d)}), 1); /* the next change does */
  EXPECT_EQ(V({ddFixupPending, ddGetLength(r)}), V({0, 8}));
  /* ddFixup runs while caching; the pass covers every site and skips data
  ** entries and unpacked records. */
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 0), 1);
  int o = record(nullptr, newSite("other"));
  ddCacheFixups(1);
  ASSERT_EQ(setFields(o, {makeSlot(s, DD_KIND_STRUCTURE), makeSlot(d)}), 1);
  ASSERT_EQ(setFields(s, {makeSlot(d), makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ((ddFixup(), V({ddFixupPending, ddFixupCaching})), V({0, 1}));
  EXPECT_EQ(lengths({o, d, v}), V({16, 4, 0}));
}

TEST_F(Fields, NestedRecordsAreLaidOutOnDemandAndAnInLineCycleSlotTakesNoRoom) {
  int i = data(4), three = data(3), na = record(), nb = record(), nc = record(), v = record(), u = record();
  int self = record(), a = record(), b = record(), c = record(), p = record(), q = record(), holder = record();
  ASSERT_EQ(setFields(self, {makeSlot(i), makeSlot(self, DD_KIND_DC), makeSlot(i)}), 1);
  EXPECT_EQ(offsets(self), V({0, 4, 4}));
  ddCacheFixups(1);
  /* na holds nc holds nb: a lower slot holds a higher one and the reverse. */
  ASSERT_EQ(setFields(na, {makeSlot(three), makeSlot(nc, DD_KIND_STRUCTURE), makeSlot(three)}), 1);
  ASSERT_EQ(setFields(nc, {makeSlot(nb, DD_KIND_STRUCTURE), makeSlot(three)}), 1);
  ASSERT_EQ(setFields(nb, {makeSlot(three), makeSlot(three)}), 1);
  /* An unpacked record of length 0 is laid out as well. */
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 7), 1);
  ddField uSlots[2] = {makeSlot(v), makeSlot(v)};
  ASSERT_EQ(ddSetUnpackedField(u, uSlots, 2, 0), 1);
  ASSERT_EQ(setFields(holder, {makeSlot(u, DD_KIND_STRUCTURE)}), 1);
  /* Measuring a code lays out at once what it holds, pending or not. */
  EXPECT_EQ(V({ddSizeOfCode(nc), ddGetLength(nb), ddGetLength(na)}), V({9, 6, 0}));
  EXPECT_EQ((ddFixup(), lengths({nb, nc, na, holder})), V({6, 9, 15, 14}));
  EXPECT_EQ(offsets(na), V({0, 3, 12}));
  EXPECT_EQ(offsets(u), V({0, 7}));
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(i), makeSlot(c, DD_KIND_DC)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(a, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  ddGetSchema(c)->arrayCount = 2;
  ASSERT_EQ(setFields(p, {makeSlot(q, DD_KIND_POINTER), makeSlot(i)}), 1); /* needs no care */
  ASSERT_EQ(setFields(q, {makeSlot(p, DD_KIND_POINTER), makeSlot(p, DD_KIND_STRUCTURE)}), 1);
  for (int pass = 0; pass < 2; pass++) /* a further pass gives the same */
    EXPECT_EQ((ddMarkFixup(0), ddFixup(), lengths({self, c, b, a, q})), V({8, 4, 12, 16, 12}));
  int d = record(); /* outside the cycle, holding one of its members */
  ASSERT_EQ(setFields(d, {makeSlot(c, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ((ddFixup(), ddGetLength(d)), 8);
}

TEST_F(Fields, FollowQueriesKeepToOneKindBelowTheFirstHopAndEndOnCycles) {
  int t = data(4), x = data(4), r = record(), s1 = record(), s2 = record();
  int q = record(), p1 = record(), p2 = record(), m = record();
  ASSERT_TRUE(EXPECT_EACH(1, setFields(s2, {makeSlot(t)}), setFields(r, {makeSlot(s1, DD_KIND_STRUCTURE)})));
  ASSERT_EQ(setFields(s1, {makeSlot(x), makeSlot(s2, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(V({ddIsFieldFollowInLine(r, t), ddIsFieldFollowInLine(r, s2), ddIsFieldFollowAll(r, t), ddIsFieldFollowAll(r, x),
               ddIsFieldFollowPointer(r, t), ddIsFieldFollowInLine(r, r), ddIsFieldFollowInLine(t, t),
               ddIsFieldFollowAll(t, t)}), V({1, 1, 1, 1, 0, 0, 0, 0}));
  /* A pointer, then in line; in line, then a pointer; kind 0 is not entered. */
  ASSERT_EQ(setFields(p2, {makeSlot(t), makeSlot(s1, DD_KIND_STRUCTURE)}), 1);
  ASSERT_TRUE(EXPECT_EACH(1, setFields(p1, {makeSlot(p2, 1)}), setFields(q, {makeSlot(p1, 1)})));
  EXPECT_EQ(V({ddIsFieldFollowPointer(q, t), ddIsFieldFollowAll(q, t), ddIsFieldFollowInLine(q, t), ddIsFieldFollowAll(q, x)}),
            V({1, 1, 0, 0}));
  ASSERT_EQ(setFields(m, {makeSlot(p1, DD_KIND_STRUCTURE), makeSlot(s2, DD_KIND_DC)}), 1);
  int both = record(); /* p1 in line, then by pointer: each kind enters it afresh */
  ASSERT_EQ(setFields(both, {makeSlot(p1, DD_KIND_STRUCTURE), makeSlot(p1, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(V({ddIsFieldFollowAll(m, t), ddIsFieldFollowInLine(m, t), ddIsFieldFollowInLine(m, s2),
               ddIsFieldFollowAll(both, t)}), V({0, 0, 1, 1}));
  /* Every query ends on cycles. */
  int hidden = (ddCacheFixups(1), data(4));
  for (int kind : {DD_KIND_POINTER, DD_KIND_STRUCTURE}) {
    auto follow = kind == DD_KIND_POINTER ? ddIsFieldFollowPointer : ddIsFieldFollowInLine;
    int a = record(), b = record(), c = record(), d = record(), e = record(), f = record(), g = record();
    ASSERT_TRUE(EXPECT_EACH(1, setFields(a, {makeSlot(a, kind), makeSlot(t)}), setFields(b, {makeSlot(c, kind)})));
    ASSERT_TRUE(EXPECT_EACH(1, setFields(c, {makeSlot(b, kind), makeSlot(t)}), setFields(g, {makeSlot(t)})));
    ASSERT_TRUE(EXPECT_EACH(1, setFields(d, {makeSlot(e, kind)}), setFields(e, {makeSlot(f, kind)})));
    ASSERT_EQ(setFields(f, {makeSlot(d, kind), makeSlot(g, kind)}), 1);
    for (int start : {a, b, c, d, e, f})
      EXPECT_TRUE(EXPECT_EACH(0, follow(start, hidden), ddIsFieldFollowAll(start, hidden))) << kind << start;
    EXPECT_TRUE(EXPECT_EACH(1, follow(a, t), follow(b, t), follow(d, t), ddIsFieldFollowAll(e, t))) << kind;
    EXPECT_EQ(ddIsFieldFollowAll(c, c), 1) << kind;
  }
  /* 40 records each pointing twice to the next: 2^40 ways without memory. */
  std::vector<int> rungs;
  for (int i = 0; i < 40; i++) rungs.push_back(record());
  for (int i = 0; i + 1 < 40; i++)
    ASSERT_EQ(setFields(rungs[i], std::vector(2, makeSlot(rungs[i + 1], DD_KIND_POINTER))), 1);
  EXPECT_EACH(0, ddIsFieldFollowPointer(rungs[0], hidden), ddIsFieldFollowAll(rungs[0], hidden));
}

TEST_F(Fields, WideTablesFindTheFirstSlotAndFollowReplacement) {
  std::vector<int> items;
  for (int i = 0; i < 40; i++) items.push_back(data(2));
  int r = record();
  std::vector<ddField> slots;
  for (int i = 0; i < 40; i++) slots.push_back(makeSlot(items[i]));
  slots[30] = makeSlot(items[5], DD_KIND_POINTER); /* one code in two slots */
  ASSERT_EQ(setFields(r, slots), 1);
  EXPECT_EQ(ddIsField(r, items[30]), 0);
  EXPECT_EQ(ddGetFieldSchema(r, items[39]), &ddGetField(r)[39]);

  /* A new table of the same width, perhaps at the same address. */
  std::reverse(slots.begin(), slots.end());
  ASSERT_EQ(setFields(r, slots), 1);
  EXPECT_EQ(ddGetFieldSchema(r, items[39]), &ddGetField(r)[0]);
  int kind = -1;
  ASSERT_EQ(ddGetFieldOffset(r, items[5], nullptr, nullptr, &kind), 1);
  EXPECT_EQ(kind, DD_KIND_POINTER); /* slot 9 now comes first */
  for (int round = 1; round <= 4; round++) { /* freed tables' addresses come back */
    std::rotate(slots.begin(), slots.begin() + 1, slots.end());
    ASSERT_EQ(setFields(r, slots), 1);
    EXPECT_EQ(ddGetFieldSchema(r, items[39]), &ddGetField(r)[40 - round]) << round;
  }
}
