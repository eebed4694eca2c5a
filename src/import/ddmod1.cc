/*
** Schema import: read a schema text file, size its structures, and build a
** new site from the buffer with the store's own creation calls and setters.
** Also the export entry points, which this library does not provide.
*/
#define RK_SOURCE_NAME "ddmod1"
#include "import/ddmod.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <deque>

#include "import/ddread.h"
#include "store/ddstore.h"
#include "support/mlist.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

namespace {

/* A site has room for this many definitions of each kind; a number beyond
** would compute a code that lies in the other kind's range or site. */
int capacity(const ddSite *site, bool records) {
  return records ? site->firstData - site->recordBase : DD_CODE_BASE - site->dataBase;
}

/* The code that data item d (record r) has or will have in the site being built. */
int dataCode(ddBuildContext *context, const ddBufData *d) {
  return d->number < capacity(ddSiteAt(context->site), false) ? ddSiteDataCode(context->site, d->number) : 0;
}

int recordCode(ddBuildContext *context, const ddBufRecord *r) {
  return r->number < capacity(ddSiteAt(context->site), true) ? ddSiteRecordCode(context->site, r->number) : 0;
}

int recordCodeNamed(ddBuildContext *context, const char *name) {
  auto *r = static_cast<ddBufRecord *>(ddBufferFindName(name, context->buffer->recordByName));
  return r ? recordCode(context, r) : 0;
}

mlist *listOf(intptr_t set) {
  return reinterpret_cast<mlist *>(set);
}

/* The entry attributes that import writes straight into a new definition. */
template <typename Entry> void writeAttributes(ddSchema *head, const Entry *entry) {
  uint32_t flags = head->flags & ~(DD_FLAG_KEY_MASK | DD_FLAG_IS_DISPLAY | DD_FLAG_IS_EDIT |
                                   DD_FLAG_IS_SEARCH);
  flags |= static_cast<uint32_t>(entry->key) & DD_FLAG_KEY_MASK;
  if (entry->disp & 1) flags |= DD_FLAG_IS_DISPLAY;
  if (entry->edit & 1) flags |= DD_FLAG_IS_EDIT;
  if (entry->search & 1) flags |= DD_FLAG_IS_SEARCH;
  head->flags = flags;
  head->version = static_cast<int16_t>(entry->ver);
  head->xcodeName = entry->xcode; /* the buffer's own string, which is never freed */
  head->arrayCount = entry->acnt;
}

/* Creation and the plain setters that both kinds share; each refusal counts.
** What setting the tag type reports is about the type's keyword. */
template <typename Entry> void setCommon(ddBuildContext *context, int code, const Entry *entry) {
  ddReportAt(entry->typePlace);
  context->errors += !ddSetTagType(code, entry->type);
  context->errors += !ddSetName(code, entry->name);
  context->errors += !ddSetLabel(code, entry->label);
  context->errors += !ddSetDesc(code, entry->msg);
}

/* A record names a structure or list that the file does not define. The
** record is built without that table; the text is at fault, not the store,
** so this is reported and not counted. */
void reportMissing(ddPlace at, const char *what, const char *name, const char *record) {
  ddReportOn(at, DD_MSG_NOT_DEFINED, "ERROR: %s \"%s\" of \"%s\" not defined.\n", what, name, record);
}

int32_t *buildCodeTable(ddBuildContext *context, ddBufCodeList *list) {
  if (list->count <= 0) return nullptr;
  auto *codes = static_cast<int32_t *>(rkAllocatez(sizeof(int32_t) * list->count));
  for (mlistNode *n = mlistHead(listOf(list->items)); n; n = mlistNext(n)) {
    auto *item = reinterpret_cast<ddBufCodeItem *>(n->value);
    if (item->index < 0 || item->index >= list->count) continue;
    int code = ddCodeFromName(context, item->name);
    codes[item->index] = code;
    /* Links join records; what else an item names leaves a 0 or a data
    ** item's code in the table. Told to a handler only. */
    if (code == 0)
      ddReportOn(item->place, DD_MSG_LIST_NAMES_NOTHING, "WARNING: List \"%s\" names \"%s\", which the file does not define.\n",
                 list->name, item->name);
    else if (ddIsDcode(code))
      ddReportOn(item->place, DD_MSG_LIST_NAMES_DATA, "WARNING: List \"%s\" names the data item \"%s\"; links join records.\n",
                 list->name, item->name);
  }
  return codes;
}

/* Sets one of a record's link lists from the list the file names. */
using LinkSetter = int (*)(int code, int *codes, int count);
using LinkTableFor = int32_t *(*)(ddBuildContext *, ddBufCodeList *);

void setLinks(ddBuildContext *context, int code, const ddBufRecord *entry, const char *listName,
              ddPlace at, intptr_t set, const char *what, LinkTableFor tableFor, LinkSetter setter) {
  if (listName == nullptr) return;
  auto *list = static_cast<ddBufCodeList *>(ddBufferFindName(listName, set));
  if (list == nullptr) return reportMissing(at, what, listName, entry->name);
  list->used = 1;
  /* A record keeps each list's count in one byte. */
  int count = list->count;
  if (count > UINT8_MAX) {
    ddReportOn(at, DD_MSG_LIST_CUT, "ERROR: %s \"%s\" of \"%s\" has %d items; the first %d are kept.\n", what, listName,
                entry->name, count, UINT8_MAX);
    count = UINT8_MAX;
  }
  context->errors += !setter(code, tableFor(context, list), count);
}

/* The tables in a map were copied by the setters; they go with the map. */
void freeTables(mmap *map) {
  for (mmapEntry *e = map->first; e != nullptr; e = e->next)
    if (e->value != 0) rkFree(reinterpret_cast<void *>(e->value));
  mmapFree(map);
}

} // namespace

int ddCodeFromName(ddBuildContext *context, const char *name) {
  if (auto *d = static_cast<ddBufData *>(ddBufferFindName(name, context->buffer->dataByName)))
    return dataCode(context, d);
  return recordCodeNamed(context, name);
}

void *ddCachedTable(ddBuildContext *context, void *entry, mmap *map, ddTableBuilder builder) {
  if (entry == nullptr) return nullptr;
  intptr_t key = reinterpret_cast<intptr_t>(entry);
  if (intptr_t table = mmapGet(map, key)) return reinterpret_cast<void *>(table);
  void *table = builder(context, entry);
  if (table != nullptr) mmapPut(map, key, reinterpret_cast<intptr_t>(table));
  return table;
}

ddField *ddBuildFieldTable(ddBuildContext *context, ddBufStruct *structure) {
  int count = structure->memberCount;
  if (count == 0) return nullptr; /* the setter takes a null table with no fields */
  auto *slots = static_cast<ddField *>(rkAllocatez(sizeof(ddField) * count));
  int next = 0;
  for (mlistNode *n = mlistHead(listOf(structure->members)); n && next < count; n = mlistNext(n)) {
    auto *member = reinterpret_cast<ddBufMember *>(n->value);
    if (member->share || member->pad) continue;
    int kind = member->ptr ? DD_KIND_POINTER : DD_KIND_STRUCTURE;
    ddField &slot = slots[next++];
    ddBufRecord *r;
    if (ddBufData *d = ddBufferMemberTarget(context->buffer, member, &r)) {
      if (!member->ptr) kind = DD_KIND_DC;
      slot.code = dataCode(context, d);
    } else {
      slot.code = r ? recordCode(context, r) : 0;
    }
    slot.bits = (static_cast<uint32_t>(member->bit) & DD_FIELD_BITPOS_MASK) |
                (static_cast<uint32_t>(kind) << DD_FIELD_KIND_SHIFT);
    slot.offset = 0;
  }
  return slots;
}

int32_t *ddBuildParentTable(ddBuildContext *context, ddBufCodeList *list) {
  return buildCodeTable(context, list);
}

int32_t *ddBuildChildTable(ddBuildContext *context, ddBufCodeList *list) {
  return buildCodeTable(context, list);
}

int32_t *ddBuildAliasTable(ddBuildContext *context, ddBufCodeList *list) {
  return buildCodeTable(context, list);
}

namespace {
/* The cached table of one kind: its map in the context, and its builder. */
template <typename Table, typename Entry, Table *(*build)(ddBuildContext *, Entry *)>
Table *tableFor(ddBuildContext *context, Entry *entry, mmap *map) {
  ddTableBuilder builder = [](ddBuildContext *c, void *e) -> void * { return build(c, static_cast<Entry *>(e)); };
  return static_cast<Table *>(ddCachedTable(context, entry, map, builder));
}
} // namespace

ddField *ddFieldTableFor(ddBuildContext *context, ddBufStruct *structure) {
  return tableFor<ddField, ddBufStruct, ddBuildFieldTable>(context, structure, context->fieldTables);
}

int32_t *ddParentTableFor(ddBuildContext *context, ddBufCodeList *list) {
  return tableFor<int32_t, ddBufCodeList, ddBuildParentTable>(context, list, context->parentTables);
}

int32_t *ddChildTableFor(ddBuildContext *context, ddBufCodeList *list) {
  return tableFor<int32_t, ddBufCodeList, ddBuildChildTable>(context, list, context->childTables);
}

int32_t *ddAliasTableFor(ddBuildContext *context, ddBufCodeList *list) {
  return tableFor<int32_t, ddBufCodeList, ddBuildAliasTable>(context, list, context->aliasTables);
}

int ddBuildDataDef(ddBufData *entry, ddBuildContext *context) {
  int code = ddNewDataDef(context->site);
  if (code == 0) return context->errors++, 0; /* the site's data codes are used up */
  setCommon(context, code, entry);
  /* The store keeps a text or data block's length in bytes and a flag's in
  ** bits, as the file gives them; other types keep their type's length. */
  int type = entry->type;
  if (type == MTYPE_TEXT || type == MTYPE_DATA || type == MTYPE_FLAG)
    context->errors += !ddSetLength(code, entry->len);
  writeAttributes(&ddGetDSchema(code)->head, entry);
  if (entry->minSet || entry->maxSet) {
    if (!(entry->minSet && entry->maxSet))
      ddReportOn(entry->minSet ? entry->minPlace : entry->maxPlace, DD_MSG_PARTIAL_RANGE, "Warning: Range only partially determined.\n");
    context->errors += !ddSetRange(code, entry->min, entry->max);
  }
  if (entry->defSet) context->errors += !ddSetDefVal(code, entry->defVal);
  return 0;
}

int ddBuildRecordDef(ddBufRecord *entry, ddBuildContext *context) {
  int code = ddNewRecordDef(context->site);
  if (code == 0) return context->errors++, 0; /* the site's record codes are used up */
  setCommon(context, code, entry);
  context->errors += !ddSetPrefix(code, entry->prefix);
  ddRSchema *record = ddGetRSchema(code);
  writeAttributes(&record->head, entry);
  record->ilevel = entry->lev;
  ddIndexCodeChanged(code);

  ddBuffer *buffer = context->buffer;
  if (entry->structName != nullptr) {
    auto *structure = static_cast<ddBufStruct *>(ddBufferFindName(entry->structName, buffer->structs));
    if (structure == nullptr) {
      reportMissing(entry->structPlace, "Structure", entry->structName, entry->name);
    } else {
      structure->used = 1;
      context->errors += !ddSetField(code, ddFieldTableFor(context, structure), structure->memberCount);
    }
  }
  setLinks(context, code, entry, entry->aliasName, entry->aliasPlace, buffer->aliases, "Alias list",
           ddAliasTableFor, ddSetAlias);
  setLinks(context, code, entry, entry->parentName, entry->parentPlace, buffer->parents, "Parent list",
           ddParentTableFor, ddSetParent);
  setLinks(context, code, entry, entry->childName, entry->childPlace, buffer->children, "Child list",
           ddChildTableFor, ddSetChild);

  auto *describe = static_cast<ddBufDescribe *>(ddBufferFindName(entry->name, buffer->describes));
  if (describe != nullptr && describe->text != nullptr) context->errors += !ddSetDesc(code, describe->text);
  return 0;
}

ddBuildContext *ddBuildSite(ddBuffer *buffer, int siteNo) {
  auto *context = static_cast<ddBuildContext *>(rkAllocatez(sizeof(ddBuildContext)));
  if (context == nullptr) return nullptr;
  context->buffer = buffer;
  context->site = siteNo;
  context->errors = 0;
  context->fieldTables = mmapNew(nullptr);
  context->parentTables = mmapNew(nullptr);
  context->childTables = mmapNew(nullptr);
  context->aliasTables = mmapNew(nullptr);

  /* The tables are made as large as the file needs at once, rather than
  ** doubled and copied on the way. Number order is slot order, so each code
  ** computed from a number is the code that definition gets. mlistForEach
  ** goes on while the calls give 0. */
  const ddSite *site = ddSiteAt(siteNo);
  ddReserveDefinitions(siteNo, std::min(buffer->nextRecordNumber, capacity(site, true)),
                       std::min(buffer->nextDataNumber, capacity(site, false)));
  if (mlist *data = listOf(buffer->dataByNumber))
    mlistForEach(data, [](intptr_t v, void *c) {
      return ddBuildDataDef(reinterpret_cast<ddBufData *>(v), static_cast<ddBuildContext *>(c));
    }, context);
  if (mlist *records = listOf(buffer->recordByNumber))
    mlistForEach(records, [](intptr_t v, void *c) {
      return ddBuildRecordDef(reinterpret_cast<ddBufRecord *>(v), static_cast<ddBuildContext *>(c));
    }, context);

  for (mmap **map : {&context->fieldTables, &context->parentTables, &context->childTables, &context->aliasTables}) {
    freeTables(*map);
    *map = nullptr;
  }
  return context;
}

namespace {
/* The roots of every import's buffer. Entries, their texts and the sets are
** kept until the process ends (built definitions point into them); holding
** the roots here keeps those blocks reachable, so that a leak checker tells
** them from blocks that are really lost. */
std::deque<ddBuffer> &keptBuffers() {
  static auto *buffers = new std::deque<ddBuffer>; /* lives to exit; a deque never moves them */
  return *buffers;
}
} // namespace

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetImport(void) { keptBuffers().clear(); }
#endif

namespace {
/* The buffer and site of the import at hand, for placeOfCode. */
const ddBuffer *placingBuffer;
int placingSite = -1;

/* Where the definition of code was read, when it is one of the import at
** hand: its slot in the site is its number in the buffer. */
ddPlace placeOfCode(int code) {
  int index;
  ddSite *site;
  int kind = ddDecodeCode(code, &index, &site);
  if (kind == DD_KIND_NONE || site->siteNo != placingSite) return {};
  if (kind == DD_KIND_DATA) {
    auto *d = static_cast<const ddBufData *>(ddBufferFindNumber(index, placingBuffer->dataByNumber));
    return d ? d->place : ddPlace{};
  }
  auto *r = static_cast<const ddBufRecord *>(ddBufferFindNumber(index, placingBuffer->recordByNumber));
  return r ? r->place : ddPlace{};
}

/* Messages are about the file being imported while the import runs. */
struct ImportFile {
  explicit ImportFile(const char *path) {
    ddReportFile(path);
    ddReportAt(ddPlace{});
  }
  /* From here on the store's messages about a definition of site are told
  ** at its place in buffer. */
  void placing(const ddBuffer *buffer, int site) {
    placingBuffer = buffer;
    placingSite = site;
    ddReportPlacer(placeOfCode);
  }
  ~ImportFile() {
    ddReportPlacer(nullptr);
    placingBuffer = nullptr;
    placingSite = -1;
    ddStreamEndPlaces();
    ddReportFile(nullptr);
    ddReportAt(ddPlace{});
  }
};
} // namespace

int ddImportSchema(const char *path, int *siteNo) {
  int result = 0;
  ImportFile about(path);
  ddBuffer &buffer = keptBuffers().emplace_back();
  ddBufferInit(&buffer);
  if (!ddReadSchemaFile(path, &buffer)) return 0;
  ddAutosize(&buffer);

  int site;
  if (ddNewSite(nullptr, path, &site) == nullptr) return 0;
  if (siteNo != nullptr) *siteNo = site;
  about.placing(&buffer, site);

  int caching = ddCacheFixups(1);
  if (ddBuildContext *context = ddBuildSite(&buffer, site)) {
    if (ddReportHandled()) ddLintBuffer(&buffer);
    ddBufferRelease(&buffer);
    ddReportAt(ddPlace{}); /* what follows is about the file as a whole */
    if (context->errors != 0)
      ddReport(DD_MSG_ERRORS_COUNTED, "%d errors during parsing\n", context->errors);
    else
      result = 1;
    rkFree(context);
    ddFixup();
  }
  ddCacheFixups(caching);
  ddIndexRefresh(); /* built here, so that queries after the import only read it */
  return result;
}

/* ---------------------------------------------------------------------------
** Export: this library reads schemas and writes none.
*/

namespace {
int notImplemented(int siteNo) {
  if (ddSiteAt(siteNo) != nullptr) ddReport(DD_MSG_NOT_IMPLEMENTED, "Not implemented.\n");
  return 0;
}
} // namespace

int ddExportSchema(int siteNo) {
  return notImplemented(siteNo);
}

int ddExportHeader(int siteNo) {
  return notImplemented(siteNo);
}

int ddExportDocumentation(int siteNo) {
  return notImplemented(siteNo);
}
