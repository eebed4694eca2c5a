/*
** The layout command: one record's packed layout drawn as a C-like struct,
** a field per line with its byte range and size, nested records expanded in
** place (each once, where it first appears) and pointers marked.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <algorithm>
#include <iostream>
#include <set>

namespace {

struct Line {
  int depth;
  std::string decl;
  std::string note; /* empty for no comment */
};

/* Nested records are expanded this deep at most. */
const int kMaxDepth = 32;

std::string byteRange(long long offset, int size) {
  std::string r = std::to_string(offset);
  if (size > 1) r += ".." + std::to_string(offset + size - 1);
  return r;
}

std::string note(long long offset, int size, const std::string &extra) {
  char text[128];
  std::snprintf(text, sizeof text, "%-9s %4d", byteRange(offset, size).c_str(), size);
  std::string n = text;
  if (!extra.empty()) n += "  " + extra;
  return n;
}

/* Where a flag's or enumeration's value lies in its slot (kitFieldBits),
** with the stored bit position when that differs. */
std::string bitsNote(int low, int width, int bitPos) {
  std::string n = width == 1 ? "bit " + std::to_string(low)
                             : "bits " + std::to_string(low) + ".." + std::to_string(low + width - 1);
  return bitPos == low ? n : n + " (position " + std::to_string(bitPos) + ")";
}

std::string typeWord(int code) {
  const char *t = kitTagTypeName(ddGetTagType(code));
  return t ? t : "type " + std::to_string(ddGetTagType(code));
}

std::string arraySuffix(const kitField &f) {
  return f.arrayCount >= 2 ? std::string("[").append(std::to_string(f.arrayCount)).append("]") : "";
}

/* The walk through one record's layout: the records whose expansion is
** open, those expanded before, and the lines so far. A record held in line
** in many places is drawn in full where it first appears and by a line of
** its own after that, so that the lines grow with the site and not with
** the number of ways through it. */
struct Walk {
  const kitModel &model;
  std::vector<int> path;
  std::set<int> shown;
  std::vector<Line> lines;
};

/* A field drawn on one line: a pointer, a value, or a record not expanded. */
void flatField(Walk &w, const kitField &f, long long at, int depth, std::string extra) {
  std::string name = nameOf(f.code);
  if (f.kind == DD_KIND_POINTER) {
    std::string target = ddGetRSchema(f.code) ? "struct " + name : typeWord(f.code);
    if (ddGetSchema(f.code) == nullptr) target = "void";
    w.lines.push_back({depth, target + " *" + name + ";", note(at, f.size, "pointer")});
    return;
  }
  std::string type = f.inLine               ? "struct " + name
                     : ddGetSchema(f.code) ? typeWord(f.code)
                                           : "(no definition)";
  w.lines.push_back({depth, type + " " + name + arraySuffix(f) + ";", note(at, f.size, extra)});
}

void expand(Walk &w, int record, long long base, int depth) {
  w.path.push_back(record);
  w.shown.insert(record);
  for (const kitField &f : recordFields(w.model, record)) {
    long long at = base + f.offset;
    std::string name = nameOf(f.code);
    std::string extra = kitFieldProblemText(f.problem);
    int low = 0, width = 0;
    if (kitFieldBits(&w.model, &f, &low, &width))
      extra = bitsNote(low, width, f.bitPos);
    else if (f.bitPos != 0 && extra.empty())
      extra = "bit position " + std::to_string(f.bitPos);
    bool inPath = std::find(w.path.begin(), w.path.end(), f.code) != w.path.end();
    if (f.kind == DD_KIND_POINTER || !f.inLine || f.problem != KIT_FIELD_OK || inPath || depth >= kMaxDepth) {
      flatField(w, f, at, depth, extra);
      continue;
    }
    bool again = w.shown.count(f.code) != 0;
    std::string array = std::to_string(f.arrayCount) + " x " + std::to_string(ddGetLength(f.code));
    if (again) {
      flatField(w, f, at, depth, f.arrayCount >= 2 ? array + ", shown above" : "shown above");
      continue;
    }
    if (f.arrayCount >= 2) extra = array + ", first shown";
    if (ddGetFieldCount(f.code) == 0) {
      w.lines.push_back({depth, "struct " + name + " { } " + name + arraySuffix(f) + ";",
                         note(at, f.size, extra)});
      continue;
    }
    w.lines.push_back({depth, "struct " + name + " {", note(at, f.size, extra)});
    expand(w, f.code, at, depth + 1);
    w.lines.push_back({depth, "} " + name + arraySuffix(f) + ";", ""});
  }
  w.path.pop_back();
}

/* The record of the loaded site with this name, or with this code. */
int findRecord(const kitModel *model, const std::string &wanted) {
  for (int i = 0; model && i < model->recordCount; i++)
    if (nameOf(model->records[i].code) == wanted) return model->records[i].code;
  for (int i = 0; model && i < model->recordCount; i++)
    if (std::to_string(model->records[i].code) == wanted) return model->records[i].code;
  return 0;
}

} // namespace

int cmdLayout(const std::string &file, const std::string &recordName) {
  if (!openAll({file})) return EXIT_USAGE;
  Loaded loaded = loadSchema(file);
  relayDiagnostics(loaded);
  if (loaded.site < 0) return EXIT_FAILED;
  Model model = readModel(loaded.site);
  int record = findRecord(model.get(), recordName);
  if (record == 0) {
    std::cerr << "rkdd: " << loaded.path << " has no record " << recordName << "\n";
    return EXIT_FAILED;
  }

  std::string head = "code " + std::to_string(record) + ", " + typeWord(record);
  if (int level = ddGetIlevel(record)) {
    const char *l = kitLevelName(level);
    head += ", " + (l ? std::string(l) : "level " + std::to_string(level));
  }
  Walk walk{*model, {}, {}, {}};
  std::vector<Line> &lines = walk.lines;
  lines.push_back({0, "struct " + nameOf(record) + " {", head});
  expand(walk, record, 0, 1);
  lines.push_back({1, "/* size: " + std::to_string(ddGetLength(record)) + " bytes, " +
                        std::to_string(ddGetFieldCount(record)) + " fields */", ""});
  lines.push_back({0, "};", ""});

  size_t column = 40;
  for (const Line &l : lines)
    if (!l.note.empty()) column = std::max(column, 4 * l.depth + l.decl.size() + 2);
  for (const Line &l : lines) {
    std::string out = std::string(4 * l.depth, ' ') + l.decl;
    if (!l.note.empty()) out += std::string(column - out.size(), ' ') + "/* " + l.note + " */";
    std::cout << out << "\n";
  }
  return failed(loaded) ? EXIT_FAILED : EXIT_OK;
}
