/*
** The pages of rkdd doc: an index of every record and data item with a
** filter, a page per record with its picture, a page of data items and a
** layout file per site (read by the script to open in-line records).
*/
#include "doc.h"
#include "words.h"

#include <rkdd/keywords.h>

#include <algorithm>
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
  bool record = d.kind == KIT_RECORD;
  return attributeWords({record, d.key, d.display, d.edit, d.search, d.packed, d.version,
                         d.arrayCount, d.maxId, d.enumSet, d.xcodeName});
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

std::string displayName(const kitDef &d) {
  return d.name && d.name[0] ? std::string(d.name) : "#" + std::to_string(d.code);
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
    out += countWords(s.model->recordCount, "record", "records");
    out += ", <a href=\"d";
    appendNumber(out, s.model->site);
    out += ".html\">";
    out += countWords(s.model->dataCount, "data item", "data items");
    out += "</a></li>";
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

void appendCell(std::string &out, const char *cls, const std::string &text) {
  out += cls ? std::string("<td class=\"") + cls + "\">" : "<td>";
  appendEscaped(out, text.c_str());
  out += "</td>";
}

/* A row of the field table, in the columns of show's. */
void appendFieldRow(std::string &out, const std::vector<DocSite> &sites, const kitField &f) {
  out += "<tr>";
  for (long long n : {f.offset, f.size, f.bitPos}) appendCell(out, "num", std::to_string(n));
  const char *kind = kitKindName(f.kind);
  appendCell(out, nullptr, kind ? kind : "unknown");
  appendCell(out, "num", std::to_string(f.code));
  out += "<td>";
  appendLink(out, sites, f.code, f.name);
  out += "</td>";
  std::string type = fieldTypeWords(f);
  if (f.problem != KIT_FIELD_OK) type += std::string("  (") + kitFieldProblemText(f.problem) + ")";
  appendCell(out, nullptr, type);
  out += "</tr>\n";
}

/* The legend of the picture: the boxes' own classes, so that their
** colours stand in the style sheet alone. */
const char *const kLegend =
  "<div class=\"legend\"><span><i class=\"k-data\"></i>data</span>"
  "<span><i class=\"k-bit\"></i>flag or enumeration, the bits of its value filled</span>"
  "<span><i class=\"k-rec\"></i>record in line (click to open)</span>"
  "<span><i class=\"k-ptr\"></i>pointer</span></div>\n";

void appendRecordProps(std::string &out, const std::vector<DocSite> &sites, const kitDef &d) {
  out += "<dl class=\"props\">";
  appendTextProp(out, "type", docTypeName(d.tagType).c_str());
  appendTextProp(out, "level", levelWords(d.level).c_str());
  appendTextProp(out, "length", lengthWords(false, d.length).c_str());
  appendTextProp(out, "attributes", attributes(d).c_str());
  appendTextProp(out, "label", d.label);
  appendTextProp(out, "prefix", d.prefix);
  appendTextProp(out, "description", d.desc);
  appendLinks(out, sites, "parents", d.parents, d.parentCount);
  appendLinks(out, sites, "children", d.children, d.childCount);
  appendLinks(out, sites, "aliases", d.aliases, d.aliasCount);
  out += "</dl>\n";
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
  out += ")</small></h1>\n";
  appendRecordProps(out, sites, d);
  out += "<h2>Packed layout</h2>";
  out += kLegend;
  out += "<div class=\"pic\"><svg class=\"layout\" xmlns=\"http://www.w3.org/2000/svg\" "
         "role=\"group\" aria-label=\"Packed layout, ";
  appendNumber(out, std::max(d.length, 0));
  out += " bytes\"></svg></div>";
  appendLayoutData(out, *s.model, d);
  out += "<div id=\"info\" class=\"info\" aria-live=\"polite\">Point at a field or focus it "
         "with Tab to see its name, type, offset, size and bit.</div>\n";
  if (d.fieldCount > 0) {
    out += "<h2>fields</h2><table class=\"fields\"><thead><tr><th>offset</th><th>size</th>"
           "<th>bit</th><th>kind</th><th>code</th><th>name</th><th>type</th></tr></thead><tbody>\n";
    for (int i = 0; i < d.fieldCount; i++) appendFieldRow(out, sites, d.fields[i]);
    out += "</tbody></table>\n";
  }
  out += "</section>\n</body></html>\n";
  return out;
}

void appendDataSection(std::string &out, const kitDef &d) {
  std::string name = displayName(d);
  out += "<section id=\"d";
  appendNumber(out, d.code);
  out += "\" class=\"data\"><h2>";
  appendEscaped(out, name.c_str());
  out += " <small class=\"muted\">data ";
  appendNumber(out, d.code);
  out += "</small></h2><dl class=\"props\">";
  appendTextProp(out, "type", docTypeName(d.tagType).c_str());
  appendTextProp(out, "length", lengthWords(d.tagType == MTYPE_FLAG, d.length).c_str());
  if (d.rangeSet)
    appendTextProp(out, "range", (floatText(d.minVal) + " .. " + floatText(d.maxVal)).c_str());
  if (d.defSet) appendTextProp(out, "default", floatText(d.defVal).c_str());
  if (d.defString != nullptr) appendTextProp(out, "default text", d.defString);
  appendTextProp(out, "label", d.label);
  appendTextProp(out, "description", d.desc);
  appendTextProp(out, "attributes", attributes(d).c_str());
  out += "</dl></section>\n";
}

std::string dataPage(const DocSite &s) {
  std::string out;
  appendHead(out, "Data items of site " + std::to_string(s.model->site), nullptr);
  out += "<nav><a href=\"index.html\">Index</a></nav><h1>Data items <small>site ";
  appendNumber(out, s.model->site);
  out += ", <code>";
  appendEscaped(out, s.path.c_str());
  out += "</code></small></h1>\n";
  for (int i = 0; i < s.model->dataCount; i++) appendDataSection(out, s.model->data[i]);
  out += "</body></html>\n";
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

std::string docTypeName(int tagType) { return typeWords(tagType); }

bool writeDocs(const std::vector<DocSite> &sites, const std::string &dir, std::string *error,
               std::vector<std::string> *written) {
  auto write = [&](const std::string &name, const std::string &text) {
    if (!writeFile(dir, name, text, error)) return false;
    if (written != nullptr) written->push_back(name);
    return true;
  };
  if (!write("doc.css", kDocCss) || !write("doc.js", kDocJs) || !write("index.html", indexPage(sites)))
    return false;
  for (const DocSite &s : sites) {
    std::string site = std::to_string(s.model->site), layout = "s" + site + ".js";
    if (!write(layout, layoutScript(*s.model)) || !write("d" + site + ".html", dataPage(s)))
      return false;
    for (int i = 0; i < s.model->recordCount; i++) {
      const kitDef &d = s.model->records[i];
      if (!write("r" + std::to_string(d.code) + ".html", recordPage(sites, s, d, layout)))
        return false;
    }
  }
  return true;
}
