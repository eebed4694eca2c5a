/*
** The whole import on arbitrary bytes, each input on a fresh store (see
** fuzzFresh), so that every input finds an empty site table. After the
** import the store's invariants must hold, the layouts must be those of a
** fix-up, and the queries that walk fields, links and paths must end.
*/
#include <cstdint>

#include "fuzz_common.h"

namespace {

/* Paths, follow queries and field parents between the first records. */
void walkSite(int siteNo) {
  ddSite *site = ddSiteNo2SiteInfo(siteNo);
  int n = site->recordCount < 12 ? site->recordCount : 12;
  for (int i = 0; i < n; i++) {
    int a = ddSiteRecordCode(siteNo, i);
    ddFindFieldParent(a);
    ddHasExtension(a);
    for (int j = 0; j < n; j++) {
      int b = ddSiteRecordCode(siteNo, j);
      int length = ddBuildPath(a, b);
      FUZZ_CHECK(length >= 0);
      int code = 0, flag = 0;
      for (int k = 0; k < length && ddGetNthParent(a, b, k, &code, &flag); k++)
        FUZZ_CHECK(flag == 0 || flag == 1);
      ddIsFieldFollowAll(a, b);
      ddIsFieldFollowInLine(a, b);
      ddIsFieldFollowPointer(a, b);
    }
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *path = fuzzWriteInput(data, size);
  fuzzHearMessages(data, size);
  fuzzFresh([path] {
    int site = -1;
    int result = ddImportSchema(path, &site);
    FUZZ_CHECK(result == 0 || result == 1);
    FUZZ_CHECK(ddCacheFixups(0) == 0); /* the caller's value came back */
    fuzzCheckTables();
    if (ddSiteCount() == 0) return; /* the read failed: no site */
    FUZZ_CHECK(site == 0 && ddSiteCount() == 1);
    FUZZ_CHECK(ddFixupPending == 0);
    fuzzCheckLayout();
    walkSite(site);
    fuzzCheckTables();
  });
  return 0;
}
