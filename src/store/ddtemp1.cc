/*
** Temporary sites: records known by local code alone, in a table that grows
** to the highest code so far and keeps empty slots below it.
*/
#include "ddstore.h"

#include <algorithm>

int ddInitTemp(const char *id, int, int *siteNo) {
  return ddNewSite(id, nullptr, siteNo) != nullptr;
}

int ddIsTempSite(int siteNo) {
  ddSite *site = ddSiteAt(siteNo);
  return site != nullptr && site->desc[0] == '\0';
}

void ddSetTempCode(int siteNo, int code, int length, unsigned char subRev, unsigned char version) {
  ddSite *site = ddSiteAt(siteNo);
  /* A local code past the span of a site would sit in a slot no full code reaches: it
  ** is refused rather than grown into a table of unreachable slots. */
  if (site == nullptr || code >= DD_CODE_BASE) return;
  if (code > site->lastRecord) ddGrowTempTable(site, site->recordBase, code);
  ddFillTempEntry(site, code, length, subRev, version);
}

/* The table never shrinks: when it already has the code's slot, only
** lastRecord moves. A code below the base has no slot at all. */
void ddGrowTempTable(ddSite *site, int base, int code) {
  int n = code - base + 1;
  if (n <= 0) return;
  if (n > site->recordCount) ddResizeRecordTable(site, n);
  site->lastRecord = std::max(site->lastRecord, code);
}

/* The code stays local for good. Both bytes are taken as signed. */
void ddFillTempEntry(ddSite *site, int code, int length, unsigned char subRev, unsigned char version) {
  if (code < site->recordBase) return; /* no slot, and the difference might not fit an int */
  ddRSchema *r = ddSiteRecordAt(site, code - site->recordBase);
  if (r == nullptr || r->head.code != 0) return; /* the first registration stands */
  r->head.code = code;
  r->head.tagType = MTYPE_REC;
  r->head.length = length;
  r->head.version = static_cast<signed char>(version);
  if (r->links == nullptr) r->links = static_cast<ddLinks *>(ddOwnedZeroBlock(sizeof(ddLinks)));
  r->links->subRev = static_cast<signed char>(subRev);
  r->ilevel = DD_TEMP_ILEVEL;
  ddIndexSiteChanged(site->siteNo);
}
