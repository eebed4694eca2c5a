/*
** Inside the schema store: field tables and their deferred layout, and the
** path search over fields and extensions (apidd2, ddpath1). Nothing here is
** exported.
**
** How this part of the store behaves where the answer is not obvious:
**
** - In-line cycles. A record that holds itself in line, directly or through
**   other records (slots of kind 0 or 2), is laid out with a list of the
**   records "on the way": ddPackFields puts its record on the list while it
**   measures the slots, and a record that is on the list and still has
**   length 0 measures 0. So the slot that closes the cycle takes 0 bytes,
**   every other slot is measured as usual, and the pass ends.
** - Once per pass. A pass (ddFixup, or a ddPackFields of its own) marks the
**   records it laid out at length 0, so a record of real length 0, held in
**   line by many slots, is laid out once like any other: a pass costs time
**   linear in the slots of the sites, whatever their lengths.
** - Lengths that do not fit. Sizes and offsets are worked in 64 bits. A
**   record whose slot size, slot offset or length leaves the range of int
**   is reported (record-too-long) and laid out empty: length 0, every
**   offset 0. It is marked laid out, and the records holding it measure it
**   as 0 bytes, so one error names the record at fault and nothing wraps.
** - Follow queries. ddIsFieldFollowInLine and ddIsFieldFollowPointer keep a
**   set of the records already entered during one query and do not enter a
**   record twice; a record entered before either is on the way or has been
**   searched in full without a hit, so the answer is the one the plain
**   search would give on an acyclic schema, and 0 for a field that is not
**   reachable. ddIsFieldFollowAll keeps one such set per kind of hop.
** - A slot of a compiled table whose kind is none of 0, 1 and 2 takes 0
**   bytes: it gets the running offset as its own, and the next slot lies at
**   the same offset.
** - A table handed to ddSetField or ddSetUnpackedField (or a link array to
**   ddSetParent and its sisters) may be the record's own live table, or a
**   part of it: the new copy is made before the old block is released.
** - A negative count is refused by ddReplaceFieldTable (and by the link
**   setters) like a count that does not match its array; the old table stays.
** - ddReplaceFieldTable releases the old table with ddReleaseBlock, which
**   frees only blocks the store registered with ddOwnBlock; a compiled
**   library's table is let go without being freed.
** - MTYPE_TEXT. A data definition whose length is -1 (MTYPE_TEXT) is
**   measured as stored: the field pulls the running offset back
**   by 1 (or by its arrayCount), so a packed record holding only such a field
**   reports a length of -1. Nothing allocates or indexes by these lengths, so
**   nothing crashes; an offset may fall below 0, but not below what an int
**   holds, or the record is laid out empty as above.
** - Paths. ddFindPath keeps a set of the records entered during one search
**   and gives null for a record entered before: one on the way, or one whose
**   search ended without a hit (which would end so again, since whether a
**   record leads to the target does not depend on how it was reached). So
**   the first hit in search order (extensions newest first, then the slots
**   in order) is found, and the search ends on records that reach each other
**   through pointers, structures or extensions. A start record without a
**   field table ends the search before its extensions: its null table equals
**   the caller's null table, which stops a search at once.
*/
#ifndef RKDD_STORE_DDFIELD_H
#define RKDD_STORE_DDFIELD_H

#include "ddstore.h"

struct mlist;

/* Non-zero while fix-ups are cached (ddCacheFixups). */
extern int ddFixupCaching;
/* Non-zero while layouts are stale (ddMarkFixup sets, ddFixup clears). */
extern int ddFixupPending;

/* The slot's kind, a signed 10-bit number from bits 6-15 of its bit word. */
int ddFieldKind(const ddField *slot);
/* The slot's bitPos, bits 0-5. */
int ddFieldBitPos(const ddField *slot);
/* Overwrites bits 6-15 with kind, keeping every other bit. */
void ddSetFieldKind(ddField *slot, int kind);

/* Layouts are stale: runs ddFixup at once unless caching. */
void ddMarkFixup(int code);

/* The first slot of record code holding fieldCode, or null. */
ddField *ddFindField(int code, int fieldCode);
/* The first slot of the entry holding fieldCode, or null. */
ddField *ddFindFieldInRecord(ddRSchema *record, int fieldCode);

/* Drops the look-up index of a field table whose codes are about to change;
** ddIndexFields builds it for the codes the table holds now (wide tables
** only). Look-ups never build one, so that they write nothing. */
void ddForgetFieldIndex(const ddField *fields);
void ddIndexFields(const ddField *fields, int count);

/* 1 when every slot names a definition (and, with refusePacked, none that is
** packed); a count of 0 passes whatever the array. */
int ddCheckFieldTable(const ddField *fields, int count, int refusePacked);
/* Replaces the record's table with a store-owned copy; 0 when refused. */
int ddReplaceFieldTable(ddRSchema *record, const ddField *fields, int count);

/* Bytes the slot takes in its record; 0 for a size an int cannot hold. */
int ddFieldSize(const ddField *slot);
/* Lays the record's slots out one after another, and the records they hold
** in line that need it; gives the sum (0 when it does not fit an int). */
int ddPackFields(ddRSchema *record);
/* Bytes of one whole value of that code, arrayCount included. */
int ddSizeOfCode(int code);

/* Searches record for target, extensions first, then the slots; a new path
** list (-E for a hop into extension E), or null. */
struct mlist *ddFindPath(int record, int target, int owner, const ddField *callerFields,
                         int *counter);
/* Makes the first element of the list negative if it is positive. */
void ddMarkExtensionHop(struct mlist *list);

#endif
