/*
** The layout data that the pages' script draws every picture from: a
** record's own fields inline in its page, and every record of a site in the
** site's layout file, loaded when an in-line record is first opened.
*/
#include "doc.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace {

constexpr int kSmallNest = 64; /* in-line records open at once up to this many boxes */

/* What a box shows, as the script's classes name it. */
enum Box { BOX_DATA = 0, BOX_BITS = 1, BOX_RECORD = 2, BOX_POINTER = 3 };

bool holdsBits(const kitField &f) {
  return f.holdsData && (f.tagType == MTYPE_FLAG || f.tagType == MTYPE_ENUM);
}

int boxOf(const kitField &f) {
  if (f.kind == DD_KIND_POINTER) return BOX_POINTER;
  if (f.inLine) return BOX_RECORD;
  return holdsBits(f) ? BOX_BITS : BOX_DATA;
}

/* The record a field opens beneath it: held in line, laid out, with fields. */
bool opens(const kitModel &m, const kitField &f) {
  return f.inLine && f.nested >= 0 && f.problem == KIT_FIELD_OK && m.records[f.nested].fieldCount > 0;
}

std::string fieldName(const kitField &f) {
  return f.name ? std::string(f.name) : "#" + std::to_string(f.code);
}

/* "code": [name, type]: what a box of a field holding the code says. */
void appendDef(std::string &out, const kitField &f) {
  out += '"';
  appendNumber(out, f.code);
  out += "\":[";
  std::string name = fieldName(f);
  appendJsonString(out, name);
  out += ',';
  bool record = f.inLine || (f.kind == DD_KIND_POINTER && !f.holdsData && f.tagType >= 0);
  appendJsonString(out, record ? "struct " + name : docTypeName(f.tagType));
  out += ']';
}

/* [code, offset, size, bit, box, array count, opens, problem, width]: bit and
** width say where a flag's or an enumeration's value lies in its slot, by
** the rule decode and encode read it by (kitFieldBits); else the stored bit
** position and 0. */
void appendRow(std::string &out, const kitModel &m, const kitField &f) {
  int low = f.bitPos, width = 0;
  kitFieldBits(&m, &f, &low, &width);
  if (width == 0) low = f.bitPos;
  const long long row[] = {f.code, f.offset, f.size, low, boxOf(f),
                           std::max(f.arrayCount, 1), opens(m, f) ? 1 : 0, f.problem, width};
  out += '[';
  for (size_t k = 0; k < sizeof row / sizeof row[0]; k++) {
    if (k > 0) out += ',';
    appendNumber(out, row[k]);
  }
  out += ']';
}

/* "defs": {...} for the codes the fields of these records hold, each once. */
void appendDefs(std::string &out, const kitDef *records, int count) {
  std::set<int> seen;
  out += "\"defs\":{";
  for (const kitDef *d = records; d < records + count; d++)
    for (int i = 0; i < d->fieldCount; i++) {
      if (!seen.insert(d->fields[i].code).second) continue;
      if (seen.size() > 1) out += ",\n";
      appendDef(out, d->fields[i]);
    }
  out += '}';
}

void appendRows(std::string &out, const kitModel &m, const kitDef &d) {
  out += '[';
  for (int i = 0; i < d.fieldCount; i++) {
    if (i > 0) out += ',';
    appendRow(out, m, d.fields[i]);
  }
  out += ']';
}

} // namespace

void appendJsonString(std::string &out, const std::string &text) {
  out += '"';
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == '<') {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out += static_cast<char>(c);
    }
  }
  out += '"';
}

void appendLayoutData(std::string &out, const kitModel &m, const kitDef &d) {
  long long length = std::max(d.length, 0);
  int nestedBoxes = 0;
  bool nests = false;
  for (int i = 0; i < d.fieldCount; i++)
    if (const kitField &f = d.fields[i]; opens(m, f)) {
      nests = true;
      nestedBoxes += m.records[f.nested].fieldCount * std::min(std::max(f.arrayCount, 1), 16);
    }
  out += "<script type=\"application/json\" id=\"layout-data\">{\"site\":";
  appendNumber(out, m.site);
  out += ",\"length\":";
  appendNumber(out, length);
  out += ",\"open\":";
  out += nests && nestedBoxes <= kSmallNest ? "true" : "false";
  out += ",\"problems\":[";
  for (int p = KIT_FIELD_OK; p <= KIT_FIELD_BAD_KIND; p++) {
    if (p > KIT_FIELD_OK) out += ',';
    appendJsonString(out, kitFieldProblemText(p));
  }
  out += "],\n";
  appendDefs(out, &d, 1);
  out += ",\n\"fields\":";
  appendRows(out, m, d);
  out += "}</script>";
}

std::string layoutScript(const kitModel &m) {
  std::string out = "(window.RKDD_LAYOUT = window.RKDD_LAYOUT || {})[";
  appendNumber(out, m.site);
  out += "] = {";
  appendDefs(out, m.records, m.recordCount);
  out += ", \"recs\": {\n";
  for (int i = 0; i < m.recordCount; i++) {
    const kitDef &d = m.records[i];
    if (i > 0) out += ",\n";
    out += '"';
    appendNumber(out, d.code);
    out += "\":";
    appendRows(out, m, d);
  }
  out += "}};\n";
  return out;
}
