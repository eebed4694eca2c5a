/*
** The definition buffer: adding, numbering and finding entries in the name
** and number sets that a schema text file fills.
*/
#define RK_SOURCE_NAME "ddbuffer1"
#include "ddbuffer.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "support/mlist.h"
#include "support/rkmem.h"

/* The compare functions read every record through ddBufKey. */
#define DDBUF_KEYED(T)                                                                             \
  static_assert(offsetof(T, name) == offsetof(ddBufKey, name));                                    \
  static_assert(std::is_same_v<decltype(T::name), char *>)
#define DDBUF_NUMBERED(T, field)                                                                   \
  DDBUF_KEYED(T);                                                                                  \
  static_assert(offsetof(T, field) == offsetof(ddBufKey, number));                                 \
  static_assert(std::is_same_v<decltype(T::field), int32_t>)
DDBUF_NUMBERED(ddBufData, number);
DDBUF_NUMBERED(ddBufRecord, number);
DDBUF_NUMBERED(ddBufMember, index);
DDBUF_NUMBERED(ddBufCodeItem, index);
DDBUF_KEYED(ddBufStruct);
DDBUF_KEYED(ddBufCodeList);
DDBUF_KEYED(ddBufDescribe);
DDBUF_KEYED(ddBufDefine);

namespace {

const ddBufKey *keyOf(intptr_t word) { return reinterpret_cast<const ddBufKey *>(word); }

/* The name set and record size of each kind of ddBufferAddName. */
struct NameKind {
  intptr_t ddBuffer::*set;
  size_t size;
};
constexpr NameKind kNameKinds[] = {
    {&ddBuffer::dataByName, sizeof(ddBufData)},    {&ddBuffer::recordByName, sizeof(ddBufRecord)},
    {&ddBuffer::structs, sizeof(ddBufStruct)},     {&ddBuffer::aliases, sizeof(ddBufCodeList)},
    {&ddBuffer::parents, sizeof(ddBufCodeList)},   {&ddBuffer::children, sizeof(ddBufCodeList)},
    {&ddBuffer::describes, sizeof(ddBufDescribe)}, {&ddBuffer::defines, sizeof(ddBufDefine)},
};
constexpr int kNameKindCount = sizeof kNameKinds / sizeof kNameKinds[0];

char *copyText(const char *text) {
  size_t n = std::strlen(text);
  auto *copy = static_cast<char *>(rkAllocatez(n + 1));
  std::memcpy(copy, text, n);
  return copy;
}

} // namespace

int ddBufferCompareName(intptr_t a, intptr_t b) {
  return std::strcmp(keyOf(a)->name, keyOf(b)->name);
}

int ddBufferCompareNumber(intptr_t a, intptr_t b) {
  /* The difference where it fits an int, else just its sign. */
  long long d = static_cast<long long>(keyOf(a)->number) - keyOf(b)->number;
  if (d > INT32_MAX) return 1;
  if (d < INT32_MIN) return -1;
  return static_cast<int>(d);
}

void ddBufferInit(ddBuffer *buffer) { *buffer = ddBuffer{}; }

void ddBufferRelease(ddBuffer *) {}

void *ddBufferFindName(const char *name, intptr_t set) {
  if (set == 0 || name == nullptr) return nullptr;
  ddBufKey key = {const_cast<char *>(name), 0};
  return reinterpret_cast<void *>(
      *msetFind(reinterpret_cast<intptr_t>(&key), &set, ddBufferCompareName));
}

void *ddBufferFindNumber(int32_t number, intptr_t set) {
  if (set == 0) return nullptr;
  ddBufKey key = {nullptr, number};
  return reinterpret_cast<void *>(
      *msetFind(reinterpret_cast<intptr_t>(&key), &set, ddBufferCompareNumber));
}

void *ddBufferAddName(ddBuffer *buffer, int kind, const char *name) {
  if (kind == DDBUF_DATA || kind == DDBUF_RECORD) {
    if (ddBufferFindName(name, buffer->dataByName) || ddBufferFindName(name, buffer->recordByName))
      return nullptr;
  } else if (kind >= 0 && kind < kNameKindCount) {
    if (ddBufferFindName(name, buffer->*kNameKinds[kind].set)) return nullptr;
  }
  if (kind < 0 || kind >= kNameKindCount) {
    std::printf("ERROR: Internal error.\n");
    return nullptr;
  }
  auto *entry = static_cast<ddBufKey *>(rkAllocatez(kNameKinds[kind].size));
  entry->name = copyText(name);
  msetInsert(reinterpret_cast<intptr_t>(entry), &(buffer->*kNameKinds[kind].set),
             ddBufferCompareName);
  return entry;
}

void *ddBufferAddItem(ddBuffer *, int kind, intptr_t *owner, const char *name, int32_t index) {
  if (kind < DDBUF_STRUCT || kind > DDBUF_CHILD) {
    std::printf("ERROR: Internal error.\n");
    return nullptr;
  }
  size_t size = kind == DDBUF_STRUCT ? sizeof(ddBufMember) : sizeof(ddBufCodeItem);
  auto *item = static_cast<ddBufKey *>(rkAllocatez(size));
  item->number = index;
  item->name = copyText(name);
  msetInsert(reinterpret_cast<intptr_t>(item), owner, ddBufferCompareNumber);
  return item;
}

void *ddBufferNumber(ddBuffer *buffer, int kind, const char *name, int32_t number) {
  if (kind != DDBUF_DATA && kind != DDBUF_RECORD) return nullptr;
  intptr_t &byName = kind == DDBUF_DATA ? buffer->dataByName : buffer->recordByName;
  intptr_t &byNumber = kind == DDBUF_DATA ? buffer->dataByNumber : buffer->recordByNumber;
  auto *entry = static_cast<ddBufKey *>(ddBufferFindName(name, byName));
  if (entry == nullptr) return nullptr;
  entry->number = number;
  if (ddBufferFindNumber(number, byNumber)) {
    std::printf("Number (%d) already used.\n", number);
    return nullptr;
  }
  msetInsert(reinterpret_cast<intptr_t>(entry), &byNumber, ddBufferCompareNumber);
  return entry;
}
