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

template <class Value> class TextHash {
public:
  /* The value of key, or null. */
  Value *find(std::string_view key) {
    if (used_ == 0) return nullptr;
    uint64_t hash = mhashText(key);
    for (size_t i = hash & mask(); slots_[i].text != nullptr; i = (i + 1) & mask())
      if (slots_[i].matches(hash, key)) return &slots_[i].value;
    return nullptr;
  }
  /* The value of text, added as Value{} (and *fresh set) when text is new.
  ** text must stay as it is while the hash holds it. */
  Value &insert(std::string_view text, bool *fresh) {
    if (2 * (used_ + 1) > slots_.size()) grow();
    uint64_t hash = mhashText(text);
    size_t i = hash & mask();
    for (; slots_[i].text != nullptr; i = (i + 1) & mask())
      if (slots_[i].matches(hash, text)) {
        *fresh = false;
        return slots_[i].value;
      }
    slots_[i] = Slot{hash, text.data(), text.size(), Value{}};
    used_++;
    *fresh = true;
    return slots_[i].value;
  }
  void clear() {
    slots_.clear();
    used_ = 0;
  }

private:
  struct Slot {
    uint64_t hash;
    const char *text;
    size_t len;
    Value value;
    bool matches(uint64_t h, std::string_view key) const {
      return hash == h && len == key.size() && sameBytes(text, key.data(), len);
    }
  };
  size_t mask() const { return slots_.size() - 1; }
  void grow() {
    std::vector<Slot> old(slots_.empty() ? 32 : 2 * slots_.size(), Slot{0, nullptr, 0, Value{}});
    old.swap(slots_);
    for (const Slot &s : old) {
      if (s.text == nullptr) continue;
      size_t i = s.hash & mask();
      while (slots_[i].text != nullptr) i = (i + 1) & mask();
      slots_[i] = s;
    }
  }
  std::vector<Slot> slots_;
  size_t used_ = 0;
};

/* A hash of a one-word key. */
inline uint64_t mhashWord(uint64_t key) {
  key = (key ^ (key >> 30)) * 0xBF58476D1CE4E5B9u;
  key = (key ^ (key >> 27)) * 0x94D049BB133111EBu;
  return key ^ (key >> 31);
}

/* From one-word keys to values. Entries are taken out by moving the ones
** behind them back, so no tombstone slows a table that grows and shrinks. */
template <class Value> class WordHash {
public:
  Value *find(uint64_t key) {
    if (used_ == 0) return nullptr;
    for (size_t i = mhashWord(key) & mask(); slots_[i].used; i = (i + 1) & mask())
      if (slots_[i].key == key) return &slots_[i].value;
    return nullptr;
  }
  /* The value of key, added as Value{} (and *fresh set) when key is new. */
  Value &insert(uint64_t key, bool *fresh) {
    if (2 * (used_ + 1) > slots_.size()) grow();
    size_t i = mhashWord(key) & mask();
    for (; slots_[i].used; i = (i + 1) & mask())
      if (slots_[i].key == key) {
        *fresh = false;
        return slots_[i].value;
      }
    slots_[i] = Slot{key, Value{}, true};
    used_++;
    *fresh = true;
    return slots_[i].value;
  }
  /* Takes key out; false when it was not there. */
  bool erase(uint64_t key) {
    if (used_ == 0) return false;
    size_t i = mhashWord(key) & mask();
    while (slots_[i].used && slots_[i].key != key) i = (i + 1) & mask();
    if (!slots_[i].used) return false;
    /* Each entry behind the hole, up to the next free slot, moves into the
    ** hole unless its home lies between the hole and where it stands. */
    for (size_t j = (i + 1) & mask(); slots_[j].used; j = (j + 1) & mask()) {
      size_t home = mhashWord(slots_[j].key) & mask();
      if (((j - home) & mask()) >= ((j - i) & mask())) {
        slots_[i] = slots_[j];
        i = j;
      }
    }
    slots_[i].used = false;
    used_--;
    return true;
  }
  size_t size() const { return used_; }

private:
  struct Slot {
    uint64_t key;
    Value value;
    bool used;
  };
  size_t mask() const { return slots_.size() - 1; }
  void grow() {
    std::vector<Slot> old(slots_.empty() ? 32 : 2 * slots_.size(), Slot{0, Value{}, false});
    old.swap(slots_);
    for (const Slot &s : old) {
      if (!s.used) continue;
      size_t i = mhashWord(s.key) & mask();
      while (slots_[i].used) i = (i + 1) & mask();
      slots_[i] = s;
    }
  }
  std::vector<Slot> slots_;
  size_t used_ = 0;
};

#endif
