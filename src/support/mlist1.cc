/*
** The list container and its two guards. Guards catch faults in the calling
** code (a null list, memory never written): they report and carry on.
*/
#define RK_SOURCE_NAME "mlist1"
#include "mlist.h"

#include <csignal>
#include <cstdlib>
#include <cstdio>
#include <cstring>

#include "rkmem.h"

namespace {

constexpr intptr_t kUnwritten = static_cast<intptr_t>(0xCDCDCDCDu);

/* True when a debugger traces this process. Only Linux can tell cheaply;
** elsewhere the guard never traps. */
bool debuggerAttached() {
#if defined(__linux__)
  FILE *f = std::fopen("/proc/self/status", "r");
  if (f == nullptr) return false;
  char line[256];
  long tracer = 0;
  while (std::fgets(line, sizeof line, f))
    if (std::strncmp(line, "TracerPid:", 10) == 0) tracer = std::atol(line + 10);
  std::fclose(f);
  return tracer != 0;
#else
  return false;
#endif
}

int guardFailed(const char *guard, const char *operation) {
  std::fprintf(stderr, "rkdd: %s guard failed in %s\n", guard, operation);
  std::fflush(stderr);
  if (debuggerAttached()) std::raise(SIGTRAP);
  return 0;
}

/* The list argument of an operation: the list itself and its first word.
** A list that fails cannot be walked, so the caller treats it as empty. */
bool listUsable(mlist *list, const char *operation) {
  if (!mlistPointerGuard(reinterpret_cast<intptr_t>(list), operation)) return false;
  return mlistWordGuard(reinterpret_cast<intptr_t>(list->first), operation) != 0;
}

mlistNode *newNode(intptr_t value, mlistNode *next, const char *operation) {
  mlistPointerGuard(value, operation); /* reported; the value goes in anyway */
  auto *node = static_cast<mlistNode *>(rkAllocatez(sizeof(mlistNode)));
  node->value = value;
  node->next = next;
  return node;
}

} // namespace

int mlistPointerGuard(intptr_t word, const char *operation) {
  if (word == 0 || word == kUnwritten) return guardFailed("pointer", operation);
  return 1;
}

int mlistWordGuard(intptr_t word, const char *operation) {
  if (word == kUnwritten) return guardFailed("word", operation);
  return 1;
}

mlist *mlistNew(void) {
  return static_cast<mlist *>(rkAllocatez(sizeof(mlist)));
}

void mlistFree(mlist *list) {
  if (list == nullptr) return;
  for (mlistNode *node = list->first; node != nullptr;) {
    mlistNode *next = node->next;
    rkFree(node);
    node = next;
  }
  rkFree(list);
}

void mlistPush(mlist *list, intptr_t value) {
  if (!listUsable(list, "mlistPush")) return;
  list->first = newNode(value, list->first, "mlistPush");
}

void mlistInsertSorted(mlist *list, intptr_t value, mlistCompare compare) {
  if (!listUsable(list, "mlistInsertSorted")) return;
  mlistNode **link = &list->first;
  while (*link != nullptr && compare(value, (*link)->value) > 0) link = &(*link)->next;
  *link = newNode(value, *link, "mlistInsertSorted");
}

mlistNode *mlistLinkAfter(mlist *list, mlistNode *node, mlistNode *fresh, intptr_t value) {
  if (!listUsable(list, "mlistLinkAfter")) return nullptr;
  mlistPointerGuard(value, "mlistLinkAfter"); /* reported; the value goes in anyway */
  mlistNode **link = node ? &node->next : &list->first;
  *fresh = mlistNode{value, *link};
  *link = fresh;
  return fresh;
}

intptr_t mlistFind(mlist *list, intptr_t key, mlistCompare compare) {
  if (!listUsable(list, "mlistFind")) return 0;
  mlistPointerGuard(key, "mlistFind");
  for (mlistNode *node = list->first; node != nullptr; node = node->next)
    if (compare(key, node->value) == 0) return node->value;
  return 0;
}

int mlistCount(mlist *list) {
  if (!listUsable(list, "mlistCount")) return 0;
  int n = 0;
  for (mlistNode *node = list->first; node != nullptr; node = node->next) n++;
  return n;
}

void mlistForEach(mlist *list, mlistVisit visit, void *context) {
  if (!listUsable(list, "mlistForEach")) return;
  for (mlistNode *node = list->first; node != nullptr; node = node->next)
    if (visit(node->value, context) != 0) return;
}

mlistNode *mlistHead(mlist *list) {
  if (list == nullptr || !listUsable(list, "mlistHead")) return nullptr;
  return list->first;
}

mlistNode *mlistNext(mlistNode *node) {
  return node ? node->next : nullptr;
}

intptr_t mlistNth(mlist *list, unsigned int index) {
  if (list == nullptr) return 0;
  mlistNode *node = list->first;
  for (; node != nullptr && index > 0; index--) node = node->next;
  return node ? node->value : 0;
}
