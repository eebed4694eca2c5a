/*
** The words the tool prints for numbers the library stores: field kinds, and
** the printing of names and floating-point values, in text and in JSON. Tag type and format level
** keywords come from the companion library (kitTagTypeName, kitLevelName).
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>

const char *kindName(int kind) {
  const char *word = kitKindName(kind);
  return word ? word : "unknown";
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
  char text[32];
  return kitFloatText(value, text, sizeof text);
}

/* A float as the shortest decimal that reads back the same float; JSON has
** no NaN or infinity, so those are the strings "nan", "inf" and "-inf". */
nlohmann::ordered_json floatJson(float value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return std::strtod(fmtFloat(value).c_str(), nullptr);
}
