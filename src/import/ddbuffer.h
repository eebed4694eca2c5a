/*
** The definition buffer: everything a schema text file defines, kept by name
** (and by number for data items and records) in ordered sets, until autosize
** and the site builder turn it into definitions.
*/
#ifndef RKDD_IMPORT_DDBUFFER_H
#define RKDD_IMPORT_DDBUFFER_H

#include <stddef.h>
#include <stdint.h>

#include "support/ddreport.h"

/* Kinds of entry, as passed to ddBufferAddName; 2 to 5 also name the kind of
** item passed to ddBufferAddItem (a member for 2, a list item for 3 to 5). */
enum {
  DDBUF_DATA = 0,
  DDBUF_RECORD = 1,
  DDBUF_STRUCT = 2,
  DDBUF_ALIAS = 3,
  DDBUF_PARENT = 4,
  DDBUF_CHILD = 5,
  DDBUF_DESCRIBE = 6,
  DDBUF_DEFINE = 7,
};

/* Each set is a set root of the ordered set operations: 0 until its first
** entry arrives. */
typedef struct ddBuffer {
  intptr_t dataByName;
  intptr_t dataByNumber;
  int32_t nextDataNumber;
  intptr_t recordByName;
  intptr_t recordByNumber;
  int32_t nextRecordNumber;
  intptr_t structs;
  intptr_t aliases;
  intptr_t parents;
  intptr_t children;
  intptr_t describes;
  intptr_t defines;
} ddBuffer;

/* Every entry and item starts with these two fields (number or index), so
** one compare function serves all sets by name and one all sets by number.
** A look-up key is a ddBufKey with only the wanted field filled. */
typedef struct ddBufKey {
  char *name;
  int32_t number;
} ddBufKey;

typedef struct ddBufData {
  char *name;
  int32_t number;
  int32_t type;
  char *label;
  char *msg;
  int32_t key;
  int32_t disp;
  int32_t edit;
  int32_t search;
  char *site;
  uint16_t ver;
  char *xcode; /* handed as is to the built definition: must outlive it */
  int32_t acnt;
  int32_t len; /* bits for flag and enum types, bytes for text and data */
  float min;
  int32_t minSet;
  float max;
  int32_t maxSet;
  float defVal;
  char *defStr;
  int32_t defSet;
  int32_t isEnum;
  /* Where the name and the options that later steps report on stand; 0
  ** when the read had no handler to tell (see ddReportHandled). */
  ddPlace place, typePlace, minPlace, maxPlace, defPlace, xcodePlace;
} ddBufData;

typedef struct ddBufRecord {
  char *name;
  int32_t number;
  int32_t type;
  char *label;
  char *msg;
  int32_t key;
  int32_t disp;
  int32_t edit;
  int32_t search;
  char *site;
  uint16_t ver;
  char *xcode;
  int32_t acnt;
  int32_t lev;
  char *structName;
  char *parentName;
  char *childName;
  char *aliasName;
  char *prefix;
  ddPlace place, typePlace, structPlace, parentPlace, childPlace, aliasPlace, xcodePlace;
} ddBufRecord;

typedef struct ddBufStruct {
  char *name;
  uint8_t memberCount; /* members that are neither SHARE nor PAD */
  uint8_t used;        /* a record was built on it */
  int32_t len;
  char *sn;
  char *un;
  intptr_t members; /* ddBufMember items by index */
  int32_t state;
  int32_t nextBit;
  int32_t nextIndex; /* index of the next member: all members so far */
  int32_t holdsEnum;
  ddPlace place;
} ddBufStruct;

typedef struct ddBufMember {
  char *name;
  int32_t index;
  char *fn;
  int32_t ptr;
  int32_t bit;
  int32_t off;
  int32_t share;
  int32_t pad;
  ddPlace place;
} ddBufMember;

typedef struct ddBufCodeList {
  char *name;
  int32_t count;  /* items so far: the index of the next one */
  int32_t used;   /* a record was built naming it */
  intptr_t items; /* ddBufCodeItem items by index */
  ddPlace place;
} ddBufCodeList;

typedef struct ddBufCodeItem {
  char *name;
  int32_t index;
  ddPlace place;
} ddBufCodeItem;

typedef struct ddBufDescribe {
  char *name;
  char *text;
  ddPlace place;
} ddBufDescribe;

typedef struct ddBufDefine {
  char *name;
  char *value;
  ddPlace place;
} ddBufDefine;

/* strcmp of the two names; the difference of the two numbers. Both take
** entries (or ddBufKey keys) as set words. */
int ddBufferCompareName(intptr_t a, intptr_t b);
int ddBufferCompareNumber(intptr_t a, intptr_t b);

/* Empties every field. */
void ddBufferInit(ddBuffer *buffer);
/* Drops the indexes beside the sets; entries, their texts and the sets live
** as long as the process, since built definitions point into them. A
** buffer's sets hold nodes that the buffer carves itself: none may go to
** mlistFree. */
void ddBufferRelease(ddBuffer *buffer);

/* A copy of length bytes of text, with a zero behind, that lives as long as
** the buffers' entries do. */
char *ddBufferText(const char *text, size_t length);
/* Frees what every buffer holds: entries, members, items, their texts, the
** sets and their indexes. For a test or fuzz target that reads many files
** in one process; nothing a buffer held, and no definition built from one,
** may be used after. */
void ddBufferDiscardAll(void);

/* A new zeroed entry of the kind with a copy of name, or null when the name
** is taken in the kind's name space (data items and records share one) or
** the kind is out of range. */
void *ddBufferAddName(ddBuffer *buffer, int kind, const char *name);
/* A new member (kind 2) or list item (3 to 5) in the set at *owner, with a
** copy of name and the index; null only for another kind. Names are not
** looked up, so one may stand twice. */
void *ddBufferAddItem(ddBuffer *buffer, int kind, intptr_t *owner, const char *name, int32_t index);
/* Gives the data item (kind 0) or record (1) of that name its number and
** puts it in the number set. 0 for another kind, an unknown name, or a
** number already taken. */
void *ddBufferNumber(ddBuffer *buffer, int kind, const char *name, int32_t number);
/* The entry of that name or number in the set whose root value is given,
** or null. An absent set finds nothing and is not created. */
void *ddBufferFindName(const char *name, intptr_t set);
void *ddBufferFindNumber(int32_t number, intptr_t set);

/* The data item a member names, or null with *record set to the record it
** names (null too when it names neither). Data items come first, as every
** look-up of a member takes them. A member made by ddBufferAddItem keeps
** what was found, since names once read never change their meaning. */
ddBufData *ddBufferMemberTarget(ddBuffer *buffer, const ddBufMember *member, ddBufRecord **record);

/* Structure autosize: gives every structure of the buffer its size in bytes
** and every member its byte offset and bit position. Always 0. */
int ddAutosize(ddBuffer *buffer);
/* Size of one structure in bytes; 0 when it cannot be worked out (it holds
** itself), -1 for a structure with compile-time offsets. */
int ddSizeStruct(ddBufStruct *structure);
/* Places one member in its structure; non-zero stops that structure's walk. */
int ddSizeMember(ddBufMember *member, ddBufStruct *structure);

#endif
