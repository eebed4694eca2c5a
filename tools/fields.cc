/*
** A loaded site as the companion library's model gives it, and the fields
** of one of its records.
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

