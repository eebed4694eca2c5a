/*
** The schema text reader: the scanner shared by all commands (blanks,
** comments, lists, options), the command loop, and the eight command
** handlers that fill a ddBuffer. Nothing here touches the schema store.
*/
#ifndef RKDD_IMPORT_DDREAD_H
#define RKDD_IMPORT_DDREAD_H

#include <stddef.h>
#include <stdio.h>

#include "import/ddbuffer.h"
#include "rkdd/keywords.h"

/* Buffer sizes, terminator included, from the limits rkdd/keywords.h
** publishes. Longer text is cut to size - 1 characters, the rest of it is
** skipped, and one "ERROR: ..." line says so; items past the last slot of a
** list are skipped the same way. */
enum {
  DD_WORD_SIZE = RKDD_WORD_MAX + 1,   /* command word, name behind it */
  DD_ITEM_SIZE = RKDD_WORD_MAX + 1,   /* one list item, before trimming */
  DD_LIST_SLOTS = RKDD_LIST_MAX,      /* items of one list */
  DD_OPTION_SIZE = RKDD_WORD_MAX + 1, /* key and value of ddSplitOption */
  DD_TEXT_SIZE = RKDD_TEXT_MAX + 1,   /* describe text, define value */
};

/* The most text one unit of a file may run to: a command word, a name, a
** list (items, options and quoted texts in it), a member or list statement,
** a describe text or a define value, with the blanks and comments behind
** it. Past this the file is taken for no schema text, as an unknown command
** word is: one "ERROR: ..." line and "Aborted.", and the read fails. So an
** endless stream ends the read after this much, and the memory the read
** needs stays that of the buffers above. Checked each time a chunk is read
** from a file, so the read ends within one chunk past the bound. A fuzzing
** build sets a smaller bound, so that short inputs reach it. */
#ifndef DD_UNIT_LIMIT
#define DD_UNIT_LIMIT (1L << 20)
#endif

/* A schema text and the position of the next character: [at, end) is what
** is at hand. With a file, the next chunk of it is read into chunk when at
** reaches end, so a file of any size needs one chunk of memory; without,
** the text ends at end. read counts the bytes of every chunk so far, and
** mark is where the unit at hand began, counted the same way; a file whose
** unit runs past DD_UNIT_LIMIT sets overrun, and its input ends there.
** Where each line of the text begins is noted while lines is set (every
** import, so that the place of each definition's name can be kept); the
** places of everything else are taken only while track is set (a handler is
** there to be told them). A stream made with track 0 costs nothing for them. */
typedef struct ddStream {
  const char *at;
  const char *end;
  FILE *file;
  char *chunk;
  size_t chunkSize;
  long long read;
  long long mark;
  int overrun;
  int lines;
  int track;
} ddStream;

/* The place of p, a point of the text at hand, whether or not the stream
** tracks places; ddStreamPlace gives none when it does not. */
static inline ddPlace ddStreamHere(const ddStream *stream, const char *p) {
  ddPlace place = {stream->read - (stream->end - p) + 1};
  return place;
}
static inline ddPlace ddStreamPlace(const ddStream *stream, const char *p) {
  ddPlace place = {stream->track ? ddStreamHere(stream, p).at : 0};
  return place;
}

/* Starts noting where the lines of stream begin, its text at hand beginning
** at offset 0, and lets messages tell places as lines and columns until
** ddStreamEndPlaces. The line table grows by 8 bytes per line read. */
void ddStreamKeepLines(ddStream *stream, long long sizeHint);
void ddStreamEndPlaces(void);
/* Gives the store the line and column of place as where the definition of
** code was read (nothing for no place); only while the line table is kept. */
void ddKeepPlace(int code, ddPlace place);
/* Notes where the lines that begin in the text at hand begin; the reader
** calls it for each chunk of a stream that takes places. */
void ddStreamNoteLines(const ddStream *stream);

/* Notes that a new unit begins at the next character. */
void ddMarkUnit(ddStream *stream);

/* Reads the file at path into buffer. 1 when the file was read to its end,
** 0 when it did not open, held a word that is no command, or ran past
** DD_UNIT_LIMIT in one unit (what was read before stays in the buffer). */
int ddReadSchemaFile(const char *path, ddBuffer *buffer);

/* Skips blank characters (blank, tab, newline, carriage return) and
** comments, reporting a '/' that starts none. */
void ddSkipSpace(ddStream *stream);
/* Takes c if it is the next character behind blanks and comments, and skips
** blanks and comments behind it either way. 1 when c was taken. */
int ddExpectChar(ddStream *stream, char c);

/* Reads a list shaped by stops (opener or blank, separator, terminator) into
** at most DD_LIST_SLOTS items, each a trimmed text. The texts live in the
** reader's own slots: they stay good until the next ddReadList, and the
** caller lets them go with ddFreeList. 0, with no items, when the opener is
** missing or the input ends before the terminator. */
int ddReadList(ddStream *stream, int *count, char **items, const char *stops);
void ddFreeList(int *count, char **items);
/* Splits an option item into key and value, buffers of DD_OPTION_SIZE. A
** malformed item is reported and gives an empty key and value. */
void ddSplitOption(const char *item, char *key, char *value);

/* dataDef and recordDef: the list is already read; 1 when an entry was made,
** 0 when the name was taken. A missing type keyword counts as unknown, and a
** missing structure name as none. */
int ddReadDataDef(ddBuffer *buffer, const char *name, int count, char **items);
int ddReadRecordDef(ddBuffer *buffer, const char *name, int count, char **items);

/* struct, and one member statement of it. ddReadStruct gives 1 when the body
** was read to its '}', 0 when the name was taken (the body stays unread) or
** the input ended inside it (what was read stands). */
int ddReadStruct(ddBuffer *buffer, ddStream *stream, const char *name);
int ddReadMember(ddBufStruct *owner, int count, char **items);

/* parent, child, alias: 1 when the body was read, 0 when the name was taken
** or a statement gave no item (which the end of input causes). */
int ddReadParent(ddBuffer *buffer, ddStream *stream, const char *name);
int ddReadChild(ddBuffer *buffer, ddStream *stream, const char *name);
int ddReadAlias(ddBuffer *buffer, ddStream *stream, const char *name);

/* describe: 1 when a text was stored; define: 1 when a value was stored. */
int ddReadDescribe(ddBuffer *buffer, ddStream *stream, const char *name);
int ddReadDefine(ddBuffer *buffer, ddStream *stream, const char *name);

#endif
