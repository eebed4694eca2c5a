/*
** Loading schema files. The library's messages reach the tool through a
** message handler and are kept, one line each, as the diagnostics of the
** file being imported; the commands show them as they are asked to.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string_view>
#include <sys/stat.h>

namespace {

/* The library reads a schema in one forward pass through a stdio stream, so
** standard input is handed to it by name (a Linux path) rather than copied
** to a file first: an endless input is read no further than the library
** reads, and nothing lands on disk. */
std::string sourceOf(const std::string &arg) {
  return arg == STDIN_ARG ? "/dev/stdin" : arg;
}

} // namespace

bool canOpen(const std::string &arg, std::string *why) {
  std::string path = sourceOf(arg);
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    *why = std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    *why = std::strerror(EISDIR);
    return false;
  }
  std::FILE *f = std::fopen(path.c_str(), "r");
  if (f == nullptr) {
    *why = std::strerror(errno);
    return false;
  }
  std::fclose(f);
  return true;
}

/* Every file must open before any is imported, so that a mistyped name
** costs no half-printed output. */
bool openAll(const std::vector<std::string> &paths) {
  bool ok = true;
  for (const std::string &p : paths) {
    std::string why;
    if (!canOpen(p, &why)) {
      std::cerr << "rkdd: cannot open " << (p == STDIN_ARG ? STDIN_NAME : p) << ": " << why << "\n";
      ok = false;
    }
  }
  return ok;
}

namespace {

/* Where the handler puts messages: the diagnostics of the import at hand
** (none between imports) and the name of the file last loaded. */
std::vector<Diagnostic> *sink = nullptr;
std::string sinkPath = "rkdd";

/* The words the library's texts begin with; the severity travels apart. */
constexpr std::string_view kSeverityWords[] = {"ERROR: ", "WARNING: ", "Warning: ", "Note: "};

/* The text as one line: the severity word gone, every run of blanks that
** holds a line break or a tab made one blank, none at either end. */
std::string oneLine(std::string_view text) {
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  for (std::string_view word : kSeverityWords)
    if (text.starts_with(word)) {
      text.remove_prefix(word.size());
      break;
    }
  std::string out;
  for (size_t i = 0; i < text.size();) {
    size_t end = i;
    while (end < text.size() && blank(text[end])) end++;
    if (end == i) {
      out += text[i++];
      continue;
    }
    std::string_view run = text.substr(i, end - i);
    out += run.find_first_of("\t\n\r") == std::string_view::npos ? std::string(run) : " ";
    i = end;
  }
  return out;
}

void collect(const ddMessage *m, void *) {
  bool known = m->severity >= DD_MESSAGE_ERROR && m->severity <= DD_MESSAGE_NOTE;
  Diagnostic d{sinkPath, std::max(m->line, 0), std::max(m->column, 0),
               known ? m->severity : DD_MESSAGE_ERROR, m->id ? m->id : "",
               oneLine(m->text ? m->text : "")};
  if (sink == nullptr) {
    /* Queries after an import can still report on the site it made; they
    ** are shown at once, as the last file's, so that nothing reaches
    ** standard output. A place outside an import is no place in a file. */
    if (m->file == nullptr) d.line = d.column = 0;
    if (shown(d)) std::cerr << diagnosticLine(d) << "\n";
    return;
  }
  /* A suggestion belongs to the error just before it at the same place. */
  if (d.id == "did-you-mean" && !sink->empty()) {
    Diagnostic &last = sink->back();
    if (last.severity == DD_MESSAGE_ERROR && last.line == d.line && last.column == d.column) {
      last.message += "; " + d.message;
      return;
    }
  }
  sink->push_back(std::move(d));
}

} // namespace

Loaded loadSchema(const std::string &arg, const std::string &name) {
  Loaded loaded;
  loaded.path = !name.empty() ? name : arg == STDIN_ARG ? STDIN_NAME : arg;
  /* Installed once and kept: the library then never prints on standard output. */
  static const bool installed = (ddSetMessageHandler(collect, nullptr), true);
  (void)installed;
  sink = &loaded.diagnostics;
  sinkPath = loaded.path;
  int site = -1;
  loaded.imported = ddImportSchema(sourceOf(arg).c_str(), &site) != 0;
  sink = nullptr;
  if (site >= 0 && ddSiteNo2SiteInfo(site) != nullptr) loaded.site = site;

  auto isError = [](const Diagnostic &d) { return d.severity == DD_MESSAGE_ERROR; };
  if (!loaded.imported && std::none_of(loaded.diagnostics.begin(), loaded.diagnostics.end(), isError))
    loaded.diagnostics.push_back({loaded.path, 0, 0, DD_MESSAGE_ERROR, "import-failed", "import failed"});
  return loaded;
}
