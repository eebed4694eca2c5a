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

/* A hash of a short text, eight bytes at a time: names and labels are a
** word or two long, where a byte-wise hash spends most of its time. */
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
  if (n > 0) {
    uint64_t w = 0;
    for (size_t i = 0; i < n; i++) w |= uint64_t{static_cast<unsigned char>(p[i])} << (8 * i);
    h = (h ^ w) * 0x94D049BB133111EBu;
    h ^= h >> 29;
  }
  return h ^ (h >> 32);
}

/* memcmp(a, b, n) == 0 for the short texts of names, without the call. */
inline bool sameBytes(const char *a, const char *b, size_t n) {
  for (; n >= 8; a += 8, b += 8, n -= 8) {
    uint64_t x, y;
    std::memcpy(&x, a, 8);
    std::memcpy(&y, b, 8);
    if (x != y) return false;
  }
  for (; n > 0; a++, b++, n--)
    if (*a != *b) return false;
  return true;
}

/* A hash of a one-word key. */
inline uint64_t mhashWord(uint64_t key) {
  key = (key ^ (key >> 30)) * 0xBF58476D1CE4E5B9u;
  key = (key ^ (key >> 27)) * 0x94D049BB133111EBu;
  return key ^ (key >> 31);
}

/* An open hash with linear probing, from keys to values. Each slot keeps the
** key's hash with its top bit set, so a slot with hash 0 is free, and a
** search compares whole keys only where the hashes agree. Entries are taken
** out by moving the ones behind them back, so no tombstone slows a table
** that grows and shrinks. Keys says how to hash and compare a Key. */
template <class Key, class Value, class Keys> class OpenHash {
public:
  /* The value of key, or null. */
  Value *find(Key key) {
    if (used_ == 0) return nullptr;
    Slot &slot = slots_[place(key, hashOf(key))];
    return slot.hash != 0 ? &slot.value : nullptr;
  }
  /* The value of key, added as Value{} (and *fresh set) when key is new.
  ** What the key points at must stay as it is while the hash holds it. */
  Value &insert(Key key, bool *fresh) {
    if (2 * (used_ + 1) > slots_.size()) grow();
    uint64_t hash = hashOf(key);
    Slot &slot = slots_[place(key, hash)];
    *fresh = slot.hash == 0;
    if (*fresh) {
      slot = Slot{hash, key, Value{}};
      used_++;
    }
    return slot.value;
  }
  /* Takes key out; false when it was not there. */
  bool erase(Key key) {
    if (used_ == 0) return false;
    size_t i = place(key, hashOf(key));
    if (slots_[i].hash == 0) return false;
    /* Each entry behind the hole, up to the next free slot, moves into the
    ** hole unless its home lies between the hole and where it stands. */
    for (size_t j = (i + 1) & mask(); slots_[j].hash != 0; j = (j + 1) & mask()) {
      size_t home = slots_[j].hash & mask();
      if (((j - home) & mask()) >= ((j - i) & mask())) {
        slots_[i] = slots_[j];
        i = j;
      }
    }
    slots_[i].hash = 0;
    used_--;
    return true;
  }
  void clear() {
    slots_.clear();
    used_ = 0;
  }
  size_t size() const { return used_; }

private:
  struct Slot {
    uint64_t hash;
    Key key;
    Value value;
  };
  static uint64_t hashOf(const Key &key) { return Keys::hash(key) | uint64_t{1} << 63; }
  size_t mask() const { return slots_.size() - 1; }
  /* The slot that holds key, or the free slot where it would go. */
  size_t place(const Key &key, uint64_t hash) const {
    size_t i = hash & mask();
    while (slots_[i].hash != 0 && !(slots_[i].hash == hash && Keys::equal(slots_[i].key, key)))
      i = (i + 1) & mask();
    return i;
  }
  void grow() {
    std::vector<Slot> old(slots_.empty() ? 32 : 2 * slots_.size(), Slot{0, Key{}, Value{}});
    old.swap(slots_);
    for (const Slot &s : old) {
      if (s.hash == 0) continue;
      size_t i = s.hash & mask();
      while (slots_[i].hash != 0) i = (i + 1) & mask();
      slots_[i] = s;
    }
  }
  std::vector<Slot> slots_;
  size_t used_ = 0;
};

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
