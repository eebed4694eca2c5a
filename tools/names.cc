/*
** The words the tool prints for numbers the library stores: tag type and
** format level keywords as a schema file writes them, field kinds, and the
** printing of names and floating-point values.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <cstdlib>

const char *tagTypeName(int tagType) {
  static const char *const names[] = {
    "rktype_null", "rktype_cval", "rktype_ucval", "rktype_sval", "rktype_usval",
    "rktype_ival", "rktype_uival", "rktype_fval", "rktype_dval", "rktype_flag",
    "rktype_enum", "rktype_text", "rktype_root", "rktype_bead", "rktype_rec",
    "rktype_data", "rktype_xfm"};
  if (tagType < 0 || tagType >= static_cast<int>(sizeof names / sizeof names[0])) return nullptr;
  return names[tagType];
}

/* Null for a number that has no keyword. */
const char *levelName(int level) {
  static const struct { int number; const char *name; } levels[] = {
    {0, "IDEFAULT"},    {37, "IXREF"},       {38, "IGROUP"},     {39, "ILOD"},
    {40, "IHEADER"},    {41, "ISWITCH"},     {42, "IMREF"},      {43, "IBSP"},
    {5, "IOBJLVL"},     {16, "ILTPNTLVL"},   {12, "ITEXTLVL"},   {23, "ICURVELVL"},
    {3, "IFACELVL"},    {24, "IMESHLVL"},    {1, "IVERTEXLVL"},  {6, "IDOFLVL"},
    {15, "ILTSRCLVL"},  {11, "ISOUNDLVL"},   {8, "IROADLVL"},    {7, "IPATHLVL"},
    {17, "ICATLVL"},    {13, "ICLIPLVL"},    {18, "IGRIDLVL"},   {19, "IHELPERLVL"},
    {21, "ITORLVL"},    {20, "ISURFLVL"},    {25, "ILPSYSTEM"},  {225, "IUNKNOWN"}};
  for (const auto &l : levels)
    if (l.number == level) return l.name;
  return nullptr;
}

const char *kindName(int kind) {
  switch (kind) {
  case DD_KIND_DC: return "data";
  case DD_KIND_POINTER: return "pointer";
  case DD_KIND_STRUCTURE: return "in line";
  default: return "unknown";
  }
}

/* The name of a definition, or "#code" when it has none, "?" for code 0. */
std::string nameOf(int code) {
  if (code == 0) return "?";
  const char *name = ddGetName(code);
  if (name != nullptr && name[0] != '\0') return name;
  return std::string("#").append(std::to_string(code));
}

/* The shortest text that reads back as the same float. */
std::string fmtFloat(float value) {
  char text[64];
  for (int digits = 6; digits <= 9; digits++) {
    std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
    if (std::strtof(text, nullptr) == value) break;
  }
  return text;
}
