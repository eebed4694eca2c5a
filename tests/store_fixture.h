/*
** A small fixture for the tests of fields, links and paths: a fresh site in
** a fresh process (ctest runs each case on its own), fix-ups running, and
** helpers that make data items, records and field slots.
*/
#ifndef RKDD_TESTS_STORE_FIXTURE_H
#define RKDD_TESTS_STORE_FIXTURE_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "rkdd/rkdd.h"
#include "store/ddfield.h"
#include "store/ddstore.h"

/* A slot with a code, a kind, a bit position and the bits above them. */
inline ddField makeSlot(int code, int kind = DD_KIND_DC, unsigned bitPos = 0,
                        uint32_t high = 0) {
  ddField f;
  f.code = code;
  f.bits = (high & 0xFFFF0000u) |
           ((static_cast<uint32_t>(kind) << DD_FIELD_KIND_SHIFT) & DD_FIELD_KIND_MASK) |
           (bitPos & DD_FIELD_BITPOS_MASK);
  f.offset = 0;
  return f;
}

class StoreTest : public ::testing::Test {
protected:
  int site = -1;

  void SetUp() override {
    ddFixupCaching = 0;
    ddFixupPending = 0;
    ASSERT_NE(ddNewSite("test", "a test site", &site), nullptr);
  }

  /* A data item of this length, tag type as made (MTYPE_NULL). */
  int data(int length, const char *name = nullptr) {
    int code = ddNewDataDef(site);
    EXPECT_NE(code, 0);
    ddSetLength(code, length);
    if (name) ddSetName(code, name);
    return code;
  }

  /* A data item with this tag type (and the length it gives). */
  int typed(int tag) {
    int code = ddNewDataDef(site);
    EXPECT_EQ(ddSetTagType(code, tag), 1);
    return code;
  }

  int record(const char *name = nullptr, int inSite = -1) {
    int code = ddNewRecordDef(inSite < 0 ? site : inSite);
    EXPECT_NE(code, 0);
    if (name) ddSetName(code, name);
    return code;
  }

  /* ddSetField with a list of slots. */
  int setFields(int code, std::vector<ddField> slots) {
    return ddSetField(code, slots.empty() ? nullptr : slots.data(), static_cast<int>(slots.size()));
  }

  int offsetOf(int code, int field) {
    int offset = -12345;
    EXPECT_EQ(ddGetFieldOffset(code, field, &offset, nullptr, nullptr), 1);
    return offset;
  }

  ddSchema *entry(int code) {
    return ddGetSchema(code);
  }
};

#endif
