/*
** The pages of rkdd doc: an index of every record and data item with a
** filter, a page per record with its picture, a page of data items and a
** layout file per site (read by the script to open in-line records).
*/
#include "doc.h"

#include <rkdd/keywords.h>

#include <charconv>
#include <cmath>
#include <cstdio>

namespace {

bool writeFile(const std::string &dir, const std::string &name, const std::string &text,
               std::string *error) {
  std::string path = dir + "/" + name;
  std::FILE *f = std::fopen(path.c_str(), "wb");
  bool ok = f != nullptr && std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (f != nullptr && std::fclose(f) != 0) ok = false;
  if (!ok) *error = "cannot write " + path;
  return ok;
}

void appendHead(std::string &out, const std::string &title, const char *layout) {
  out += "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width\"><title>";
  appendEscaped(out, title.c_str());
  out += "</title><link rel=\"stylesheet\" href=\"doc.css\"><script src=\"doc.js\" defer></script>"
         "</head>\n<body";
  if (layout != nullptr) {
    out += " data-layout=\"";
    out += layout;
    out += '"';
  }
  out += ">\n";
}

const DocSite *siteOfCode(const std::vector<DocSite> &sites, int code) {
  int site = code / RKDD_CODE_SPAN;
  for (const DocSite &s : sites)
    if (s.model->site == site) return &s;
  return nullptr;
}

/* A link to the page or section of a definition when it is documented,
** else its name as text. */
void appendLink(std::string &out, const std::vector<DocSite> &sites, int code, const char *name) {
  const DocSite *s = code > 0 ? siteOfCode(sites, code) : nullptr;
  const kitDef *def = s ? kitFindCode(s->model, code) : nullptr;
  std::string text = name ? name : def && def->name ? def->name : "#" + std::to_string(code);
  if (def == nullptr) {
    appendEscaped(out, text.c_str());
    return;
  }
  out += "<a href=\"";
  if (def->kind == KIT_RECORD) {
    out += 'r';
    appendNumber(out, code);
    out += ".html";
  } else {
    out += 'd';
    appendNumber(out, s->model->site);
    out += ".html#d";
    appendNumber(out, code);
  }
  out += "\">";
  appendEscaped(out, text.c_str());
  out += "</a>";
}

void appendProp(std::string &out, const char *term, const std::string &html) {
  out += "<dt>";
  out += term;
  out += "</dt><dd>";
  out += html;
  out += "</dd>";
}

void appendTextProp(std::string &out, const char *term, const char *text) {
  if (text == nullptr || text[0] == '\0') return;
  std::string html;
  appendEscaped(html, text);
  appendProp(out, term, html);
}

std::string attributes(const kitDef &d) {
  std::string a = "key " + std::to_string(d.key);
  a += d.display ? ", display" : ", no display";
  a += d.edit ? ", edit" : ", no edit";
  a += d.search ? ", search" : ", no search";
  a += d.packed ? ", packed" : ", unpacked";
  a += ", version " + std::to_string(d.version);
  return a;
}

void appendLinks(std::string &out, const std::vector<DocSite> &sites, const char *term,
                 const kitLink *links, int count) {
  if (count <= 0) return;
  std::string html;
  for (int i = 0; i < count; i++) {
    if (i > 0) html += ", ";
    appendLink(html, sites, links[i].code, links[i].name);
  }
  appendProp(out, term, html);
}

void appendExtends(std::string &out, const std::vector<DocSite> &sites, const kitDef &d) {
  if (d.extendCode != 0) {
    std::string html;
    appendLink(html, sites, d.extendCode, d.extendName);
    appendProp(out, "Extends", html);
  } else if (d.xcodeName != nullptr && d.xcodeName[0] != '\0') {
    std::string html;
    appendEscaped(html, d.xcodeName);
    appendProp(out, "Extends", html + " <span class=\"muted\">(no such record)</span>");
  }
}

std::string displayName(const kitDef &d) {
  return d.name && d.name[0] ? std::string(d.name) : "#" + std::to_string(d.code);
}

std::string lengthText(const kitDef &d) {
  if (d.kind == KIT_DATA && d.tagType == MTYPE_FLAG) return std::to_string(d.length) + " bit(s)";
  if (d.length < 0) return "not set";
  return std::to_string(d.length) + (d.length == 1 ? " byte" : " bytes");
}

std::string floatText(float v) {
  char text[32];
  return kitFloatText(v, text, sizeof text);
}

void appendIndexRow(std::string &out, const std::vector<DocSite> &sites, const DocSite &s,
                    const kitDef &d) {
  out += "<tr><td>";
  appendLink(out, sites, d.code, d.name && d.name[0] ? d.name : nullptr);
  out += d.kind == KIT_RECORD ? "</td><td>record" : "</td><td>data";
  out += "</td><td class=\"num\">";
  appendNumber(out, s.model->site);
  out += "</td><td class=\"num\">";
  appendNumber(out, d.code);
  out += "</td><td>";
  appendEscaped(out, docTypeName(d.tagType).c_str());
  out += "</td><td>";
  appendEscaped(out, d.label);
  out += "</td></tr>\n";
}

std::string indexPage(const std::vector<DocSite> &sites) {
  std::string out;
  appendHead(out, "Schema reference", nullptr);
  out += "<header><h1>Schema reference</h1><ul class=\"files\">";
  for (const DocSite &s : sites) {
    out += "<li>Site ";
    appendNumber(out, s.model->site);
    out += ": <code>";
    appendEscaped(out, s.path.c_str());
    out += "</code>, ";
    appendNumber(out, s.model->recordCount);
    out += " records, <a href=\"d";
    appendNumber(out, s.model->site);
    out += ".html\">";
    appendNumber(out, s.model->dataCount);
    out += " data items</a></li>";
  }
  out += "</ul><input id=\"search\" type=\"search\" placeholder=\"Filter by name, label, code or type\" "
         "aria-label=\"Filter\" autocomplete=\"off\"><div id=\"count\"></div></header>\n"
         "<table id=\"index\"><thead><tr><th>Name</th><th>Kind</th><th>Site</th><th>Code</th>"
         "<th>Tag type</th><th>Label</th></tr></thead><tbody>\n";
  for (const DocSite &s : sites) {
    for (int i = 0; i < s.model->recordCount; i++) appendIndexRow(out, sites, s, s.model->records[i]);
    for (int i = 0; i < s.model->dataCount; i++) appendIndexRow(out, sites, s, s.model->data[i]);
  }
  out += "</tbody></table>\n</body></html>\n";
  return out;
}

void appendFieldRow(std::string &out, const std::vector<DocSite> &sites, const kitField &f) {
  out += "<tr><td>";
  appendLink(out, sites, f.code, f.name);
  out += "</td><td>";
  out += f.kind == DD_KIND_POINTER ? "pointer" : f.inLine ? "in line" : "data";
  out += "</td><td>";
  appendEscaped(out, docTypeName(f.tagType).c_str());
  out += "</td><td class=\"num\">";
  appendNumber(out, f.offset);
  out += "</td><td class=\"num\">";
  appendNumber(out, f.size);
  out += "</td><td class=\"num\">";
  appendNumber(out, f.arrayCount);
  out += "</td><td class=\"num\">";
  appendNumber(out, f.bitPos);
  out += "</td></tr>\n";
}

std::string recordPage(const std::vector<DocSite> &sites, const DocSite &s, const kitDef &d,
                       const std::string &layoutFile) {
  std::string out, name = displayName(d);
  appendHead(out, name + " (record)", layoutFile.c_str());
  out += "<nav><a href=\"index.html\">Index</a> &middot; site ";
  appendNumber(out, s.model->site);
  out += ", <code>";
  appendEscaped(out, s.path.c_str());
  out += "</code></nav>\n<section id=\"r";
  appendNumber(out, d.code);
  out += "\" class=\"record\"><h1>";
  appendEscaped(out, name.c_str());
  out += " <small>record ";
  appendNumber(out, d.code);
  out += " (local ";
  appendNumber(out, d.local);
  out += ")</small></h1>\n<dl class=\"props\">";
  appendTextProp(out, "Type", docTypeName(d.tagType).c_str());
  if (d.level != 0) {
    const char *level = kitLevelName(d.level);
    std::string text = (level ? std::string(level) + " (" : "(") + std::to_string(d.level) + ")";
    appendTextProp(out, "Format level", text.c_str());
  }
  appendTextProp(out, "Length", lengthText(d).c_str());
  if (d.arrayCount >= 2) appendTextProp(out, "Array count", std::to_string(d.arrayCount).c_str());
  appendTextProp(out, "Attributes", attributes(d).c_str());
  appendTextProp(out, "Label", d.label);
  appendTextProp(out, "Prefix", d.prefix);
  appendTextProp(out, "Message", d.desc);
  appendExtends(out, sites, d);
  appendLinks(out, sites, "Parents", d.parents, d.parentCount);
  appendLinks(out, sites, "Children", d.children, d.childCount);
  appendLinks(out, sites, "Aliases", d.aliases, d.aliasCount);
  out += "</dl>\n<h2>Packed layout</h2><div class=\"legend\"><span><i style=\"background:#dcebfa\"></i>data</span>"
         "<span><i style=\"background:#f6dff2\"></i>flag or enumeration, its bit filled</span>"
         "<span><i style=\"background:#e3f3df\"></i>record in line (click to open)</span>"
         "<span><i style=\"background:#fdf0d5\"></i>pointer</span></div>\n<div class=\"pic\">";
  appendLayoutSvg(out, *s.model, d);
  out += "</div><div id=\"info\" class=\"info\" aria-live=\"polite\">Point at a field or focus it "
         "with Tab to see its name, type, offset, size and bit.</div>\n";
  if (d.fieldCount > 0) {
    out += "<h2>Fields</h2><table class=\"fields\"><thead><tr><th>Field</th><th>Held</th><th>Type</th>"
           "<th>Offset</th><th>Size</th><th>Count</th><th>Bit</th></tr></thead><tbody>\n";
    for (int i = 0; i < d.fieldCount; i++) appendFieldRow(out, sites, d.fields[i]);
    out += "</tbody></table>\n";
  }
  out += "</section>\n</body></html>\n";
  return out;
}

void appendDataSection(std::string &out, const std::vector<DocSite> &sites, const kitDef &d) {
  std::string name = displayName(d);
  out += "<section id=\"d";
  appendNumber(out, d.code);
  out += "\" class=\"data\"><h2>";
  appendEscaped(out, name.c_str());
  out += " <small class=\"muted\">data ";
  appendNumber(out, d.code);
  out += "</small></h2><dl class=\"props\">";
  appendTextProp(out, "Type", docTypeName(d.tagType).c_str());
  appendTextProp(out, "Length", lengthText(d).c_str());
  appendTextProp(out, "Array count", std::to_string(d.arrayCount).c_str());
  appendTextProp(out, "Range", d.rangeSet ? (floatText(d.minVal) + " .. " + floatText(d.maxVal)).c_str()
                                          : "none");
  std::string def = d.defSet ? floatText(d.defVal) : "none";
  if (d.defString && d.defString[0]) def += " (text \"" + std::string(d.defString) + "\")";
  appendTextProp(out, "Default", def.c_str());
  if (d.enumSet) appendTextProp(out, "Enumeration", "yes");
  appendTextProp(out, "Label", d.label);
  appendTextProp(out, "Message", d.desc);
  appendTextProp(out, "Attributes", attributes(d).c_str());
  appendExtends(out, sites, d);
  out += "</dl></section>\n";
}

std::string dataPage(const std::vector<DocSite> &sites, const DocSite &s) {
  std::string out;
  appendHead(out, "Data items of site " + std::to_string(s.model->site), nullptr);
  out += "<nav><a href=\"index.html\">Index</a></nav><h1>Data items <small>site ";
  appendNumber(out, s.model->site);
  out += ", <code>";
  appendEscaped(out, s.path.c_str());
  out += "</code></small></h1>\n";
  for (int i = 0; i < s.model->dataCount; i++) appendDataSection(out, sites, s.model->data[i]);
  out += "</body></html>\n";
  return out;
}

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

/* The site's definitions and every record's fields, as the script draws
** them: defs[code] = [name, type, tag type], recs[code] = [length, [field
** code, offset, size, bit, kind, array count, in line], ...]. */
std::string layoutScript(const kitModel &m) {
  std::string out = "(window.RKDD_LAYOUT = window.RKDD_LAYOUT || {})[";
  appendNumber(out, m.site);
  out += "] = {defs: {\n";
  auto def = [&](const kitDef &d, bool record) {
    appendNumber(out, d.code);
    out += ":[";
    std::string name = displayName(d);
    appendJsonString(out, name);
    out += ',';
    appendJsonString(out, record ? "struct " + name : docTypeName(d.tagType));
    out += ',';
    appendNumber(out, record ? -1 : d.tagType);
    out += "],\n";
  };
  for (int i = 0; i < m.recordCount; i++) def(m.records[i], true);
  for (int i = 0; i < m.dataCount; i++) def(m.data[i], false);
  out += "}, recs: {\n";
  for (int i = 0; i < m.recordCount; i++) {
    const kitDef &d = m.records[i];
    appendNumber(out, d.code);
    out += ":[";
    appendNumber(out, d.length);
    for (int j = 0; j < d.fieldCount; j++) {
      const kitField &f = d.fields[j];
      const long long row[] = {f.code, f.offset, f.size, f.bitPos, f.kind, f.arrayCount,
                               f.inLine && f.problem == KIT_FIELD_OK ? 1 : 0};
      out += ",[";
      for (size_t k = 0; k < sizeof row / sizeof row[0]; k++) {
        if (k > 0) out += ',';
        appendNumber(out, row[k]);
      }
      out += ']';
    }
    out += "],\n";
  }
  out += "}};\n";
  return out;
}

} // namespace

void appendEscaped(std::string &out, const char *text) {
  if (text == nullptr) return;
  for (const char *p = text; *p; p++) {
    switch (*p) {
    case '&': out += "&amp;"; break;
    case '<': out += "&lt;"; break;
    case '>': out += "&gt;"; break;
    case '"': out += "&quot;"; break;
    case '\'': out += "&#39;"; break;
    default: out += *p;
    }
  }
}

void appendNumber(std::string &out, long long value) {
  char text[24];
  auto r = std::to_chars(text, text + sizeof text, value);
  out.append(text, r.ptr);
}

void appendFixed(std::string &out, double value) {
  long long thousandths = std::llround(value * 1000);
  if (thousandths < 0) {
    out += '-';
    thousandths = -thousandths;
  }
  appendNumber(out, thousandths / 1000);
  long long frac = thousandths % 1000;
  if (frac == 0) return;
  char digits[4] = {static_cast<char>('0' + frac / 100), static_cast<char>('0' + frac / 10 % 10),
                    static_cast<char>('0' + frac % 10), 0};
  int end = 3;
  while (digits[end - 1] == '0') end--;
  out += '.';
  out.append(digits, static_cast<size_t>(end));
}

std::string docTypeName(int tagType) {
  if (tagType < 0) return "?";
  const char *name = kitTagTypeName(tagType);
  return name ? name : "type " + std::to_string(tagType);
}

bool writeDocs(const std::vector<DocSite> &sites, const std::string &dir, std::string *error) {
  if (!writeFile(dir, "doc.css", kDocCss, error) || !writeFile(dir, "doc.js", kDocJs, error) ||
      !writeFile(dir, "index.html", indexPage(sites), error))
    return false;
  std::string page;
  for (const DocSite &s : sites) {
    std::string site = std::to_string(s.model->site), layout = "s" + site + ".js";
    if (!writeFile(dir, layout, layoutScript(*s.model), error) ||
        !writeFile(dir, "d" + site + ".html", dataPage(sites, s), error))
      return false;
    for (int i = 0; i < s.model->recordCount; i++) {
      const kitDef &d = s.model->records[i];
      if (!writeFile(dir, "r" + std::to_string(d.code) + ".html", recordPage(sites, s, d, layout), error))
        return false;
    }
  }
  return true;
}
