/*
** The check command: imports each file and reports nothing but its
** diagnostics: as lines on standard error, or as one JSON document or SARIF
** log on standard output.
*/
#include "tool.h"

#include <nlohmann/json.hpp>

#include <iostream>

int cmdCheck(const std::vector<std::string> &files, CheckFormat format) {
  if (!openAll(files)) return EXIT_USAGE;
  int status = EXIT_OK;
  std::vector<Diagnostic> all;
  for (const std::string &path : files) {
    Loaded loaded = loadSchema(path);
    if (format == CHECK_TEXT) relayDiagnostics(loaded);
    if (failed(loaded)) status = EXIT_FAILED;
    all.insert(all.end(), loaded.diagnostics.begin(), loaded.diagnostics.end());
  }
  if (format == CHECK_JSON) std::cout << nlohmann::ordered_json{{"format", JSON_FORMAT}, {"diagnostics", diagnosticsJson(all)}}.dump(2) << "\n";
  if (format == CHECK_SARIF) std::cout << sarifLog(all).dump(2) << "\n";
  return std::cout.flush() ? status : EXIT_USAGE;
}
