/*
** The definition buffer: adding, numbering and finding entries in the name
** and number sets that a schema text file fills.
*/
#define RK_SOURCE_NAME "ddbuffer1"
#include "ddbuffer.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <algorithm>
#include <deque>
#include <string_view>
#include <vector>
#include <type_traits>

#include "support/mhash.h"
#include "support/mlist.h"
#include "rkdd/rkdd.h"
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

/* Beside each set's sorted list, an index of where each key stands, so that
** a set is searched and kept sorted without a walk from the front. A search
** finds the first element of its key, as a walk would, and a new element
** goes in front of its equals, as a sorted insert puts it. Sets are known by
** their list. */
struct KeyNodes {
  mlistNode *first;
  mlistNode *last;
};

/* A name as the name order compares it: its first eight bytes as one number,
** so that most comparisons are one instruction, and the name for the rest.
** The order is strcmp's: bytes compare unsigned, and a name that is the
** start of another sorts first. */
struct OrderKey {
  uint64_t head;
  std::string_view name;

  explicit OrderKey(std::string_view text) : head(0), name(text) {
    for (size_t i = 0; i < 8; i++)
      head = head << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
  }
  bool operator<(const OrderKey &o) const {
    if (head != o.head) return head < o.head;
    if (name.size() <= 8 || o.name.size() <= 8) return name.size() < o.name.size();
    return name.substr(8) < o.name.substr(8);
  }
};

/* The names of a set in order, each with the last node that holds it: a
** sorted array cut into runs of at most kRun places, so that an insert moves
** one short run and the whole is a few blocks. A place keeps the first eight
** bytes of its name; the rest is read from the element in its node. */
class NameOrder {
public:
  /* The last node of the greatest name below key, or null. */
  mlistNode *before(const OrderKey &key) const {
    if (runs_.empty()) return nullptr;
    size_t r = runOf(key);
    if (r == runs_.size()) return runs_.back().back().last;
    size_t i = placeIn(runs_[r], key);
    if (i > 0) return runs_[r][i - 1].last;
    return r > 0 ? runs_[r - 1].back().last : nullptr;
  }
  /* Notes that node holds key: a new name takes its place; a known one takes
  ** node as its last, unless node went in front of its equals. */
  void note(const OrderKey &key, mlistNode *node, bool front) {
    if (runs_.empty()) {
      runs_.emplace_back().reserve(kRun + 1);
      runs_[0].push_back(Place{key.head, node});
      return;
    }
    size_t r = std::min(runOf(key), runs_.size() - 1);
    std::vector<Place> &run = runs_[r];
    size_t i = placeIn(run, key);
    if (i < run.size() && run[i].head == key.head && nameAt(run[i]) == key.name) {
      if (!front) run[i].last = node;
      return;
    }
    run.insert(run.begin() + static_cast<ptrdiff_t>(i), Place{key.head, node});
    if (run.size() <= kRun) return;
    std::vector<Place> upper(run.begin() + kRun / 2, run.end());
    upper.reserve(kRun + 1);
    run.resize(kRun / 2);
    runs_.insert(runs_.begin() + static_cast<ptrdiff_t>(r) + 1, std::move(upper));
  }

private:
  static constexpr size_t kRun = 64;
  struct Place {
    uint64_t head;
    mlistNode *last;
  };
  static std::string_view nameAt(const Place &p) { return keyOf(p.last->value)->name; }
  static bool below(const Place &p, const OrderKey &key) {
    return p.head != key.head ? p.head < key.head : OrderKey(nameAt(p)) < key;
  }
  /* The first run whose last place is not below key, or the count of runs. */
  size_t runOf(const OrderKey &key) const {
    auto it = std::partition_point(runs_.begin(), runs_.end(),
                                   [&](const std::vector<Place> &run) { return below(run.back(), key); });
    return static_cast<size_t>(it - runs_.begin());
  }
  static size_t placeIn(const std::vector<Place> &run, const OrderKey &key) {
    auto it = std::partition_point(run.begin(), run.end(), [&](const Place &p) { return below(p, key); });
    return static_cast<size_t>(it - run.begin());
  }
  std::vector<std::vector<Place>> runs_;
};

/* From a name to the element of a set that a search finds. A slot holds the
** name's hash and the element, whose own name is the key: half the size of
** a slot that also held the key, which matters when most searches miss the
** cache. */
struct ElementSlot {
  uint64_t hash;
  intptr_t element;
  bool free() const { return hash == 0; }
  uint64_t home() const { return hash; }
  bool holds(std::string_view name, uint64_t h) const {
    const char *own = keyOf(element)->name;
    return hash == h && sameBytes(own, name.data(), name.size()) && own[name.size()] == 0;
  }
};

class ElementHash : public ProbeTable<ElementSlot> {
public:
  /* The element of name, or 0. */
  intptr_t find(std::string_view name) const {
    if (used_ == 0) return 0;
    return slots_[place(name, hashOf(name))].element;
  }
  /* Makes element what name finds, unless name finds one already and keep
  ** is set. */
  void put(std::string_view name, intptr_t element, bool keep) {
    reserveOne();
    uint64_t hash = hashOf(name);
    ElementSlot &slot = slots_[place(name, hash)];
    if (slot.free())
      slot = ElementSlot{hash, element}, used_++;
    else if (!keep)
      slot.element = element;
  }

private:
  static uint64_t hashOf(std::string_view name) { return mhashText(name) | uint64_t{1} << 63; }
};

/* Sets by name: names arrive in any order, so their places are kept in a
** name order and what a search finds in a hash. */
struct NameIndex {
  NameOrder order;
  ElementHash first;

  explicit NameIndex(const mlist *) {}
  void note(std::string_view key, mlistNode *node, bool front) {
    order.note(OrderKey(key), node, front);
    first.put(key, node->value, !front);
  }
  mlistNode *before(std::string_view key) const { return order.before(OrderKey(key)); }
  intptr_t find(std::string_view key) const { return first.find(key); }
};

/* Sets by number: numbers and indexes arrive rising, in file order, so a new
** element nearly always goes behind the last, and the last node is all that
** is kept for that. The sorted places of every key are made from the list
** the first time a search, or an element that is not the largest, needs
** them, and kept up from then on: a structure's members never need them. */
struct NumberIndex {
  const mlist *list;
  mlistNode *last = nullptr;
  bool placed = false;
  std::vector<std::pair<int32_t, KeyNodes>> nodes;

  explicit NumberIndex(const mlist *of) : list(of) {}
  static int32_t keyAt(const mlistNode *n) { return keyOf(n->value)->number; }
  void place() {
    if (placed) return;
    placed = true;
    for (mlistNode *n = list->first; n; n = n->next) {
      if (!nodes.empty() && nodes.back().first == keyAt(n))
        nodes.back().second.last = n;
      else
        nodes.push_back({keyAt(n), KeyNodes{n, n}});
    }
  }
  auto at(int32_t key) {
    place();
    return std::lower_bound(nodes.begin(), nodes.end(), key,
                            [](const auto &e, int32_t k) { return e.first < k; });
  }
  void note(int32_t key, mlistNode *node, bool front) {
    if (node->next == nullptr) last = node;
    if (!placed || !front) return; /* an index being made walks the list in order */
    if (nodes.empty() || nodes.back().first < key) return nodes.push_back({key, KeyNodes{node, node}});
    auto it = at(key);
    if (it != nodes.end() && it->first == key)
      it->second.first = node;
    else
      nodes.insert(it, {key, KeyNodes{node, node}});
  }
  mlistNode *before(int32_t key) {
    if (last == nullptr || keyAt(last) < key) return last;
    auto next = at(key);
    return next == nodes.begin() ? nullptr : std::prev(next)->second.last;
  }
  intptr_t find(int32_t key) {
    if (last != nullptr && keyAt(last) < key) return 0; /* beyond the largest: the common miss */
    auto it = at(key);
    return it != nodes.end() && it->first == key ? it->second.first->value : 0;
  }
};

/* The index of each set, known by its list. A few sets take nearly every
** call (the data and record names, the structure being read), so a small
** cache of recent look-ups stands in front of the hash. */
template <typename Index> struct IndexMap {
  WordHash<Index *> map;
  std::deque<Index> store; /* a deque never moves what it holds */
  struct Recent {
    const mlist *list;
    Index *index;
  } recent[8] = {};

  static uint64_t keyOf(const mlist *list) { return reinterpret_cast<uintptr_t>(list); }
  Recent &slotOf(const mlist *list) { return recent[(keyOf(list) >> 4) & 7]; }
  /* The index of list, or null when it has none. */
  Index *find(const mlist *list) {
    Recent &r = slotOf(list);
    if (r.list == list && list != nullptr) return r.index;
    Index **found = map.find(keyOf(list));
    if (found == nullptr) return nullptr;
    r = {list, *found};
    return *found;
  }
  /* A new empty index for list, which has none. */
  Index &make(const mlist *list) {
    bool fresh;
    Index &index = store.emplace_back(list);
    map.insert(keyOf(list), &fresh) = &index;
    slotOf(list) = {list, &index};
    return index;
  }
  void clear() {
    map.clear();
    store.clear();
    std::fill(std::begin(recent), std::end(recent), Recent{});
  }
};

IndexMap<NameIndex> nameIndexes;
IndexMap<NumberIndex> numberIndexes;

/* Entries, members, list items, their names and texts, and the heads and
** nodes of the sets are never released one by one: built definitions point
** into them, so they live as long as the process. They are carved in the
** order they are made from large blocks, with no header each, which also
** keeps what one set holds close together. Where the memory tools watch
** every block, each piece is a block of its own, so that a write past a
** piece is caught. */
struct Arena {
  /* The first block is 128 KiB, each next one as large as all before it,
  ** up to kSmallBlock: blocks of that size are mapped fresh by malloc, so
  ** only the pages used are ever touched, where a smaller block from the
  ** heap would be cleared whole. Once the buffers hold 1 MiB, each block
  ** fills a huge page, which the system maps at one fault rather than 512.
  ** A small import so pays for no huge page it does not fill. */
  static constexpr size_t kFirstBlock = 128 * 1024, kSmallBlock = 256 * 1024, kSmallTotal = 1024 * 1024;
  static constexpr size_t kLargestPiece = kSmallBlock / 4;
  char *next = nullptr, *end = nullptr;
  size_t held = 0;            /* bytes of the blocks carved so far */
  std::vector<void *> blocks; /* every block taken, for ddBufferDiscardAll */

  /* size zeroed bytes, aligned for any entry. */
  void *take(size_t size) {
    size = (size + 7) & ~size_t{7};
    if (RK_PIECE_BY_PIECE || size > kLargestPiece) return blocks.emplace_back(rkAllocatez(size));
    if (static_cast<size_t>(end - next) < size) {
      size_t bytes = held < kSmallTotal ? std::clamp(std::max(held, size), kFirstBlock, kSmallBlock)
                                         : RKRUNTIME_HUGE_BLOCK;
      next = static_cast<char *>(blocks.emplace_back(rkAllocatez(bytes)));
      end = next + bytes;
      held += bytes;
    }
    void *piece = next;
    next += size;
    return piece;
  }
  void discard() {
    for (void *block : blocks) rkFree(block);
    *this = Arena{};
  }
};
/* Never destroyed: its list of blocks must outlive every static destructor,
** so that a leak checker still finds what the buffers hold at exit. */
Arena &arena = *new Arena;

mlistNode *newNode() { return static_cast<mlistNode *>(arena.take(sizeof(mlistNode))); }

mlist *setList(intptr_t *root) {
  if (*root == 0) *root = reinterpret_cast<intptr_t>(arena.take(sizeof(mlist)));
  return reinterpret_cast<mlist *>(*root);
}

std::string_view nameKey(const ddBufKey *entry) { return entry->name; }
int32_t numberKey(const ddBufKey *entry) { return entry->number; }

/* Inserts entry in front of its equals, after every smaller key, as a sorted
** insert does. The index of a list is made on first use from what it holds. */
template <typename Index, typename Key>
void insertIndexed(IndexMap<Index> &indexes, intptr_t *root, const ddBufKey *entry,
                   Key (*keyOf)(const ddBufKey *)) {
  mlist *list = setList(root);
  Index *index = indexes.find(list);
  if (index == nullptr) {
    index = &indexes.make(list);
    for (mlistNode *n = list->first; n; n = n->next)
      index->note(keyOf(reinterpret_cast<const ddBufKey *>(n->value)), n, false);
  }
  Key key = keyOf(entry);
  mlistNode *node = mlistLinkAfter(list, index->before(key), newNode(), reinterpret_cast<intptr_t>(entry));
  index->note(key, node, true);
}

void insertByName(intptr_t *root, const ddBufKey *entry) {
  insertIndexed(nameIndexes, root, entry, nameKey);
}

void insertByNumber(intptr_t *root, const ddBufKey *entry) {
  insertIndexed(numberIndexes, root, entry, numberKey);
}

/* The item set that took the latest item, while the buffer made it for its
** items and no index stands beside it. A structure's members and a list's
** items arrive one after another, each behind the last, so such a set needs
** no index: its last node is all there is to know. A set that takes an item
** out of that order gets an index made from what it holds. */
struct Appending {
  intptr_t *root;
  intptr_t list; /* what the root held */
  mlistNode *last;
} appending;

void insertItem(intptr_t *root, const ddBufKey *item) {
  auto value = reinterpret_cast<intptr_t>(item);
  if (*root == 0) {
    mlist *list = setList(root);
    appending = {root, *root, mlistLinkAfter(list, nullptr, newNode(), value)};
    return;
  }
  bool same = appending.root == root && appending.list == *root;
  if (same && keyOf(appending.last->value)->number < item->number) {
    appending.last = mlistLinkAfter(setList(root), appending.last, newNode(), value);
    return;
  }
  if (same) appending = {};
  insertByNumber(root, item);
}

/* A set filled some other way has no index and is searched from the front. */
template <typename Key, typename Index>
void *findIn(IndexMap<Index> &indexes, intptr_t set, Key key, const ddBufKey &probe, mlistCompare compare) {
  if (Index *index = indexes.find(reinterpret_cast<const mlist *>(set)))
    return reinterpret_cast<void *>(index->find(key));
  return reinterpret_cast<void *>(*msetFind(reinterpret_cast<intptr_t>(&probe), &set, compare));
}

/* A zeroed record of size bytes with its own copy of name in the same piece,
** extra bytes behind the record. */
ddBufKey *newNamed(size_t size, size_t extra, const char *name) {
  size_t n = std::strlen(name);
  auto *entry = static_cast<ddBufKey *>(arena.take(size + extra + n + 1));
  entry->name = reinterpret_cast<char *>(entry) + size + extra;
  std::memcpy(entry->name, name, n);
  return entry;
}

/* A member made here keeps one word between its record and its name: the
** data item or record its name stands for, with 1 in the low bit for a
** record, once looked up. Its name pointer tells such a member from one
** made elsewhere, which has no such word. */
constexpr size_t kTargetBytes = sizeof(uintptr_t);
uintptr_t *targetOf(const ddBufMember *member) {
  auto at = reinterpret_cast<uintptr_t>(member) + sizeof(ddBufMember);
  return reinterpret_cast<uintptr_t>(member->name) == at + kTargetBytes ? reinterpret_cast<uintptr_t *>(at)
                                                                        : nullptr;
}
static_assert(alignof(ddBufData) > 1 && alignof(ddBufRecord) > 1, "the low bit of an entry is free");

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

/* The entries stay, since built definitions point into them; the indexes
** go, those of every buffer at once, which is quicker than set by set. A
** set without an index is still searched right, from the front, and one
** that grows again gets a new index. */
void ddBufferRelease(ddBuffer *) {
  nameIndexes.clear();
  numberIndexes.clear();
  appending = {};
}

char *ddBufferText(const char *text, size_t length) {
  auto *copy = static_cast<char *>(arena.take(length + 1));
  std::memcpy(copy, text, length);
  return copy;
}

void ddBufferDiscardAll(void) {
  ddBufferRelease(nullptr);
  arena.discard();
}

void *ddBufferFindName(const char *name, intptr_t set) {
  if (set == 0 || name == nullptr) return nullptr;
  ddBufKey key = {const_cast<char *>(name), 0};
  return findIn(nameIndexes, set, std::string_view(name), key, ddBufferCompareName);
}

void *ddBufferFindNumber(int32_t number, intptr_t set) {
  if (set == 0) return nullptr;
  ddBufKey key = {nullptr, number};
  return findIn(numberIndexes, set, number, key, ddBufferCompareNumber);
}

ddBufData *ddBufferMemberTarget(ddBuffer *buffer, const ddBufMember *member, ddBufRecord **record) {
  uintptr_t *target = targetOf(member);
  if (target != nullptr && *target != 0) {
    *record = (*target & 1) ? reinterpret_cast<ddBufRecord *>(*target - 1) : nullptr;
    return (*target & 1) ? nullptr : reinterpret_cast<ddBufData *>(*target);
  }
  auto *data = static_cast<ddBufData *>(ddBufferFindName(member->name, buffer->dataByName));
  *record = data ? nullptr : static_cast<ddBufRecord *>(ddBufferFindName(member->name, buffer->recordByName));
  if (target != nullptr && (data || *record))
    *target = data ? reinterpret_cast<uintptr_t>(data) : reinterpret_cast<uintptr_t>(*record) + 1;
  return data;
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
  ddBufKey *entry = newNamed(kNameKinds[kind].size, 0, name);
  insertByName(&(buffer->*kNameKinds[kind].set), entry);
  return entry;
}

void *ddBufferAddItem(ddBuffer *, int kind, intptr_t *owner, const char *name, int32_t index) {
  if (kind < DDBUF_STRUCT || kind > DDBUF_CHILD) {
    std::printf("ERROR: Internal error.\n");
    return nullptr;
  }
  ddBufKey *item = kind == DDBUF_STRUCT ? newNamed(sizeof(ddBufMember), kTargetBytes, name)
                                        : newNamed(sizeof(ddBufCodeItem), 0, name);
  item->number = index;
  insertItem(owner, item);
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
  insertByNumber(&byNumber, entry);
  return entry;
}

/* ---------------------------------------------------------------------------
** Structure autosize: every structure's size in bytes, and each member's
** byte offset and bit position, worked out in the buffer before any
** definition exists. A state on each structure cuts off cycles.
*/

namespace {

enum { kNotVisited = 0, kSized = 1, kInProgress = 2, kCompileTime = 3 };

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
  std::printf("ERROR: Type \"MTYPE_FLAG\" should have a length of 1 bit.\n\t(%s, LEN=%d)\n", member->name, len);
}

/* Types 9, 10, 11 and 15 take their size from a data item's len, which a
** record does not have: such a record measures 0. */
ElementShape shapeOf(const ddBufMember *member, int type, const ddBufData *data) {
  static constexpr int8_t kFixed[] = {0, 1, 1, 2, 2, 4, 4, 4, 8};
  if (type >= 0 && type <= MTYPE_DOUBLE) return {kFixed[type], 0};
  switch (type) {
  case MTYPE_FLAG:
    if (data == nullptr) return {0, 0};
    if (data->len != 1) flagLengthError(member, data->len);
    return {0, 1};
  case MTYPE_ENUM:
    if (data == nullptr) return {0, 0};
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
    std::printf("WARNING: Do you know what \"MTYPE_DATA\" is?  I don't :)\n");
    return {data ? data->len : 0, 0};
  default:
    std::printf("ERROR: Invalid type, \"%s\"=%d\n", member->name, type);
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
      std::printf("ERROR: Unknown element, \"%s\"\n", member->name);
      return kStop;
    }
    type = m.data ? m.data->type : m.record->type;
    m.count = m.data ? m.data->acnt : m.record->acnt;
  }
  m.shape = shapeOf(member, type, m.data);
  if (member->ptr || m.record == nullptr) return kReady;
  if (m.shape.size != -1) std::printf("ERROR: Invalid type for recorddef \"%s\"\n", member->name);
  const char *name = m.record->structName;
  m.inner = name ? static_cast<ddBufStruct *>(ddBufferFindName(name, autosizeBuffer->structs)) : nullptr;
  if (m.inner != nullptr) return kNeedsInner;
  /* A record without a structure is written rkNULL in the file. */
  std::printf("ERROR: Invalid structure reference \"%s\"\n", name ? name : "rkNULL");
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
      std::printf("ERROR: Invalid type for datadef \"%s\"\n", member->name);
      shape.size = 0;
    }
    total = m.count != 0 ? int64_t{shape.size} * m.count : shape.size;
  }
  if (shape.size == -1) {
    std::printf("ERROR: Structure \"%s\" has compile-time offsets. (Can't autosize)\n", member->name);
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
** which marks it in progress; otherwise *size is what it measures. */
bool enterStruct(ddBufStruct *structure, int32_t *size) {
  switch (structure->state) {
  case kSized:
    if (structure->len == 0) std::printf("WARNING: \"%s\" has a length of 0.\n", structure->name);
    *size = structure->len;
    return false;
  case kInProgress:
    std::printf("ERROR: Cannot calculate records that contain themselves.\n");
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
    std::printf("WARNING: Structure \"%s\" uses hardcoded lengths. (Skipping autosize)\n", structure->name);
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
struct SizingFrame {
  mlistNode *next;
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
  msetWalk(buffer->structs, [](const intptr_t *cell, int, int) {
    ddSizeStruct(reinterpret_cast<ddBufStruct *>(*cell));
    return 0;
  });
  return 0;
}

int ddSizeStruct(ddBufStruct *structure) {
  int32_t size;
  if (!enterStruct(structure, &size)) return size;
  std::vector<SizingFrame> &frames = sizingFrames();
  size_t base = frames.size();
  frames.push_back({mlistHead(reinterpret_cast<mlist *>(structure->members)), {}});
  frames.back().member.structure = structure;
  bool innerDone = false; /* the top frame's member waits for size */
  for (;;) {
    SizingFrame &top = frames.back();
    ddBufStruct *owner = top.member.structure;
    bool stop = false;
    if (innerDone) {
      innerDone = false;
      stop = finishMember(top.member, size) != 0;
      top.next = mlistNext(top.next);
    }
    /* The member at hand stays a local, which the compiler keeps in
    ** registers, unless it must wait in its frame for an inner size. */
    ddBufStruct *inner = nullptr;
    for (; !stop && top.next != nullptr; top.next = mlistNext(top.next)) {
      MemberSizing m{reinterpret_cast<ddBufMember *>(top.next->value), owner, nullptr, nullptr, 0, {}, nullptr};
      MemberStep step = beginMember(m);
      if (step == kStop) {
        stop = true;
      } else if (step == kReady) {
        stop = finishMember(m, 0) != 0;
      } else if (enterStruct(m.inner, &size)) {
        inner = m.inner;
        top.member = m;
        break;
      } else {
        stop = finishMember(m, size) != 0;
      }
      if (stop) break;
    }
    if (inner != nullptr) {
      frames.push_back({mlistHead(reinterpret_cast<mlist *>(inner->members)), {}});
      frames.back().member.structure = inner;
      continue;
    }
    size = leaveStruct(owner);
    frames.pop_back();
    if (frames.size() == base) return size;
    innerDone = true;
  }
}

int ddSizeMember(ddBufMember *member, ddBufStruct *structure) {
  MemberSizing m{member, structure, nullptr, nullptr, 0, {}, nullptr};
  switch (beginMember(m)) {
  case kStop:
    return 1;
  case kReady:
    return finishMember(m, 0);
  default:
    return finishMember(m, ddSizeStruct(m.inner));
  }
}
