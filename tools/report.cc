/*
** How diagnostics are shown: filtered by -q, -v and --werror, as the one-line
** form compilers use (which editors and CI annotate), as JSON objects, and
** as a SARIF log that code-scanning services take in.
*/
#include "tool.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <iostream>

using Json = nlohmann::ordered_json;

Reporting reporting;

namespace {

/* Indexed by DD_MESSAGE_ERROR, _WARNING and _NOTE; the SARIF levels are the same words. */
constexpr const char *kSeverityNames[] = {"error", "error", "warning", "note"};

bool counted(const Diagnostic &d) {
  return d.severity == DD_MESSAGE_ERROR || (reporting.werror && d.severity == DD_MESSAGE_WARNING);
}

/* A path as a URI reference: every byte but the unreserved ones and '/'
** percent-encoded (so "<stdin>" and a ':' in a name stay valid); an
** absolute path becomes a file URI. */
std::string uriOf(const std::string &path) {
  static const char hex[] = "0123456789ABCDEF";
  std::string uri = path.starts_with('/') ? "file://" : "";
  for (unsigned char c : path) {
    if (std::isalnum(c) || std::string_view("-._~/").find(char(c)) != std::string_view::npos) {
      uri += char(c);
    } else {
      uri += '%';
      uri += hex[c >> 4];
      uri += hex[c & 15];
    }
  }
  return uri;
}

/* A rule's one-line description, from its id: "unknown-option" is "Unknown option". */
std::string ruleText(const std::string &id) {
  std::string text = id;
  std::replace(text.begin(), text.end(), '-', ' ');
  if (!text.empty()) text[0] = char(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

} // namespace

bool shown(const Diagnostic &d) {
  return counted(d) || (d.severity == DD_MESSAGE_WARNING && !reporting.quiet) ||
         (d.severity == DD_MESSAGE_NOTE && reporting.verbose);
}

bool failed(const Loaded &loaded) {
  return !loaded.imported || std::any_of(loaded.diagnostics.begin(), loaded.diagnostics.end(), counted);
}

std::string diagnosticLine(const Diagnostic &d) {
  std::string line = d.file;
  if (d.line > 0) line += ":" + std::to_string(d.line);
  if (d.line > 0 && d.column > 0) line += ":" + std::to_string(d.column);
  line += std::string(": ") + kSeverityNames[d.severity] + ": " + d.message;
  return d.id.empty() ? line : line + " [" + d.id + "]";
}

void relayDiagnostics(const Loaded &loaded) {
  std::string text;
  for (const Diagnostic &d : loaded.diagnostics)
    if (shown(d)) text += diagnosticLine(d) + "\n";
  std::cerr << text;
}

Json diagnosticsJson(const std::vector<Diagnostic> &list) {
  Json all = Json::array();
  for (const Diagnostic &d : list)
    if (shown(d))
      all.push_back({{"file", d.file},
                     {"line", d.line > 0 ? Json(d.line) : Json(nullptr)},
                     {"column", d.line > 0 && d.column > 0 ? Json(d.column) : Json(nullptr)},
                     {"severity", kSeverityNames[d.severity]},
                     {"id", d.id.empty() ? Json(nullptr) : Json(d.id)},
                     {"message", d.message}});
  return all;
}

Json sarifLog(const std::vector<Diagnostic> &list) {
  Json rules = Json::array(), results = Json::array();
  std::vector<std::string> ids; /* rules[i] is ids[i] */
  for (const Diagnostic &d : list) {
    if (!shown(d)) continue;
    std::string id = d.id.empty() ? "rkdd" : d.id;
    size_t index = std::find(ids.begin(), ids.end(), id) - ids.begin();
    if (index == ids.size()) {
      ids.push_back(id);
      rules.push_back({{"id", id},
                       {"shortDescription", {{"text", ruleText(id)}}},
                       {"defaultConfiguration", {{"level", kSeverityNames[d.severity]}}}});
    }
    Json where = {{"artifactLocation", {{"uri", uriOf(d.file)}}}};
    if (d.line > 0) {
      where["region"] = {{"startLine", d.line}};
      if (d.column > 0) where["region"]["startColumn"] = d.column;
    }
    results.push_back({{"ruleId", id},
                       {"ruleIndex", index},
                       {"level", kSeverityNames[d.severity]},
                       {"message", {{"text", d.message}}},
                       {"locations", Json::array({Json{{"physicalLocation", where}}})}});
  }
  Json driver = {{"name", "rkdd"},
                 {"version", RKDD_VERSION},
                 {"rules", rules}};
  return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
          {"version", "2.1.0"},
          {"runs", Json::array({Json{{"tool", {{"driver", driver}}}, {"results", results}}})}};
}
