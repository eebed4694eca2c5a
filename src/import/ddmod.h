/*
** Site building: turns the entries of a read and sized definition buffer
** into the definitions of a new site through store calls, and tells a
** handler what it hears of the file once the site is built.
*/
#ifndef RKDD_IMPORT_DDMOD_H
#define RKDD_IMPORT_DDMOD_H

#include "import/ddbuffer.h"
#include "rkdd/rkdd.h"

/* Makes one definition per buffer entry in site siteNo, data items first,
** each kind in number order. Gives the number of store calls that refused. */
int ddBuildSite(ddBuffer *buffer, int siteNo);

/* What only a handler hears of a built file (ddlint1): names that name
** nothing, texts kept nowhere, definitions nothing uses, an empty file. */
void ddLintBuffer(ddBuffer *buffer);

#endif
