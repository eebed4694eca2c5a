/*
** The words the tool prints for numbers the library stores: field kinds, and
** the printing of names and floating-point values. Tag type and format level
** keywords come from the companion library (kitTagTypeName, kitLevelName).
*/
#include "tool.h"

#include <rkdd/rkdd.h>


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
  char text[32];
  return kitFloatText(value, text, sizeof text);
}
