/*
** Tag types and format levels: keyword to number, and a tag type's default
** length. The one place where both vocabularies are written down.
*/
#ifndef RKDD_IMPORT_DDUTIL_H
#define RKDD_IMPORT_DDUTIL_H

/* The number of a tag type keyword (either case form), or -1 for null or a
** text that is no keyword. */
int ddTypeFromName(const char *name);

/* Default length of a tag type in bytes (-1 for text). Record kinds and
** numbers outside the table print a warning and give 0. */
int ddTypeSize(int tagType);

/* The number of a format level keyword, or of leading digits as by atoi.
** Anything else prints an error and gives 225 (IUNKNOWN). */
int ddLevelFromName(const char *name);

#endif
