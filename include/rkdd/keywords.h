/*
** The keywords of schema text for tag types and format levels, the code
** space, and the reader's limits and character classes, written down once.
** Each list is a macro that a reader expands with one of its own, so the
** header holds no data and no symbol. It compiles as C99 and as C++.
*/
#ifndef RKDD_KEYWORDS_H
#define RKDD_KEYWORDS_H

/*
** Tag types in number order, from MTYPE_NULL (0) to MTYPE_XFORM (16):
** X(number, lower-case keyword, upper-case keyword, length, sized).
** length is what a new data definition of the type gets, in bytes (-1 for
** text of no fixed length). sized is 0 for the kinds of record and for
** transforms, which have no length of their own: they give 0, and the store
** warns when a definition is given one.
*/
#define RKDD_TAG_TYPES(X)                            \
  X(0, "rktype_null", "MTYPE_NULL", 0, 1)            \
  X(1, "rktype_cval", "MTYPE_CHAR", 1, 1)            \
  X(2, "rktype_ucval", "MTYPE_UCHAR", 1, 1)          \
  X(3, "rktype_sval", "MTYPE_SHORT", 2, 1)           \
  X(4, "rktype_usval", "MTYPE_USHORT", 2, 1)         \
  X(5, "rktype_ival", "MTYPE_INT", 4, 1)             \
  X(6, "rktype_uival", "MTYPE_UINT", 4, 1)           \
  X(7, "rktype_fval", "MTYPE_FLOAT", 4, 1)           \
  X(8, "rktype_dval", "MTYPE_DOUBLE", 8, 1)          \
  X(9, "rktype_flag", "MTYPE_FLAG", 1, 1)            \
  X(10, "rktype_enum", "MTYPE_ENUM", 4, 1)           \
  X(11, "rktype_text", "MTYPE_TEXT", -1, 1)          \
  X(12, "rktype_root", "MTYPE_ROOT", 0, 0)           \
  X(13, "rktype_bead", "MTYPE_BEAD", 0, 0)           \
  X(14, "rktype_rec", "MTYPE_REC", 0, 0)             \
  X(15, "rktype_data", "MTYPE_DATA", 4, 1)           \
  X(16, "rktype_xfm", "MTYPE_XFORM", 0, 0)

/*
** Format levels: X(number, keyword). A reader searches them in this order;
** the numbers follow no order of their own. 225 (IUNKNOWN) is what a level
** that is no keyword and no number becomes.
*/
#define RKDD_FORMAT_LEVELS(X)                                                  \
  X(0, "IDEFAULT") X(37, "IXREF") X(38, "IGROUP") X(39, "ILOD")                \
  X(40, "IHEADER") X(41, "ISWITCH") X(42, "IMREF") X(43, "IBSP")               \
  X(5, "IOBJLVL") X(16, "ILTPNTLVL") X(12, "ITEXTLVL") X(23, "ICURVELVL")      \
  X(3, "IFACELVL") X(24, "IMESHLVL") X(1, "IVERTEXLVL") X(6, "IDOFLVL")        \
  X(15, "ILTSRCLVL") X(11, "ISOUNDLVL") X(8, "IROADLVL") X(7, "IPATHLVL")      \
  X(17, "ICATLVL") X(13, "ICLIPLVL") X(18, "IGRIDLVL") X(19, "IHELPERLVL")     \
  X(21, "ITORLVL") X(20, "ISURFLVL") X(25, "ILPSYSTEM") X(225, "IUNKNOWN")

/*
** The code space. Site n holds the codes n * RKDD_CODE_SPAN up to the next
** site's first; a code's local part is its remainder. An imported site
** numbers records from RKDD_RECORD_BASE and data items from RKDD_DATA_BASE.
*/
#define RKDD_CODE_SPAN 4096
#define RKDD_RECORD_BASE 256
#define RKDD_DATA_BASE 2048

/*
** The reader's limits: longer text is cut, reported, and the rest of it
** skipped. A word is a command word, a name, one list item before trimming,
** an option's key or its value; a text is a describe text or a define value.
*/
#define RKDD_WORD_MAX 99
#define RKDD_TEXT_MAX 4095
#define RKDD_LIST_MAX 50 /* items of one list */

/*
** The reader's characters. Blanks separate the parts of a statement and are
** trimmed from list items; white space (blanks and these two more) also ends
** a command word or a name. Inside a list item, besides the list's own
** separator and terminator, these stop plain text: a comment's '/', an
** option's '=', a quoted text's '"'.
*/
#define RKDD_BLANKS " \t\n\r"
#define RKDD_WHITE RKDD_BLANKS "\v\f"
#define RKDD_ITEM_STOPS "/=\""

#endif /* RKDD_KEYWORDS_H */
