/*
** The tag type and format level tables, and the three look-ups on them.
*/
#include "ddutil.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

struct TagType {
  std::string_view lower;
  std::string_view upper;
  int size;
  bool sized; /* false: no default length, size is given with a warning */
};

constexpr TagType kTagTypes[] = {
    {"rktype_null", "MTYPE_NULL", 0, true},    {"rktype_cval", "MTYPE_CHAR", 1, true},
    {"rktype_ucval", "MTYPE_UCHAR", 1, true},  {"rktype_sval", "MTYPE_SHORT", 2, true},
    {"rktype_usval", "MTYPE_USHORT", 2, true}, {"rktype_ival", "MTYPE_INT", 4, true},
    {"rktype_uival", "MTYPE_UINT", 4, true},   {"rktype_fval", "MTYPE_FLOAT", 4, true},
    {"rktype_dval", "MTYPE_DOUBLE", 8, true},  {"rktype_flag", "MTYPE_FLAG", 1, true},
    {"rktype_enum", "MTYPE_ENUM", 4, true},    {"rktype_text", "MTYPE_TEXT", -1, true},
    {"rktype_root", "MTYPE_ROOT", 0, false},   {"rktype_bead", "MTYPE_BEAD", 0, false},
    {"rktype_rec", "MTYPE_REC", 0, false},     {"rktype_data", "MTYPE_DATA", 4, true},
    {"rktype_xfm", "MTYPE_XFORM", 0, false},
};
constexpr int kTagTypeCount = sizeof kTagTypes / sizeof kTagTypes[0];

struct Level {
  int number;
  std::string_view keyword;
};

/* Searched from the top; the numbers need no order. */
constexpr Level kLevels[] = {
    {0, "IDEFAULT"},     {37, "IXREF"},      {38, "IGROUP"},      {39, "ILOD"},
    {40, "IHEADER"},     {41, "ISWITCH"},    {42, "IMREF"},       {43, "IBSP"},
    {5, "IOBJLVL"},      {16, "ILTPNTLVL"},  {12, "ITEXTLVL"},    {23, "ICURVELVL"},
    {3, "IFACELVL"},     {24, "IMESHLVL"},   {1, "IVERTEXLVL"},   {6, "IDOFLVL"},
    {15, "ILTSRCLVL"},   {11, "ISOUNDLVL"},  {8, "IROADLVL"},     {7, "IPATHLVL"},
    {17, "ICATLVL"},     {13, "ICLIPLVL"},   {18, "IGRIDLVL"},    {19, "IHELPERLVL"},
    {21, "ITORLVL"},     {20, "ISURFLVL"},   {25, "ILPSYSTEM"},   {225, "IUNKNOWN"},
};
constexpr int kUnknownLevel = 225;

} // namespace

int ddTypeFromName(const char *name) {
  if (name == nullptr) return -1;
  std::string_view text(name);
  for (int i = 0; i < kTagTypeCount; i++)
    if (text == kTagTypes[i].lower || text == kTagTypes[i].upper) return i;
  return -1;
}

int ddTypeSize(int tagType) {
  if (tagType >= 0 && tagType < kTagTypeCount && kTagTypes[tagType].sized)
    return kTagTypes[tagType].size;
  /* Every record built asks for this, so the line is put together here
  ** rather than formatted by printf. */
  char line[64] = "WARNING: elemtype ";
  char *at = std::to_chars(line + 18, line + 40, tagType).ptr;
  std::string_view rest = " not supported!\n";
  std::memcpy(at, rest.data(), rest.size());
  std::fwrite(line, 1, static_cast<size_t>(at - line) + rest.size(), stdout);
  return 0;
}

int ddLevelFromName(const char *name) {
  std::string_view text(name ? name : "");
  for (const Level &level : kLevels)
    if (text == level.keyword) return level.number;
  if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])))
    return static_cast<int>(std::strtol(name, nullptr, 10)); /* atoi, without its overflow */
  std::printf("ERROR: Invalid IFMT Level: \"%s\"\n", name ? name : "");
  return kUnknownLevel;
}
