/*
** Reference pages of schema sites (rkdd doc): the pages, the layout data
** their script draws each record's picture from, and the page assets built in.
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
** file per site, and the style sheet and script into dir, which must exist;
** written (when not null) gets the name of each file written. Gives false
** with *error set when a file cannot be written. */
bool writeDocs(const std::vector<DocSite> &sites, const std::string &dir, std::string *error,
               std::vector<std::string> *written = nullptr);

/* doclayout.cc: the picture of record d as data, in a script element of
** its page (the script draws it), and the layout file of a whole site
** (s<site>.js), from which the script draws records opened in line. */
void appendLayoutData(std::string &out, const kitModel &model, const kitDef &d);
std::string layoutScript(const kitModel &model);
void appendJsonString(std::string &out, const std::string &text); /* '<' escaped */

/* docpages.cc helpers shared with doclayout.cc. */
void appendEscaped(std::string &out, const char *text);
void appendNumber(std::string &out, long long value);
std::string docTypeName(int tagType);

/* The built-in style sheet and script. */
extern const char *const kDocCss;
extern const char *const kDocJs;

#endif /* RKDD_DOC_H */
