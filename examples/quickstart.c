/*
** The smallest use of rkdd: make a site, define a data item and a record
** that holds it, and ask the store about them again by code and by name.
*/
#include <stdio.h>

#include "rkdd/rkdd.h"

int main(void) {
  int site;
  int length, speed, vehicle;

  if (ddNewSite("demo", "quick start", &site) == NULL) return 1;

  speed = ddNewDataDef(site);
  ddSetLength(speed, 4);
  ddSetName(speed, "speed");
  ddSetLabel(speed, "Speed (m/s)");
  ddSetRange(speed, 0.0f, 120.0f);

  vehicle = ddNewRecordDef(site);
  ddSetName(vehicle, "vehicle");
  ddSetIlevel(vehicle, 5);

  length = ddGetLength(speed);
  printf("site %d \"%s\"\n", site, ddSiteNo2SiteInfo(site)->desc);
  printf("data %d %s: tag type %d, %d bytes, range %g..%g, label \"%s\"\n", speed,
         ddGetName(speed), ddGetTagType(speed), length, ddGetMinVal(speed), ddGetMaxVal(speed),
         ddGetLabel(speed));
  printf("record %d %s: format level %d\n", vehicle, ddGetName(vehicle), ddGetIlevel(vehicle));
  printf("by name: vehicle=%d speed=%d; by label: %d; by level: %d\n", ddNameToCode("vehicle"),
         ddNameToCode("speed"), ddLabelToCode("Speed (m/s)"), ddIlevel2Code(5));
  return 0;
}
