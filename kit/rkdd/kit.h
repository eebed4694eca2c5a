/*
** rkddkit: a companion library of the rkdd tool, built on the public dd
** interface alone. It reads one site into a model of plain structs, writes a
** model back as schema text, lists the differences between two models, and
** reads and writes the values of packed records by the model's layout.
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
  KIT_FIELD_BAD_KIND = 4,   /* the kind is none of DD_KIND_* */
  KIT_FIELD_TOO_LONG = 5    /* the record's fields end past what an int
                            ** holds: the store laid it out empty */
};

/* One slot of a record's field table. */
typedef struct kitField {
  int32_t code;       /* the code the slot holds, as stored */
  int32_t site;       /* site of that code; -1 when it lies in no site's range */
  int32_t local;      /* code - site * RKDD_CODE_SPAN when site >= 0, else the code */
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
  int32_t local;        /* code within the site (code - site * RKDD_CODE_SPAN) */
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
  int32_t bitWidth; /* 1 for a flag; an enumeration's width in bits where a
                    ** record's layout tells it (kitBitWidths), else 0 */
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

/* The word of a field kind: "data", "pointer" or "inline" (a record held
** in line); null for another number. */
RKDDKIT_API const char *kitKindName(int kind);

/* The widths in bits that the packed layouts give the data items of a
** model: widths (an array of model->dataCount) gets one for each item in
** model->data order. A flag takes one bit. The store does not keep the
** width of an enumeration; it is read from the bit at which the flag or
** enumeration that follows it in a record starts, and when that one starts
** a fresh byte, it is the reader's default of 4 bits if that ends the byte
** too, else the bits left in the byte. Where no record tells, and for other
** types, the width is 0. Gives the number of enumerations whose width no
** record tells. */
RKDDKIT_API int kitBitWidths(const kitModel *model, int32_t *widths);

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
** the reader gave: the width (LEN) of an enumeration item, as kitBitWidths
** tells it, and its ENUM option, from a bit position of 8 or more.
**
** What the text cannot say is reported as a warning line ("kit: ...") on
** the warnings stream (none when it is null) and counted; export goes on:
**  - an unnamed definition, or a name that a schema file cannot carry, gets
**    the placeholder name _code<local>; a name that an earlier definition of
**    the site already holds gets <name>_<local>;
**  - a gap in the codes is filled with a placeholder definition named
**    _gap<local> (rktype_ival data, rktype_null records), so the codes that
**    follow keep their places; a site whose tables start elsewhere than
**    RKDD_RECORD_BASE / RKDD_DATA_BASE is written as if they did;
**  - a field or link whose code names nothing in the site (another site's
**    code, a field's code 0) is left out, with a comment in its place; a
**    link to code 0 is written as a name that nothing defines (_none), which
**    an import reads as code 0 without complaint;
**  - a field table that no structure gives (an unpacked record, a kind that
**    does not follow from what the field holds, offsets or a length that are
**    not the packed layout's, as in a compiled table before its first
**    ddFixup) is written as the structure that comes nearest;
**  - the width of an enumeration item that no record's layout tells (it is
**    last of its run of bits in every record that holds it, or no record
**    holds it) is left out, so the item reads back with 4 bits;
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
** record, a data item with a data item), and a name only OLD has with a
** name only NEW has when the two definitions have one code and one layout
** (KIT_RENAMED); fields of matched records by the name of what they hold in
** NEW (the n-th slot holding a name with the n-th), links as whole lists.
** Codes are compared site-relative (local codes).
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
  /* a definition only OLD has and one only NEW has, of one kind, code and
  ** layout: one definition under a new name (def is the new name, the
  ** texts the old and the new); its other changes follow under the new name */
  KIT_RENAMED,
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
**  definition renamed: same kind, code and     breaking: data written
**  layout under another name (renamed)        before reads the same, but a
**                                              host that looks it up by its
**                                              old name does not find it
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

/* ---------------------------------------------------------------------------
** Records as data: the values of a packed record's fields read from its
** bytes and written into them, by the layout of the model, one by one by a
** path or all at once as JSON text.
**
** A record type (kitRecordTypeMake) is one record of a model made ready for
** that: it holds the model's figures it needs and a picture of the
** record's defaults, so it outlives nothing but the model, which must stay
** until the type is freed. Byte order is little-endian unless
** KIT_BIG_ENDIAN is given; it applies to integers, floats, pointers and the
** word that holds a flag or an enumeration, never to texts.
**
** What each field holds, by what the packed layout gave its slot (offset,
** size) and by the tag type of what it holds:
**  - rktype_cval, _sval, _ival: a signed integer of 1, 2, 4 bytes;
**    rktype_ucval, _usval, _uival: unsigned; rktype_fval, _dval: an IEEE
**    float or double; a pointer (DD_KIND_POINTER): the unsigned 4-byte value
**    it holds.
**  - rktype_text: the slot's bytes; as a value, the bytes up to the first
**    NUL (all of them when there is none).
**  - rktype_flag: one bit. rktype_enum: an unsigned number held in bits.
**    Bits are numbered in the slot read as one unsigned integer of its size
**    in the record's byte order, bit 0 its least significant (little-endian:
**    bit 0 is the low bit of the slot's first byte, bit 8 the low bit of the
**    second). The field's bit position, taken modulo the slot's bits (8 for
**    a flag, which always takes one byte, 32 for a 4-byte enumeration), is
**    the value's lowest bit; a flag is that bit, an enumeration its width
**    (kitDef.bitWidth) of bits from there, or all bits to the top of the
**    slot where no layout tells its width. So a flag at bit position 9 is
**    bit 1 of its byte, and an enumeration of 3 bits at bit position 2 is
**    bits 2..4 of its slot's word. The other bits of a flag's or an enumeration's slot
**    belong to no field: writing a value keeps them, encoding a whole record
**    leaves them zero. kitFieldBits gives the two numbers.
**  - A data item of a count of 2 or more (ACNT): an array of that many
**    elements, each as above (a flag is one bit whatever its count).
**  - A record held in line: its own fields; an array of records when the
**    record has an array count of 2 or more.
**  - Anything else that takes bytes: a data item of another tag type, a
**    slot whose size is not what its type gives, a field whose layout has a
**    problem (kitField.problem), a record held in line from another site or
**    one that holds itself: raw bytes.
** A field that takes no bytes, or lies outside its record, holds nothing and
** is left out. A field is named by the name of what it holds; a name that an
** earlier field of the same record already has gets "#2", "#3" and so on,
** and a field that holds no named definition is "#" and its local code.
**
** A path names one value: field names joined by ".", each field of a count
** of 2 or more followed by an index in brackets from 0, as in
** "LpOrigin[1].LpWeight" or "LpCount[2]". Names with ".", "[" or "]" in
** them cannot be reached by a path.
*/

/* Flags of kitRecordTypeMake. */
enum { KIT_BIG_ENDIAN = 1 };

/* Results of the functions below; kitRecordError.code. */
enum {
  KIT_RECORD_OK = 0,
  KIT_RECORD_NO_FIELD = 1,   /* a path or a JSON key names no field, or an
                             ** index lies past the end */
  KIT_RECORD_SHORT = 2,      /* fewer bytes than the record's length */
  KIT_RECORD_NOT_VALUE = 3,  /* a path that ends at a record or a whole array */
  KIT_RECORD_WRONG_KIND = 4, /* a value of the wrong kind for the field */
  KIT_RECORD_RANGE = 5,      /* a value that does not fit the field */
  KIT_RECORD_SYNTAX = 6,     /* a path or JSON text that does not parse, a
                             ** key given twice, an array of the wrong length */
  KIT_RECORD_NO_MEMORY = 7,
  KIT_RECORD_BAD_ARGUMENT = 8 /* a null argument, or no such record */
};

/* What went wrong, for the functions that take one (null is allowed). */
typedef struct kitRecordError {
  int32_t code;      /* KIT_RECORD_* */
  int64_t at;        /* byte of the JSON text where it was found, or -1 */
  char path[256];    /* where: "$" the record, "$.LpOrigin[1].LpWeight" a
                     ** value (a path over 255 bytes ends in "...") */
  char message[256]; /* one line, in plain words */
} kitRecordError;

/* Kinds of value. */
enum {
  KIT_VALUE_INT = 1,   /* signed integers: i */
  KIT_VALUE_UINT = 2,  /* unsigned integers, pointers, flags, enumerations: u */
  KIT_VALUE_REAL = 3,  /* floats and doubles: real */
  KIT_VALUE_TEXT = 4,  /* texts: bytes and length */
  KIT_VALUE_BYTES = 5  /* raw bytes: bytes and length */
};

/* One value. Reading fills the member of its kind; writing takes a number of
** any of the three number kinds where a number goes. */
typedef struct kitValue {
  int32_t kind;         /* KIT_VALUE_* */
  int32_t length;       /* TEXT: bytes up to the first NUL; BYTES: all */
  int64_t i;
  uint64_t u;
  double real;
  const char *bytes;    /* TEXT and BYTES; when read, inside the record */
} kitValue;

typedef struct kitRecordType kitRecordType;

/* The record with this full code of the model made ready for reading and
** writing; null when the model holds no such record (err says so) or memory
** ran out. flags: 0 or KIT_BIG_ENDIAN. */
RKDDKIT_API kitRecordType *kitRecordTypeMake(const kitModel *model, int recordCode, int flags,
                                             kitRecordError *err);

/* Frees a record type; null is allowed. */
RKDDKIT_API void kitRecordTypeFree(kitRecordType *type);

/* The record's length in bytes: how many bytes every function below wants. */
RKDDKIT_API int32_t kitRecordLength(const kitRecordType *type);

/* The lowest bit and the width in bits of a flag's or an enumeration's
** value within its element's slot, by the rule above; 0 with both set to 0
** for a field that holds neither (or a null field or model). */
RKDDKIT_API int kitFieldBits(const kitModel *model, const kitField *field, int *lowBit, int *width);

/* Reads the value that path names from a record of size bytes. Gives
** KIT_RECORD_OK and fills value; KIT_RECORD_NO_FIELD for a path that names
** nothing, KIT_RECORD_NOT_VALUE for one that ends at a record or an array
** (value untouched), KIT_RECORD_SHORT when size is below the record's
** length, KIT_RECORD_SYNTAX for a path that does not parse. A text's bytes
** point into the record. */
RKDDKIT_API int kitRecordGet(const kitRecordType *type, const void *record, size_t size,
                             const char *path, kitValue *value, kitRecordError *err);

/* Writes value into the field that path names, leaving every other byte as
** it was (and the bits of a flag's or enumeration's slot that are not its
** value). The results of kitRecordGet, and KIT_RECORD_WRONG_KIND for a value
** of another kind (a text for a number, a number for a text),
** KIT_RECORD_RANGE for one that does not fit: an integer out of the type's
** range or a real number that is not whole, for an integer field; a finite
** number beyond the float's range; a flag other than 0 or 1, an enumeration
** of more bits than it has; a text or bytes longer than the slot (a shorter
** one is padded with NUL bytes). On any error the record is not changed. */
RKDDKIT_API int kitRecordSet(const kitRecordType *type, void *record, size_t size,
                             const char *path, const kitValue *value, kitRecordError *err);

/* Writes a new record: every byte zero, then each field's default, as its
** data item gives it (DEF; a text's default text, cut to the slot), where
** the field can hold it; a default that does not fit the field (not whole
** for an integer, out of its range) leaves zero. KIT_RECORD_SHORT when size
** is below the record's length. */
RKDDKIT_API int kitRecordDefaults(const kitRecordType *type, void *record, size_t size);

/* Walking a record: the callback hears, in layout order, every value, and
** where a record held in line or an array begins and ends. */
enum { KIT_ITEM_VALUE = 1, KIT_ITEM_RECORD = 2, KIT_ITEM_ARRAY = 3, KIT_ITEM_END = 4 };

typedef struct kitItem {
  int32_t event;         /* KIT_ITEM_*; END closes the last RECORD or ARRAY */
  int32_t depth;         /* 0 for the record's own fields and their elements */
  const kitField *field; /* the field (for END, the one that opened) */
  const char *key;       /* the field's name as the JSON text gives it */
  int32_t index;         /* the element's index within an array, else -1 */
  int32_t offset;        /* bytes from the start of the record */
  int32_t size;          /* bytes of the value, the element or the array */
  kitValue value;        /* KIT_ITEM_VALUE only */
  const void *data;      /* the item's bytes within the record */
  const void *internal;  /* not for callers */
} kitItem;

/* Return 0 to go on, anything else to stop the walk. */
typedef int (*kitItemVisitor)(const kitItem *item, void *context);

/* Walks a record of size bytes. KIT_RECORD_OK when the walk ran to its end
** or the visitor stopped it; KIT_RECORD_SHORT (and no call) when size is
** below the record's length. Nesting is followed on the heap, not the stack. */
RKDDKIT_API int kitRecordWalk(const kitRecordType *type, const void *record, size_t size,
                              kitItemVisitor visit, void *context, kitRecordError *err);

/* The JSON text of a value item (as kitRecordToJson writes it) into out, cut
** to size bytes with a NUL; gives the length the whole text takes, without
** its NUL. For another event, "" and 0. */
RKDDKIT_API size_t kitItemJson(const kitRecordType *type, const kitItem *item, char *out,
                               size_t size);

/* ---------------------------------------------------------------------------
** A record as JSON: one object with a member per field, in layout order.
** Integers, pointers and enumerations are numbers; flags true or false;
** floats and doubles the shortest decimal that reads back as the same value,
** and the strings "nan", "inf" and "-inf" (a NaN of other bits than the
** type's quiet NaN, 0x7fc00000 or 0x7ff8000000000000, is "nan(0x" and all
** its bits in hexadecimal, as "nan(0xffc00001)"); -0 stays -0.
** Texts are strings: the bytes up to the last that is not NUL (a NUL before
** it is written \u0000), UTF-8 as it stands, and each byte that is not part
** of well-formed UTF-8 as the escape \udc80 to \udcff of the lone surrogate
** U+DC00 plus the byte (0xff is \udcff). No UTF-8 text holds a surrogate, so
** the form is lossless; it is Python's "surrogateescape". Raw bytes are a
** string of two lower-case hexadecimal digits per byte. Arrays are arrays,
** records held in line objects.
**
** Reading JSON back takes exactly that form: each key a field of its
** record, once; arrays as long as the field's count; a flag true or false; a
** text a string that fits the slot, does not end in \u0000, and whose
** escapes \udc80 to \udcff stand only for bytes that are not well-formed
** UTF-8 where they land (any other lone surrogate is refused); a number
** that fits (see kitRecordSet: a float field takes the nearest float);
** hexadecimal digits, either case, for raw bytes. A field left out gets its
** default, as kitRecordDefaults writes it, and bytes no field covers are
** zero. So decoding any bytes and encoding the text gives back every byte
** that a field other than a flag or an enumeration covers, and encoding any
** text that this accepts and decoding the bytes gives the same JSON values
** back (floats as the float they became). The parser keeps its way on the
** heap; nesting in the text is bounded by the record's own.
*/

/* The JSON text of a record of size bytes, as a string from malloc (free it
** with free()); indent 0 writes one line, a positive indent one member per
** line, arrays of numbers on one line. Null on error: the record is shorter
** than its length (KIT_RECORD_SHORT) or memory ran out. */
RKDDKIT_API char *kitRecordToJson(const kitRecordType *type, const void *record, size_t size,
                                  int indent, kitRecordError *err);

/* Reads the JSON text of one record (length bytes; a NUL byte is no end)
** into record, which must hold the record's length: KIT_RECORD_SHORT when
** size is below it. On error, err names the JSON path and byte, and the
** record is left zero. */
RKDDKIT_API int kitRecordFromJson(const kitRecordType *type, const char *json, size_t length,
                                  void *record, size_t size, kitRecordError *err);

/* Reads a JSON object, or an array of objects, into records one after
** another in a buffer from malloc (free it with free()), *count of them
** (an empty array gives a buffer and 0); null on error, with *count 0. */
RKDDKIT_API void *kitRecordsFromJson(const kitRecordType *type, const char *json, size_t length,
                                     size_t *count, kitRecordError *err);

#ifdef __cplusplus
}
#endif

#endif /* RKDD_KIT_H */
