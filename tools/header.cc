/*
** The header command: a C11 header with one packed struct per record of a
** schema file, and a static assertion on every field offset and on each
** struct's size, so that a compiler proves the layout is the library's.
*/
#include "tool.h"

#include <rkdd/rkdd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

namespace {

/* What became of one record. */
struct Emitted {
  std::string tag;       /* the struct's tag */
  bool complete = false; /* sizeof is the record's length */
};

class HeaderWriter {
public:
  HeaderWriter(std::ostream &out, const kitModel &model) : out_(out), model_(model) {}
  void record(int code);

private:
  std::string identifier(const std::string &name, std::set<std::string> &taken);
  std::string member(const kitField &f, const std::string &name, std::string *comment);
  std::string scalar(int code, int size, std::string *comment);

  std::ostream &out_;
  const kitModel &model_;
  std::map<int, Emitted> done_;
  std::set<int> onTheWay_;
  std::set<std::string> tags_;
};

bool isKeyword(const std::string &w) {
  static const std::set<std::string> words = {
    "auto", "break", "case", "char", "const", "continue", "default", "do", "double", "else",
    "enum", "extern", "float", "for", "goto", "if", "inline", "int", "long", "register",
    "restrict", "return", "short", "signed", "sizeof", "static", "struct", "switch", "typedef",
    "union", "unsigned", "void", "volatile", "while", "_Bool", "_Complex", "_Imaginary",
    "_Alignas", "_Alignof", "_Atomic", "_Generic", "_Noreturn", "_Static_assert",
    "_Thread_local", "offsetof"};
  return words.count(w) != 0;
}

/* A C identifier for a schema name, unique within taken. */
std::string HeaderWriter::identifier(const std::string &name, std::set<std::string> &taken) {
  std::string id;
  for (unsigned char c : name) id += std::isalnum(c) ? static_cast<char>(c) : '_';
  if (id.empty() || std::isdigit(static_cast<unsigned char>(id[0]))) id = "_" + id;
  if (isKeyword(id)) id += "_";
  std::string unique = id;
  for (int n = 2; taken.count(unique); n++) unique = id + "_" + std::to_string(n);
  taken.insert(unique);
  return unique;
}

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
  if (f.kind == DD_KIND_POINTER) {
    *comment = "pointer to " + nameOf(f.code);
    return f.size == 4 ? "uint32_t " + name + ";" : bytes;
  }
  int count = f.arrayCount >= 2 ? f.arrayCount : 1;
  std::string dims = count >= 2 ? std::string("[").append(std::to_string(count)).append("]") : "";
  if (f.inLine) {
    record(f.code);
    const Emitted &inner = done_[f.code];
    *comment = nameOf(f.code) + " in line";
    if (inner.complete && static_cast<long long>(ddGetLength(f.code)) * count == f.size)
      return "struct " + inner.tag + " " + name + dims + ";";
    *comment += ", held as bytes";
    return bytes;
  }
  std::string type = scalar(f.code, f.size, comment);
  if (ddGetTagType(f.code) == MTYPE_FLAG) {
    *comment += ", bit " + std::to_string(f.bitPos);
    return type + " " + name + ";";
  }
  if (type == "char")
    return "char " + name + dims + "[" + std::to_string(ddGetLength(f.code)) + "];";
  if (type.empty()) {
    *comment += ", held as bytes";
    return bytes;
  }
  return type + " " + name + dims + ";";
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
  e.tag = identifier(nameOf(code), tags_);
  int length = ddGetLength(code);
  std::ostringstream body, asserts;
  std::set<std::string> names;
  long long cursor = 0;
  int members = 0;
  bool gaps = false;
  for (const kitField &f : fields) {
    std::string name = identifier(nameOf(f.code), names);
    if (f.problem != KIT_FIELD_OK || f.size <= 0 || f.offset != cursor) {
      std::string why = f.problem != KIT_FIELD_OK ? kitFieldProblemText(f.problem)
                        : f.size == 0         ? "takes no bytes"
                        : f.size < 0          ? "length unknown"
                                              : "does not follow the field before it";
      body << "  /* " << nameOf(f.code) << " at offset " << f.offset << ", size " << f.size
           << ": " << why << " */\n";
      gaps = gaps || f.size != 0;
      continue;
    }
    std::string comment;
    body << "  " << member(f, name, &comment) << " /* " << comment << " */\n";
    asserts << "_Static_assert(offsetof(struct " << e.tag << ", " << name << ") == " << f.offset
            << ", \"" << e.tag << "." << name << "\");\n";
    cursor += f.size;
    members++;
  }
  e.complete = members > 0 && !gaps && cursor == length;

  const char *type = kitTagTypeName(ddGetTagType(code));
  out_ << "\n/* " << nameOf(code) << ": code " << code << ", " << (type ? type : "?");
  if (int level = ddGetIlevel(code)) {
    const char *l = kitLevelName(level);
    out_ << ", " << (l ? l : "level " + std::to_string(level));
  }
  out_ << ", " << length << " bytes */\n";
  if (members == 0) {
    out_ << "/* struct " << e.tag << " has nothing to hold";
    if (!fields.empty()) out_ << ":\n" << body.str();
    out_ << " */\n";
    done_[code] = e;
    return;
  }
  out_ << "struct " << e.tag << " {\n" << body.str() << "};\n" << asserts.str();
  if (e.complete)
    out_ << "_Static_assert(sizeof(struct " << e.tag << ") == " << length << ", \"size of "
         << e.tag << "\");\n";
  else
    out_ << "/* Incomplete: the fields above lie where the library puts them, but the\n"
         << "** record's " << length
         << " bytes cannot all be written in C; no size is asserted. */\n";
  done_[code] = e;
}

std::string guardFor(const std::string &path) {
  std::string base = path.substr(path.find_last_of('/') == std::string::npos
                                   ? 0 : path.find_last_of('/') + 1);
  std::string guard = "RKDD_";
  for (unsigned char c : base) guard += std::isalnum(c) ? static_cast<char>(std::toupper(c)) : '_';
  return guard + "_H";
}

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
  text << "/*\n** Packed records of " << loaded.path << ", written by rkdd header.\n"
       << "** Each struct lies byte for byte as the library lays the record out;\n"
       << "** the assertions make the compiler prove it. Needs C11.\n*/\n"
       << "#ifndef " << guard << "\n#define " << guard << "\n\n"
       << "#include <stddef.h>\n#include <stdint.h>\n\n#pragma pack(push, 1)\n";
  HeaderWriter writer(text, *model);
  for (int i = 0; text && i < model->recordCount; i++) writer.record(model->records[i].code);
  text << "\n#pragma pack(pop)\n\n#endif /* " << guard << " */\n";
  if (toFile && (!written || !written.flush())) {
    std::cerr << "rkdd: cannot write " << output << ": " << std::strerror(errno) << "\n";
    return EXIT_USAGE;
  }
  return failed(loaded) ? EXIT_FAILED : EXIT_OK;
}
