/*
** Tests of the rkdd program: runs the built tool from the source directory
** and checks what it prints, where it prints it, and its exit statuses.
*/
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace {

struct Result {
  int status;
  std::string out, err;
};

std::string slurp(const std::string &path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string tempPath(const std::string &what) {
  return ::testing::TempDir() + "rkdd_" + std::to_string(getpid()) + "_" + what;
}

/* Runs the tool with args; feed, when given, is a command whose output is
** piped to the tool's standard input, and under one that runs the tool. */
Result rkdd(const std::string &args, const std::string &feed = "", const std::string &under = "") {
  std::string out = tempPath("out"), err = tempPath("err");
  std::string pipe = feed.empty() ? "" : feed + " | ";
  std::string cmd = "cd '" RKDD_SOURCE_DIR "' && " + pipe + under + " '" RKDD_TOOL "' " + args + " >" + out +
                    " 2>" + err;
  int raw = std::system(cmd.c_str());
  Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
  std::remove(out.c_str());
  std::remove(err.c_str());
  return r;
}

/* Runs the tool and checks its status and that out and err hold the given texts; a null
** out must be empty. */
void expectRun(const std::string &args, int status, const char *out, const std::string &err = "") {
  Result r = rkdd(args);
  EXPECT_EQ(r.status, status) << args;
  EXPECT_TRUE(out ? r.out.find(out) != std::string::npos : r.out.empty()) << args << "\n" << r.out;
  EXPECT_NE(r.err.find(err), std::string::npos) << args << "\n" << r.err;
}

const std::string kScene = "examples/scene.schema";
const std::string kOdd = "tests/tool/testdata/odd.schema";
const std::string kBad = "tests/tool/testdata/bad.schema";
const std::string kTestdata = RKDD_SOURCE_DIR "/tests/tool/testdata/";

/* Runs the tool and checks its status, and that it prints the texts of files of testdata/
** (nothing where a name is empty) to standard output and, when errors is given, standard error. */
void expectOutput(const std::string &args, int status, const std::string &out,
                  const std::string &errors = "") {
  Result r = rkdd(args);
  EXPECT_EQ(r.status, status) << args;
  EXPECT_EQ(r.out, out.empty() ? "" : slurp(kTestdata + out)) << args;
  EXPECT_EQ(r.err, errors.empty() ? r.err : slurp(kTestdata + errors)) << args;
}

/* Whether a line of text begins with head and ends with tail. */
bool hasLine(const std::string &text, const std::string &head, const std::string &tail) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(head) && line.ends_with(tail)) return true;
  return false;
}

const std::string kErrors = "tests/tool/testdata/errors.schema";

} // namespace

TEST(Tool, ShowPrintsTheExampleWithoutItsNotes) {
  expectOutput("show " + kScene, 0, "scene.show.txt");
  EXPECT_EQ(rkdd("show " + kScene).err, "");
}

TEST(Tool, ShowJsonIsOneDocumentWithASitePerFile) {
  expectOutput("show --json " + kScene + " " + kScene, 0, "scene.show.json");
}

TEST(Tool, LayoutDrawsOneRecord) {
  expectOutput("layout " + kScene + " LpLight", 0, "scene.layout.txt");
  expectOutput("layout " + kScene + " 259", 0, "scene.layout.txt");
  expectOutput("layout " + kOdd + " Holder", 1, "odd.layout.txt");
  expectRun("layout " + kScene + " NoSuchRecord", 1, nullptr, "has no record NoSuchRecord");
  expectRun("layout tests/mistakes/record_too_long.schema Huge", 1,
            "rktype_text Big;                    /* 0            0  record too long, laid out empty */",
            "error: Record \"Huge\" is longer than 2147483647 bytes");

  /* Records each holding the one before twice, 30 deep: 2^30 ways through
  ** R29, drawn in lines linear in the depth, within 10 s and (where no
  ** sanitizer reserves its shadow) 256 MB. */
  std::string fan = tempPath("fan.schema");
  std::ofstream text(fan);
  text << "dataDef Z { rktype_cval };\nstruct S0 { Z; };\nrecordDef R0 { rktype_bead, S0 };\n";
  for (int i = 1; i < 30; i++)
    text << "struct S" << i << " { R" << i - 1 << "; R" << i - 1 << "; };\nrecordDef R" << i << " { rktype_bead, S" << i << " };\n";
  text.close();
#ifdef RKDD_TOOL_SANITIZED
  Result r = rkdd("layout " + fan + " R29", "", "timeout 10");
#else
  Result r = rkdd("layout " + fan + " R29", "", "timeout 10 prlimit --as=268435456");
#endif
  std::remove(fan.c_str());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_LT(std::count(r.out.begin(), r.out.end(), '\n'), 4 * 30) << r.out.substr(0, 2000);
  EXPECT_TRUE(hasLine(r.out, "    struct R28 R28; ", "268435456..536870911 268435456  shown above */")) << r.out;
}

TEST(Tool, CheckEndsOnEndlessInput) {
  /* A device and a pipe that never end; "-" is to read standard input as
  ** the pipe's /dev/stdin is read here. */
  for (const std::string &input : {std::string("/dev/zero"), std::string("/dev/stdin")}) {
    Result r = rkdd("check " + input, input == "/dev/stdin" ? "yes 'describe X { endless text'" : "");
    EXPECT_EQ(r.status, 1) << input;
    EXPECT_TRUE(hasLine(r.err, input + ":", ": error: Aborted. [aborted]")) << r.err;
  }
}

TEST(Tool, CheckReportsOnlyDiagnosticsAndFailsOnErrors) {
  expectOutput("check " + kScene, 0, "", "");
  EXPECT_EQ(rkdd("check " + kScene).err, "");
  expectOutput("check " + kOdd, 1, "", "odd.check.txt");
  expectOutput("check " + kBad, 1, "", "bad.check.txt");
}

TEST(Tool, StandardInputIsReadOnceAndQuietKeepsOnlyErrors) {
  expectOutput("check -q - " + kScene + " < " + kOdd, 1, "", "quiet.check.txt");
  expectRun("show - - < " + kScene, 2, "", "standard input (-) may be named only once");
}

/* Which severities each of -q, -v and --werror lets through, and the status they give. */
TEST(Tool, QuietVerboseAndWerrorFilterBySeverity) {
  struct Case {
    std::string args;
    int status;
    bool error, warning, note;
  } cases[] = {{"check " + kErrors, 1, true, true, false},
               {"check -q " + kErrors, 1, true, false, false},
               {"check -v " + kErrors, 1, true, true, true},
               {"check -v " + kScene, 0, false, false, true},
               {"check -q --werror " + kErrors, 1, true, true, false},
               {"check --werror -v " + kScene, 0, false, false, true},
               {"show -q " + kErrors, 1, true, false, false}};
  for (const Case &c : cases) {
    Result r = rkdd(c.args);
    EXPECT_EQ(r.status, c.status) << c.args;
    for (auto [word, wanted] : {std::pair{": error: ", c.error}, {": warning: ", c.warning}, {": note: ", c.note}})
      EXPECT_EQ(r.err.find(word) != std::string::npos, wanted) << c.args << " " << word << "\n" << r.err;
  }
  expectRun("check -q -v " + kScene, 2, "");
}

/* Each file of tests/mistakes opens with lines "// expect LINE:COLUMN SEVERITY ID"
** (0:0 for no place); each must be reported there, and --werror fails the file. */
TEST(Tool, CheckReportsEachMistakeAtItsPlace) {
  int files = 0;
  for (const auto &entry : std::filesystem::directory_iterator(RKDD_SOURCE_DIR "/tests/mistakes")) {
    if (entry.path().extension() != ".schema") continue;
    files++;
    std::string file = "tests/mistakes/" + entry.path().filename().string();
    Result r = rkdd("check -v --werror " + file);
    EXPECT_EQ(r.status, 1) << file << "\n" << r.err;
    std::ifstream in(entry.path());
    int expects = 0;
    for (std::string line; std::getline(in, line) && line.starts_with("// expect ");) {
      int l = 0, c = 0;
      char severity[16] = "", id[64] = "";
      ASSERT_EQ(std::sscanf(line.c_str(), "// expect %d:%d %15s %63s", &l, &c, severity, id), 4) << file;
      std::string place = l > 0 ? file + ":" + std::to_string(l) + ":" + std::to_string(c) : file;
      if (std::string(id) == "did-you-mean") /* folded into the error at its place */
        EXPECT_TRUE(hasLine(r.err, place + ": error: ", "") && r.err.find("; did you mean `") != std::string::npos)
          << line << "\n" << r.err;
      else
        EXPECT_TRUE(hasLine(r.err, place + ": " + severity + ": ", std::string(" [") + id + "]"))
          << line << "\n" << r.err;
      expects++;
    }
    EXPECT_GT(expects, 0) << file;
  }
  EXPECT_GT(files, 0);
}

/* One line each: the severity word and line breaks gone, a suggestion folded into its error. */
TEST(Tool, DiagnosticsAreOneLineWithTheSuggestionFolded) {
  Result r = rkdd("check -v " + kErrors);
  const std::string file = kErrors + ":";
  EXPECT_TRUE(hasLine(r.err, file, ": error: UNRECOGNIZED OPTION! \"LABLE\"; did you mean `LABEL`? [unknown-option]")) << r.err;
  EXPECT_TRUE(hasLine(r.err, file, ": warning: Value for PAD must be greater than 0. Setting to 1. [pad-not-positive]")) << r.err;
  EXPECT_TRUE(hasLine(r.err, file + "4:9: error: ", " [already-defined]")) << r.err;
  EXPECT_EQ(r.err.find("did-you-mean"), std::string::npos) << r.err;
}

/* A file with an error fails every command, after what could be written; diff gives 2
** and compares nothing, also for a file cut off in its first list or a record that holds itself. */
TEST(Tool, EveryCommandFailsOnAFileWithAnError) {
  std::string pages = tempPath("pages");
  const std::string cut = "printf 'dataDef A { rktype_ival };\\nstruct B { A; '";
  const std::string loop = "printf 'dataDef A { rktype_ival };\\nstruct L { A; R; };\\nrecordDef R { rktype_rec, L };'";
  const std::tuple<std::string, std::string, int> cases[] = {
    {"show " + kErrors, "", 1}, {"show --json " + kErrors, "", 1}, {"layout " + kErrors + " R", "", 1},
    {"header " + kErrors, "", 1}, {"export " + kErrors, "", 1},
    {"doc " + kErrors + " -o " + pages, "", 1}, {"diff " + kErrors + " " + kErrors, "", 2},
    {"diff " + kScene + " " + kErrors, "", 2}, {"diff - " + kScene, cut, 2}, {"diff " + kScene + " -", loop, 2},
    {"check --json " + kErrors, "", 1}, {"check --sarif " + kErrors, "", 1}};
  for (const auto &[args, feed, status] : cases) {
    Result r = rkdd(args, feed);
    EXPECT_EQ(r.status, status) << args;
    EXPECT_EQ(r.out.empty(), args.starts_with("diff")) << args << "\n" << r.out;
    EXPECT_EQ(r.err.find(": error: ") != std::string::npos, !args.starts_with("check")) << args << "\n" << r.err;
  }
  std::filesystem::remove_all(pages);
}

TEST(Tool, CheckJsonHoldsTheShownDiagnosticsAsShowJsonDoes) {
  using nlohmann::json;
  json list = json::parse(rkdd("check --json " + kErrors).out).at("diagnostics");
  ASSERT_GE(list.size(), 3u);
  EXPECT_EQ(list[1], (json{{"file", kErrors}, {"line", 4}, {"column", 9}, {"severity", "error"},
                           {"id", "already-defined"}, {"message", "\"A\" already defined!"}}));
  EXPECT_EQ(json::parse(rkdd("check --json -q " + kErrors).out).at("diagnostics").size(), 2u);
  EXPECT_EQ(json::parse(rkdd("show --json " + kErrors).out).at("files")[0].at("diagnostics"), list);
}

/* Numbers are numbers, what is absent is null, NaN and the infinities are strings, kinds one word. */
TEST(Tool, JsonDocumentsTypeTheirValues) {
  using nlohmann::json;
  json show = json::parse(rkdd("show --json -", "printf 'dataDef N { rktype_fval, DEF=nan, MIN=-inf, MAX=inf };'").out);
  const json &n = show.at("files")[0].at("data")[0];
  EXPECT_EQ(show.at("format"), 1);
  EXPECT_EQ(n.at("default"), "nan");
  EXPECT_EQ(n.at("range"), (json{{"min", "-inf"}, {"max", "inf"}}));
  EXPECT_TRUE(n.at("label").is_null());
  json diff = json::parse(rkdd("diff --json tests/tool/testdata/car.v1.schema tests/tool/testdata/car.v3.schema").out);
  EXPECT_EQ(diff.at("format"), 1);
  for (const json &c : diff.at("changes")) {
    bool typed = c.at("attribute") == "added"   ? c.at("old").is_null() && c.at("new").is_number_integer()
                 : c.at("attribute") == "range" ? c.at("old").is_null() && c.at("new").at("max") == 300
                 : c.at("definition") == "Car"  ? c.at("old").is_null() && c.at("new") == "\"Car\""
                                                : c.at("old").is_string();
    EXPECT_TRUE(typed) << c;
  }
  json check = json::parse(rkdd("check --json tests/mistakes/empty_file.schema").out);
  EXPECT_EQ(check.at("format"), 1);
  EXPECT_TRUE(check.at("diagnostics")[0].at("line").is_null() && check.at("diagnostics")[0].at("column").is_null());
  json scene = json::parse(rkdd("show --json " + kScene).out);
  for (const json &f : scene.at("files")[0].at("records")[3].at("fields"))
    EXPECT_EQ(f.at("kind").get<std::string>().find(' '), std::string::npos) << f;
}

/* Each result names a rule of the driver, and has a place where the diagnostic has one. */
TEST(Tool, CheckSarifIsALogOfResultsWithRulesAndPlaces) {
  Result r = rkdd("check --sarif " + kErrors + " - < /dev/null");
  EXPECT_EQ(r.status, 1);
  auto log = nlohmann::json::parse(r.out);
  EXPECT_EQ(log.at("version"), "2.1.0");
  EXPECT_TRUE(log.at("$schema").get<std::string>().ends_with("sarif-2.1.0.json"));
  const auto &driver = log.at("runs").at(0).at("tool").at("driver");
  const auto &results = log.at("runs").at(0).at("results");
  EXPECT_EQ(driver.at("name"), "rkdd");
  std::set<std::string> ids;
  for (const auto &rule : driver.at("rules")) EXPECT_TRUE(ids.insert(rule.at("id")).second) << rule;
  std::string regions;
  for (const auto &res : results) {
    EXPECT_EQ(driver.at("rules").at(res.at("ruleIndex").get<size_t>()).at("id"), res.at("ruleId"));
    EXPECT_FALSE(res.at("message").at("text").get<std::string>().empty()) << res;
    const auto &at = res.at("locations").at(0).at("physicalLocation");
    regions += at.at("artifactLocation").at("uri").get<std::string>() + " " + res.at("level").get<std::string>() +
               (at.contains("region") ? " " + at.at("region").dump() : "") + "\n";
  }
  EXPECT_NE(regions.find(kErrors + " error {\"startColumn\":9,\"startLine\":4}"), std::string::npos) << regions;
  EXPECT_TRUE(regions.ends_with("%3Cstdin%3E warning\n")) << regions;
}

/* Hostile names: none ends a comment or stands as a macro, keyword or reserved name. */
TEST(Tool, HeaderWritesAssertedStructsAndCommentsTheRest) {
  expectOutput("header " + kScene, 0, "scene.header.txt");
  expectOutput("header " + kOdd, 1, "odd.header.txt");
  expectOutput("header tests/tool/testdata/hostile.schema", 0, "hostile.header.txt");
}

TEST(Tool, DiffSaysWhatBreaksAndExitsByIt) {
  const std::string v1 = "tests/tool/testdata/car.v1.schema", v2 = "tests/tool/testdata/car.v2.schema",
                    v3 = "tests/tool/testdata/car.v3.schema";
  expectOutput("diff " + v1 + " " + v2, 1, "car.diff.txt");
  expectOutput("diff - " + v2 + " <" + v1, 1, "car.diff.txt");
  expectOutput("diff " + v1 + " " + v3, 0, "car.diff13.txt");
  EXPECT_EQ(rkdd("diff --breaking " + v1 + " " + v3).out, "4 changes: 0 breaking, 4 compatible\n");
  /* --breaking drops the compatible changes from the JSON list too, and still counts them. */
  nlohmann::json compatible = nlohmann::json::parse(rkdd("diff --json --breaking " + v1 + " " + v3).out);
  EXPECT_EQ(compatible.at("changes"), nlohmann::json::array());
  EXPECT_EQ(compatible.at("compatible"), 4);
  EXPECT_EQ(rkdd("diff " + v1 + " " + v1).out, "no changes\n");
  expectOutput("diff --json --breaking " + v1 + " " + v2, 1, "car.diff.json");
  expectOutput("diff " + v1 + " " + kBad, 2, "", "bad.diff.txt");
  /* A record renamed under its code and layout is one change, and the records holding it keep their fields. */
  Result renamed = rkdd("diff " + v1 + " -", "sed 's/Wheel/Tyre/g' " + v1);
  EXPECT_EQ(renamed.out, "Tyre: record renamed from Wheel (breaking)\n1 change: 1 breaking, 0 compatible\n");
  for (const std::string &args : {"diff " + v1 + " no/such.schema", "diff " + v1, "diff - - <" + v1})
    expectRun(args, 2, nullptr);
  expectRun("diff --help", 0, "--breaking");
}

/* Whether text is well-formed UTF-8: no cut or overlong sequence, no surrogate. */
bool isUtf8(const std::string &text) {
  for (size_t i = 0; i < text.size();) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t n = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : 9;
    if (n == 9 || (n == 1 && c < 0xc2) || i + n >= text.size() + (n == 0)) return false;
    unsigned char d = n ? static_cast<unsigned char>(text[i + 1]) : 0x80;
    if ((c == 0xe0 && d < 0xa0) || (c == 0xed && d >= 0xa0) || (c == 0xf0 && d < 0x90) || c > 0xf4)
      return false;
    for (size_t k = 1; k <= n; k++)
      if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) return false;
    i += n + 1;
  }
  return true;
}

/* The folder holds the pages of the last run: a site left out takes its pages
** with it, a file doc did not write stays and is reported; every page is UTF-8. */
TEST(Tool, DocKeepsOnlyThisRunsPagesInUtf8) {
  namespace fs = std::filesystem;
  std::string dir = tempPath("pages");
  const std::string hostile = "tests/tool/testdata/hostile.schema";
  expectRun("doc " + kScene + " " + hostile + " -o " + dir, 0, "index.html");
  std::ofstream(dir + "/notes.txt") << "mine\n";
  for (const auto &entry : fs::directory_iterator(dir))
    EXPECT_TRUE(isUtf8(slurp(entry.path()))) << entry.path();
  EXPECT_TRUE(fs::exists(dir + "/r4352.html"));
  expectRun("doc " + kScene + " -o " + dir, 0, "index.html", "also holds 1 file that rkdd doc did not write: notes.txt");
  std::set<std::string> names;
  for (const auto &entry : fs::directory_iterator(dir)) names.insert(entry.path().filename());
  EXPECT_EQ(names, (std::set<std::string>{".rkdd-doc", "d0.html", "doc.css", "doc.js", "index.html", "notes.txt",
                                          "r256.html", "r257.html", "r258.html", "r259.html", "r260.html",
                                          "r261.html", "s0.js"}));
  /* The words of show: its names of properties, its attributes, its counts. */
  const std::pair<std::string, bool> words[] = {
    {"<dt>description</dt><dd>A light point: a named", true}, {"<dt>attributes</dt><dd>display, edit, search</dd>", true},
    {"<dt>level</dt><dd>ILTPNTLVL (", true}, {"<th>kind</th>", true}, {"Message", false}, {"key 0", false}};
  std::string light = slurp(dir + "/r259.html");
  for (const auto &[text, shown] : words) EXPECT_EQ(light.find(text) != std::string::npos, shown) << text;
  EXPECT_NE(slurp(dir + "/index.html").find("6 records, <a href=\"d0.html\">11 data items</a>"), std::string::npos);
  fs::remove_all(dir);
}

/* The exported text is a fixed point of export, and shows as the same site. */
TEST(Tool, ExportWritesTextThatExportsToItselfAndShowsTheSame) {
  std::string first = tempPath("a.schema");
  /* LpPolarity is the last of its bits in the one record that holds it. */
  const std::string lost = "kit: data item LpPolarity: no record's layout tells its width in bits, "
                           "written without LEN (4 bits)\n";
  expectRun("export " + kScene + " -o " + first, 1, nullptr, lost);
  Result again = rkdd("export " + first);
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.out, slurp(first));
  EXPECT_EQ(again.err, lost);
  std::remove(first.c_str());

  /* A field that names nothing cannot be written. */
  expectRun("export " + kOdd, 1, "// field 1: code 0 left out", "kit: record Holder: field 1 (code 0)");
}

/* An enumeration's width comes from a record where a member follows it, and
** one no layout tells is warned about: both read back with the same bits. */
TEST(Tool, ExportKeepsEnumerationWidthsOrSaysTheyAreLost) {
  std::string first = tempPath("enum.schema");
  Result r = rkdd("export - -o " + first,
                  "printf 'dataDef F { rktype_flag };\\ndataDef E { rktype_enum, LEN=2 };\\n"
                  "dataDef G { rktype_enum, LEN=3 };\\nstruct A { F; E; };\\nstruct B { E; G; F; };\\n"
                  "struct C { G; };\\nrecordDef RA { rktype_rec, A };\\nrecordDef RB { rktype_rec, B };\\n"
                  "recordDef RC { rktype_rec, C };'");
  EXPECT_EQ(r.status, 0) << r.err;
  std::string text = slurp(first);
  for (const char *item : {"dataDef E { rktype_enum, LEN=2 };", "dataDef G { rktype_enum, LEN=3 };"})
    EXPECT_NE(text.find(item), std::string::npos) << text;
  Result lost = rkdd("export - ", "printf 'dataDef G { rktype_enum, LEN=3 };\\nstruct C { G; };\\nrecordDef RC { rktype_rec, C };'");
  EXPECT_EQ(lost.status, 1);
  EXPECT_NE(lost.err.find("kit: data item G: no record's layout tells its width"), std::string::npos) << lost.err;
  EXPECT_EQ(rkdd("export " + first).out, text);
  std::remove(first.c_str());
}

TEST(Tool, UsageErrorsAndUnopenableFilesExitWithTwo) {
  /* Nothing is shown when any file does not open; doc needs -o. */
  const std::string usage[] = {"", "frobnicate " + kScene, "layout " + kScene, "show --colour " + kScene,
                               "check examples", "header " + kScene + " -o /nonexistent/dir/x.h",
                               "export " + kScene + " -o /nonexistent/dir/x.schema", "export no/such.schema",
                               "doc " + kScene, "doc " + kScene + " -o " + kScene + "/pages"};
  for (const std::string &args : usage)
    expectRun(args, 2, nullptr);
  expectRun("show " + kScene + " no/such.schema", 2, nullptr, "cannot open no/such.schema");
  Result version = rkdd("--version");
  EXPECT_EQ(std::to_string(version.status) + version.out.substr(0, 5), "0rkdd ");
  for (const char *command : {"show", "layout", "check", "header", "export", "doc", "diff"}) {
    expectRun(std::string(command) + " --help", 0, "Exit status: 1 when a file read has an error");
    expectRun(std::string("help ") + command, 0, (std::string("Usage: rkdd ") + command).c_str());
  }
  expectRun("doc --help", 0, "- reads standard input");
  expectRun("help", 0, "show");
  /* Every usage message is the tool's own; a mistyped command gets the nearest. */
  for (const std::string &args : {std::string(), std::string("frobnicate"), std::string("show"),
                                  "show --colour " + kScene, std::string("help nosuch")})
    EXPECT_TRUE(rkdd(args).err.starts_with("rkdd: ")) << args;
  expectRun("shw " + kScene, 2, nullptr, "rkdd: unknown command 'shw'; did you mean 'show'?\n");
}

TEST(Tool, EncodeAndDecodeTurnJsonAndBytesIntoEachOther) {
  const std::string schema = "tests/kit/records.schema", bin = tempPath("records.bin");
  const std::string json = R"([{"C":-2,"T":"h\u00e9\udcff","Pt":[{"S":7,"UC":9},{"S":-7,"UC":10}],"G":false,"E":5},)"
                           R"({"D":"-inf","A":[1,-1,-32768]}])";
  Result enc = rkdd("encode " + schema + " All - -o " + bin, "printf '%s' '" + json + "'");
  ASSERT_EQ(enc.status, 0) << enc.err;
  EXPECT_EQ(slurp(bin).size(), 2 * 54u);
  Result text = rkdd("decode " + schema + " All " + bin + " --offset 54");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(hasLine(text.out, "    18  rktype_dval", "D = \"-inf\"")) << text.out;
  EXPECT_TRUE(hasLine(text.out, "    32  rktype_sval[3]", "A = [1, -1, -32768]")) << text.out;
  EXPECT_TRUE(hasLine(text.out, "    50  rktype_enum", "E = 0  (bits 2..31)")) << text.out;
  Result both = rkdd("decode --json --count 2 " + schema + " All - < " + bin);
  ASSERT_EQ(both.status, 0) << both.err;
  /* nlohmann refuses the escape of a byte that is no UTF-8: it is looked for as text. */
  size_t escape = both.out.find(R"("T": "hé\udcff")");
  ASSERT_NE(escape, std::string::npos) << both.out;
  nlohmann::json decoded = nlohmann::json::parse(both.out.replace(escape + 9, 6, "?"), nullptr, false);
  ASSERT_TRUE(decoded.is_array() && decoded.size() == 2) << both.out;
  EXPECT_EQ(decoded[0]["Pt"][1]["S"], -7);
  EXPECT_EQ(decoded[0]["I"], -7); /* the default */
  EXPECT_EQ(decoded[1]["G"], true);
  Result again = rkdd("encode " + schema + " All -o " + bin + ".2", "'" RKDD_TOOL "' decode --json --count 2 " + schema + " All " + bin);
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(slurp(bin + ".2"), slurp(bin));
  std::remove((bin + ".2").c_str());
  std::remove(bin.c_str());
}

TEST(Tool, DecodeAndEncodeRefuseBadInputAndWriteNoOutput) {
  const std::string schema = "tests/kit/records.schema", bin = tempPath("short.bin");
  std::ofstream(bin) << std::string(53, 'x');
  expectRun("decode " + schema + " All " + bin, 1, nullptr, "holds 53 bytes; 1 record(s) of 54 bytes from byte 0 need 54");
  expectRun("decode --count 2 " + schema + " All " + bin, 1, nullptr, "need 108");
  std::remove(bin.c_str());
  Result bad = rkdd("encode " + schema + " All -o " + bin, "echo '{\"Pt\": [{\"UC\": 256}, {}]}'");
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.err.find("<stdin>: byte 15: $.Pt[0].UC: does not fit 8-bit unsigned"), std::string::npos) << bad.err;
  EXPECT_FALSE(std::filesystem::exists(bin));
  expectRun("encode " + schema + " All /dev/null -o " + bin, 1, nullptr, "$: expects an object");
  EXPECT_FALSE(std::filesystem::exists(bin));
  expectRun("decode " + schema + " Nope /dev/null", 2, nullptr, "has no record Nope");
  expectRun("decode - All < " + schema, 2, nullptr, "standard input (-) may be named only once");
  expectRun("decode " + kErrors + " Car /dev/null", 2, nullptr, "has errors");
  expectRun("encode " + schema + " All /no/such/file -o " + bin, 2, nullptr, "cannot open /no/such/file");
}
