/*
** A record's fields as the packed layout left them. The size of a slot is
** the distance to the next slot's offset (the record's length for the last),
** so it is the library's own figure, also where a cycle or an unknown length
** made it zero or negative.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <cstdint>

namespace {

int distance(int from, int to) {
  return static_cast<int>(static_cast<uint32_t>(to) - static_cast<uint32_t>(from));
}

} // namespace

std::vector<FieldView> recordFields(int record) {
  std::vector<FieldView> views;
  const ddField *slots = ddGetField(record);
  int count = ddGetFieldCount(record);
  int length = ddGetLength(record);
  for (int i = 0; slots != nullptr && i < count; i++) {
    const ddField &slot = slots[i];
    FieldView f;
    f.code = slot.code;
    f.bitPos = static_cast<int>(slot.bits & DD_FIELD_BITPOS_MASK);
    int kind = static_cast<int>((slot.bits & DD_FIELD_KIND_MASK) >> DD_FIELD_KIND_SHIFT);
    f.kind = (kind & 0x200) ? kind - 0x400 : kind;
    f.offset = slot.offset;
    f.size = distance(slot.offset, i + 1 < count ? slots[i + 1].offset : length);
    f.arrayCount = ddGetSchema(slot.code) ? ddGetArrayCount(slot.code) : 1;
    f.pointer = f.kind == DD_KIND_POINTER;
    f.inLine = !f.pointer && ddIsRcode(slot.code) && ddGetRSchema(slot.code) != nullptr;
    if (f.kind != DD_KIND_DC && f.kind != DD_KIND_POINTER && f.kind != DD_KIND_STRUCTURE)
      f.problem = FIELD_BAD_KIND;
    else if (f.pointer)
      f.problem = FIELD_OK;
    else if (ddGetSchema(slot.code) == nullptr)
      f.problem = FIELD_UNRESOLVED;
    else if (f.inLine && f.size == 0 && ddGetLength(slot.code) != 0)
      f.problem = FIELD_CYCLE;
    else if (f.size < 0)
      f.problem = FIELD_NO_SIZE;
    views.push_back(f);
  }
  return views;
}

/* The tag type keyword of what the slot holds, with its array count. */
std::string fieldType(const FieldView &f) {
  if (ddGetSchema(f.code) == nullptr) return "?";
  int tag = ddGetTagType(f.code);
  const char *name = tagTypeName(tag);
  std::string type = name ? name : "type " + std::to_string(tag);
  if (f.arrayCount >= 2) type.append("[").append(std::to_string(f.arrayCount)).append("]");
  return type;
}

const char *problemText(Problem p) {
  switch (p) {
  case FIELD_OK: return "";
  case FIELD_UNRESOLVED: return "names no definition";
  case FIELD_CYCLE: return "contains itself, takes no room";
  case FIELD_NO_SIZE: return "length unknown";
  case FIELD_BAD_KIND: return "kind has no size";
  }
  return "";
}
