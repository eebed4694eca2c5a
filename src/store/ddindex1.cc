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

/* An open hash from text to the first place that holds it: one array, so a
** search touches one slot and the text it names. */
class TextIndex {
public:
  void clear() {
    slots_.assign(64, Slot{});
    used_ = 0;
  }
  /* Keeps the first place given for a text. */
  void emplace(const char *text, Place place) {
    if (2 * (used_ + 1) > slots_.size()) grow();
    std::string_view key(text);
    size_t hash = std::hash<std::string_view>{}(key);
    size_t mask = slots_.size() - 1;
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
      Slot &s = slots_[i];
      if (s.text == nullptr) {
        s = {hash, text, place};
        used_++;
        return;
      }
      if (s.hash == hash && key == s.text) return;
    }
  }
  const Place *find(std::string_view key) const {
    if (slots_.empty()) return nullptr;
    size_t hash = std::hash<std::string_view>{}(key);
    size_t mask = slots_.size() - 1;
    for (size_t i = hash & mask; slots_[i].text != nullptr; i = (i + 1) & mask)
      if (slots_[i].hash == hash && key == slots_[i].text) return &slots_[i].place;
    return nullptr;
  }

private:
  struct Slot {
    size_t hash = 0;
    const char *text = nullptr;
    Place place = {0, 0};
  };
  void grow() {
    std::vector<Slot> old;
    old.swap(slots_);
    slots_.assign(old.size() * 2, Slot{});
    size_t mask = slots_.size() - 1;
    for (const Slot &s : old) {
      if (s.text == nullptr) continue;
      size_t i = s.hash & mask;
      while (slots_[i].text != nullptr) i = (i + 1) & mask;
      slots_[i] = s;
    }
  }
  std::vector<Slot> slots_;
  size_t used_ = 0;
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
} index;

unsigned stamps[DD_MAX_SITES]; /* bumped by every in-place change of a site's entries */

SiteShape shapeOf(int n) {
  const ddSite *s = ddSiteTable[n];
  return {s->recordTable, s->dataTable, s->recordCount, s->dataCount, stamps[n]};
}

bool current() {
  if (!index.built || index.siteCount != ddSiteTableCount) return false;
  for (int n = 0; n < ddSiteTableCount; n++) {
    SiteShape now = shapeOf(n), was = index.shapes[n];
    if (now.records != was.records || now.data != was.data || now.recordCount != was.recordCount ||
        now.dataCount != was.dataCount || now.stamp != was.stamp)
      return false;
  }
  return true;
}

void rebuild() {
  index.byName.clear();
  index.recordByName.clear();
  index.dataByLabel.clear();
  index.recordByLevel.clear();
  for (int n = 0; n < ddSiteTableCount; n++) {
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
    index.shapes[n] = shapeOf(n);
  }
  for (int n = ddSiteTableCount - 1; n >= 0; n--) {
    const ddSite *s = ddSiteTable[n];
    for (int i = 0; s->dataTable != nullptr && i < s->dataCount; i++)
      if (const char *label = s->dataTable[i].head.label) index.dataByLabel.emplace(label, Place{n, i});
  }
  index.siteCount = ddSiteTableCount;
  index.built = true;
}

template <typename Map, typename Key> const Place *probe(const Map &map, Key key) {
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

void ddIndexSiteChanged(int siteNo) {
  if (siteNo >= 0 && siteNo < DD_MAX_SITES) stamps[siteNo]++;
}

void ddIndexCodeChanged(int code) {
  ddIndexSiteChanged(code / DD_CODE_BASE);
}

ddSchema *ddIndexFindName(const char *name, int recordsOnly) {
  const Place *p = probe(recordsOnly ? index.recordByName : index.byName, std::string_view(name));
  return p ? entryAt(*p) : nullptr;
}

ddSchema *ddIndexFindLabel(const char *label) {
  const Place *p = probe(index.dataByLabel, std::string_view(label));
  return p ? &ddSiteTable[p->site]->dataTable[p->slot].head : nullptr;
}

ddRSchema *ddIndexFindLevel(int ilevel) {
  const Place *p = probe(index.recordByLevel, ilevel);
  return p ? &ddSiteTable[p->site]->recordTable[p->slot] : nullptr;
}
