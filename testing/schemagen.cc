/*
** Schema generator: the member plan shared by the three texts, then the rkdd
** schema text (data items, structures, records, link lists, describes), the
** FlatBuffers schema (one struct per record) and the .proto (one message each).
*/
#include "schemagen.h"

#include <cctype>
#include <string_view>

#include "rkdd/rkdd.h"

namespace gen {

namespace {

/* Text of the parts joined: strings as they are, numbers in decimal. */
void put(std::string &out, std::string_view s) { out += s; }
void put(std::string &out, int v) { out += std::to_string(v); }
template <typename... A> std::string cat(const A &...parts) {
  std::string out;
  (put(out, parts), ...);
  return out;
}

/* One row per data item kind, taken in turn: tag type, the two keywords,
** extra options, and the matching FlatBuffers and protobuf field types. */
struct Kind {
  int type;
  const char *lower, *upper, *options, *fbs, *proto;
};
constexpr Kind kKinds[] = {
    {MTYPE_INT, "rktype_ival", "MTYPE_INT", ", MIN=-1000, MAX=1000", "int", "int32"},
    {MTYPE_FLOAT, "rktype_fval", "MTYPE_FLOAT", ", MIN=0, MAX=100.5, DEF=1.5", "float", "float"},
    {MTYPE_UINT, "rktype_uival", "MTYPE_UINT", ", KEY=1", "uint", "uint32"},
    {MTYPE_SHORT, "rktype_sval", "MTYPE_SHORT", ", NOSEARCH", "short", "int32"},
    {MTYPE_DOUBLE, "rktype_dval", "MTYPE_DOUBLE", ", DEF=0.25", "double", "double"},
    {MTYPE_FLAG, "rktype_flag", "MTYPE_FLAG", ", DEF=1", "bool", "bool"},
    {MTYPE_TEXT, "rktype_text", "MTYPE_TEXT", ", LEN=16", "[ubyte:16]", "bytes"},
    {MTYPE_USHORT, "rktype_usval", "MTYPE_USHORT", ", NOEDIT", "ushort", "uint32"},
    {MTYPE_CHAR, "rktype_cval", "MTYPE_CHAR", ", VER=2", "byte", "int32"},
    {MTYPE_UCHAR, "rktype_ucval", "MTYPE_UCHAR", ", NODISP", "ubyte", "uint32"},
    {MTYPE_FLAG, "rktype_flag", "MTYPE_FLAG", "", "bool", "bool"},
    {MTYPE_ENUM, "rktype_enum", "MTYPE_ENUM", ", LEN=3", "ubyte", "uint32"},
};
constexpr int kKindCount = sizeof kKinds / sizeof kKinds[0];

const Kind &kindOf(int i) { return kKinds[i % kKindCount]; }

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

/* The member's name in the rkdd text, and as a field of the peers. */
std::string memberName(const std::string &p, const Slot &s) {
  return s.kind == Member::Data ? dataName(p, s.index) : recordName(p, s.index);
}

} // namespace

std::string prefixOf(int site) { return cat("s", site); }
std::string dataName(const std::string &p, int i) { return cat(p, "d", i); }
std::string recordName(const std::string &p, int r) { return cat(p, "R", r); }
std::string dataLabel(const std::string &p, int i) { return cat("\"", p, " item ", i, "\""); }
int recordLevel(int site, int r) { return 100 + site * 2000 + r; }
int dataType(int i) { return kindOf(i).type; }

/* Records of the lower half may hold records of the upper half in line; every
** eighth member from 3 is a pointer to a lower-half record. Data members run
** on from a place of their own for each record, so no name repeats. */
Slot slot(const Size &size, int r, int j) {
  int half = size.records / 2, leaves = size.records - half;
  if (j % 8 == 3 && half > 0) return {Member::Pointer, (r + 1 + j / 8) % half};
  if (j % 8 == 5 && r < half && leaves > 0) return {Member::Nested, half + (r + j / 8) % leaves};
  return {Member::Data, (r * 37 + j) % size.data};
}

std::string rkddSchema(const Size &size, int site) {
  const std::string p = prefixOf(site);
  std::string out = cat("// Generated schema: ", size.data, " data items, ", size.records, " records, ",
                        size.members, " members each.\n\n/* Data items */\n");
  for (int i = 0; i < size.data; i++) {
    const Kind &k = kindOf(i);
    out += cat("dataDef ", dataName(p, i), " { ", i % 2 ? k.upper : k.lower, ", LABEL=", dataLabel(p, i),
               k.options, i % 9 == 0 ? ", MSG=\"A generated item\"" : "", " };\n");
  }
  out += "\n/* Structures */\n";
  for (int r = 0; r < size.records; r++) {
    out += cat("struct ", recordName(p, r), "Body\n{\n");
    for (int j = 0; j < size.members; j++) {
      Slot s = slot(size, r, j);
      out += cat("    ", memberName(p, s), s.kind == Member::Pointer ? ", PTR;\n" : ";\n");
    }
    out += "};\n";
  }
  out += "\n/* Records, with their parent, child and alias lists */\n";
  for (int r = 0; r < size.records; r++) {
    const std::string name = recordName(p, r);
    const char *type = r == 0 ? "rktype_root" : r % 4 == 0 ? "rktype_bead" : r % 2 ? "MTYPE_REC" : "rktype_rec";
    out += cat("recordDef ", name, " { ", type, ", ", name, "Body, LEV=", recordLevel(site, r), ", LABEL=\"", p,
               " record ", r, "\", PREFIX=\"r", r, "\"");
    bool children = 2 * r + 1 < size.records, alias = r % 8 == 7 && r + 1 < size.records;
    if (r > 0) out += cat(", PARENT=", name, "Up");
    if (children) out += cat(", CHILD=", name, "Down");
    if (alias) out += cat(", ALIAS=", name, "Same");
    out += " };\n";
    if (r > 0) {
      out += cat("parent ", name, "Up { ", recordName(p, (r - 1) / 2), ";");
      if (r > 2 && r / 3 != (r - 1) / 2) out += cat(" ", recordName(p, r / 3), ";");
      out += " };\n";
    }
    if (children) {
      out += cat("child ", name, "Down { ", recordName(p, 2 * r + 1), ";");
      if (2 * r + 2 < size.records) out += cat(" ", recordName(p, 2 * r + 2), ";");
      out += " };\n";
    }
    if (alias) out += cat("alias ", name, "Same { ", recordName(p, r + 1), "; };\n");
    if (r % 4 == 1)
      out += cat("describe ", name, " { Record ", r, " of site ", p, ": a generated record\nwith ", size.members,
                 " members. }\n");
  }
  out += cat("\ndefine ", p, "Version 3\n");
  return out;
}

std::string fbsSchema(const Size &size, int site) {
  const std::string p = prefixOf(site);
  std::string out = cat("// Generated schema: ", size.records, " records of ", size.members, " fields.\n\n");
  /* Upper-half records first, so that a nested struct is always known. */
  for (int r = size.records - 1; r >= 0; r--) {
    out += cat("struct ", recordName(p, r), " {\n");
    for (int j = 0; j < size.members; j++) {
      Slot s = slot(size, r, j);
      std::string type = s.kind == Member::Data      ? kindOf(s.index).fbs
                         : s.kind == Member::Pointer ? "uint"
                                                     : recordName(p, s.index);
      out += cat("  ", lower(memberName(p, s)), ":", type, ";\n");
    }
    out += "}\n";
  }
  return out;
}

std::string protoSchema(const Size &size, int site) {
  const std::string p = prefixOf(site);
  std::string out = cat("// Generated schema: ", size.records, " records of ", size.members,
                        " fields.\nsyntax = \"proto3\";\n\n");
  for (int r = 0; r < size.records; r++) {
    out += cat("message ", recordName(p, r), " {\n");
    for (int j = 0; j < size.members; j++) {
      Slot s = slot(size, r, j);
      std::string type = s.kind == Member::Data ? kindOf(s.index).proto : recordName(p, s.index);
      out += cat("  ", type, " ", lower(memberName(p, s)), " = ", j + 1, ";\n");
    }
    out += "}\n";
  }
  return out;
}

std::string rkddSchemaOneFieldChanged(const Size &size, int site) {
  std::string text = rkddSchema(size, site);
  size_t body = text.find(cat("struct ", recordName(prefixOf(site), size.records - 1), "Body\n{\n"));
  size_t end = body == std::string::npos ? body : text.find(";\n", body);
  if (end != std::string::npos) text.insert(end, ", PTR");
  return text;
}

} // namespace gen
