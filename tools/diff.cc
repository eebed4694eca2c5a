/*
** The diff command: two versions of a schema imported as two sites, their
** models compared, and each change printed with whether it breaks data
** written with the old version.
*/
#include "tool.h"

#include <rkdd/kit.h>

#include <nlohmann/json.hpp>

#include <algorithm>
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
  case KIT_RENAMED: what = std::string(kind) + " renamed from " + c.oldText; break;
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

using Json = nlohmann::ordered_json;

/* The parts of a text of kitCompare that stand between ", ". */
Json listJson(const std::string &text) {
  Json list = Json::array();
  for (size_t start = 0; !text.empty() && start <= text.size();) {
    size_t end = std::min(text.find(", ", start), text.size());
    list.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  return list;
}

/* An old or new value as JSON: numbers as numbers, yes-or-no attributes as
** booleans, lists as arrays, a range as {min, max}, and null where the
** definition has none. */
Json valueJson(int attr, const std::string &text) {
  auto whole = [&](Json otherwise) {
    char *end = nullptr;
    long long n = std::strtoll(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' ? Json(n) : otherwise;
  };
  auto real = [](const std::string &t) { return floatJson(std::strtof(t.c_str(), nullptr)); };
  switch (attr) {
  case KIT_DISPLAY: case KIT_EDIT: case KIT_SEARCH: case KIT_PACKED: case KIT_ENUM:
    return text != "0";
  case KIT_PARENTS: case KIT_CHILDREN: case KIT_ALIASES: return listJson(text);
  case KIT_DEFAULT: return text == "none" ? Json(nullptr) : real(text);
  case KIT_RANGE: {
    size_t dots = text.find(" .. ");
    if (dots == std::string::npos) return nullptr;
    return {{"min", real(text.substr(0, dots))}, {"max", real(text.substr(dots + 4))}};
  }
  case KIT_LABEL: case KIT_DESC: case KIT_XCODE: case KIT_EXTENDS: case KIT_PREFIX:
  case KIT_DEFAULT_TEXT: case KIT_TAG_TYPE: case KIT_FIELD_TAG_TYPE: case KIT_FIELD_KIND:
  case KIT_NESTED_LAYOUT: case KIT_RENAMED:
    return text == "(none)" ? Json(nullptr) : Json(text);
  default: return whole(nullptr);
  }
}

Json document(const kitDiff &d, const std::string &oldFile, const std::string &newFile,
              bool breakingOnly) {
  Json changes = Json::array();
  for (int i = 0; i < d.count; i++) {
    const kitChange &c = d.changes[i];
    if (breakingOnly && d.classes[i] != KIT_BREAKING) continue;
    changes.push_back({{"definition", c.def},
                       {"kind", c.defKind == KIT_RECORD ? "record" : "data"},
                       {"field", *c.field ? Json(c.field) : Json(nullptr)},
                       {"attribute", kitAttrName(c.attr)},
                       {"old", valueJson(c.attr, c.oldText)},
                       {"new", valueJson(c.attr, c.newText)},
                       {"class", kitClassName(d.classes[i])}});
  }
  return {{"format", JSON_FORMAT},
          {"old", oldFile},
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
  ** with errors is not what its author meant, so nothing is compared. */
  StdinFile input;
  bool errors = false;
  int oldSite = importVersion(oldFile, input, &errors);
  int newSite = importVersion(newFile, input, &errors);
  if (errors || oldSite < 0 || newSite < 0) return EXIT_USAGE;

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
  int status = diff->breakingCount > 0 ? EXIT_FAILED : EXIT_OK;
  kitDiffFree(diff);
  return std::cout.flush() ? status : EXIT_USAGE;
}
