/*
** Indexes over all sites' entries by name, label and format level, so that
** each search is one probe. The index is rebuilt when any site is added or
** has its tables moved, grown, or a name, label or level changed in place;
** every search gives exactly what a walk of the tables in its order gives.
*/
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
** already there alone. */
struct TextIndex {
  TextHash<Place> hash;
  void clear() { hash.clear(); }
  void emplace(const char *text, Place place) {
    bool fresh;
    Place &at = hash.insert(text, &fresh);
    if (fresh) at = place;
  }
  const Place *find(std::string_view key) { return hash.find(key); }
};

struct Index {
  bool built = false;
  int siteCount = 0;
  SiteShape shapes[DD_MAX_SITES];
  /* Each keeps the first entry in its search's order: emplace leaves a key
  ** that is already there alone. */
  TextIndex byName;       /* records first in a site */
  TextIndex recordByName;
  TextIndex dataByLabel;  /* last site first */
  std::unordered_map<int, Place> recordByLevel;
} lookup;

unsigned stamps[DD_MAX_SITES]; /* bumped by every in-place change of a site's entries */

SiteShape shapeOf(int n) {
  const ddSite *s = ddSiteTable[n];
  return {s->recordTable, s->dataTable, s->recordCount, s->dataCount, stamps[n]};
}

bool current() {
  if (!lookup.built || lookup.siteCount != ddSiteTableCount) return false;
  for (int n = 0; n < ddSiteTableCount; n++) {
    SiteShape now = shapeOf(n), was = lookup.shapes[n];
    if (now.records != was.records || now.data != was.data || now.recordCount != was.recordCount ||
        now.dataCount != was.dataCount || now.stamp != was.stamp)
      return false;
  }
  return true;
}

void rebuild() {
  lookup.byName.clear();
  lookup.recordByName.clear();
  lookup.dataByLabel.clear();
  lookup.recordByLevel.clear();
  for (int n = 0; n < ddSiteTableCount; n++) {
    const ddSite *s = ddSiteTable[n];
    for (int i = 0; s->recordTable != nullptr && i < s->recordCount; i++) {
      const ddRSchema &r = s->recordTable[i];
      if (r.head.name != nullptr) {
        lookup.byName.emplace(r.head.name, Place{n, i});
        lookup.recordByName.emplace(r.head.name, Place{n, i});
      }
      if (r.ilevel != 0) lookup.recordByLevel.emplace(r.ilevel, Place{n, i});
    }
    for (int i = 0; s->dataTable != nullptr && i < s->dataCount; i++)
      if (const char *name = s->dataTable[i].head.name) lookup.byName.emplace(name, Place{n, -1 - i});
    lookup.shapes[n] = shapeOf(n);
  }
  for (int n = ddSiteTableCount - 1; n >= 0; n--) {
    const ddSite *s = ddSiteTable[n];
    for (int i = 0; s->dataTable != nullptr && i < s->dataCount; i++)
      if (const char *label = s->dataTable[i].head.label) lookup.dataByLabel.emplace(label, Place{n, i});
  }
  lookup.siteCount = ddSiteTableCount;
  lookup.built = true;
}

template <typename Map, typename Key> const Place *probe(Map &map, Key key) {
  if (!current()) rebuild();
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
  lookup.built = false;
  lookup.siteCount = 0;
  lookup.byName.clear();
  lookup.recordByName.clear();
  lookup.dataByLabel.clear();
  lookup.recordByLevel.clear();
  for (unsigned &stamp : stamps) stamp = 0;
}
#endif

void ddIndexSiteChanged(int siteNo) {
  if (siteNo >= 0 && siteNo < DD_MAX_SITES) stamps[siteNo]++;
}

void ddIndexCodeChanged(int code) {
  ddIndexSiteChanged(code / DD_CODE_BASE);
}

ddSchema *ddIndexFindName(const char *name, int recordsOnly) {
  const Place *p = probe(recordsOnly ? lookup.recordByName : lookup.byName, std::string_view(name));
  return p ? entryAt(*p) : nullptr;
}

ddSchema *ddIndexFindLabel(const char *label) {
  const Place *p = probe(lookup.dataByLabel, std::string_view(label));
  return p ? &ddSiteTable[p->site]->dataTable[p->slot].head : nullptr;
}

ddRSchema *ddIndexFindLevel(int ilevel) {
  const Place *p = probe(lookup.recordByLevel, ilevel);
  return p ? &ddSiteTable[p->site]->recordTable[p->slot] : nullptr;
}
