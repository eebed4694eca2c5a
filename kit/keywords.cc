/*
** The words a schema file writes for numbers the store keeps: tag type
** keywords with the length a type gives a new definition, and format level
** keywords, as rkdd/keywords.h lists them.
*/
#include <rkdd/kit.h>
#include <rkdd/keywords.h>

#include "schematext.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct TagType {
  const char *name;
  int length; /* what a new definition of the type gets */
};

#define KIT_TAG_TYPE(number, lower, upper, length, sized) {lower, sized ? length : 0},
constexpr TagType kTagTypes[] = {RKDD_TAG_TYPES(KIT_TAG_TYPE)};
#undef KIT_TAG_TYPE
constexpr int kTagTypeCount = sizeof kTagTypes / sizeof kTagTypes[0];

constexpr struct {
  int number;
  const char *name;
} kLevels[] = {
#define KIT_LEVEL(number, keyword) {number, keyword},
  RKDD_FORMAT_LEVELS(KIT_LEVEL)
#undef KIT_LEVEL
};

} // namespace

namespace kit {

int defaultLength(int tagType) {
  return tagType >= 0 && tagType < kTagTypeCount ? kTagTypes[tagType].length : 0;
}

} // namespace kit

extern "C" {

const char *kitTagTypeName(int tagType) {
  return tagType >= 0 && tagType < kTagTypeCount ? kTagTypes[tagType].name : nullptr;
}

const char *kitLevelName(int level) {
  for (const auto &l : kLevels)
    if (l.number == level) return l.name;
  return nullptr;
}

const char *kitKindName(int kind) {
  switch (kind) {
  case DD_KIND_DC: return "data";
  case DD_KIND_POINTER: return "pointer";
  case DD_KIND_STRUCTURE: return "inline";
  default: return nullptr;
  }
}

const char *kitFieldProblemText(int problem) {
  switch (problem) {
  case KIT_FIELD_UNRESOLVED: return "names no definition";
  case KIT_FIELD_CYCLE: return "contains itself, takes no room";
  case KIT_FIELD_NO_SIZE: return "length unknown";
  case KIT_FIELD_BAD_KIND: return "kind has no size";
  case KIT_FIELD_TOO_LONG: return "record too long, laid out empty";
  default: return "";
  }
}

const char *kitFloatText(float value, char *out, size_t size) {
  for (int digits = 6; digits <= 9; digits++) {
    std::snprintf(out, size, "%.*g", digits, static_cast<double>(value));
    if (std::strtof(out, nullptr) == value) break;
  }
  return out;
}

} // extern "C"

namespace kit {

std::string formatFloat(float value) {
  char text[32];
  return kitFloatText(value, text, sizeof text);
}

} // namespace kit
