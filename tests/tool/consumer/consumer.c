/* A program outside the project that uses an installed rkdd and its
** memory layer, each header from its installed place under rkdd/. */
#include <stdio.h>

#include <rkdd/rkdd.h>
#include <rkdd/rkruntime.h>

int main(void) {
  int site, code;
  if (ddNewSite("app", "consumer", &site) == NULL) return 1;
  code = ddNewRecordDef(site);
  ddSetName(code, "thing");
  printf("%d\n", ddNameToCode("thing"));
  return ddNameToCode("thing") == 256 && UZA_liveBlocks(NULL) > 0 ? 0 : 1;
}
