/*
** The language server's child (rkdd lsp-analyze): imports the text on standard
** input once and writes as JSON its messages, definitions, places and layouts.
*/
#include "lsp.h"
#include "tool.h"

#include <rkdd/rkdd.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace {

Json text(const char *s) { return s ? Json(s) : Json(nullptr); }

Json messagesOf(const Loaded &loaded) {
  Json all = Json::array();
  for (const Diagnostic &d : loaded.diagnostics)
    all.push_back({{"line", d.line}, {"column", d.column}, {"severity", d.severity}, {"id", d.id},
                   {"message", d.message}});
  return all;
}

Json definitionOf(const kitDef &d) {
  int line = 0, column = 0;
  ddGetPlace(d.code, &line, &column);
  Json j = {{"name", text(d.name)}, {"kind", d.kind == KIT_RECORD ? "record" : "data"},
            {"line", line}, {"column", column}, {"type", text(kitTagTypeName(d.tagType))},
            {"length", d.length}, {"arrayCount", d.arrayCount}, {"label", text(d.label)},
            {"description", text(d.desc)}};
  if (d.kind == KIT_RECORD) {
    j["fieldCount"] = d.fieldCount;
    const char *level = kitLevelName(d.level);
    j["level"] = d.level == 0 ? Json(nullptr) : level ? Json(level) : Json(d.level);
  } else {
    if (d.rangeSet) j["range"] = {fmtFloat(d.minVal), fmtFloat(d.maxVal)};
    if (d.defSet) j["default"] = fmtFloat(d.defVal);
  }
  return j;
}

Json definitionsOf(const kitModel *model) {
  Json all = Json::array();
  for (int i = 0; model && i < model->recordCount; i++) all.push_back(definitionOf(model->records[i]));
  for (int i = 0; model && i < model->dataCount; i++) all.push_back(definitionOf(model->data[i]));
  return all;
}

/* The records built on each structure, in file order, that the site holds. */
std::vector<const kitDef *> recordsOn(const Outline &outline, const kitModel *model, const std::string &name) {
  std::vector<const kitDef *> found;
  for (const auto &[record, structure] : outline.recordStructs)
    if (structure == name && model != nullptr)
      if (const kitDef *d = kitFindName(model, record.c_str()); d && d->kind == KIT_RECORD) found.push_back(d);
  return found;
}

Json memberOf(const OutlineMember &m, const kitDef *record) {
  Json j = {{"name", m.at.name}, {"line", m.at.line}, {"column", m.at.column}};
  if (m.field < 0) j["leftOut"] = true;
  if (record == nullptr || m.field < 0 || m.field >= record->fieldCount) return j;
  const kitField &f = record->fields[m.field];
  j["record"] = text(record->name);
  j["offset"] = f.offset;
  j["size"] = f.size;
  j["kind"] = kindName(f.kind);
  if (f.tagType == MTYPE_FLAG || f.tagType == MTYPE_ENUM || f.bitPos != 0) j["bit"] = f.bitPos;
  return j;
}

Json structsOf(const Outline &outline, const kitModel *model) {
  Json all = Json::array();
  for (const OutlineStruct &s : outline.structs) {
    std::vector<const kitDef *> records = recordsOn(outline, model, s.at.name);
    Json users = Json::array(), members = Json::array();
    for (const kitDef *d : records) users.push_back(text(d->name));
    for (const OutlineMember &m : s.members) members.push_back(memberOf(m, records.empty() ? nullptr : records[0]));
    all.push_back({{"name", s.at.name}, {"line", s.at.line}, {"column", s.at.column}, {"records", users},
                   {"members", members}});
  }
  return all;
}

Json listsOf(const Outline &outline) {
  Json all = Json::array();
  for (size_t i = 0; i < outline.lists.size(); i++)
    all.push_back({{"name", outline.lists[i].name}, {"kind", outline.listKinds[i]},
                   {"line", outline.lists[i].line}, {"column", outline.lists[i].column}});
  return all;
}

/* Standard input, up to limit bytes; false when there is more. */
bool readInput(std::string &text, size_t limit) {
  char chunk[65536];
  for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0;) {
    if (text.size() + got > limit) return false;
    text.append(chunk, got);
  }
  return true;
}

/* The text as a file without a place on disk, for the library to open by
** name; empty when none could be made. */
std::string memoryFile(const std::string &text) {
  int fd = memfd_create("rkdd-lsp", MFD_CLOEXEC);
  if (fd < 0) return "";
  for (size_t done = 0; done < text.size();) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n <= 0) return "";
    done += static_cast<size_t>(n);
  }
  return "/proc/self/fd/" + std::to_string(fd);
}

Json failure(const std::string &id, const std::string &message) {
  return {{"messages", Json::array({Json{{"line", 0}, {"column", 0}, {"severity", DD_MESSAGE_ERROR},
                                         {"id", id}, {"message", message}}})}};
}

} // namespace

int cmdLspAnalyze() {
  std::string text, path;
  Json answer;
  if (!readInput(text, LSP_MAX_MESSAGE))
    answer = failure("document-too-large", "the document is larger than " + std::to_string(LSP_MAX_MESSAGE) + " bytes");
  else if ((path = memoryFile(text)).empty())
    answer = failure("analysis-failed", "no memory file for the document");
  if (answer.is_null()) {
    Loaded loaded = loadSchema(path, "document");
    Model model = readModel(loaded.site);
    Outline outline = outlineOf(text);
    answer = {{"messages", messagesOf(loaded)}, {"definitions", definitionsOf(model.get())},
              {"structs", structsOf(outline, model.get())}, {"lists", listsOf(outline)}};
  }
  std::cout << answer.dump(-1, ' ', false, Json::error_handler_t::replace) << std::flush;
  return std::cout ? EXIT_OK : EXIT_FAILED;
}
