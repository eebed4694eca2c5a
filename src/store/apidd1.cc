/*
** Sites, codes and entries: the site table, decoding a code to its slot, the
** lookups by code, name, label and format level, and the creation of
** definitions with their plain setters. Plain queries are in ddquery1,
** compiled sites fixed up in ddcompiled1, temporary sites kept in ddtemp1.
*/
#define RK_SOURCE_NAME "apidd1"
#include "ddstore.h"
#include "ddfield.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/mblock.h"
#include "support/mlist.h"
#include "support/rkmem.h"

ddSite *ddSiteTable[DD_MAX_SITES];
int ddSiteTableCount;

namespace {

/* The entry that ddGetSchema found last on this thread, keyed by the code it
** was asked and by the table generation it was found in: every move of a
** table starts a new generation, so a remembered entry is used only while
** its table stands where it stood. Writers never run beside queries, so the
** generation needs no atomic access; each thread keeps its own entry, so
** queries on many threads write nothing that another thread reads. */
struct LookupCache {
  uint64_t generation; /* 0: empty */
  int code;
  ddSchema *entry;
};
/* Initial-exec: one load from the thread pointer instead of a call on every
** look-up. The 24 bytes fit the room the C library keeps for the static
** thread storage of libraries opened later with dlopen. */
[[gnu::tls_model("initial-exec")]] thread_local LookupCache ddLookupCache;
uint64_t ddTableGeneration = 1; /* 64 bits: it never wraps */

BlockRegistry &ownedBlocks() {
  static auto *blocks = new BlockRegistry; /* lives to exit */
  return *blocks;
}

bool sameText(const char *a, const char *b) {
  return std::strcmp(a, b) == 0;
}

} // namespace

void ddOwnBlock(const void *block) {
  if (block != nullptr) ownedBlocks().add(block);
}

int ddOwnsBlock(const void *block) {
  return block != nullptr && ownedBlocks().holds(block);
}

int ddReleaseBlockAt(void *block, const char *file, int line) {
  if (block == nullptr || !ownedBlocks().remove(block)) return 0;
  UZA_free(block, file, line);
  return 1;
}

void *ddOwnedZeroBlock(size_t size) {
  void *block = rkAllocatez(size);
  ddOwnBlock(block);
  return block;
}

void *ddOwnedCopy(const void *block, size_t size) {
  void *copy = rkAllocate(size);
  std::memcpy(copy, block, size);
  ddOwnBlock(copy);
  return copy;
}

/* ---------------------------------------------------------------------------
** Sites
*/

ddSite *ddSiteAt(int siteNo) {
  return siteNo >= 0 && siteNo < ddSiteTableCount ? ddSiteTable[siteNo] : nullptr;
}

ddSite *ddNewSite(const char *id, const char *desc, int *siteNo) {
  if (ddSiteTableCount >= DD_MAX_SITES) return nullptr;
  if (id != nullptr) {
    for (int n = 0; n < ddSiteTableCount; n++) {
      ddSite *site = ddSiteTable[n];
      if (sameText(site->id, id) && (desc == nullptr || sameText(site->desc, desc))) {
        *siteNo = n;
        return site;
      }
    }
  }
  int n = ddSiteTableCount;
  auto *site = static_cast<ddSite *>(rkAllocate(sizeof(ddSite)));
  std::memset(site, 0, sizeof *site);
  ddSiteTable[n] = site;
  site->codeOffset = n << 12;
  site->siteNo = n;
  *siteNo = n;
  ddSiteTableCount++;
  /* The zero fill terminates both copies, also at their full length. */
  if (id != nullptr) std::strncpy(site->id, id, 8);
  if (desc != nullptr) std::strncpy(site->desc, desc, 96);
  site->recordBase = site->firstRecord = DD_RECORD_BASE;
  site->lastRecord = DD_RECORD_BASE - 1;
  site->siteWord = DD_SITE_WORD;
  site->dataBase = site->firstData = DD_DATA_BASE;
  site->lastData = DD_DATA_BASE - 1;
  return site;
}

int ddSiteCount(void) {
  return ddSiteTableCount;
}

int ddSiteInfo(int siteNo, int *firstRecord, int *lastRecord, int *firstData, int *lastData) {
  ddSite *site = ddSiteAt(siteNo);
  if (site == nullptr) return 0;
  *firstRecord = site->firstRecord + site->codeOffset;
  *lastRecord = site->lastRecord + site->codeOffset;
  *firstData = site->firstData + site->codeOffset;
  *lastData = site->lastData + site->codeOffset;
  return 1;
}

ddSite *ddSiteNo2SiteInfo(int siteNo) {
  return ddSiteAt(siteNo);
}

ddSite *ddSiteId2SiteInfo(const char *id) {
  if (id == nullptr || id[0] == '\0') return nullptr;
  int n;
  return ddSiteId2SiteNo(id, &n) ? ddSiteTable[n] : nullptr;
}

int ddSiteId2SiteNo(const char *id, int *siteNo) {
  if (id == nullptr) return 0;
  for (int n = 0; n < ddSiteTableCount; n++) {
    if (std::strncmp(ddSiteTable[n]->id, id, 8) == 0) {
      *siteNo = n;
      return 1;
    }
  }
  return 0;
}

ddRSchema *ddSiteRecordAt(ddSite *site, int n) {
  if (site->recordTable == nullptr || n < 0 || n >= site->recordCount) return nullptr;
  return &site->recordTable[n];
}

ddDSchema *ddSiteDataAt(ddSite *site, int n) {
  if (site->dataTable == nullptr || n < 0 || n >= site->dataCount) return nullptr;
  return &site->dataTable[n];
}

int ddSiteRecordCode(int siteNo, int n) {
  ddSite *site = ddSiteTable[siteNo];
  return site->codeOffset + site->recordBase + n;
}

int ddSiteDataCode(int siteNo, int n) {
  ddSite *site = ddSiteTable[siteNo];
  return site->codeOffset + site->dataBase + n;
}

ddRSchema *ddSiteGetNthRSchema(int siteNo, int n) {
  ddSite *site = ddSiteAt(siteNo);
  return site ? ddSiteRecordAt(site, n) : nullptr;
}

ddDSchema *ddSiteGetNthDSchema(int siteNo, int n) {
  ddSite *site = ddSiteAt(siteNo);
  return site ? ddSiteDataAt(site, n) : nullptr;
}

int ddSiteGetNthRcode(int siteNo, int n) {
  ddRSchema *r = ddSiteGetNthRSchema(siteNo, n);
  return r ? r->head.code : 0;
}

int ddSiteGetNthDcode(int siteNo, int n) {
  ddDSchema *d = ddSiteGetNthDSchema(siteNo, n);
  return d ? d->head.code : 0;
}

/* ---------------------------------------------------------------------------
** Codes
*/

int ddDecodeCode(int code, int *index, ddSite **site) {
  int siteNo = code / DD_CODE_BASE; /* truncating: -1 is site 0, local -1 */
  int local = code % DD_CODE_BASE;
  ddSite *s = ddSiteAt(siteNo);
  if (s == nullptr) return DD_KIND_NONE;
  *site = s;
  if (local >= s->firstRecord && local <= s->lastRecord) {
    *index = local - s->recordBase;
    return DD_KIND_RECORD;
  }
  if (local >= s->firstData && local <= s->lastData) {
    *index = local - s->dataBase;
    return DD_KIND_DATA;
  }
  return DD_KIND_NONE;
}

namespace {
/* The site of a code that lies in one of its site's ranges, or null. */
ddSite *siteOfCode(int code) {
  int index;
  ddSite *site;
  return ddDecodeCode(code, &index, &site) != DD_KIND_NONE ? site : nullptr;
}
} // namespace

int ddIsRcode(int code) {
  ddSite *site = ddSiteAt(code / DD_CODE_BASE);
  return site && ddInRange(code % DD_CODE_BASE, site->firstRecord, site->lastRecord);
}

int ddIsDcode(int code) {
  ddSite *site = ddSiteAt(code / DD_CODE_BASE);
  return site && ddInRange(code % DD_CODE_BASE, site->firstData, site->lastData);
}

int ddGetSiteNo(int code) {
  return siteOfCode(code) ? code / DD_CODE_BASE : 0;
}

const char *ddGetSiteId(int code) {
  ddSite *site = siteOfCode(code);
  return site ? site->id : nullptr;
}

int ddIsKor(int code) {
  return ddGetSiteNo(code) == 0;
}

int ddGetMyCode(int code) {
  return siteOfCode(code) ? code % DD_CODE_BASE : 0;
}

int ddGetUCode(const char *id, int local) {
  if (id == nullptr) return 0;
  for (int n = 0; n < ddSiteTableCount; n++) {
    ddSite *site = ddSiteTable[n];
    if (!sameText(site->id, id)) continue;
    if (ddInRange(local, site->firstRecord, site->lastRecord) ||
        ddInRange(local, site->firstData, site->lastData))
      return local + site->codeOffset;
    return local;
  }
  return 0;
}

/* ---------------------------------------------------------------------------
** Lookup
*/

void ddClearLookupCache(void) {
  ddTableGeneration++;
}

ddSchema *ddGetSchema(int code) {
  if (ddLookupCache.generation == ddTableGeneration && ddLookupCache.code == code) return ddLookupCache.entry;
  int index;
  ddSite *site;
  ddSchema *entry;
  switch (ddDecodeCode(code, &index, &site)) {
  case DD_KIND_RECORD: {
    ddRSchema *r = ddSiteRecordAt(site, index);
    entry = r ? &r->head : nullptr;
    break;
  }
  case DD_KIND_DATA: {
    ddDSchema *d = ddSiteDataAt(site, index);
    entry = d ? &d->head : nullptr;
    break;
  }
  default:
    return nullptr;
  }
  ddLookupCache = {ddTableGeneration, code, entry};
  return entry;
}

ddRSchema *ddGetRSchema(int code) {
  int index;
  ddSite *site;
  return ddDecodeCode(code, &index, &site) == DD_KIND_RECORD ? ddSiteRecordAt(site, index) : nullptr;
}

ddDSchema *ddGetDSchema(int code) {
  int index;
  ddSite *site;
  return ddDecodeCode(code, &index, &site) == DD_KIND_DATA ? ddSiteDataAt(site, index) : nullptr;
}

int ddWalkSchemas(ddSchemaVisit visit, int records, int data, void *user) {
  int result = 1;
  for (int n = 0; n < ddSiteTableCount && result != 0; n++) {
    ddSite *site = ddSiteTable[n];
    if (records && site->recordTable)
      for (int i = 0; i < site->recordCount && result != 0; i++)
        result = visit(&site->recordTable[i].head, DD_KIND_RECORD, user);
    if (data && site->dataTable)
      for (int i = 0; i < site->dataCount && result != 0; i++)
        result = visit(&site->dataTable[i].head, DD_KIND_DATA, user);
  }
  return result;
}

int ddNameToCode(const char *name) {
  if (name == nullptr) return 0;
  ddSchema *entry = ddIndexFindName(name, 0);
  return entry ? entry->code : 0;
}

ddRSchema *ddRecordByName(const char *name) {
  if (name == nullptr) return nullptr;
  /* Only record entries are searched, and each begins with its head. */
  return reinterpret_cast<ddRSchema *>(ddIndexFindName(name, 1));
}

int ddLabelToCode(const char *label) {
  if (label == nullptr) return 0;
  ddSchema *entry = ddIndexFindLabel(label);
  return entry ? entry->code : 0;
}

int ddIlevel2Code(int ilevel) {
  if (ilevel == 0) return 0;
  ddRSchema *record = ddIndexFindLevel(ilevel);
  return record ? record->head.code : 0;
}

/* ---------------------------------------------------------------------------
** Creating definitions
*/

namespace {

/* Whether the next local code of one kind is free to take. A site made by
** ddNewSite has room for records 256..2047 and data 2048..4095; beyond that
** a record would shadow a data code and a data code would fall into the
** next site, so creation refuses. The same test holds for any bounds a
** compiled site brought: the new code must stay within one site's code
** space, off the other kind's range, and below it when that range lies
** above this one. */
bool nextCodeFree(int next, int ownFirst, int otherFirst, int otherLast) {
  if (next >= DD_CODE_BASE) return false;
  if (otherFirst > ownFirst && next >= otherFirst) return false;
  return !ddInRange(next, otherFirst, otherLast);
}

/* Room kept behind a site's tables, so that adding a definition copies the
** table only when that room is used up: the counts stay exact, and entries
** move only when their table really grows. Room is trusted only while the
** site still holds the very blocks it was recorded for; every path that
** releases or replaces a site's tables forgets their room, so a block that
** matches is still the one recorded. */
struct Room {
  const void *table;
  const void *map;
  int capacity;
};
Room recordRoom[DD_MAX_SITES], dataRoom[DD_MAX_SITES];

/* Moves a table of entries and its code map, count entries each, to new
** blocks with room for capacity, and records that room. The room is zero
** bytes when zero is set. */
template <typename Entry>
void moveTable(Entry **table, int32_t **map, int count, int capacity, Room *room, bool zero = false) {
  auto *newTable = static_cast<Entry *>(zero ? rkAllocatez(sizeof(Entry) * capacity) : rkAllocate(sizeof(Entry) * capacity));
  auto *newMap = static_cast<int32_t *>(zero ? rkAllocatez(sizeof(int32_t) * capacity) : rkAllocate(sizeof(int32_t) * capacity));
  ddOwnBlock(newTable);
  ddOwnBlock(newMap);
  if (*table != nullptr) std::memcpy(newTable, *table, sizeof(Entry) * count);
  if (*map != nullptr) std::memcpy(newMap, *map, sizeof(int32_t) * count);
  ddReleaseBlock(*table);
  ddReleaseBlock(*map);
  *table = newTable;
  *map = newMap;
  *room = {newTable, newMap, capacity};
  ddClearLookupCache();
}

bool hasRoom(const void *table, const void *map, int n, const Room &room) {
  return table != nullptr && table == room.table && map == room.map && n <= room.capacity;
}

/* Gives a table of entries and its code map one more slot, and that slot. */
template <typename Entry>
Entry *growTable(Entry **table, int32_t **map, int32_t *count, Room *room) {
  int n = *count + 1;
  if (!hasRoom(*table, *map, n, *room)) moveTable(table, map, n - 1, n < 8 ? 8 : 2 * n, room);
  *count = n;
  ddClearLookupCache();
  return &(*table)[n - 1];
}

void initHead(ddSchema *head, int code, const ddSite *site) {
  head->code = code;
  head->flags = DD_FLAG_IS_PACKED;
  head->arrayCount = 1;
  auto *siteId = static_cast<char *>(rkAllocate(9));
  std::strncpy(siteId, site->id, 8); /* pads with zero bytes */
  siteId[8] = '\0';
  head->siteId = siteId;
}

} // namespace

int ddNewRecordDef(int siteNo) {
  ddSite *site = ddSiteAt(siteNo);
  if (site == nullptr ||
      !nextCodeFree(site->lastRecord + 1, site->firstRecord, site->firstData, site->lastData))
    return 0;
  ddRSchema *r = growTable(&site->recordTable, &site->recordMap, &site->recordCount, &recordRoom[siteNo]);
  site->lastRecord++;
  int code = site->lastRecord + site->codeOffset;
  site->recordMap[site->recordCount - 1] = code;
  std::memset(r, 0, sizeof *r);
  initHead(&r->head, code, site);
  return code;
}

int ddNewDataDef(int siteNo) {
  ddSite *site = ddSiteAt(siteNo);
  if (site == nullptr ||
      !nextCodeFree(site->lastData + 1, site->firstData, site->firstRecord, site->lastRecord))
    return 0;
  ddDSchema *d = growTable(&site->dataTable, &site->dataMap, &site->dataCount, &dataRoom[siteNo]);
  site->lastData++;
  int code = site->lastData + site->codeOffset;
  site->dataMap[site->dataCount - 1] = code;
  std::memset(d, 0, sizeof *d);
  initHead(&d->head, code, site);
  return code;
}

void ddReserveDefinitions(int siteNo, int records, int data) {
  ddSite *site = ddSiteAt(siteNo);
  if (site == nullptr) return;
  int n = site->recordCount + records;
  if (records > 0 && !hasRoom(site->recordTable, site->recordMap, n, recordRoom[siteNo]))
    moveTable(&site->recordTable, &site->recordMap, site->recordCount, n, &recordRoom[siteNo]);
  n = site->dataCount + data;
  if (data > 0 && !hasRoom(site->dataTable, site->dataMap, n, dataRoom[siteNo]))
    moveTable(&site->dataTable, &site->dataMap, site->dataCount, n, &dataRoom[siteNo]);
}

void ddResizeRecordTable(ddSite *site, int count) {
  moveTable(&site->recordTable, &site->recordMap, site->recordCount, count, &recordRoom[site->siteNo], true);
  site->recordCount = count;
}

void ddForgetRoom(int siteNo) {
  recordRoom[siteNo] = dataRoom[siteNo] = Room{};
}

/* ---------------------------------------------------------------------------
** Setters
*/

void ddReplaceString(const char **field, const char *text) {
  char *copy = nullptr;
  if (text != nullptr) {
    size_t n = std::strlen(text) + 1;
    copy = static_cast<char *>(rkAllocate(n));
    std::memcpy(copy, text, n);
    ddOwnBlock(copy);
  }
  /* A compiled library's text is not ours to free; only the pointer goes. */
  ddReleaseBlock(*field);
  *field = copy;
}

namespace {
int setText(int code, const char *ddSchema::*field, const char *text) {
  ddSchema *entry = ddGetSchema(code);
  if (entry == nullptr) return 0;
  ddReplaceString(&(entry->*field), text);
  ddIndexCodeChanged(code);
  return 1;
}

int setFlag(int code, uint32_t bit, int value) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  e->flags = (value & 1) ? (e->flags | bit) : (e->flags & ~bit);
  return 1;
}
} // namespace

int ddSetName(int code, const char *name) {
  return setText(code, &ddSchema::name, name);
}

int ddSetLabel(int code, const char *label) {
  return setText(code, &ddSchema::label, label);
}

int ddSetDesc(int code, const char *desc) {
  return setText(code, &ddSchema::desc, desc);
}

int ddSetPrefix(int code, const char *prefix) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr) return 0;
  ddReplaceString(&r->prefix, prefix);
  return 1;
}

int ddSetKey(int code, int key) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  uint32_t stored = static_cast<uint32_t>(key) & DD_FLAG_KEY_MASK;
  e->flags = (e->flags & ~DD_FLAG_KEY_MASK) | stored;
  return static_cast<int>(stored) == key;
}

int ddSetIsDisplay(int code, int value) {
  return setFlag(code, DD_FLAG_IS_DISPLAY, value);
}

int ddSetIsEdit(int code, int value) {
  return setFlag(code, DD_FLAG_IS_EDIT, value);
}

int ddSetIsSearch(int code, int value) {
  return setFlag(code, DD_FLAG_IS_SEARCH, value);
}

int ddSetLength(int code, int length) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  e->length = length;
  return 1;
}

int ddSetRange(int code, float min, float max) {
  ddDSchema *d = ddGetDSchema(code);
  if (d == nullptr) return 0;
  d->minVal = min;
  d->maxVal = max;
  d->valueFlags |= DD_VALUE_RANGE_SET;
  return 1;
}

int ddUnsetRange(int code) {
  ddDSchema *d = ddGetDSchema(code);
  if (d == nullptr) return 0;
  d->valueFlags &= ~DD_VALUE_RANGE_SET;
  return 1;
}

int ddSetDefVal(int code, float value) {
  ddDSchema *d = ddGetDSchema(code);
  if (d == nullptr) return 0;
  d->defVal = value;
  d->valueFlags |= DD_VALUE_DEF_SET;
  return 1;
}

int ddUnsetDefVal(int code) {
  ddDSchema *d = ddGetDSchema(code);
  if (d == nullptr) return 0;
  d->valueFlags &= ~DD_VALUE_DEF_SET;
  return 1;
}

int ddSetIlevel(int code, int ilevel) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr) return 0;
  r->ilevel = ilevel;
  ddIndexCodeChanged(code);
  return 1;
}

int ddSetMaxId(int code, int maxId) {
  ddRSchema *r = ddGetRSchema(code);
  if (r == nullptr) return 0;
  r->maxId = maxId;
  return 1;
}

int ddSetVersion(int code, int version) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  e->version = static_cast<int16_t>(version);
  return 1;
}

int ddSetArrayCount(int code, int count) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  e->arrayCount = count;
  return 1;
}

int ddSetXcodeName(int code, const char *name) {
  ddSchema *e = ddGetSchema(code);
  if (e == nullptr) return 0;
  e->xcodeName = name;
  return 1;
}

/* ---------------------------------------------------------------------------
** Attaching an extension: the record by name, and its list of extenders
*/

int ddCompareCodes(intptr_t a, intptr_t b) {
  return a != b;
}

void ddAddXcode(ddSchema *entry, const char *name) {
  ddRSchema *target = ddRecordByName(name);
  if (target == nullptr) return;
  entry->extendCode = target->head.code;
  if (target->extFields == nullptr) target->extFields = mlistNew();
  /* The newest extender stands first, and none stands twice. */
  if (mlistFind(target->extFields, entry->code, ddCompareCodes) == 0)
    mlistPush(target->extFields, entry->code);
}

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetSites(void) {
  for (ddSite *&site : ddSiteTable) site = nullptr;
  ddSiteTableCount = 0;
  ddClearLookupCache();
  for (Room *rooms : {recordRoom, dataRoom})
    for (int i = 0; i < DD_MAX_SITES; i++) rooms[i] = Room{};
  ownedBlocks() = BlockRegistry{};
}
#endif
