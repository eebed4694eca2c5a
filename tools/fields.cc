/*
** A loaded site as the companion library's model gives it, and the word
** the tool prints for a field's type.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

Model readModel(int site) { return Model(site >= 0 ? kitModelRead(site) : nullptr, kitModelFree); }

/* The fields of a record of the model; none for a code it does not hold. */
std::span<const kitField> recordFields(const kitModel &model, int record) {
  const kitDef *d = kitFindCode(&model, record);
  if (d == nullptr || d->fields == nullptr) return {};
  return {d->fields, static_cast<size_t>(d->fieldCount)};
}

/* The tag type keyword of what the slot holds, with its array count. */
std::string fieldType(const kitField &f) {
  if (f.tagType < 0) return "?";
  const char *name = kitTagTypeName(f.tagType);
  std::string type = name ? name : "type " + std::to_string(f.tagType);
  if (f.arrayCount >= 2) type.append("[").append(std::to_string(f.arrayCount)).append("]");
  return type;
}
