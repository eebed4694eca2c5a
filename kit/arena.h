/*
** The arena that a model or a list of changes lives in: blocks taken one
** after another from large chunks, all freed at once with the arena.
*/
#ifndef RKDD_KIT_ARENA_H
#define RKDD_KIT_ARENA_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

namespace kit {

class Arena {
public:
  /* Zeroed room for count objects of T; T must be a plain C struct. */
  template <typename T> T *make(size_t count) {
    if (count == 0) return nullptr;
    return static_cast<T *>(take(sizeof(T) * count, alignof(T)));
  }

  /* A copy of a text; null stays null. */
  const char *copy(const char *text) {
    return text ? copy(std::string_view(text)) : nullptr;
  }
  const char *copy(std::string_view text) {
    char *to = static_cast<char *>(take(text.size() + 1, 1));
    if (!text.empty()) std::memcpy(to, text.data(), text.size());
    return to;
  }

private:
  void *take(size_t size, size_t align) {
    size_t at = (used_ + align - 1) & ~(align - 1);
    if (chunks_.empty() || at + size > room_) {
      room_ = size > kChunk ? size : kChunk;
      chunks_.emplace_back(new char[room_]());
      at = 0;
    }
    used_ = at + size;
    return chunks_.back().get() + at;
  }

  static constexpr size_t kChunk = 64 * 1024;
  std::vector<std::unique_ptr<char[]>> chunks_;
  size_t room_ = 0, used_ = 0;
};

} // namespace kit

#endif
