/*
** The words a schema file writes for numbers the store keeps: tag type
** keywords with the length a type gives a new definition, and format level
** keywords.
*/
#include <rkdd/kit.h>

#include "keywords.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct TagType {
  const char *name;
  int length; /* what a new definition of the type gets */
};

constexpr TagType kTagTypes[] = {
  {"rktype_null", 0}, {"rktype_cval", 1}, {"rktype_ucval", 1}, {"rktype_sval", 2},
  {"rktype_usval", 2}, {"rktype_ival", 4}, {"rktype_uival", 4}, {"rktype_fval", 4},
  {"rktype_dval", 8}, {"rktype_flag", 1}, {"rktype_enum", 4}, {"rktype_text", -1},
  {"rktype_root", 0}, {"rktype_bead", 0}, {"rktype_rec", 0}, {"rktype_data", 4},
  {"rktype_xfm", 0}};
constexpr int kTagTypeCount = sizeof kTagTypes / sizeof kTagTypes[0];

constexpr struct {
  int number;
  const char *name;
} kLevels[] = {
  {0, "IDEFAULT"},    {37, "IXREF"},       {38, "IGROUP"},     {39, "ILOD"},
  {40, "IHEADER"},    {41, "ISWITCH"},     {42, "IMREF"},      {43, "IBSP"},
  {5, "IOBJLVL"},     {16, "ILTPNTLVL"},   {12, "ITEXTLVL"},   {23, "ICURVELVL"},
  {3, "IFACELVL"},    {24, "IMESHLVL"},    {1, "IVERTEXLVL"},  {6, "IDOFLVL"},
  {15, "ILTSRCLVL"},  {11, "ISOUNDLVL"},   {8, "IROADLVL"},    {7, "IPATHLVL"},
  {17, "ICATLVL"},    {13, "ICLIPLVL"},    {18, "IGRIDLVL"},   {19, "IHELPERLVL"},
  {21, "ITORLVL"},    {20, "ISURFLVL"},    {25, "ILPSYSTEM"},  {225, "IUNKNOWN"}};

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

} // extern "C"

namespace kit {

std::string formatFloat(float value) {
  char text[64];
  for (int digits = 6; digits <= 9; digits++) {
    std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
    if (std::strtof(text, nullptr) == value) break;
  }
  return text;
}

} // namespace kit
