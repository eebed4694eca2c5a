/*
** What the fuzz targets share: the input as a schema file, a runner that
** gives each input a fresh store (the store keeps every site until exit,
** and the site table holds 10), and the checks of the store's invariants.
*/
#ifndef RKDD_FUZZ_COMMON_H
#define RKDD_FUZZ_COMMON_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "rkdd/rkdd.h"
#include "store/ddfield.h"
#include "store/ddstore.h"
#include "support/ddreport.h"
#include "support/mlist.h"

/* The library keeps its blocks until the process ends; that is no leak. */
extern "C" const char *__asan_default_options() {
  return "detect_leaks=0:allocator_may_return_null=1";
}

/* Fails the run: the fuzzer saves the input that got here. */
#define FUZZ_CHECK(cond)                                                                           \
  do {                                                                                             \
    if (!(cond)) {                                                                                 \
      std::fprintf(stderr, "invariant failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__);          \
      std::fflush(stderr);                                                                         \
      __builtin_trap();                                                                            \
    }                                                                                              \
  } while (0)

/* The input as a file that the reader can open, one per process. */
inline const char *fuzzWriteInput(const uint8_t *data, size_t size) {
  static std::string path;
  if (path.empty()) {
    const char *dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    path = std::string(dir) + "/rkdd_fuzz_" + std::to_string(getpid()) + ".schema";
  }
  FILE *f = std::fopen(path.c_str(), "wb");
  FUZZ_CHECK(f != nullptr);
  if (size > 0) FUZZ_CHECK(std::fwrite(data, 1, size, f) == size);
  std::fclose(f);
  return path.c_str();
}

/* ---------------------------------------------------------------------------
** Messages: a target that installs this handler demands of every message a
** severity, an id of the library's table, a text, and a place within the
** input (or none at all).
*/

struct FuzzInput {
  long lines; /* line ends in the input, plus 1 */
};

inline void fuzzHearMessage(const ddMessage *m, void *context) {
  auto *input = static_cast<const FuzzInput *>(context);
  FUZZ_CHECK(m->severity >= DD_MESSAGE_ERROR && m->severity <= DD_MESSAGE_NOTE);
  FUZZ_CHECK(m->id != nullptr && m->text != nullptr);
  bool known = false;
  for (const ddMessageKind &k : ddMessageKinds) known |= std::strcmp(k.id, m->id) == 0 && k.severity == m->severity;
  FUZZ_CHECK(known);
  FUZZ_CHECK(m->line >= 0 && m->line <= input->lines);
  FUZZ_CHECK(m->column >= 0 && (m->line > 0 || m->column == 0));
}

/* Installs the handler for an input of size bytes at data. */
inline void fuzzHearMessages(const uint8_t *data, size_t size) {
  static FuzzInput input;
  input.lines = 1;
  for (size_t i = 0; i < size; i++) input.lines += data[i] == '\n';
  ddSetMessageHandler(fuzzHearMessage, &input);
}

/* ---------------------------------------------------------------------------
** A fresh store per input, in this process: body runs, then every source
** file of the library forgets its state and every block the library holds
** is released (fuzz_reset.cc), so that the next input finds an empty site
** table, as a fresh process would, at a fraction of a fork's cost.
*/

void fuzzFreshStore();

template <typename Body> void fuzzFresh(Body body) {
  body();
  fuzzFreshStore();
}

/* ---------------------------------------------------------------------------
** Invariants of the store
*/

/* Every slot, link and text is read in full, so that the address sanitizer
** sees a table shorter than its count; codes, maps and look-ups agree. */
namespace fuzzdetail {

/* One record slot of site s: its code, its map entry, the look-ups that
** reach it, and its fields, links, extenders and texts readable. */
inline void checkRecordSlot(int s, ddSite *site, int i) {
  ddRSchema *r = &site->recordTable[i];
  int full = ddSiteRecordCode(s, i), local = full - site->codeOffset;
  int code = r->head.code;
  /* An empty slot, an entry with its full code, or a temporary entry,
  ** which keeps its local code. */
  FUZZ_CHECK(code == 0 || code == full || code == local);
  FUZZ_CHECK(site->recordMap[i] == 0 || site->recordMap[i] == code);
  FUZZ_CHECK(ddIsRcode(full) && !ddIsDcode(full));
  FUZZ_CHECK(ddGetSchema(full) == &r->head);
  FUZZ_CHECK(ddGetRSchema(full) == r && ddGetDSchema(full) == nullptr);
  FUZZ_CHECK(ddSiteGetNthRcode(s, i) == code);
  FUZZ_CHECK(r->fields != nullptr || r->fieldCount == 0);
  for (int k = 0; k < r->fieldCount; k++) {
    volatile int32_t c = r->fields[k].code;
    (void)c;
  }
  if (r->fieldCount > 0)
    FUZZ_CHECK(ddGetFieldNth(full, r->fieldCount - 1u) == r->fields[r->fieldCount - 1].code);
  if (r->links != nullptr) {
    ddLinks *l = r->links;
    for (int k = 0; k < l->parentCount; k++) FUZZ_CHECK(ddGetParentNth(full, k) == l->parents[k]);
    for (int k = 0; k < l->childCount; k++) FUZZ_CHECK(ddGetChildNth(full, k) == l->children[k]);
    for (int k = 0; k < l->aliasCount; k++) FUZZ_CHECK(ddGetAliasNth(full, k) == l->aliases[k]);
  }
  /* The list of extenders holds as many codes as it counts. A code may be
  ** 0: ddSetXcode on an empty slot attaches it, as the list's guard reports. */
  int ext = ddGetExtFieldCount(full), listed = 0;
  for (mlistNode *n = r->extFields ? mlistHead(r->extFields) : nullptr; n; n = mlistNext(n)) listed++;
  FUZZ_CHECK(listed == ext);
  for (const char *t : {r->head.name, r->head.label, r->head.desc, r->prefix})
    if (t != nullptr) (void)std::strlen(t);
}

inline void checkDataSlot(int s, ddSite *site, int i) {
  ddDSchema *d = &site->dataTable[i];
  int full = ddSiteDataCode(s, i);
  FUZZ_CHECK(d->head.code == full);
  FUZZ_CHECK(site->dataMap[i] == full);
  FUZZ_CHECK(ddIsDcode(full) && !ddIsRcode(full));
  FUZZ_CHECK(ddGetSchema(full) == &d->head);
  FUZZ_CHECK(ddGetDSchema(full) == d && ddGetRSchema(full) == nullptr);
  for (const char *t : {d->head.name, d->head.label, d->head.desc, d->defString})
    if (t != nullptr) (void)std::strlen(t);
}

/* A look-up by name gives the first definition of that name, in site
** order, records before data. */
inline void checkFirstByName(const char *name) {
  struct First {
    const char *name;
    ddSchema *found;
  };
  if (name == nullptr) return;
  First first = {name, nullptr};
  ddWalkSchemas(
      [](ddSchema *e, int, void *user) {
        auto *f = static_cast<First *>(user);
        if (e->name == nullptr || std::strcmp(e->name, f->name) != 0) return 1;
        f->found = e;
        return 0;
      },
      1, 1, &first);
  FUZZ_CHECK(first.found != nullptr);
  FUZZ_CHECK(ddNameToCode(name) == first.found->code);
}

} // namespace fuzzdetail

inline void fuzzCheckTables() {
  FUZZ_CHECK(ddSiteTableCount >= 0 && ddSiteTableCount <= DD_MAX_SITES);
  FUZZ_CHECK(ddSiteCount() == ddSiteTableCount);
  for (int s = 0; s < ddSiteTableCount; s++) {
    ddSite *site = ddSiteTable[s];
    FUZZ_CHECK(site != nullptr && ddSiteNo2SiteInfo(s) == site);
    FUZZ_CHECK(site->siteNo == s && site->codeOffset == s * DD_CODE_BASE);
    FUZZ_CHECK(site->lastRecord - site->firstRecord + 1 == site->recordCount);
    FUZZ_CHECK(site->lastData - site->firstData + 1 == site->dataCount);
    FUZZ_CHECK((site->recordTable == nullptr) == (site->recordCount == 0));
    FUZZ_CHECK((site->dataTable == nullptr) == (site->dataCount == 0));
    FUZZ_CHECK(std::memchr(site->id, 0, sizeof site->id) != nullptr);
    FUZZ_CHECK(std::memchr(site->desc, 0, sizeof site->desc) != nullptr);
    for (int i = 0; i < site->recordCount; i++) fuzzdetail::checkRecordSlot(s, site, i);
    for (int i = 0; i < site->dataCount; i++) fuzzdetail::checkDataSlot(s, site, i);
  }
  for (int s = 0; s < ddSiteTableCount; s++) {
    ddSite *site = ddSiteTable[s];
    for (int i = 0; i < site->recordCount; i++) fuzzdetail::checkFirstByName(site->recordTable[i].head.name);
    for (int i = 0; i < site->dataCount; i++) fuzzdetail::checkFirstByName(site->dataTable[i].head.name);
  }
}

namespace fuzzdetail {

inline int64_t timesArray(int32_t length, int32_t arrayCount) {
  return arrayCount >= 2 ? int64_t{length} * arrayCount : length;
}

inline bool fitsInt(int64_t n) { return n >= INT32_MIN && n <= INT32_MAX; }

/* Bytes a slot takes, from the lengths the definitions now hold. */
inline int64_t slotSize(const ddField &slot) {
  int kind = ddFieldKind(&slot);
  if (kind == DD_KIND_POINTER) return 4;
  if (kind != DD_KIND_DC && kind != DD_KIND_STRUCTURE) return 0;
  if (ddRSchema *r = ddGetRSchema(slot.code)) return timesArray(r->head.length, r->head.arrayCount);
  if (ddDSchema *d = ddGetDSchema(slot.code))
    return d->head.tagType == MTYPE_FLAG ? 1 : timesArray(d->head.length, d->head.arrayCount);
  return 0;
}

/* Whether the record reaches a cycle through in-line slots: 0 unknown,
** 1 on the way, 2 free of cycles, 3 reaches one. */
inline bool reachesCycle(ddRSchema *r, std::unordered_map<ddRSchema *, int> &state) {
  int &st = state[r];
  if (st == 1 || st == 3) return true;
  if (st == 2) return false;
  st = 1;
  bool cycle = false;
  for (int i = 0; r->fields != nullptr && i < r->fieldCount && !cycle; i++) {
    const ddField &slot = r->fields[i];
    int kind = ddFieldKind(&slot);
    if (kind != DD_KIND_DC && kind != DD_KIND_STRUCTURE) continue;
    if (ddRSchema *inner = ddGetRSchema(slot.code)) cycle = reachesCycle(inner, state);
  }
  state[r] = cycle ? 3 : 2;
  return cycle;
}

} // namespace fuzzdetail

/* After a fix-up: every packed record that reaches no in-line cycle has the
** offsets of its slots laid one after another and a length equal to their
** sum, or, when a slot or a sum leaves the range of int, length 0 and every
** offset 0. */
inline void fuzzCheckLayout() {
  std::unordered_map<ddRSchema *, int> state;
  for (int s = 0; s < ddSiteTableCount; s++) {
    ddSite *site = ddSiteTable[s];
    for (int i = 0; i < site->recordCount; i++) {
      ddRSchema *r = &site->recordTable[i];
      if (!(r->head.flags & DD_FLAG_IS_PACKED) || fuzzdetail::reachesCycle(r, state)) continue;
      int64_t end = 0;
      bool fits = true;
      for (int k = 0; r->fields != nullptr && k < r->fieldCount && fits; k++) {
        int64_t size = fuzzdetail::slotSize(r->fields[k]);
        fits = fuzzdetail::fitsInt(size) && fuzzdetail::fitsInt(end + size);
        end += size;
      }
      int64_t offset = 0;
      for (int k = 0; r->fields != nullptr && k < r->fieldCount; k++) {
        FUZZ_CHECK(r->fields[k].offset == (fits ? offset : 0));
        offset += fuzzdetail::slotSize(r->fields[k]);
      }
      FUZZ_CHECK(r->head.length == (fits ? end : 0));
    }
  }
}

#endif
