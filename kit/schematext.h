/*
** What the kit's writer and comparer share about schema text beyond the
** public header: the length a tag type gives by default, and float text.
*/
#ifndef RKDD_KIT_SCHEMATEXT_H
#define RKDD_KIT_SCHEMATEXT_H

#include <string>

namespace kit {

/* The length a new definition of this tag type gets from the store. */
int defaultLength(int tagType);

/* The shortest text that reads back as the same float. */
std::string formatFloat(float value);

} // namespace kit

#endif
