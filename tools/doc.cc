/*
** The doc command: imports schema files, reads each site into a model and
** writes their reference pages into a folder, which then holds exactly the
** pages of this run: those an earlier run wrote and this one does not go.
*/
#include "doc.h"
#include "tool.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

namespace fs = std::filesystem;

namespace {

/* The list of the files the last run wrote, kept in the folder. */
constexpr const char *kManifest = ".rkdd-doc";

/* The names an earlier run listed; only plain names of the folder count. */
std::set<std::string> earlierPages(const fs::path &dir) {
  std::set<std::string> names;
  std::ifstream in(dir / kManifest);
  for (std::string name; std::getline(in, name);)
    if (!name.empty() && name[0] != '.' && name.find('/') == std::string::npos) names.insert(name);
  return names;
}

/* Removes the pages of an earlier run that this run did not write, lists
** this run's, and reports files of the folder that doc did not write. */
bool tidyFolder(const fs::path &dir, const std::vector<std::string> &written) {
  std::set<std::string> now(written.begin(), written.end());
  std::error_code ec;
  for (const std::string &name : earlierPages(dir))
    if (!now.count(name) && fs::is_regular_file(dir / name, ec)) fs::remove(dir / name, ec);
  std::ofstream list(dir / kManifest, std::ios::trunc);
  for (const std::string &name : written) list << name << "\n";
  if (!list.flush()) {
    std::cerr << "rkdd: cannot write " << (dir / kManifest).string() << "\n";
    return false;
  }
  std::vector<std::string> others;
  for (const fs::directory_entry &e : fs::directory_iterator(dir, ec)) {
    std::string name = e.path().filename().string();
    if (name != kManifest && !now.count(name)) others.push_back(name);
  }
  std::sort(others.begin(), others.end());
  if (!others.empty()) {
    std::cerr << "rkdd: " << dir.string() << " also holds " << others.size()
              << (others.size() == 1 ? " file" : " files") << " that rkdd doc did not write:";
    for (size_t i = 0; i < others.size() && i < 5; i++) std::cerr << " " << others[i];
    std::cerr << (others.size() > 5 ? " ...\n" : "\n");
  }
  return true;
}

} // namespace

int cmdDoc(const std::vector<std::string> &files, const std::string &outDir) {
  if (!openAll(files)) return EXIT_USAGE;
  std::error_code ec;
  fs::create_directories(outDir, ec);
  if (ec || !fs::is_directory(outDir)) {
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
  std::vector<std::string> written;
  bool done = writeDocs(sites, outDir, &error, &written);
  if (!done) std::cerr << "rkdd: " << error << "\n";
  for (DocSite &s : sites) kitModelFree(const_cast<kitModel *>(s.model));
  if (!done || !tidyFolder(outDir, written)) return EXIT_FAILED;
  std::cout << outDir << "/index.html\n";
  return ok ? EXIT_OK : EXIT_FAILED;
}
