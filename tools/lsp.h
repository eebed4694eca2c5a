/*
** The language server (rkdd lsp): what its files share. Each analysis runs
** in a child process (rkdd lsp-analyze), where the sites its import makes die.
*/
#ifndef RKDD_LSP_H
#define RKDD_LSP_H

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

using Json = nlohmann::ordered_json;

/* Limits, written in the README. */
constexpr size_t LSP_MAX_MESSAGE = 32u << 20; /* bytes of one message's content */
constexpr size_t LSP_MAX_ANSWER = 256u << 20; /* bytes of one analysis's answer */

/* lspoutline.cc: where the text names things the store does not keep
** (structures and their members, lists, the structure of each record),
** found by a light scan that follows the reader's rules for words, lists,
** quotes and comments. Lines and columns are 1-based, columns in bytes. */
struct OutlineName {
  std::string name;
  int line = 0, column = 0;
};
struct OutlineMember {
  OutlineName at;
  int field = -1; /* index in the field table of a record built on the structure; -1 for SHARE, PAD */
};
struct OutlineStruct {
  OutlineName at;
  std::vector<OutlineMember> members;
};
struct Outline {
  std::vector<OutlineStruct> structs;
  std::vector<OutlineName> lists;     /* parent, child and alias lists */
  std::vector<std::string> listKinds; /* "parent", "child", "alias", beside lists */
  std::vector<std::pair<std::string, std::string>> recordStructs; /* record name, structure name */
};
Outline outlineOf(std::string_view text);

/* lspchild.cc: runs one analysis of text in a child process; gives its
** answer, or an answer that holds one diagnostic saying why there is none
** (time limit, crash, unreadable answer). The child is killed at the limit. */
Json runAnalysis(const std::string &text, int timeoutMs);

/* lspfeatures.cc: a document as the server keeps it. */
struct Document {
  std::string text;
  int version = 0;
  std::vector<size_t> lineStarts; /* byte offset of each line */
  Json analysis;                  /* the answer for this text */
};
extern bool lspUtf8; /* positions count bytes (utf-8), not UTF-16 units */
void setText(Document &doc, std::string text);
/* The byte offset of a protocol position ({line, character}) in the text. */
size_t offsetAt(const Document &doc, const Json &position);
Json diagnosticsOf(const Document &doc);
Json hoverAt(const Document &doc, const Json &position);
Json definitionAt(const Document &doc, const Json &position, const std::string &uri);
Json symbolsOf(const Document &doc);
Json completionAt(const Document &doc, const Json &position);

#endif /* RKDD_LSP_H */
