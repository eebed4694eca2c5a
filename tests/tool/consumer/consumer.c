/* A program outside the project that uses an installed rkdd and rkddkit. */
#include <stdio.h>

#include <rkdd/kit.h>
#include <rkdd/rkdd.h>

int main(void) {
  int site, code, ok;
  kitModel *model;
  if (ddNewSite("app", "consumer", &site) == NULL) return 1;
  code = ddNewRecordDef(site);
  ddSetName(code, "thing");
  printf("%d\n", ddNameToCode("thing"));
  model = kitModelRead(site);
  ok = ddNameToCode("thing") == 256 && model != NULL && model->recordCount == 1;
  kitModelFree(model);
  return ok ? 0 : 1;
}
