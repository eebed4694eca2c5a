/*
** Places in the text being read: the table of where each line begins, kept
** during every import, and how a place (a byte offset) becomes the line and
** column a message is told with and the store keeps for each definition.
*/
#include "import/ddread.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "store/ddstore.h"
#include "support/ddreport.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

/* Where each line of the text being read begins, by offset, while places
** are taken: a plain array, so that noting a line is one store. */
struct LineTable {
  std::unique_ptr<int64_t[]> at;
  size_t count = 0, room = 0;
  size_t kept = 0; /* the line of the place ddKeepPlace kept last, less one */

  /* Makes room for n more lines. */
  void reserve(size_t n) {
    if (room - count < n) grow(n);
  }
  [[gnu::noinline]] void grow(size_t n) {
    size_t grown = std::max(2 * room, count + n);
    std::unique_ptr<int64_t[]> bigger(new int64_t[grown]);
    std::copy(at.get(), at.get() + count, bigger.get());
    at = std::move(bigger);
    room = grown;
  }
} lineStarts;

} // namespace

/* Sixty-four bytes a step where the processor has the instructions for it. */
void ddStreamNoteLines(const ddStream *s) {
  int64_t base = s->read - (s->end - s->at) + 1; /* a line begins behind its predecessor's end */
  const char *p = s->at, *end = s->end;
#if defined(__SSE2__)
  /* 64 bytes a step: a bit per byte that ends a line. */
  const __m128i newline = _mm_set1_epi8('\n');
  for (; end - p >= 64; p += 64) {
    uint64_t mask = 0;
    for (int k = 0; k < 4; k++) {
      __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16 * k));
      mask |= static_cast<uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, newline))))
              << (16 * k);
    }
    if (mask == 0) continue;
    lineStarts.reserve(64);
    int64_t *first = lineStarts.at.get() + lineStarts.count, *out = first;
    for (int64_t here = base + (p - s->at); mask != 0; mask &= mask - 1) *out++ = here + __builtin_ctzll(mask);
    lineStarts.count += static_cast<size_t>(out - first);
  }
#endif
  for (; p < end; p++)
    if (*p == '\n') {
      lineStarts.reserve(1);
      lineStarts.at[lineStarts.count++] = base + (p - s->at);
    }
}

namespace {
void resolvePlace(int64_t at, int32_t *line, int32_t *column) {
  int64_t offset = at - 1;
  const int64_t *starts = lineStarts.at.get();
  const int64_t *after = std::upper_bound(starts, starts + lineStarts.count, offset);
  *line = static_cast<int32_t>(std::min<int64_t>(INT32_MAX, after - starts));
  *column = static_cast<int32_t>(std::min<int64_t>(INT32_MAX, offset - after[-1] + 1));
}
} // namespace

void ddStreamKeepLines(ddStream *s, long long sizeHint) {
  s->lines = 1;
  /* Room for a line per 12 bytes, which schemas seldom pass, so that the
  ** table is rarely copied as it grows. */
  lineStarts.count = 0;
  lineStarts.reserve(static_cast<size_t>(std::clamp(sizeHint / 12, 16LL, 1LL << 24)));
  lineStarts.at[lineStarts.count++] = s->read - (s->end - s->at);
  ddStreamNoteLines(s);
  ddReportLines(resolvePlace);
}

/* Definitions are built in the order they were read, kind by kind, so the
** line of each is looked for from the line of the one before, by steps that
** double, rather than over the whole table. */
void ddKeepPlace(int code, ddPlace place) {
  if (place.at <= 0 || lineStarts.count == 0) return;
  const int64_t offset = place.at - 1, *starts = lineStarts.at.get();
  size_t low = 0, high = lineStarts.count, last = lineStarts.kept;
  if (last < high && starts[last] <= offset) {
    size_t step = 1;
    for (low = last; low + step < high && starts[low + step] <= offset; step *= 2) low += step;
    high = std::min(high, low + step);
  }
  size_t line = static_cast<size_t>(std::upper_bound(starts + low, starts + high, offset) - starts);
  lineStarts.kept = line - 1;
  ddStoreSetPlace(code, static_cast<int32_t>(std::min<size_t>(INT32_MAX, line)),
                  static_cast<int32_t>(std::min<int64_t>(INT32_MAX, offset - starts[line - 1] + 1)));
}

void ddStreamEndPlaces(void) {
  ddReportLines(nullptr);
  lineStarts = LineTable{};
}
