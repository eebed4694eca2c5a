/*
** What only a message handler hears of an imported file, once its site is
** built: XCODE and describe naming no record, structures and lists that no
** record uses, a file with nothing. (List items are checked as the build
** resolves them.)
*/
#include "import/ddmod.h"
#include "store/ddstore.h"
#include "support/ddreport.h"
#include "support/mlist.h"

namespace {

template <typename Entry, typename Visit> void forEach(intptr_t set, Visit visit) {
  for (mlistNode *n = mlistHead(reinterpret_cast<mlist *>(set)); n; n = mlistNext(n))
    visit(reinterpret_cast<Entry *>(n->value));
}

void checkXcode(const char *xcode, const char *name, ddPlace at) {
  if (xcode != nullptr && ddRecordByName(xcode) == nullptr)
    ddReportOn(at, DD_MSG_XCODE_UNKNOWN, "WARNING: XCODE \"%s\" of \"%s\" names no record.\n", xcode, name);
}

/* One kind of link list: its set and what the file calls it. */
struct ListKind {
  intptr_t ddBuffer::*set;
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
  if (buffer->dataByName == 0 && buffer->recordByName == 0)
    ddReportOn(ddPlace{}, DD_MSG_EMPTY_SCHEMA, "WARNING: The file defines no data item and no record.\n");
  forEach<ddBufRecord>(buffer->recordByName, [](ddBufRecord *r) { checkXcode(r->xcode, r->name, r->xcodePlace); });
  forEach<ddBufData>(buffer->dataByName, [](ddBufData *d) { checkXcode(d->xcode, d->name, d->xcodePlace); });
  forEach<ddBufStruct>(buffer->structs, [](ddBufStruct *s) {
    if (!s->used)
      ddReportOn(s->place, DD_MSG_UNUSED, "WARNING: struct \"%s\" is the structure of no record.\n", s->name);
  });
  for (const ListKind &kind : kListKinds)
    forEach<ddBufCodeList>(buffer->*kind.set, [&](ddBufCodeList *list) {
      if (!list->used)
        ddReportOn(list->place, DD_MSG_UNUSED, "WARNING: %s \"%s\" is named by no record.\n", kind.what, list->name);
    });
  forEach<ddBufDescribe>(buffer->describes, [&](ddBufDescribe *d) {
    if (ddBufferFindName(d->name, buffer->recordByName) == nullptr)
      ddReportOn(d->place, DD_MSG_DESCRIBE_UNKNOWN,
                 "WARNING: describe \"%s\" names no record; its text is kept nowhere.\n", d->name);
  });
}
