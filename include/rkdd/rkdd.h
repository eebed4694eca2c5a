/*
** rkdd: the data dictionary of a hierarchical scene-database format.
** This is the whole public interface: the structures that libraries with a
** compiled schema share with the store, and every exported dd function.
** It compiles as C99 and as C++.
**
** Threads. A query (a function that changes no definition) may run on any
** number of threads at once and gives the answer it gives on one thread, as
** long as no thread changes the schema meanwhile. A function that changes
** the schema needs the whole library to itself, whatever site it changes:
** no other dd call may run on any thread until it returns, since layout and
** the indexes by name, label and level span every site. Each group below
** says which of its functions are queries. Entries, field tables and texts
** that queries return stay valid and unchanged until the next change.
*/
#ifndef RKDD_RKDD_H
#define RKDD_RKDD_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  if defined(RKDD_BUILDING)
#    define RKDD_API __declspec(dllexport)
#  else
#    define RKDD_API __declspec(dllimport)
#  endif
#else
#  define RKDD_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------
** Constants
*/

/* Tag types: what kind of value a definition is. */
enum {
  MTYPE_NULL = 0,  MTYPE_CHAR = 1,  MTYPE_UCHAR = 2,  MTYPE_SHORT = 3,
  MTYPE_USHORT = 4, MTYPE_INT = 5,  MTYPE_UINT = 6,   MTYPE_FLOAT = 7,
  MTYPE_DOUBLE = 8, MTYPE_FLAG = 9, MTYPE_ENUM = 10,  MTYPE_TEXT = 11,
  MTYPE_ROOT = 12,  MTYPE_BEAD = 13, MTYPE_REC = 14,  MTYPE_DATA = 15,
  MTYPE_XFORM = 16
};

/* Bits of ddSchema.flags. */
#define DD_FLAG_KEY_MASK    0x03u /* key value, 0 to 3 */
#define DD_FLAG_IS_DISPLAY  0x04u
#define DD_FLAG_IS_EDIT     0x08u
#define DD_FLAG_IS_SEARCH   0x10u
#define DD_FLAG_IS_PACKED   0x20u /* the store lays the definition out itself */

/* Bits of ddDSchema.valueFlags. */
#define DD_VALUE_DEF_SET    0x01u
#define DD_VALUE_RANGE_SET  0x02u
#define DD_VALUE_ENUM_SET   0x04u

/* The bit word of a ddField: bitPos in bits 0-5, a signed 10-bit kind in
** bits 6-15; bits 16-31 are kept as they stand by every operation. */
#define DD_FIELD_BITPOS_MASK 0x003Fu
#define DD_FIELD_KIND_SHIFT  6
#define DD_FIELD_KIND_MASK   0xFFC0u

/* Field kinds: how a record holds the definition a slot names. */
#define DD_KIND_DC        0 /* the value in line */
#define DD_KIND_POINTER   1 /* a 4-byte pointer to the value */
#define DD_KIND_STRUCTURE 2 /* the nested record in line */

/* ---------------------------------------------------------------------------
** Shared structures. Libraries with a compiled schema lay out tables of
** these themselves, so field order and widths are fixed.
*/

struct mlist; /* a list of one-word values, owned by the store */

/* One slot of a record's field table. */
typedef struct ddField {
  int32_t code;   /* data or record code that the field holds */
  uint32_t bits;  /* bitPos (bits 0-5) and kind (bits 6-15, signed) */
  int32_t offset; /* byte offset from the start of the record */
} ddField;

/* The head that record and data entries begin with. */
typedef struct ddSchema {
  int32_t code;           /* full code; 0 marks an empty slot */
  int32_t tagType;        /* MTYPE_NULL .. MTYPE_XFORM */
  uint32_t flags;         /* DD_FLAG_* */
  const char *siteId;     /* the entry's own copy of its site's id */
  int16_t version;
  int32_t extendCode;     /* code of the record this definition extends */
  const char *xcodeName;  /* name of that record, resolved by ddSetCode */
  int32_t arrayCount;     /* array elements; a stored 0 reads as 1 */
  int32_t length;         /* bytes; bits for MTYPE_FLAG data */
  const char *name;
  const char *label;
  const char *desc;
  int32_t reserved[4];
  struct mlist *pathList; /* cached path from one record to this one */
  int32_t reserved2;
  void *reservedBlock;
} ddSchema;

/* A record's resolved parents, children and aliases. */
typedef struct ddLinks {
  uint8_t parentCount;
  uint8_t childCount;
  uint8_t aliasCount;
  int32_t *parents;
  int32_t *children;
  int32_t *aliases;
  int16_t subRev;
} ddLinks;

/* A record entry. */
typedef struct ddRSchema {
  ddSchema head;
  int32_t ilevel;          /* format level; 0 for none */
  int16_t reserved;
  uint8_t fieldCount;
  uint8_t parentNameCount;
  uint8_t childNameCount;
  uint8_t aliasNameCount;
  ddField *fields;
  const char **parentNames;
  const char **childNames;
  const char **aliasNames;
  struct mlist *extFields; /* codes of the definitions extending this one */
  const char *prefix;
  int32_t maxId;
  ddLinks *links;
} ddRSchema;

/* A data entry. */
typedef struct ddDSchema {
  ddSchema head;
  float minVal;
  float maxVal;
  float defVal;
  const char *defString;
  uint32_t valueFlags; /* DD_VALUE_* */
  int32_t reserved;
  void *reservedBlock;
} ddDSchema;

/* One namespace of definitions: a record table and a data table. */
typedef struct ddSite {
  char id[12];    /* at most 8 characters */
  char desc[108]; /* at most 96 characters; empty for a temporary site */
  ddRSchema *recordTable;
  int32_t recordCount;
  int32_t firstRecord;
  int32_t lastRecord;
  int32_t recordBase;
  int32_t *recordMap;
  ddDSchema *dataTable;
  int32_t dataCount;
  int32_t firstData;
  int32_t lastData;
  int32_t dataBase;
  int32_t *dataMap;
  int32_t siteNo;
  int32_t siteWord;
  int32_t codeOffset; /* siteNo * 4096 */
} ddSite;

/* The layout figures that compiled libraries rely on, for LP64 targets. */
#if defined(__cplusplus)
#  define RKDD_ASSERT_(name, cond) static_assert(cond, #name)
#else
#  define RKDD_ASSERT_(name, cond) typedef char rkddAssert_##name[(cond) ? 1 : -1]
#endif
#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
RKDD_ASSERT_(field_size, sizeof(ddField) == 12);
RKDD_ASSERT_(schema_size, sizeof(ddSchema) == 112);
RKDD_ASSERT_(schema_name, offsetof(ddSchema, name) == 48);
RKDD_ASSERT_(site_record_table, offsetof(ddSite, recordTable) == 120);
RKDD_ASSERT_(site_code_offset, offsetof(ddSite, codeOffset) == 192);
#endif
#undef RKDD_ASSERT_

/* ---------------------------------------------------------------------------
** Sites and codes. A code is siteNo * 4096 + a local code; 0 names nothing.
** ddNewSite changes the schema; the other functions of this group are queries.
*/

/* Finds the site with this id (and desc, when desc is given) or makes a new
** one; its number goes to *siteNo. Null once 10 sites exist. */
RKDD_API ddSite *ddNewSite(const char *id, const char *desc, int *siteNo);
/* Number of sites made so far. */
RKDD_API int ddSiteCount(void);
/* Full first/last record and data codes of a site; 0 for no such site. */
RKDD_API int ddSiteInfo(int siteNo, int *firstRecord, int *lastRecord,
                        int *firstData, int *lastData);
/* The site with this number, or null. */
RKDD_API ddSite *ddSiteNo2SiteInfo(int siteNo);
/* The first site whose id matches in its first 8 characters, or null. */
RKDD_API ddSite *ddSiteId2SiteInfo(const char *id);
/* Like ddSiteId2SiteInfo, giving the number; 1 when found, else 0. */
RKDD_API int ddSiteId2SiteNo(const char *id, int *siteNo);
/* The entry in slot n of a site's record or data table, or null. */
RKDD_API ddRSchema *ddSiteGetNthRSchema(int siteNo, int n);
RKDD_API ddDSchema *ddSiteGetNthDSchema(int siteNo, int n);
/* The code held in slot n of a site's record or data table, or 0. */
RKDD_API int ddSiteGetNthRcode(int siteNo, int n);
RKDD_API int ddSiteGetNthDcode(int siteNo, int n);
/* 1 when the code lies in its site's record (data) range, else 0. */
RKDD_API int ddIsRcode(int code);
RKDD_API int ddIsDcode(int code);
/* Site number of a code in a range; 0 otherwise. */
RKDD_API int ddGetSiteNo(int code);
/* Id text of the code's site, or null. */
RKDD_API const char *ddGetSiteId(int code);
/* 1 when ddGetSiteNo gives 0. */
RKDD_API int ddIsKor(int code);
/* Local code of a code in a range; 0 otherwise. */
RKDD_API int ddGetMyCode(int code);
/* Full code of a local code in the site with this id; 0 for no such site. */
RKDD_API int ddGetUCode(const char *id, int local);

/* ---------------------------------------------------------------------------
** Lookups and plain queries. Texts returned belong to the store. All are
** queries.
*/

/* The entry of either kind for a code, or null. */
RKDD_API ddSchema *ddGetSchema(int code);
/* The record (data) entry for a record (data) code, or null. */
RKDD_API ddRSchema *ddGetRSchema(int code);
RKDD_API ddDSchema *ddGetDSchema(int code);
/* Code of the first definition with this name (lowest site, records first). */
RKDD_API int ddNameToCode(const char *name);
/* Code of the data definition with this label (highest site first). */
RKDD_API int ddLabelToCode(const char *label);
/* Code of the first record with this non-zero format level. */
RKDD_API int ddIlevel2Code(int ilevel);
RKDD_API int ddGetTagType(int code);
RKDD_API int ddGetKey(int code);
/* Low 8 bits of the version, taken as signed. */
RKDD_API signed char ddGetVersion(int code);
RKDD_API int ddIsDisplay(int code);
RKDD_API int ddIsEdit(int code);
RKDD_API int ddIsSearch(int code);
RKDD_API const char *ddGetName(int code);
RKDD_API const char *ddGetLabel(int code);
RKDD_API const char *ddGetDesc(int code);
RKDD_API int ddGetExtendCode(int code);
/* Array elements; a stored 0 reads as 1. */
RKDD_API int ddGetArrayCount(int code);
/* Length in bytes; a flag's bit count comes back negated. */
RKDD_API int ddGetLength(int code);
/* 1 for MTYPE_BEAD and MTYPE_ROOT definitions. */
RKDD_API int ddHasBead(int code);
RKDD_API float ddGetMinVal(int code);
RKDD_API float ddGetMaxVal(int code);
RKDD_API float ddGetDefVal(int code);
RKDD_API const char *ddGetDefString(int code);
RKDD_API int ddIsDefSet(int code);
RKDD_API int ddIsRangeSet(int code);
RKDD_API int ddIsEnumSet(int code);
/* Always 1. */
RKDD_API int ddIsEnumOptionMenu(int code);
/* Record-only queries: 0 or null for any other code. */
RKDD_API int ddGetIlevel(int code);
RKDD_API const char *ddGetPrefix(int code);
RKDD_API int ddGetMaxId(int code);
/* Several fields of a record (data) entry at once; every out may be null. */
RKDD_API void ddDeRcode(int code, int *index, int *tagType, int *length,
                        const char **name, int *fieldCount, int *ilevel);
RKDD_API void ddDeDcode(int code, int *index, int *tagType, int *length,
                        const char **name);

/* ---------------------------------------------------------------------------
** Creating and editing definitions. Setters give 1 on success, 0 when the
** code names no fitting definition, and change nothing on failure. Each
** function of this group changes the schema.
*/

/* Code of a new record (data) definition in the site, or 0. */
RKDD_API int ddNewRecordDef(int siteNo);
RKDD_API int ddNewDataDef(int siteNo);
/* Text setters copy the text; null clears it. */
RKDD_API int ddSetName(int code, const char *name);
RKDD_API int ddSetLabel(int code, const char *label);
RKDD_API int ddSetDesc(int code, const char *desc);
RKDD_API int ddSetPrefix(int code, const char *prefix);
/* Stores the low 2 bits; gives 0 when key was outside 0 to 3. */
RKDD_API int ddSetKey(int code, int key);
/* Attribute setters store the lowest bit of value. */
RKDD_API int ddSetIsDisplay(int code, int value);
RKDD_API int ddSetIsEdit(int code, int value);
RKDD_API int ddSetIsSearch(int code, int value);
RKDD_API int ddSetLength(int code, int length);
RKDD_API int ddSetRange(int code, float min, float max);
RKDD_API int ddUnsetRange(int code);
RKDD_API int ddSetDefVal(int code, float value);
RKDD_API int ddUnsetDefVal(int code);
RKDD_API int ddSetIlevel(int code, int ilevel);
RKDD_API int ddSetMaxId(int code, int maxId);

/* ---------------------------------------------------------------------------
** Record fields and layout. The setters, ddCacheFixups and ddFixup change
** the schema (and so does writing into a table that ddGetField gives); the
** other functions of this group are queries.
*/

/* Replaces the field table of a packed record with a copy of fields. */
RKDD_API int ddSetField(int code, ddField *fields, int count);
/* Replaces the field table and makes the record unpacked with this length. */
RKDD_API int ddSetUnpackedField(int code, ddField *fields, int count, int length);
/* Set the kind of one slot of a packed record. */
RKDD_API int ddSetFieldIsPointer(int code, ddField *slot);
RKDD_API int ddSetFieldIsStructure(int code, ddField *slot);
RKDD_API int ddSetFieldIsDC(int code, ddField *slot);
/* Sets the tag type of a packed definition, and its length from the type. */
RKDD_API int ddSetTagType(int code, int tagType);
/* The record's live field table, or null. */
RKDD_API ddField *ddGetField(int code);
RKDD_API int ddGetFieldCount(int code);
/* Code in slot index, or 0. */
RKDD_API int ddGetFieldNth(int code, unsigned int index);
/* The first slot of the record that holds fieldCode, or null. */
RKDD_API ddField *ddGetFieldSchema(int code, int fieldCode);
RKDD_API int ddIsField(int code, int fieldCode);
/* Offset, bit position and kind of a field; every out may be null. */
RKDD_API int ddGetFieldOffset(int code, int fieldCode, int *offset,
                              int *bitPos, int *kind);
RKDD_API int ddIsDC(int code, int fieldCode);
RKDD_API int ddIsPointer(int code, int fieldCode);
RKDD_API int ddIsStructure(int code, int fieldCode);
RKDD_API int ddFieldIsDC(ddField *slot);
RKDD_API int ddFieldIsPointer(ddField *slot);
RKDD_API int ddFieldIsStructure(ddField *slot);
/* 1 when fieldCode is reached through in-line (pointer, either) slots. */
RKDD_API int ddIsFieldFollowInLine(int code, int fieldCode);
RKDD_API int ddIsFieldFollowPointer(int code, int fieldCode);
RKDD_API int ddIsFieldFollowAll(int code, int fieldCode);
/* Turns deferred layout on (non-zero) or off; gives the old value. */
RKDD_API int ddCacheFixups(int value);
/* Lays out every packed record of every site if anything changed. */
RKDD_API void ddFixup(void);

/* ---------------------------------------------------------------------------
** Parents, children, aliases and extensions. The three setters, ddAddXcode
** and ddSetXcode change the schema; the other functions are queries.
*/

/* Replace a record's parent (child, alias) codes with a copy of codes. */
RKDD_API int ddSetParent(int code, int *codes, int count);
RKDD_API int ddSetChild(int code, int *codes, int count);
RKDD_API int ddSetAlias(int code, int *codes, int count);
RKDD_API int ddGetParentCount(int code);
RKDD_API int ddGetChildCount(int code);
RKDD_API int ddGetAliasCount(int code);
/* The live code arrays, or null. */
RKDD_API int *ddGetParent(int code);
RKDD_API int *ddGetChild(int code);
RKDD_API int *ddGetAlias(int code);
RKDD_API int ddGetParentNth(int code, int index);
RKDD_API int ddGetChildNth(int code, int index);
RKDD_API int ddGetAliasNth(int code, int index);
RKDD_API short ddGetSubRev(int code);
/* Makes entry extend the record with this name; safe to repeat. */
RKDD_API void ddAddXcode(ddSchema *entry, const char *name);
/* ddAddXcode by code; 0 when the code names nothing. */
RKDD_API int ddSetXcode(int code, const char *name);
/* 1 when code extends target. */
RKDD_API int ddIsLegalXcode(int target, int code);
/* Code of the first record (site 1 up) that extends this one, or 0. */
RKDD_API int ddHasExtension(int code);
RKDD_API int ddGetExtFieldCount(int code);
RKDD_API int ddGetExtFieldNth(int code, unsigned int index);

/* ---------------------------------------------------------------------------
** Paths between records. ddBuildPath keeps the path it finds on the
** target's entry, so it changes the schema; ddGetNthParent and
** ddFindFieldParent are queries.
*/

/* Finds and caches the path from start to target; gives its length or 0. */
RKDD_API int ddBuildPath(int start, int target);
/* Element index of target's cached path: a code, and 1 in *flag for an
** extension hop. 0 when target has no definition or no path. */
RKDD_API int ddGetNthParent(int start, int target, unsigned int index,
                            int *code, int *flag);
/* The first record of the code's own site that holds it as a field, or 0. */
RKDD_API int ddFindFieldParent(int code);

/* ---------------------------------------------------------------------------
** Compiled and temporary sites. ddIsTempSite is a query; the others change
** the schema.
*/

/* Makes a site filled with a library's compiled tables live. Exits the
** process with status 1 when the tables do not fit their own bounds. */
RKDD_API void ddSetCode(ddSite *site);
/* ddNewSite with a null description; 1 with the number, or 0. */
RKDD_API int ddInitTemp(const char *id, int unused, int *siteNo);
/* 1 when the site exists and has an empty description. */
RKDD_API int ddIsTempSite(int siteNo);
/* Registers a record known by local code, length, sub-revision and version. */
RKDD_API void ddSetTempCode(int siteNo, int code, int length,
                            unsigned char subRev, unsigned char version);

/* ---------------------------------------------------------------------------
** Schema text import. ddImportSchema changes the schema; the three that
** are not implemented are queries.
*/

/* Loads a schema text file as a new site; 1 with its number, or 0. */
RKDD_API int ddImportSchema(const char *path, int *siteNo);
/* Not implemented: each prints so and gives 0. */
RKDD_API int ddExportSchema(int siteNo);
RKDD_API int ddExportHeader(int siteNo);
RKDD_API int ddExportDocumentation(int siteNo);

/* ---------------------------------------------------------------------------
** Extension: messages. By default the library prints its messages on
** standard output, as plain lines. A host that installs a handler gets each
** message as one call instead, with its severity, a stable id for its kind
** and the place in the schema text that it is about, and nothing is printed.
** Two texts that the default prints on one line are two calls.
*/

enum { DD_MESSAGE_ERROR = 1, DD_MESSAGE_WARNING = 2, DD_MESSAGE_NOTE = 3 };

typedef struct ddMessage {
  int severity;     /* DD_MESSAGE_ERROR, _WARNING or _NOTE */
  const char *id;   /* a stable name for the kind of message, e.g. "unknown-option" */
  const char *text; /* the text the default prints, without the line ends around it */
  const char *file; /* the path given to ddImportSchema; NULL outside an import */
  int line, column; /* 1-based place of what the message is about (the column
                    ** counts bytes); 0 where none applies */
} ddMessage;

/* Called once per message. The message and its texts live until the call
** returns. */
typedef void (*ddMessageHandler)(const ddMessage *message, void *context);

/* Installs handler, with the context it is to be called with; NULL puts the
** default (printing on standard output) back. An installed handler also gets
** warnings that the default prints nothing for: values that the reader
** cannot fully use, options with no effect, names that name nothing.
** There is one handler for the whole process, not one per thread; it is
** called on the thread whose call gave rise to the message, so while
** queries that report (the export functions) run on several threads, it
** may be called on them at once. Installing or removing it counts as a
** change: call it while no other thread uses the library. */
RKDD_API void ddSetMessageHandler(ddMessageHandler handler, void *context);

/* ---------------------------------------------------------------------------
** Extension: places. Every import keeps where each definition's name stands
** in the file it was read from, as a message tells it: a 1-based line and a
** column counted in bytes.
*/

/* 1 with the place in *line and *column (either may be NULL) when code names
** a definition read from schema text; 0, with the out-words untouched, for
** any other code. */
RKDD_API int ddGetPlace(int code, int *line, int *column);

#ifdef __cplusplus
}
#endif

#endif /* RKDD_RKDD_H */
