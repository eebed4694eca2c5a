/*
** Paths between records: the chain of in-line fields and extensions that
** leads from a record down to a definition held deeper in it, searched
** without recursion, each record entered at most once (see ddfield.h).
*/
#include "ddfield.h"

#include <unordered_set>
#include <vector>

#include "support/mlist.h"

void ddMarkExtensionHop(mlist *list) {
  mlistNode *first = mlistHead(list);
  if (first != nullptr && first->value > 0) first->value = -first->value;
}

namespace {

mlist *singlePath(int element, int *counter) {
  mlist *list = mlistNew();
  mlistPush(list, element);
  (*counter)++;
  return list;
}

/* How a search went one record deeper, and so what the record hands back
** from a hit below it: an extension hop is marked on the list, a pointer hop
** adds the owner, an in-line hop hands the list on as it is. */
enum PathHop { kHopExtension, kHopPointer, kHopInLine };

/* A record being searched: where the search stands in it, and the hop by
** which it went deeper last. */
struct PathFrame {
  ddRSchema *r;
  int record;
  int owner;
  mlistNode *extension; /* the next extension to try, or null for the slots */
  int slot;             /* the next slot to try */
  PathHop hop;
};

} // namespace

/* The records on the way are a stack on the heap, so that the depth of the
** search costs no stack of the caller's. A record is entered at most once
** per search: once on the way, or once searched without a hit. */
mlist *ddFindPath(int record, int target, int owner, const ddField *callerFields, int *counter) {
  std::unordered_set<int> entered;
  std::vector<PathFrame> way;
  auto enter = [&](int code, int codeOwner, const ddField *fields) {
    ddRSchema *r = ddGetRSchema(code);
    if (r == nullptr || r->fields == fields || !entered.insert(code).second) return false;
    way.push_back({r, code, codeOwner, mlistHead(r->extFields), 0, kHopInLine});
    return true;
  };
  enter(record, owner, callerFields);
  mlist *list = nullptr;
  while (!way.empty() && list == nullptr) {
    PathFrame &f = way.back();
    ddRSchema *r = f.r;
    if (f.extension != nullptr) {
      int e = static_cast<int>(f.extension->value);
      f.extension = mlistNext(f.extension);
      f.hop = kHopExtension;
      if (e == target)
        list = singlePath(-e, counter);
      else
        enter(e, e, r->fields);
      continue;
    }
    if (r->fields == nullptr || f.slot >= r->fieldCount) {
      way.pop_back();
      continue;
    }
    const ddField *slot = &r->fields[f.slot++];
    int code = slot->code;
    if (code == target) {
      list = singlePath(f.owner, counter);
    } else if (ddIsRcode(code) && code != f.record) {
      bool pointer = ddFieldIsPointer(const_cast<ddField *>(slot));
      f.hop = pointer ? kHopPointer : kHopInLine;
      enter(code, pointer ? code : f.record, r->fields);
    }
  }
  if (list == nullptr) return nullptr;
  /* The hit is on top; each record below it hands the list back its way. */
  way.pop_back();
  for (size_t i = way.size(); i-- > 0;) {
    if (way[i].hop == kHopExtension) {
      ddMarkExtensionHop(list);
    } else if (way[i].hop == kHopPointer) {
      mlistPush(list, way[i].owner);
      (*counter)++;
    }
  }
  return list;
}

int ddGetNthParent(int /*start*/, int target, unsigned int index, int *code, int *flag) {
  ddSchema *e = ddGetSchema(target);
  if (e == nullptr || e->pathList == nullptr) return 0;
  intptr_t element = mlistNth(e->pathList, index);
  if (code != nullptr) *code = static_cast<int>(element < 0 ? -element : element);
  if (flag != nullptr) *flag = element < 0 ? 1 : 0;
  return 1;
}

int ddBuildPath(int start, int target) {
  int counter = 0;
  ddSchema *e = ddGetSchema(target);
  int first = 0;
  if (ddGetNthParent(start, target, 0, &first, nullptr) == 1) {
    if (first == start) return mlistCount(e->pathList);
    mlistFree(e->pathList);
    e->pathList = nullptr;
  }
  mlist *list = ddFindPath(start, target, start, nullptr, &counter);
  if (list != nullptr) {
    if (e != nullptr)
      e->pathList = list;
    else
      mlistFree(list);
  }
  return counter;
}

int ddFindFieldParent(int code) {
  int index;
  ddSite *site;
  if (ddDecodeCode(code, &index, &site) == DD_KIND_NONE) return 0;
  for (int i = 0; site->recordTable != nullptr && i < site->recordCount; i++)
    if (ddFindFieldInRecord(&site->recordTable[i], code) != nullptr)
      return site->recordTable[i].head.code;
  return 0;
}
