/*
** Inside the schema store: the site table, code decoding, the entry walk and
** the operations the store's own files share. Nothing here is exported.
*/
#ifndef RKDD_STORE_DDSTORE_H
#define RKDD_STORE_DDSTORE_H

#include <stddef.h>
#include <stdint.h>

#include "rkdd/rkdd.h"

#define DD_MAX_SITES 10
#define DD_CODE_BASE 4096     /* codes a site spans */
#define DD_RECORD_BASE 256    /* first local record code of a new site */
#define DD_DATA_BASE 2048     /* first local data code of a new site */
#define DD_SITE_WORD 64       /* the reserved word every site carries */

/* Kinds of definition, as decoding and the entry walk give them. */
#define DD_KIND_NONE 0
#define DD_KIND_RECORD 1
#define DD_KIND_DATA 2

extern ddSite *ddSiteTable[DD_MAX_SITES];
extern int ddSiteTableCount;

/* The site with this number, or null. */
ddSite *ddSiteAt(int siteNo);

/* Splits a code into its site and slot: gives DD_KIND_RECORD or
** DD_KIND_DATA with *index and *site written, or DD_KIND_NONE. A code whose
** site exists but lies in neither range still writes *site. */
int ddDecodeCode(int code, int *index, ddSite **site);

/* Slot n of a site's record (data) table; null without a table, and also
** for a slot outside the table, which a consistent site never asks for. */
ddRSchema *ddSiteRecordAt(ddSite *site, int n);
ddDSchema *ddSiteDataAt(ddSite *site, int n);
/* The full code that record (data) slot n of site siteNo has or will have. */
int ddSiteRecordCode(int siteNo, int n);
int ddSiteDataCode(int siteNo, int n);

/* Forgets the entry ddGetSchema remembers; every table move calls this. */
void ddClearLookupCache(void);

/* Calls visit on every record (records != 0) and data (data != 0) entry of
** every site in order, until it gives 0. Gives the last result, 1 when
** visit was never called. */
typedef int (*ddSchemaVisit)(ddSchema *entry, int kind, void *user);
int ddWalkSchemas(ddSchemaVisit visit, int records, int data, void *user);

/* The first record entry with this name, from site 0 up, or null. */
ddRSchema *ddRecordByName(const char *name);

/* The compare function of extension lists: 0 when two codes are equal. */
int ddCompareCodes(intptr_t a, intptr_t b);

/* Replaces the text *field with a copy of text (null clears it). The copy
** is made before the old text goes, so text may be *field itself. */
void ddReplaceString(const char **field, const char *text);

/* Blocks the store allocated, as opposed to a compiled library's storage.
** ddOwnBlock records a block; ddReleaseBlock frees it when the store owns it
** and leaves foreign storage alone, giving 1 when it freed. */
void ddOwnBlock(const void *block);
int ddOwnsBlock(const void *block);
int ddReleaseBlockAt(void *block, const char *file, int line);
#define ddReleaseBlock(block) ddReleaseBlockAt((void *)(block), RK_SOURCE_NAME, __LINE__)

#endif
