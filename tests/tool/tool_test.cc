/*
** Tests of the rkdd program: runs the built tool from the source directory
** and checks what it prints, where it prints it, and its exit statuses.
*/
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
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
** piped to the tool's standard input. */
Result rkdd(const std::string &args, const std::string &feed = "") {
  std::string out = tempPath("out"), err = tempPath("err");
  std::string pipe = feed.empty() ? "" : feed + " | ";
  std::string cmd = "cd '" RKDD_SOURCE_DIR "' && " + pipe + "'" RKDD_TOOL "' " + args + " >" + out +
                    " 2>" + err;
  int raw = std::system(cmd.c_str());
  Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
  std::remove(out.c_str());
  std::remove(err.c_str());
  return r;
}

std::vector<std::string> lines(const std::string &text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string l; std::getline(in, l);) all.push_back(l);
  return all;
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
const std::string kTestdata = RKDD_SOURCE_DIR "/tests/tool/testdata/";

} // namespace

TEST(Tool, ShowPrintsTheExampleAndRelaysDiagnostics) {
  Result r = rkdd("show " + kScene);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, slurp(kTestdata + "scene.show.txt"));
  std::vector<std::string> err = lines(r.err);
  ASSERT_FALSE(err.empty());
  for (const std::string &l : err) EXPECT_EQ(l.rfind(kScene + ": WARNING", 0), 0u) << l;
}

TEST(Tool, ShowJsonIsOneDocumentWithASitePerFile) {
  Result r = rkdd("show --json " + kScene + " " + kScene);
  ASSERT_EQ(r.status, 0);
  nlohmann::json doc = nlohmann::json::parse(r.out); /* throws on diagnostics mixed in */
  ASSERT_EQ(doc["files"].size(), 2u);
  EXPECT_EQ(doc["files"][0], nlohmann::json::parse(slurp(kTestdata + "scene.show.json"))["files"][0]);
  EXPECT_EQ(doc["files"][1]["site"], 1);
  EXPECT_EQ(doc["files"][1]["records"][3]["code"], 4096 + 259);
}

TEST(Tool, LayoutDrawsOneRecord) {
  Result r = rkdd("layout " + kScene + " LpLight");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, slurp(kTestdata + "scene.layout.txt"));
  EXPECT_EQ(rkdd("layout " + kScene + " 259").out, r.out);

  for (const char *part : {"struct Loop Loop;", "contains itself"})
    expectRun("layout " + kOdd + " Holder", 0, part);
  expectRun("layout " + kScene + " NoSuchRecord", 1, nullptr, "has no record NoSuchRecord");
}

TEST(Tool, CheckEndsOnEndlessInput) {
  /* A device and a pipe that never end; "-" is to read standard input as
  ** the pipe's /dev/stdin is read here. */
  for (const std::string &input : {std::string("/dev/zero"), std::string("/dev/stdin")}) {
    Result r = rkdd("check " + input, input == "/dev/stdin" ? "yes 'describe X { endless text'" : "");
    EXPECT_EQ(r.status, 1) << input;
    EXPECT_NE(r.err.find(input + ": Aborted."), std::string::npos) << r.err;
  }
}

TEST(Tool, CheckReportsOnlyDiagnosticsAndFailsOnErrors) {
  Result scene = rkdd("check " + kScene);
  EXPECT_EQ(scene.status, 0);
  EXPECT_EQ(scene.out, "");
  EXPECT_EQ(lines(scene.err).size(), 6u);

  Result odd = rkdd("check " + kScene + " " + kOdd);
  EXPECT_EQ(odd.status, 1);
  EXPECT_EQ(odd.out, "");
  EXPECT_NE(odd.err.find(kOdd + ": ERROR: Unknown element, \"Missing\"\n"), std::string::npos);
  for (const std::string &l : lines(odd.err))
    EXPECT_TRUE(l.rfind(kScene + ": ", 0) == 0 || l.rfind(kOdd + ": ", 0) == 0) << l;

  std::string bad = tempPath("bad.schema");
  std::ofstream(bad) << "dataDef A { rktype_ival };\nnonsense here\n";
  Result broken = rkdd("check " + bad);
  std::remove(bad.c_str());
  EXPECT_EQ(broken.status, 1);
  EXPECT_NE(broken.err.find(bad + ": Unrecognized command: \"nonsense\""), std::string::npos);
  EXPECT_NE(broken.err.find(bad + ": import failed"), std::string::npos);
}

TEST(Tool, StandardInputIsReadOnceAndQuietKeepsOnlyErrors) {
  Result both = rkdd("check -q - " + kScene + " < " + kOdd);
  EXPECT_EQ(both.status, 1);
  EXPECT_NE(both.err.find("<stdin>: ERROR: Unknown element, \"Missing\"\n"), std::string::npos);
  EXPECT_EQ(both.err.find("WARNING"), std::string::npos); /* the scene gives only warnings */

  Result piped = rkdd("show --json - < " + kScene);
  ASSERT_EQ(piped.status, 0);
  nlohmann::json file = nlohmann::json::parse(piped.out)["files"][0];
  EXPECT_EQ(file["file"], "<stdin>");
  EXPECT_EQ(file["records"].size(), 6u);
  EXPECT_NE(piped.err.find("<stdin>: WARNING"), std::string::npos);

  expectRun("show - - < " + kScene, 2, "", "standard input (-) may be named only once");
}

TEST(Tool, HeaderWritesAssertedStructsAndCommentsTheRest) {
  Result scene = rkdd("header " + kScene);
  EXPECT_EQ(scene.status, 0);
  EXPECT_EQ(scene.out, slurp(kTestdata + "scene.header.txt"));

  for (const char *part : {"/* Loop at offset 4, size 0: contains itself",
                           "/* ? at offset 0, size 0: names no definition */", "double int_;",
                           "uint8_t Short[4]; /* Short in line, held as bytes */",
                           "sizeof(struct Holder) == 26"})
    expectRun("header " + kOdd, 0, part);
  EXPECT_EQ(rkdd("header " + kOdd).out.find("sizeof(struct Short)"), std::string::npos);
}

TEST(Tool, DiffSaysWhatBreaksAndExitsByIt) {
  const std::string v1 = "tests/tool/testdata/car.v1.schema", v2 = "tests/tool/testdata/car.v2.schema",
                    v3 = "tests/tool/testdata/car.v3.schema";
  Result breaking = rkdd("diff " + v1 + " " + v2);
  EXPECT_EQ(breaking.status, 1);
  EXPECT_EQ(breaking.out, slurp(kTestdata + "car.diff.txt"));
  EXPECT_EQ(rkdd("diff - " + v2 + " <" + v1).out, breaking.out);

  Result compatible = rkdd("diff " + v1 + " " + v3);
  EXPECT_EQ(compatible.status, 0);
  std::vector<std::string> out = lines(compatible.out);
  ASSERT_EQ(out.size(), 5u);
  EXPECT_EQ(out[1], "Colour: data item added at code 2051 (compatible)");
  EXPECT_EQ(out[4], "4 changes: 0 breaking, 4 compatible");
  EXPECT_EQ(rkdd("diff --breaking " + v1 + " " + v3).out, "4 changes: 0 breaking, 4 compatible\n");
  EXPECT_EQ(rkdd("diff " + v1 + " " + v1).out, "no changes\n");

  Result json = rkdd("diff --json --breaking " + v1 + " " + v2);
  EXPECT_EQ(json.status, 1);
  nlohmann::json doc = nlohmann::json::parse(json.out);
  ASSERT_EQ(doc["changes"].size(), 12u);
  EXPECT_EQ(doc["breaking"], 12);
  EXPECT_EQ(doc["changes"][1], nlohmann::json({{"definition", "Car"}, {"kind", "record"},
                                               {"field", "Lit"}, {"attribute", "fieldOffset"},
                                               {"old", "12"}, {"new", "20"}, {"class", "breaking"}}));

  std::string bad = tempPath("bad.schema");
  std::ofstream(bad) << "nonsense here\n";
  Result broken = rkdd("diff " + v1 + " " + bad);
  std::remove(bad.c_str());
  EXPECT_EQ(broken.status, 2);
  EXPECT_EQ(broken.out, "");
  EXPECT_NE(broken.err.find(bad + ": import failed"), std::string::npos);
  for (const std::string &args : {"diff " + v1 + " no/such.schema", "diff " + v1, "diff - - <" + v1})
    expectRun(args, 2, nullptr);
  expectRun("diff --help", 0, "--breaking");
}

/* The exported text is a fixed point of export, and shows as the same site. */
TEST(Tool, ExportWritesTextThatExportsToItselfAndShowsTheSame) {
  std::string first = tempPath("a.schema");
  Result a = rkdd("export " + kScene + " -o " + first);
  EXPECT_EQ(a.status, 0);
  EXPECT_EQ(a.out, "");
  Result again = rkdd("export " + first);
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, slurp(first));
  EXPECT_EQ(again.err.find("kit:"), std::string::npos) << again.err;
  nlohmann::json original = nlohmann::json::parse(rkdd("show --json " + kScene).out);
  nlohmann::json exported = nlohmann::json::parse(rkdd("show --json " + first).out);
  std::remove(first.c_str());
  for (const char *part : {"records", "data"})
    EXPECT_EQ(original["files"][0][part], exported["files"][0][part]) << part;

  /* A field that names nothing cannot be written. */
  expectRun("export " + kOdd, 1, "// field 1: code 0 left out", "kit: record Holder: field 1 (code 0)");
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
  for (const char *command : {"show", "layout", "check", "header", "export", "doc"})
    expectRun(std::string(command) + " --help", 0, "FILE");
}
