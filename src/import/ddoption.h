/*
** The options of the commands: the table of keys each command takes, what
** each does to its entry, and what only a handler hears of their values
** (numbers that are not, options with no effect, ranges upside down).
*/
#ifndef RKDD_IMPORT_DDOPTION_H
#define RKDD_IMPORT_DDOPTION_H

#include "import/ddbuffer.h"

/* Each splits items[first..count) with ddSplitOption and applies the row of
** each key to the entry; a key in no row is reported (UNRECOGNIZED OPTION!,
** ILLEGAL OPTION! in a structure's header), with a hint at a close key for
** a handler. places[i] is where item i stood: its messages are about it,
** and the entry keeps it where a later step reports on that option. */
void ddApplyDataOptions(ddBufData *entry, int first, int count, char **items, const ddPlace *places);
void ddApplyRecordOptions(ddBufRecord *entry, int first, int count, char **items, const ddPlace *places);
void ddApplyHeaderOptions(ddBufStruct *entry, int first, int count, char **items, const ddPlace *places);
void ddApplyMemberOptions(ddBufMember *entry, int first, int count, char **items, const ddPlace *places);

#endif
