/*
** What only a message handler hears of an imported file, once its site is
** built: XCODE and describe naming no record, structures and lists that no
** record uses, a file with nothing. (List items are checked as the build
** resolves them.)
*/
#include "import/ddmod.h"
#include "store/ddstore.h"
#include "support/ddreport.h"

namespace {

void checkXcode(const ddBufHead *entry) {
  if (entry->xcode != nullptr && ddRecordByName(entry->xcode) == nullptr)
    ddReportOn(entry->xcodePlace, DD_MSG_XCODE_UNKNOWN, "WARNING: XCODE \"%s\" of \"%s\" names no record.\n",
               entry->xcode, entry->name);
}

/* One kind of link list: its set and what the file calls it. */
struct ListKind {
  ddBufSet<ddBufCodeList> ddBuffer::*set;
  const char *what;
};
constexpr ListKind kListKinds[] = {
    {&ddBuffer::parents, "Parent list"},
    {&ddBuffer::children, "Child list"},
    {&ddBuffer::aliases, "Alias list"},
};

} // namespace

/* The build marks each structure and list that a record uses. */
void ddLintBuffer(ddBuffer *buffer) {
  if (buffer->dataByName.list == nullptr && buffer->recordByName.list == nullptr)
    ddReportOn(ddPlace{}, DD_MSG_EMPTY_SCHEMA, "WARNING: The file defines no data item and no record.\n");
  for (const ddBufRecord *r : buffer->recordByName) checkXcode(r);
  for (const ddBufData *d : buffer->dataByName) checkXcode(d);
  for (const ddBufStruct *s : buffer->structs)
    if (!s->used)
      ddReportOn(s->place, DD_MSG_UNUSED, "WARNING: struct \"%s\" is the structure of no record.\n", s->name);
  for (const ListKind &kind : kListKinds)
    for (const ddBufCodeList *list : buffer->*kind.set)
      if (!list->used)
        ddReportOn(list->place, DD_MSG_UNUSED, "WARNING: %s \"%s\" is named by no record.\n", kind.what, list->name);
  for (const ddBufDescribe *d : buffer->describes)
    if (ddBufferFindName(d->name, buffer->recordByName) == nullptr)
      ddReportOn(d->place, DD_MSG_DESCRIBE_UNKNOWN,
                 "WARNING: describe \"%s\" names no record; its text is kept nowhere.\n", d->name);
}
