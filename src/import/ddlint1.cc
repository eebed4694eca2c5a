/*
** What only a message handler hears of an imported file, once its site is
** built: link lists naming what no link can hold, XCODE and describe naming
** no record, structures and lists that no record uses, a file with nothing.
*/
#include <string_view>
#include <unordered_set>

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

/* One kind of link list: its set, what the file calls it, and the option
** of a record that names one. */
struct ListKind {
  intptr_t ddBuffer::*set;
  const char *what;
  char *ddBufRecord::*option;
};
constexpr ListKind kListKinds[] = {
    {&ddBuffer::parents, "Parent list", &ddBufRecord::parentName},
    {&ddBuffer::children, "Child list", &ddBufRecord::childName},
    {&ddBuffer::aliases, "Alias list", &ddBufRecord::aliasName},
};

/* A list item must name a record: links join records. */
void checkItem(ddBuffer *buffer, const ListKind &kind, const ddBufCodeList *list, const ddBufCodeItem *item) {
  if (ddBufferFindName(item->name, buffer->recordByName) != nullptr) return;
  if (ddBufferFindName(item->name, buffer->dataByName) != nullptr)
    ddReportOn(item->place, DD_MSG_LIST_NAMES_DATA,
               "WARNING: %s \"%s\" names the data item \"%s\"; links join records.\n", kind.what, list->name,
               item->name);
  else if (ddRecordByName(item->name) == nullptr)
    ddReportOn(item->place, DD_MSG_LIST_NAMES_NOTHING, "WARNING: %s \"%s\" names \"%s\", which is defined nowhere.\n",
               kind.what, list->name, item->name);
}

} // namespace

void ddLintBuffer(ddBuffer *buffer) {
  if (buffer->dataByName == 0 && buffer->recordByName == 0)
    ddReportOn({0, 0}, DD_MSG_EMPTY_SCHEMA, "WARNING: The file defines no data item and no record.\n");

  /* The names that records use, by kind of list, and of structures. */
  std::unordered_set<std::string_view> used[std::size(kListKinds)], structs;
  forEach<ddBufRecord>(buffer->recordByName, [&](ddBufRecord *r) {
    if (r->structName) structs.insert(r->structName);
    for (size_t k = 0; k < std::size(kListKinds); k++)
      if (char *name = r->*kListKinds[k].option) used[k].insert(name);
    checkXcode(r->xcode, r->name, r->xcodePlace);
  });
  forEach<ddBufData>(buffer->dataByName, [&](ddBufData *d) { checkXcode(d->xcode, d->name, d->xcodePlace); });

  forEach<ddBufStruct>(buffer->structs, [&](ddBufStruct *s) {
    if (!structs.count(s->name))
      ddReportOn(s->place, DD_MSG_UNUSED, "WARNING: struct \"%s\" is the structure of no record.\n", s->name);
  });
  for (size_t k = 0; k < std::size(kListKinds); k++) {
    const ListKind &kind = kListKinds[k];
    forEach<ddBufCodeList>(buffer->*kind.set, [&](ddBufCodeList *list) {
      if (!used[k].count(list->name))
        ddReportOn(list->place, DD_MSG_UNUSED, "WARNING: %s \"%s\" is named by no record.\n", kind.what, list->name);
      forEach<ddBufCodeItem>(list->items, [&](ddBufCodeItem *item) { checkItem(buffer, kind, list, item); });
    });
  }
  forEach<ddBufDescribe>(buffer->describes, [&](ddBufDescribe *d) {
    if (ddBufferFindName(d->name, buffer->recordByName) == nullptr)
      ddReportOn(d->place, DD_MSG_DESCRIBE_UNKNOWN, "WARNING: describe \"%s\" names no record; its text is kept nowhere.\n",
                 d->name);
  });
}
