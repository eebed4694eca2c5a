/*
** Record fields and their deferred layout, parents, children, aliases and
** extensions; paths between records are in ddpath1. How layout and searches
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

/* Sizes and offsets are worked in 64 bits, where no sum of a record's 255
** slots of at most 2^31 bytes each, nor a product of two ints, can overflow;
** the store keeps only those that fit an int. */
int64_t timesArray(int length, int arrayCount) {
  return arrayCount >= 2 ? int64_t{length} * arrayCount : length;
}

bool fitsInt(int64_t size) {
  return size >= INT32_MIN && size <= INT32_MAX;
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

/* One layout pass: a ddFixup, or a ddPackFields of its own. A record laid
** out in the pass at a length other than 0 says so by its length; the marks
** tell the others apart: one laid out at length 0 (empty, or too long to
** keep) from one not reached yet, and one found on the way, which closes a
** cycle, without a second search of the way. So each record is laid out once
** per pass, whatever its length, and normal sites leave the map empty. */
enum LayoutMark { kNotReached, kOnTheWay, kLaidOut }; /* kNotReached is what a missing mark reads as */
struct LayoutPass {
  std::unordered_map<const ddRSchema *, int> marks;

  int markOf(const ddRSchema *record) const {
    if (marks.empty()) return kNotReached;
    auto found = marks.find(record);
    return found == marks.end() ? kNotReached : found->second;
  }
  /* Whether a record of length 0 held in line is to be laid out before the
  ** slot that holds it: reached neither before nor on the way here. */
  bool needsLayout(const ddRSchema *record) {
    if (record->fields == nullptr || markOf(record) != kNotReached) return false;
    if (!onTheWay(record)) return true;
    marks[record] = kOnTheWay;
    return false;
  }
  void laidOut(const ddRSchema *record, int length) {
    if (length == 0) marks[record] = kLaidOut;
    else if (!marks.empty()) marks.erase(record);
  }
};

int packRecord(ddRSchema *record, LayoutPass &pass);

int clearPackedLength(ddSchema *entry, int, void *) {
  if (isPacked(entry)) entry->length = 0;
  return 1;
}

int layOutPacked(ddSchema *entry, int, void *user) {
  auto &pass = *static_cast<LayoutPass *>(user);
  if (isPacked(entry) && entry->length == 0 && pass.markOf(asRecord(entry)) != kLaidOut)
    entry->length = packRecord(asRecord(entry), pass);
  return 1;
}

} // namespace

void ddFixup(void) {
  if (ddFixupPending == 0) return;
  LayoutPass pass;
  ddWalkSchemas(clearPackedLength, 1, 0, nullptr);
  ddWalkSchemas(layOutPacked, 1, 0, &pass);
  ddFixupPending = 0;
}

namespace {

/* A record whose slots are being laid out: the slot at hand and the running
** offset. */
struct PackFrame {
  ddRSchema *record;
  int slot;
  int64_t offset;
};

std::vector<PackFrame> &packFrames() {
  static auto *frames = new std::vector<PackFrame>; /* lives to exit */
  return *frames;
}

/* Bytes of one whole value of a data definition, arrayCount included. */
int64_t dataSize(const ddDSchema *d) {
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
** (the slot's size then follows from its length), rather than laid out. A
** record of length 0 that needs no layout measures 0: laid out so, without
** fields, or held in line by itself, so that this slot closes the cycle. */
int64_t measureSlot(const ddField &slot, LayoutPass &pass, ddRSchema **inner) {
  int kind = ddFieldKind(&slot);
  if (kind == DD_KIND_POINTER) return 4;
  if (kind != DD_KIND_DC && kind != DD_KIND_STRUCTURE) return 0;
  if (ddRSchema *r = ddGetRSchema(slot.code)) {
    if (r->head.length == 0 && pass.needsLayout(r)) *inner = r;
    return timesArray(r->head.length, r->head.arrayCount);
  }
  if (ddDSchema *d = ddGetDSchema(slot.code)) return dataSize(d);
  return 0;
}

/* A definition as a message names it: its name in quotes, or its code. */
const char *nameForMessage(int code, char *out, size_t size) {
  const char *name = ddGetName(code);
  if (name != nullptr) std::snprintf(out, size, "\"%s\"", name);
  else std::snprintf(out, size, "%d", code);
  return out;
}

/* The record at hand does not fit what an int holds from its slot at hand
** on: told, and laid out empty (length 0, every offset 0), so that queries
** and the records holding it all see a record of 0 bytes. */
void layOutEmpty(PackFrame &top) {
  ddRSchema *r = top.record;
  char record[128], field[128];
  ddReportAtCode(r->head.code);
  ddReport(DD_MSG_RECORD_TOO_LONG,
           "ERROR: Record %s is longer than 2147483647 bytes at field %d (%s); its length and offsets are set to 0.\n",
           nameForMessage(r->head.code, record, sizeof record), top.slot,
           nameForMessage(r->fields[top.slot].code, field, sizeof field));
  for (int i = 0; i < r->fieldCount; i++) r->fields[i].offset = 0;
  top.offset = 0;
  top.slot = r->fieldCount;
}

/* Gives the slot at hand the running offset and moves that on by size;
** false when the slot or its end leaves the range of int, which lays the
** record out empty and ends its frame. */
bool placeSlot(PackFrame &top, int64_t size) {
  int64_t end = top.offset + size;
  if (!fitsInt(size) || !fitsInt(end)) {
    layOutEmpty(top);
    return false;
  }
  top.record->fields[top.slot].offset = static_cast<int32_t>(top.offset);
  top.offset = end;
  return true;
}

/* Places the top frame's slots from the one at hand on; gives the record a
** slot holds in line that must be laid out first, or null when the frame is
** done. */
ddRSchema *placeSlots(PackFrame &top, LayoutPass &pass) {
  for (; top.slot < top.record->fieldCount; top.slot++) {
    ddRSchema *inner = nullptr;
    int64_t size = measureSlot(top.record->fields[top.slot], pass, &inner);
    if (inner != nullptr) return inner;
    if (!placeSlot(top, size)) return nullptr;
  }
  return nullptr;
}

/* Records held in line are laid out on a stack on the heap, innermost on
** top, so that the depth of nesting costs no stack of the caller's. Each
** frame's record is on the way while its slots are measured; an inner
** record gets its length when its frame ends, the outermost gives it. */
int packRecord(ddRSchema *record, LayoutPass &pass) {
  if (record->fields == nullptr) return 0;
  auto &way = layoutOnTheWay();
  auto &frames = packFrames();
  size_t base = frames.size();
  way.push_back(record);
  frames.push_back({record, 0, 0});
  for (;;) {
    if (ddRSchema *inner = placeSlots(frames.back(), pass)) {
      way.push_back(inner);
      frames.push_back({inner, 0, 0});
      continue;
    }
    ddRSchema *done = frames.back().record;
    int length = static_cast<int>(frames.back().offset); /* placeSlot kept it in range */
    pass.laidOut(done, length);
    way.pop_back();
    frames.pop_back();
    if (frames.size() == base) return length;
    done->head.length = length;
    PackFrame &holder = frames.back();
    if (placeSlot(holder, timesArray(length, done->head.arrayCount))) holder.slot++;
  }
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

int ddPackFields(ddRSchema *record) {
  LayoutPass pass;
  return packRecord(record, pass);
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
  int64_t size = 0;
  if (ddRSchema *r = ddGetRSchema(code)) {
    if (r->head.length == 0) {
      /* Held in line by itself, directly or through others: this slot
      ** closes the cycle and takes no room. */
      if (onTheWay(r)) return 0;
      r->head.length = ddPackFields(r);
    }
    size = timesArray(r->head.length, r->head.arrayCount);
  } else if (ddDSchema *d = ddGetDSchema(code)) {
    size = dataSize(d);
  }
  return fitsInt(size) ? static_cast<int>(size) : 0; /* as a slot of a record laid out empty */
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
