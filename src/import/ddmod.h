/*
** Site building: turns the entries of a read and sized definition buffer
** into the definitions of a new site, through the store's own setters.
*/
#ifndef RKDD_IMPORT_DDMOD_H
#define RKDD_IMPORT_DDMOD_H

#include <stdint.h>

#include "import/ddbuffer.h"
#include "rkdd/rkdd.h"
#include "support/mmap.h"

/* The working record of one build. */
typedef struct ddBuildContext {
  ddBuffer *buffer;
  mmap *fieldTables;  /* ddBufStruct to its field table */
  mmap *parentTables; /* parent ddBufCodeList to its code table */
  mmap *childTables;
  mmap *aliasTables;
  int32_t site;
  int32_t errors; /* store operations that refused */
} ddBuildContext;

/* Makes one definition per buffer entry in site siteNo, data items first,
** each kind in number order. Gives the context (its maps released), or null
** when it could not be allocated. */
ddBuildContext *ddBuildSite(ddBuffer *buffer, int siteNo);
/* Build one definition; always 0, so that a walk goes on. */
int ddBuildDataDef(ddBufData *entry, ddBuildContext *context);
int ddBuildRecordDef(ddBufRecord *entry, ddBuildContext *context);

/* What only a handler hears of a built file (ddlint1): names that name
** nothing, texts kept nowhere, definitions nothing uses, an empty file. */
void ddLintBuffer(ddBuffer *buffer);

/* The code that the data item or record of this name has or will have in
** the site being built, or 0 for a name the file does not define. */
int ddCodeFromName(ddBuildContext *context, const char *name);

/* A table built once per structure or list and shared by every record
** that names it; null for a null entry, or for an entry with no members. */
typedef void *(*ddTableBuilder)(ddBuildContext *context, void *entry);
void *ddCachedTable(ddBuildContext *context, void *entry, mmap *map, ddTableBuilder builder);
ddField *ddFieldTableFor(ddBuildContext *context, ddBufStruct *structure);
int32_t *ddParentTableFor(ddBuildContext *context, ddBufCodeList *list);
int32_t *ddChildTableFor(ddBuildContext *context, ddBufCodeList *list);
int32_t *ddAliasTableFor(ddBuildContext *context, ddBufCodeList *list);

/* A field table of memberCount slots, one per member that is neither SHARE
** nor PAD; a code table of count codes, one per list item. Null when the
** structure or list has nothing to hold. */
ddField *ddBuildFieldTable(ddBuildContext *context, ddBufStruct *structure);
int32_t *ddBuildParentTable(ddBuildContext *context, ddBufCodeList *list);
int32_t *ddBuildChildTable(ddBuildContext *context, ddBufCodeList *list);
int32_t *ddBuildAliasTable(ddBuildContext *context, ddBufCodeList *list);

#endif
