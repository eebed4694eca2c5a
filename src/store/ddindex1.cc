/*
** Indexes over all sites' entries by name, label and format level, so that
** each search is one probe. The index is built anew when any site is added
** or has its tables moved, grown, or a name, label or level changed in place;
** every search gives exactly what a walk of the tables in its order gives,
** and only reads a built index, so any number of threads may search at once.
*/
#include <atomic>
#include <mutex>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "ddstore.h"
#include "support/mhash.h"

namespace {

/* Where an entry stands: its site and its slot. */
struct Place {
  int site;
  int slot;
};

/* What the index was built from, site by site. */
struct SiteShape {
  const ddRSchema *records;
  const ddDSchema *data;
  int recordCount;
  int dataCount;
  unsigned stamp;
};

/* From text to the first place that holds it: emplace leaves a text that is
** already there alone, assign puts place in its stead. */
struct TextIndex {
  TextHash<Place> hash;
  void clear() { hash.clear(); }
  void emplace(const char *text, Place place) {
    bool fresh;
    Place &at = hash.insert(text, &fresh);
    if (fresh) at = place;
  }
  void assign(const char *text, Place place) {
    bool fresh;
    hash.insert(text, &fresh) = place;
  }
  const Place *find(std::string_view key) const { return hash.find(key); }
};

struct Index {
  int siteCount = 0;
  SiteShape shapes[DD_MAX_SITES];
  /* Each keeps the first entry in its search's order: emplace leaves a key
  ** that is already there alone. */
  TextIndex byName;       /* records first in a site */
  TextIndex recordByName;
  TextIndex dataByLabel;  /* last site first */
  std::unordered_map<int, Place> recordByLevel;
  void clear() {
    siteCount = 0;
    byName.clear();
    recordByName.clear();
    dataByLabel.clear();
    recordByLevel.clear();
  }
};

/* Searches on many threads read the published index and never change it.
** When it no longer matches the tables, the first search to notice builds a
** new one under the lock and publishes it; the one it replaces is kept
** until the next build, since a search that loaded it may still be reading
** it. That is safe: the next build follows a change, and no change runs
** while a search does, so every search that saw the old index has ended. */
std::atomic<Index *> published;
std::mutex building;
Index *retired; /* under building */
unsigned builds; /* under building, or by the writer that runs alone */

unsigned stamps[DD_MAX_SITES]; /* bumped by every in-place change of a site's entries */

SiteShape shapeOf(int n) {
  const ddSite *s = ddSiteTable[n];
  return {s->recordTable, s->dataTable, s->recordCount, s->dataCount, stamps[n]};
}

/* Whether the index holds every site (or with allSites false, some of the
** first ones) as its tables stand. Every search asks this first, so it is
** inlined there. */
[[gnu::always_inline]] inline bool current(const Index &index, bool allSites = true) {
  if (allSites ? index.siteCount != ddSiteTableCount : index.siteCount > ddSiteTableCount) return false;
  for (int n = 0; n < index.siteCount; n++) {
    SiteShape now = shapeOf(n), was = index.shapes[n];
    if (now.records != was.records || now.data != was.data || now.recordCount != was.recordCount ||
        now.dataCount != was.dataCount || now.stamp != was.stamp)
      return false;
  }
  return true;
}

/* Adds site n, the one above every site the index holds: its names and
** levels where no lower site has them, its labels over the lower sites'
** (labels are searched from the last site down), the first slot of the
** site winning within it. */
void addSite(Index &index, int n) {
  const ddSite *s = ddSiteTable[n];
  for (int i = 0; s->recordTable != nullptr && i < s->recordCount; i++) {
    const ddRSchema &r = s->recordTable[i];
    if (r.head.name != nullptr) {
      index.byName.emplace(r.head.name, Place{n, i});
      index.recordByName.emplace(r.head.name, Place{n, i});
    }
    if (r.ilevel != 0) index.recordByLevel.emplace(r.ilevel, Place{n, i});
  }
  for (int i = 0; s->dataTable != nullptr && i < s->dataCount; i++)
    if (const char *name = s->dataTable[i].head.name) index.byName.emplace(name, Place{n, -1 - i});
  for (int i = s->dataTable != nullptr ? s->dataCount - 1 : -1; i >= 0; i--)
    if (const char *label = s->dataTable[i].head.label) index.dataByLabel.assign(label, Place{n, i});
  index.shapes[n] = shapeOf(n);
  index.siteCount = n + 1;
}

/* Fills an empty index from the tables as they stand. */
void build(Index &index) {
  for (int n = 0; n < ddSiteTableCount; n++) addSite(index, n);
}

/* A new index for tables that changed since the published one was built. */
[[gnu::noinline, gnu::cold]] const Index &rebuiltIndex() {
  std::lock_guard<std::mutex> hold(building);
  Index *index = published.load(std::memory_order_acquire);
  if (index != nullptr && current(*index)) return *index; /* another search built it */
  /* The retired index is free to use again, for the reason above. */
  Index *next = retired ? retired : new Index;
  next->clear();
  build(*next);
  builds++;
  retired = index;
  published.store(next, std::memory_order_release);
  return *next;
}

/* The published index, built anew first when the tables changed since. */
const Index &freshIndex() {
  Index *index = published.load(std::memory_order_acquire);
  if (index != nullptr && current(*index)) [[likely]]
    return *index;
  return rebuiltIndex();
}

template <typename Map, typename Key> const Place *probe(const Map &map, Key key) {
  if constexpr (std::is_same_v<Map, TextIndex>) {
    return map.find(key);
  } else {
    auto it = map.find(key);
    return it == map.end() ? nullptr : &it->second;
  }
}

/* A record slot is >= 0; a data slot is stored as -1 - slot. */
ddSchema *entryAt(const Place &p) {
  const ddSite *s = ddSiteTable[p.site];
  return p.slot >= 0 ? &s->recordTable[p.slot].head : &s->dataTable[-1 - p.slot].head;
}

} // namespace

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetIndex(void) {
  delete published.exchange(nullptr);
  delete retired;
  retired = nullptr;
  for (unsigned &stamp : stamps) stamp = 0;
}
#endif

void ddIndexSiteChanged(int siteNo) {
  if (siteNo >= 0 && siteNo < DD_MAX_SITES) stamps[siteNo]++;
}

void ddIndexCodeChanged(int code) {
  ddIndexSiteChanged(code / DD_CODE_BASE);
}

/* Called by a writer, which runs alone: no search can hold either index, so
** the published one is brought up to date in place. When only sites were
** added since (an import), only they are added. */
void ddIndexRefresh(void) {
  Index *index = published.load(std::memory_order_relaxed);
  if (index != nullptr && current(*index)) return;
  if (index == nullptr) index = new Index;
  if (!current(*index, false)) index->clear();
  for (int n = index->siteCount; n < ddSiteTableCount; n++) addSite(*index, n);
  builds++;
  delete retired;
  retired = nullptr;
  published.store(index, std::memory_order_release);
}

unsigned ddIndexBuilds(void) {
  std::lock_guard<std::mutex> hold(building);
  return builds;
}

ddSchema *ddIndexFindName(const char *name, int recordsOnly) {
  const Index &index = freshIndex();
  const Place *p = probe(recordsOnly ? index.recordByName : index.byName, std::string_view(name));
  return p ? entryAt(*p) : nullptr;
}

ddSchema *ddIndexFindLabel(const char *label) {
  const Place *p = probe(freshIndex().dataByLabel, std::string_view(label));
  return p ? &ddSiteTable[p->site]->dataTable[p->slot].head : nullptr;
}

ddRSchema *ddIndexFindLevel(int ilevel) {
  const Place *p = probe(freshIndex().recordByLevel, ilevel);
  return p ? &ddSiteTable[p->site]->recordTable[p->slot] : nullptr;
}
