/*
** Plain queries: one property of a definition by its code (tag type, flags,
** name, label, length, value range and the like), each answering 0 or null
** for a code that names nothing of the kind it asks about.
*/
#include "ddstore.h"
#include "ddfield.h"

namespace {
/* The data entry for a code found through the cache. A record code gives
** null: the words at a data field's place in a record entry are its level,
** counts and pointers, which mean nothing as values, so the data queries
** answer a record code as they answer a code that names nothing. */
ddDSchema *dataEntryOf(int code) {
  ddSchema *entry = ddGetSchema(code);
  int index;
  ddSite *site;
  if (entry == nullptr || ddDecodeCode(code, &index, &site) != DD_KIND_DATA) return nullptr;
  return reinterpret_cast<ddDSchema *>(entry);
}

uint32_t flagsOf(int code) {
  ddSchema *entry = ddGetSchema(code);
  return entry ? entry->flags : 0;
}
} // namespace

int ddGetTagType(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? e->tagType : 0;
}

int ddGetKey(int code) {
  return static_cast<int>(flagsOf(code) & DD_FLAG_KEY_MASK);
}

signed char ddGetVersion(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? static_cast<signed char>(e->version & 0xFF) : 0;
}

int ddIsDisplay(int code) {
  return (flagsOf(code) & DD_FLAG_IS_DISPLAY) != 0;
}

int ddIsEdit(int code) {
  return (flagsOf(code) & DD_FLAG_IS_EDIT) != 0;
}

int ddIsSearch(int code) {
  return (flagsOf(code) & DD_FLAG_IS_SEARCH) != 0;
}

const char *ddGetName(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? e->name : nullptr;
}

const char *ddGetLabel(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? e->label : nullptr;
}

const char *ddGetDesc(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? e->desc : nullptr;
}

int ddGetExtendCode(int code) {
  ddSchema *e = ddGetSchema(code);
  return e ? e->extendCode : 0;
}

int ddGetArrayCount(int code) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  return e->arrayCount == 0 ? 1 : e->arrayCount;
}

int ddGetLength(int code) {
  int index;
  ddSite *site;
  switch (ddDecodeCode(code, &index, &site)) {
  case DD_KIND_RECORD: {
    ddRSchema *r = ddSiteRecordAt(site, index);
    return r ? r->head.length : 0;
  }
  case DD_KIND_DATA: {
    ddDSchema *d = ddSiteDataAt(site, index);
    if (d == nullptr) return 0;
    /* A flag's length counts bits: a one-bit flag reads -1. */
    return d->head.length != 0 && d->head.tagType == MTYPE_FLAG ? -d->head.length : d->head.length;
  }
  default:
    return 0;
  }
}

int ddHasBead(int code) {
  int tag = ddGetTagType(code);
  return tag == MTYPE_BEAD || tag == MTYPE_ROOT;
}

float ddGetMinVal(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d ? d->minVal : 0.0f;
}

float ddGetMaxVal(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d ? d->maxVal : 0.0f;
}

float ddGetDefVal(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d ? d->defVal : 0.0f;
}

const char *ddGetDefString(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d ? d->defString : nullptr;
}

int ddIsDefSet(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d && (d->valueFlags & DD_VALUE_DEF_SET) != 0;
}

int ddIsRangeSet(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d && (d->valueFlags & DD_VALUE_RANGE_SET) != 0;
}

int ddIsEnumSet(int code) {
  ddDSchema *d = dataEntryOf(code);
  return d && (d->valueFlags & DD_VALUE_ENUM_SET) != 0;
}

int ddIsEnumOptionMenu(int) {
  return 1;
}

int ddGetIlevel(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->ilevel : 0;
}

const char *ddGetPrefix(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->prefix : nullptr;
}

int ddGetMaxId(int code) {
  ddRSchema *r = ddGetRSchema(code);
  return r ? r->maxId : 0;
}

namespace {
template <typename T> void put(T *out, T value) {
  if (out != nullptr) *out = value;
}

/* ddDeRcode and ddDeDcode: the slot index of either kind, and the entry's
** fields when the code is of the wanted kind. */
ddSchema *deCode(int code, int wantedKind, int *index) {
  int slot = 0;
  ddSite *site = nullptr;
  int kind = ddDecodeCode(code, &slot, &site);
  put(index, kind == DD_KIND_NONE ? 0 : slot);
  if (kind != wantedKind) return nullptr;
  if (kind == DD_KIND_RECORD) {
    ddRSchema *r = ddSiteRecordAt(site, slot);
    return r ? &r->head : nullptr;
  }
  ddDSchema *d = ddSiteDataAt(site, slot);
  return d ? &d->head : nullptr;
}
} // namespace

void ddDeRcode(int code, int *index, int *tagType, int *length, const char **name,
               int *fieldCount, int *ilevel) {
  ddSchema *e = deCode(code, DD_KIND_RECORD, index);
  auto *r = reinterpret_cast<ddRSchema *>(e);
  put(tagType, e ? e->tagType : 0);
  put(length, e ? e->length : 0);
  put(name, e ? e->name : static_cast<const char *>(nullptr));
  put(fieldCount, r ? static_cast<int>(r->fieldCount) : 0);
  put(ilevel, r ? r->ilevel : 0);
}

void ddDeDcode(int code, int *index, int *tagType, int *length, const char **name) {
  ddSchema *e = deCode(code, DD_KIND_DATA, index);
  put(tagType, e ? e->tagType : 0);
  put(length, e ? e->length : 0);
  put(name, e ? e->name : static_cast<const char *>(nullptr));
}

