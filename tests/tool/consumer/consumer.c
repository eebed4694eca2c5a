/* A program outside the project that uses an installed rkdd, its memory
** layer and rkddkit, each header from its installed place under rkdd/. */
#include <stdio.h>

#include <rkdd/kit.h>
#include <rkdd/rkdd.h>
#include <rkdd/rkruntime.h>

int main(void) {
  int site, code, ok;
  kitModel *model;
  if (ddNewSite("app", "consumer", &site) == NULL) return 1;
  code = ddNewRecordDef(site);
  ddSetName(code, "thing");
  printf("%d\n", ddNameToCode("thing"));
  model = kitModelRead(site);
  ok = ddNameToCode("thing") == 256 && UZA_liveBlocks(NULL) > 0 && model != NULL &&
       model->recordCount == 1;
  kitModelFree(model);
  return ok ? 0 : 1;
}
