/*
** Reading tag type and format level keywords from schema text: the two
** look-ups from a keyword to its number.
*/
#include "ddutil.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "rkdd/keywords.h"
#include "support/ddreport.h"

namespace {

struct TagType {
  std::string_view lower;
  std::string_view upper;
};

#define DD_TAG_KEYWORDS(number, lower, upper, length, sized) {lower, upper},
constexpr TagType kTagTypes[] = {RKDD_TAG_TYPES(DD_TAG_KEYWORDS)};
#undef DD_TAG_KEYWORDS
constexpr int kTagTypeCount = sizeof kTagTypes / sizeof kTagTypes[0];

struct Level {
  int number;
  std::string_view keyword;
};

/* Searched from the top; the numbers need no order. */
#define DD_LEVEL(number, keyword) {number, keyword},
constexpr Level kLevels[] = {RKDD_FORMAT_LEVELS(DD_LEVEL)};
#undef DD_LEVEL
/* What a level that is no keyword and no number becomes. */
constexpr int levelNamed(std::string_view keyword) {
  for (const Level &level : kLevels)
    if (level.keyword == keyword) return level.number;
  return -1;
}
constexpr int kUnknownLevel = levelNamed("IUNKNOWN");

} // namespace

int ddTypeFromName(const char *name) {
  if (name == nullptr) return -1;
  std::string_view text(name);
  for (int i = 0; i < kTagTypeCount; i++)
    if (text == kTagTypes[i].lower || text == kTagTypes[i].upper) return i;
  return -1;
}

const char *ddTypeKeyword(int type) {
  return type >= 0 && type < kTagTypeCount ? kTagTypes[type].lower.data() : "";
}

int ddLevelFromName(const char *name) {
  std::string_view text(name ? name : "");
  for (const Level &level : kLevels)
    if (text == level.keyword) return level.number;
  if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])))
    return static_cast<int>(std::strtol(name, nullptr, 10)); /* atoi, without its overflow */
  ddReport(DD_MSG_INVALID_LEVEL, "ERROR: Invalid IFMT Level: \"%s\"\n", name ? name : "");
  return kUnknownLevel;
}
