/*
** Tests of the rkdd program: runs the built tool from the source directory
** and checks what it prints, where it prints it, and its exit statuses.
*/
#include <gtest/gtest.h>

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

} // namespace

TEST(Tool, ShowPrintsTheExampleAndRelaysDiagnostics) {
  expectOutput("show " + kScene, 0, "scene.show.txt", "scene.check.txt");
}

TEST(Tool, ShowJsonIsOneDocumentWithASitePerFile) {
  expectOutput("show --json " + kScene + " " + kScene, 0, "scene.show.json");
}

TEST(Tool, LayoutDrawsOneRecord) {
  expectOutput("layout " + kScene + " LpLight", 0, "scene.layout.txt");
  expectOutput("layout " + kScene + " 259", 0, "scene.layout.txt");
  expectOutput("layout " + kOdd + " Holder", 0, "odd.layout.txt");
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
  expectOutput("check " + kScene, 0, "", "scene.check.txt");
  expectOutput("check " + kScene + " " + kOdd, 1, "", "odd.check.txt");
  expectOutput("check " + kBad, 1, "", "bad.check.txt");
}

TEST(Tool, StandardInputIsReadOnceAndQuietKeepsOnlyErrors) {
  expectOutput("check -q - " + kScene + " < " + kOdd, 1, "", "quiet.check.txt");
  expectRun("show - - < " + kScene, 2, "", "standard input (-) may be named only once");
}

TEST(Tool, HeaderWritesAssertedStructsAndCommentsTheRest) {
  expectOutput("header " + kScene, 0, "scene.header.txt");
  expectOutput("header " + kOdd, 0, "odd.header.txt");
}

TEST(Tool, DiffSaysWhatBreaksAndExitsByIt) {
  const std::string v1 = "tests/tool/testdata/car.v1.schema", v2 = "tests/tool/testdata/car.v2.schema",
                    v3 = "tests/tool/testdata/car.v3.schema";
  expectOutput("diff " + v1 + " " + v2, 1, "car.diff.txt");
  expectOutput("diff - " + v2 + " <" + v1, 1, "car.diff.txt");
  expectOutput("diff " + v1 + " " + v3, 0, "car.diff13.txt");
  EXPECT_EQ(rkdd("diff --breaking " + v1 + " " + v3).out, "4 changes: 0 breaking, 4 compatible\n");
  EXPECT_EQ(rkdd("diff " + v1 + " " + v1).out, "no changes\n");
  expectOutput("diff --json --breaking " + v1 + " " + v2, 1, "car.diff.json");
  expectOutput("diff " + v1 + " " + kBad, 2, "", "bad.diff.txt");
  for (const std::string &args : {"diff " + v1 + " no/such.schema", "diff " + v1, "diff - - <" + v1})
    expectRun(args, 2, nullptr);
  expectRun("diff --help", 0, "--breaking");
}

/* The exported text is a fixed point of export, and shows as the same site. */
TEST(Tool, ExportWritesTextThatExportsToItselfAndShowsTheSame) {
  std::string first = tempPath("a.schema");
  expectRun("export " + kScene + " -o " + first, 0, nullptr);
  Result again = rkdd("export " + first);
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, slurp(first));
  EXPECT_EQ(again.err.find("kit:"), std::string::npos) << again.err;
  std::remove(first.c_str());

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
