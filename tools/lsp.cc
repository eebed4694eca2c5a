/*
** rkdd lsp: a language server on standard input and output (JSON-RPC with
** Content-Length headers). Reads one message at a time, answers requests in
** order, and has each new text of a document analysed by a child process.
*/
#include "lsp.h"
#include "tool.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace {

/* JSON-RPC and protocol error codes. */
enum {
  PARSE_ERROR = -32700, INVALID_REQUEST = -32600, METHOD_NOT_FOUND = -32601, INVALID_PARAMS = -32602,
  NOT_INITIALIZED = -32002
};

struct Server {
  std::map<std::string, Document> documents;
  int timeoutMs = LSP_TIMEOUT_MS;
  bool initialized = false, shutDown = false, exited = false;
};

bool send(const Json &message) {
  std::string body = message.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::fprintf(stdout, "Content-Length: %zu\r\n\r\n", body.size());
  std::fwrite(body.data(), 1, body.size(), stdout);
  return std::fflush(stdout) == 0;
}

void reply(const Json &id, Json result) { send({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}}); }

void fail(const Json &id, int code, const std::string &message) {
  send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

/* ---- Reading messages -------------------------------------------------- */

enum ReadResult { READ_MESSAGE, READ_MALFORMED, READ_TOO_LARGE, READ_END };

/* The headers up to the empty line: the content length, or -1 when no
** header gave one. At most 64 KiB of headers are looked at. */
ReadResult readHeaders(long long &length) {
  length = -1;
  std::string line;
  size_t seen = 0;
  for (int c; (c = std::getchar()) != EOF;) {
    if (++seen > 65536) line.clear();
    if (c != '\n') {
      if (line.size() < 256) line += static_cast<char>(c);
      continue;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) return seen > 65536 || length < 0 ? READ_MALFORMED : READ_MESSAGE;
    std::string lower;
    for (char ch : line.substr(0, 15)) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (lower == "content-length:") {
      const char *p = line.c_str() + 15;
      while (*p == ' ' || *p == '\t') p++;
      char *end;
      long long n = std::strtoll(p, &end, 10);
      length = end != p && *end == '\0' && n >= 0 ? n : -1;
    }
    line.clear();
  }
  return READ_END;
}

ReadResult readMessage(std::string &body) {
  long long length;
  ReadResult headers = readHeaders(length);
  if (headers != READ_MESSAGE) return headers;
  bool tooLarge = static_cast<unsigned long long>(length) > LSP_MAX_MESSAGE;
  body.clear();
  char chunk[65536];
  for (long long left = length; left > 0;) {
    size_t got = std::fread(chunk, 1, static_cast<size_t>(std::min<long long>(left, sizeof chunk)), stdin);
    if (got == 0) return READ_END;
    if (!tooLarge) body.append(chunk, got);
    left -= static_cast<long long>(got);
  }
  if (tooLarge) body = std::string();
  return tooLarge ? READ_TOO_LARGE : READ_MESSAGE;
}

/* ---- Methods ----------------------------------------------------------- */

Json capabilities(const Json &params) {
  Json encodings = params.value("/capabilities/general/positionEncodings"_json_pointer, Json::array());
  lspUtf8 = std::find(encodings.begin(), encodings.end(), "utf-8") != encodings.end();
  return {{"capabilities",
           {{"positionEncoding", lspUtf8 ? "utf-8" : "utf-16"},
            {"textDocumentSync", {{"openClose", true}, {"change", 1}}},
            {"hoverProvider", true},
            {"definitionProvider", true},
            {"documentSymbolProvider", true},
            {"completionProvider", {{"resolveProvider", false}}}}},
          {"serverInfo", {{"name", "rkdd"}, {"version", RKDD_VERSION}}}};
}

void analyse(Server &s, const std::string &uri) {
  Document &doc = s.documents[uri];
  doc.analysis = runAnalysis(doc.text, s.timeoutMs);
  send({{"jsonrpc", "2.0"},
        {"method", "textDocument/publishDiagnostics"},
        {"params", {{"uri", uri}, {"version", doc.version}, {"diagnostics", diagnosticsOf(doc)}}}});
}

void didOpen(Server &s, const Json &params) {
  const Json &item = params.at("textDocument");
  std::string uri = item.at("uri");
  Document &doc = s.documents[uri];
  doc.version = item.value("version", 0);
  setText(doc, item.at("text"));
  analyse(s, uri);
}

/* Whole texts, as the server asks for; a change with a range is applied too. */
void didChange(Server &s, const Json &params) {
  std::string uri = params.at("textDocument").at("uri");
  auto it = s.documents.find(uri);
  if (it == s.documents.end()) return;
  Document &doc = it->second;
  doc.version = params["textDocument"].value("version", doc.version);
  for (const Json &change : params.at("contentChanges")) {
    std::string text = change.at("text");
    if (change.contains("range")) {
      size_t from = offsetAt(doc, change["range"].at("start")), to = offsetAt(doc, change["range"].at("end"));
      text = doc.text.substr(0, from) + text + doc.text.substr(std::max(from, to));
    }
    setText(doc, std::move(text));
  }
  analyse(s, uri);
}

void didClose(Server &s, const Json &params) {
  std::string uri = params.at("textDocument").at("uri");
  if (s.documents.erase(uri) == 0) return;
  send({{"jsonrpc", "2.0"},
        {"method", "textDocument/publishDiagnostics"},
        {"params", {{"uri", uri}, {"diagnostics", Json::array()}}}});
}

const Document &documentOf(Server &s, const Json &params, std::string &uri) {
  static const Document none = [] {
    Document d;
    setText(d, "");
    return d;
  }();
  uri = params.at("textDocument").at("uri");
  auto it = s.documents.find(uri);
  return it == s.documents.end() ? none : it->second;
}

/* Answers a request; false for a method the server does not know. */
bool answer(Server &s, const std::string &method, const Json &params, const Json &id) {
  std::string uri;
  if (method == "initialize") {
    s.initialized = true;
    reply(id, capabilities(params));
  } else if (method == "shutdown") {
    s.shutDown = true;
    reply(id, nullptr);
  } else if (method == "textDocument/hover") {
    reply(id, hoverAt(documentOf(s, params, uri), params.at("position")));
  } else if (method == "textDocument/definition") {
    const Document &doc = documentOf(s, params, uri);
    reply(id, definitionAt(doc, params.at("position"), uri));
  } else if (method == "textDocument/documentSymbol") {
    reply(id, symbolsOf(documentOf(s, params, uri)));
  } else if (method == "textDocument/completion") {
    reply(id, completionAt(documentOf(s, params, uri), params.at("position")));
  } else {
    return false;
  }
  return true;
}

void notice(Server &s, const std::string &method, const Json &params) {
  if (method == "exit")
    s.exited = true;
  else if (method == "textDocument/didOpen")
    didOpen(s, params);
  else if (method == "textDocument/didChange")
    didChange(s, params);
  else if (method == "textDocument/didClose")
    didClose(s, params);
  /* others (initialized, didSave, $/cancelRequest, ...) need nothing */
}

void handle(Server &s, const Json &message) {
  auto idAt = message.is_object() ? message.find("id") : message.end();
  bool request = message.is_object() && idAt != message.end();
  Json id = request ? *idAt : Json(nullptr);
  if (!message.is_object() || !message.contains("method") || !message["method"].is_string()) {
    if (!(request && (message.contains("result") || message.contains("error")))) /* replies to the server pass */
      fail(id, INVALID_REQUEST, "not a JSON-RPC request or notification");
    return;
  }
  std::string method = message["method"];
  static const Json none = Json::object();
  auto paramsAt = message.find("params"); /* not copied: it may hold a whole document */
  const Json &params = paramsAt != message.end() ? *paramsAt : none;
  if (!s.initialized && method != "initialize" && method != "exit") {
    if (request) fail(id, NOT_INITIALIZED, "the server is not initialized");
    return;
  }
  if (s.shutDown && method != "exit") {
    if (request) fail(id, INVALID_REQUEST, "the server is shut down");
    return;
  }
  try {
    if (!request)
      notice(s, method, params);
    else if (!answer(s, method, params, id))
      fail(id, METHOD_NOT_FOUND, "no method " + method);
  } catch (const nlohmann::json::exception &e) {
    if (request) fail(id, INVALID_PARAMS, std::string("invalid params: ") + e.what());
  }
}

} // namespace

int cmdLsp(int timeoutMs) {
  std::signal(SIGPIPE, SIG_IGN); /* a child or client gone shows as a failed write */
  Server s;
  s.timeoutMs = timeoutMs;
  std::string body;
  while (!s.exited) {
    ReadResult r = readMessage(body);
    if (r == READ_END) break;
    if (r == READ_MALFORMED) {
      fail(nullptr, PARSE_ERROR, "a message without a valid Content-Length header");
    } else if (r == READ_TOO_LARGE) {
      fail(nullptr, INVALID_REQUEST, "a message larger than " + std::to_string(LSP_MAX_MESSAGE) + " bytes");
    } else {
      Json message = Json::parse(body, nullptr, false);
      if (message.is_discarded())
        fail(nullptr, PARSE_ERROR, "a message that is not JSON");
      else
        handle(s, message);
    }
    if (std::ferror(stdout)) return EXIT_FAILED;
  }
  return s.shutDown ? EXIT_OK : EXIT_FAILED;
}
