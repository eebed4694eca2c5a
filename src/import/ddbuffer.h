/*
** The definition buffer: everything a schema text file defines, kept by name
** (and by number for data items and records) in typed sets, until autosize
** and the site builder turn it into definitions.
*/
#ifndef RKDD_IMPORT_DDBUFFER_H
#define RKDD_IMPORT_DDBUFFER_H

#include <stddef.h>
#include <stdint.h>

#include "rkdd/rkdd.h"
#include "support/ddreport.h"
#include "support/mlist.h"

/* Every entry and item begins with its name and the place of its name (or,
** for a member or list item, of its statement): one compare function and
** one index serve every set by name. */
struct ddBufNamed {
  char *name;
  ddPlace place; /* kept by every read for a definition's name; for a member or
                 ** list item 0 when the read had no handler to tell (ddReportHandled) */
};

/* Entries and items kept in order of a number too: a data item's or
** record's number, a member's or list item's index in its owner. */
struct ddBufNumbered : ddBufNamed {
  int32_t number;
};

/* The word a set's list holds for an entry, and the entry of a word. */
inline intptr_t ddBufWord(const ddBufNamed *entry) { return reinterpret_cast<intptr_t>(entry); }
inline ddBufNamed *ddBufEntryAt(intptr_t word) { return reinterpret_cast<ddBufNamed *>(word); }

/* What data items and records both hold: the options they share, and where
** the type and XCODE that later steps report on stood. */
struct ddBufHead : ddBufNumbered {
  int32_t type;
  int32_t key;
  int32_t disp;
  int32_t edit;
  int32_t search;
  int32_t acnt;
  uint16_t ver;
  char *label;
  char *msg;
  char *site;
  char *xcode; /* handed as is to the built definition: must outlive it */
  ddPlace typePlace, xcodePlace;
};

struct ddBufData : ddBufHead {
  int32_t len; /* bits for flag and enum types, bytes for text and data */
  float min;
  int32_t minSet;
  float max;
  int32_t maxSet;
  float defVal;
  char *defStr;
  int32_t defSet;
  int32_t isEnum;
  ddPlace minPlace, maxPlace, defPlace;
};

struct ddBufRecord : ddBufHead {
  int32_t lev;
  char *structName;
  char *parentName;
  char *childName;
  char *aliasName;
  char *prefix;
  ddPlace structPlace, parentPlace, childPlace, aliasPlace;
};

/* A set of entries of one type in the order of their names or numbers, the
** newest first among equals: a sorted list with an index beside it
** (ddbufidx1), null until the first entry arrives. Walked as a range. */
template <typename Entry> struct ddBufSet {
  mlist *list;

  struct iterator {
    const mlistNode *node;
    Entry *operator*() const { return static_cast<Entry *>(ddBufEntryAt(node->value)); }
    iterator &operator++() {
      node = node->next;
      return *this;
    }
    bool operator!=(const iterator &other) const { return node != other.node; }
  };
  iterator begin() const { return {list ? list->first : nullptr}; }
  iterator end() const { return {nullptr}; }
};

struct ddBufMember : ddBufNumbered {
  char *fn;
  int32_t bit;
  int32_t off;
  int32_t pad;
  uint8_t ptr;
  uint8_t share;
  /* What its name stands for, once ddBufferMemberTarget looked it up. */
  ddBufData *data;
  ddBufRecord *record;
};

struct ddBufStruct : ddBufNamed {
  uint8_t memberCount; /* members that are neither SHARE nor PAD */
  uint8_t used;        /* a record was built on it */
  int32_t len;
  char *sn;
  char *un;
  ddBufSet<ddBufMember> members; /* by index */
  int32_t state;
  int32_t nextBit;
  int32_t nextIndex; /* index of the next member: all members so far */
  int32_t holdsEnum;
  ddField *fields; /* the site builder's field table, while it builds */
};

struct ddBufCodeItem : ddBufNumbered {};

struct ddBufCodeList : ddBufNamed {
  int32_t count; /* items so far: the index of the next one */
  int32_t used;  /* a record was built naming it */
  ddBufSet<ddBufCodeItem> items; /* by index */
  int32_t *codes; /* the site builder's code table, while it builds */
};

struct ddBufDescribe : ddBufNamed {
  char *text;
};

struct ddBufDefine : ddBufNamed {
  char *value;
};

struct ddBuffer {
  ddBufSet<ddBufData> dataByName;
  ddBufSet<ddBufData> dataByNumber;
  int32_t nextDataNumber;
  ddBufSet<ddBufRecord> recordByName;
  ddBufSet<ddBufRecord> recordByNumber;
  int32_t nextRecordNumber;
  ddBufSet<ddBufStruct> structs;
  ddBufSet<ddBufCodeList> aliases;
  ddBufSet<ddBufCodeList> parents;
  ddBufSet<ddBufCodeList> children;
  ddBufSet<ddBufDescribe> describes;
  ddBufSet<ddBufDefine> defines;
};

/* strcmp of the two names; the difference of the two numbers. Both take the
** words of a set's list: ddBufNamed (ddBufNumbered) parts of entries. */
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

/* A new zeroed entry with a copy of name in set, one of buffer's, or null
** when the name is taken: in set, or for a data item or record in either
** of the two (they share one name space). */
template <typename Entry> Entry *ddBufferAdd(ddBuffer *buffer, ddBufSet<Entry> *set, const char *name);
/* A new zeroed member or list item with a copy of name and the index, put
** into set. Names are not looked up, so one may stand twice. */
template <typename Item> Item *ddBufferAddItem(ddBufSet<Item> *set, const char *name, int32_t index);
/* Gives the data item or record its number and puts it in the number set;
** null, the number written all the same, when the set holds it already. */
template <typename Entry> Entry *ddBufferNumber(ddBufSet<Entry> *byNumber, Entry *entry, int32_t number);

/* The entry of that name or number in set, or null. An absent set finds
** nothing and is not created. */
ddBufNamed *ddBufferFindNamed(const char *name, const mlist *set);
ddBufNumbered *ddBufferFindNumbered(int32_t number, const mlist *set);
template <typename Entry> Entry *ddBufferFindName(const char *name, const ddBufSet<Entry> &set) {
  return static_cast<Entry *>(ddBufferFindNamed(name, set.list));
}
template <typename Entry> Entry *ddBufferFindNumber(int32_t number, const ddBufSet<Entry> &set) {
  return static_cast<Entry *>(ddBufferFindNumbered(number, set.list));
}

/* The data item a member names, or null with *record set to the record it
** names (null too when it names neither). Data items come first, as every
** look-up of a member takes them. The member keeps what was found, since
** names once read never change their meaning. */
ddBufData *ddBufferMemberTarget(const ddBuffer *buffer, ddBufMember *member, ddBufRecord **record);

/* Structure autosize: gives every structure of the buffer its size in bytes
** and every member its byte offset and bit position. Always 0. */
int ddAutosize(ddBuffer *buffer);
/* Size of one structure in bytes; 0 when it cannot be worked out (it holds
** itself), -1 for a structure with compile-time offsets. */
int ddSizeStruct(ddBufStruct *structure);

#endif
