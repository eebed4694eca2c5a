/*
** Open hashes for the indexes kept beside lists and tables: from texts to
** values (pointing at texts that live elsewhere, copying none), and from
** one-word keys to values. Both probe one array, so a search touches one
** slot and what it points at.
*/
#ifndef RKDD_SUPPORT_MHASH_H
#define RKDD_SUPPORT_MHASH_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

/* Up to eight bytes of a short text as one number, read as at most two
** loads whatever the length: names are often shorter than a word, where a
** loop over the bytes costs more than the rest of a search. */
inline uint64_t mhashTail(const char *p, size_t n) {
  if (n >= 4) {
    uint32_t lo, hi;
    std::memcpy(&lo, p, 4);
    std::memcpy(&hi, p + n - 4, 4);
    return uint64_t{hi} << 32 | lo;
  }
  if (n == 0) return 0;
  auto byte = [&](size_t i) { return uint64_t{static_cast<unsigned char>(p[i])}; };
  return byte(0) | byte(n / 2) << 8 | byte(n - 1) << 16;
}

/* A hash of a short text, eight bytes at a time, the length mixed in. */
inline uint64_t mhashText(std::string_view text) {
  const char *p = text.data();
  size_t n = text.size();
  uint64_t h = 0x9E3779B97F4A7C15u ^ n;
  for (; n >= 8; p += 8, n -= 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    h = (h ^ w) * 0xBF58476D1CE4E5B9u;
    h ^= h >> 31;
  }
  /* Every bit of the last word must reach the low bits that pick a slot,
  ** which one multiply does not do: two rounds of multiply and fold. */
  h = (h ^ mhashTail(p, n)) * 0x94D049BB133111EBu;
  h = (h ^ (h >> 32)) * 0xBF58476D1CE4E5B9u;
  return h ^ (h >> 29);
}

/* memcmp(a, b, n) == 0 for the short texts of names, without the call: the
** whole words, then the rest as the hash reads it. */
inline bool sameBytes(const char *a, const char *b, size_t n) {
  for (; n >= 8; a += 8, b += 8, n -= 8) {
    uint64_t x, y;
    std::memcpy(&x, a, 8);
    std::memcpy(&y, b, 8);
    if (x != y) return false;
  }
  if (n >= 4) return mhashTail(a, n) == mhashTail(b, n);
  for (; n > 0; a++, b++, n--)
    if (*a != *b) return false;
  return true;
}

/* The probing shared by the hashes below: linear probing over one array,
** up to three quarters full. A Slot says whether it is free, where its entry
** would stand first (its home), and whether it holds a key. Entries are taken
** out by moving the ones behind them back, so no tombstone slows a table
** that grows and shrinks. */
template <class Slot> class ProbeTable {
public:
  size_t size() const { return used_; }
  void clear() {
    slots_.clear();
    used_ = 0;
  }

protected:
  size_t mask() const { return slots_.size() - 1; }
  /* The slot that holds key, or the free slot where it would go. */
  template <class Key> size_t place(const Key &key, uint64_t hash) const {
    size_t i = hash & mask();
    while (!slots_[i].free() && !slots_[i].holds(key, hash)) i = (i + 1) & mask();
    return i;
  }
  /* Makes room for one more entry. */
  void reserveOne() {
    if (4 * (used_ + 1) <= 3 * slots_.size()) return;
    std::vector<Slot> old(slots_.empty() ? 32 : 2 * slots_.size(), Slot{});
    old.swap(slots_);
    for (const Slot &s : old) {
      if (s.free()) continue;
      size_t i = s.home() & mask();
      while (!slots_[i].free()) i = (i + 1) & mask();
      slots_[i] = s;
    }
  }
  /* Empties slot i. Each entry behind the hole, up to the next free slot,
  ** moves into the hole unless its home lies between the hole and where it
  ** stands. */
  void takeOut(size_t i) {
    for (size_t j = (i + 1) & mask(); !slots_[j].free(); j = (j + 1) & mask()) {
      size_t home = slots_[j].home() & mask();
      if (((j - home) & mask()) >= ((j - i) & mask())) {
        slots_[i] = slots_[j];
        i = j;
      }
    }
    slots_[i] = Slot{};
    used_--;
  }
  std::vector<Slot> slots_;
  size_t used_ = 0;
};

/* From keys to values. Each slot keeps the key's hash with its top bit set,
** so a slot with hash 0 is free, and a search compares whole keys only where
** the hashes agree. Keys says how to hash and compare a Key. */
template <class Key, class Value, class Keys> struct HashedSlot {
  uint64_t hash;
  Key key;
  Value value;
  bool free() const { return hash == 0; }
  uint64_t home() const { return hash; }
  bool holds(const Key &k, uint64_t h) const { return hash == h && Keys::equal(key, k); }
};

template <class Key, class Value, class Keys> class OpenHash : public ProbeTable<HashedSlot<Key, Value, Keys>> {
  using Slot = HashedSlot<Key, Value, Keys>;

public:
  /* The value of key, or null. */
  Value *find(Key key) {
    return const_cast<Value *>(static_cast<const OpenHash *>(this)->find(key));
  }
  /* Reads only, so searches on several threads may share a hash. */
  const Value *find(Key key) const {
    if (this->used_ == 0) return nullptr;
    const Slot &slot = this->slots_[this->place(key, hashOf(key))];
    return slot.free() ? nullptr : &slot.value;
  }
  /* The value of key, added as Value{} (and *fresh set) when key is new.
  ** What the key points at must stay as it is while the hash holds it. */
  Value &insert(Key key, bool *fresh) {
    this->reserveOne();
    uint64_t hash = hashOf(key);
    Slot &slot = this->slots_[this->place(key, hash)];
    *fresh = slot.free();
    if (*fresh) {
      slot = Slot{hash, key, Value{}};
      this->used_++;
    }
    return slot.value;
  }
  /* Takes key out; false when it was not there. */
  bool erase(Key key) {
    if (this->used_ == 0) return false;
    size_t i = this->place(key, hashOf(key));
    if (this->slots_[i].free()) return false;
    this->takeOut(i);
    return true;
  }

private:
  static uint64_t hashOf(const Key &key) { return Keys::hash(key) | uint64_t{1} << 63; }
};

/* A hash of a one-word key. */
inline uint64_t mhashWord(uint64_t key) {
  key = (key ^ (key >> 30)) * 0xBF58476D1CE4E5B9u;
  key = (key ^ (key >> 27)) * 0x94D049BB133111EBu;
  return key ^ (key >> 31);
}

struct TextKeys {
  static uint64_t hash(std::string_view text) { return mhashText(text); }
  static bool equal(std::string_view a, std::string_view b) {
    return a.size() == b.size() && sameBytes(a.data(), b.data(), a.size());
  }
};
struct WordKeys {
  static uint64_t hash(uint64_t word) { return mhashWord(word); }
  static bool equal(uint64_t a, uint64_t b) { return a == b; }
};

/* From texts that live elsewhere (none is copied) to values. */
template <class Value> using TextHash = OpenHash<std::string_view, Value, TextKeys>;
/* From one-word keys to values. */
template <class Value> using WordHash = OpenHash<uint64_t, Value, WordKeys>;

#endif
