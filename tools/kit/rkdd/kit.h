/*
** rkddkit: a companion library of the rkdd tool, built on the public dd
** interface alone. It reads one site into a model of plain structs, writes a
** model back as schema text, and lists the differences between two models.
** It compiles as C99 and as C++.
**
** Threads. kitModelRead asks the library's queries only, so it may run on
** any number of threads at once, beside any other queries, on sites that no
** thread changes meanwhile. Every other function reads nothing but the
** models and lists it is handed and keeps no state of its own: any of them
** may run on several threads at once, as long as no thread frees those
** models or lists meanwhile.
*/
#ifndef RKDD_KIT_H
#define RKDD_KIT_H

#include <stdint.h>
#include <stdio.h>

#include <rkdd/rkdd.h>

#if defined(_WIN32)
#  if defined(RKDDKIT_BUILDING)
#    define RKDDKIT_API __declspec(dllexport)
#  else
#    define RKDDKIT_API __declspec(dllimport)
#  endif
#else
#  define RKDDKIT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------
** The model of a site. Everything in it is owned by the model: texts are
** copies of the store's, taken when the model was read, and one call to
** kitModelFree releases all of it. Names that a definition refers to (a
** field's, a link's) are resolved inside the model's own site, never by a
** global look-up, so a lower site that holds the same name does not win.
*/

/* Kinds of definition, as the code ranges give them. */
enum { KIT_RECORD = 1, KIT_DATA = 2 };

/* What the packed layout left a field with, beyond its figures. */
enum {
  KIT_FIELD_OK = 0,
  KIT_FIELD_UNRESOLVED = 1, /* the code names no definition */
  KIT_FIELD_CYCLE = 2,      /* a record that holds itself in line: no room */
  KIT_FIELD_NO_SIZE = 3,    /* the size came out negative */
  KIT_FIELD_BAD_KIND = 4    /* the kind is none of DD_KIND_* */
};

/* One slot of a record's field table. */
typedef struct kitField {
  int32_t code;       /* the code the slot holds, as stored */
  int32_t site;       /* site of that code; -1 when it lies in no site's range */
  int32_t local;      /* code - site * 4096 when site >= 0, else the code */
  const char *name;   /* the held definition's name; null when it has none or
                      ** is no definition (see problem) */
  int32_t kind;       /* DD_KIND_DC, DD_KIND_POINTER, DD_KIND_STRUCTURE (or odd) */
  int32_t inLine;     /* 1: a record held in line (not through a pointer) */
  int32_t bitPos;     /* 0 to 63 */
  int32_t offset;     /* bytes from the start of the record */
  int32_t size;       /* bytes the slot takes: distance to the next slot's
                      ** offset, the record's length for the last */
  int32_t arrayCount; /* of the held definition (1 when none) */
  int32_t tagType;    /* of the held definition; -1 when none */
  int32_t holdsData;  /* 1: the held definition is a data item */
  int32_t nested;     /* for a record of this site held in line: its index in
                      ** kitModel.records; else -1 */
  int32_t problem;    /* KIT_FIELD_* */
} kitField;

/* One entry of a parent, child or alias list. */
typedef struct kitLink {
  int32_t code;     /* as stored */
  int32_t site;     /* -1 when the code lies in no site */
  int32_t local;    /* as for kitField */
  const char *name; /* null when the code names nothing or no name is set */
} kitLink;

/* A record or a data item. Fields that belong to the other kind are zero. */
typedef struct kitDef {
  int32_t kind;         /* KIT_RECORD or KIT_DATA */
  int32_t code;         /* full code */
  int32_t local;        /* code within the site (code - site * 4096) */
  const char *name;     /* null for none; the texts below likewise */
  const char *label;
  const char *desc;     /* the description (a file's MSG or describe text) */
  int32_t tagType;
  int32_t length;       /* as stored: bytes, bits for a flag, -1 for a text
                        ** item whose length was never set */
  int32_t arrayCount;   /* as ddGetArrayCount answers (a stored 0 reads 1) */
  int32_t key;          /* 0 to 3 */
  int32_t display, edit, search; /* 0 or 1 */
  int32_t packed;       /* 1: the store lays the definition out */
  int32_t version;      /* the whole 16-bit version */
  const char *xcodeName; /* name of the record it extends, as given */
  int32_t extendCode;   /* code of that record once resolved, else 0 */
  const char *extendName; /* its name, when resolved */

  /* Records only. */
  int32_t level;        /* format level; 0 for none */
  const char *prefix;
  int32_t maxId;
  int32_t subRev;
  kitField *fields;
  int32_t fieldCount;
  kitLink *parents, *children, *aliases;
  int32_t parentCount, childCount, aliasCount;

  /* Data only. */
  int32_t rangeSet, defSet, enumSet; /* 0 or 1 */
  float minVal, maxVal, defVal;      /* as stored, set or not */
  const char *defString;
} kitDef;

/* One site: its records and data items in code order. Empty slots of the
** site's tables are left out, so a jump in `local` is a gap in the codes. */
typedef struct kitModel {
  int32_t site;
  const char *siteId;   /* may be empty */
  const char *siteDesc; /* the path for an imported site */
  int32_t recordBase;   /* local code of the site's first record slot */
  int32_t dataBase;     /* local code of its first data slot */
  kitDef *records;
  int32_t recordCount;
  kitDef *data;
  int32_t dataCount;
  void *internal;       /* the arena; not for callers */
} kitModel;

/* Reads site siteNo into a new model; null when there is no such site or
** memory ran out. Reading changes nothing in the store. */
RKDDKIT_API kitModel *kitModelRead(int siteNo);

/* Frees a model and everything in it; null is allowed. */
RKDDKIT_API void kitModelFree(kitModel *model);

/* The definition with this full code, or null. */
RKDDKIT_API const kitDef *kitFindCode(const kitModel *model, int code);

/* The first definition of the model with this name, records first; or null. */
RKDDKIT_API const kitDef *kitFindName(const kitModel *model, const char *name);

/* Schema keywords: the rktype_ word of a tag type and the I... word of a
** format level; null when the number has none. */
RKDDKIT_API const char *kitTagTypeName(int tagType);
RKDDKIT_API const char *kitLevelName(int level);

/* What is wrong with a field's layout (kitField.problem), in a few words;
** "" for KIT_FIELD_OK and for a number that names no problem. */
RKDDKIT_API const char *kitFieldProblemText(int problem);

/* The shortest decimal text that reads back as the same float, written to
** out (size bytes; 32 are always enough). Gives out. */
RKDDKIT_API const char *kitFloatText(float value, char *out, size_t size);

/* ---------------------------------------------------------------------------
** Writing schema text. Data items come first, then the records, each in code
** order, so that importing the text into a fresh site gives every definition
** its code again. Every option the store holds is written where a schema
** file can say it; the text is one line per data item and one block per
** record (its recordDef, its struct, its lists and its describe), aligned.
**
** Two things the store does not keep are read back from the bit positions
** the reader gave: the width (LEN) of an enumeration item, from the step to
** the next flag or enumeration of a record, and its ENUM option, from a bit
** position of 8 or more.
**
** What the text cannot say is reported as a warning line ("kit: ...") on
** the warnings stream (none when it is null) and counted; export goes on:
**  - an unnamed definition, or a name that a schema file cannot carry, gets
**    the placeholder name _code<local>; a name that an earlier definition of
**    the site already holds gets <name>_<local>;
**  - a gap in the codes is filled with a placeholder definition named
**    _gap<local> (rktype_ival data, rktype_null records), so the codes that
**    follow keep their places; a site whose tables start elsewhere than
**    256 / 2048 is written as if they did;
**  - a field or link whose code names nothing in the site (another site's
**    code, a field's code 0) is left out, with a comment in its place; a
**    link to code 0 is written as a name that nothing defines (_none), which
**    an import reads as code 0 without complaint;
**  - a field table that no structure gives (an unpacked record, a kind that
**    does not follow from what the field holds, offsets or a length that are
**    not the packed layout's, as in a compiled table before its first
**    ddFixup) is written as the structure that comes nearest;
**  - a length that no option can set (an unpacked record's, a data item's of
**    a type whose length follows from the type), a text item's unset length,
**    a maximum id, a sub-revision, a default text, the enumeration flag, a
**    default on a text item other than 0, a negative format level, and a
**    label, description, prefix or XCODE text that no option value reads
**    back as, are left out.
** The text carries no comment but a first line and those above, and never
** the site's path, so that exporting an import of the text gives the same
** bytes again.
*/

/* The schema text of a model as a string from malloc (free it with free()),
** or null when memory ran out; *lost (when not null) gets the number of
** warnings. */
RKDDKIT_API char *kitSchemaText(const kitModel *model, FILE *warnings, int *lost);

/* Writes the schema text to out. Gives the number of warnings, or -1 when
** writing failed. */
RKDDKIT_API int kitWriteSchema(const kitModel *model, FILE *out, FILE *warnings);

/* ---------------------------------------------------------------------------
** Comparing two models. Definitions are matched by name (a record with a
** record, a data item with a data item), fields of matched records by the
** name of what they hold (the n-th slot holding a name with the n-th), links
** as whole lists. Codes are compared site-relative (local codes).
*/

/* What one change is about. */
typedef enum kitAttr {
  KIT_ADDED = 0,     /* a definition only the new model has */
  KIT_REMOVED,       /* a definition only the old model has */
  KIT_FIELD_ADDED,   /* a field only the new record has */
  KIT_FIELD_REMOVED, /* a field only the old record has */
  /* attributes of a definition */
  KIT_CODE,          /* local code */
  KIT_TAG_TYPE,
  KIT_LENGTH,
  KIT_ARRAY_COUNT,
  KIT_KEY,
  KIT_DISPLAY,
  KIT_EDIT,
  KIT_SEARCH,
  KIT_PACKED,
  KIT_VERSION,
  KIT_LABEL,
  KIT_DESC,
  KIT_XCODE,         /* the XCODE name as given */
  KIT_EXTENDS,       /* the record it extends, once resolved */
  KIT_LEVEL,
  KIT_PREFIX,
  KIT_MAX_ID,
  KIT_SUB_REV,
  KIT_PARENTS,       /* the list of names, joined by ", " */
  KIT_CHILDREN,
  KIT_ALIASES,
  KIT_RANGE,         /* "min .. max", or "none" */
  KIT_DEFAULT,       /* the default value, or "none" */
  KIT_DEFAULT_TEXT,
  KIT_ENUM,
  /* attributes of a field (kitChange.field is set) */
  KIT_FIELD_INDEX,   /* its slot number */
  KIT_FIELD_KIND,
  KIT_FIELD_OFFSET,
  KIT_FIELD_SIZE,
  KIT_FIELD_BIT_POS,
  KIT_FIELD_ARRAY_COUNT,
  KIT_FIELD_TAG_TYPE,
  /* made by kitDiffModels only: a record held in line changed its layout */
  KIT_NESTED_LAYOUT,
  KIT_ATTR_COUNT
} kitAttr;

/* One difference. Texts are owned by the kitChanges. */
typedef struct kitChange {
  int32_t attr;        /* kitAttr */
  int32_t defKind;     /* KIT_RECORD or KIT_DATA */
  const char *def;     /* the definition's name (placeholder #<local> when unnamed) */
  const char *field;   /* the field's name (with "#2" and so on for a repeat),
                       ** or "" for an attribute of the definition */
  const char *oldText; /* "" for KIT_ADDED and KIT_FIELD_ADDED */
  const char *newText; /* "" for KIT_REMOVED and KIT_FIELD_REMOVED */
} kitChange;

/* All differences, sorted by definition name, kind, field name, attribute. */
typedef struct kitChanges {
  kitChange *changes;
  int32_t count;
  void *internal; /* the arena; not for callers */
} kitChanges;

/* Lists the differences from oldModel to newModel; null when memory ran
** out. An empty list (count 0) means the two compare equal. */
RKDDKIT_API kitChanges *kitCompare(const kitModel *oldModel, const kitModel *newModel);

/* Frees a list of changes; null is allowed. */
RKDDKIT_API void kitChangesFree(kitChanges *changes);

/* The identifier of an attribute ("tagType", "fieldOffset", ...); "?" for
** a number out of range. */
RKDDKIT_API const char *kitAttrName(int attr);

/* ---------------------------------------------------------------------------
** Which changes break. A file written with a schema is read back by codes,
** record lengths and field offsets, so kitDiffModels rules on each change
** from OLD to NEW whether data written with OLD, and callers built against
** it, still read right under NEW:
**
**  change (attribute)                          class
**  ------------------------------------------  ---------------------------
**  definition removed (removed)                breaking
**  definition added (added)                    compatible under a new code;
**                                              breaking when OLD gave its
**                                              code to another definition
**  code of a name (code)                       breaking
**  tag type (tagType), length (length)         breaking, either kind
**  array count of a data item (arrayCount)     breaking
**  array count of a record (arrayCount)        breaking when a record of
**                                              OLD holds it in line, else
**                                              compatible
**  format level (level)                        breaking when it changes or
**                                              goes; compatible when a
**                                              record without one gets one
**  field removed (fieldRemoved)                breaking
**  field added (fieldAdded)                    compatible when it comes
**                                              after every field of OLD and
**                                              no record of OLD holds the
**                                              record in line; else breaking
**  field slot, kind, offset, size, bit         breaking
**  position, array count, tag type
**  (fieldIndex, fieldKind, fieldOffset,
**  fieldSize, fieldBitPos, fieldArrayCount,
**  fieldTagType)
**  record held in line changed its layout      breaking, one change for
**  (nestedLayout)                              each record holding it, and
**                                              on up through those holding
**                                              them
**  label, description, prefix, range, default, compatible
**  default text, enumeration, key, display,
**  edit, search, version, maximum id,
**  sub-revision, packed, parents, children,
**  aliases, xcode, extends
**
** A field added at the end keeps every offset of OLD, so the addition is
** compatible; the record's length still grows, and that change breaks, for
** records are read by their length. A record's layout counts as changed
** when its length or any figure of its field table does. A nestedLayout
** change is reported for a field that holds the record in line in both
** models; a field held in line in one only shows as a fieldKind change.
** The packed flag is compatible by itself: the figures it leads to are
** ruled on one by one.
*/

/* Classes of a change. */
enum { KIT_COMPATIBLE = 0, KIT_BREAKING = 1 };

/* The differences between two models, each ruled on. */
typedef struct kitDiff {
  kitChange *changes;    /* kitCompare's, with the nestedLayout changes,
                         ** in kitCompare's order */
  int32_t *classes;      /* classes[i]: KIT_COMPATIBLE or KIT_BREAKING */
  int32_t count;
  int32_t breakingCount; /* how many classes are KIT_BREAKING */
  void *internal;        /* not for callers */
} kitDiff;

/* Compares oldModel with newModel and rules on every change as the table
** above says; null when memory ran out. */
RKDDKIT_API kitDiff *kitDiffModels(const kitModel *oldModel, const kitModel *newModel);

/* Frees a diff; null is allowed. */
RKDDKIT_API void kitDiffFree(kitDiff *diff);

/* "breaking" or "compatible"; "?" for another number. */
RKDDKIT_API const char *kitClassName(int kitClass);

#ifdef __cplusplus
}
#endif

#endif /* RKDD_KIT_H */
