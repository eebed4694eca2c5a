/*
** The picture of a record's packed layout, as inline SVG: a byte ruler, a
** box per field as wide as its bytes, arrays as cells, flags and
** enumerations marked at their bit, pointers and in-line records told apart.
*/
#include "doc.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kWidth = 960; /* pixels a record's bytes spread over at most */
constexpr int kSmallNest = 64; /* in-line records open at once up to this many boxes */

/* One attribute, blank first: name="value", the value in fixed point or whole. */
void appendAttr(std::string &out, const char *name, double value) {
  out += ' ';
  out += name;
  out += "=\"";
  appendFixed(out, value);
  out += '"';
}

void appendIntAttr(std::string &out, const char *name, long long value) {
  out += ' ';
  out += name;
  out += "=\"";
  appendNumber(out, value);
  out += '"';
}

bool isBitType(int tagType) { return tagType == MTYPE_FLAG || tagType == MTYPE_ENUM; }

std::string fieldName(const kitField &f) {
  return f.name ? std::string(f.name) : "#" + std::to_string(f.code);
}

std::string fieldType(const kitField &f) {
  std::string type = f.inLine || (f.kind == DD_KIND_POINTER && !f.holdsData && f.tagType >= 0)
                       ? "struct " + fieldName(f)
                       : docTypeName(f.tagType);
  if (f.kind == DD_KIND_POINTER) return type + " *";
  if (f.arrayCount >= 2) type += "[" + std::to_string(f.arrayCount) + "]";
  return type;
}

const char *boxClass(const kitField &f) {
  if (f.problem != KIT_FIELD_OK) return "f bad";
  if (f.kind == DD_KIND_POINTER) return "f k-ptr";
  if (f.inLine) return "f k-rec";
  if (f.holdsData && isBitType(f.tagType)) return "f k-bit";
  return "f k-data";
}

/* The label as it fits a box w pixels wide (about 7 pixels a character):
** whole, cut short with an ellipsis, or empty when not even four fit. */
std::string fitLabel(const std::string &label, double w) {
  size_t room = w > 6 ? static_cast<size_t>((w - 6) / 7) : 0;
  if (label.size() <= room) return label;
  if (room < 4) return "";
  return label.substr(0, room - 1) + "\u2026";
}

void appendTitle(std::string &out, const kitField &f) {
  out += "<title>";
  std::string text = fieldName(f) + ": " + fieldType(f) + ", offset " + std::to_string(f.offset) +
                     ", " + std::to_string(f.size) + (f.size == 1 ? " byte" : " bytes");
  if (f.arrayCount >= 2 && f.kind != DD_KIND_POINTER)
    text += ", " + std::to_string(f.arrayCount) + " elements";
  if ((f.holdsData && isBitType(f.tagType) && f.kind != DD_KIND_POINTER) || f.bitPos != 0)
    text += ", bit " + std::to_string(f.bitPos);
  if (f.kind == DD_KIND_POINTER) text += ", pointer";
  if (const char *problem = kitFieldProblemText(f.problem); *problem != '\0')
    text += std::string(", ") + problem;
  appendEscaped(out, text.c_str());
  out += "</title>";
}

void appendRuler(std::string &out, long long total, double scale) {
  long long step = 1;
  while (static_cast<double>(step) * scale < 48) step *= 2;
  double end = kDocLeft + static_cast<double>(total) * scale;
  out += "<g class=\"ruler\" aria-hidden=\"true\"><path d=\"M";
  appendFixed(out, kDocLeft);
  out += " 20H";
  appendFixed(out, end);
  for (long long b = 0; b <= total; b += step) { /* one path for every tick */
    out += 'M';
    appendFixed(out, kDocLeft + static_cast<double>(b) * scale);
    out += " 13v11";
  }
  if (step > 1 && scale >= 5) /* a short tick per byte between the numbered ones */
    for (long long b = 0; b <= total; b++) {
      if (b % step == 0) continue;
      out += 'M';
      appendFixed(out, kDocLeft + static_cast<double>(b) * scale);
      out += " 17v5";
    }
  out += "\"/>";
  for (long long b = 0; b <= total; b += step) {
    out += "<text x=\"";
    appendFixed(out, kDocLeft + static_cast<double>(b) * scale + 2);
    out += "\" y=\"10\">";
    appendNumber(out, b);
    out += "</text>";
  }
  out += "</g>";
}

/* A strip of the eight bits of the byte that holds the field's bit, that
** bit filled. */
void appendBits(std::string &out, const kitField &f, double x, double scale) {
  int byte = f.bitPos / 8;
  if (byte >= f.size) byte = 0;
  double bx = x + byte * scale, cell = scale / 8, y = kDocTop + kDocBoxHeight - 9;
  out += "<path class=\"bits\" d=\"M";
  appendFixed(out, bx);
  out += ' ';
  appendFixed(out, y);
  out += 'h';
  appendFixed(out, scale);
  if (cell >= 2)
    for (int i = 1; i < 8; i++) {
      out += 'M';
      appendFixed(out, bx + i * cell);
      out += ' ';
      appendFixed(out, y);
      out += "v9";
    }
  out += "\"/><rect class=\"bit\"";
  appendAttr(out, "x", bx + (f.bitPos % 8) * cell);
  appendAttr(out, "y", y);
  appendAttr(out, "width", std::max(cell, 1.0));
  out += " height=\"9\"/>";
}

void appendBox(std::string &out, const kitModel &model, const kitField &f, double scale) {
  double x = kDocLeft + f.offset * scale, w = std::max(f.size, 0) * scale;
  bool nests = f.inLine && f.nested >= 0 && f.problem == KIT_FIELD_OK &&
               model.records[f.nested].fieldCount > 0;
  out += "<g class=\"";
  out += boxClass(f);
  out += "\" tabindex=\"0\"";
  if (nests) {
    appendIntAttr(out, "data-rec", f.code);
    appendIntAttr(out, "data-off", f.offset);
    appendIntAttr(out, "data-size", f.size);
    appendIntAttr(out, "data-n", std::max(f.arrayCount, 1));
    out += " aria-expanded=\"false\"";
  }
  out += '>';
  appendTitle(out, f);
  out += "<rect class=\"box\"";
  appendAttr(out, "x", x);
  appendAttr(out, "y", kDocTop);
  appendAttr(out, "width", w);
  appendAttr(out, "height", kDocBoxHeight);
  out += " rx=\"2\"/>";
  int n = f.arrayCount;
  if (n >= 2 && f.kind != DD_KIND_POINTER && w / n >= 3) {
    out += "<path class=\"cells\" d=\"";
    for (int i = 1; i < n; i++) {
      out += 'M';
      appendFixed(out, x + w * i / n);
      out += ' ';
      appendFixed(out, kDocTop);
      out += "v36";
    }
    out += "\"/>";
  }
  if (f.holdsData && isBitType(f.tagType) && f.kind != DD_KIND_POINTER && f.size > 0)
    appendBits(out, f, x, scale);
  std::string label = fitLabel((f.kind == DD_KIND_POINTER ? "*" : "") + fieldName(f), w);
  if (!label.empty()) {
    out += "<text";
    appendAttr(out, "x", x + 4);
    appendAttr(out, "y", kDocTop + 15);
    out += '>';
    appendEscaped(out, label.c_str());
    out += "</text>";
    std::string sub = std::to_string(f.size) + " B";
    if (static_cast<double>(sub.size()) * 6 + 6 <= w) {
      out += "<text class=\"sub\"";
      appendAttr(out, "x", x + 4);
      appendAttr(out, "y", kDocTop + 28);
      out += '>';
      out += sub;
      out += "</text>";
    }
  }
  out += "</g>";
}

} // namespace

double docScale(long long length) {
  if (length <= 0) return 48;
  double scale = std::floor(kWidth / static_cast<double>(length) * 100) / 100;
  return std::clamp(scale, 2.0, 48.0);
}

void appendLayoutSvg(std::string &out, const kitModel &model, const kitDef &def) {
  long long total = std::max(def.length, 0);
  int nestedBoxes = 0;
  bool nests = false;
  for (int i = 0; i < def.fieldCount; i++) {
    const kitField &f = def.fields[i];
    total = std::max(total, static_cast<long long>(f.offset) + std::max(f.size, 0));
    if (f.inLine && f.nested >= 0 && f.problem == KIT_FIELD_OK) {
      nests = true;
      nestedBoxes += model.records[f.nested].fieldCount * std::min(std::max(f.arrayCount, 1), 16);
    }
  }
  double scale = docScale(total);
  double width = 2 * kDocLeft + static_cast<double>(total) * scale;
  double height = kDocTop + kDocBand * (nests ? 2 : 1);
  out += "<svg class=\"layout\" xmlns=\"http://www.w3.org/2000/svg\"";
  appendAttr(out, "width", std::max(width, 120.0));
  appendAttr(out, "height", height);
  appendIntAttr(out, "data-site", model.site);
  appendAttr(out, "data-scale", scale);
  appendAttr(out, "data-left", kDocLeft);
  appendAttr(out, "data-top", kDocTop);
  appendIntAttr(out, "data-open", nests && nestedBoxes <= kSmallNest);
  out += " role=\"group\" aria-label=\"Packed layout, ";
  appendNumber(out, total);
  out += " bytes\">";
  appendRuler(out, total, scale);
  for (int i = 0; i < def.fieldCount; i++) appendBox(out, model, def.fields[i], scale);
  out += "</svg>";
}
