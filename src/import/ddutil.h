/*
** Tag type and format level keywords read from schema text: keyword to
** number. The keywords themselves are listed in rkdd/keywords.h, and the
** length a tag type gives is the store's (ddTypeSize in store/ddstore.h).
*/
#ifndef RKDD_IMPORT_DDUTIL_H
#define RKDD_IMPORT_DDUTIL_H

/* The number of a tag type keyword (either case form), or -1 for null or a
** text that is no keyword. */
int ddTypeFromName(const char *name);
/* The lower-case keyword of a tag type, or "" for a number that is none. */
const char *ddTypeKeyword(int type);

/* The number of a format level keyword, or of leading digits as by atoi.
** Anything else prints an error and gives the level of IUNKNOWN. */
int ddLevelFromName(const char *name);

#endif
