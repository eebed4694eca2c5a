/*
** What the language server answers about a document from its last analysis
** (diagnostics, hover, definition, symbols, completion), and positions.
*/
#include "lsp.h"

#include <rkdd/keywords.h>

#include <algorithm>

/* Positions count UTF-16 units by default, bytes when the client takes
** utf-8; lines are 0-based. The library counts bytes on 1-based lines. */
bool lspUtf8 = false;

namespace {

/* Lines end at '\n', as the library counts them; a '\r' before it is part of the end. */
std::string_view lineText(const Document &doc, size_t line) {
  if (line >= doc.lineStarts.size()) return {};
  size_t from = doc.lineStarts[line];
  size_t to = line + 1 < doc.lineStarts.size() ? doc.lineStarts[line + 1] - 1 : doc.text.size();
  if (to > from && doc.text[to - 1] == '\r') to--;
  return std::string_view(doc.text).substr(from, to - from);
}

/* UTF-16 units of the bytes of a line: a four-byte sequence is two. */
int unitsOf(std::string_view bytes) {
  if (lspUtf8) return static_cast<int>(bytes.size());
  int units = 0;
  for (unsigned char c : bytes)
    if ((c & 0xC0) != 0x80) units += c >= 0xF0 ? 2 : 1;
  return units;
}

/* The protocol's position of a 1-based line and byte column. */
Json positionOf(const Document &doc, int line, int column) {
  if (line <= 0) return {{"line", 0}, {"character", 0}};
  std::string_view text = lineText(doc, static_cast<size_t>(line - 1));
  size_t bytes = std::min(text.size(), static_cast<size_t>(std::max(column - 1, 0)));
  return {{"line", line - 1}, {"character", unitsOf(text.substr(0, bytes))}};
}

} // namespace

size_t offsetAt(const Document &doc, const Json &position) {
  long long line = position.value("line", -1LL), character = position.value("character", 0LL);
  if (line < 0 || static_cast<size_t>(line) >= doc.lineStarts.size()) return doc.text.size();
  std::string_view text = lineText(doc, static_cast<size_t>(line));
  size_t at = 0;
  for (long long units = 0; at < text.size() && units < character; at++) {
    unsigned char c = static_cast<unsigned char>(text[at]);
    if (lspUtf8 || (c & 0xC0) != 0x80) units += !lspUtf8 && c >= 0xF0 ? 2 : 1;
    if (units > character) break;
  }
  while (!lspUtf8 && at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) at++;
  return doc.lineStarts[static_cast<size_t>(line)] + at;
}

namespace {

/* The 1-based line and byte column of an offset. */
std::pair<int, int> lineColumnOf(const Document &doc, size_t offset) {
  auto after = std::upper_bound(doc.lineStarts.begin(), doc.lineStarts.end(), offset);
  size_t line = static_cast<size_t>(after - doc.lineStarts.begin());
  return {static_cast<int>(line), static_cast<int>(offset - doc.lineStarts[line - 1] + 1)};
}

bool isNameChar(char c) {
  return std::string_view(" \t\r\n\v\f{}(),;=\"").find(c) == std::string_view::npos;
}

/* The name around offset (or just before it), as [from, to). */
std::pair<size_t, size_t> wordAround(const std::string &text, size_t offset) {
  size_t from = std::min(offset, text.size()), to = from;
  while (from > 0 && isNameChar(text[from - 1])) from--;
  while (to < text.size() && isNameChar(text[to])) to++;
  return {from, to};
}

Json rangeOf(const Document &doc, int line, int column, size_t length) {
  return {{"start", positionOf(doc, line, column)},
          {"end", positionOf(doc, line, column + static_cast<int>(std::max<size_t>(length, 1)))}};
}

/* One list of an analysis; empty when the analysis has none (a failed one). */
const Json &listOf(const Json &analysis, const char *key) {
  static const Json empty = Json::array();
  auto it = analysis.find(key);
  return it != analysis.end() && it->is_array() ? *it : empty;
}

std::string str(const Json &j) { return j.is_string() ? j.get<std::string>() : ""; }

const Json *named(const Json &list, const std::string &name) {
  for (const Json &item : list)
    if (item.value("name", Json()) == name) return &item;
  return nullptr;
}

/* What is named at offset: the word, its place, and the member of a structure it is, if any. */
struct Target {
  std::string word;
  int line = 0, column = 0;
  const Json *member = nullptr;
};

Target targetAt(const Document &doc, const Json &position) {
  auto [from, to] = wordAround(doc.text, offsetAt(doc, position));
  Target t{doc.text.substr(from, to - from)};
  if (t.word.empty()) return t;
  std::tie(t.line, t.column) = lineColumnOf(doc, from);
  for (const Json &s : listOf(doc.analysis, "structs"))
    for (const Json &m : s["members"])
      if (m.value("line", 0) == t.line && m.value("column", 0) == t.column) t.member = &m;
  return t;
}

std::string quoted(const Json &text) { return text.is_string() ? "`" + text.get<std::string>() + "`" : "none"; }

std::string lengthText(const Json &d) {
  int length = d.value("length", 0);
  bool bits = d.value("type", Json()) == "rktype_flag";
  return std::to_string(length) + (bits ? length == 1 ? " bit" : " bits" : length == 1 ? " byte" : " bytes");
}

std::string recordText(const Json &d) {
  std::string text = "**" + d.value("name", std::string()) + "**: record, " + quoted(d["type"]);
  if (!d["level"].is_null()) text += ", level " + (d["level"].is_string() ? quoted(d["level"]) : d["level"].dump());
  text += "\n\npacked length " + lengthText(d) + ", " + std::to_string(d.value("fieldCount", 0)) + " fields";
  if (d.value("arrayCount", 1) > 1) text += ", array of " + std::to_string(d.value("arrayCount", 1));
  return text;
}

std::string dataText(const Json &d) {
  std::string text = "**" + d.value("name", std::string()) + "**: data item, " + quoted(d["type"]) + ", " + lengthText(d);
  if (d.value("arrayCount", 1) > 1) text += ", array of " + std::to_string(d.value("arrayCount", 1));
  if (d.contains("range")) text += "\n\nrange " + d["range"][0].get<std::string>() + " to " + d["range"][1].get<std::string>();
  if (d.contains("default")) text += (d.contains("range") ? ", default " : "\n\ndefault ") + d["default"].get<std::string>();
  return text;
}

std::string definitionText(const Json &d) {
  std::string text = d.value("kind", std::string()) == "record" ? recordText(d) : dataText(d);
  if (d["label"].is_string()) text += "\n\nlabel " + d["label"].get<std::string>();
  if (d["description"].is_string()) text += "\n\n" + d["description"].get<std::string>();
  return text;
}

std::string memberText(const Json &m) {
  if (m.contains("leftOut")) return "left out of the fields of a record (SHARE, PAD)";
  if (!m.contains("offset")) return "no record is built on this structure";
  std::string text = "in record `" + m["record"].get<std::string>() + "`: offset " + m["offset"].dump() +
                     ", size " + m["size"].dump();
  if (m.contains("bit")) text += ", bit " + m["bit"].dump();
  if (m.value("kind", std::string()) != "data") text += " (" + m["kind"].get<std::string>() + ")";
  return text;
}

std::string namedText(const Json &analysis, const std::string &word) {
  if (const Json *d = named(listOf(analysis, "definitions"), word)) return definitionText(*d);
  if (const Json *s = named(listOf(analysis, "structs"), word)) {
    std::string text = "**" + word + "**: structure of " + std::to_string((*s)["members"].size()) + " members";
    for (const Json &r : (*s)["records"]) text += (&r == &(*s)["records"][0] ? "; records " : ", ") + quoted(r);
    return text;
  }
  if (const Json *l = named(listOf(analysis, "lists"), word)) return "**" + word + "**: " + (*l)["kind"].get<std::string>() + " list";
  return "";
}

} // namespace

void setText(Document &doc, std::string text) {
  doc.text = std::move(text);
  doc.lineStarts.assign(1, 0);
  for (size_t i = 0; i < doc.text.size(); i++)
    if (doc.text[i] == '\n') doc.lineStarts.push_back(i + 1);
  doc.lineStarts.shrink_to_fit();
}

Json diagnosticsOf(const Document &doc) {
  Json all = Json::array();
  for (const Json &m : listOf(doc.analysis, "messages")) {
    int line = m.value("line", 0), column = std::max(m.value("column", 1), 1);
    size_t length = 1;
    if (line > 0 && static_cast<size_t>(line) <= doc.lineStarts.size()) {
      size_t at = doc.lineStarts[static_cast<size_t>(line - 1)] + static_cast<size_t>(column - 1);
      auto [from, to] = wordAround(doc.text, std::min(at, doc.text.size()));
      if (from == at && to > at) length = to - at;
    }
    int severity = std::clamp(m.value("severity", 1), 1, 3);
    all.push_back({{"range", rangeOf(doc, line, column, line > 0 ? length : 0)}, {"severity", severity},
                   {"code", m.value("id", std::string())}, {"source", "rkdd"},
                   {"message", m.value("message", std::string())}});
  }
  return all;
}

Json hoverAt(const Document &doc, const Json &position) {
  Target t = targetAt(doc, position);
  if (t.word.empty()) return nullptr;
  std::string text = namedText(doc.analysis, t.word);
  if (t.member != nullptr) text += (text.empty() ? "" : "\n\n") + memberText(*t.member);
  if (text.empty()) return nullptr;
  return {{"contents", {{"kind", "markdown"}, {"value", text}}}, {"range", rangeOf(doc, t.line, t.column, t.word.size())}};
}

Json definitionAt(const Document &doc, const Json &position, const std::string &uri) {
  Target t = targetAt(doc, position);
  for (const char *list : {"definitions", "structs", "lists"})
    if (const Json *d = t.word.empty() ? nullptr : named(listOf(doc.analysis, list), t.word))
      if (d->value("line", 0) > 0)
        return {{"uri", uri}, {"range", rangeOf(doc, (*d)["line"], (*d)["column"], t.word.size())}};
  return nullptr;
}

Json symbolsOf(const Document &doc) {
  Json all = Json::array();
  auto symbol = [&](const Json &d, int kind, const std::string &detail) {
    Json range = rangeOf(doc, d.value("line", 0), d.value("column", 0), d.value("name", std::string()).size());
    return Json{{"name", d["name"]}, {"detail", detail}, {"kind", kind}, {"range", range}, {"selectionRange", range}};
  };
  for (const Json &d : listOf(doc.analysis, "definitions"))
    if (d.value("line", 0) > 0 && d["name"].is_string()) {
      bool record = d["kind"] == "record";
      all.push_back(symbol(d, record ? 5 : 8, (record ? "recordDef " : "dataDef ") + str(d["type"])));
    }
  for (const Json &s : listOf(doc.analysis, "structs")) {
    Json st = symbol(s, 23, "struct"), members = Json::array();
    for (const Json &m : s["members"]) members.push_back(symbol(m, 8, memberText(m)));
    st["children"] = members;
    all.push_back(st);
  }
  for (const Json &l : listOf(doc.analysis, "lists")) all.push_back(symbol(l, 18, str(l["kind"])));
  std::sort(all.begin(), all.end(), [](const Json &a, const Json &b) {
    return std::make_pair(a["range"]["start"]["line"].get<int>(), a["range"]["start"]["character"].get<int>()) <
           std::make_pair(b["range"]["start"]["line"].get<int>(), b["range"]["start"]["character"].get<int>());
  });
  return all;
}

namespace {
constexpr const char *kCommands[] = {"dataDef", "recordDef", "struct", "parent", "child", "alias", "describe", "define"};
constexpr const char *kOptions[] = {"LEN", "ACNT", "DEF", "MIN", "MAX", "KEY", "NODISP", "NOEDIT", "NOSEARCH",
                                    "LABEL", "MSG", "SITE", "VER", "XCODE", "ENUM", "LEV", "PARENT", "CHILD",
                                    "ALIAS", "PREFIX", "PTR", "BIT", "OFF", "FN", "SHARE", "PAD", "SN", "UN"};
#define LSP_TAG_TYPE(number, lower, upper, length, sized) lower, upper,
constexpr const char *kTagTypes[] = {RKDD_TAG_TYPES(LSP_TAG_TYPE) "rkNULL"};
#undef LSP_TAG_TYPE
#define LSP_LEVEL(number, keyword) keyword,
constexpr const char *kLevels[] = {RKDD_FORMAT_LEVELS(LSP_LEVEL)};
#undef LSP_LEVEL
} // namespace

Json completionAt(const Document &doc, const Json &position) {
  size_t at = offsetAt(doc, position);
  auto [from, to] = wordAround(doc.text, at);
  std::string prefix = doc.text.substr(from, at - from);
  Json items = Json::array();
  auto add = [&](const std::string &label, int kind, const char *detail) {
    if (label.starts_with(prefix)) items.push_back({{"label", label}, {"kind", kind}, {"detail", detail}});
  };
  for (const char *w : kCommands) add(w, 14, "command");
  for (const char *w : kOptions) add(w, 10, "option");
  for (const char *w : kTagTypes) add(w, 20, "tag type");
  for (const char *w : kLevels) add(w, 21, "format level");
  for (const Json &d : listOf(doc.analysis, "definitions"))
    if (d["name"].is_string()) add(str(d["name"]), d["kind"] == "record" ? 7 : 5, d["kind"] == "record" ? "record" : "data item");
  for (const Json &s : listOf(doc.analysis, "structs")) add(str(s["name"]), 22, "structure");
  for (const Json &l : listOf(doc.analysis, "lists")) add(str(l["name"]), 12, "list");
  return {{"isIncomplete", false}, {"items", items}};
}
