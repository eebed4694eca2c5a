/*
** Inside the schema store: the site table, code decoding, the entry walk,
** the operations the store's own files share, and the setters that building
** a site from text needs beyond the header's. Nothing here is exported.
*/
#ifndef RKDD_STORE_DDSTORE_H
#define RKDD_STORE_DDSTORE_H

#include <stddef.h>
#include <stdint.h>

#include "rkdd/keywords.h"
#include "rkdd/rkdd.h"

#define DD_MAX_SITES 10
#define DD_CODE_BASE RKDD_CODE_SPAN     /* codes a site spans */
#define DD_RECORD_BASE RKDD_RECORD_BASE /* first local record code of a new site */
#define DD_DATA_BASE RKDD_DATA_BASE     /* first local data code of a new site */
#define DD_SITE_WORD 64       /* the reserved word every site carries */

/* Kinds of definition, as decoding and the entry walk give them. */
#define DD_KIND_NONE 0
#define DD_KIND_RECORD 1
#define DD_KIND_DATA 2

extern ddSite *ddSiteTable[DD_MAX_SITES];
extern int ddSiteTableCount;

/* The site with this number, or null. */
ddSite *ddSiteAt(int siteNo);

/* Whether a local code lies in the bounds first..last, both included. */
inline bool ddInRange(int local, int first, int last) {
  return local >= first && local <= last;
}

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

/* Forgets the entry that ddGetSchema remembers, on every thread; every table
** move calls this. */
void ddClearLookupCache(void);

/* Calls visit on every record (records != 0) and data (data != 0) entry of
** every site in order, until it gives 0. Gives the last result, 1 when
** visit was never called. */
typedef int (*ddSchemaVisit)(ddSchema *entry, int kind, void *user);
int ddWalkSchemas(ddSchemaVisit visit, int records, int data, void *user);

/* The first record entry with this name, from site 0 up, or null. */
ddRSchema *ddRecordByName(const char *name);

/* Indexes by name, label and level. A change made in place to an entry's
** name, label or format level is announced with ddIndexSiteChanged or
** ddIndexCodeChanged; moved or grown tables are noticed on their own. The
** first search after a change builds the index anew; ddIndexRefresh does so
** at once, so that an import leaves it built for the queries after it. */
void ddIndexSiteChanged(int siteNo);
void ddIndexCodeChanged(int code);
void ddIndexRefresh(void);
/* How many times the index was built or brought up to date: searches of
** tables that did not change build nothing, which tests count on. */
unsigned ddIndexBuilds(void);
/* The first entry with this name, sites from 0 up and records before data
** in each, or the first record alone with recordsOnly; null for none. */
ddSchema *ddIndexFindName(const char *name, int recordsOnly);
/* The first data entry with this label, from the last site down, or null. */
ddSchema *ddIndexFindLabel(const char *label);
/* The first record with this non-zero format level, from site 0 up, or null. */
ddRSchema *ddIndexFindLevel(int ilevel);

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
/* A zeroed block of size bytes, or a copy of size bytes of block, that the
** store owns. Entry tables and their pieces are allocated here (apidd1),
** whichever file asks, so the blocks of a site's tables all count as one
** file's. */
void *ddOwnedZeroBlock(size_t size);
void *ddOwnedCopy(const void *block, size_t size);

/* Tables that grow: room is kept behind a site's entry tables (apidd1).
** ddResizeRecordTable moves the record table and map to zeroed blocks of
** count slots, keeping the entries there are, and makes count the record
** count. ddForgetRoom drops the room of a site whose tables were replaced. */
void ddResizeRecordTable(ddSite *site, int count);
void ddForgetRoom(int siteNo);

/* Setters the header does not offer, for building a site from text. Each
** gives 1, or 0 when code names no definition. The version keeps its low 16
** bits and the array count is kept as given; ddSetXcodeName keeps name
** itself, not a copy, so the text must outlive the definition: ddSetCode
** later attaches the definition to the record of that name. */
int ddSetVersion(int code, int version);
int ddSetArrayCount(int code, int count);
int ddSetXcodeName(int code, const char *name);

/* Default length of a tag type in bytes (-1 for text), as a new data
** definition of that type gets it. Record kinds and numbers outside the
** table print a warning and give 0. */
int ddTypeSize(int tagType);

/* The place of a definition's name in the text it was read from, 1-based
** line and byte column (ddsource1), which ddGetPlace gives back. An import
** sets it for each definition it builds; a line of 0 or a code outside
** every site sets nothing. */
void ddStoreSetPlace(int code, int line, int column);

/* Compiled sites (ddcompiled1): the steps ddSetCode runs, in this order, once
** the codes of a site's tables are final. */
#define DD_LINK_SPARE 64        /* zero slots behind every resolved name list */
#define DD_ILEVEL_FIRST 256     /* first internal format level handed out */
#define DD_ILEVEL_LAST 32739    /* the level at which the numbering stops */
enum { DD_LINK_PARENTS, DD_LINK_CHILDREN, DD_LINK_ALIASES };
/* Attaches every record of sites 1 up with an xcodeName to its target. */
void ddResolveExtensions(void);
/* Turns one name list (DD_LINK_*) of every record of the site into codes. */
void ddResolveNames(ddSite *site, int list);
/* Gives the site's bead and record entries the next internal format levels. */
void ddAssignIlevels(ddSite *site);
/* Moves the site's tables and maps to blocks the store owns. */
void ddCopySiteTables(ddSite *site);
/* Makes room in the site's tables for that many more records and data
** items, so that adding them moves no entry; counts stay as they are. */
void ddReserveDefinitions(int siteNo, int records, int data);

/* Temporary sites (ddtemp1): record tables addressed by local code. */
#define DD_TEMP_ILEVEL 63
/* Grows the record table and map so that code is the last slot. */
void ddGrowTempTable(ddSite *site, int base, int code);
/* Fills the empty slot of code; a filled slot stays as it is. */
void ddFillTempEntry(ddSite *site, int code, int length, unsigned char subRev,
                     unsigned char version);

#ifdef RKDD_FUZZ_RESET
/* Fuzzing builds only, never in the shipped library: each forgets the state
** its source file keeps (sites and look-up cache, room and owned blocks;
** the next internal format level; field indexes and layout; the name
** indexes; the import's buffers; the definitions' places), so that the next input finds an empty
** store. The blocks the state pointed to are the caller's to release. */
void ddFuzzResetSites(void);
void ddFuzzResetCompiled(void);
void ddFuzzResetFields(void);
void ddFuzzResetIndex(void);
void ddFuzzResetImport(void);
void ddFuzzResetPlaces(void);
#endif

#endif
