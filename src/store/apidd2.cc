/*
** Record fields and their deferred layout, parents, children, aliases and
** extensions; paths between records are in apidd6. How layout and searches
** treat cycles, foreign tables and text lengths is written down in ddfield.h.
*/
#define RK_SOURCE_NAME "apidd2"
#include "ddfield.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "support/mlist.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

int ddFixupCaching;
int ddFixupPending;

namespace {

bool isPacked(const ddSchema *entry) {
  return (entry->flags & DD_FLAG_IS_PACKED) != 0;
}

ddRSchema *asRecord(ddSchema *entry) {
  /* Only record entries are handed here, and each begins with its head. */
  return reinterpret_cast<ddRSchema *>(entry);
}

/* Wrapping arithmetic: lengths are plain words, and a sum or product that
** leaves the range of int wraps instead of being undefined. */
int wrapAdd(int a, int b) {
  return static_cast<int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int wrapMul(int a, int b) {
  return static_cast<int>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

int timesArray(int length, int arrayCount) {
  return arrayCount >= 2 ? wrapMul(length, arrayCount) : length;
}

} // namespace

/* ---------------------------------------------------------------------------
** The slot's bit word
*/

int ddFieldKind(const ddField *slot) {
  int kind = static_cast<int>((slot->bits & DD_FIELD_KIND_MASK) >> DD_FIELD_KIND_SHIFT);
  return (kind & 0x200) ? kind - 0x400 : kind;
}

int ddFieldBitPos(const ddField *slot) {
  return static_cast<int>(slot->bits & DD_FIELD_BITPOS_MASK);
}

void ddSetFieldKind(ddField *slot, int kind) {
  uint32_t stored = (static_cast<uint32_t>(kind) << DD_FIELD_KIND_SHIFT) & DD_FIELD_KIND_MASK;
  slot->bits = (slot->bits & ~DD_FIELD_KIND_MASK) | stored;
}

/* ---------------------------------------------------------------------------
** Field look-ups
*/

namespace {

/* A wide field table gets an index from code to its first slot: an open
** hash of slot numbers kept beside the table and known by the table's
** address. It is built whenever a table is set or has its codes rewritten,
** so that look-ups only read it and any number of threads may look up at
** once. A table without an index of its count (narrow, or changed by hand
** since) is scanned, which gives the same slot. */
constexpr int kIndexedWidth = 32;
constexpr uint8_t kNoSlot = 0xFF; /* a table has at most 255 slots, 0 to 254 */

struct FieldIndex {
  int count = 0;
  unsigned mask = 0;
  std::vector<uint8_t> slots;

  static unsigned hash(int32_t code) { return static_cast<uint32_t>(code) * 0x9E3779B1u >> 7; }

  void build(const ddField *f, int n) {
    unsigned size = 64;
    while (size < 2u * n) size *= 2;
    count = n;
    mask = size - 1;
    slots.assign(size, kNoSlot);
    for (int i = 0; i < n; i++) {
      unsigned h = hash(f[i].code) & mask;
      while (slots[h] != kNoSlot && f[slots[h]].code != f[i].code) h = (h + 1) & mask;
      if (slots[h] == kNoSlot) slots[h] = static_cast<uint8_t>(i); /* first slot wins */
    }
  }
  int find(const ddField *f, int32_t code) const {
    for (unsigned h = hash(code) & mask; slots[h] != kNoSlot; h = (h + 1) & mask)
      if (f[slots[h]].code == code) return slots[h];
    return -1;
  }
};

std::unordered_map<const ddField *, FieldIndex> &fieldIndexes() {
  static auto *indexes = new std::unordered_map<const ddField *, FieldIndex>; /* lives to exit */
  return *indexes;
}

} // namespace

void ddForgetFieldIndex(const ddField *fields) {
  if (fields != nullptr) fieldIndexes().erase(fields);
}

void ddIndexFields(const ddField *fields, int count) {
  if (fields != nullptr && count >= kIndexedWidth) fieldIndexes()[fields].build(fields, count);
}

ddField *ddFindFieldInRecord(ddRSchema *record, int fieldCode) {
  if (record == nullptr || record->fields == nullptr) return nullptr;
  ddField *f = record->fields;
  int n = record->fieldCount;
  if (n >= kIndexedWidth) {
    const auto &indexes = fieldIndexes();
    auto it = indexes.find(f);
    if (it != indexes.end() && it->second.count == n) {
      int slot = it->second.find(f, fieldCode);
      return slot >= 0 ? &f[slot] : nullptr;
    }
  }
  for (int i = 0; i < n; i++)
    if (f[i].code == fieldCode) return &f[i];
  return nullptr;
}

ddField *ddFindField(int code, int fieldCode) {
  return ddFindFieldInRecord(ddGetRSchema(code), fieldCode);
}

ddField *ddGetField(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->fields : nullptr;
}

int ddGetFieldCount(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->fieldCount : 0;
}

int ddGetFieldNth(int code, unsigned int index) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr || r->fields == nullptr || index >= r->fieldCount) return 0;
  return r->fields[index].code;
}

ddField *ddGetFieldSchema(int code, int fieldCode) {
  return ddFindField(code, fieldCode);
}

int ddIsField(int code, int fieldCode) {
  return ddFindField(code, fieldCode) != nullptr;
}

int ddGetFieldOffset(int code, int fieldCode, int *offset, int *bitPos, int *kind) {
  ddField *slot = ddFindField(code, fieldCode);
  if (slot == nullptr) return 0;
  if (offset != nullptr) *offset = slot->offset;
  if (bitPos != nullptr) *bitPos = ddFieldBitPos(slot);
  if (kind != nullptr) *kind = ddFieldKind(slot);
  return 1;
}

namespace {
int slotKindIs(const ddField *slot, int kind) {
  return slot != nullptr && ddFieldKind(slot) == kind;
}
} // namespace

int ddIsDC(int code, int fieldCode) {
  return slotKindIs(ddFindField(code, fieldCode), DD_KIND_DC);
}

int ddIsPointer(int code, int fieldCode) {
  return slotKindIs(ddFindField(code, fieldCode), DD_KIND_POINTER);
}

int ddIsStructure(int code, int fieldCode) {
  return slotKindIs(ddFindField(code, fieldCode), DD_KIND_STRUCTURE);
}

int ddFieldIsDC(ddField *slot) {
  return slotKindIs(slot, DD_KIND_DC);
}

int ddFieldIsPointer(ddField *slot) {
  return slotKindIs(slot, DD_KIND_POINTER);
}

int ddFieldIsStructure(ddField *slot) {
  return slotKindIs(slot, DD_KIND_STRUCTURE);
}

/* ---------------------------------------------------------------------------
** Follow queries. Each keeps the set of records entered during one query;
** a record is entered at most once, so cycles end (see ddfield.h).
*/

namespace {

using CodeSet = std::unordered_set<int>;

/* Depth first through the slots; follows slots of kind `follow` only. The
** records on the way, each with its next slot, are a stack on the heap. */
int followOneKind(int code, int fieldCode, int follow, CodeSet &entered) {
  std::vector<std::pair<const ddRSchema *, int>> way;
  auto enter = [&](int c) {
    ddRSchema *r = ddGetRSchema(c);
    if (r != nullptr && entered.insert(c).second) way.push_back({r, 0});
  };
  enter(code);
  while (!way.empty()) {
    auto [r, i] = way.back();
    if (r->fields == nullptr || i >= r->fieldCount) {
      way.pop_back();
      continue;
    }
    way.back().second++;
    const ddField &slot = r->fields[i];
    if (slot.code == fieldCode) return 1;
    if (ddFieldKind(&slot) == follow) enter(slot.code);
  }
  return 0;
}

} // namespace

int ddIsFieldFollowInLine(int code, int fieldCode) {
  CodeSet entered;
  return followOneKind(code, fieldCode, DD_KIND_STRUCTURE, entered);
}

int ddIsFieldFollowPointer(int code, int fieldCode) {
  CodeSet entered;
  return followOneKind(code, fieldCode, DD_KIND_POINTER, entered);
}

int ddIsFieldFollowAll(int code, int fieldCode) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr) return 0;
  /* The first hop picks the kind; below it a path stays of that kind. The
  ** start record counts as entered for both, so a hop back to it ends. */
  CodeSet inLine = {code}, pointer = {code};
  for (int i = 0; r->fields != nullptr && i < r->fieldCount; i++) {
    const ddField &slot = r->fields[i];
    if (slot.code == fieldCode) return 1;
    int kind = ddFieldKind(&slot);
    if (kind == DD_KIND_STRUCTURE && followOneKind(slot.code, fieldCode, kind, inLine)) return 1;
    if (kind == DD_KIND_POINTER && followOneKind(slot.code, fieldCode, kind, pointer)) return 1;
  }
  return 0;
}

/* ---------------------------------------------------------------------------
** Deferred layout
*/

void ddMarkFixup(int /*code*/) {
  ddFixupPending = 1;
  if (ddFixupCaching == 0) ddFixup();
}

int ddCacheFixups(int value) {
  int old = ddFixupCaching;
  ddFixupCaching = value;
  return old;
}

namespace {

/* Records whose slots are being measured, innermost last. */
std::vector<const ddRSchema *> &layoutOnTheWay() {
  static auto *records = new std::vector<const ddRSchema *>; /* lives to exit */
  return *records;
}

bool onTheWay(const ddRSchema *record) {
  for (const ddRSchema *r : layoutOnTheWay())
    if (r == record) return true;
  return false;
}

int clearPackedLength(ddSchema *entry, int, void *) {
  if (isPacked(entry)) entry->length = 0;
  return 1;
}

int layOutPacked(ddSchema *entry, int, void *) {
  if (isPacked(entry) && entry->length == 0) entry->length = ddPackFields(asRecord(entry));
  return 1;
}

} // namespace

void ddFixup(void) {
  if (ddFixupPending == 0) return;
  ddWalkSchemas(clearPackedLength, 1, 0, nullptr);
  ddWalkSchemas(layOutPacked, 1, 0, nullptr);
  ddFixupPending = 0;
}

namespace {

/* A record whose slots are being laid out: the slot at hand and the running
** offset. */
struct PackFrame {
  ddRSchema *record;
  int slot;
  int offset;
};

std::vector<PackFrame> &packFrames() {
  static auto *frames = new std::vector<PackFrame>; /* lives to exit */
  return *frames;
}

/* Bytes of one whole value of a data definition, arrayCount included. */
int dataSize(const ddDSchema *d) {
  if (d->head.tagType == MTYPE_FLAG) {
    if (d->head.length > 1) {
      ddReportAtCode(d->head.code);
      ddReport(DD_MSG_MULTI_BIT_FLAG, "Note: multiple-bit bitfield\n");
    }
    return 1;
  }
  return timesArray(d->head.length, d->head.arrayCount);
}

/* Bytes the slot takes, as ddFieldSize gives them, with one difference: a
** record held in line that must be laid out first is handed back in *inner
** (the slot's size then follows from its length), rather than laid out. */
int measureSlot(const ddField &slot, ddRSchema **inner) {
  int kind = ddFieldKind(&slot);
  if (kind == DD_KIND_POINTER) return 4;
  if (kind != DD_KIND_DC && kind != DD_KIND_STRUCTURE) return 0;
  if (ddRSchema *r = ddGetRSchema(slot.code)) {
    if (r->head.length == 0) {
      /* Held in line by itself, directly or through others: this slot
      ** closes the cycle and takes no room. Without fields it measures 0. */
      if (r->fields != nullptr && !onTheWay(r)) *inner = r;
      return 0;
    }
    return timesArray(r->head.length, r->head.arrayCount);
  }
  if (ddDSchema *d = ddGetDSchema(slot.code)) return dataSize(d);
  return 0;
}

} // namespace

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetFields(void) {
  ddFixupCaching = ddFixupPending = 0;
  fieldIndexes().clear();
  layoutOnTheWay().clear();
  packFrames().clear();
}
#endif

/* Records held in line are laid out on a stack on the heap, innermost on
** top, so that the depth of nesting costs no stack of the caller's. Each
** frame's record is on the way while its slots are measured. */
int ddPackFields(ddRSchema *record) {
  if (record->fields == nullptr) return 0;
  auto &way = layoutOnTheWay();
  auto &frames = packFrames();
  size_t base = frames.size();
  way.push_back(record);
  frames.push_back({record, 0, 0});
  int innerLength = 0;
  bool innerDone = false; /* the top frame's slot holds a record just laid out */
  for (;;) {
    PackFrame &top = frames.back();
    ddField *fields = top.record->fields;
    if (innerDone) {
      innerDone = false;
      ddRSchema *inner = ddGetRSchema(fields[top.slot].code);
      inner->head.length = innerLength;
      fields[top.slot].offset = top.offset;
      top.offset = wrapAdd(top.offset, timesArray(innerLength, inner->head.arrayCount));
      top.slot++;
    }
    ddRSchema *inner = nullptr;
    for (; top.slot < top.record->fieldCount; top.slot++) {
      int size = measureSlot(fields[top.slot], &inner);
      if (inner != nullptr) break;
      fields[top.slot].offset = top.offset;
      top.offset = wrapAdd(top.offset, size);
    }
    if (inner != nullptr) {
      way.push_back(inner);
      frames.push_back({inner, 0, 0});
      continue;
    }
    innerLength = top.offset;
    way.pop_back();
    frames.pop_back();
    if (frames.size() == base) return innerLength;
    innerDone = true;
  }
}

int ddFieldSize(const ddField *slot) {
  switch (ddFieldKind(slot)) {
  case DD_KIND_POINTER:
    return 4;
  case DD_KIND_DC:
  case DD_KIND_STRUCTURE:
    return ddSizeOfCode(slot->code);
  default:
    return 0; /* a kind with no size of its own takes no room */
  }
}

int ddSizeOfCode(int code) {
  if (ddRSchema *r = ddGetRSchema(code)) {
    if (r->head.length == 0) {
      /* Held in line by itself, directly or through others: this slot
      ** closes the cycle and takes no room. */
      if (onTheWay(r)) return 0;
      r->head.length = ddPackFields(r);
    }
    return timesArray(r->head.length, r->head.arrayCount);
  }
  if (ddDSchema *d = ddGetDSchema(code)) return dataSize(d);
  return 0;
}

/* ---------------------------------------------------------------------------
** Replacing a field table, and the setters
*/

int ddCheckFieldTable(const ddField *fields, int count, int refusePacked) {
  if (count == 0) return 1;
  if (fields == nullptr) return 0;
  for (int i = 0; i < count; i++) {
    ddSchema *entry = ddGetSchema(fields[i].code);
    if (entry == nullptr) return 0;
    if (refusePacked && isPacked(entry)) return 0;
  }
  return 1;
}

int ddReplaceFieldTable(ddRSchema *record, const ddField *fields, int count) {
  if (count < 0 || (count == 0) != (fields == nullptr)) return 0;
  /* The copy comes first: fields may be the live table itself. */
  ddField *copy = nullptr;
  if (count > 0) {
    copy = static_cast<ddField *>(rkAllocate(sizeof(ddField) * static_cast<size_t>(count)));
    std::memcpy(copy, fields, sizeof(ddField) * static_cast<size_t>(count));
    ddOwnBlock(copy);
  }
  /* A compiled library's table is only let go, never freed. */
  ddForgetFieldIndex(record->fields);
  ddReleaseBlock(record->fields);
  record->fields = copy;
  record->fieldCount = static_cast<uint8_t>(count & 0xFF);
  ddIndexFields(copy, record->fieldCount);
  return 1;
}

int ddSetField(int code, ddField *fields, int count) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr || !isPacked(&r->head)) return 0;
  if (ddFixupCaching == 0 && !ddCheckFieldTable(fields, count, 0)) return 0;
  if (!ddReplaceFieldTable(r, fields, count)) return 0;
  ddMarkFixup(code);
  return 1;
}

int ddSetUnpackedField(int code, ddField *fields, int count, int length) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr) return 0;
  if (!ddCheckFieldTable(fields, count, 1)) return 0;
  if (!ddReplaceFieldTable(r, fields, count)) return 0;
  r->head.flags &= ~DD_FLAG_IS_PACKED;
  r->head.length = length;
  ddMarkFixup(code);
  return 1;
}

namespace {
int setSlotKind(int code, ddField *slot, int kind) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr || !isPacked(&r->head) || slot == nullptr) return 0;
  ddSetFieldKind(slot, kind);
  ddMarkFixup(code);
  return 1;
}
} // namespace

int ddSetFieldIsPointer(int code, ddField *slot) {
  return setSlotKind(code, slot, DD_KIND_POINTER);
}

int ddSetFieldIsStructure(int code, ddField *slot) {
  return setSlotKind(code, slot, DD_KIND_STRUCTURE);
}

int ddSetFieldIsDC(int code, ddField *slot) {
  return setSlotKind(code, slot, DD_KIND_DC);
}

int ddSetTagType(int code, int tagType) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr || !isPacked(e)) return 0;
  if (e->tagType == tagType) return 1;
  e->tagType = tagType;
  e->length = ddTypeSize(tagType);
  ddMarkFixup(code);
  return 1;
}

/* ---------------------------------------------------------------------------
** Parents, children and aliases
*/

namespace {

struct LinkList {
  uint8_t ddLinks::*count;
  int32_t *ddLinks::*codes;
};

constexpr LinkList kParents = {&ddLinks::parentCount, &ddLinks::parents};
constexpr LinkList kChildren = {&ddLinks::childCount, &ddLinks::children};
constexpr LinkList kAliases = {&ddLinks::aliasCount, &ddLinks::aliases};

int setLinks(int code, const int *codes, int count, const LinkList &list) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr || count < 0) return 0;
  if (count != 0) {
    if (codes == nullptr) return 0;
    if (ddFixupCaching == 0)
      for (int i = 0; i < count; i++)
        if (ddGetSchema(codes[i]) == nullptr) return 0;
  } else if (codes != nullptr) {
    return 0;
  }
  if (r->links == nullptr) r->links = static_cast<ddLinks *>(rkAllocatez(sizeof(ddLinks)));
  ddLinks *links = r->links;
  /* The copy comes first: codes may be the live array itself. Link arrays
  ** are always the store's, also those ddSetCode makes. */
  int32_t *copy = nullptr;
  if (count > 0) {
    copy = static_cast<int32_t *>(rkAllocate(sizeof(int32_t) * static_cast<size_t>(count)));
    std::memcpy(copy, codes, sizeof(int32_t) * static_cast<size_t>(count));
  }
  if (links->*list.codes != nullptr) rkFree(links->*list.codes);
  links->*list.codes = copy;
  links->*list.count = static_cast<uint8_t>(count & 0xFF);
  return 1;
}

ddLinks *linksOf(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->links : nullptr;
}

int linkCount(int code, const LinkList &list) {
  ddLinks *links = linksOf(code);
  return links ? links->*list.count : 0;
}

int *linkArray(int code, const LinkList &list) {
  ddLinks *links = linksOf(code);
  return links ? links->*list.codes : nullptr;
}

int linkNth(int code, int index, const LinkList &list) {
  ddLinks *links = linksOf(code);
  if (links == nullptr || links->*list.codes == nullptr) return 0;
  for (int i = 0; i < links->*list.count; i++)
    if (i == index) return (links->*list.codes)[i];
  return 0;
}

} // namespace

int ddSetParent(int code, int *codes, int count) {
  return setLinks(code, codes, count, kParents);
}

int ddSetChild(int code, int *codes, int count) {
  return setLinks(code, codes, count, kChildren);
}

int ddSetAlias(int code, int *codes, int count) {
  return setLinks(code, codes, count, kAliases);
}

int ddGetParentCount(int code) {
  return linkCount(code, kParents);
}

int ddGetChildCount(int code) {
  return linkCount(code, kChildren);
}

int ddGetAliasCount(int code) {
  return linkCount(code, kAliases);
}

int *ddGetParent(int code) {
  return linkArray(code, kParents);
}

int *ddGetChild(int code) {
  return linkArray(code, kChildren);
}

int *ddGetAlias(int code) {
  return linkArray(code, kAliases);
}

int ddGetParentNth(int code, int index) {
  return linkNth(code, index, kParents);
}

int ddGetChildNth(int code, int index) {
  return linkNth(code, index, kChildren);
}

int ddGetAliasNth(int code, int index) {
  return linkNth(code, index, kAliases);
}

short ddGetSubRev(int code) {
  ddLinks *links = linksOf(code);
  return links ? links->subRev : 0;
}

/* ---------------------------------------------------------------------------
** Extensions (ddAddXcode and ddCompareCodes are in apidd1)
*/

int ddSetXcode(int code, const char *name) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  ddAddXcode(e, name);
  return 1;
}

int ddIsLegalXcode(int target, int code) {
  return ddGetExtendCode(code) == target;
}

int ddHasExtension(int code) {
  if (code < 1) return 0;
  for (int n = 1; n < ddSiteTableCount; n++) {
    ddSite *site = ddSiteTable[n];
    for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++) {
      const ddSchema &e = site->recordTable[i].head;
      if (e.code != 0 && e.extendCode == code) return e.code;
    }
  }
  return 0;
}

int ddGetExtFieldCount(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r && r->extFields ? mlistCount(r->extFields) : 0;
}

int ddGetExtFieldNth(int code, unsigned int index) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr || r->extFields == nullptr) return 0;
  if (index >= static_cast<unsigned int>(mlistCount(r->extFields))) return 0;
  return static_cast<int>(mlistNth(r->extFields, index));
}
