/*
** Loading schema files. The library prints its diagnostics on standard
** output; an import runs with descriptor 1 turned to a temporary file so
** that the tool's own output stays clean and the diagnostics can be relayed.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

bool quietWarnings = false;

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

/* Splits captured text into diagnostics. A line that begins with a blank
** continues the one before it; empty lines carry nothing. Quiet, warnings
** (and what continues them) are dropped. */
std::vector<std::string> splitDiagnostics(const std::string &text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find_first_of("\r\n", start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos) continue;
    if (first > 0 && !lines.empty())
      lines.back().append(" ").append(line, first, std::string::npos);
    else
      lines.push_back(line.substr(first));
  }
  if (quietWarnings)
    std::erase_if(lines, [](const std::string &l) { return l.rfind("WARNING", 0) == 0; });
  return lines;
}

} // namespace

Loaded loadSchema(const std::string &arg) {
  Loaded loaded;
  loaded.path = arg == STDIN_ARG ? STDIN_NAME : arg;
  std::string path = sourceOf(arg);
  std::cout.flush();
  std::fflush(stdout);
  std::FILE *capture = std::tmpfile();
  int saved = capture ? dup(1) : -1;
  bool turned = saved >= 0 && dup2(fileno(capture), 1) >= 0;
  if (!turned) {
    /* No place to hold the diagnostics: the import still runs, with the
    ** diagnostics sent where the tool's errors go. */
    if (saved >= 0) close(saved);
    saved = dup(1);
    if (saved >= 0) dup2(2, 1);
  }

  int site = -1;
  loaded.imported = ddImportSchema(path.c_str(), &site) != 0;
  if (site >= 0 && ddSiteNo2SiteInfo(site) != nullptr) loaded.site = site;

  std::fflush(stdout);
  if (saved >= 0) {
    dup2(saved, 1);
    close(saved);
  }
  if (capture != nullptr) {
    std::string text;
    if (turned) {
      std::rewind(capture);
      char chunk[4096];
      size_t n;
      while ((n = std::fread(chunk, 1, sizeof chunk, capture)) > 0) text.append(chunk, n);
    }
    std::fclose(capture);
    loaded.diagnostics = splitDiagnostics(text);
  }
  return loaded;
}

/* Writes the diagnostics to standard error, each behind the file's name. */
void relayDiagnostics(const Loaded &loaded) {
  for (const std::string &d : loaded.diagnostics) std::cerr << loaded.path << ": " << d << "\n";
  if (!loaded.imported) std::cerr << loaded.path << ": import failed\n";
}
