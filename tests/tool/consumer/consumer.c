/* A program outside the project that uses an installed rkdd. */
#include <stdio.h>

#include <rkdd/rkdd.h>

int main(void) {
  int site, code;
  if (ddNewSite("app", "consumer", &site) == NULL) return 1;
  code = ddNewRecordDef(site);
  ddSetName(code, "thing");
  printf("%d\n", ddNameToCode("thing"));
  return ddNameToCode("thing") == 256 ? 0 : 1;
}
