/*
** Tag types in the store: the length a data definition of each type gets
** when it is made or its type changes.
*/
#include "ddstore.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "rkdd/keywords.h"
#include "support/ddreport.h"

namespace {

struct TypeLength {
  int length;
  bool sized; /* false: no length of its own, given 0 with a warning */
};

#define DD_TYPE_LENGTH(number, lower, upper, length, sized) {length, sized != 0},
constexpr TypeLength kTypeLengths[] = {RKDD_TAG_TYPES(DD_TYPE_LENGTH)};
#undef DD_TYPE_LENGTH
constexpr int kTypeCount = sizeof kTypeLengths / sizeof kTypeLengths[0];

} // namespace

int ddTypeSize(int tagType) {
  if (tagType >= 0 && tagType < kTypeCount && kTypeLengths[tagType].sized)
    return kTypeLengths[tagType].length;
  /* Every record built asks for this, so the line is put together here
  ** rather than formatted by printf. */
  char line[64] = "WARNING: elemtype ";
  char *at = std::to_chars(line + 18, line + 40, tagType).ptr;
  std::string_view rest = " not supported!\n";
  std::memcpy(at, rest.data(), rest.size());
  ddReportText(tagType >= 0 && tagType < kTypeCount ? DD_MSG_NO_ELEMENT_TYPE : DD_MSG_UNKNOWN_TAG_TYPE, line,
               static_cast<size_t>(at - line) + rest.size());
  return 0;
}
