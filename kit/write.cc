/*
** Writing a model as schema text: data items, then records with their
** structures, lists and descriptions, in code order so that an import gives
** every definition its code again. Texts are checked against the rules by
** which the reader takes them apart; what no text can say is warned about.
*/
#include <rkdd/keywords.h>
#include <rkdd/kit.h>

#include "schematext.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

/* Limits of the reader (rkdd/keywords.h): one word or list item, and a
** describe text. */
constexpr size_t kItemMax = RKDD_WORD_MAX;
constexpr size_t kTextMax = RKDD_TEXT_MAX;
/* Where a line of options is wrapped. */
constexpr size_t kLineWidth = 96;
/* Names are padded to this width at most, so that lists line up. */
constexpr size_t kPadMax = 20;

/* The reader's character sets; the terminator of each set is no member. */
bool inSet(int c, const char *set) { return c != 0 && std::strchr(set, c) != nullptr; }
bool isBlank(int c) { return inSet(c, RKDD_BLANKS); }
bool isWhite(int c) { return inSet(c, RKDD_WHITE); }

/* The item that the list reader makes of text followed by the terminator
** term, or nothing when the text would not end as one item there (a
** separator, an unclosed quote, a '/' that begins a comment or an error). */
std::optional<std::string> readItem(std::string_view text, char sep, char term) {
  std::string item;
  size_t i = 0, n = text.size();
  auto at = [&](size_t k) { return k < n ? text[k] : term; };
  for (;;) {
    while (i < n && !inSet(text[i], RKDD_ITEM_STOPS) && text[i] != sep && text[i] != term)
      item += text[i++];
    if (at(i) == '=') item += text[i++];
    if (at(i) == '"') {
      item += text[i++];
      for (;;) {
        if (i >= n) return std::nullopt;
        char c = text[i++];
        item += c;
        if (c == '"') break;
        if (c == '\\') {
          while (i < n && isWhite(static_cast<unsigned char>(text[i]))) i++;
          if (i >= n) return std::nullopt;
          item += text[i++];
        }
      }
    }
    while (i < n && isBlank(static_cast<unsigned char>(text[i]))) i++;
    if (i < n && text[i] == '/') return std::nullopt;
    if (i >= n) break;
    if (text[i] == sep || text[i] == term) return std::nullopt;
  }
  while (!item.empty() && isBlank(static_cast<unsigned char>(item.back()))) item.pop_back();
  size_t first = 0;
  while (first < item.size() && isBlank(static_cast<unsigned char>(item[first]))) first++;
  return item.substr(first);
}

/* A word in a command's place: what "%s" reads back whole. */
bool sayableWord(std::string_view name) {
  if (name.empty() || name.size() > kItemMax || name[0] == '/') return false;
  for (unsigned char c : name)
    if (isWhite(c)) return false;
  return true;
}

/* A name as a list item: a member statement, a list entry, or a recordDef's
** structure name. */
bool sayableItem(std::string_view name, char sep, char term) {
  if (!sayableWord(name) || name[0] == '}') return false;
  std::optional<std::string> item = readItem(name, sep, term);
  return item && *item == name;
}

/* KEY=value as an option whose value reads back as value. */
bool sayableOption(const std::string &key, std::string_view value) {
  std::string text = key + "=" + std::string(value);
  if (value.empty()) text = key; /* a key alone gives the empty value */
  if (text.size() > kItemMax) return false;
  if (!value.empty() && (value[0] == '=' || isBlank(static_cast<unsigned char>(value[0]))))
    return false;
  std::optional<std::string> item = readItem(text, ',', '}');
  return item && *item == text;
}

bool sayableDescribe(std::string_view text) {
  return !text.empty() && text.size() <= kTextMax && text.find('}') == std::string_view::npos &&
         !isBlank(static_cast<unsigned char>(text[0])) && text[0] != '/';
}

bool holdsBits(const kitField &f) {
  return f.holdsData && (f.tagType == MTYPE_FLAG || f.tagType == MTYPE_ENUM);
}

class Writer {
public:
  Writer(const kitModel &model, FILE *warnings) : m_(model), warnings_(warnings) {}

  std::string run() {
    chooseNames();
    markEnums();
    size_t fields = 0;
    for (int i = 0; i < m_.recordCount; i++) fields += static_cast<size_t>(m_.records[i].fieldCount);
    out_.reserve(fields * 24 + static_cast<size_t>(m_.recordCount + m_.dataCount) * 160);
    out_ = "// Schema text written by rkdd export.\n";
    writeData();
    writeRecords();
    return out_;
  }

  int lost = 0;

private:
  void warn(const char *format, ...) __attribute__((format(printf, 2, 3))) {
    lost++;
    if (warnings_ == nullptr) return;
    va_list args;
    va_start(args, format);
    std::fputs("kit: ", warnings_);
    std::vfprintf(warnings_, format, args);
    std::fputc('\n', warnings_);
    va_end(args);
  }

  std::string unique(const std::string &wanted, std::set<std::string> &taken) {
    std::string name = wanted;
    while (taken.count(name)) name += "_";
    taken.insert(name);
    return name;
  }

  /* A name for every definition: its own where the text can carry it. */
  void chooseNames() {
    std::set<std::string> taken;
    auto choose = [&](const kitDef &d) {
      std::string local = std::to_string(d.local);
      std::string name;
      if (d.name == nullptr || !sayableWord(d.name)) {
        name = unique("_code" + local, taken);
        warn("%s %s: %s, written as %s", kindWord(d), local.c_str(),
             d.name ? "its name cannot stand in schema text" : "it has no name", name.c_str());
      } else if (taken.count(d.name)) {
        name = unique(std::string(d.name) + "_" + local, taken);
        warn("%s %s: the name %s is taken already, written as %s", kindWord(d), local.c_str(),
             d.name, name.c_str());
      } else {
        name = unique(d.name, taken);
      }
      bool item = sayableItem(name, ',', ';');
      names_[d.code] = {std::move(name), item};
    };
    for (int i = 0; i < m_.dataCount; i++) choose(m_.data[i]);
    for (int i = 0; i < m_.recordCount; i++) choose(m_.records[i]);
    /* Empty slots get placeholders, and a link to code 0 a name that
    ** nothing defines, which reads back as code 0. */
    auto gaps = [&](const kitDef *defs, int count, int next) {
      for (int i = 0; i < count; next = defs[i++].local + 1)
        for (; next < defs[i].local; next++)
          names_[m_.site * RKDD_CODE_SPAN + next] = {unique("_gap" + std::to_string(next), taken), true};
    };
    gaps(m_.data, m_.dataCount, m_.dataBase);
    gaps(m_.records, m_.recordCount, m_.recordBase);
    none_ = unique("_none", taken);
    /* Structures and lists live in name spaces of their own, one per kind;
    ** each record's are named after it where that name can be an item. */
    std::set<std::string> structs, lists;
    for (int i = 0; i < m_.recordCount; i++) {
      const kitDef &r = m_.records[i];
      const std::string &name = this->name(r);
      bool plain = sayableItem(name, ',', '}') && name != "rkNULL" && name != "RK_NULL" &&
                   sayableOption("PARENT", name) && sayableOption("CHILD", name) &&
                   sayableOption("ALIAS", name);
      std::string base = plain ? name : "_r" + std::to_string(r.local);
      structNames_[r.code] = unique(base, structs);
      listNames_[r.code] = unique(base, lists);
    }
  }

  /* A flag or enum member that the reader numbered as part of an
  ** enumeration's word has a bit position of 8 or more, which it cannot get
  ** otherwise: the item it holds is written with ENUM. The width of an
  ** enumeration, which the store does not keep, is what the layouts tell. */
  void markEnums() {
    for (int i = 0; i < m_.recordCount; i++) {
      const kitDef &r = m_.records[i];
      for (int k = 0; k < r.fieldCount; k++) {
        const kitField &f = r.fields[k];
        if (holdsBits(f) && f.site == m_.site && f.bitPos >= 8) enums_.insert(f.code);
      }
    }
    std::vector<int32_t> widths(static_cast<size_t>(m_.dataCount));
    kitBitWidths(&m_, widths.data());
    for (int i = 0; i < m_.dataCount; i++)
      if (m_.data[i].tagType == MTYPE_ENUM) enumWidths_.emplace(m_.data[i].code, widths[size_t(i)]);
  }

  /* The bytes the packed layout gives a slot, or -1 when the model cannot
  ** tell (what it holds lies in another site). */
  int packedSize(const kitField &f) {
    if (f.kind == DD_KIND_POINTER) return 4;
    if (f.kind != DD_KIND_DC && f.kind != DD_KIND_STRUCTURE) return 0;
    const kitDef *held = f.site == m_.site ? kitFindCode(&m_, f.code) : nullptr;
    if (held == nullptr) return f.problem == KIT_FIELD_UNRESOLVED ? 0 : -1;
    if (held->kind == KIT_DATA && held->tagType == MTYPE_FLAG) return 1;
    uint32_t n = static_cast<uint32_t>(held->length);
    return static_cast<int>(held->arrayCount >= 2 ? n * static_cast<uint32_t>(held->arrayCount) : n);
  }

  /* A packed record whose offsets and length are not those of its fields
  ** laid one after another: set by hand, or not laid out yet. */
  bool laidOutByHand(const kitDef &r) {
    if (!r.packed) return false;
    if (r.fieldCount == 0) return r.length != 0;
    if (r.fields[0].offset != 0) return true;
    for (int k = 0; k < r.fieldCount; k++) {
      const kitField &f = r.fields[k];
      if (f.problem == KIT_FIELD_CYCLE || f.problem == KIT_FIELD_TOO_LONG) return false;
      int size = packedSize(f);
      if (size >= 0 && size != f.size) return true;
    }
    return false;
  }

  static const char *kindWord(const kitDef &d) { return d.kind == KIT_RECORD ? "record" : "data item"; }

  /* The name a reference is written with, or null when it names nothing in
  ** the site or the name cannot stand as an item there. */
  const std::string *refName(int code, int site) {
    if (site != m_.site) return nullptr;
    auto it = names_.find(code);
    return it != names_.end() && it->second.item ? &it->second.text : nullptr;
  }

  /* A text option, or a warning when no value reads back as the text. */
  void textOption(std::vector<std::string> &items, const kitDef &d, const char *key,
                  const char *value, const char *what) {
    if (value == nullptr) return;
    if (sayableOption(key, value))
      items.push_back(*value ? std::string(key) + "=" + value : std::string(key));
    else
      warn("%s %s: its %s cannot be written as %s", kindWord(d), name(d).c_str(), what, key);
  }

  void commonOptions(std::vector<std::string> &items, const kitDef &d) {
    if (d.arrayCount != 1) items.push_back("ACNT=" + std::to_string(d.arrayCount));
    if (d.key != 0) items.push_back("KEY=" + std::to_string(d.key));
    if (!d.display) items.push_back("NODISP");
    if (!d.edit) items.push_back("NOEDIT");
    if (!d.search) items.push_back("NOSEARCH");
    if (d.version != 0) items.push_back("VER=" + std::to_string(d.version));
    const char *xcode = d.xcodeName;
    if (xcode == nullptr && d.extendCode != 0) {
      xcode = d.extendName;
      warn("%s %s: extends a record by code alone; written as XCODE, which attaches it only "
           "at the next ddSetCode", kindWord(d), name(d).c_str());
    }
    textOption(items, d, "XCODE", xcode, "XCODE name");
    textOption(items, d, "LABEL", d.label, "label");
  }

  /* "head { item, item, ... };" wrapped under the first item when long.
  ** The reader counts the blanks in front of an item into its length, so an
  ** item is wrapped only where that still fits, and one of the greatest
  ** length follows its comma with no blank at all. */
  void list(const std::string &head, const std::vector<std::string> &items, const char *close) {
    std::string line = head + " { ";
    size_t indent = line.size();
    for (size_t i = 0; i < items.size(); i++) {
      std::string piece = items[i] + (i + 1 < items.size() ? "," : "");
      if (i == 0) {
        line += piece;
      } else if (items[i].size() + 1 > kItemMax) {
        line += piece;
      } else if (line.size() + 1 + piece.size() > kLineWidth && items[i].size() + 1 + indent <= kItemMax) {
        out_ += line + "\n";
        line = std::string(indent, ' ') + piece;
      } else {
        line += " " + piece;
      }
    }
    out_ += line + " }" + close + "\n";
  }

  std::string padded(const char *word, const std::string &name, size_t width) {
    std::string head = std::string(word) + " " + name;
    size_t want = std::strlen(word) + 1 + width;
    if (head.size() < want) head.append(want - head.size(), ' ');
    return head;
  }

  size_t padWidth(const kitDef *defs, int count) {
    size_t width = 0;
    for (int i = 0; i < count; i++) {
      size_t n = name(defs[i]).size();
      if (n <= kPadMax) width = std::max(width, n);
    }
    return width;
  }

  const std::string &name(const kitDef &d) { return names_[d.code].text; }

  /* Placeholders for the empty slots before local, so that the codes that
  ** follow keep their places. */
  void fillGap(int &next, int local, bool record) {
    if (next < local)
      warn("%s codes %d to %d are empty: written as placeholders", record ? "record" : "data",
           next, local - 1);
    for (; next < local; next++) {
      const std::string &gap = names_[m_.site * RKDD_CODE_SPAN + next].text;
      out_ += record ? "recordDef " + gap + " { rktype_null, rkNULL };\n"
                     : "dataDef " + gap + " { rktype_ival };\n";
    }
    next = local + 1;
  }

  void writeData() {
    if (m_.dataCount == 0) return;
    out_ += "\n";
    if (m_.dataBase != RKDD_DATA_BASE)
      warn("data codes start at %d in the site and at %d in an import", m_.dataBase, RKDD_DATA_BASE);
    size_t width = padWidth(m_.data, m_.dataCount);
    int next = m_.dataBase;
    for (int i = 0; i < m_.dataCount; i++) {
      const kitDef &d = m_.data[i];
      fillGap(next, d.local, false);
      const std::string &name = this->name(d);
      std::vector<std::string> items;
      const char *type = kitTagTypeName(d.tagType);
      if (type == nullptr) {
        warn("data item %s: tag type %d has no keyword, written as rktype_ival", name.c_str(), d.tagType);
        type = "rktype_ival";
      }
      items.push_back(type);
      bool sized = d.tagType == MTYPE_TEXT || d.tagType == MTYPE_DATA || d.tagType == MTYPE_FLAG;
      if (sized && d.length == -1)
        warn("data item %s: its length was never set", name.c_str());
      else if (sized)
        items.push_back("LEN=" + std::to_string(d.length));
      else if (d.length != kit::defaultLength(d.tagType))
        warn("data item %s: length %d set by hand, not written", name.c_str(), d.length);
      auto bits = enumWidths_.find(d.code);
      if (bits != enumWidths_.end() && bits->second == 0)
        warn("data item %s: no record's layout tells its width in bits, written without LEN "
             "(%d bits)", name.c_str(), kit::defaultLength(MTYPE_ENUM));
      else if (bits != enumWidths_.end() && bits->second != kit::defaultLength(MTYPE_ENUM))
        items.push_back("LEN=" + std::to_string(bits->second));
      if (enums_.count(d.code)) items.push_back("ENUM");
      if (d.rangeSet) {
        items.push_back("MIN=" + kit::formatFloat(d.minVal));
        items.push_back("MAX=" + kit::formatFloat(d.maxVal));
      }
      if (d.defSet && d.tagType == MTYPE_TEXT && d.defVal != 0.0f)
        warn("data item %s: a text item's default value %s, not written", name.c_str(),
             kit::formatFloat(d.defVal).c_str());
      if (d.defSet)
        items.push_back("DEF=" + (d.tagType == MTYPE_TEXT ? std::string("0") : kit::formatFloat(d.defVal)));
      if (d.defString != nullptr) warn("data item %s: its default text is not written", name.c_str());
      if (d.enumSet) warn("data item %s: its enumeration flag is not written", name.c_str());
      commonOptions(items, d);
      textOption(items, d, "MSG", d.desc, "description");
      list(padded("dataDef", name, width), items, ";");
    }
  }

  /* Link lists of a record: its option, and the list written after it. */
  void links(std::vector<std::string> &items, std::string &after, const kitDef &r,
             const char *key, const char *word, const kitLink *links, int count) {
    if (count <= 0) return;
    const std::string &list = listNames_[r.code];
    items.push_back(std::string(key) + "=" + list);
    std::string body;
    for (int i = 0; i < count; i++) {
      const std::string *entry = links[i].code == 0 ? &none_ : refName(links[i].code, links[i].site);
      if (entry == nullptr) {
        warn("record %s: %s entry %d (code %d) names nothing in the site, left out",
             name(r).c_str(), word, i, links[i].code);
        body += " /* code " + std::to_string(links[i].code) + " left out */";
        continue;
      }
      body += " " + *entry + ";";
    }
    after += std::string(word) + " " + list + " {" + body + " };\n";
  }

  void writeRecord(const kitDef &r, size_t width) {
    const std::string &name = this->name(r);
    std::vector<std::string> items;
    std::string after;
    const char *type = kitTagTypeName(r.tagType);
    if (type == nullptr) {
      warn("record %s: tag type %d has no keyword, written as rktype_rec", name.c_str(), r.tagType);
      type = "rktype_rec";
    }
    items.push_back(type);
    items.push_back(r.fieldCount > 0 ? structNames_[r.code] : "rkNULL");
    if (r.level < 0)
      warn("record %s: format level %d cannot be written", name.c_str(), r.level);
    else if (r.level != 0)
      items.push_back(std::string("LEV=") +
                      (kitLevelName(r.level) ? kitLevelName(r.level) : std::to_string(r.level)));
    links(items, after, r, "PARENT", "parent", r.parents, r.parentCount);
    links(items, after, r, "CHILD", "child", r.children, r.childCount);
    links(items, after, r, "ALIAS", "alias", r.aliases, r.aliasCount);
    commonOptions(items, r);
    textOption(items, r, "PREFIX", r.prefix, "prefix");
    bool describe = r.desc != nullptr && sayableDescribe(r.desc);
    if (!describe) textOption(items, r, "MSG", r.desc, "description");
    if (!r.packed) warn("record %s: unpacked, its length %d and offsets set by hand are not written",
                        name.c_str(), r.length);
    if (laidOutByHand(r))
      warn("record %s: its offsets and length %d are not its packed layout, not written",
           name.c_str(), r.length);
    if (r.maxId != 0) warn("record %s: maximum id %d is not written", name.c_str(), r.maxId);
    if (r.subRev != 0) warn("record %s: sub-revision %d is not written", name.c_str(), r.subRev);
    list(padded("recordDef", name, width), items, ";");

    if (r.fieldCount > 0) {
      out_ += "struct " + structNames_[r.code] + " {\n";
      for (int k = 0; k < r.fieldCount; k++) member(r, r.fields[k], k);
      out_ += "};\n";
    }
    out_ += after;
    if (describe) out_ += "describe " + name + " { " + r.desc + "}\n";
  }

  void member(const kitDef &r, const kitField &f, int k) {
    const std::string *ref = refName(f.code, f.site);
    if (ref == nullptr) {
      warn("record %s: field %d (code %d) names nothing in the site, left out",
           name(r).c_str(), k, f.code);
      out_ += "    // field " + std::to_string(k) + ": code " + std::to_string(f.code) + " left out\n";
      return;
    }
    out_ += "    ";
    out_ += *ref;
    bool pointer = f.kind == DD_KIND_POINTER;
    int given = pointer ? DD_KIND_POINTER : f.holdsData ? DD_KIND_DC : DD_KIND_STRUCTURE;
    if (f.kind != given)
      warn("record %s: field %d holds %s with kind %d, which no structure gives", name(r).c_str(),
           k, ref->c_str(), f.kind);
    if (pointer) out_ += ", PTR";
    if (f.bitPos != 0 && !holdsBits(f)) out_ += ", BIT=" + std::to_string(f.bitPos);
    out_ += ";\n";
  }

  void writeRecords() {
    if (m_.recordCount == 0) return;
    if (m_.recordBase != RKDD_RECORD_BASE)
      warn("record codes start at %d in the site and at %d in an import", m_.recordBase, RKDD_RECORD_BASE);
    size_t width = padWidth(m_.records, m_.recordCount);
    int next = m_.recordBase;
    for (int i = 0; i < m_.recordCount; i++) {
      out_ += "\n";
      fillGap(next, m_.records[i].local, true);
      writeRecord(m_.records[i], width);
    }
  }

  const kitModel &m_;
  FILE *warnings_;
  std::string out_;
  struct Name {
    std::string text;
    bool item; /* it can stand as a member or list entry */
  };
  std::unordered_map<int, Name> names_;
  std::unordered_map<int, std::string> structNames_, listNames_;
  std::string none_; /* a name no definition has */
  std::set<int> enums_;
  std::map<int, int> enumWidths_;
};

} // namespace

extern "C" {

char *kitSchemaText(const kitModel *model, FILE *warnings, int *lost) {
  if (lost) *lost = 0;
  if (model == nullptr) return nullptr;
  try {
    Writer writer(*model, warnings);
    std::string text = writer.run();
    if (lost) *lost = writer.lost;
    char *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

int kitWriteSchema(const kitModel *model, FILE *out, FILE *warnings) {
  int lost = 0;
  char *text = kitSchemaText(model, warnings, &lost);
  if (text == nullptr) return -1;
  size_t size = std::strlen(text);
  bool ok = std::fwrite(text, 1, size, out) == size && std::fflush(out) == 0;
  std::free(text);
  return ok ? lost : -1;
}

} // extern "C"
