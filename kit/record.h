/*
** Inside of the record types of rkdd/kit.h: a plan per record reachable in
** line from the one asked for, each field with the kind of value it holds,
** and the walk over a record that follows nesting on the heap.
*/
#ifndef RKDD_KIT_RECORD_H
#define RKDD_KIT_RECORD_H

#include <rkdd/kit.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kit {

enum class Kind : uint8_t { Int, Uint, Float, Double, Text, Bytes, Flag, Enum, Pointer, Record };

/* One field of a plan: what a slot holds and where. */
struct Slot {
  const kitField *field;
  std::string key;     /* its JSON key */
  Kind kind;
  int32_t offset;      /* within its record */
  int32_t size;        /* of the whole field */
  int32_t elemSize;    /* of one element (size for a field that is no array) */
  int32_t count;       /* elements: 1, or the array count */
  bool array;          /* count >= 2 */
  int32_t lowBit = 0, width = 0; /* flags and enumerations */
  int32_t nested = -1; /* plan of a record held in line */
  const kitDef *held = nullptr;  /* the data item, for its default */
};

struct Plan {
  const kitDef *def;
  int32_t length;
  std::vector<Slot> slots;
  std::unordered_map<std::string_view, int32_t> byKey;
};

/* Events of the walk. */
enum Event { OPEN_RECORD, OPEN_ARRAY, VALUE, CLOSE };

} // namespace kit

struct kitRecordType {
  const kitModel *model;
  int flags;
  std::vector<kit::Plan> plans; /* plans[0] is the record asked for */
  std::vector<unsigned char> defaults; /* the record as kitRecordDefaults writes it */
};

namespace kit {

/* Fills err (when not null). Gives code. */
int fail(kitRecordError *err, int code, const std::string &path, const std::string &message,
         int64_t at = -1);

/* The value of one element of a slot at byte `at` of the record. */
kitValue readValue(const kitRecordType &t, const Slot &s, const unsigned char *record, int32_t at);

/* Writes one element; KIT_RECORD_OK or the reason it cannot, with words for
** it in *why. Nothing is written on failure. */
int writeValue(const kitRecordType &t, const Slot &s, unsigned char *record, int32_t at,
               const kitValue &v, std::string *why);

/* Walks the record's plan: visit(event, slot, index, offset, depth) for
** every record and array opened (slot null for none), every value and every
** close; it gives false to stop. Nesting is kept on a vector. */
template <typename Visit> bool walk(const kitRecordType &t, Visit &&visit) {
  struct Frame {
    int32_t plan, slot, elem, base;
  };
  std::vector<Frame> stack{{0, 0, -1, 0}};
  while (!stack.empty()) {
    size_t top = stack.size() - 1;
    Frame fr = stack[top];
    const Plan &p = t.plans[static_cast<size_t>(fr.plan)];
    int depth = static_cast<int>(top);
    if (fr.slot == static_cast<int32_t>(p.slots.size())) {
      stack.pop_back();
      continue;
    }
    const Slot &s = p.slots[static_cast<size_t>(fr.slot)];
    int32_t at = fr.base + s.offset;
    if (s.kind == Kind::Record) {
      if (fr.elem >= 0 && !visit(CLOSE, &s, fr.elem, at + fr.elem * s.elemSize, depth)) return false;
      int32_t next = fr.elem + 1;
      if (next == 0 && s.array && !visit(OPEN_ARRAY, &s, -1, at, depth)) return false;
      if (next < s.count) {
        int32_t from = at + next * s.elemSize;
        stack[top].elem = next;
        if (!visit(OPEN_RECORD, &s, s.array ? next : -1, from, depth)) return false;
        stack.push_back({s.nested, 0, -1, from});
        continue;
      }
      if (s.array && !visit(CLOSE, &s, -1, at, depth)) return false;
    } else if (s.array) {
      if (!visit(OPEN_ARRAY, &s, -1, at, depth)) return false;
      for (int32_t e = 0; e < s.count; e++)
        if (!visit(VALUE, &s, e, at + e * s.elemSize, depth)) return false;
      if (!visit(CLOSE, &s, -1, at, depth)) return false;
    } else if (!visit(VALUE, &s, -1, at, depth)) {
      return false;
    }
    stack[top].slot++;
    stack[top].elem = -1;
  }
  return true;
}

} // namespace kit

#endif
