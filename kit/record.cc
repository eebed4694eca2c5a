/*
** Records as data: a record of a model made into a plan of slots, the
** value of each slot read from and written into packed bytes, paths of field
** names to one value, the defaults of a new record, and the walk.
*/
#include "record.h"

#include <rkdd/rkdd.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace kit {
namespace {

int naturalSize(int tagType, Kind *kind) {
  switch (tagType) {
  case MTYPE_CHAR: *kind = Kind::Int; return 1;
  case MTYPE_UCHAR: *kind = Kind::Uint; return 1;
  case MTYPE_SHORT: *kind = Kind::Int; return 2;
  case MTYPE_USHORT: *kind = Kind::Uint; return 2;
  case MTYPE_INT: *kind = Kind::Int; return 4;
  case MTYPE_UINT: *kind = Kind::Uint; return 4;
  case MTYPE_FLOAT: *kind = Kind::Float; return 4;
  case MTYPE_DOUBLE: *kind = Kind::Double; return 8;
  default: return 0;
  }
}

/* The kind of a data field and its element size; Bytes where the slot is
** not what the type gives. */
void dataKind(const kitField &f, int32_t toldWidth, Slot &s) {
  int32_t count = f.arrayCount >= 2 ? f.arrayCount : 1;
  s.kind = Kind::Bytes;
  if (f.tagType == MTYPE_FLAG) {
    if (f.size == 1) {
      s.kind = Kind::Flag;
      s.lowBit = f.bitPos % 8;
      s.width = 1;
    }
    return;
  }
  if (f.size % count != 0) return;
  int32_t elem = f.size / count;
  Kind k;
  if (int natural = naturalSize(f.tagType, &k)) {
    if (natural == elem) s.kind = k;
  } else if (f.tagType == MTYPE_TEXT) {
    s.kind = Kind::Text;
  } else if (f.tagType == MTYPE_ENUM && elem <= 8) {
    s.kind = Kind::Enum;
    s.lowBit = f.bitPos % (8 * elem);
    s.width = 8 * elem - s.lowBit;
    if (toldWidth > 0 && toldWidth < s.width) s.width = toldWidth;
  }
  if (s.kind != Kind::Bytes) {
    s.elemSize = elem;
    s.count = count;
    s.array = count >= 2;
  }
}

/* The key of a field: its name, "#2" and on for a repeat, "#<local>" for none. */
std::string keyOf(const kitField &f, std::unordered_map<std::string, int> &seen) {
  std::string key = f.name && *f.name ? f.name : "#" + std::to_string(f.local);
  int n = ++seen[key];
  return n == 1 ? key : key + "#" + std::to_string(n);
}

/* Plans for the record at index root of the model and every record it
** holds in line, plans[0] the root's. */
class Planner {
public:
  Planner(kitRecordType &t) : t_(t), planOf_(static_cast<size_t>(t.model->recordCount), -1) {}

  void build(int32_t root) {
    planFor(root);
    for (size_t i = 0; i < t_.plans.size(); i++) fill(i);
    breakCycles();
  }

private:
  int32_t planFor(int32_t record) {
    int32_t &p = planOf_[static_cast<size_t>(record)];
    if (p < 0) {
      p = static_cast<int32_t>(t_.plans.size());
      const kitDef &d = t_.model->records[record];
      t_.plans.push_back({&d, d.length > 0 ? d.length : 0, {}, {}});
    }
    return p;
  }

  void fill(size_t index) {
    const kitDef *d = t_.plans[index].def;
    int32_t length = t_.plans[index].length;
    std::vector<Slot> slots;
    std::unordered_map<std::string, int> seen;
    for (int32_t i = 0; i < d->fieldCount; i++) {
      const kitField &f = d->fields[i];
      Slot s{&f, keyOf(f, seen), Kind::Bytes, f.offset, f.size, f.size, 1, false};
      if (f.size <= 0 || f.offset < 0 || f.offset > length - f.size) continue;
      if (f.problem != KIT_FIELD_OK) {
      } else if (f.kind == DD_KIND_POINTER) {
        if (f.size == 4) s.kind = Kind::Pointer;
      } else if (f.inLine) {
        int32_t count = f.arrayCount >= 2 ? f.arrayCount : 1;
        const kitDef *held = f.nested >= 0 ? &t_.model->records[f.nested] : nullptr;
        if (held && held->length > 0 && f.size == static_cast<int64_t>(held->length) * count) {
          s.kind = Kind::Record;
          s.elemSize = held->length;
          s.count = count;
          s.array = count >= 2;
          s.nested = planFor(f.nested);
        }
      } else if (f.holdsData) {
        s.held = kitFindCode(t_.model, f.code);
        dataKind(f, s.held ? s.held->bitWidth : 0, s);
      }
      slots.push_back(std::move(s));
    }
    Plan &p = t_.plans[index];
    p.slots = std::move(slots);
    for (size_t i = 0; i < p.slots.size(); i++)
      p.byKey.emplace(p.slots[i].key, static_cast<int32_t>(i));
  }

  /* A record that holds itself in line (a table set by hand) would nest for
  ** ever: the slot that closes the loop is read as bytes. Depth first, on a
  ** vector. */
  void breakCycles() {
    std::vector<char> state(t_.plans.size(), 0); /* 0 new, 1 open, 2 done */
    std::vector<std::pair<int32_t, size_t>> stack{{0, 0}};
    state[0] = 1;
    while (!stack.empty()) {
      auto &[plan, next] = stack.back();
      std::vector<Slot> &slots = t_.plans[static_cast<size_t>(plan)].slots;
      if (next == slots.size()) {
        state[static_cast<size_t>(plan)] = 2;
        stack.pop_back();
        continue;
      }
      Slot &s = slots[next++];
      if (s.kind != Kind::Record) continue;
      char &st = state[static_cast<size_t>(s.nested)];
      if (st == 1) {
        s.kind = Kind::Bytes;
        s.elemSize = s.size;
        s.count = 1;
        s.array = false;
      } else if (st == 0) {
        st = 1;
        stack.push_back({s.nested, 0});
      }
    }
  }

  kitRecordType &t_;
  std::vector<int32_t> planOf_;
};

uint64_t loadUint(const unsigned char *p, int size, bool big) {
  uint64_t v = 0;
  for (int i = 0; i < size; i++) v |= static_cast<uint64_t>(p[big ? size - 1 - i : i]) << (8 * i);
  return v;
}

void storeUint(unsigned char *p, int size, bool big, uint64_t v) {
  for (int i = 0; i < size; i++) p[big ? size - 1 - i : i] = static_cast<unsigned char>(v >> (8 * i));
}

uint64_t maskOf(int bits) { return bits >= 64 ? ~0ULL : (1ULL << bits) - 1; }

/* A number value as a whole number, when it is one. */
bool wholeOf(const kitValue &v, bool *negative, uint64_t *magnitude) {
  if (v.kind == KIT_VALUE_INT) {
    *negative = v.i < 0;
    *magnitude = v.i < 0 ? 0 - static_cast<uint64_t>(v.i) : static_cast<uint64_t>(v.i);
    return true;
  }
  if (v.kind == KIT_VALUE_UINT) {
    *negative = false;
    *magnitude = v.u;
    return true;
  }
  if (!std::isfinite(v.real) || std::trunc(v.real) != v.real || std::fabs(v.real) >= 0x1p64)
    return false;
  *negative = v.real < 0;
  *magnitude = static_cast<uint64_t>(std::fabs(v.real));
  return true;
}

bool isNumber(const kitValue &v) {
  return v.kind == KIT_VALUE_INT || v.kind == KIT_VALUE_UINT || v.kind == KIT_VALUE_REAL;
}

/* The bits of a whole number for an integer slot of `bits` bits, or why not. */
int integerBits(const kitValue &v, int bits, bool isSigned, uint64_t *out, std::string *why) {
  if (!isNumber(v)) return *why = "expects a number", KIT_RECORD_WRONG_KIND;
  bool negative;
  uint64_t mag;
  if (!wholeOf(v, &negative, &mag)) return *why = "expects a whole number", KIT_RECORD_RANGE;
  uint64_t limit = isSigned ? (1ULL << (bits - 1)) - (negative ? 0 : 1) : maskOf(bits);
  if ((negative && !isSigned) || mag > limit) {
    *why = "does not fit ";
    *why += isSigned ? std::to_string(bits) + "-bit signed" : std::to_string(bits) + "-bit unsigned";
    return KIT_RECORD_RANGE;
  }
  *out = (negative ? 0 - mag : mag) & maskOf(bits);
  return KIT_RECORD_OK;
}

double realOf(const kitValue &v) {
  return v.kind == KIT_VALUE_INT ? static_cast<double>(v.i)
         : v.kind == KIT_VALUE_UINT ? static_cast<double>(v.u) : v.real;
}

} // namespace

int fail(kitRecordError *err, int code, const std::string &path, const std::string &message,
         int64_t at) {
  if (err == nullptr) return code;
  err->code = code;
  err->at = at;
  std::string p = path.size() < sizeof err->path ? path : path.substr(0, sizeof err->path - 4) + "...";
  std::snprintf(err->path, sizeof err->path, "%s", p.c_str());
  std::snprintf(err->message, sizeof err->message, "%s", message.c_str());
  return code;
}

kitValue readValue(const kitRecordType &t, const Slot &s, const unsigned char *record, int32_t at) {
  kitValue v{};
  const unsigned char *p = record + at;
  bool big = (t.flags & KIT_BIG_ENDIAN) != 0;
  switch (s.kind) {
  case Kind::Int: {
    uint64_t raw = loadUint(p, s.elemSize, big);
    int shift = 64 - 8 * s.elemSize;
    v.kind = KIT_VALUE_INT;
    v.i = static_cast<int64_t>(raw << shift) >> shift;
    break;
  }
  case Kind::Uint:
  case Kind::Pointer:
    v.kind = KIT_VALUE_UINT;
    v.u = loadUint(p, s.elemSize, big);
    break;
  case Kind::Flag:
  case Kind::Enum:
    v.kind = KIT_VALUE_UINT;
    v.u = (loadUint(p, s.elemSize, big) >> s.lowBit) & maskOf(s.width);
    break;
  case Kind::Float: {
    uint32_t bits = static_cast<uint32_t>(loadUint(p, 4, big));
    float f;
    std::memcpy(&f, &bits, 4);
    v.kind = KIT_VALUE_REAL;
    v.real = f;
    break;
  }
  case Kind::Double: {
    uint64_t bits = loadUint(p, 8, big);
    v.kind = KIT_VALUE_REAL;
    std::memcpy(&v.real, &bits, 8);
    break;
  }
  case Kind::Text:
    v.kind = KIT_VALUE_TEXT;
    v.bytes = reinterpret_cast<const char *>(p);
    v.length = static_cast<int32_t>(strnlen(v.bytes, static_cast<size_t>(s.elemSize)));
    break;
  case Kind::Bytes:
  case Kind::Record:
    v.kind = KIT_VALUE_BYTES;
    v.bytes = reinterpret_cast<const char *>(p);
    v.length = s.elemSize;
    break;
  }
  return v;
}

int writeValue(const kitRecordType &t, const Slot &s, unsigned char *record, int32_t at,
               const kitValue &v, std::string *why) {
  unsigned char *p = record + at;
  bool big = (t.flags & KIT_BIG_ENDIAN) != 0;
  uint64_t bits = 0;
  switch (s.kind) {
  case Kind::Int:
  case Kind::Uint:
  case Kind::Pointer:
  case Kind::Flag:
  case Kind::Enum: {
    bool bitField = s.kind == Kind::Flag || s.kind == Kind::Enum;
    int width = bitField ? s.width : 8 * s.elemSize;
    if (int r = integerBits(v, width, s.kind == Kind::Int, &bits, why)) return r;
    if (bitField) {
      uint64_t word = loadUint(p, s.elemSize, big) & ~(maskOf(s.width) << s.lowBit);
      bits = word | bits << s.lowBit;
    }
    storeUint(p, s.elemSize, big, bits);
    return KIT_RECORD_OK;
  }
  case Kind::Float:
  case Kind::Double: {
    if (!isNumber(v)) return *why = "expects a number", KIT_RECORD_WRONG_KIND;
    double d = realOf(v);
    if (s.kind == Kind::Double) {
      std::memcpy(&bits, &d, 8);
      storeUint(p, 8, big, bits);
      return KIT_RECORD_OK;
    }
    float f = static_cast<float>(d);
    if (std::isinf(f) && !std::isinf(d)) return *why = "does not fit a float", KIT_RECORD_RANGE;
    uint32_t b32;
    std::memcpy(&b32, &f, 4);
    storeUint(p, 4, big, b32);
    return KIT_RECORD_OK;
  }
  case Kind::Text:
  case Kind::Bytes:
  case Kind::Record: {
    bool text = s.kind == Kind::Text;
    if (v.kind != (text ? KIT_VALUE_TEXT : KIT_VALUE_BYTES) || (v.length > 0 && !v.bytes))
      return *why = text ? "expects a text" : "expects bytes", KIT_RECORD_WRONG_KIND;
    if (v.length < 0 || v.length > s.elemSize) {
      *why = std::to_string(v.length) + " bytes do not fit in " + std::to_string(s.elemSize);
      return KIT_RECORD_RANGE;
    }
    if (v.length > 0) std::memmove(p, v.bytes, static_cast<size_t>(v.length));
    std::memset(p + v.length, 0, static_cast<size_t>(s.elemSize - v.length));
    return KIT_RECORD_OK;
  }
  }
  return KIT_RECORD_WRONG_KIND;
}

} // namespace kit

using namespace kit;

namespace {

/* The default of a slot's data item as a value, or false for none. */
bool defaultOf(const Slot &s, kitValue *v) {
  const kitDef *d = s.held;
  if (d == nullptr) return false;
  if (s.kind == Kind::Text) {
    if (d->defString == nullptr || *d->defString == 0) return false;
    size_t n = strnlen(d->defString, static_cast<size_t>(s.elemSize));
    *v = kitValue{KIT_VALUE_TEXT, static_cast<int32_t>(n), 0, 0, 0, d->defString};
    return true;
  }
  if (!d->defSet || d->defVal == 0 || s.kind == Kind::Bytes) return false;
  *v = kitValue{KIT_VALUE_REAL, 0, 0, 0, d->defVal, nullptr};
  return true;
}

void makeDefaults(kitRecordType &t) {
  t.defaults.assign(static_cast<size_t>(t.plans[0].length), 0);
  std::string why;
  walk(t, [&](Event e, const Slot *s, int32_t, int32_t at, int) {
    kitValue v;
    if (e == VALUE && defaultOf(*s, &v)) writeValue(t, *s, t.defaults.data(), at, v, &why);
    return true;
  });
}

/* Finds the slot and byte that path names, or fails with err. */
int resolve(const kitRecordType &t, const char *path, const Slot **slot, int32_t *at,
            kitRecordError *err) {
  if (path == nullptr) return fail(err, KIT_RECORD_BAD_ARGUMENT, "", "no path");
  const Plan *plan = &t.plans[0];
  std::string_view rest(path);
  int32_t base = 0;
  std::string shown = "$";
  while (true) {
    size_t end = rest.find_first_of(".[");
    std::string_view name = rest.substr(0, end);
    shown += "." + std::string(name);
    auto found = plan->byKey.find(name);
    if (found == plan->byKey.end())
      return fail(err, name.empty() ? KIT_RECORD_SYNTAX : KIT_RECORD_NO_FIELD, shown,
                  name.empty() ? "a field name is missing" : "names no field");
    const Slot &s = plan->slots[static_cast<size_t>(found->second)];
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end);
    int32_t index = 0;
    if (!rest.empty() && rest[0] == '[') {
      size_t close = rest.find(']');
      std::string digits(rest.substr(1, close == std::string_view::npos ? 0 : close - 1));
      char *stop = nullptr;
      long n = digits.empty() || digits[0] == '-' ? -1 : std::strtol(digits.c_str(), &stop, 10);
      if (close == std::string_view::npos || n < 0 || *stop != 0)
        return fail(err, KIT_RECORD_SYNTAX, shown, "expects an index of digits in brackets");
      shown += "[" + digits + "]";
      if (!s.array || n >= s.count)
        return fail(err, KIT_RECORD_NO_FIELD, shown,
                    s.array ? "index past the end of " + std::to_string(s.count) : "is no array");
      index = static_cast<int32_t>(n);
      rest = rest.substr(close + 1);
    } else if (s.array) {
      return fail(err, KIT_RECORD_NOT_VALUE, shown,
                  "is an array of " + std::to_string(s.count) + "; give an index");
    }
    int32_t from = base + s.offset + index * s.elemSize;
    if (rest.empty()) {
      if (s.kind == Kind::Record)
        return fail(err, KIT_RECORD_NOT_VALUE, shown, "is a record, not one value");
      *slot = &s;
      *at = from;
      return KIT_RECORD_OK;
    }
    if (rest[0] != '.' || s.kind != Kind::Record)
      return fail(err, rest[0] != '.' ? KIT_RECORD_SYNTAX : KIT_RECORD_NO_FIELD, shown,
                  rest[0] != '.' ? "expects . between names" : "holds no fields");
    rest = rest.substr(1);
    base = from;
    plan = &t.plans[static_cast<size_t>(s.nested)];
  }
}

int checkSize(const kitRecordType *t, size_t size, kitRecordError *err) {
  if (size < static_cast<size_t>(t->plans[0].length))
    return fail(err, KIT_RECORD_SHORT, "$",
                std::to_string(size) + " bytes, the record takes " + std::to_string(t->plans[0].length));
  return KIT_RECORD_OK;
}

/* What reading and writing a value share: the arguments, the size of the
** record, and the slot path names with its offset. */
int locate(const kitRecordType *type, const void *record, size_t size, const char *path, bool hasValue,
           kitRecordError *err, const Slot **s, int32_t *at) {
  if (type == nullptr || !hasValue || (record == nullptr && type->plans[0].length > 0))
    return fail(err, KIT_RECORD_BAD_ARGUMENT, "", "a null argument");
  if (int r = checkSize(type, size, err)) return r;
  return resolve(*type, path, s, at, err);
}

} // namespace

extern "C" {

kitRecordType *kitRecordTypeMake(const kitModel *model, int recordCode, int flags,
                                 kitRecordError *err) {
  const kitDef *d = kitFindCode(model, recordCode);
  if (d == nullptr || d->kind != KIT_RECORD) {
    fail(err, KIT_RECORD_BAD_ARGUMENT, "$", "the model holds no record " + std::to_string(recordCode));
    return nullptr;
  }
  try {
    auto *t = new kitRecordType{model, flags, {}, {}};
    Planner(*t).build(static_cast<int32_t>(d - model->records));
    makeDefaults(*t);
    return t;
  } catch (const std::bad_alloc &) {
    fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
    return nullptr;
  }
}

void kitRecordTypeFree(kitRecordType *type) { delete type; }

int32_t kitRecordLength(const kitRecordType *type) { return type ? type->plans[0].length : 0; }

int kitFieldBits(const kitModel *model, const kitField *field, int *lowBit, int *width) {
  *lowBit = *width = 0;
  if (model == nullptr || field == nullptr || !field->holdsData || field->kind == DD_KIND_POINTER)
    return 0;
  Slot s{field, "", Kind::Bytes, field->offset, field->size, field->size, 1, false};
  const kitDef *held = kitFindCode(model, field->code);
  dataKind(*field, held ? held->bitWidth : 0, s);
  if (s.kind != Kind::Flag && s.kind != Kind::Enum) return 0;
  *lowBit = s.lowBit;
  *width = s.width;
  return 1;
}

int kitRecordGet(const kitRecordType *type, const void *record, size_t size, const char *path,
                 kitValue *value, kitRecordError *err) {
  const Slot *s;
  int32_t at;
  if (int r = locate(type, record, size, path, value != nullptr, err, &s, &at)) return r;
  *value = readValue(*type, *s, static_cast<const unsigned char *>(record), at);
  return KIT_RECORD_OK;
}

int kitRecordSet(const kitRecordType *type, void *record, size_t size, const char *path,
                 const kitValue *value, kitRecordError *err) {
  const Slot *s;
  int32_t at;
  if (int r = locate(type, record, size, path, value != nullptr, err, &s, &at)) return r;
  std::string why;
  if (int r = writeValue(*type, *s, static_cast<unsigned char *>(record), at, *value, &why))
    return fail(err, r, std::string("$.") + path, why);
  return KIT_RECORD_OK;
}

int kitRecordDefaults(const kitRecordType *type, void *record, size_t size) {
  if (type == nullptr || (record == nullptr && type->plans[0].length > 0)) return KIT_RECORD_BAD_ARGUMENT;
  if (int r = checkSize(type, size, nullptr)) return r;
  if (!type->defaults.empty()) std::memcpy(record, type->defaults.data(), type->defaults.size());
  return KIT_RECORD_OK;
}

int kitRecordWalk(const kitRecordType *type, const void *record, size_t size,
                  kitItemVisitor visit, void *context, kitRecordError *err) {
  if (type == nullptr || visit == nullptr || (record == nullptr && type->plans[0].length > 0))
    return fail(err, KIT_RECORD_BAD_ARGUMENT, "", "a null argument");
  if (int r = checkSize(type, size, err)) return r;
  const auto *bytes = static_cast<const unsigned char *>(record);
  std::vector<kitItem> open;
  walk(*type, [&](Event e, const Slot *s, int32_t index, int32_t at, int depth) {
    kitItem item{};
    if (e == CLOSE) {
      item = open.back();
      open.pop_back();
      item.event = KIT_ITEM_END;
      return visit(&item, context) == 0;
    }
    item.event = e == VALUE ? KIT_ITEM_VALUE : e == OPEN_RECORD ? KIT_ITEM_RECORD : KIT_ITEM_ARRAY;
    item.depth = depth;
    item.field = s->field;
    item.key = s->key.c_str();
    item.index = index;
    item.offset = at;
    item.size = e == OPEN_ARRAY ? s->size : s->elemSize;
    item.data = bytes + at;
    item.internal = s;
    if (e == VALUE) item.value = readValue(*type, *s, bytes, at);
    else open.push_back(item);
    return visit(&item, context) == 0;
  });
  return KIT_RECORD_OK;
}

} // extern "C"
