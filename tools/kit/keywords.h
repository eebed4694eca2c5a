/*
** What the kit's files share beyond the public header.
*/
#ifndef RKDD_KIT_KEYWORDS_H
#define RKDD_KIT_KEYWORDS_H

#include <string>

namespace kit {

/* The length a new definition of this tag type gets from the store. */
int defaultLength(int tagType);

/* The shortest text that reads back as the same float. */
std::string formatFloat(float value);

} // namespace kit

#endif
