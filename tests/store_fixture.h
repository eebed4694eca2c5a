/* Helpers of the library's tests: slots, sites, a schema file, and a fresh
** site in a fresh process. */
#ifndef RKDD_TESTS_STORE_FIXTURE_H
#define RKDD_TESTS_STORE_FIXTURE_H

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "rkdd/rkdd.h"
#include "store/ddfield.h"
#include "store/ddstore.h"

/* Writes text to a file of this process, removed when the process ends (ctest
** runs the cases side by side), and gives its path. */
inline const std::string &schemaFile(std::string_view text) {
  static const struct File {
    std::string path = testing::TempDir() + "rkdd_schema_" + std::to_string(getpid());
    ~File() { std::remove(path.c_str()); }
  } file;
  std::ofstream(file.path, std::ios::binary) << text;
  return file.path;
}

/* A slot with a code, a kind, a bit position and the bits above the kind. */
inline ddField makeSlot(int code, int kind = DD_KIND_DC, unsigned bitPos = 0, uint32_t high = 0) {
  uint32_t k = (static_cast<uint32_t>(kind) << DD_FIELD_KIND_SHIFT) & DD_FIELD_KIND_MASK;
  return {code, (high & 0xFFFF0000u) | k | (bitPos & DD_FIELD_BITPOS_MASK), 0};
}

using V = std::vector<int>;

/* A table of calls that each should give want: EXPECT_EACH(0, ddIsDC(r, c),
** ddIsPointer(r, c)) runs them in order and names each that does not by its
** text. Gives whether all did, for ASSERT_TRUE. */
#define EXPECT_EACH(want, ...) expectEach(__FILE__, __LINE__, want, #__VA_ARGS__, {__VA_ARGS__})
inline bool expectEach(const char *file, int line, long want, std::string_view calls, std::initializer_list<long> got) {
  bool all = true;
  auto value = got.begin();
  int depth = 0;
  for (size_t start = 0, i = 0; i <= calls.size() && value != got.end(); i++) {
    char c = i < calls.size() ? calls[i] : ',';
    depth += (c == '(' || c == '{') - (c == ')' || c == '}');
    if (c != ',' || depth != 0) continue;
    while (calls[start] == ' ') start++;
    if (*value != want)
      ADD_FAILURE_AT(file, line) << calls.substr(start, i - start) << " gives " << *value << ", not " << want;
    all = all && *value++ == want;
    start = i + 1;
  }
  return all;
}

inline int newSite(const char *id, const char *desc = "test") {
  int n = -1;
  EXPECT_NE(ddNewSite(id, desc, &n), nullptr);
  return n;
}

class StoreTest : public ::testing::Test {
protected:
  int site = -1;
  void SetUp() override { site = newSite("test", "a test site"); }
  int data(int length) {
    int code = ddNewDataDef(site);
    ddSetLength(code, length);
    return code;
  }
  int typed(int tag) {
    int code = ddNewDataDef(site);
    EXPECT_EQ(ddSetTagType(code, tag), 1);
    return code;
  }
  int record(const char *name = nullptr, int inSite = -1) {
    int code = ddNewRecordDef(inSite < 0 ? site : inSite);
    if (name) ddSetName(code, name);
    return code;
  }
  int setFields(int code, std::vector<ddField> slots) {
    return ddSetField(code, slots.empty() ? nullptr : slots.data(), static_cast<int>(slots.size()));
  }
  V lengths(V codes) {
    for (int &code : codes) code = ddGetLength(code);
    return codes;
  }
  V offsets(int code) {
    V out;
    for (int i = 0; i < ddGetFieldCount(code); i++) out.push_back(ddGetField(code)[i].offset);
    return out;
  }
  int offsetOf(int code, int field) {
    int offset = -12345;
    EXPECT_EQ(ddGetFieldOffset(code, field, &offset, nullptr, nullptr), 1);
    return offset;
  }
};

#endif
