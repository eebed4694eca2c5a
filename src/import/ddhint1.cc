/*
** Hints for an author: the known word closest to one the reader did not
** know, by edit distance with case set aside.
*/
#include "import/ddhint.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>
#include <vector>

#include "rkdd/keywords.h"
#include "support/ddreport.h"

namespace {

bool sameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

/* Edits from a to b, adjacent swaps counting one; words are at most RKDD_WORD_MAX
** characters, so three rows of the table suffice. */
int distance(std::string_view a, std::string_view b) {
  std::vector<int> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) last[j] = static_cast<int>(j);
  for (size_t i = 1; i <= a.size(); i++) {
    row[0] = static_cast<int>(i);
    for (size_t j = 1; j <= b.size(); j++) {
      int cost = sameLetter(a[i - 1], b[j - 1]) ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + cost});
      if (i > 1 && j > 1 && sameLetter(a[i - 1], b[j - 2]) && sameLetter(a[i - 2], b[j - 1]))
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    std::swap(before, last);
    std::swap(last, row);
  }
  return last[b.size()];
}

} // namespace

void ddHintWord(const char *word, const char *const *candidates, int count) {
  std::string_view w(word);
  int most = w.size() >= 5 ? 2 : w.size() >= 3 ? 1 : 0;
  const char *best = nullptr;
  int bestDistance = most + 1;
  for (int i = 0; i < count; i++) {
    int d = distance(w, candidates[i]);
    if (d < bestDistance) bestDistance = d, best = candidates[i];
  }
  if (best != nullptr && w != best) ddReport(DD_MSG_DID_YOU_MEAN, "did you mean `%s`?\n", best);
}

void ddHintTagType(const char *word) {
#define DD_HINT_TYPE(number, lower, upper, length, sized) lower, upper,
  static const char *const kTypeWords[] = {RKDD_TAG_TYPES(DD_HINT_TYPE)};
#undef DD_HINT_TYPE
  ddHintWord(word, kTypeWords, static_cast<int>(std::size(kTypeWords)));
}
