/*
** Schema import: reads a schema text file into the definition buffer, sizes
** its structures, and builds a new site from the buffer through store calls
** alone: the header's creation calls and setters, and the few of ddstore.h
** for what the header cannot set. Also the export entry points, which this
** library does not provide.
*/
#define RK_SOURCE_NAME "ddmod1"
#include "import/ddmod.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>

#include "import/ddread.h"
#include "store/ddstore.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

namespace {

/* The build at hand: its buffer and site, and the store calls that refused. */
struct Build {
  ddBuffer *buffer;
  int site;
  int errors;
};

/* A site has room for this many definitions of each kind; a number beyond
** would compute a code that lies in the other kind's range or site. */
int capacity(const ddSite *site, bool records) {
  return records ? site->firstData - site->recordBase : DD_CODE_BASE - site->dataBase;
}

/* The code that data item d (record r) has or will have in the site being built. */
int dataCode(const Build &b, const ddBufData *d) {
  return d->number < capacity(ddSiteAt(b.site), false) ? ddSiteDataCode(b.site, d->number) : 0;
}

int recordCode(const Build &b, const ddBufRecord *r) {
  return r->number < capacity(ddSiteAt(b.site), true) ? ddSiteRecordCode(b.site, r->number) : 0;
}

/* The code of the data item or record of this name, or 0 for a name the
** file does not define. */
int codeFromName(const Build &b, const char *name) {
  if (const ddBufData *d = ddBufferFindName(name, b.buffer->dataByName)) return dataCode(b, d);
  const ddBufRecord *r = ddBufferFindName(name, b.buffer->recordByName);
  return r ? recordCode(b, r) : 0;
}

/* The setters that both kinds share; each refusal counts. What setting the
** tag type reports is about the type's keyword. KEY keeps its low bits, of
** which a handler was told while reading, so a wider one is no error here. */
void setCommon(Build &b, int code, const ddBufHead *entry) {
  ddKeepPlace(code, entry->place);
  ddReportAt(entry->typePlace);
  b.errors += !ddSetTagType(code, entry->type);
  b.errors += !ddSetName(code, entry->name);
  b.errors += !ddSetLabel(code, entry->label);
  b.errors += !ddSetDesc(code, entry->msg);
  ddSetKey(code, entry->key);
  b.errors += !ddSetIsDisplay(code, entry->disp);
  b.errors += !ddSetIsEdit(code, entry->edit);
  b.errors += !ddSetIsSearch(code, entry->search);
  b.errors += !ddSetVersion(code, entry->ver);
  b.errors += !ddSetArrayCount(code, entry->acnt);
  /* The buffer's own text, which lives as long as the process. */
  b.errors += !ddSetXcodeName(code, entry->xcode);
}

/* A record names a structure or list that the file does not define. The
** record is built without that table; the text is at fault, not the store,
** so this is reported and not counted. */
void reportMissing(ddPlace at, const char *what, const char *name, const char *record) {
  ddReportOn(at, DD_MSG_NOT_DEFINED, "ERROR: %s \"%s\" of \"%s\" not defined.\n", what, name, record);
}

/* A field table of memberCount slots, one per member that is neither SHARE
** nor PAD, made once per structure and shared by every record built on it
** (the setter copies it); null for a structure with no such member. */
ddField *fieldTableFor(const Build &b, ddBufStruct *structure) {
  int count = structure->memberCount;
  if (count == 0 || structure->fields != nullptr) return structure->fields;
  auto *slots = static_cast<ddField *>(rkAllocatez(sizeof(ddField) * count));
  int next = 0;
  for (ddBufMember *member : structure->members) {
    if (next == count) break;
    if (member->share || member->pad) continue;
    int kind = member->ptr ? DD_KIND_POINTER : DD_KIND_STRUCTURE;
    ddField &slot = slots[next++];
    ddBufRecord *r;
    if (ddBufData *d = ddBufferMemberTarget(b.buffer, member, &r)) {
      if (!member->ptr) kind = DD_KIND_DC;
      slot.code = dataCode(b, d);
    } else {
      slot.code = r ? recordCode(b, r) : 0;
    }
    slot.bits = (static_cast<uint32_t>(member->bit) & DD_FIELD_BITPOS_MASK) |
                (static_cast<uint32_t>(kind) << DD_FIELD_KIND_SHIFT);
    slot.offset = 0;
  }
  return structure->fields = slots;
}

/* A code table of count codes, one per list item, made once per list and
** shared by every record that names it; null for an empty list. */
int32_t *codeTableFor(const Build &b, ddBufCodeList *list) {
  if (list->count <= 0 || list->codes != nullptr) return list->codes;
  auto *codes = static_cast<int32_t *>(rkAllocatez(sizeof(int32_t) * list->count));
  for (const ddBufCodeItem *item : list->items) {
    if (item->number < 0 || item->number >= list->count) continue;
    int code = codeFromName(b, item->name);
    codes[item->number] = code;
    /* Links join records; what else an item names leaves a 0 or a data
    ** item's code in the table. Told to a handler only. */
    if (code == 0)
      ddReportOn(item->place, DD_MSG_LIST_NAMES_NOTHING,
                 "WARNING: List \"%s\" names \"%s\", which the file does not define.\n", list->name, item->name);
    else if (ddIsDcode(code))
      ddReportOn(item->place, DD_MSG_LIST_NAMES_DATA,
                 "WARNING: List \"%s\" names the data item \"%s\"; links join records.\n", list->name, item->name);
  }
  return list->codes = codes;
}

/* One kind of a record's link lists: where the buffer keeps them, what the
** file calls them, and the store's setter. */
struct LinkKind {
  ddBufSet<ddBufCodeList> ddBuffer::*lists;
  char *ddBufRecord::*listName;
  ddPlace ddBufRecord::*place;
  const char *what;
  int (*set)(int code, int *codes, int count);
};
constexpr LinkKind kLinkKinds[] = {
    {&ddBuffer::aliases, &ddBufRecord::aliasName, &ddBufRecord::aliasPlace, "Alias list", ddSetAlias},
    {&ddBuffer::parents, &ddBufRecord::parentName, &ddBufRecord::parentPlace, "Parent list", ddSetParent},
    {&ddBuffer::children, &ddBufRecord::childName, &ddBufRecord::childPlace, "Child list", ddSetChild},
};

/* Sets one of a record's link lists from the list the file names. */
void setLinks(Build &b, int code, const ddBufRecord *entry, const LinkKind &kind) {
  const char *listName = entry->*kind.listName;
  if (listName == nullptr) return;
  ddBufCodeList *list = ddBufferFindName(listName, b.buffer->*kind.lists);
  if (list == nullptr) return reportMissing(entry->*kind.place, kind.what, listName, entry->name);
  list->used = 1;
  /* A record keeps each list's count in one byte. */
  int count = list->count;
  if (count > UINT8_MAX) {
    ddReportOn(entry->*kind.place, DD_MSG_LIST_CUT, "ERROR: %s \"%s\" of \"%s\" has %d items; the first %d are kept.\n",
               kind.what, listName, entry->name, count, UINT8_MAX);
    count = UINT8_MAX;
  }
  b.errors += !kind.set(code, codeTableFor(b, list), count);
}

void buildData(Build &b, const ddBufData *entry) {
  int code = ddNewDataDef(b.site);
  if (code == 0) return void(b.errors++); /* the site's data codes are used up */
  setCommon(b, code, entry);
  /* The store keeps a text or data block's length in bytes and a flag's in
  ** bits, as the file gives them; other types keep their type's length. */
  int type = entry->type;
  if (type == MTYPE_TEXT || type == MTYPE_DATA || type == MTYPE_FLAG) b.errors += !ddSetLength(code, entry->len);
  if (entry->minSet || entry->maxSet) {
    if (!(entry->minSet && entry->maxSet))
      ddReportOn(entry->minSet ? entry->minPlace : entry->maxPlace, DD_MSG_PARTIAL_RANGE,
                 "Warning: Range only partially determined.\n");
    b.errors += !ddSetRange(code, entry->min, entry->max);
  }
  if (entry->defSet) b.errors += !ddSetDefVal(code, entry->defVal);
}

void buildRecord(Build &b, const ddBufRecord *entry) {
  int code = ddNewRecordDef(b.site);
  if (code == 0) return void(b.errors++); /* the site's record codes are used up */
  setCommon(b, code, entry);
  b.errors += !ddSetPrefix(code, entry->prefix);
  b.errors += !ddSetIlevel(code, entry->lev);
  if (entry->structName != nullptr) {
    ddBufStruct *structure = ddBufferFindName(entry->structName, b.buffer->structs);
    if (structure == nullptr) {
      reportMissing(entry->structPlace, "Structure", entry->structName, entry->name);
    } else {
      structure->used = 1;
      b.errors += !ddSetField(code, fieldTableFor(b, structure), structure->memberCount);
    }
  }
  for (const LinkKind &kind : kLinkKinds) setLinks(b, code, entry, kind);
  const ddBufDescribe *describe = ddBufferFindName(entry->name, b.buffer->describes);
  if (describe != nullptr && describe->text != nullptr) b.errors += !ddSetDesc(code, describe->text);
}

/* The setters copied the tables; they go once the site is built. */
void freeTables(ddBuffer *buffer) {
  for (ddBufStruct *structure : buffer->structs) {
    if (structure->fields != nullptr) rkFree(structure->fields);
    structure->fields = nullptr;
  }
  for (const LinkKind &kind : kLinkKinds)
    for (ddBufCodeList *list : buffer->*kind.lists) {
      if (list->codes != nullptr) rkFree(list->codes);
      list->codes = nullptr;
    }
}

} // namespace

int ddBuildSite(ddBuffer *buffer, int siteNo) {
  Build b{buffer, siteNo, 0};
  /* The tables are made as large as the file needs at once, rather than
  ** doubled and copied on the way. Number order is slot order, so each code
  ** computed from a number is the code that definition gets. */
  const ddSite *site = ddSiteAt(siteNo);
  ddReserveDefinitions(siteNo, std::min(buffer->nextRecordNumber, capacity(site, true)),
                       std::min(buffer->nextDataNumber, capacity(site, false)));
  for (const ddBufData *d : buffer->dataByNumber) buildData(b, d);
  for (const ddBufRecord *r : buffer->recordByNumber) buildRecord(b, r);
  freeTables(buffer);
  return b.errors;
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
  const ddBufNamed *entry = kind == DD_KIND_DATA ? ddBufferFindNumbered(index, placingBuffer->dataByNumber.list)
                                                 : ddBufferFindNumbered(index, placingBuffer->recordByNumber.list);
  return entry ? entry->place : ddPlace{};
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
  int errors = ddBuildSite(&buffer, site);
  if (ddReportHandled()) ddLintBuffer(&buffer);
  ddBufferRelease(&buffer);
  ddReportAt(ddPlace{}); /* what follows is about the file as a whole */
  if (errors != 0)
    ddReport(DD_MSG_ERRORS_COUNTED, "%d errors during parsing\n", errors);
  else
    result = 1;
  ddFixup();
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
