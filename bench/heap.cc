/*
** The malloc wrappers behind heap.h. They hand every call to the C library's
** own allocator and, while counting, add or take the block's usable size;
** and the same for anonymous mappings made outside malloc, by length.
*/
#include "heap.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

bool counting = false;
long long held = 0, top = 0;

void *taken(void *block) {
  if (counting && block != nullptr) {
    held += static_cast<long long>(malloc_usable_size(block));
    if (held > top) top = held;
  }
  return block;
}

void givenBack(void *block) {
  if (counting && block != nullptr) held -= static_cast<long long>(malloc_usable_size(block));
}

} // namespace

namespace heap {
void start() {
  held = top = 0;
  counting = true;
}
long long peak() { return top; }
} // namespace heap

extern "C" {

void *malloc(size_t size) noexcept { return taken(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) noexcept { return taken(__libc_calloc(count, size)); }
void *memalign(size_t alignment, size_t size) noexcept { return taken(__libc_memalign(alignment, size)); }
void *aligned_alloc(size_t alignment, size_t size) noexcept { return taken(__libc_memalign(alignment, size)); }

int posix_memalign(void **out, size_t alignment, size_t size) noexcept {
  void *block = __libc_memalign(alignment, size);
  if (block == nullptr) return 12; /* ENOMEM */
  *out = taken(block);
  return 0;
}

void *realloc(void *block, size_t size) noexcept {
  long long before = counting && block != nullptr ? static_cast<long long>(malloc_usable_size(block)) : 0;
  void *moved = __libc_realloc(block, size);
  if (counting && moved != nullptr) {
    held += static_cast<long long>(malloc_usable_size(moved)) - before;
    if (held > top) top = held;
  } else if (counting && size == 0) {
    held -= before;
  }
  return moved;
}

void free(void *block) noexcept {
  givenBack(block);
  __libc_free(block);
}

/* Memory mapped outside malloc (a memory layer may map its largest blocks
** itself) is held too, by its length. malloc's own mappings do not come
** through here. */
void *mmap(void *at, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
  void *mapped = reinterpret_cast<void *>(syscall(SYS_mmap, at, length, protection, flags, fd, offset));
  if (counting && mapped != MAP_FAILED && (flags & MAP_ANONYMOUS) != 0) {
    held += static_cast<long long>(length);
    if (held > top) top = held;
  }
  return mapped;
}

int munmap(void *at, size_t length) noexcept {
  int result = static_cast<int>(syscall(SYS_munmap, at, length));
  if (counting && result == 0) held -= static_cast<long long>(length);
  return result;
}

} // extern "C"
