/*
** Indexes over each site's entries by name, label and format level, so that
** the searches by name, label and level take one probe per site. An index is
** rebuilt when its site's tables move, grow or have a name, label or level
** changed; the searches give exactly what a walk of the tables would give.
*/
#include <string_view>
#include <unordered_map>

#include "ddstore.h"

namespace {

using NameIndex = std::unordered_map<std::string_view, int>; /* text to first slot */

struct SiteIndex {
  const ddRSchema *records = nullptr;
  const ddDSchema *data = nullptr;
  int recordCount = -1;
  int dataCount = -1;
  unsigned stamp = 0;
  bool built = false;
  NameIndex recordByName, dataByName, dataByLabel;
  std::unordered_map<int, int> recordByLevel;
};

SiteIndex indexes[DD_MAX_SITES];
unsigned stamps[DD_MAX_SITES]; /* bumped by every in-place change of a site's entries */

/* The first slot keeps a key: emplace leaves an existing key alone. */
SiteIndex &currentIndex(int siteNo) {
  const ddSite *site = ddSiteTable[siteNo];
  SiteIndex &x = indexes[siteNo];
  if (x.built && x.records == site->recordTable && x.recordCount == site->recordCount &&
      x.data == site->dataTable && x.dataCount == site->dataCount && x.stamp == stamps[siteNo])
    return x;
  x.recordByName.clear();
  x.dataByName.clear();
  x.dataByLabel.clear();
  x.recordByLevel.clear();
  for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++) {
    const ddRSchema &r = site->recordTable[i];
    if (r.head.name != nullptr) x.recordByName.emplace(r.head.name, i);
    if (r.ilevel != 0) x.recordByLevel.emplace(r.ilevel, i);
  }
  for (int i = 0; site->dataTable != nullptr && i < site->dataCount; i++) {
    const ddDSchema &d = site->dataTable[i];
    if (d.head.name != nullptr) x.dataByName.emplace(d.head.name, i);
    if (d.head.label != nullptr) x.dataByLabel.emplace(d.head.label, i);
  }
  x.records = site->recordTable;
  x.data = site->dataTable;
  x.recordCount = site->recordCount;
  x.dataCount = site->dataCount;
  x.stamp = stamps[siteNo];
  x.built = true;
  return x;
}

template <typename Key> int probe(const std::unordered_map<Key, int> &index, Key key) {
  auto it = index.find(key);
  return it == index.end() ? -1 : it->second;
}

} // namespace

void ddIndexSiteChanged(int siteNo) {
  if (siteNo >= 0 && siteNo < DD_MAX_SITES) stamps[siteNo]++;
}

void ddIndexCodeChanged(int code) {
  ddIndexSiteChanged(code / DD_CODE_BASE);
}

ddSchema *ddIndexFindName(const char *name, int records, int data) {
  std::string_view key(name);
  for (int n = 0; n < ddSiteTableCount; n++) {
    SiteIndex &x = currentIndex(n);
    int slot;
    if (records && (slot = probe(x.recordByName, key)) >= 0) return &ddSiteTable[n]->recordTable[slot].head;
    if (data && (slot = probe(x.dataByName, key)) >= 0) return &ddSiteTable[n]->dataTable[slot].head;
  }
  return nullptr;
}

ddSchema *ddIndexFindLabel(const char *label) {
  std::string_view key(label);
  for (int n = ddSiteTableCount - 1; n >= 0; n--) {
    int slot = probe(currentIndex(n).dataByLabel, key);
    if (slot >= 0) return &ddSiteTable[n]->dataTable[slot].head;
  }
  return nullptr;
}

ddRSchema *ddIndexFindLevel(int ilevel) {
  for (int n = 0; n < ddSiteTableCount; n++) {
    int slot = probe(currentIndex(n).recordByLevel, ilevel);
    if (slot >= 0) return &ddSiteTable[n]->recordTable[slot];
  }
  return nullptr;
}
