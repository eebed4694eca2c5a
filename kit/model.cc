/*
** Reading one site into a model through the public dd interface: every
** record and data item in code order, with its options, field table, links
** and the names they refer to, resolved by code within the site.
*/
#include <rkdd/keywords.h>
#include <rkdd/kit.h>

#include "arena.h"
#include "schematext.h"

#include <cstring>

namespace {


/* Where a code lies: its site, or -1 when it is in no site's range. */
int siteOf(int code) {
  if (!ddIsRcode(code) && !ddIsDcode(code)) return -1;
  return ddGetSiteNo(code);
}

int distance(int from, int to) {
  return static_cast<int>(static_cast<uint32_t>(to) - static_cast<uint32_t>(from));
}

int signedKind(uint32_t bits) {
  int kind = static_cast<int>((bits & DD_FIELD_KIND_MASK) >> DD_FIELD_KIND_SHIFT);
  return (kind & 0x200) ? kind - 0x400 : kind;
}

void readHead(kit::Arena &arena, kitDef &d, int kind, int code, int siteNo) {
  const ddSchema *head = ddGetSchema(code);
  d.kind = kind;
  d.code = code;
  d.local = code - siteNo * RKDD_CODE_SPAN;
  d.name = arena.copy(head->name);
  d.label = arena.copy(head->label);
  d.desc = arena.copy(head->desc);
  d.tagType = head->tagType;
  d.length = head->length;
  d.arrayCount = ddGetArrayCount(code);
  d.key = ddGetKey(code);
  d.display = ddIsDisplay(code);
  d.edit = ddIsEdit(code);
  d.search = ddIsSearch(code);
  d.packed = (head->flags & DD_FLAG_IS_PACKED) != 0;
  d.version = head->version;
  d.xcodeName = arena.copy(head->xcodeName);
  d.extendCode = head->extendCode;
  if (d.extendCode != 0) d.extendName = arena.copy(ddGetName(d.extendCode));
}

void readLinks(kit::Arena &arena, const int *codes, int count, kitLink **out, int32_t *outCount) {
  if (codes == nullptr || count <= 0) return;
  kitLink *links = arena.make<kitLink>(static_cast<size_t>(count));
  for (int i = 0; i < count; i++) {
    kitLink &l = links[i];
    l.code = codes[i];
    l.site = siteOf(l.code);
    l.local = l.site >= 0 ? l.code - l.site * RKDD_CODE_SPAN : l.code;
    l.name = ddGetSchema(l.code) ? arena.copy(ddGetName(l.code)) : nullptr;
  }
  *out = links;
  *outCount = count;
}

/* Bytes a slot takes by the lengths the store holds, as the packed layout
** measures it, in 64 bits. */
int64_t packedBytes(const kitField &f, int heldLength) {
  if (f.kind == DD_KIND_POINTER) return 4;
  if ((f.kind != DD_KIND_DC && f.kind != DD_KIND_STRUCTURE) || f.problem == KIT_FIELD_UNRESOLVED) return 0;
  if (f.holdsData && f.tagType == MTYPE_FLAG) return 1;
  return f.arrayCount >= 2 ? int64_t{heldLength} * f.arrayCount : heldLength;
}

/* A packed record whose fields end past what an int holds is laid out
** empty by the store: length 0 and every offset 0. Its fields say why. */
void markTooLong(kitDef &d) {
  if (!d.packed || d.length != 0) return;
  for (int i = 0; i < d.fieldCount; i++)
    if (d.fields[i].offset != 0) return;
  for (int i = 0; i < d.fieldCount; i++) d.fields[i].problem = KIT_FIELD_TOO_LONG;
}

/* The field table as the packed layout left it; the size of a slot is the
** library's own figure, also where a cycle or an unknown length made it
** zero or negative. What a slot of the model's own site holds is taken from
** the model, whose heads are read by then; other codes are asked of the store. */
void readFields(kit::Arena &arena, const kitModel &m, kitDef &d) {
  const ddField *slots = ddGetField(d.code);
  int count = ddGetFieldCount(d.code);
  if (slots == nullptr || count <= 0) return;
  d.fields = arena.make<kitField>(static_cast<size_t>(count));
  d.fieldCount = count;
  int64_t end = 0; /* of the fields laid one after another */
  bool pastInt = false;
  for (int i = 0; i < count; i++) {
    const ddField &slot = slots[i];
    kitField &f = d.fields[i];
    f.code = slot.code;
    const kitDef *own = kitFindCode(&m, slot.code);
    f.site = own ? m.site : siteOf(slot.code);
    f.local = f.site >= 0 ? slot.code - f.site * RKDD_CODE_SPAN : slot.code;
    f.kind = signedKind(slot.bits);
    f.bitPos = static_cast<int>(slot.bits & DD_FIELD_BITPOS_MASK);
    f.offset = slot.offset;
    f.size = distance(slot.offset, i + 1 < count ? slots[i + 1].offset : d.length);
    f.nested = -1;
    bool held, record;
    int heldLength;
    if (own != nullptr) {
      held = true;
      record = own->kind == KIT_RECORD;
      f.name = own->name;
      f.arrayCount = own->arrayCount;
      f.tagType = own->tagType;
      heldLength = own->length;
      if (record) f.nested = static_cast<int32_t>(own - m.records);
    } else {
      const ddSchema *head = ddGetSchema(slot.code);
      held = head != nullptr;
      record = held && ddIsRcode(slot.code) && ddGetRSchema(slot.code) != nullptr;
      f.name = held ? arena.copy(head->name) : nullptr;
      f.arrayCount = held ? ddGetArrayCount(slot.code) : 1;
      f.tagType = held ? head->tagType : -1;
      heldLength = held ? head->length : 0;
    }
    f.holdsData = held && !record;
    bool pointer = f.kind == DD_KIND_POINTER;
    f.inLine = !pointer && record;
    if (!f.inLine) f.nested = -1;
    if (f.kind != DD_KIND_DC && !pointer && f.kind != DD_KIND_STRUCTURE)
      f.problem = KIT_FIELD_BAD_KIND;
    else if (pointer)
      f.problem = KIT_FIELD_OK;
    else if (!held)
      f.problem = KIT_FIELD_UNRESOLVED;
    else if (f.inLine && f.size == 0 && heldLength != 0)
      f.problem = KIT_FIELD_CYCLE;
    else if (f.size < 0)
      f.problem = KIT_FIELD_NO_SIZE;
    int64_t bytes = packedBytes(f, heldLength);
    end += bytes;
    pastInt = pastInt || bytes > INT32_MAX || bytes < INT32_MIN || end > INT32_MAX || end < INT32_MIN;
  }
  if (pastInt) markTooLong(d);
}

void readRecord(kit::Arena &arena, kitDef &d, int code, int siteNo) {
  readHead(arena, d, KIT_RECORD, code, siteNo);
  const ddRSchema *r = ddGetRSchema(code);
  d.level = r->ilevel;
  d.prefix = arena.copy(r->prefix);
  d.maxId = r->maxId;
  d.subRev = ddGetSubRev(code);
  readLinks(arena, ddGetParent(code), ddGetParentCount(code), &d.parents, &d.parentCount);
  readLinks(arena, ddGetChild(code), ddGetChildCount(code), &d.children, &d.childCount);
  readLinks(arena, ddGetAlias(code), ddGetAliasCount(code), &d.aliases, &d.aliasCount);
}

void readData(kit::Arena &arena, kitDef &d, int code, int siteNo) {
  readHead(arena, d, KIT_DATA, code, siteNo);
  const ddDSchema *e = ddGetDSchema(code);
  d.rangeSet = (e->valueFlags & DD_VALUE_RANGE_SET) != 0;
  d.defSet = (e->valueFlags & DD_VALUE_DEF_SET) != 0;
  d.enumSet = (e->valueFlags & DD_VALUE_ENUM_SET) != 0;
  d.minVal = e->minVal;
  d.maxVal = e->maxVal;
  d.defVal = e->defVal;
  d.defString = arena.copy(e->defString);
}

/* Index of the definition with this code in defs (sorted by code), or -1. */
int indexOf(const kitDef *defs, int count, int code) {
  if (count == 0 || code < defs[0].code || code > defs[count - 1].code) return -1;
  /* Without gaps the code's distance from the first one is its index. */
  long long guess = static_cast<long long>(code) - defs[0].code;
  if (guess >= 0 && guess < count && defs[guess].code == code) return static_cast<int>(guess);
  int lo = 0, hi = count - 1;
  while (lo <= hi) {
    int mid = lo + (hi - lo) / 2;
    if (defs[mid].code == code) return mid;
    if (defs[mid].code < code) lo = mid + 1;
    else hi = mid - 1;
  }
  return -1;
}

} // namespace

extern "C" {

kitModel *kitModelRead(int siteNo) {
  ddSite *site = ddSiteNo2SiteInfo(siteNo);
  if (site == nullptr) return nullptr;
  auto *arena = new (std::nothrow) kit::Arena;
  if (arena == nullptr) return nullptr;
  try {
    kitModel *m = arena->make<kitModel>(1);
    m->internal = arena;
    m->site = siteNo;
    m->siteId = arena->copy(site->id);
    m->siteDesc = arena->copy(site->desc);
    int firstRecord = 0, lastRecord = 0, firstData = 0, lastData = 0;
    ddSiteInfo(siteNo, &firstRecord, &lastRecord, &firstData, &lastData);
    m->recordBase = firstRecord - siteNo * RKDD_CODE_SPAN;
    m->dataBase = firstData - siteNo * RKDD_CODE_SPAN;
    /* Slots hold full codes in rising order; an empty slot holds 0. A
    ** temporary entry holds its local code, which is mapped back. */
    int records = 0, data = 0;
    for (int n = 0; n < site->recordCount; n++)
      if (ddSiteGetNthRcode(siteNo, n) != 0) records++;
    for (int n = 0; n < site->dataCount; n++)
      if (ddSiteGetNthDcode(siteNo, n) != 0) data++;
    m->records = arena->make<kitDef>(static_cast<size_t>(records));
    m->data = arena->make<kitDef>(static_cast<size_t>(data));
    for (int n = 0; n < site->recordCount; n++)
      if (ddSiteGetNthRcode(siteNo, n) != 0)
        readRecord(*arena, m->records[m->recordCount++], firstRecord + n, siteNo);
    for (int n = 0; n < site->dataCount; n++)
      if (ddSiteGetNthDcode(siteNo, n) != 0)
        readData(*arena, m->data[m->dataCount++], firstData + n, siteNo);
    for (int i = 0; i < m->recordCount; i++) readFields(*arena, *m, m->records[i]);
    int32_t *widths = arena->make<int32_t>(static_cast<size_t>(m->dataCount));
    kitBitWidths(m, widths);
    for (int i = 0; i < m->dataCount; i++) m->data[i].bitWidth = widths[i];
    return m;
  } catch (const std::bad_alloc &) {
    delete arena;
    return nullptr;
  }
}

void kitModelFree(kitModel *model) {
  if (model != nullptr) delete static_cast<kit::Arena *>(model->internal);
}

const kitDef *kitFindCode(const kitModel *model, int code) {
  if (model == nullptr) return nullptr;
  int i = indexOf(model->records, model->recordCount, code);
  if (i >= 0) return &model->records[i];
  i = indexOf(model->data, model->dataCount, code);
  return i >= 0 ? &model->data[i] : nullptr;
}

int kitBitWidths(const kitModel *model, int32_t *widths) {
  if (model == nullptr || widths == nullptr) return 0;
  const int kEnumDefault = kit::defaultLength(MTYPE_ENUM); /* bits of one that gives no LEN */
  for (int i = 0; i < model->dataCount; i++) widths[i] = model->data[i].tagType == MTYPE_FLAG;
  auto bits = [](const kitField &f) {
    return f.holdsData && (f.tagType == MTYPE_FLAG || f.tagType == MTYPE_ENUM);
  };
  for (int r = 0; r < model->recordCount; r++) {
    const kitDef &rec = model->records[r];
    for (int k = 0; k + 1 < rec.fieldCount; k++) {
      const kitField &f = rec.fields[k], &next = rec.fields[k + 1];
      if (f.tagType != MTYPE_ENUM || !bits(f) || !bits(next) || f.site != model->site) continue;
      int i = indexOf(model->data, model->dataCount, f.code);
      if (i < 0 || widths[i] != 0) continue;
      /* The reader puts the next member where this one's width ends, or at
      ** a fresh byte once the width reaches the byte's end. */
      int b = f.bitPos & 7, c = next.bitPos & 7;
      widths[i] = c > b ? c - b : c == 0 ? (b + kEnumDefault >= 8 ? kEnumDefault : 8 - b) : 0;
    }
  }
  int untold = 0;
  for (int i = 0; i < model->dataCount; i++) untold += model->data[i].tagType == MTYPE_ENUM && widths[i] == 0;
  return untold;
}

const kitDef *kitFindName(const kitModel *model, const char *name) {
  if (model == nullptr || name == nullptr) return nullptr;
  for (int i = 0; i < model->recordCount; i++)
    if (model->records[i].name && std::strcmp(model->records[i].name, name) == 0)
      return &model->records[i];
  for (int i = 0; i < model->dataCount; i++)
    if (model->data[i].name && std::strcmp(model->data[i].name, name) == 0) return &model->data[i];
  return nullptr;
}

} // extern "C"
