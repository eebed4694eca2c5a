/*
** The export command: a schema file imported and written back as the
** canonical schema text of the site it became.
*/
#include "tool.h"

#include <rkdd/kit.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

int cmdExport(const std::string &file, const std::string &output) {
  if (!openAll({file})) return EXIT_USAGE;
  Loaded loaded = loadSchema(file);
  relayDiagnostics(loaded);
  if (loaded.site < 0) return EXIT_FAILED;
  kitModel *model = kitModelRead(loaded.site);
  int lost = 0;
  char *text = model ? kitSchemaText(model, stderr, &lost) : nullptr;
  kitModelFree(model);
  if (text == nullptr) {
    std::cerr << "rkdd: out of memory\n";
    return EXIT_FAILED;
  }
  /* The text is written all the same; a CI can tell it is not the whole site. */
  int status = failed(loaded) || lost != 0 ? EXIT_FAILED : EXIT_OK;
  if (output.empty() || output == "-") {
    std::cout << text;
  } else {
    std::ofstream out(output, std::ios::binary);
    if (!out || !(out << text) || !out.flush()) {
      std::cerr << "rkdd: cannot write " << output << ": " << std::strerror(errno) << "\n";
      status = EXIT_USAGE;
    }
  }
  std::free(text);
  return status;
}
