/*
** Tests of rkdd lsp: a scripted client talks to the built server over its
** pipes (open, change, hover, definition, symbols, completion, a hundred
** edits, malformed input, shutdown), and Neovim, headless, is a real one.
*/
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

extern char **environ;

namespace {

using Json = nlohmann::json;

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

/* The server as a child with pipes; messages it sends that are not the
** answer awaited are kept in order. */
struct Server {
  pid_t pid = -1;
  int in = -1, out = -1;
  std::string buffer;
  int nextId = 1;

  explicit Server(std::vector<std::string> args = {}) {
    int toServer[2], fromServer[2];
    if (pipe2(toServer, O_CLOEXEC) != 0 || pipe2(fromServer, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toServer[0], 0);
    posix_spawn_file_actions_adddup2(&actions, fromServer[1], 1);
    args.insert(args.begin(), {RKDD_TOOL, "lsp"});
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    if (posix_spawn(&pid, RKDD_TOOL, &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(toServer[0]), close(fromServer[1]);
    in = toServer[1], out = fromServer[0];
  }
  ~Server() {
    if (in >= 0) close(in);
    close(out);
    if (pid > 0) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);
  }
  void raw(const std::string &bytes) { ASSERT_EQ(write(in, bytes.data(), bytes.size()), ssize_t(bytes.size())); }
  void send(const Json &m) {
    std::string body = m.dump();
    raw("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  void notify(const std::string &method, const Json &params) {
    send({{"jsonrpc", "2.0"}, {"method", method}, {"params", params}});
  }
  /* The next message, or null when none comes in 20 s or the server ends. */
  Json next() {
    for (;;) {
      size_t head = buffer.find("\r\n\r\n");
      if (head != std::string::npos) {
        size_t length = std::stoul(buffer.substr(buffer.find(':') + 1));
        if (buffer.size() >= head + 4 + length) {
          Json m = Json::parse(buffer.substr(head + 4, length));
          buffer.erase(0, head + 4 + length);
          return m;
        }
      }
      pollfd p{out, POLLIN, 0};
      char chunk[65536];
      ssize_t n = poll(&p, 1, 20000) > 0 ? read(out, chunk, sizeof chunk) : 0;
      if (n <= 0) return nullptr;
      buffer.append(chunk, size_t(n));
    }
  }
  Json request(const std::string &method, const Json &params) {
    int id = nextId++;
    send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
    for (Json m = next(); !m.is_null(); m = next())
      if (m.contains("id") && m["id"] == id) return m;
    return nullptr;
  }
  /* The next diagnostics published. */
  Json diagnostics() {
    for (Json m = next(); !m.is_null(); m = next())
      if (m.value("method", "") == "textDocument/publishDiagnostics") return m["params"];
    return nullptr;
  }
  long rssKb() const {
    std::istringstream status(slurp("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);)
      if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
    return -1;
  }
  int exitStatus() {
    close(in), in = -1;
    int status = 0;
    waitpid(pid, &status, 0);
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

const std::string kUri = "file:///work/doc.schema";

Json at(int line, int character) {
  return {{"textDocument", {{"uri", kUri}}}, {"position", {{"line", line}, {"character", character}}}};
}

/* A server that is initialized and has text open as kUri. */
void open(Server &s, const std::string &text) {
  ASSERT_TRUE(s.request("initialize", {{"capabilities", Json::object()}}).contains("result"));
  s.notify("initialized", Json::object());
  s.notify("textDocument/didOpen", {{"textDocument", {{"uri", kUri}, {"languageId", "rkdd"}, {"version", 1}, {"text", text}}}});
}

void change(Server &s, int version, const std::string &text) {
  s.notify("textDocument/didChange", {{"textDocument", {{"uri", kUri}, {"version", version}}},
                                      {"contentChanges", Json::array({{{"text", text}}})}});
}

std::string brief(const Json &diagnostic) {
  const Json &start = diagnostic["range"]["start"];
  return std::to_string(int(start["line"])) + ":" + std::to_string(int(start["character"])) + " " +
         diagnostic["code"].get<std::string>();
}

} // namespace

/* A mistake is published at its place, in UTF-16 units (the 'é' of the
** label is two bytes, one unit), and disappears once mended. */
TEST(Lsp, DiagnosticsFollowTheText) {
  Server s;
  open(s, "dataDef A { rktype_ival, LABEL=\"é\", LABLE=\"x\" };\n");
  Json d = s.diagnostics();
  ASSERT_EQ(d["diagnostics"].size(), 1u) << d;
  EXPECT_EQ(brief(d["diagnostics"][0]), "0:36 unknown-option");
  EXPECT_EQ(d["diagnostics"][0]["range"]["end"]["character"], 41);
  EXPECT_NE(d["diagnostics"][0]["message"].get<std::string>().find("did you mean `LABEL`?"), std::string::npos);
  change(s, 2, "dataDef A { rktype_ival };\n");
  d = s.diagnostics();
  EXPECT_EQ(d["version"], 2);
  EXPECT_EQ(d["diagnostics"], Json::array());
  change(s, 3, "\x01\x02 no schema {{{");
  EXPECT_EQ(brief(s.diagnostics()["diagnostics"][0]), "0:0 unknown-command");
}

/* Hover, definition, symbols and completion on the example schema. */
TEST(Lsp, FeaturesOfTheExample) {
  Server s;
  open(s, slurp(RKDD_SOURCE_DIR "/examples/scene.schema"));
  s.diagnostics();
  struct Case {
    int line, character;
    const char *hover; /* a part of the text; null for no hover */
    int definitionLine;
  } cases[] = {
      {38, 6, "in record `LpLight`: offset 33, size 1, bit 1", 15},    /* a flag member */
      {39, 6, "offset 34, size 28 (inline)", 51},                      /* a record held in line, two of 14 */
      {41, 6, "offset 66, size 4 (pointer)", 53},                       /* a pointer member */
      {55, 12, "packed length 78 bytes, 9 fields", 55},                 /* a record's name */
      {62, 28, "**LpHeader**: record", 53},                             /* a list item */
      {6, 10, "`rktype_fval`, 4 bytes\n\nrange 0 to 100000, default 1000", 6},
      {55, 38, "**LpBody**: structure of 9 members; records `LpLight`, `LpStrobe`", 32},
      {0, 5, nullptr, -1},                                              /* a comment's word */
  };
  for (const Case &c : cases) {
    Json hover = s.request("textDocument/hover", at(c.line, c.character))["result"];
    if (c.hover == nullptr) {
      EXPECT_TRUE(hover.is_null()) << hover;
    } else {
      EXPECT_NE(hover["contents"]["value"].get<std::string>().find(c.hover), std::string::npos)
          << c.line << ": " << hover;
    }
    Json where = s.request("textDocument/definition", at(c.line, c.character))["result"];
    EXPECT_EQ(where.is_null() ? -1 : int(where["range"]["start"]["line"]), c.definitionLine) << c.line;
  }
  Json symbols = s.request("textDocument/documentSymbol", at(0, 0))["result"];
  std::map<int, int> kinds;
  for (const Json &symbol : symbols) kinds[symbol["kind"]]++;
  EXPECT_EQ(kinds, (std::map<int, int>{{5, 6}, {8, 11}, {18, 3}, {23, 4}})); /* records, data, lists, structs */
  EXPECT_EQ(symbols[0]["name"], "LpName");
  Json items = s.request("textDocument/completion", at(11, 0))["result"]["items"];
  std::set<std::string> labels;
  for (const Json &item : items) labels.insert(item["label"]);
  for (const char *label : {"recordDef", "LEV", "rktype_bead", "MTYPE_FLOAT", "ILTPNTLVL", "LpLight", "LpBody"})
    EXPECT_TRUE(labels.count(label)) << label;
  items = s.request("textDocument/completion", at(5, 25))["result"]["items"]; /* behind "rkt" */
  EXPECT_GT(items.size(), 10u);
  for (const Json &item : items) EXPECT_TRUE(item["label"].get<std::string>().starts_with("rkt")) << item;
}

/* A member's field follows the reader's counting: SHARE and PAD members take
** no field, and a comment or quoted text may hold ';' and '}'. */
TEST(Lsp, MemberFieldsPastSharePadCommentsAndQuotes) {
  Server s;
  open(s, "dataDef A { rktype_ival };\ndataDef B { rktype_dval };\n"
          "struct S { A, SHARE; A, FN=\"x;}\"; P, PAD=4; /* B; } */ B; };\nrecordDef R { rktype_bead, S };\n");
  s.diagnostics();
  for (auto [character, offset] : {std::pair{11, "left out"}, {21, "offset 0,"}, {56, "offset 4, size 8"}}) {
    Json hover = s.request("textDocument/hover", at(2, character))["result"];
    EXPECT_NE(hover["contents"]["value"].get<std::string>().find(offset), std::string::npos) << hover;
  }
}

/* A hundred edits in a row, each analysed and published with its version,
** and the server's resident memory the same at the end as after the first
** ten; no child is left behind. */
TEST(Lsp, HundredEditsKeepMemoryFlat) {
  /* A sanitizer's quarantine holds freed blocks back, which the resident size would count. */
  setenv("ASAN_OPTIONS", "detect_leaks=0:quarantine_size_mb=0", 1);
  Server s;
  std::string text = slurp(RKDD_SOURCE_DIR "/examples/scene.schema");
  open(s, text);
  s.diagnostics();
  long before = 0;
  for (int version = 2; version <= 101; version++) {
    bool broken = version % 2 == 0;
    change(s, version, broken ? text + "dataDef Bad { rktype_nothing };\n" : text);
    Json d = s.diagnostics();
    ASSERT_EQ(d["version"], version);
    bool flagged = std::any_of(d["diagnostics"].begin(), d["diagnostics"].end(),
                               [](const Json &x) { return x["code"] == "unknown-type"; });
    EXPECT_EQ(flagged, broken) << version;
    if (version == 11) before = s.rssKb();
  }
  long after = s.rssKb();
  EXPECT_LT(after - before, 256) << before << " kB after 10 edits, " << after << " kB after 100";
  std::string children = slurp("/proc/" + std::to_string(s.pid) + "/task/" + std::to_string(s.pid) + "/children");
  EXPECT_EQ(children, "");
}

/* Bad input gets an error answer and the server goes on. */
TEST(Lsp, MalformedMessagesGetErrors) {
  Server s;
  struct Case {
    std::string bytes;
    int code;
  } cases[] = {
      {"Content-Length: 2\r\n\r\n{}", -32600},
      {"Content-Length: 2\r\n\r\n[]", -32600},
      {"Content-Type: x\r\n\r\n", -32700},
      {"Content-Length: 5\r\n\r\n{oops", -32700},
  };
  for (const Case &c : cases) {
    s.raw(c.bytes);
    Json m = s.next();
    EXPECT_EQ(m["error"]["code"], c.code) << c.bytes << " " << m;
  }
  EXPECT_EQ(s.request("textDocument/hover", at(0, 0))["error"]["code"], -32002);
  open(s, "dataDef A { rktype_ival };\n");
  s.diagnostics();
  s.notify("no/such/notification", Json::object());
  EXPECT_EQ(s.request("no/such/method", Json::object())["error"]["code"], -32601);
  EXPECT_EQ(s.request("textDocument/hover", {{"textDocument", {{"uri", kUri}}}})["error"]["code"], -32602);
  EXPECT_EQ(s.request("textDocument/hover", {{"textDocument", 7}, {"position", 7}})["error"]["code"], -32602);
  EXPECT_TRUE(s.request("textDocument/hover", at(0, 9))["result"]["contents"].is_object());
}

/* shutdown, then exit: status 0, and requests between them are refused;
** exit without shutdown: status 1. */
TEST(Lsp, ShutdownAndExit) {
  for (bool shutdown : {true, false}) {
    Server s;
    open(s, "");
    s.diagnostics();
    if (shutdown) {
      EXPECT_TRUE(s.request("shutdown", nullptr)["result"].is_null());
      EXPECT_EQ(s.request("textDocument/hover", at(0, 0))["error"]["code"], -32600);
    }
    s.notify("exit", nullptr);
    EXPECT_EQ(s.exitStatus(), shutdown ? 0 : 1);
  }
}

/* An analysis past its time limit is stopped and said so; the server goes on. */
TEST(Lsp, AnalysisPastItsTimeLimitIsStopped) {
  Server s({"--timeout", "1"});
  std::string text;
  for (int i = 0; i < 40000; i++) text += "dataDef D" + std::to_string(i) + " { rktype_ival, LABEL=\"a label\" };\n";
  open(s, text);
  EXPECT_EQ(brief(s.diagnostics()["diagnostics"][0]), "0:0 analysis-stopped");
  EXPECT_TRUE(s.request("textDocument/completion", at(0, 0))["result"]["items"].size() > 0);
}

/* Neovim as the client (tests/tool/lsp_nvim.lua): the mistake at its line
** and column, a hover with a member's offset and size, go to definition,
** and edits followed. Run with Debian's NVIM v0.7.2 (LuaJIT 2.1.0-beta3). */
TEST(Lsp, NeovimFollowsASchema) {
  if (std::string(RKDD_NVIM).empty() || access(RKDD_NVIM, X_OK) != 0) GTEST_SKIP() << "no nvim (./setup ci installs neovim)";
  std::string result = ::testing::TempDir() + "rkdd_nvim_" + std::to_string(getpid());
  std::string command = "cd '" RKDD_SOURCE_DIR "' && RKDD_TOOL='" RKDD_TOOL "' RKDD_RESULT='" + result +
                        "' '" RKDD_NVIM "' --headless --clean -n -i NONE -c 'luafile tests/tool/lsp_nvim.lua' "
                        "tests/tool/testdata/editor.schema >/dev/null 2>&1";
  int status = std::system(command.c_str());
  std::string seen = slurp(result);
  std::remove(result.c_str());
  EXPECT_EQ(status, 0);
  RecordProperty("neovim", seen.substr(0, seen.find('\n')));
  EXPECT_EQ(seen.substr(seen.find('\n') + 1),
            "diagnostic 2:46 unknown-option\n"
            "diagnostic 6:17 no-element-type\n"
            "hover **Speed**: data item, `rktype_fval`, 4 bytes | range 0 to 120 | in record `Car`: offset 12, size 4\n"
            "definition 2:9\n"
            "mended 0\n"
            "diagnostic 6:17 no-element-type\n"
            "diagnostic 7:17 no-element-type\n"
            "diagnostic 7:30 not-defined\n");
}
