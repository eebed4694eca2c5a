/*
** The export round trip on arbitrary bytes, each input on a fresh store:
** the input is imported, its site exported as schema text, the text
** imported as a second site, and the two sites' models compared. Nothing
** may crash or hang; when the first import printed no ERROR, the export
** must lose nothing but the widths of enumerations that no record's layout
** tells (each warned about), the two sites must compare equal and exporting the
** second must give the same text. The one exception is an input with a NUL
** byte: the store keeps texts up to their first NUL, and a text cut there
** (a quote left open) is one that export, which writes no NUL bytes, warns
** about and leaves out.
*/
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <rkdd/kit.h>

#include "fuzz_common.h"

namespace {

/* Runs an import with standard output caught; the library's messages. */
std::string importQuietly(const char *path, int *site, int *result) {
  std::fflush(stdout);
  FILE *capture = std::tmpfile();
  FUZZ_CHECK(capture != nullptr);
  int saved = dup(1);
  FUZZ_CHECK(saved >= 0 && dup2(fileno(capture), 1) >= 0);
  *result = ddImportSchema(path, site);
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  std::string text;
  std::rewind(capture);
  char chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, capture)) > 0;) text.append(chunk, n);
  std::fclose(capture);
  return text;
}

std::string exportText(const kitModel *model, int *lost) {
  char *raw = kitSchemaText(model, nullptr, lost);
  FUZZ_CHECK(raw != nullptr);
  std::string text = raw;
  std::free(raw);
  return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *path = fuzzWriteInput(data, size);
  bool nul = std::memchr(data, 0, size) != nullptr;
  fuzzFresh([path, nul] {
    int first = -1, result = 0;
    std::string said = importQuietly(path, &first, &result);
    if (ddSiteCount() == 0) return; /* the read failed: no site */
    kitModel *a = kitModelRead(first);
    FUZZ_CHECK(a != nullptr);
    int lost = 0;
    std::string text = exportText(a, &lost);
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(text.data());
    const char *again = fuzzWriteInput(bytes, text.size());
    int second = -1, result2 = 0;
    std::string said2 = importQuietly(again, &second, &result2);
    FUZZ_CHECK(ddSiteCount() == 2);
    kitModel *b = kitModelRead(second);
    FUZZ_CHECK(b != nullptr);
    kitChanges *changes = kitCompare(a, b);
    FUZZ_CHECK(changes != nullptr);
    bool clean = said.find("ERROR") == std::string::npos &&
                 said.find("errors during parsing") == std::string::npos;
    /* Export warns of each enumeration whose width no record's layout tells,
    ** and loses nothing else; the text reads back as the same site. */
    std::vector<int32_t> widths(static_cast<size_t>(a->dataCount));
    int untold = kitBitWidths(a, widths.data());
    if (clean) FUZZ_CHECK(lost == untold || nul);
    if (clean && lost == untold) {
      for (int i = 0; i < changes->count; i++)
        std::fprintf(stderr, "%s %s %s: %s -> %s\n", changes->changes[i].def,
                     changes->changes[i].field, kitAttrName(changes->changes[i].attr),
                     changes->changes[i].oldText, changes->changes[i].newText);
      FUZZ_CHECK(result2 == 1);
      FUZZ_CHECK(changes->count == 0);
      FUZZ_CHECK(exportText(b, &lost) == text && lost == untold);
    }
    kitChangesFree(changes);
    kitModelFree(a);
    kitModelFree(b);
  });
  return 0;
}
