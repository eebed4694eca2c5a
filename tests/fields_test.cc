/*
** Part 2.4: record fields, the slot's bit word, the setters and queries, the
** follow queries, and the deferred layout with its state table.
*/
#include <gtest/gtest.h>

#include <string>

#include "rkdd/rkdd.h"
#include "rkruntime.h"
#include "store/ddfield.h"
#include "store/ddstore.h"
#include "store_fixture.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

using Fields = StoreTest;

/* ---------------------------------------------------------------------------
** The slot and its bit word
*/

TEST_F(Fields, KindIsSignedTenBitsAndHighBitsStay) {
  int d = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d, -1, 5, 0xABCD0000u)}), 1);
  int offset = -1, bitPos = -1, kind = 0;
  ASSERT_EQ(ddGetFieldOffset(r, d, &offset, &bitPos, &kind), 1);
  EXPECT_EQ(kind, -1);
  EXPECT_EQ(bitPos, 5);
  EXPECT_EQ(offset, 0);

  ddField *slot = ddGetFieldSchema(r, d);
  ASSERT_EQ(ddSetFieldIsPointer(r, slot), 1);
  EXPECT_EQ(slot->bits, 0xABCD0000u | (1u << 6) | 5u);
  ASSERT_EQ(ddSetFieldIsStructure(r, slot), 1);
  EXPECT_EQ(slot->bits, 0xABCD0000u | (2u << 6) | 5u);
  ASSERT_EQ(ddSetFieldIsDC(r, slot), 1);
  EXPECT_EQ(slot->bits, 0xABCD0000u | 5u);
  /* The most negative and the largest kind. */
  ddSetFieldKind(slot, -512);
  EXPECT_EQ(ddFieldKind(slot), -512);
  ddSetFieldKind(slot, 511);
  EXPECT_EQ(ddFieldKind(slot), 511);
  EXPECT_EQ(slot->bits & 0xFFFF003Fu, 0xABCD0005u);
}

TEST_F(Fields, SetFieldIsKindRefusals) {
  int d = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1);
  ddField *slot = ddGetField(r);
  EXPECT_EQ(ddSetFieldIsPointer(r, nullptr), 0);
  EXPECT_EQ(ddSetFieldIsPointer(d, slot), 0); /* not a record */
  EXPECT_EQ(ddSetFieldIsStructure(r + 100, slot), 0);
  EXPECT_EQ(ddFieldKind(slot), 0);
  /* An unpacked record refuses. */
  int u = record();
  ddField table[1] = {makeSlot(u, DD_KIND_DC)};
  ASSERT_EQ(ddSetUnpackedField(u, nullptr, 0, 4), 1);
  EXPECT_EQ(ddSetFieldIsPointer(u, &table[0]), 0);
  EXPECT_EQ(ddFieldKind(&table[0]), 0);
}

TEST_F(Fields, FieldPredicates) {
  int a = data(4), b = data(4), c = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a, 0), makeSlot(b, 1), makeSlot(c, 2)}), 1);
  EXPECT_EQ(ddIsDC(r, a), 1);
  EXPECT_EQ(ddIsPointer(r, a), 0);
  EXPECT_EQ(ddIsPointer(r, b), 1);
  EXPECT_EQ(ddIsStructure(r, c), 1);
  EXPECT_EQ(ddIsDC(r, c), 0);
  EXPECT_EQ(ddIsDC(r, r), 0); /* no such slot */
  EXPECT_EQ(ddIsDC(a, a), 0); /* no record */
  ddField *f = ddGetField(r);
  EXPECT_EQ(ddFieldIsDC(&f[0]), 1);
  EXPECT_EQ(ddFieldIsPointer(&f[1]), 1);
  EXPECT_EQ(ddFieldIsStructure(&f[2]), 1);
  EXPECT_EQ(ddFieldIsDC(nullptr), 0);
  EXPECT_EQ(ddFieldIsPointer(nullptr), 0);
  EXPECT_EQ(ddFieldIsStructure(nullptr), 0);
}

TEST_F(Fields, QueriesOnTables) {
  int a = data(4), b = data(2);
  int r = record();
  EXPECT_EQ(ddGetField(r), nullptr);
  EXPECT_EQ(ddGetFieldCount(r), 0);
  EXPECT_EQ(ddGetFieldNth(r, 0), 0);
  EXPECT_EQ(ddIsField(r, a), 0);
  EXPECT_EQ(ddFindFieldInRecord(ddGetRSchema(r), a), nullptr);
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b), makeSlot(a, 1)}), 1);
  EXPECT_EQ(ddGetFieldCount(r), 3);
  EXPECT_EQ(ddGetFieldNth(r, 1), b);
  EXPECT_EQ(ddGetFieldNth(r, 3), 0);
  EXPECT_EQ(ddGetFieldNth(r, static_cast<unsigned>(-1)), 0);
  EXPECT_EQ(ddIsField(r, b), 1);
  /* One code in two slots: the first one counts. */
  EXPECT_EQ(ddGetFieldSchema(r, a), &ddGetField(r)[0]);
  EXPECT_EQ(ddFindField(r, a), &ddGetField(r)[0]);
  int offset = -1, kind = -1;
  ASSERT_EQ(ddGetFieldOffset(r, a, &offset, nullptr, &kind), 1);
  EXPECT_EQ(offset, 0);
  EXPECT_EQ(kind, 0);
  EXPECT_EQ(offsetOf(r, b), 4);
  EXPECT_EQ(ddGetField(r)[2].offset, 6);
  /* All out-words null. */
  EXPECT_EQ(ddGetFieldOffset(r, b, nullptr, nullptr, nullptr), 1);
  /* Failure leaves out-words untouched. */
  offset = 77;
  EXPECT_EQ(ddGetFieldOffset(r, r, &offset, nullptr, nullptr), 0);
  EXPECT_EQ(offset, 77);
  /* Any other code than a record. */
  EXPECT_EQ(ddGetField(a), nullptr);
  EXPECT_EQ(ddGetFieldCount(a), 0);
  EXPECT_EQ(ddGetFieldNth(a, 0), 0);
  EXPECT_EQ(ddGetFieldSchema(0, a), nullptr);
  EXPECT_EQ(ddIsField(-5, a), 0);
}

TEST_F(Fields, FieldNthOnFullTable) {
  int d = data(1);
  int r = record();
  std::vector<ddField> slots(255, makeSlot(d));
  slots[254].code = r; /* a record may hold itself: it takes no room */
  ASSERT_EQ(setFields(r, slots), 1);
  EXPECT_EQ(ddGetFieldCount(r), 255);
  EXPECT_EQ(ddGetFieldNth(r, 254), r);
  EXPECT_EQ(ddGetFieldNth(r, 255), 0);
  EXPECT_EQ(ddGetFieldNth(r, static_cast<unsigned>(-1)), 0);
  EXPECT_EQ(ddGetLength(r), 254);
}

/* ---------------------------------------------------------------------------
** Layout
*/

TEST_F(Fields, SumsWithoutPadding) {
  int a = data(4), b = data(2), c = data(8);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b), makeSlot(c)}), 1);
  EXPECT_EQ(offsetOf(r, a), 0);
  EXPECT_EQ(offsetOf(r, b), 4);
  EXPECT_EQ(offsetOf(r, c), 6);
  EXPECT_EQ(ddGetLength(r), 14);
}

TEST_F(Fields, CallerOffsetsDoNotLast) {
  int a = data(4), b = data(2);
  int r = record();
  ddField slots[2] = {makeSlot(a), makeSlot(b)};
  slots[0].offset = 100;
  slots[1].offset = 200;
  ASSERT_EQ(ddSetField(r, slots, 2), 1);
  EXPECT_EQ(offsetOf(r, a), 0);
  EXPECT_EQ(offsetOf(r, b), 4);
  /* The caller's array is not kept. */
  EXPECT_NE(ddGetField(r), slots);
  EXPECT_EQ(slots[0].offset, 100);
}

TEST_F(Fields, FlagsTakeOneByteEachAndKeepBitPos) {
  int i = data(4);
  int f1 = typed(MTYPE_FLAG), f2 = typed(MTYPE_FLAG);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(i), makeSlot(f1, 0, 3), makeSlot(f2, 0, 63)}), 1);
  int offset, bitPos;
  ASSERT_EQ(ddGetFieldOffset(r, f1, &offset, &bitPos, nullptr), 1);
  EXPECT_EQ(offset, 4);
  EXPECT_EQ(bitPos, 3);
  ASSERT_EQ(ddGetFieldOffset(r, f2, &offset, &bitPos, nullptr), 1);
  EXPECT_EQ(offset, 5);
  EXPECT_EQ(bitPos, 63);
  EXPECT_EQ(ddGetLength(r), 6);
}

TEST_F(Fields, MultipleBitFlagPrintsNoteAndTakesOneByte) {
  int f = typed(MTYPE_FLAG);
  ddSetLength(f, 3);
  entry(f)->arrayCount = 5;
  int r = record();
  CaptureStdout();
  ASSERT_EQ(setFields(r, {makeSlot(f)}), 1);
  EXPECT_EQ(GetCapturedStdout(), "Note: multiple-bit bitfield\n");
  EXPECT_EQ(ddGetLength(r), 1);
}

TEST_F(Fields, OneBitFlagWithArrayPrintsNothing) {
  int f = typed(MTYPE_FLAG);
  entry(f)->arrayCount = 5;
  int r = record();
  CaptureStdout();
  ASSERT_EQ(setFields(r, {makeSlot(f)}), 1);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(ddGetLength(r), 1);
}

TEST_F(Fields, ArrayCounts) {
  int d5 = data(4), d1 = data(4), d0 = data(4);
  entry(d5)->arrayCount = 5;
  entry(d0)->arrayCount = 0;
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d5), makeSlot(d1), makeSlot(d0), makeSlot(d5)}), 1);
  EXPECT_EQ(ddGetField(r)[1].offset, 20);
  EXPECT_EQ(ddGetField(r)[2].offset, 24);
  EXPECT_EQ(ddGetField(r)[3].offset, 28);
  EXPECT_EQ(ddGetLength(r), 48);
  EXPECT_EQ(ddSizeOfCode(d5), 20);
  EXPECT_EQ(ddSizeOfCode(d1), 4);
  EXPECT_EQ(ddSizeOfCode(d0), 4);
}

TEST_F(Fields, NestedRecordArrayInLineAndByPointer) {
  int d = data(12);
  int inner = record();
  ASSERT_EQ(setFields(inner, {makeSlot(d)}), 1);
  ASSERT_EQ(ddGetLength(inner), 12);
  entry(inner)->arrayCount = 3;
  int e = data(1);
  int byValue = record(), byPointer = record();
  ASSERT_EQ(setFields(byValue, {makeSlot(inner, DD_KIND_STRUCTURE), makeSlot(e)}), 1);
  ASSERT_EQ(setFields(byPointer, {makeSlot(inner, DD_KIND_POINTER), makeSlot(e)}), 1);
  EXPECT_EQ(offsetOf(byValue, e), 36);
  EXPECT_EQ(ddGetLength(byValue), 37);
  EXPECT_EQ(offsetOf(byPointer, e), 4);
  EXPECT_EQ(ddGetLength(byPointer), 5);
  /* A record keeps the length of one element. */
  EXPECT_EQ(ddGetLength(inner), 12);
  /* A record code in a slot of kind 0 is measured as a record. */
  int asDC = record();
  ASSERT_EQ(setFields(asDC, {makeSlot(inner, DD_KIND_DC)}), 1);
  EXPECT_EQ(ddGetLength(asDC), 36);
}

TEST_F(Fields, PointerIsFourBytesWhateverTheCode) {
  int big = data(40);
  int a = data(2), b = data(2);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(big), makeSlot(a), makeSlot(b)}), 1);
  EXPECT_EQ(offsetOf(r, a), 40);
  EXPECT_EQ(offsetOf(r, b), 42);
  ASSERT_EQ(ddSetFieldIsPointer(r, ddGetFieldSchema(r, big)), 1);
  EXPECT_EQ(offsetOf(r, a), 4);
  EXPECT_EQ(offsetOf(r, b), 6);
  EXPECT_EQ(ddGetLength(r), 8);
  /* A pointer to a code with no definition is still 4 bytes. */
  EXPECT_EQ(ddFieldSize(ddGetField(r)), 4);
  ddField nowhere = makeSlot(999999, DD_KIND_POINTER);
  EXPECT_EQ(ddFieldSize(&nowhere), 4);
}

TEST_F(Fields, NestedLaidOutOnDemandOuterFirst) {
  int d = data(6);
  int outer = record(), inner = record(); /* outer in the lower slot */
  ddCacheFixups(1);
  ASSERT_EQ(setFields(outer, {makeSlot(inner, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(inner, {makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ(ddGetLength(outer), 0);
  ddFixup();
  EXPECT_EQ(ddGetLength(outer), 12);
  EXPECT_EQ(ddGetLength(inner), 12);
  EXPECT_EQ(ddGetField(inner)[1].offset, 6);
}

TEST_F(Fields, NestedLaidOutOnDemandInnerFirst) {
  int d = data(6);
  int inner = record(), outer = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(outer, {makeSlot(inner, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(inner, {makeSlot(d), makeSlot(d)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetLength(outer), 12);
  EXPECT_EQ(ddGetLength(inner), 12);
}

TEST_F(Fields, DeepNestingInEveryOrder) {
  int d = data(3);
  int a = record(), b = record(), c = record();
  ddCacheFixups(1);
  /* a holds c holds b holds d, d */
  ASSERT_EQ(setFields(a, {makeSlot(d), makeSlot(c, DD_KIND_STRUCTURE), makeSlot(d)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(b, DD_KIND_STRUCTURE), makeSlot(d)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(d), makeSlot(d)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetLength(b), 6);
  EXPECT_EQ(ddGetLength(c), 9);
  EXPECT_EQ(ddGetLength(a), 15);
  EXPECT_EQ(ddGetField(a)[2].offset, 12);
}

TEST_F(Fields, UnpackedInnerWithZeroLengthIsPackedOnDemand) {
  /* ddSizeOfCode lays out a record of length 0 whether packed or not, and
  ** so writes the offsets of an unpacked record given length 0. */
  int u = record();
  int holder = record();
  /* An unpacked record whose fields are unpacked definitions. */
  int v = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 7), 1);
  ddField uSlots[2] = {makeSlot(v), makeSlot(v)};
  ASSERT_EQ(ddSetUnpackedField(u, uSlots, 2, 0), 1);
  ASSERT_EQ(setFields(holder, {makeSlot(u, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(ddGetLength(holder), 14);
  EXPECT_EQ(ddGetLength(u), 14);
  EXPECT_EQ(ddGetField(u)[1].offset, 7);
}

TEST_F(Fields, EmptyTable) {
  int a = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a)}), 1);
  ASSERT_EQ(ddGetLength(r), 4);
  EXPECT_EQ(ddSetField(r, nullptr, 0), 1);
  EXPECT_EQ(ddGetField(r), nullptr);
  EXPECT_EQ(ddGetFieldCount(r), 0);
  EXPECT_EQ(ddGetLength(r), 0);
  EXPECT_EQ(ddPackFields(ddGetRSchema(r)), 0);
  /* Also on a record that never had a table. */
  int s = record();
  EXPECT_EQ(ddSetField(s, nullptr, 0), 1);
  EXPECT_EQ(ddGetLength(s), 0);
}

TEST_F(Fields, RefusalsKeepTheOldTable) {
  int a = data(4), b = data(2);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b)}), 1);
  ddField *old = ddGetField(r);
  ddField slots[1] = {makeSlot(b)};
  EXPECT_EQ(ddSetField(r, slots, 0), 0);
  EXPECT_EQ(ddSetField(r, nullptr, 3), 0);
  EXPECT_EQ(ddSetField(r, slots, -1), 0);
  EXPECT_EQ(ddSetUnpackedField(r, slots, 0, 9), 0);
  EXPECT_EQ(ddSetUnpackedField(r, nullptr, 3, 9), 0);
  EXPECT_EQ(ddSetField(a, slots, 1), 0); /* no record */
  EXPECT_EQ(ddSetField(0, slots, 1), 0);
  EXPECT_EQ(ddSetUnpackedField(a, nullptr, 0, 9), 0);
  EXPECT_EQ(ddGetField(r), old);
  EXPECT_EQ(ddGetFieldCount(r), 2);
  EXPECT_EQ(ddGetLength(r), 6);
  EXPECT_NE(entry(r)->flags & DD_FLAG_IS_PACKED, 0u);
  /* ddReplaceFieldTable itself. */
  ddRSchema *rs = ddGetRSchema(r);
  EXPECT_EQ(ddReplaceFieldTable(rs, slots, 0), 0);
  EXPECT_EQ(ddReplaceFieldTable(rs, nullptr, 1), 0);
  EXPECT_EQ(ddReplaceFieldTable(rs, slots, -2), 0);
  EXPECT_EQ(rs->fields, old);
}

TEST_F(Fields, CheckFieldTable) {
  int a = data(4);
  int u = record();
  ASSERT_EQ(ddSetUnpackedField(u, nullptr, 0, 3), 1);
  ddField good[2] = {makeSlot(a), makeSlot(u)};
  ddField missing[2] = {makeSlot(a), makeSlot(a + 500)};
  EXPECT_EQ(ddCheckFieldTable(nullptr, 0, 1), 1);
  EXPECT_EQ(ddCheckFieldTable(good, 0, 1), 1);
  EXPECT_EQ(ddCheckFieldTable(nullptr, 1, 0), 0);
  EXPECT_EQ(ddCheckFieldTable(good, 2, 0), 1);
  EXPECT_EQ(ddCheckFieldTable(good, 2, 1), 0); /* a is packed */
  EXPECT_EQ(ddCheckFieldTable(&good[1], 1, 1), 1);
  EXPECT_EQ(ddCheckFieldTable(missing, 2, 0), 0);
}

TEST_F(Fields, CachingTakesUndefinedCodeThatTakesNoRoom) {
  int a = data(4), b = data(2);
  int r = record();
  int undefinedCode = ddSiteDataCode(site, 50); /* data slot 50: not made */
  ASSERT_EQ(ddGetSchema(undefinedCode), nullptr);
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(undefinedCode), makeSlot(b)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetField(r)[1].offset, 4);
  EXPECT_EQ(offsetOf(r, b), 4);
  EXPECT_EQ(ddGetLength(r), 6);
}

TEST_F(Fields, NoCachingRefusesUndefinedCode) {
  int a = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a)}), 1);
  ddField *old = ddGetField(r);
  EXPECT_EQ(setFields(r, {makeSlot(a), makeSlot(a + 77)}), 0);
  EXPECT_EQ(ddGetField(r), old);
  EXPECT_EQ(ddGetFieldCount(r), 1);
}

TEST_F(Fields, UnpackedRefusesUndefinedAndPackedFields) {
  int a = data(4);
  int r = record();
  ddField undefinedSlot[1] = {makeSlot(a + 77)};
  ddField packedSlot[1] = {makeSlot(a)};
  EXPECT_EQ(ddSetUnpackedField(r, undefinedSlot, 1, 4), 0);
  ddCacheFixups(1);
  EXPECT_EQ(ddSetUnpackedField(r, undefinedSlot, 1, 4), 0);
  ddCacheFixups(0);
  /* A data item made by ddNewDataDef is packed, and nothing clears that. */
  EXPECT_EQ(ddSetUnpackedField(r, packedSlot, 1, 4), 0);
  EXPECT_NE(entry(r)->flags & DD_FLAG_IS_PACKED, 0u);
  EXPECT_EQ(ddGetField(r), nullptr);
}

TEST_F(Fields, UnpackedRecordKeepsItsLayout) {
  int a = data(4);
  int v = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 16), 1);
  int r = record(); /* packed until now: accepted */
  ddField slots[2] = {makeSlot(v), makeSlot(v, DD_KIND_POINTER)};
  slots[0].offset = 8;
  slots[1].offset = 40;
  ASSERT_EQ(ddSetUnpackedField(r, slots, 2, 100), 1);
  EXPECT_EQ(entry(r)->flags & DD_FLAG_IS_PACKED, 0u);
  EXPECT_EQ(ddGetLength(r), 100);
  EXPECT_EQ(ddGetField(r)[0].offset, 8);
  EXPECT_EQ(ddGetField(r)[1].offset, 40);
  /* From now on the packed setters refuse it. */
  ddField other[1] = {makeSlot(a)};
  EXPECT_EQ(ddSetField(r, other, 1), 0);
  EXPECT_EQ(ddSetFieldIsPointer(r, ddGetField(r)), 0);
  EXPECT_EQ(ddSetFieldIsDC(r, &ddGetField(r)[1]), 0);
  EXPECT_EQ(ddSetTagType(r, MTYPE_REC), 0);
  EXPECT_EQ(ddGetTagType(r), 0);
  /* Layout passes leave it alone. */
  int s = record();
  ASSERT_EQ(setFields(s, {makeSlot(a), makeSlot(r)}), 1);
  ddFixupPending = 1;
  ddFixup();
  EXPECT_EQ(ddGetLength(r), 100);
  EXPECT_EQ(ddGetField(r)[0].offset, 8);
  EXPECT_EQ(ddGetField(r)[1].offset, 40);
  EXPECT_EQ(ddGetLength(s), 104);
  /* And it may be given a new unpacked table. */
  ASSERT_EQ(ddSetUnpackedField(r, nullptr, 0, 3), 1);
  EXPECT_EQ(ddGetLength(r), 3);
  EXPECT_EQ(ddGetLength(s), 7);
}

TEST_F(Fields, OwnLiveTableHandedBack) {
  int a = data(4), b = data(2), c = data(1);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(b, 0, 7, 0x12340000u), makeSlot(c)}), 1);
  ddField *live = ddGetField(r);
  ASSERT_EQ(ddSetField(r, live, ddGetFieldCount(r)), 1);
  ASSERT_EQ(ddGetFieldCount(r), 3);
  EXPECT_EQ(ddGetFieldNth(r, 0), a);
  EXPECT_EQ(ddGetFieldNth(r, 1), b);
  EXPECT_EQ(ddGetField(r)[1].bits, 0x12340000u | 7u);
  EXPECT_EQ(ddGetLength(r), 7);
  /* A part of the live table. */
  ASSERT_EQ(ddSetField(r, ddGetField(r) + 1, 2), 1);
  EXPECT_EQ(ddGetFieldNth(r, 0), b);
  EXPECT_EQ(ddGetFieldNth(r, 1), c);
  EXPECT_EQ(ddGetLength(r), 3);
  /* The store keeps exactly one table for the record. */
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1);
}

TEST_F(Fields, OwnLiveTableHandedBackUnpacked) {
  int v = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 2), 1);
  int r = record();
  ddField slots[2] = {makeSlot(v), makeSlot(v)};
  slots[1].offset = 9;
  ASSERT_EQ(ddSetUnpackedField(r, slots, 2, 11), 1);
  ASSERT_EQ(ddSetUnpackedField(r, ddGetField(r), 2, 12), 1);
  EXPECT_EQ(ddGetField(r)[1].offset, 9);
  EXPECT_EQ(ddGetLength(r), 12);
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1);
}

TEST_F(Fields, OldTablesAreReleased) {
  int a = data(4);
  int r = record();
  for (int i = 0; i < 5; i++) ASSERT_EQ(setFields(r, {makeSlot(a), makeSlot(a)}), 1);
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1);
  EXPECT_TRUE(ddOwnsBlock(ddGetField(r)));
  ASSERT_EQ(ddSetField(r, nullptr, 0), 1);
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 0);
}

TEST_F(Fields, CountAboveByteKeepsLowBits) {
  int a = data(1);
  int r = record();
  std::vector<ddField> slots(257, makeSlot(a));
  ASSERT_EQ(setFields(r, slots), 1);
  EXPECT_EQ(ddGetFieldCount(r), 1);
  EXPECT_EQ(ddGetLength(r), 1);
}

/* ---------------------------------------------------------------------------
** A compiled library's table
*/

namespace {
ddField compiledTable[3];
} // namespace

TEST_F(Fields, CompiledTableIsLaidOutInPlaceAndNeverFreed) {
  int a = data(4), b = data(2);
  int r = record();
  compiledTable[0] = makeSlot(a);
  compiledTable[1] = makeSlot(b);
  compiledTable[2] = makeSlot(a);
  ddRSchema *rs = ddGetRSchema(r);
  rs->fields = compiledTable;
  rs->fieldCount = 3;
  ddMarkFixup(r);
  EXPECT_EQ(compiledTable[1].offset, 4);
  EXPECT_EQ(compiledTable[2].offset, 6);
  EXPECT_EQ(ddGetLength(r), 10);
  EXPECT_FALSE(ddOwnsBlock(compiledTable));
  /* Replacing it lets the static table go without freeing it (UZA_free of
  ** a foreign block would abort). */
  ASSERT_EQ(setFields(r, {makeSlot(b)}), 1);
  EXPECT_NE(ddGetField(r), compiledTable);
  EXPECT_EQ(compiledTable[0].code, a);
  EXPECT_EQ(ddGetLength(r), 2);
  /* And the store's table that took its place is freed in turn. */
  ASSERT_EQ(setFields(r, {makeSlot(a)}), 1);
  EXPECT_EQ(UZA_liveBlocks("apidd2"), 1);
}

TEST_F(Fields, CompiledTableHandedBackToSetter) {
  int a = data(4), b = data(2);
  int r = record();
  compiledTable[0] = makeSlot(a);
  compiledTable[1] = makeSlot(b);
  ddRSchema *rs = ddGetRSchema(r);
  rs->fields = compiledTable;
  rs->fieldCount = 2;
  ASSERT_EQ(ddSetField(r, ddGetField(r), 2), 1);
  EXPECT_NE(ddGetField(r), compiledTable);
  EXPECT_EQ(ddGetFieldNth(r, 1), b);
  EXPECT_EQ(ddGetLength(r), 6);
  /* ddSetUnpackedField lets a compiled table go the same way. */
  int v = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 1), 1);
  compiledTable[2] = makeSlot(v);
  rs = ddGetRSchema(r); /* the entry table grew: the old pointer is gone */
  rs->fields = &compiledTable[2];
  rs->fieldCount = 1;
  ASSERT_EQ(ddSetUnpackedField(r, rs->fields, 1, 1), 1);
  EXPECT_NE(ddGetField(r), &compiledTable[2]);
}

TEST_F(Fields, UnknownKindTakesNoRoom) {
  int a = data(4), b = data(2);
  int r = record();
  static ddField table[4];
  table[0] = makeSlot(a, 5);
  table[1] = makeSlot(b);
  table[2] = makeSlot(a, -3);
  table[3] = makeSlot(a, 3);
  ddRSchema *rs = ddGetRSchema(r);
  rs->fields = table;
  rs->fieldCount = 4;
  ddMarkFixup(r);
  EXPECT_EQ(table[0].offset, 0);
  EXPECT_EQ(table[1].offset, 0);
  EXPECT_EQ(table[2].offset, 2);
  EXPECT_EQ(table[3].offset, 2);
  EXPECT_EQ(ddGetLength(r), 2);
  EXPECT_EQ(ddFieldSize(&table[0]), 0);
  EXPECT_EQ(ddFieldSize(&table[2]), 0);
  int kind = 0;
  ASSERT_EQ(ddGetFieldOffset(r, a, nullptr, nullptr, &kind), 1);
  EXPECT_EQ(kind, 5);
  EXPECT_EQ(ddIsDC(r, a), 0);
  EXPECT_EQ(ddIsPointer(r, a), 0);
  EXPECT_EQ(ddIsStructure(r, a), 0);
}

/* ---------------------------------------------------------------------------
** Tag types
*/

TEST_F(Fields, SetTagType) {
  int d = ddNewDataDef(site);
  EXPECT_EQ(ddSetTagType(d, MTYPE_DOUBLE), 1);
  EXPECT_EQ(ddGetTagType(d), MTYPE_DOUBLE);
  EXPECT_EQ(ddGetLength(d), 8);
  /* The same tag leaves a length set by hand alone. */
  ddSetLength(d, 3);
  EXPECT_EQ(ddSetTagType(d, MTYPE_DOUBLE), 1);
  EXPECT_EQ(ddGetLength(d), 3);
  /* Another tag replaces it. */
  EXPECT_EQ(ddSetTagType(d, MTYPE_SHORT), 1);
  EXPECT_EQ(ddGetLength(d), 2);
  /* Text gives -1. */
  EXPECT_EQ(ddSetTagType(d, MTYPE_TEXT), 1);
  EXPECT_EQ(ddGetLength(d), -1);
  /* No definition. */
  EXPECT_EQ(ddSetTagType(d + 100, MTYPE_INT), 0);
  EXPECT_EQ(ddSetTagType(0, MTYPE_INT), 0);
}

TEST_F(Fields, SetTagTypeWithoutDefaultLengthWarns) {
  int d = data(6);
  CaptureStdout();
  EXPECT_EQ(ddSetTagType(d, MTYPE_BEAD), 1);
  EXPECT_EQ(GetCapturedStdout(), "WARNING: elemtype 13 not supported!\n");
  EXPECT_EQ(ddGetTagType(d), MTYPE_BEAD);
  EXPECT_EQ(ddGetLength(d), 0);
  CaptureStdout();
  EXPECT_EQ(ddSetTagType(d, 99), 1);
  EXPECT_EQ(GetCapturedStdout(), "WARNING: elemtype 99 not supported!\n");
}

TEST_F(Fields, SetTagTypeOnRecord) {
  int r = record();
  CaptureStdout();
  EXPECT_EQ(ddSetTagType(r, MTYPE_REC), 1);
  GetCapturedStdout();
  EXPECT_EQ(ddGetTagType(r), MTYPE_REC);
  /* A record's length from its type is overwritten by the pass. */
  EXPECT_EQ(ddSetTagType(r, MTYPE_INT), 1);
  EXPECT_EQ(ddGetLength(r), 0);
}

TEST_F(Fields, SetLengthMovesNothingUntilTheNextPass) {
  int d = typed(MTYPE_INT), e = data(1);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d), makeSlot(e)}), 1);
  EXPECT_EQ(offsetOf(r, e), 4);
  ddSetLength(d, 10);
  EXPECT_EQ(offsetOf(r, e), 4);
  EXPECT_EQ(ddGetLength(r), 5);
  /* ddSetTagType marks a fix-up: the record moves. */
  ASSERT_EQ(ddSetTagType(d, MTYPE_DOUBLE), 1);
  EXPECT_EQ(offsetOf(r, e), 8);
  EXPECT_EQ(ddGetLength(r), 9);
}

TEST_F(Fields, TextFieldHandsMinusOneOn) {
  int t = typed(MTYPE_TEXT), i = typed(MTYPE_INT);
  int only = record(), textThenInt = record(), intThenText = record();
  ASSERT_EQ(setFields(only, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(textThenInt, {makeSlot(t), makeSlot(i)}), 1);
  ASSERT_EQ(setFields(intThenText, {makeSlot(i), makeSlot(t)}), 1);
  EXPECT_EQ(ddGetLength(only), -1);
  EXPECT_EQ(offsetOf(textThenInt, i), -1);
  EXPECT_EQ(ddGetLength(textThenInt), 3);
  EXPECT_EQ(offsetOf(intThenText, t), 4);
  EXPECT_EQ(ddGetLength(intThenText), 3);
  /* An array of text pulls back by the count. */
  entry(t)->arrayCount = 4;
  ddMarkFixup(t);
  EXPECT_EQ(ddGetLength(only), -4);
  /* A record of length -1 in line is measured as stored, not laid out again. */
  entry(t)->arrayCount = 1;
  int holder = record();
  ASSERT_EQ(setFields(holder, {makeSlot(only, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  EXPECT_EQ(offsetOf(holder, i), -1);
  EXPECT_EQ(ddGetLength(holder), 3);
}

/* ---------------------------------------------------------------------------
** The fix-up state table
*/

TEST_F(Fields, StateOffOffRunsWithinTheCall) {
  int d = data(4);
  int r = record();
  ASSERT_EQ(ddFixupCaching, 0);
  ASSERT_EQ(ddFixupPending, 0);
  ASSERT_EQ(setFields(r, {makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ(ddFixupPending, 0);
  EXPECT_EQ(ddGetLength(r), 8);
}

TEST_F(Fields, StateCachingNothingChangedThenAChangeSetsPending) {
  int d = data(4);
  int r = record();
  EXPECT_EQ(ddCacheFixups(1), 0);
  EXPECT_EQ(ddFixupPending, 0);
  ASSERT_EQ(setFields(r, {makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ(ddFixupPending, 1);
  EXPECT_EQ(ddGetLength(r), 0); /* never laid out: stale */
  EXPECT_EQ(ddGetField(r)[1].offset, 0);
}

TEST_F(Fields, StateCachingStaleFixupClearsPending) {
  int d = data(4);
  int r = record();
  ddCacheFixups(7); /* any non-zero value caches */
  ASSERT_EQ(setFields(r, {makeSlot(d), makeSlot(d)}), 1);
  ASSERT_EQ(ddFixupPending, 1);
  ddFixup(); /* lays out even while caching */
  EXPECT_EQ(ddFixupPending, 0);
  EXPECT_EQ(ddFixupCaching, 7);
  EXPECT_EQ(ddGetLength(r), 8);
}

TEST_F(Fields, StateCachingEndedNotYetFixed) {
  int d = data(4);
  int r = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1);
  EXPECT_EQ(ddCacheFixups(0), 1);
  /* Turning caching off runs nothing. */
  EXPECT_EQ(ddFixupPending, 1);
  EXPECT_EQ(ddGetLength(r), 0);
  /* ddFixup leaves the row. */
  ddFixup();
  EXPECT_EQ(ddFixupPending, 0);
  EXPECT_EQ(ddGetLength(r), 4);
}

TEST_F(Fields, StateCachingEndedAnyChangeRunsThePass) {
  int d = data(4);
  int r = record(), s = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1);
  ddCacheFixups(0);
  ASSERT_EQ(ddFixupPending, 1);
  ASSERT_EQ(setFields(s, {makeSlot(d), makeSlot(d)}), 1);
  EXPECT_EQ(ddFixupPending, 0);
  EXPECT_EQ(ddGetLength(r), 4);
  EXPECT_EQ(ddGetLength(s), 8);
}

TEST_F(Fields, CacheFixupsNests) {
  EXPECT_EQ(ddCacheFixups(1), 0);
  int outer = ddCacheFixups(1);
  EXPECT_EQ(outer, 1);
  EXPECT_EQ(ddCacheFixups(outer), 1);
  EXPECT_EQ(ddCacheFixups(0), 1);
  EXPECT_EQ(ddFixupCaching, 0);
}

TEST_F(Fields, FixupWithNothingPendingChangesNothing) {
  int d = data(4);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1);
  ddSetLength(r, 99);
  ddFixup();
  EXPECT_EQ(ddGetLength(r), 99);
  /* The next real pass overwrites it. */
  ddMarkFixup(0);
  EXPECT_EQ(ddGetLength(r), 4);
}

TEST_F(Fields, PassSkipsDataEntriesAndUnpackedRecords) {
  int d = data(4);
  int v = record();
  ASSERT_EQ(ddSetUnpackedField(v, nullptr, 0, 0), 1);
  ddFixupPending = 1;
  ddFixup();
  EXPECT_EQ(ddGetLength(d), 4);
  EXPECT_EQ(ddGetLength(v), 0);
}

TEST_F(Fields, PassCoversEverySite) {
  int d = data(4);
  int other = -1;
  ASSERT_NE(ddNewSite("other", "another site", &other), nullptr);
  int r1 = record(nullptr, site), r2 = record(nullptr, other);
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r2, {makeSlot(r1, DD_KIND_STRUCTURE), makeSlot(d)}), 1);
  ASSERT_EQ(setFields(r1, {makeSlot(d), makeSlot(d), makeSlot(d)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetLength(r1), 12);
  EXPECT_EQ(ddGetLength(r2), 16);
}

/* ---------------------------------------------------------------------------
** In-line cycles: the slot that closes a cycle takes no room
*/

TEST_F(Fields, InLineCycleOfOne) {
  int i = data(4);
  int a = record();
  ASSERT_EQ(setFields(a, {makeSlot(a, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  EXPECT_EQ(ddGetLength(a), 4);
  EXPECT_EQ(offsetOf(a, i), 0);
  /* Through a slot of kind 0 as well. */
  int b = record();
  ASSERT_EQ(setFields(b, {makeSlot(i), makeSlot(b, DD_KIND_DC), makeSlot(i)}), 1);
  EXPECT_EQ(ddGetLength(b), 8);
  EXPECT_EQ(ddGetField(b)[2].offset, 4);
}

TEST_F(Fields, InLineCycleOfTwo) {
  int i = data(4), s = data(2);
  int a = record(), b = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(a, DD_KIND_STRUCTURE), makeSlot(s)}), 1);
  ddFixup();
  /* a is met first: b is laid out inside it, and b's slot for a takes 0. */
  EXPECT_EQ(ddGetLength(b), 2);
  EXPECT_EQ(ddGetLength(a), 6);
  EXPECT_EQ(offsetOf(a, i), 2);
  EXPECT_EQ(offsetOf(b, s), 0);
}

TEST_F(Fields, InLineCycleOfThree) {
  int i = data(4);
  int a = record(), b = record(), c = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(i), makeSlot(c, DD_KIND_DC)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(a, DD_KIND_STRUCTURE), makeSlot(i)}), 1);
  entry(c)->arrayCount = 2;
  ddFixup();
  EXPECT_EQ(ddGetLength(c), 4);
  EXPECT_EQ(ddGetLength(b), 12);
  EXPECT_EQ(ddGetLength(a), 16);
  /* A further pass gives the same figures. */
  ddMarkFixup(0);
  ddFixup();
  EXPECT_EQ(ddGetLength(c), 4);
  EXPECT_EQ(ddGetLength(b), 12);
  EXPECT_EQ(ddGetLength(a), 16);
  /* A record outside the cycle that holds one of its members. */
  int d = record();
  ASSERT_EQ(setFields(d, {makeSlot(c, DD_KIND_STRUCTURE)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetLength(d), 8);
}

TEST_F(Fields, PointerCycleNeedsNoCare) {
  int i = data(4);
  int a = record(), b = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_POINTER), makeSlot(i)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(a, DD_KIND_POINTER), makeSlot(a, DD_KIND_STRUCTURE)}), 1);
  ddFixup();
  EXPECT_EQ(ddGetLength(a), 8);
  EXPECT_EQ(ddGetLength(b), 12);
}

TEST_F(Fields, SizeOfCode) {
  EXPECT_EQ(ddSizeOfCode(0), 0);
  EXPECT_EQ(ddSizeOfCode(123456), 0);
  int d = data(9);
  EXPECT_EQ(ddSizeOfCode(d), 9);
  int r = record();
  ASSERT_EQ(setFields(r, {makeSlot(d)}), 1);
  ddSetLength(r, 0);
  /* A record of length 0 is laid out on demand and keeps the length. */
  EXPECT_EQ(ddSizeOfCode(r), 9);
  EXPECT_EQ(ddGetLength(r), 9);
}

/* ---------------------------------------------------------------------------
** Follow queries
*/

TEST_F(Fields, FollowInLineTwoHops) {
  int t = data(4), x = data(4);
  int r = record(), s1 = record(), s2 = record();
  ASSERT_EQ(setFields(s2, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(s1, {makeSlot(x), makeSlot(s2, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s1, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(r, t), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(r, s2), 1);
  EXPECT_EQ(ddIsFieldFollowPointer(r, t), 0);
  EXPECT_EQ(ddIsFieldFollowAll(r, t), 1);
  EXPECT_EQ(ddIsFieldFollowAll(r, x), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(r, r), 0);
  EXPECT_EQ(ddIsFieldFollowInLine(t, t), 0); /* no record */
}

TEST_F(Fields, FollowPointerTwoHops) {
  int t = data(4);
  int r = record(), p1 = record(), p2 = record();
  ASSERT_EQ(setFields(p2, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(p1, {makeSlot(p2, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(p1, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddIsFieldFollowPointer(r, t), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(r, t), 0);
  EXPECT_EQ(ddIsFieldFollowAll(r, t), 1);
}

TEST_F(Fields, FollowAllKeepsOneKindBelowTheFirstHop) {
  int t = data(4), u = data(4);
  int r = record(), s = record(), p = record(), q = record();
  ASSERT_EQ(setFields(p, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(s, {makeSlot(p, DD_KIND_POINTER)}), 1); /* in line, then pointer */
  ASSERT_EQ(setFields(q, {makeSlot(u)}), 1);
  ASSERT_EQ(setFields(p, {makeSlot(t), makeSlot(q, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s, DD_KIND_STRUCTURE)}), 1);
  EXPECT_EQ(ddIsFieldFollowAll(r, t), 0);
  /* pointer, then in line */
  int r2 = record();
  ASSERT_EQ(setFields(r2, {makeSlot(p, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddIsFieldFollowAll(r2, t), 1);
  EXPECT_EQ(ddIsFieldFollowAll(r2, u), 0);
}

TEST_F(Fields, FollowNeverEntersKindZeroOrData) {
  int t = data(4);
  int r = record(), s = record();
  ASSERT_EQ(setFields(s, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(r, {makeSlot(s, DD_KIND_DC)}), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(r, t), 0);
  EXPECT_EQ(ddIsFieldFollowAll(r, t), 0);
  EXPECT_EQ(ddIsFieldFollowInLine(r, s), 1);
  /* A structure slot with a data code ends its branch. */
  int d = data(4);
  int w = record();
  ASSERT_EQ(setFields(w, {makeSlot(d, DD_KIND_STRUCTURE), makeSlot(d, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddIsFieldFollowAll(w, t), 0);
}

TEST_F(Fields, FollowEndsOnPointerCycles) {
  int t = data(4), hidden = data(4);
  /* length 1 */
  int a = record();
  ASSERT_EQ(setFields(a, {makeSlot(a, DD_KIND_POINTER), makeSlot(t)}), 1);
  EXPECT_EQ(ddIsFieldFollowPointer(a, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowAll(a, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowPointer(a, t), 1);
  /* length 2 */
  int b = record(), c = record();
  ASSERT_EQ(setFields(b, {makeSlot(c, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(b, DD_KIND_POINTER), makeSlot(t)}), 1);
  EXPECT_EQ(ddIsFieldFollowPointer(b, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowAll(b, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowPointer(b, t), 1);
  EXPECT_EQ(ddIsFieldFollowAll(c, c), 1);
  /* length 3, with the target behind the cycle */
  int d = record(), e = record(), f = record(), g = record();
  ASSERT_EQ(setFields(g, {makeSlot(t)}), 1);
  ASSERT_EQ(setFields(d, {makeSlot(e, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(f, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(f, {makeSlot(d, DD_KIND_POINTER), makeSlot(g, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(ddIsFieldFollowPointer(d, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowAll(e, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowPointer(d, t), 1);
  EXPECT_EQ(ddIsFieldFollowAll(e, t), 1);
}

TEST_F(Fields, FollowEndsOnInLineCycles) {
  int t = data(4), hidden = data(4);
  ddCacheFixups(1);
  /* length 1 */
  int a = record();
  ASSERT_EQ(setFields(a, {makeSlot(a, DD_KIND_STRUCTURE)}), 1);
  /* length 2 */
  int b = record(), c = record();
  ASSERT_EQ(setFields(b, {makeSlot(c, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(c, {makeSlot(b, DD_KIND_STRUCTURE)}), 1);
  /* length 3, with t behind it */
  int d = record(), e = record(), f = record(), g = record();
  ASSERT_EQ(setFields(d, {makeSlot(e, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(e, {makeSlot(f, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(f, {makeSlot(d, DD_KIND_STRUCTURE), makeSlot(g, DD_KIND_STRUCTURE)}), 1);
  ASSERT_EQ(setFields(g, {makeSlot(t)}), 1);
  ddFixup();
  for (int start : {a, b, c, d, e, f}) {
    EXPECT_EQ(ddIsFieldFollowInLine(start, hidden), 0) << start;
    EXPECT_EQ(ddIsFieldFollowAll(start, hidden), 0) << start;
  }
  EXPECT_EQ(ddIsFieldFollowInLine(e, t), 1);
  EXPECT_EQ(ddIsFieldFollowAll(f, t), 1);
  EXPECT_EQ(ddIsFieldFollowInLine(b, t), 0);
}

TEST_F(Fields, FollowAllEndsOnMixedCycles) {
  int hidden = data(4);
  int a = record(), b = record();
  ddCacheFixups(1);
  ASSERT_EQ(setFields(a, {makeSlot(b, DD_KIND_STRUCTURE), makeSlot(b, DD_KIND_POINTER)}), 1);
  ASSERT_EQ(setFields(b, {makeSlot(a, DD_KIND_POINTER), makeSlot(a, DD_KIND_STRUCTURE)}), 1);
  ddFixup();
  EXPECT_EQ(ddIsFieldFollowAll(a, hidden), 0);
  EXPECT_EQ(ddIsFieldFollowAll(b, hidden), 0);
}

TEST_F(Fields, FollowManyPathsStaysFast) {
  /* A ladder of 40 records, each pointing twice to the next: 2^40 paths for a
  ** search without memory, a few dozen steps with it. */
  int hidden = data(4);
  std::vector<int> rungs;
  for (int i = 0; i < 40; i++) rungs.push_back(record());
  ddCacheFixups(1);
  for (int i = 0; i + 1 < 40; i++)
    ASSERT_EQ(setFields(rungs[i], {makeSlot(rungs[i + 1], DD_KIND_POINTER),
                                   makeSlot(rungs[i + 1], DD_KIND_POINTER)}),
              1);
  ddFixup();
  EXPECT_EQ(ddIsFieldFollowPointer(rungs[0], hidden), 0);
  EXPECT_EQ(ddIsFieldFollowAll(rungs[0], hidden), 0);
}
