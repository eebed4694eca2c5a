/*
** The header command: a C11 and C++ header with one packed struct per
** record of a schema file, a static assertion on every field offset and on
** each struct's size, and the bits of flags and enumerations as constants.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

/* What became of one record. */
struct Emitted {
  std::string tag;       /* the struct's tag */
  bool complete = false; /* sizeof is the record's length */
};

/* Schema text as it may stand inside a C comment: no byte that ends or
** opens a comment, no control character. */
std::string commentText(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); i++) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    char next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (c < 0x20 || c == 0x7f) out += '?';
    else if ((c == '*' && next == '/') || (c == '/' && next == '*')) out += std::string(1, char(c)) + "\\";
    else out += char(c);
  }
  return out;
}

/* Words of C11, C23 and C++17 that no identifier may be, and the names the
** included headers and this header itself declare or define. */
bool isTaken(const std::string &w) {
  static const std::set<std::string> words = {
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
    "case", "catch", "char", "char8_t", "char16_t", "char32_t", "class", "compl", "concept",
    "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
    "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast",
    "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto",
    "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
    "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
    "reinterpret_cast", "requires", "restrict", "return", "short", "signed", "sizeof", "static",
    "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local",
    "throw", "true", "try", "typedef", "typeid", "typename", "typeof", "typeof_unqual", "union",
    "unsigned", "using", "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq",
    "NULL", "offsetof", "unreachable", "size_t", "ptrdiff_t", "max_align_t", "nullptr_t",
    "RKDD_STATIC_ASSERT"};
  static const std::regex headerNames(
    "u?int(8|16|32|64|ptr|max)_t|u?int_(least|fast)(8|16|32|64)_t"
    "|U?INT(8|16|32|64|PTR|MAX)_(MIN|MAX|C|WIDTH)|U?INT_(LEAST|FAST)(8|16|32|64)_(MIN|MAX|WIDTH)"
    "|(SIZE|PTRDIFF|WCHAR|WINT|SIG_ATOMIC)_(MIN|MAX|WIDTH)");
  bool maybe = w.find("int") != std::string::npos || w.find("INT") != std::string::npos ||
               w.ends_with("_MIN") || w.ends_with("_MAX") || w.ends_with("_WIDTH");
  return words.count(w) != 0 || (maybe && std::regex_match(w, headerNames));
}

/* A C identifier for a schema name, unique within taken: bytes that are no
** letter, digit or '_' become '_', runs of '_' one and none in front (so no
** name is reserved), a digit in front gets "n_", and a word of the
** languages or the headers gets '_' behind it; a name taken already gets
** "_2", "_3", ... */
std::string identifier(const std::string &name, std::set<std::string> &taken) {
  std::string id;
  for (unsigned char c : name) {
    char keep = std::isalnum(c) && c < 0x80 ? static_cast<char>(c) : '_';
    if (keep != '_' || (!id.empty() && id.back() != '_')) id += keep;
  }
  if (id.empty() || std::isdigit(static_cast<unsigned char>(id[0]))) id = "n_" + id;
  if (isTaken(id)) id += "_";
  std::string unique = id;
  for (int n = 2; taken.count(unique); n++) unique = id + "_" + std::to_string(n);
  taken.insert(unique);
  return unique;
}

/* ", schema name NAME" when the identifier is not the name. */
std::string renaming(const std::string &id, const std::string &name) {
  return id == name ? "" : ", schema name " + commentText(name);
}

class HeaderWriter {
public:
  HeaderWriter(std::ostream &out, const kitModel &model, const std::string &guard)
      : out_(out), model_(model) {
    globals_ = {guard};
  }
  void record(int code);

private:
  std::string member(const kitField &f, const std::string &name, std::string *comment);
  std::string scalar(int code, int size, std::string *comment);
  void bitConstants(const std::string &tag, const std::vector<std::pair<const kitField *, std::string>> &bits);
  void head(int code, const std::string &tag);

  std::ostream &out_;
  const kitModel &model_;
  std::map<int, Emitted> done_;
  std::set<int> onTheWay_;
  std::set<std::string> globals_; /* tags and constants, one name space in C++ */
};

/* The C type of a data item that fills size bytes, or "" when none fits. */
std::string HeaderWriter::scalar(int code, int size, std::string *comment) {
  int tag = ddGetTagType(code), length = ddGetLength(code);
  int count = ddGetArrayCount(code) >= 2 ? ddGetArrayCount(code) : 1;
  const char *t = kitTagTypeName(tag);
  *comment = t ? t : "type " + std::to_string(tag);
  if (tag == MTYPE_FLAG) return size == 1 ? "uint8_t" : "";
  if (length <= 0 || static_cast<long long>(length) * count != size) return "";
  switch (tag) {
  case MTYPE_CHAR: return length == 1 ? "int8_t" : "";
  case MTYPE_UCHAR: return length == 1 ? "uint8_t" : "";
  case MTYPE_SHORT: return length == 2 ? "int16_t" : "";
  case MTYPE_USHORT: return length == 2 ? "uint16_t" : "";
  case MTYPE_INT: return length == 4 ? "int32_t" : "";
  case MTYPE_UINT: return length == 4 ? "uint32_t" : "";
  case MTYPE_FLOAT: return length == 4 ? "float" : "";
  case MTYPE_DOUBLE: return length == 8 ? "double" : "";
  case MTYPE_ENUM:
    return length == 1 ? "uint8_t" : length == 2 ? "uint16_t" : length == 4 ? "uint32_t"
         : length == 8 ? "uint64_t" : "";
  case MTYPE_TEXT: return "char";
  default: return "";
  }
}

/* The declaration of one member of size f.size, or "" when none can be
** written; *comment says what it holds. */
std::string HeaderWriter::member(const kitField &f, const std::string &name,
                                 std::string *comment) {
  std::string bytes = "uint8_t " + name + "[" + std::to_string(f.size) + "];";
  std::string held = commentText(nameOf(f.code));
  if (f.kind == DD_KIND_POINTER) {
    *comment = "pointer to " + held;
    return f.size == 4 ? "uint32_t " + name + ";" : bytes;
  }
  int count = f.arrayCount >= 2 ? f.arrayCount : 1;
  std::string dims = count >= 2 ? std::string("[").append(std::to_string(count)).append("]") : "";
  if (f.inLine) {
    record(f.code);
    const Emitted &inner = done_[f.code];
    *comment = held + " in line";
    if (inner.complete && static_cast<long long>(ddGetLength(f.code)) * count == f.size)
      return "struct " + inner.tag + " " + name + dims + ";";
    *comment += ", held as bytes";
    return bytes;
  }
  std::string type = scalar(f.code, f.size, comment);
  if (ddGetTagType(f.code) == MTYPE_FLAG || ddGetTagType(f.code) == MTYPE_ENUM)
    *comment += ", bit " + std::to_string(f.bitPos);
  if (ddGetTagType(f.code) == MTYPE_FLAG) return type + " " + name + ";";
  if (type == "char")
    return "char " + name + dims + "[" + std::to_string(ddGetLength(f.code)) + "];";
  if (type.empty()) {
    *comment += ", held as bytes";
    return bytes;
  }
  return type + " " + name + dims + ";";
}

/* Constants of the lowest bit and the width of each flag and enumeration
** of a struct within its member, by the rule decode and encode read them
** by (kitFieldBits), for programs to mask its members with. */
void HeaderWriter::bitConstants(const std::string &tag,
                                const std::vector<std::pair<const kitField *, std::string>> &bits) {
  std::string list;
  for (const auto &[f, name] : bits) {
    int low = 0, width = 0;
    if (!kitFieldBits(&model_, f, &low, &width)) continue;
    std::string base = tag + "_" + name;
    list += (list.empty() ? "  " : ",\n  ") + identifier(base + "_BIT", globals_) + " = " +
            std::to_string(low) + ",\n  " + identifier(base + "_WIDTH", globals_) + " = " +
            std::to_string(width);
  }
  if (!list.empty()) out_ << "enum {\n" << list << "\n};\n";
}

/* The comment above a record's struct: its name, code, type, level and length. */
void HeaderWriter::head(int code, const std::string &tag) {
  const char *type = kitTagTypeName(ddGetTagType(code));
  out_ << "\n/* " << commentText(nameOf(code)) << ": code " << code << ", " << (type ? type : "?");
  if (int level = ddGetIlevel(code)) {
    const char *l = kitLevelName(level);
    out_ << ", " << (l ? l : "level " + std::to_string(level));
  }
  out_ << ", " << ddGetLength(code) << " bytes";
  if (tag != nameOf(code)) out_ << "; struct " << tag;
  out_ << " */\n";
}

/* Writes the struct of a record once, after those it holds in line. */
void HeaderWriter::record(int code) {
  if (done_.count(code) || onTheWay_.count(code)) return;
  onTheWay_.insert(code);
  std::span<const kitField> fields = recordFields(model_, code);
  for (const kitField &f : fields)
    if (f.inLine && f.problem == KIT_FIELD_OK) record(f.code);
  onTheWay_.erase(code);

  Emitted e;
  e.tag = identifier(nameOf(code), globals_);
  int length = ddGetLength(code);
  std::ostringstream body, asserts;
  std::set<std::string> names = {e.tag}; /* no member is named as its struct */
  std::vector<std::pair<const kitField *, std::string>> bits;
  long long cursor = 0;
  int members = 0;
  bool gaps = false;
  for (const kitField &f : fields) {
    if (f.problem != KIT_FIELD_OK || f.size <= 0 || f.offset != cursor) {
      std::string why = f.problem != KIT_FIELD_OK ? kitFieldProblemText(f.problem)
                        : f.size == 0         ? "takes no bytes"
                        : f.size < 0          ? "length unknown"
                                              : "does not follow the field before it";
      body << "  /* " << commentText(nameOf(f.code)) << " at offset " << f.offset << ", size "
           << f.size << ": " << why << " */\n";
      gaps = gaps || f.size != 0;
      continue;
    }
    std::string name = identifier(nameOf(f.code), names), comment;
    body << "  " << member(f, name, &comment) << " /* " << comment
         << renaming(name, nameOf(f.code)) << " */\n";
    asserts << "RKDD_STATIC_ASSERT(offsetof(struct " << e.tag << ", " << name << ") == " << f.offset
            << ", \"" << e.tag << "." << name << "\");\n";
    if (f.kind != DD_KIND_POINTER && f.holdsData &&
        (f.tagType == MTYPE_FLAG || f.tagType == MTYPE_ENUM))
      bits.emplace_back(&f, name);
    cursor += f.size;
    members++;
  }
  e.complete = members > 0 && !gaps && cursor == length;

  head(code, e.tag);
  if (members == 0) {
    out_ << "/* struct " << e.tag << " has nothing to hold";
    if (!fields.empty()) out_ << ":\n" << body.str();
    out_ << " */\n";
    done_[code] = e;
    return;
  }
  out_ << "struct " << e.tag << " {\n" << body.str() << "};\n" << asserts.str();
  if (e.complete)
    out_ << "RKDD_STATIC_ASSERT(sizeof(struct " << e.tag << ") == " << length << ", \"size of "
         << e.tag << "\");\n";
  else
    out_ << "/* Incomplete: the fields above lie where the library puts them, but the\n"
         << "** record's " << length
         << " bytes cannot all be written in C; no size is asserted. */\n";
  bitConstants(e.tag, bits);
  done_[code] = e;
}

/* The include guard: RKDD_, the file's base name in capitals, _H. */
std::string guardFor(const std::string &path) {
  std::string base = path.substr(path.find_last_of('/') == std::string::npos
                                   ? 0 : path.find_last_of('/') + 1);
  std::string guard = "RKDD_";
  for (unsigned char c : base) {
    char keep = std::isalnum(c) && c < 0x80 ? static_cast<char>(std::toupper(c)) : '_';
    if (keep != '_' || guard.back() != '_') guard += keep;
  }
  return guard + (guard.back() == '_' ? "H" : "_H");
}

const char *const kPrologue =
  "#include <stddef.h>\n#include <stdint.h>\n\n"
  "#ifndef RKDD_STATIC_ASSERT\n#ifdef __cplusplus\n#define RKDD_STATIC_ASSERT static_assert\n"
  "#else\n#define RKDD_STATIC_ASSERT _Static_assert\n#endif\n#endif\n\n"
  "#ifdef __cplusplus\nextern \"C\" {\n#endif\n\n#pragma pack(push, 1)\n";

const char *const kEpilogue = "\n#pragma pack(pop)\n\n#ifdef __cplusplus\n}\n#endif\n";

} // namespace

int cmdHeader(const std::string &file, const std::string &output) {
  if (!openAll({file})) return EXIT_USAGE;
  Loaded loaded = loadSchema(file);
  relayDiagnostics(loaded);
  if (loaded.site < 0) return EXIT_FAILED;

  Model model = readModel(loaded.site);
  if (!model) return EXIT_FAILED;
  /* Written as it goes: a full site's header is many times its schema. */
  bool toFile = !output.empty() && output != "-";
  std::ofstream written;
  if (toFile) written.open(output);
  std::ostream &text = toFile ? written : std::cout;
  std::string guard = guardFor(loaded.path);
  text << "/*\n** Packed records of " << commentText(loaded.path) << ", written by rkdd header.\n"
       << "** Each struct lies byte for byte as the library lays the record out;\n"
       << "** the assertions make the compiler prove it. C11 or C++11 and later.\n*/\n"
       << "#ifndef " << guard << "\n#define " << guard << "\n\n" << kPrologue;
  HeaderWriter writer(text, *model, guard);
  for (int i = 0; text && i < model->recordCount; i++) writer.record(model->records[i].code);
  text << kEpilogue << "\n#endif /* " << guard << " */\n";
  if (toFile && (!written || !written.flush())) {
    std::cerr << "rkdd: cannot write " << output << ": " << std::strerror(errno) << "\n";
    return EXIT_USAGE;
  }
  return failed(loaded) ? EXIT_FAILED : EXIT_OK;
}
