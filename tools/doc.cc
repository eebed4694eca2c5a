/*
** The doc command: imports schema files, reads each site into a model and
** writes their reference pages into a folder.
*/
#include "doc.h"
#include "tool.h"

#include <filesystem>
#include <iostream>

int cmdDoc(const std::vector<std::string> &files, const std::string &outDir) {
  if (!openAll(files)) return EXIT_USAGE;
  std::error_code ec;
  std::filesystem::create_directories(outDir, ec);
  if (ec || !std::filesystem::is_directory(outDir)) {
    std::cerr << "rkdd: cannot make folder " << outDir << ": "
              << (ec ? ec.message() : "not a folder") << "\n";
    return EXIT_USAGE;
  }
  bool ok = true;
  std::vector<DocSite> sites;
  for (const std::string &file : files) {
    Loaded loaded = loadSchema(file);
    relayDiagnostics(loaded);
    ok = ok && !failed(loaded);
    if (loaded.site < 0) continue;
    kitModel *model = kitModelRead(loaded.site);
    if (model == nullptr) {
      std::cerr << "rkdd: out of memory reading " << file << "\n";
      ok = false;
      continue;
    }
    sites.push_back({loaded.path, model});
  }
  std::string error;
  bool written = writeDocs(sites, outDir, &error);
  if (!written) std::cerr << "rkdd: " << error << "\n";
  for (DocSite &s : sites) kitModelFree(const_cast<kitModel *>(s.model));
  if (!written) return EXIT_FAILED;
  std::cout << outDir << "/index.html\n";
  return ok ? EXIT_OK : EXIT_FAILED;
}
