/*
** Compiles the public header as C99 and calls through the shared library:
** the layout figures hold in C as they do in C++, and the names link.
*/
#include <stddef.h>
#include <stdio.h>

#include "rkdd/keywords.h"
#include "rkdd/rkdd.h"

static int failures;

static void check(int ok, const char *what) {
  if (!ok) {
    printf("FAILED: %s\n", what);
    failures++;
  }
}

int main(void) {
  int site = -1, code;
  ddSite *s;

  check(sizeof(ddField) == 12, "sizeof(ddField)");
  check(offsetof(ddSchema, name) == 48, "offsetof(ddSchema, name)");
  check(offsetof(ddSite, codeOffset) == 192, "offsetof(ddSite, codeOffset)");

  s = ddNewSite("c99", "from C", &site);
  check(s != NULL && site == 0, "ddNewSite");
  code = ddNewRecordDef(site);
  check(code == 256, "ddNewRecordDef");
  check(ddSetName(code, "fromC") == 1 && ddNameToCode("fromC") == code, "name round trip");
  return failures == 0 ? 0 : 1;
}
