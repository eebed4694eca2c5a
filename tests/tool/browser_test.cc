/*
** The pages of rkdd doc in a real browser: headless Chromium driven through
** its DevTools protocol over a pipe (messages of JSON ended by a NUL byte on
** descriptors 3 and 4). Pages must load without a console error, every
** record's boxes must stand where the library's offsets put them, and the
** index must filter as one types. Writes a screenshot of one picture.
*/
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <rkdd/kit.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using nlohmann::json;

namespace {

constexpr int kWaitMs = 30000;

/* One headless browser with one page, attached in flat session mode. */
class Browser {
public:
  explicit Browser(const std::string &profile) {
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      /* Lifted clear of 3 and 4 first, and the log put in place before them: the pipes
      ** and the log may sit there. */
      int readEnd = fcntl(in[0], F_DUPFD, 10), writeEnd = fcntl(out[1], F_DUPFD, 10);
      for (int fd : {in[0], in[1], out[0], out[1]}) close(fd);
      int log = ::open((profile + ".log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      for (auto [from, to] : {std::pair{log, 1}, {log, 2}, {readEnd, 3}, {writeEnd, 4}}) dup2(from, to);
      std::string dataDir = "--user-data-dir=" + profile;
      execl(RKDD_CHROMIUM, RKDD_CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu",
            "--disable-quic", "--no-first-run", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--remote-debugging-pipe",
            dataDir.c_str(), static_cast<char *>(nullptr));
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    std::tie(to_, from_) = std::pair{in[1], out[0]};
    signal(SIGPIPE, SIG_IGN); /* a browser that died is told by the answers missing */
    std::string id = send("Target.createTarget", {{"url", "about:blank"}}, false)
                       .value("/result/targetId"_json_pointer, "");
    session_ = send("Target.attachToTarget", {{"targetId", id}, {"flatten", true}}, false)
                 .value("/result/sessionId"_json_pointer, "");
    if (session_.empty()) return;
    for (const char *domain : {"Page.enable", "Runtime.enable", "Log.enable"}) call(domain);
    call("Emulation.setDeviceMetricsOverride",
         {{"width", 1100}, {"height", 900}, {"deviceScaleFactor", 1}, {"mobile", false}});
  }

  ~Browser() {
    if (pid_ <= 0) return;
    send("Browser.close", json::object(), false);
    for (int i = 0; i < 100 && waitpid(pid_, nullptr, WNOHANG) == 0; i++) usleep(50000);
    if (waitpid(pid_, nullptr, WNOHANG) == 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }

  bool ready() const { return !session_.empty(); }

  json call(const std::string &method, const json &params = json::object()) {
    return send(method, params, true);
  }

  /* Opens a page and waits for its load event. */
  bool open(const std::string &url) {
    loaded_ = false;
    call("Page.navigate", {{"url", url}});
    for (json msg; !loaded_;)
      if (!receive(&msg)) return false;
    return true;
  }

  /* The value of an expression, promises awaited. */
  json eval(const std::string &expression) {
    json r = call("Runtime.evaluate",
                  {{"expression", expression}, {"returnByValue", true}, {"awaitPromise", true}});
    if (r.contains("/result/exceptionDetails"_json_pointer))
      ADD_FAILURE() << expression << ": " << r["result"]["exceptionDetails"].dump();
    return r.contains("/result/result/value"_json_pointer) ? r["result"]["result"]["value"] : json();
  }

  /* Console errors, uncaught exceptions and failed loads since the start. */
  std::vector<std::string> errors;

private:
  json send(const std::string &method, const json &params, bool onPage) {
    json msg = {{"id", ++next_}, {"method", method}, {"params", params}};
    if (onPage) msg["sessionId"] = session_;
    std::string text = msg.dump() + '\0'; /* a blocking write to a pipe writes it all */
    json reply;
    if (write(to_, text.data(), text.size()) == static_cast<ssize_t>(text.size()))
      while (receive(&reply))
        if (reply.value("id", -1) == next_) return reply;
    ADD_FAILURE() << "no answer to " << method;
    return json::object();
  }

  /* The next message; events are noted on the way. False on a silence of kWaitMs or EOF. */
  bool receive(json *msg) {
    size_t end;
    while ((end = buffer_.find('\0')) == std::string::npos) {
      pollfd p{from_, POLLIN, 0};
      char chunk[65536];
      ssize_t n = poll(&p, 1, kWaitMs) > 0 ? read(from_, chunk, sizeof chunk) : 0;
      if (n <= 0) return false;
      buffer_.append(chunk, static_cast<size_t>(n));
    }
    *msg = json::parse(buffer_.substr(0, end), nullptr, false);
    buffer_.erase(0, end + 1);
    note(*msg);
    return true;
  }

  void note(const json &msg) {
    std::string method = msg.value("method", "");
    const json &p = msg.contains("params") ? msg["params"] : json::object();
    if (method == "Page.loadEventFired") loaded_ = true;
    if (method == "Runtime.exceptionThrown") errors.push_back(p["exceptionDetails"].dump());
    if (method == "Runtime.consoleAPICalled" && (p["type"] == "error" || p["type"] == "assert"))
      errors.push_back(p["args"].dump());
    if (method == "Log.entryAdded" && p["entry"]["level"] == "error")
      errors.push_back(p["entry"].value("text", "") + " " + p["entry"].value("url", ""));
  }

  pid_t pid_ = -1;
  int to_ = -1, from_ = -1, next_ = 0;
  std::string session_, buffer_;
  bool loaded_ = false;
};

/* The pages of the example schema, made once per test, and its model. */
class Pages : public ::testing::Test {
protected:
  void SetUp() override {
    if (!*RKDD_CHROMIUM) GTEST_SKIP() << "chromium is not installed (./setup installs it)";
    dir_ = ::testing::TempDir() + "rkdd_doc_" + std::to_string(getpid());
    std::string cmd = "'" RKDD_TOOL "' doc '" RKDD_SOURCE_DIR "/examples/scene.schema' -o '" +
                      dir_ + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    int site = -1;
    ASSERT_NE(ddImportSchema(RKDD_SOURCE_DIR "/examples/scene.schema", &site), 0);
    model_ = kitModelRead(site);
    ASSERT_NE(model_, nullptr);
    browser_ = std::make_unique<Browser>(dir_ + "-profile");
    ASSERT_TRUE(browser_->ready()) << "no DevTools session with " RKDD_CHROMIUM;
  }
  void TearDown() override {
    if (dir_.empty()) return;
    browser_.reset();
    kitModelFree(model_);
    std::system(("rm -rf '" + dir_ + "' '" + dir_ + "-profile' '" + dir_ + "-profile.log'").c_str());
  }
  std::string url(const std::string &page) const { return "file://" + dir_ + "/" + page; }

  /* Compares boxes [{x, w}] with fields laid from byte base on the page's scale. */
  static void expectBoxes(const json &boxes, const kitDef &def, long long base, double left,
                          double scale, const std::string &where) {
    ASSERT_EQ(boxes.size(), static_cast<size_t>(def.fieldCount)) << where;
    for (int i = 0; i < def.fieldCount; i++) {
      const kitField &f = def.fields[i];
      EXPECT_NEAR(boxes[i]["x"].get<double>(), left + static_cast<double>(base + f.offset) * scale, 0.01)
        << where << " field " << i;
      EXPECT_NEAR(boxes[i]["w"].get<double>(), std::max(f.size, 0) * scale, 0.01)
        << where << " field " << i;
    }
  }

  std::string dir_;
  kitModel *model_ = nullptr;
  std::unique_ptr<Browser> browser_;
};

TEST_F(Pages, IndexFiltersAsOneTypesAndAFocusedBoxTellsItsField) {
  ASSERT_TRUE(browser_->open(url("index.html")));
  const char *visible = "[...document.querySelectorAll('#index tbody tr')].filter(r => !r.hidden)"
                        ".map(r => r.cells[0].textContent)";
  json names = browser_->eval(visible);
  std::vector<std::string> expected, hits;
  auto lpco = [](const char *text) { return text && strcasestr(text, "lpco") != nullptr; };
  for (auto [defs, count] :
       {std::pair{model_->records, model_->recordCount}, {model_->data, model_->dataCount}})
    for (const kitDef *d = defs; d < defs + count; d++) {
      expected.push_back(d->name);
      if (lpco(d->name) || lpco(d->label)) hits.push_back(d->name);
    }
  EXPECT_EQ(names.get<std::vector<std::string>>(), expected);
  ASSERT_FALSE(hits.empty());

  browser_->eval("document.getElementById('search').focus()");
  browser_->call("Input.insertText", {{"text", "LpCo"}});
  EXPECT_EQ(browser_->eval(visible).get<std::vector<std::string>>(), hits);

  ASSERT_TRUE(browser_->open(url("r259.html")));
  const kitDef *light = kitFindName(model_, "LpLight");
  ASSERT_NE(light, nullptr);
  /* Text, a flag at bit 1, a pointer: each box's info line, then the clip around the picture. */
  json page = browser_->eval(
    "window.rkddReady.then(() => ({infos: [0, 4, 7].map(i => { document.querySelectorAll("
    "'svg.layout > g.f')[i].focus(); return document.getElementById('info').textContent; }), "
    "clip: (() => { const a = document.querySelector('.legend').getBoundingClientRect(), "
    "b = document.getElementById('info').getBoundingClientRect(), p = document.querySelector("
    "'.pic').getBoundingClientRect(); return {x: p.left - 8, y: a.top - 8 + scrollY, "
    "width: p.width + 16, height: b.bottom - a.top + 16, scale: 1}; })()}))");
  const std::pair<int, const char *> want[] = {{0, ""}, {4, "bit 1"}, {7, "pointer"}};
  for (size_t k = 0; k < 3; k++) {
    const kitField &f = light->fields[want[k].first];
    std::string text = page["infos"][k];
    EXPECT_EQ(text.rfind(std::string(f.name) + ": ", 0), 0u) << text;
    for (std::string part : {"offset " + std::to_string(f.offset) + ", " + std::to_string(f.size) + " byte",
                             std::string(want[k].second)})
      EXPECT_NE(text.find(part), std::string::npos) << text;
  }
  EXPECT_EQ(browser_->errors, std::vector<std::string>{});

  json shot = browser_->call("Page.captureScreenshot",
                             {{"format", "png"}, {"captureBeyondViewport", true}, {"clip", page["clip"]}});
  std::ofstream(dir_ + "/shot.b64") << shot.value("/result/data"_json_pointer, "");
  std::string decode = "base64 -d '" + dir_ + "/shot.b64' >'" RKDD_SCREENSHOT "'";
  ASSERT_EQ(std::system(decode.c_str()), 0);
  std::ifstream png(RKDD_SCREENSHOT, std::ios::binary);
  std::string magic(8, '\0');
  png.read(magic.data(), 8);
  EXPECT_EQ(magic, std::string("\x89PNG\r\n\x1a\n", 8));
}

TEST_F(Pages, EveryRecordDrawsEachFieldAtTheLibrarysOffset) {
  for (int r = 0; r < model_->recordCount; r++) {
    const kitDef &def = model_->records[r];
    std::string where = def.name;
    /* The tool imports the file as site 0, so a page's code is the local one. */
    ASSERT_TRUE(browser_->open(url("r" + std::to_string(def.local) + ".html"))) << where;
    json page = browser_->eval(
      "window.rkddReady.then(() => { const svg = document.querySelector('#r" +
      std::to_string(def.local) + " svg.layout'); const box = r => ({x: +r.getAttribute('x'), "
      "w: +r.getAttribute('width')}); return svg && {scale: +svg.dataset.scale, left: "
      "+svg.dataset.left, boxes: [...svg.querySelectorAll(':scope > g.f > rect.box')].map(box), "
      "nests: [...svg.querySelectorAll(':scope > g.nest')].map(n => ({of: +n.dataset.of, "
      "boxes: [...n.querySelectorAll(':scope > g.f > rect.box')].map(box)}))}; })");
    ASSERT_TRUE(page.is_object()) << where << ": no section with a picture";
    double scale = page["scale"], left = page["left"];
    expectBoxes(page["boxes"], def, 0, left, scale, where);

    /* In-line records open on small pages: each element's boxes at its own offsets. */
    size_t opened = 0;
    for (int i = 0; i < def.fieldCount; i++) {
      const kitField &f = def.fields[i];
      opened += f.inLine && f.nested >= 0 && model_->records[f.nested].fieldCount > 0;
    }
    EXPECT_EQ(page["nests"].size(), opened) << where;
    for (const json &nest : page["nests"]) {
      const kitField *holder = nullptr;
      for (int i = 0; i < def.fieldCount; i++)
        if (def.fields[i].offset == nest["of"] && def.fields[i].nested >= 0) holder = &def.fields[i];
      ASSERT_NE(holder, nullptr) << where;
      const kitDef &inner = model_->records[holder->nested];
      int n = std::max(holder->arrayCount, 1);
      ASSERT_EQ(nest["boxes"].size(), static_cast<size_t>(inner.fieldCount * n)) << where;
      for (int e = 0; e < n; e++) {
        json element(nest["boxes"].begin() + e * inner.fieldCount,
                     nest["boxes"].begin() + (e + 1) * inner.fieldCount);
        expectBoxes(element, inner, holder->offset + e * (holder->size / n), left, scale,
                    where + " > " + inner.name);
      }
    }
    EXPECT_EQ(browser_->errors, std::vector<std::string>{}) << where;
  }
}

/* Labels too long for their boxes are cut between characters, never inside
** one (here characters of two UTF-16 units), and every number of the ruler
** lies inside the picture. */
TEST_F(Pages, LabelsAreCutBetweenCharactersAndTheRulerFits) {
  std::string cmd = "'" RKDD_TOOL "' doc '" RKDD_SOURCE_DIR "/tests/tool/testdata/hostile.schema' -o '" +
                    dir_ + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  ASSERT_TRUE(browser_->open(url("r260.html")));
  json page = browser_->eval(
    "window.rkddReady.then(() => { const svg = document.querySelector('svg.layout'), "
    "w = +svg.getAttribute('width'); return {labels: [...svg.querySelectorAll('g.f > text:not(.sub)')]"
    ".map(t => [t.textContent, t.parentNode.querySelector('title').textContent]), ruler: "
    "[...svg.querySelectorAll('.ruler text')].map(t => t.getBBox()).map(b => b.x + b.width <= w)}; })");
  ASSERT_TRUE(page.is_object());
  int cut = 0;
  for (const json &pair : page["labels"]) {
    std::string label = pair[0], title = pair[1], name = title.substr(0, title.find(": "));
    std::string ellipsis = "\u2026";
    bool shortened = label.ends_with(ellipsis);
    cut += shortened;
    EXPECT_EQ(name.rfind(shortened ? label.substr(0, label.size() - ellipsis.size()) : label, 0), 0u)
      << label << " of " << name;
  }
  EXPECT_GT(cut, 0);
  EXPECT_EQ(page["ruler"], json(std::vector<bool>(page["ruler"].size(), true)));
  EXPECT_FALSE(page["ruler"].empty());
  EXPECT_EQ(browser_->errors, std::vector<std::string>{});
}

} // namespace
