/*
** rkruntime: the memory layer under rkdd. Every block the library uses comes
** from here, tagged with the name of the source file and line that asked.
** A host may put its own runtime with these three entry points in its place.
*/
#ifndef RKRUNTIME_H
#define RKRUNTIME_H

#include <stddef.h>

#if defined(_WIN32)
#  define RKRUNTIME_API __declspec(dllexport)
#else
#  define RKRUNTIME_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A block of at least size bytes, filled with the byte 0xCD so that code
** reading memory it never wrote fails loudly. Never null: when memory runs
** out the process prints one line to standard error and aborts. Blocks of up
** to 256 bytes are aligned to 8 bytes, larger ones to 16. */
RKRUNTIME_API void *UZA_allocate(size_t size, const char *file, int line);

/* Built with RKRUNTIME_NO_POOL, or under AddressSanitizer (which then
** defines it here), the layer serves every block from malloc, so that
** memory tools see each block; callers that carve pieces of their own from
** large blocks should then take a block per piece too. */
#if !defined(RKRUNTIME_NO_POOL) && defined(__SANITIZE_ADDRESS__)
#define RKRUNTIME_NO_POOL 1
#endif
#if !defined(RKRUNTIME_NO_POOL) && defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RKRUNTIME_NO_POOL 1
#endif
#endif

/* Blocks of 2 MiB and more, header included, are laid on 2 MiB boundaries
** and offered to the system's huge pages, where one fault maps what takes
** 512 with small pages. A block of RKRUNTIME_HUGE_BLOCK bytes fills one huge
** page exactly: the size for a caller that carves its own pieces. */
#define RKRUNTIME_HUGE_BLOCK (((size_t)2 << 20) - 16)

/* As UZA_allocate, but the block is filled with zero bytes. */
RKRUNTIME_API void *UZA_allocatez(size_t size, const char *file, int line);

/* Releases a block from either allocator. A null or foreign pointer, or a
** block released twice, prints one line to standard error and aborts. */
RKRUNTIME_API void UZA_free(void *block, const char *file, int line);

/* Live blocks and bytes allocated from the source file named file (as
** passed to the allocators), or from all files when file is null. */
RKRUNTIME_API long UZA_liveBlocks(const char *file);
RKRUNTIME_API long UZA_liveBytes(const char *file);

/* Caps the bytes that may be live at once, for tests of an exhausted
** allocator; 0 removes the cap. Gives the old cap. */
RKRUNTIME_API size_t UZA_setByteLimit(size_t limit);

#ifdef __cplusplus
}
#endif

#endif /* RKRUNTIME_H */
