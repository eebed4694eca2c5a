/*
** The outline of a schema text: structures and their members, lists, each
** record's structure, with places; one forward pass, as the reader reads.
*/
#include "lsp.h"

namespace {

bool isWhite(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

/* A cursor over the text that counts lines as it goes. */
struct Scan {
  std::string_view text;
  size_t at = 0, lineStart = 0;
  int line = 1;

  bool end() const { return at >= text.size(); }
  char peek() const { return end() ? '\0' : text[at]; }
  bool startsWith(std::string_view s) const { return text.substr(at).starts_with(s); }
  void step() {
    if (text[at] == '\n') line++, lineStart = at + 1;
    at++;
  }
  OutlineName here() const { return {"", line, static_cast<int>(at - lineStart) + 1}; }

  /* Passes a comment that starts here; false when none does. */
  bool comment() {
    if (startsWith("//")) {
      while (!end() && peek() != '\n') step();
    } else if (startsWith("/*")) {
      step(), step();
      while (!end() && !startsWith("*/")) step();
      if (!end()) step(), step();
    } else {
      return false;
    }
    return true;
  }
  void skipSpace() {
    while (!end()) {
      if (isWhite(peek()))
        step();
      else if (!comment())
        return;
    }
  }
  bool take(char c) {
    skipSpace();
    if (peek() != c) return false;
    step();
    return true;
  }
  /* A word: up to the next white space. */
  OutlineName word() {
    OutlineName w = here();
    size_t from = at;
    while (!end() && !isWhite(peek())) step();
    w.name = text.substr(from, at - from);
    return w;
  }
  /* A quoted string, kept with its quotes; a backslash takes the next character. */
  void quoted(std::string &out) {
    out += peek(), step();
    while (!end() && peek() != '"') {
      if (peek() == '\\') out += peek(), step();
      if (!end()) out += peek(), step();
    }
    if (!end()) out += peek(), step();
  }
  /* One list item, up to one of stops (left for the caller): its text
  ** without the blanks at either end, at the place of its first character. */
  OutlineName item(std::string_view stops) {
    OutlineName first = here();
    bool placed = false;
    while (!end() && stops.find(peek()) == std::string_view::npos) {
      if (comment()) continue;
      if (!placed && !isWhite(peek())) first = here(), placed = true;
      if (peek() == '"')
        quoted(first.name);
      else
        first.name += peek(), step();
    }
    while (!first.name.empty() && isWhite(first.name.back())) first.name.pop_back();
    return first;
  }
};

/* The items of a list in braces, dataDef and recordDef style. */
std::vector<OutlineName> braceList(Scan &s) {
  std::vector<OutlineName> items;
  if (!s.take('{')) return items;
  while (!s.end()) {
    items.push_back(s.item(",}"));
    if (s.peek() == '}') break;
    if (!s.end()) s.step(); /* the ',' */
  }
  if (!s.end()) s.step();
  return items;
}

/* The option key of an item: its leading capitals and digits. */
std::string keyOf(const std::string &item) {
  size_t n = 0;
  while (n < item.size() && ((item[n] >= 'A' && item[n] <= 'Z') || (item[n] >= '0' && item[n] <= '9'))) n++;
  return item.substr(0, n);
}

/* A body of statements ending in ';', as struct and the lists have; each
** statement's first item, with whether an option of it is SHARE or PAD. */
void statements(Scan &s, std::vector<OutlineMember> *members) {
  if (!s.take('{')) return;
  int field = 0;
  while (!s.take('}') && !s.end()) {
    OutlineMember m{s.item(",;}")};
    bool counted = true;
    while (s.peek() == ',') {
      s.step();
      std::string key = keyOf(s.item(",;}").name);
      if (key == "SHARE" || key == "PAD") counted = false;
    }
    if (s.peek() == ';') s.step();
    if (members == nullptr || m.at.name.empty()) continue;
    m.field = counted ? field++ : -1;
    members->push_back(std::move(m));
  }
}

void structCommand(Scan &s, Outline &out, OutlineName name) {
  if (s.take('(')) {
    while (!s.end() && s.peek() != ')') s.item(")");
    if (!s.end()) s.step();
  }
  OutlineStruct st{std::move(name), {}};
  statements(s, &st.members);
  out.structs.push_back(std::move(st));
}

} // namespace

Outline outlineOf(std::string_view text) {
  Outline out;
  Scan s{text};
  for (;;) {
    s.skipSpace();
    if (s.end()) break;
    std::string command = s.word().name;
    s.skipSpace();
    OutlineName name = s.word();
    if (name.name.empty()) break;
    if (command == "dataDef" || command == "recordDef") {
      std::vector<OutlineName> items = braceList(s);
      if (command == "recordDef" && items.size() >= 2) out.recordStructs.emplace_back(name.name, items[1].name);
    } else if (command == "struct") {
      structCommand(s, out, std::move(name));
    } else if (command == "parent" || command == "child" || command == "alias") {
      out.lists.push_back(std::move(name));
      out.listKinds.push_back(command);
      statements(s, nullptr);
    } else if (command == "describe") {
      if (s.take('{'))
        while (!s.end() && s.peek() != '}') s.step();
      if (!s.end()) s.step();
      continue; /* nothing may follow the '}' */
    } else if (command == "define") {
      s.skipSpace();
      s.word();
      continue;
    } else {
      break;
    }
    while (s.take(';')) {
    }
  }
  return out;
}
