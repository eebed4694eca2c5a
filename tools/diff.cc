/*
** The diff command: two versions of a schema imported as two sites, their
** models compared, and each change printed with whether it breaks data
** written with the old version.
*/
#include "tool.h"

#include <rkdd/kit.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <unistd.h>

namespace {

/* Standard input copied to a temporary file, which the import reads. */
struct StdinFile {
  std::string path;
  ~StdinFile() {
    if (!path.empty()) std::remove(path.c_str());
  }
  bool fill() {
    const char *dir = std::getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/rkdd-diff-XXXXXX";
    int fd = mkstemp(name.data());
    if (fd < 0) return false;
    path = name;
    std::string text((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    const char *at = text.data();
    size_t left = text.size();
    while (left > 0) {
      ssize_t n = write(fd, at, left);
      if (n <= 0) break;
      at += n;
      left -= size_t(n);
    }
    return close(fd) == 0 && left == 0 && !std::cin.bad();
  }
};

/* Imports one version and reports its diagnostics; its site, or -1 when it
** made none. *errors is set when the file has errors. */
int importVersion(const std::string &path, StdinFile &input, bool *errors) {
  std::string real = path;
  if (path == "-") {
    if (!input.fill()) {
      std::cerr << "rkdd: cannot read standard input\n";
      *errors = true;
      return -1;
    }
    real = input.path;
  }
  Loaded loaded = loadSchema(real, path == "-" ? STDIN_NAME : path);
  relayDiagnostics(loaded);
  *errors = *errors || failed(loaded);
  return loaded.site;
}

/* How an attribute reads in a line: a field's without its "field". */
std::string attrWord(int attr) {
  std::string word = kitAttrName(attr);
  if (attr >= KIT_FIELD_INDEX && attr <= KIT_FIELD_TAG_TYPE) {
    word.erase(0, 5);
    word[0] = char(word[0] - 'A' + 'a');
  }
  return word;
}

std::string shown(const char *text) { return *text ? text : "(none)"; }

std::string line(const kitChange &c, int cls) {
  std::string where = c.def;
  if (*c.field) where += std::string(".") + c.field;
  const char *kind = c.defKind == KIT_RECORD ? "record" : "data item";
  std::string what;
  switch (c.attr) {
  case KIT_ADDED: what = std::string(kind) + " added at code " + c.newText; break;
  case KIT_REMOVED: what = std::string(kind) + " removed from code " + c.oldText; break;
  case KIT_FIELD_ADDED: what = std::string("field added at slot ") + c.newText; break;
  case KIT_FIELD_REMOVED: what = std::string("field removed from slot ") + c.oldText; break;
  case KIT_NESTED_LAYOUT: what = std::string("layout of ") + c.newText + " changed"; break;
  default: what = attrWord(c.attr) + " " + shown(c.oldText) + " -> " + shown(c.newText);
  }
  return where + ": " + what + " (" + kitClassName(cls) + ")";
}

std::string summary(const kitDiff &d) {
  if (d.count == 0) return "no changes";
  return std::to_string(d.count) + (d.count == 1 ? " change: " : " changes: ") +
         std::to_string(d.breakingCount) + " breaking, " +
         std::to_string(d.count - d.breakingCount) + " compatible";
}

nlohmann::json document(const kitDiff &d, const std::string &oldFile,
                        const std::string &newFile, bool breakingOnly) {
  nlohmann::json changes = nlohmann::json::array();
  for (int i = 0; i < d.count; i++) {
    const kitChange &c = d.changes[i];
    if (breakingOnly && d.classes[i] != KIT_BREAKING) continue;
    changes.push_back({{"definition", c.def},
                       {"kind", c.defKind == KIT_RECORD ? "record" : "data"},
                       {"field", *c.field ? nlohmann::json(c.field) : nlohmann::json()},
                       {"attribute", kitAttrName(c.attr)},
                       {"old", c.oldText},
                       {"new", c.newText},
                       {"class", kitClassName(d.classes[i])}});
  }
  return {{"old", oldFile},
          {"new", newFile},
          {"changes", changes},
          {"breaking", d.breakingCount},
          {"compatible", d.count - d.breakingCount}};
}

} // namespace

int cmdDiff(const std::string &oldFile, const std::string &newFile, bool json,
            bool breakingOnly) {
  if (oldFile == "-" && newFile == "-") {
    std::cerr << "rkdd: only one of OLD and NEW can be standard input\n";
    return EXIT_USAGE;
  }
  std::vector<std::string> files;
  for (const std::string &f : {oldFile, newFile})
    if (f != "-") files.push_back(f);
  if (!openAll(files)) return EXIT_USAGE;

  /* Both are imported, so that the diagnostics of both are seen; a file
  ** with errors still gives what it can be compared by, and status 2. */
  StdinFile input;
  bool errors = false;
  int oldSite = importVersion(oldFile, input, &errors);
  int newSite = importVersion(newFile, input, &errors);
  if (oldSite < 0 || newSite < 0) return EXIT_USAGE;

  kitModel *oldModel = kitModelRead(oldSite), *newModel = kitModelRead(newSite);
  kitDiff *diff = kitDiffModels(oldModel, newModel);
  kitModelFree(oldModel);
  kitModelFree(newModel);
  if (diff == nullptr) {
    std::cerr << "rkdd: out of memory\n";
    return EXIT_USAGE;
  }
  if (json) {
    std::cout << document(*diff, oldFile, newFile, breakingOnly).dump(2) << "\n";
  } else {
    std::string text;
    for (int i = 0; i < diff->count; i++)
      if (!breakingOnly || diff->classes[i] == KIT_BREAKING)
        text += line(diff->changes[i], diff->classes[i]) + "\n";
    std::cout << text << summary(*diff) << "\n";
  }
  int status = errors ? EXIT_USAGE : diff->breakingCount > 0 ? EXIT_FAILED : EXIT_OK;
  kitDiffFree(diff);
  return std::cout.flush() ? status : EXIT_USAGE;
}
