/*
** Reference pages of schema sites (rkdd doc): the pages, the picture of a
** record's packed layout drawn into them, and the page assets built in.
*/
#ifndef RKDD_DOC_H
#define RKDD_DOC_H

#include <rkdd/kit.h>

#include <string>
#include <vector>

/* One site to document: the file it came from and its model. */
struct DocSite {
  std::string path;
  const kitModel *model = nullptr;
};

/* Writes index.html, a page per record, a page of data items and a layout
** file per site, and the style sheet and script into dir, which must exist.
** Gives false with *error set when a file cannot be written. */
bool writeDocs(const std::vector<DocSite> &sites, const std::string &dir, std::string *error);

/* docsvg.cc: the geometry every box follows, so that the script's boxes
** and the page's agree: x = kDocLeft + offset * scale, width = size * scale. */
constexpr double kDocLeft = 8;
constexpr double kDocTop = 28;     /* y of the first band of boxes */
constexpr double kDocBand = 44;    /* distance between bands */
constexpr double kDocBoxHeight = 36;

/* Pixels per byte for a record of this length: a number of two decimals,
** so that the page states it exactly. */
double docScale(long long length);

/* Appends the inline SVG of record def of model to out. */
void appendLayoutSvg(std::string &out, const kitModel &model, const kitDef &def);

/* docpages.cc helpers shared with docsvg.cc. */
void appendEscaped(std::string &out, const char *text);
void appendNumber(std::string &out, long long value);
void appendFixed(std::string &out, double value); /* up to three decimals */
std::string docTypeName(int tagType);

/* The built-in style sheet and script. */
extern const char *const kDocCss;
extern const char *const kDocJs;

#endif /* RKDD_DOC_H */
