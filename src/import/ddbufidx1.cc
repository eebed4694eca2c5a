/*
** What makes the definition buffer fast: beside each sorted set an index
** (names in runs of a sorted array and a hash, numbers in a sorted array
** made on first need), the member's cached target, and an arena that
** carves entries, nodes and texts from large blocks. They speed up adding
** to a set, finding by name or number, and reading many small entries.
** Each must keep every answer equal to the plain sets' own: a search finds
** the first entry of its key as a walk from the front would, a new entry
** goes in front of its equals as a sorted insert puts it, and a set without
** an index is still searched from the front.
*/
#include "ddbufidx.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iterator>
#include <string_view>
#include <vector>

#include "support/mhash.h"
#include "support/mlist.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

namespace {

const ddBufNumbered *numberedAt(intptr_t word) {
  return static_cast<const ddBufNumbered *>(ddBufEntryAt(word));
}

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
** so that most comparisons are one instruction, and the whole name where
** those agree. The order is strcmp's: bytes compare unsigned, and a name
** that is the start of another sorts first. */
struct OrderKey {
  uint64_t head;
  std::string_view name;

  explicit OrderKey(std::string_view text) : head(0), name(text) {
    for (size_t i = 0; i < 8; i++)
      head = head << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
  }
  bool operator<(const OrderKey &o) const {
    return head != o.head ? head < o.head : name < o.name;
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
  static std::string_view nameAt(const Place &p) { return ddBufEntryAt(p.last->value)->name; }
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
  ddBufNamed *element;
  bool free() const { return hash == 0; }
  uint64_t home() const { return hash; }
  bool holds(std::string_view name, uint64_t h) const {
    const char *own = element->name;
    return hash == h && sameBytes(own, name.data(), name.size()) && own[name.size()] == 0;
  }
};

class ElementHash : public ProbeTable<ElementSlot> {
public:
  /* The element of name, or null. */
  ddBufNamed *find(std::string_view name) const {
    if (used_ == 0) return nullptr;
    return slots_[place(name, hashOf(name))].element;
  }
  /* Makes element what name finds, unless name finds one already and keep
  ** is set. */
  void put(std::string_view name, ddBufNamed *element, bool keep) {
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
    first.put(key, ddBufEntryAt(node->value), !front);
  }
  mlistNode *before(std::string_view key) const { return order.before(OrderKey(key)); }
  ddBufNamed *find(std::string_view key) const { return first.find(key); }
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
  static int32_t keyAt(const mlistNode *n) { return numberedAt(n->value)->number; }
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
  ddBufNamed *find(int32_t key) {
    if (last != nullptr && keyAt(last) < key) return nullptr; /* beyond the largest: the common miss */
    auto it = at(key);
    return it != nodes.end() && it->first == key ? ddBufEntryAt(it->second.first->value) : nullptr;
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
    if (RK_PIECE_BY_PIECE || size > kLargestPiece) return blocks.emplace_back(ddBufferNewBlock(size));
    if (static_cast<size_t>(end - next) < size) {
      size_t bytes = held < kSmallTotal ? std::clamp(std::max(held, size), kFirstBlock, kSmallBlock)
                                         : RKRUNTIME_HUGE_BLOCK;
      next = static_cast<char *>(blocks.emplace_back(ddBufferNewBlock(bytes)));
      end = next + bytes;
      held += bytes;
    }
    void *piece = next;
    next += size;
    return piece;
  }
  void discard() {
    for (void *block : blocks) ddBufferFreeBlock(block);
    *this = Arena{};
  }
};
/* Never destroyed: its list of blocks must outlive every static destructor,
** so that a leak checker still finds what the buffers hold at exit. */
Arena &arena = *new Arena;

mlistNode *newNode() { return static_cast<mlistNode *>(arena.take(sizeof(mlistNode))); }

mlist *setList(mlist **list) {
  if (*list == nullptr) *list = static_cast<mlist *>(arena.take(sizeof(mlist)));
  return *list;
}

std::string_view nameKey(const ddBufNamed *entry) { return entry->name; }
int32_t numberKey(const ddBufNamed *entry) { return static_cast<const ddBufNumbered *>(entry)->number; }

/* Inserts entry in front of its equals, after every smaller key, as a sorted
** insert does. The index of a list is made on first use from what it holds. */
template <typename Index, typename Key>
void insertIndexed(IndexMap<Index> &indexes, mlist **root, const ddBufNamed *entry,
                   Key (*keyOf)(const ddBufNamed *)) {
  mlist *list = setList(root);
  Index *index = indexes.find(list);
  if (index == nullptr) {
    index = &indexes.make(list);
    for (mlistNode *n = list->first; n; n = n->next) index->note(keyOf(ddBufEntryAt(n->value)), n, false);
  }
  Key key = keyOf(entry);
  mlistNode *node = mlistLinkAfter(list, index->before(key), newNode(), ddBufWord(entry));
  index->note(key, node, true);
}

/* The item set that took the latest item, while the buffer made it for its
** items and no index stands beside it. A structure's members and a list's
** items arrive one after another, each behind the last, so such a set needs
** no index: its last node is all there is to know. A set that takes an item
** out of that order gets an index made from what it holds. A root's list,
** once made, stays its list until the buffers are released, which ends the
** appending too: the root alone tells the set. */
struct Appending {
  mlist **root;
  mlistNode *last;
} appending;

void insertItem(mlist **root, const ddBufNumbered *item) {
  if (*root == nullptr) {
    mlist *list = setList(root);
    appending = {root, mlistLinkAfter(list, nullptr, newNode(), ddBufWord(item))};
    return;
  }
  bool same = appending.root == root;
  if (same && numberedAt(appending.last->value)->number < item->number) {
    appending.last = mlistLinkAfter(*root, appending.last, newNode(), ddBufWord(item));
    return;
  }
  if (same) appending = {};
  insertIndexed(numberIndexes, root, item, numberKey);
}

/* A set filled some other way has no index and is searched from the front. */
template <typename Key, typename Index>
ddBufNamed *findIn(IndexMap<Index> &indexes, const mlist *set, Key key, const ddBufNumbered &probe,
                   mlistCompare compare) {
  if (Index *index = indexes.find(set)) return index->find(key);
  return ddBufEntryAt(mlistFind(const_cast<mlist *>(set), ddBufWord(&probe), compare));
}

/* A zeroed entry with its own copy of name behind it in the same piece. */
template <typename Entry> Entry *newNamed(const char *name) {
  size_t n = std::strlen(name);
  void *piece = arena.take(sizeof(Entry) + n + 1);
  auto *entry = static_cast<Entry *>(piece);
  entry->name = static_cast<char *>(piece) + sizeof(Entry);
  std::memcpy(entry->name, name, n);
  return entry;
}

} // namespace

template <typename Entry> Entry *ddBufAddNamed(mlist **list, const char *name) {
  Entry *entry = newNamed<Entry>(name);
  insertIndexed(nameIndexes, list, entry, nameKey);
  return entry;
}
template ddBufData *ddBufAddNamed(mlist **, const char *);
template ddBufRecord *ddBufAddNamed(mlist **, const char *);
template ddBufStruct *ddBufAddNamed(mlist **, const char *);
template ddBufCodeList *ddBufAddNamed(mlist **, const char *);
template ddBufDescribe *ddBufAddNamed(mlist **, const char *);
template ddBufDefine *ddBufAddNamed(mlist **, const char *);

/* Items are not looked up, so adding one is all carving and appending: it
** is here, beside the arena and the append path, so that it takes one call. */
template <typename Item> Item *ddBufferAddItem(ddBufSet<Item> *set, const char *name, int32_t index) {
  Item *item = newNamed<Item>(name);
  item->number = index;
  insertItem(&set->list, item);
  return item;
}
template ddBufMember *ddBufferAddItem(ddBufSet<ddBufMember> *, const char *, int32_t);
template ddBufCodeItem *ddBufferAddItem(ddBufSet<ddBufCodeItem> *, const char *, int32_t);

void ddBufInsertNumber(mlist **list, ddBufNumbered *entry) {
  insertIndexed(numberIndexes, list, entry, numberKey);
}

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

ddBufNamed *ddBufferFindNamed(const char *name, const mlist *set) {
  if (set == nullptr || name == nullptr) return nullptr;
  ddBufNumbered probe{};
  probe.name = const_cast<char *>(name);
  return findIn(nameIndexes, set, std::string_view(name), probe, ddBufferCompareName);
}

ddBufNumbered *ddBufferFindNumbered(int32_t number, const mlist *set) {
  if (set == nullptr) return nullptr;
  ddBufNumbered probe{};
  probe.number = number;
  return static_cast<ddBufNumbered *>(findIn(numberIndexes, set, number, probe, ddBufferCompareNumber));
}

ddBufData *ddBufferMemberTarget(const ddBuffer *buffer, ddBufMember *member, ddBufRecord **record) {
  if (member->data == nullptr && member->record == nullptr) {
    member->data = ddBufferFindName(member->name, buffer->dataByName);
    if (member->data == nullptr) member->record = ddBufferFindName(member->name, buffer->recordByName);
  }
  *record = member->record;
  return member->data;
}
