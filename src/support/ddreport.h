/*
** Messages: the one road by which the library tells its host what it found.
** Every kind of message is a row of DD_MESSAGES (id, severity, whether the
** default prints it); the place and file it is about travel beside it.
*/
#ifndef RKDD_SUPPORT_DDREPORT_H
#define RKDD_SUPPORT_DDREPORT_H

#include <stddef.h>
#include <stdint.h>

#include "rkdd/rkdd.h"

/* X(NAME, "id", severity, printed): printed 0 marks what only an installed
** handler hears, so that the default output stays as it always was. */
#define DD_MESSAGES(X)                                                   \
  /* reading the text */                                                 \
  X(FILE_OPEN, "file-open", ERROR, 1)                                    \
  X(UNKNOWN_COMMAND, "unknown-command", ERROR, 1)                        \
  X(ABORTED, "aborted", ERROR, 1)                                        \
  X(MISSING_NAME, "missing-name", ERROR, 1)                              \
  X(UNIT_TOO_LONG, "unit-too-long", ERROR, 1)                            \
  X(TEXT_TOO_LONG, "text-too-long", ERROR, 1)                            \
  X(SLASH, "slash-not-comment", ERROR, 1)                                \
  X(CANNOT_READ_LIST, "cannot-read-list", ERROR, 1)                      \
  X(LIST_TOO_LONG, "list-too-long", ERROR, 1)                            \
  X(OPTION_SYNTAX, "option-syntax", ERROR, 1)                            \
  X(UNKNOWN_OPTION, "unknown-option", ERROR, 1)                          \
  X(ALREADY_DEFINED, "already-defined", ERROR, 1)                        \
  X(UNKNOWN_TYPE, "unknown-type", ERROR, 1)                              \
  X(TEXT_LENGTH, "text-length-missing", ERROR, 1)                        \
  X(TOO_MANY_FIELDS, "too-many-fields", ERROR, 1)                        \
  X(INVALID_LEVEL, "invalid-level", ERROR, 1)                            \
  X(PAD_NOT_POSITIVE, "pad-not-positive", WARNING, 1)                    \
  X(INTERNAL, "internal-error", ERROR, 1)                                \
  X(NUMBER_USED, "number-used", ERROR, 1)                                \
  /* sizing structures */                                                \
  X(FLAG_LENGTH, "flag-length", ERROR, 1)                                \
  X(MTYPE_DATA, "data-type", WARNING, 1)                                 \
  X(INVALID_TYPE, "invalid-type", ERROR, 1)                              \
  X(UNKNOWN_ELEMENT, "unknown-element", ERROR, 1)                        \
  X(RECORD_NOT_HELD, "record-type", ERROR, 1)                            \
  X(STRUCTURE_REFERENCE, "structure-reference", ERROR, 1)                \
  X(DATA_NOT_HELD, "data-item-type", ERROR, 1)                           \
  X(COMPILE_TIME, "compile-time-offsets", ERROR, 1)                      \
  X(ZERO_LENGTH, "zero-length", WARNING, 1)                              \
  X(SELF_CONTAINING, "self-containing", ERROR, 1)                        \
  X(HARDCODED_LENGTH, "hardcoded-length", WARNING, 1)                    \
  /* building the site */                                                \
  X(NOT_DEFINED, "not-defined", ERROR, 1)                                \
  X(LIST_CUT, "list-truncated", ERROR, 1)                                \
  X(PARTIAL_RANGE, "partial-range", WARNING, 1)                          \
  X(ERRORS_COUNTED, "errors-counted", ERROR, 1)                          \
  X(NOT_IMPLEMENTED, "not-implemented", ERROR, 1)                        \
  /* the store */                                                        \
  X(NO_ELEMENT_TYPE, "no-element-type", NOTE, 1)                         \
  X(UNKNOWN_TAG_TYPE, "unknown-tag-type", WARNING, 1)                    \
  X(MULTI_BIT_FLAG, "multi-bit-flag", NOTE, 1)                           \
  X(COMPILED_TABLE, "compiled-table", ERROR, 1)                          \
  X(LEVEL_OVERFLOW, "level-overflow", WARNING, 1)                        \
  X(RECORD_TOO_LONG, "record-too-long", ERROR, 1)                        \
  /* heard by a handler alone */                                         \
  X(BAD_NUMBER, "bad-number", WARNING, 0)                                \
  X(RANGE_INVERTED, "range-inverted", WARNING, 0)                        \
  X(DEFAULT_OUT_OF_RANGE, "default-out-of-range", WARNING, 0)            \
  X(KEY_OUT_OF_RANGE, "key-out-of-range", WARNING, 0)                    \
  X(NO_EFFECT, "option-no-effect", WARNING, 0)                           \
  X(UNTERMINATED_COMMENT, "unterminated-comment", WARNING, 0)            \
  X(DESCRIBE_UNKNOWN, "describe-unknown", WARNING, 0)                    \
  X(LIST_NAMES_DATA, "list-names-data", WARNING, 0)                      \
  X(LIST_NAMES_NOTHING, "list-names-nothing", WARNING, 0)                \
  X(XCODE_UNKNOWN, "xcode-unknown", WARNING, 0)                          \
  X(EMPTY_SCHEMA, "empty-schema", WARNING, 0)                            \
  X(DATA_RECORD_TYPE, "data-record-type", WARNING, 0)                    \
  X(UNUSED, "unused-definition", WARNING, 0)                            \
  X(DID_YOU_MEAN, "did-you-mean", NOTE, 0)

enum {
#define DD_MSG_ENUM(name, id, severity, printed) DD_MSG_##name,
  DD_MESSAGES(DD_MSG_ENUM)
#undef DD_MSG_ENUM
  DD_MSG_COUNT
};

/* One row of DD_MESSAGES. */
typedef struct ddMessageKind {
  const char *id;
  int severity;
  int printed;
} ddMessageKind;
extern const ddMessageKind ddMessageKinds[DD_MSG_COUNT];

/* A place in the text being imported: 1 + the byte offset of its first
** character, 0 for none. Finding one costs a subtraction; it becomes a line
** and column only when a message about it is handed to a handler. */
typedef struct ddPlace {
  int64_t at;
} ddPlace;

/* Turns a place into a 1-based line and byte column; installed by the
** reader for as long as it can tell them (see ddReportLines). */
typedef void (*ddPlaceResolver)(int64_t at, int32_t *line, int32_t *column);

/* Reports one message of kind `kind`. The default prints format with its
** arguments on standard output, as printf would, and only for printed
** kinds; an installed handler gets the text without the line ends around
** it, with the place and file at hand. */
void ddReport(int kind, const char *format, ...)
#if defined(__GNUC__)
  __attribute__((format(printf, 2, 3)))
#endif
  ;
/* ddReport about place: the place stays the one at hand after it. */
void ddReportOn(ddPlace place, int kind, const char *format, ...)
#if defined(__GNUC__)
  __attribute__((format(printf, 3, 4)))
#endif
  ;
/* ddReport of a text already put together, length bytes long, in a buffer
** with room for one byte more, which a handler's call may write. */
void ddReportText(int kind, char *text, size_t length);

/* 1 while a handler is installed: only then is it worth finding places and
** looking for what only a handler hears. */
int ddReportHandled(void);

/* The place and file the next messages are about. The file is the path of
** the import at hand (the caller keeps it alive), null outside one. */
extern ddPlace ddReportPlaceAtHand;
static inline void ddReportAt(ddPlace place) { ddReportPlaceAtHand = place; }
void ddReportFile(const char *path);
/* The resolver of places, or null: places then have no line or column. */
void ddReportLines(ddPlaceResolver resolver);

/* How a message of the store about a definition finds its place: set by an
** import while it runs, so that layout tells where the definition was read. */
typedef ddPlace (*ddCodePlacer)(int code);
void ddReportPlacer(ddCodePlacer placer);
/* ddReportAt the place of the definition of code; none without a placer. */
void ddReportAtCode(int code);

#endif
