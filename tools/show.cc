/*
** The show command: the sites that schema files become, as text for a person
** or as one JSON document. Both are rendered from the same JSON value of each
** definition, so they always carry the same facts, and written as they go.
*/
#include "tool.h"
#include "words.h"

#include <rkdd/rkdd.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>

using Json = nlohmann::ordered_json;

namespace {

Json text(const char *s) { return s ? Json(s) : Json(nullptr); }

Json linkNames(int count, const int *codes) {
  Json names = Json::array();
  for (int i = 0; codes != nullptr && i < count; i++) names.push_back(nameOf(codes[i]));
  return names;
}

/* What records and data items have in common. */
void headJson(Json &j, int code) {
  int tag = ddGetTagType(code);
  j["code"] = code;
  j["name"] = text(ddGetName(code));
  j["type"] = text(kitTagTypeName(tag));
  j["typeNumber"] = tag;
}

void attributesJson(Json &j, int code) {
  const ddSchema *head = ddGetSchema(code);
  j["arrayCount"] = ddGetArrayCount(code);
  j["key"] = ddGetKey(code);
  j["display"] = ddIsDisplay(code) != 0;
  j["edit"] = ddIsEdit(code) != 0;
  j["search"] = ddIsSearch(code) != 0;
  j["packed"] = (head->flags & DD_FLAG_IS_PACKED) != 0;
  j["version"] = head->version;
  j["extends"] = text(head->xcodeName);
}

Json recordJson(const kitModel &model, int code) {
  Json j;
  headJson(j, code);
  int level = ddGetIlevel(code);
  j["level"] = level;
  j["levelName"] = level ? text(kitLevelName(level)) : Json(nullptr);
  j["length"] = ddGetLength(code);
  attributesJson(j, code);
  j["maxId"] = ddGetMaxId(code);
  j["label"] = text(ddGetLabel(code));
  j["prefix"] = text(ddGetPrefix(code));
  j["description"] = text(ddGetDesc(code));
  j["parents"] = linkNames(ddGetParentCount(code), ddGetParent(code));
  j["children"] = linkNames(ddGetChildCount(code), ddGetChild(code));
  j["aliases"] = linkNames(ddGetAliasCount(code), ddGetAlias(code));
  Json fields = Json::array();
  for (const kitField &f : recordFields(model, code)) {
    Json field;
    field["offset"] = f.offset;
    field["size"] = f.size;
    field["bitPos"] = f.bitPos;
    field["kind"] = kindName(f.kind);
    field["code"] = f.code;
    field["name"] = nameOf(f.code);
    field["type"] = fieldTypeWords(f);
    field["problem"] = f.problem == KIT_FIELD_OK ? Json(nullptr) : Json(kitFieldProblemText(f.problem));
    fields.push_back(field);
  }
  j["fields"] = fields;
  return j;
}

Json dataJson(int code) {
  Json j;
  headJson(j, code);
  const ddSchema *head = ddGetSchema(code);
  bool flag = head->tagType == MTYPE_FLAG;
  j["length"] = head->length;
  j["lengthUnit"] = flag ? "bits" : "bytes";
  attributesJson(j, code);
  j["range"] = ddIsRangeSet(code)
    ? Json{{"min", floatJson(ddGetMinVal(code))}, {"max", floatJson(ddGetMaxVal(code))}} : Json(nullptr);
  j["default"] = ddIsDefSet(code) ? floatJson(ddGetDefVal(code)) : Json(nullptr);
  j["defaultString"] = text(ddGetDefString(code));
  j["enum"] = ddIsEnumSet(code) != 0;
  j["label"] = text(ddGetLabel(code));
  j["description"] = text(ddGetDesc(code));
  return j;
}

/* ---- text rendering of the same values ---- */

std::string plain(const Json &v) {
  if (v.is_string()) return v.get<std::string>();
  if (v.is_number_float()) return fmtFloat(v.get<float>());
  return v.dump();
}

/* One "name  value" line; a value of several lines keeps its indentation,
** and blanks at line ends go. */
void line(const char *name, const std::string &value) {
  std::string out = "  " + std::string(name) + std::string(13 - std::string(name).size(), ' ');
  size_t start = 0;
  for (bool first = true; start <= value.size(); first = false) {
    size_t end = value.find('\n', start);
    if (end == std::string::npos) end = value.size();
    std::string part = value.substr(start, end - start);
    part.erase(part.find_last_not_of(" \t\r") + 1);
    std::cout << (first ? out : std::string(15, ' ')) << part << "\n";
    start = end + 1;
  }
}

void optional(const char *name, const Json &v) {
  if (!v.is_null()) line(name, plain(v));
}

void list(const char *name, const Json &names) {
  std::string joined;
  for (const Json &n : names) joined += (joined.empty() ? "" : ", ") + plain(n);
  if (!joined.empty()) line(name, joined);
}

void attributes(const Json &j) {
  auto n = [&j](const char *key) { return j.contains(key) ? j[key].get<long long>() : 0; };
  std::string extends = j["extends"].is_null() ? "" : plain(j["extends"]);
  std::string a = attributeWords({j.contains("maxId"), n("key"), j["display"], j["edit"],
                                  j["search"], j["packed"], n("version"), n("arrayCount"),
                                  n("maxId"), j.contains("enum") && j["enum"],
                                  j["extends"].is_null() ? nullptr : extends.c_str()});
  if (!a.empty()) line("attributes", a);
}

void fieldTable(const Json &fields) {
  if (fields.empty()) {
    line("fields", "none");
    return;
  }
  size_t nameW = 4, typeW = 4;
  for (const Json &f : fields) {
    nameW = std::max(nameW, plain(f["name"]).size());
    typeW = std::max(typeW, plain(f["type"]).size());
  }
  std::cout << "  fields\n";
  char row[512];
  std::snprintf(row, sizeof row, "    %6s %5s %4s  %-7s %6s  %-*s  %s", "offset", "size", "bit",
                "kind", "code", static_cast<int>(nameW), "name", "type");
  std::cout << row << "\n";
  for (const Json &f : fields) {
    std::string type = plain(f["type"]);
    if (!f["problem"].is_null()) type += "  (" + plain(f["problem"]) + ")";
    std::snprintf(row, sizeof row, "    %6d %5d %4d  %-7s %6d  %-*s  %s", f["offset"].get<int>(),
                  f["size"].get<int>(), f["bitPos"].get<int>(), plain(f["kind"]).c_str(),
                  f["code"].get<int>(), static_cast<int>(nameW), plain(f["name"]).c_str(),
                  type.c_str());
    std::string out = row;
    out.erase(out.find_last_not_of(' ') + 1);
    std::cout << out << "\n";
  }
}

void printRecord(const Json &r) {
  std::cout << "\nrecord " << plain(r["name"]) << " (code " << plain(r["code"]) << ")\n";
  line("type", r["type"].is_null() ? "type " + plain(r["typeNumber"]) : plain(r["type"]));
  line("level", levelWords(r["level"]));
  line("length", plain(r["length"]));
  attributes(r);
  optional("label", r["label"]);
  optional("prefix", r["prefix"]);
  optional("description", r["description"]);
  list("parents", r["parents"]);
  list("children", r["children"]);
  list("aliases", r["aliases"]);
  fieldTable(r["fields"]);
}

void printData(const Json &d) {
  std::cout << "\ndata " << plain(d["name"]) << " (code " << plain(d["code"]) << ")\n";
  line("type", d["type"].is_null() ? "type " + plain(d["typeNumber"]) : plain(d["type"]));
  line("length", lengthWords(d["lengthUnit"] == "bits", d["length"]));
  if (!d["range"].is_null())
    line("range", plain(d["range"]["min"]) + " .. " + plain(d["range"]["max"]));
  optional("default", d["default"]);
  if (!d["defaultString"].is_null()) line("default text", plain(d["defaultString"]));
  optional("label", d["label"]);
  optional("description", d["description"]);
  attributes(d);
}

void printFile(const Loaded &loaded) {
  Model model = readModel(loaded.site);
  if (!model) return;
  std::cout << loaded.path << ": site " << loaded.site << ", "
            << countWords(model->recordCount, "record", "records") << ", "
            << countWords(model->dataCount, "data item", "data items") << "\n";
  for (int i = 0; i < model->recordCount; i++) printRecord(recordJson(*model, model->records[i].code));
  for (int i = 0; i < model->dataCount; i++) printData(dataJson(model->data[i].code));
}

/* ---- the JSON document, written as it goes ---- */

/* Writes v as dump(2) writes it inside a document whose lines, at v's
** depth, are indented by indent spaces. */
void put(const Json &v, int indent) {
  std::string text = v.dump(2, ' ', false, Json::error_handler_t::replace);
  size_t from = 0;
  for (size_t end; (end = text.find('\n', from)) != std::string::npos; from = end + 1)
    std::cout.write(text.data() + from, static_cast<std::streamsize>(end - from)) << "\n"
                                                                               << std::string(indent, ' ');
  std::cout.write(text.data() + from, static_cast<std::streamsize>(text.size() - from));
}

/* The key of an object's member, the first one or one after others. */
void key(const char *name, int indent, bool first) {
  std::cout << (first ? "\n" : ",\n") << std::string(indent, ' ') << '"' << name << "\": ";
}

/* An array at indent of count items, each written by item(i, its indent). */
template <typename Item> void array(int count, int indent, Item item) {
  if (count == 0) {
    std::cout << "[]";
    return;
  }
  std::cout << "[";
  for (int i = 0; i < count; i++) {
    std::cout << (i ? ",\n" : "\n") << std::string(indent + 2, ' ');
    item(i, indent + 2);
  }
  std::cout << "\n" << std::string(indent, ' ') << "]";
}

/* One file's object: the loaded site one definition at a time, never the
** whole site as one value. */
void writeFile(const Loaded &loaded, int indent) {
  Model model = readModel(loaded.site);
  int records = model ? model->recordCount : 0, data = model ? model->dataCount : 0;
  std::cout << "{";
  key("file", indent + 2, true);
  put(loaded.path, indent + 2);
  key("imported", indent + 2, false);
  put(loaded.imported, indent + 2);
  key("site", indent + 2, false);
  put(loaded.site >= 0 ? Json(loaded.site) : Json(nullptr), indent + 2);
  key("diagnostics", indent + 2, false);
  put(diagnosticsJson(loaded.diagnostics), indent + 2);
  key("records", indent + 2, false);
  array(records, indent + 2, [&](int i, int at) { put(recordJson(*model, model->records[i].code), at); });
  key("data", indent + 2, false);
  array(data, indent + 2, [&](int i, int at) { put(dataJson(model->data[i].code), at); });
  std::cout << "\n" << std::string(indent, ' ') << "}";
}

} // namespace

int cmdShow(const std::vector<std::string> &files, bool json) {
  if (!openAll(files)) return EXIT_USAGE;
  int status = EXIT_OK;
  std::vector<Loaded> all;
  for (const std::string &path : files) {
    all.push_back(loadSchema(path));
    relayDiagnostics(all.back());
    if (failed(all.back())) status = EXIT_FAILED;
  }
  if (json) {
    std::cout << "{";
    key("format", 2, true);
    std::cout << JSON_FORMAT;
    key("files", 2, false);
    array(static_cast<int>(all.size()), 2, [&](int i, int at) { writeFile(all[i], at); });
    std::cout << "\n}\n";
  } else {
    bool first = true;
    for (const Loaded &loaded : all) {
      if (loaded.site < 0) continue;
      if (!first) std::cout << "\n";
      printFile(loaded);
      first = false;
    }
  }
  return status;
}
