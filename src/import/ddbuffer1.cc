/*
** The definition buffer: adding and numbering entries in the name and number
** sets that a schema text file fills, and structure autosize. The indexes
** and the arena that make adding and finding fast are in ddbufidx1.
*/
#define RK_SOURCE_NAME "ddbuffer1"
#include "ddbuffer.h"
#include "ddbufidx.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <vector>

#include "rkdd/keywords.h"
#include "rkdd/rkdd.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

int ddBufferCompareName(intptr_t a, intptr_t b) {
  return std::strcmp(ddBufEntryAt(a)->name, ddBufEntryAt(b)->name);
}

int ddBufferCompareNumber(intptr_t a, intptr_t b) {
  /* The difference where it fits an int, else just its sign. */
  auto numberOf = [](intptr_t word) { return static_cast<const ddBufNumbered *>(ddBufEntryAt(word))->number; };
  long long d = static_cast<long long>(numberOf(a)) - numberOf(b);
  if (d > INT32_MAX) return 1;
  if (d < INT32_MIN) return -1;
  return static_cast<int>(d);
}

void ddBufferInit(ddBuffer *buffer) { *buffer = ddBuffer{}; }

void *ddBufferNewBlock(size_t size) { return rkAllocatez(size); }

void ddBufferFreeBlock(void *block) { rkFree(block); }

template <typename Entry> Entry *ddBufferAdd(ddBuffer *buffer, ddBufSet<Entry> *set, const char *name) {
  if constexpr (std::is_base_of_v<ddBufHead, Entry>) {
    if (ddBufferFindName(name, buffer->dataByName) || ddBufferFindName(name, buffer->recordByName))
      return nullptr;
  } else if (ddBufferFindName(name, *set)) {
    return nullptr;
  }
  return ddBufAddNamed<Entry>(&set->list, name);
}
template ddBufData *ddBufferAdd(ddBuffer *, ddBufSet<ddBufData> *, const char *);
template ddBufRecord *ddBufferAdd(ddBuffer *, ddBufSet<ddBufRecord> *, const char *);
template ddBufStruct *ddBufferAdd(ddBuffer *, ddBufSet<ddBufStruct> *, const char *);
template ddBufCodeList *ddBufferAdd(ddBuffer *, ddBufSet<ddBufCodeList> *, const char *);
template ddBufDescribe *ddBufferAdd(ddBuffer *, ddBufSet<ddBufDescribe> *, const char *);
template ddBufDefine *ddBufferAdd(ddBuffer *, ddBufSet<ddBufDefine> *, const char *);

template <typename Entry> Entry *ddBufferNumber(ddBufSet<Entry> *byNumber, Entry *entry, int32_t number) {
  entry->number = number;
  if (ddBufferFindNumber(number, *byNumber)) {
    ddReport(DD_MSG_NUMBER_USED, "Number (%d) already used.\n", number);
    return nullptr;
  }
  ddBufInsertNumber(&byNumber->list, entry);
  return entry;
}
template ddBufData *ddBufferNumber(ddBufSet<ddBufData> *, ddBufData *, int32_t);
template ddBufRecord *ddBufferNumber(ddBufSet<ddBufRecord> *, ddBufRecord *, int32_t);

/* ---------------------------------------------------------------------------
** Structure autosize: every structure's size in bytes, and each member's
** byte offset and bit position, worked out in the buffer before any
** definition exists. A state on each structure cuts off cycles.
*/

namespace {

enum { kNotVisited, kSized, kInProgress, kCompileTime }; /* a zeroed structure is not visited */

ddBuffer *autosizeBuffer; /* the buffer being sized, for the length of one walk */

/* Sizes are int32; a file can ask for more than that holds, so products
** and sums are worked in 64 bits and held at the largest int32. */
int32_t clampSize(int64_t size) {
  return size > INT32_MAX ? INT32_MAX : size < INT32_MIN ? INT32_MIN : static_cast<int32_t>(size);
}

/* Element size in bytes and bit width of one member's element. */
struct ElementShape {
  int32_t size;
  int32_t bits;
};

void flagLengthError(const ddBufMember *member, int32_t len) {
  ddReportOn(member->place, DD_MSG_FLAG_LENGTH, "ERROR: Type \"MTYPE_FLAG\" should have a length of 1 bit.\n\t(%s, LEN=%d)\n", member->name, len);
}

/* The length of each tag type; the types up to MTYPE_DOUBLE have a fixed one. */
#define DD_TAG_LENGTH(number, lower, upper, length, sized) length,
constexpr int8_t kTypeLengths[] = {RKDD_TAG_TYPES(DD_TAG_LENGTH)};
#undef DD_TAG_LENGTH

/* Flag, enum, text and data types take their size from a data item's len,
** which a record does not have: such a record takes no bits, and its size
** comes from its structure (or is 0 without one) once this is known. */
ElementShape shapeOf(const ddBufMember *member, int type, const ddBufData *data) {
  if (type >= 0 && type <= MTYPE_DOUBLE) return {kTypeLengths[type], 0};
  switch (type) {
  case MTYPE_FLAG:
    if (data == nullptr) return {};
    if (data->len != 1) flagLengthError(member, data->len);
    return {0, 1};
  case MTYPE_ENUM:
    if (data == nullptr) return {};
    if (data->len == 0) flagLengthError(member, data->len);
    return {0, data->len == 0 ? 1 : data->len};
  case MTYPE_TEXT:
    return {data ? data->len : 0, 0};
  case MTYPE_ROOT:
  case MTYPE_BEAD:
  case MTYPE_REC:
  case MTYPE_XFORM:
    return {-1, 0};
  case MTYPE_DATA:
    ddReportOn(member->place, DD_MSG_MTYPE_DATA, "WARNING: Do you know what \"MTYPE_DATA\" is?  I don't :)\n");
    return {data ? data->len : 0, 0};
  default:
    ddReportOn(member->place, DD_MSG_INVALID_TYPE, "ERROR: Invalid type, \"%s\"=%d\n", member->name, type);
    return {0, 0};
  }
}

} // namespace

namespace {

/* One member on its way through sizing: what it names, and the shape of
** its element, kept while a structure it holds in line is sized first. */
struct MemberSizing {
  ddBufMember *member;
  ddBufStruct *structure;
  ddBufData *data;
  ddBufRecord *record;
  int64_t count;
  ElementShape shape;
  ddBufStruct *inner; /* the structure whose size the element takes */
};

enum MemberStep { kStop, kReady, kNeedsInner };

/* The first half of a member: looks up what it names and works out its
** element's shape. kNeedsInner when that is a structure held in line whose
** size finishMember is to be given. */
[[gnu::always_inline]] inline MemberStep beginMember(MemberSizing &m) {
  ddBufMember *member = m.member;
  int type = MTYPE_CHAR;
  m.count = member->pad;
  if (member->pad == 0) {
    m.data = ddBufferMemberTarget(autosizeBuffer, member, &m.record);
    if (m.data == nullptr && m.record == nullptr) {
      ddReportOn(member->place, DD_MSG_UNKNOWN_ELEMENT, "ERROR: Unknown element, \"%s\"\n", member->name);
      return kStop;
    }
    type = m.data ? m.data->type : m.record->type;
    m.count = m.data ? m.data->acnt : m.record->acnt;
  }
  m.shape = shapeOf(member, type, m.data);
  if (member->ptr || m.record == nullptr) return kReady;
  if (m.shape.size != -1) ddReportOn(member->place, DD_MSG_RECORD_NOT_HELD, "ERROR: Invalid type for recorddef \"%s\"\n", member->name);
  const char *name = m.record->structName;
  m.inner = name ? ddBufferFindName(name, autosizeBuffer->structs) : nullptr;
  if (m.inner != nullptr) return kNeedsInner;
  /* A record without a structure is written rkNULL in the file. */
  ddReportOn(member->place, DD_MSG_STRUCTURE_REFERENCE, "ERROR: Invalid structure reference \"%s\"\n", name ? name : "rkNULL");
  m.shape.size = 0;
  return kReady;
}

/* The second half: places the member in its structure, given the size of
** the structure it holds in line when it holds one. Non-zero stops the walk
** of that structure. */
[[gnu::always_inline]] inline int finishMember(MemberSizing &m, int32_t innerSize) {
  ddBufMember *member = m.member;
  ddBufStruct *structure = m.structure;
  ElementShape shape = m.shape;
  int64_t total;
  if (member->ptr) {
    shape.size = 4;
    total = 4;
  } else {
    if (m.inner != nullptr) {
      shape.size = innerSize;
    } else if (m.record == nullptr && shape.size == -1) {
      ddReportOn(member->place, DD_MSG_DATA_NOT_HELD, "ERROR: Invalid type for datadef \"%s\"\n", member->name);
      shape.size = 0;
    }
    total = m.count != 0 ? int64_t{shape.size} * m.count : shape.size;
  }
  if (shape.size == -1) {
    ddReportOn(member->place, DD_MSG_COMPILE_TIME, "ERROR: Structure \"%s\" has compile-time offsets. (Can't autosize)\n", member->name);
    total = 0;
  }

  if (shape.bits != 0) {
    member->bit = structure->nextBit;
    structure->nextBit = clampSize(int64_t{structure->nextBit} + shape.bits);
    if (structure->nextBit >= 8) {
      structure->nextBit = 0;
      total = 1;
    } else {
      total = 0;
    }
  } else {
    if (structure->nextBit > 0) structure->len = clampSize(int64_t{structure->len} + 1);
    structure->nextBit = 0;
  }
  member->off = structure->len;
  structure->len = clampSize(structure->len + total);

  if (m.data != nullptr && m.data->isEnum) {
    /* Members of a structure holding an enum are numbered by bit from the
    ** start of one 32-bit word. */
    structure->holdsEnum = 1;
    if (structure->len >= 1) {
      member->bit = clampSize(member->bit + 8 * (int64_t{structure->len} - total));
      member->off = 0;
    }
  }
  return shape.size == -1;
}

/* The first half of a structure: true when its members are to be walked,
** which marks it in progress; otherwise *size is what it measures. A
** structure met again while in progress is reported at the place at hand,
** the member that holds it. */
bool enterStruct(ddBufStruct *structure, int32_t *size) {
  switch (structure->state) {
  case kSized:
    if (structure->len == 0) ddReportOn(structure->place, DD_MSG_ZERO_LENGTH, "WARNING: \"%s\" has a length of 0.\n", structure->name);
    *size = structure->len;
    return false;
  case kInProgress:
    ddReport(DD_MSG_SELF_CONTAINING, "ERROR: Cannot calculate records that contain themselves.\n");
    *size = 0;
    return false;
  case kCompileTime:
    *size = -1;
    return false;
  }
  *size = structure->len;
  if (structure->sn != nullptr || structure->un != nullptr) {
    structure->state = kCompileTime;
    *size = -1;
  }
  if (structure->len > 0) {
    structure->state = kSized;
    ddReportOn(structure->place, DD_MSG_HARDCODED_LENGTH, "WARNING: Structure \"%s\" uses hardcoded lengths. (Skipping autosize)\n", structure->name);
    *size = structure->len;
  }
  if (structure->state != kNotVisited) return false;
  structure->state = kInProgress;
  return true;
}

/* The last step of a structure whose members were walked: its size. */
int32_t leaveStruct(ddBufStruct *structure) {
  if (structure->nextBit > 0) structure->len = clampSize(int64_t{structure->len} + 1);
  if (structure->holdsEnum) structure->len = 4;
  structure->state = kSized;
  return structure->len;
}

/* A structure whose members are being walked, and the member at hand. */
using MemberWalk = ddBufSet<ddBufMember>::iterator;
struct SizingFrame {
  MemberWalk next;
  MemberSizing member;
};

/* The structures being sized, outermost first: a stack on the heap, so that
** the depth of nesting in a file costs no stack of the caller's. */
std::vector<SizingFrame> &sizingFrames() {
  static auto *frames = new std::vector<SizingFrame>; /* lives to exit */
  return *frames;
}

} // namespace

int ddAutosize(ddBuffer *buffer) {
  autosizeBuffer = buffer;
  for (ddBufStruct *structure : buffer->structs) ddSizeStruct(structure);
  return 0;
}

int ddSizeStruct(ddBufStruct *structure) {
  int32_t size;
  if (!enterStruct(structure, &size)) return size;
  std::vector<SizingFrame> &frames = sizingFrames();
  size_t base = frames.size();
  frames.push_back({structure->members.begin(), {}});
  frames.back().member.structure = structure;
  bool innerDone = false; /* the top frame's member waits for size */
  for (;;) {
    SizingFrame &top = frames.back();
    ddBufStruct *owner = top.member.structure;
    bool stop = false;
    if (innerDone) {
      innerDone = false;
      stop = finishMember(top.member, size) != 0;
      ++top.next;
    }
    /* The member at hand stays a local, which the compiler keeps in
    ** registers, unless it must wait in its frame for an inner size. */
    ddBufStruct *inner = nullptr;
    for (; !stop && top.next != MemberWalk{}; ++top.next) {
      MemberSizing m{*top.next, owner, nullptr, nullptr, 0, {}, nullptr};
      MemberStep step = beginMember(m);
      if (step == kStop) {
        stop = true;
      } else if (step == kReady) {
        stop = finishMember(m, 0) != 0;
      } else {
        ddReportAt(m.member->place); /* a cycle is told at the member that closes it */
        if (enterStruct(m.inner, &size)) {
          inner = m.inner;
          top.member = m;
          break;
        }
        stop = finishMember(m, size) != 0;
      }
      if (stop) break;
    }
    if (inner != nullptr) {
      frames.push_back({inner->members.begin(), {}});
      frames.back().member.structure = inner;
      continue;
    }
    size = leaveStruct(owner);
    frames.pop_back();
    if (frames.size() == base) return size;
    innerDone = true;
  }
}
