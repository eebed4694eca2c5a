/*
** Where each definition was read: the line and column of its name, kept per
** site beside the entries, whose words belong to the binary layout.
*/
#include <vector>

#include "ddstore.h"

namespace {

struct Spot {
  int32_t line; /* 0: not read from text */
  int32_t column;
};

/* By local code: records below DD_DATA_BASE, data items from it, each
** grown to the highest code set, so a small site keeps a small table. */
struct SiteSpots {
  std::vector<Spot> records, data;
  std::vector<Spot> &half(int local, int *at) {
    *at = local < DD_DATA_BASE ? local : local - DD_DATA_BASE;
    return local < DD_DATA_BASE ? records : data;
  }
} spots[DD_MAX_SITES];

} // namespace

void ddStoreSetPlace(int code, int line, int column) {
  if (code <= 0 || code / DD_CODE_BASE >= DD_MAX_SITES || line <= 0) return;
  int at;
  std::vector<Spot> &half = spots[code / DD_CODE_BASE].half(code % DD_CODE_BASE, &at);
  if (static_cast<size_t>(at) >= half.size()) half.resize(static_cast<size_t>(at) + 1);
  half[static_cast<size_t>(at)] = Spot{line, column};
}

int ddGetPlace(int code, int *line, int *column) {
  if (ddGetSchema(code) == nullptr) return 0;
  int at;
  const std::vector<Spot> &half = spots[code / DD_CODE_BASE].half(code % DD_CODE_BASE, &at);
  if (static_cast<size_t>(at) >= half.size() || half[static_cast<size_t>(at)].line == 0) return 0;
  if (line != nullptr) *line = half[static_cast<size_t>(at)].line;
  if (column != nullptr) *column = half[static_cast<size_t>(at)].column;
  return 1;
}

#ifdef RKDD_FUZZ_RESET
void ddFuzzResetPlaces(void) {
  for (SiteSpots &site : spots) site = SiteSpots{};
}
#endif
