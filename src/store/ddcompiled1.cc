/*
** Compiled sites: ddSetCode turns the static tables that a library hands
** over into a live site. The one place where a fault ends the process.
*/
#include "ddstore.h"
#include "ddfield.h"
#include "support/ddreport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

int ddNextIlevel = DD_ILEVEL_FIRST; /* shared by all sites, never reset */

/* The messages of each kind of table, kept byte for byte (the record one
** has no closing parenthesis). */
struct TableTexts {
  const char *badCode;
  const char *unfilled;
};
constexpr TableTexts recordTexts = {
    "Unable to fixup table; bad record code %d (= index %d\n",
    "Did not fill record map table (index %d); record schema table incomplete\n"};
constexpr TableTexts dataTexts = {
    "Unable to fixup table; bad data code %d (= index %d)\n",
    "Did not fill data map table (index %d); data schema table incomplete\n"};

/* A record's field codes that lie in one of the site's local ranges grow
** by the offset. A grown code lies above every local bound, so a field
** table that two records share is not offset twice. */
void fixEntry(const ddSite *site, ddRSchema *r) {
  ddForgetFieldIndex(r->fields);
  for (int k = 0; r->fields != nullptr && k < r->fieldCount; k++) {
    int32_t &c = r->fields[k].code;
    if (ddInRange(c, site->firstRecord, site->lastRecord) || ddInRange(c, site->firstData, site->lastData))
      c += site->codeOffset;
  }
  ddIndexFields(r->fields, r->fieldCount);
  r->links = static_cast<ddLinks *>(ddOwnedZeroBlock(sizeof(ddLinks)));
  r->head.reservedBlock = ddOwnedZeroBlock(4);
}

void fixEntry(const ddSite *, ddDSchema *d) {
  d->reservedBlock = ddOwnedZeroBlock(12);
  d->head.reservedBlock = ddOwnedZeroBlock(4);
}

/* Walks the slots from first to last, makes each code final and writes it
** to the map at its index, then demands a full map. The bounds, not the
** count, give the positions walked: a table may be longer than its map, its
** entries past the count still filling map slots (the heap copy then keeps
** only the first count). Positions before the table's start are not read. */
template <typename Entry>
void fixTable(const ddSite *site, Entry *table, int first, int last, int base, int count,
              int32_t *map, const TableTexts &texts) {
  for (int64_t pos = std::max<int64_t>(int64_t{first} - base, 0); table && pos <= int64_t{last} - base; pos++) {
    Entry *e = &table[pos];
    if (e->head.code == 0) continue;
    int index = e->head.code - base;
    if (index < 0 || index >= count) {
      ddReport(DD_MSG_COMPILED_TABLE, texts.badCode, e->head.code, index);
      std::exit(1);
    }
    e->head.code += site->codeOffset;
    map[index] = e->head.code;
    fixEntry(site, e);
  }
  for (int i = 0; i < count; i++) {
    if (map[i] == 0) {
      ddReport(DD_MSG_COMPILED_TABLE, texts.unfilled, i);
      std::exit(1);
    }
  }
}

/* The three name lists of a compiled record and where their codes go. */
struct NameList {
  uint8_t ddRSchema::*nameCount;
  const char **ddRSchema::*names;
  uint8_t ddLinks::*count;
  int32_t *ddLinks::*codes;
};
constexpr NameList nameLists[] = {
    {&ddRSchema::parentNameCount, &ddRSchema::parentNames, &ddLinks::parentCount, &ddLinks::parents},
    {&ddRSchema::childNameCount, &ddRSchema::childNames, &ddLinks::childCount, &ddLinks::children},
    {&ddRSchema::aliasNameCount, &ddRSchema::aliasNames, &ddLinks::aliasCount, &ddLinks::aliases},
};

/* Moves an array of count elements into a block the store owns. An empty
** one ends up null, as in a site that ddNewSite made. */
template <typename T> void moveToHeap(T **array, int count) {
  T *copy = nullptr;
  if (*array != nullptr && count > 0) copy = static_cast<T *>(ddOwnedCopy(*array, sizeof(T) * count));
  *array = copy;
}

} // namespace

void ddSetCode(ddSite *site) {
  if (site == nullptr) return;
  if (site->recordMap == nullptr || site->dataMap == nullptr) {
    ddReport(DD_MSG_COMPILED_TABLE, "NULL code map supplied by DLL during rkInitDD\n");
    std::exit(1);
  }
  std::fill_n(site->recordMap, std::max(site->recordCount, 0), 0);
  std::fill_n(site->dataMap, std::max(site->dataCount, 0), 0);
  fixTable(site, site->recordTable, site->firstRecord, site->lastRecord, site->recordBase,
           site->recordCount, site->recordMap, recordTexts);
  fixTable(site, site->dataTable, site->firstData, site->lastData, site->dataBase,
           site->dataCount, site->dataMap, dataTexts);
  ddResolveExtensions();
  for (int list : {DD_LINK_PARENTS, DD_LINK_CHILDREN, DD_LINK_ALIASES}) ddResolveNames(site, list);
  if (site->siteNo >= 1) ddAssignIlevels(site);
  ddCopySiteTables(site);
  ddIndexRefresh();
}

/* Later sites are visited again at every call, so that a name which named
** nothing before resolves once its record arrives; ddAddXcode keeps each
** list free of repeats. */
void ddResolveExtensions(void) {
  for (int n = 1; n < ddSiteTableCount; n++) {
    ddSite *site = ddSiteTable[n];
    for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++) {
      ddSchema *e = &site->recordTable[i].head;
      if (e->xcodeName != nullptr && e->code != 0) ddAddXcode(e, e->xcodeName); /* an empty slot extends nothing */
    }
  }
}

/* Each name k that finds a record puts its code in slot k; one that finds
** none leaves slot k at 0 and is not counted. The codes are not closed up:
** a slot always answers to the name at the same place, and a gap shortens
** the count so that codes after it lie beyond the count. 64 zero slots
** follow the names. A slot the fix-up skipped has no links block and is
** passed over. */
void ddResolveNames(ddSite *site, int list) {
  const NameList &l = nameLists[list];
  for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++) {
    ddRSchema *r = &site->recordTable[i];
    if (r->links == nullptr) continue;
    int n = r->*l.nameCount, found = 0;
    const char **names = r->*l.names;
    int32_t *codes = nullptr;
    if (n > 0 && names != nullptr) {
      codes = static_cast<int32_t *>(ddOwnedZeroBlock(sizeof(int32_t) * (n + DD_LINK_SPARE)));
      for (int k = 0; k < n; k++) {
        ddRSchema *target = ddRecordByName(names[k]);
        if (target != nullptr) {
          codes[k] = target->head.code;
          found++;
        }
      }
    }
    r->links->*l.count = static_cast<uint8_t>(found);
    r->links->*l.codes = codes;
  }
}

/* Levels are handed out across sites in the order they are fixed; at the
** top every further record takes the top level again, with a warning. */
void ddAssignIlevels(ddSite *site) {
  for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++) {
    ddRSchema *r = &site->recordTable[i];
    if (r->head.tagType != MTYPE_BEAD && r->head.tagType != MTYPE_REC) continue;
    r->ilevel = ddNextIlevel;
    if (ddNextIlevel < DD_ILEVEL_LAST)
      ddNextIlevel++;
    else
      ddReport(DD_MSG_LEVEL_OVERFLOW, "WARNING: Internal format level overflow\n");
  }
  ddIndexSiteChanged(site->siteNo);
}

/* Only the entry tables and maps move. Field tables, name tables and texts
** stay in the compiled library's storage and are never registered as the
** store's, so no setter frees them; the copies are registered, so that a
** later ddNewRecordDef or ddNewDataDef releases them when it grows them. */
void ddCopySiteTables(ddSite *site) {
  ddForgetRoom(site->siteNo);
  moveToHeap(&site->recordTable, site->recordCount);
  moveToHeap(&site->dataTable, site->dataCount);
  moveToHeap(&site->recordMap, site->recordCount);
  moveToHeap(&site->dataMap, site->dataCount);
  ddClearLookupCache();
}

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetCompiled(void) {
  ddNextIlevel = DD_ILEVEL_FIRST;
}
#endif
