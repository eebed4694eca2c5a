/*
** The check command: imports each file and reports nothing but the
** library's diagnostics, each behind its file's name, on standard error.
*/
#include "tool.h"

int cmdCheck(const std::vector<std::string> &files) {
  if (!openAll(files)) return EXIT_USAGE;
  int status = EXIT_OK;
  for (const std::string &path : files) {
    Loaded loaded = loadSchema(path);
    relayDiagnostics(loaded);
    if (!loaded.imported) status = EXIT_FAILED;
    for (const std::string &d : loaded.diagnostics)
      if (d.rfind("ERROR", 0) == 0) status = EXIT_FAILED;
  }
  return status;
}
