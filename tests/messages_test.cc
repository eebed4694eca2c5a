/* Messages: each mistake file of tests/mistakes heard through a handler at its
** place, with nothing printed; the same files print, with no handler, the
** bytes they always printed; places hold across chunks; what a handler gets
** outside an import. */
#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "store_fixture.h"
#include "import/ddhint.h"
#include "support/ddreport.h"

namespace {

const std::string kMistakes = RKDD_EXAMPLES_DIR "/../tests/mistakes/";

struct Heard {
  int severity;
  std::string id, text, file;
  int line, column;
};

void hear(const ddMessage *m, void *context) {
  static_cast<std::vector<Heard> *>(context)->push_back(
      {m->severity, m->id, m->text, m->file ? m->file : "(null)", m->line, m->column});
}

const char *const kSeverities[] = {"", "error", "warning", "note"};

std::string describe(const Heard &h) {
  return std::to_string(h.line) + ":" + std::to_string(h.column) + " " + kSeverities[h.severity] + " " + h.id;
}

/* Imports path with a handler; standard output must stay empty. */
std::vector<Heard> importHeard(const std::string &path, int *result = nullptr) {
  std::vector<Heard> heard;
  ddSetMessageHandler(hear, &heard);
  testing::internal::CaptureStdout();
  int site, r = ddImportSchema(path.c_str(), &site);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << path;
  ddSetMessageHandler(nullptr, nullptr);
  if (result) *result = r;
  return heard;
}

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> mistakeFiles() {
  std::vector<std::string> names;
  if (DIR *dir = opendir(kMistakes.c_str())) {
    while (dirent *e = readdir(dir)) {
      std::string name = e->d_name;
      if (name.size() > 7 && name.ends_with(".schema")) names.push_back(name.substr(0, name.size() - 7));
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class Mistake : public testing::TestWithParam<std::string> {};

/* Each "// expect LINE:COLUMN SEVERITY ID" line of the file is heard; every
** message has a known id and severity, the file's path, a place within the
** file, and a text with no line end behind it. */
TEST_P(Mistake, HeardAtItsPlaceWithNothingPrinted) {
  std::string path = kMistakes + GetParam() + ".schema", text = slurp(path);
  std::vector<Heard> heard = importHeard(path);
  std::vector<std::string> got;
  for (const Heard &h : heard) {
    got.push_back(describe(h));
    auto kind = std::find_if(std::begin(ddMessageKinds), std::end(ddMessageKinds),
                             [&](const ddMessageKind &k) { return k.id == h.id; });
    ASSERT_NE(kind, std::end(ddMessageKinds)) << h.id;
    EXPECT_EQ(kind->severity, h.severity) << h.id;
    EXPECT_EQ(h.file, path);
    EXPECT_LE(h.line, std::count(text.begin(), text.end(), '\n') + 1) << describe(h);
    EXPECT_TRUE(h.text.empty() || h.text.back() != '\n') << h.text;
  }
  std::istringstream lines(text);
  int expectations = 0;
  for (std::string line; std::getline(lines, line) && line.starts_with("// expect ");) {
    std::string want = line.substr(10);
    expectations++;
    EXPECT_NE(std::find(got.begin(), got.end(), want), got.end())
        << "wanted " << want << " in " << testing::PrintToString(got);
  }
  EXPECT_GT(expectations, 0);
}

/* Without a handler the library prints what it always printed, byte for
** byte: the .out file beside each mistake file holds that text. */
TEST_P(Mistake, DefaultPrintsAsEver) {
  std::string path = kMistakes + GetParam() + ".schema";
  testing::internal::CaptureStdout();
  int site;
  ddImportSchema(path.c_str(), &site);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), slurp(kMistakes + GetParam() + ".out"));
}

INSTANTIATE_TEST_SUITE_P(Files, Mistake, testing::ValuesIn(mistakeFiles()));

} // namespace

/* Lines are counted across the chunks a large file is read in, with line
** ends of either kind; a place stays right after thousands of them. */
TEST(Messages, PlacesHoldAcrossChunksAndLineEnds) {
  std::string text;
  for (int i = 0; i < 9000; i++) text += i % 2 ? "// filler line\r\n" : "/* a\ncomment */\n";
  text += "dataDef A { rktype_ival,\n\tLABLE=\"x\" };\n";
  std::vector<Heard> heard = importHeard(schemaFile(text));
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(describe(heard[0]), "13502:2 error unknown-option");
  EXPECT_EQ(describe(heard[1]), "13502:2 note did-you-mean");
  EXPECT_EQ(heard[1].text, "did you mean `LABEL`?");
}

/* Glued texts are heard one by one, without the line ends around them;
** outside an import a message has no file and no place; taking the handler
** away brings the printing back. */
TEST(Messages, OneCallPerTextAndTheDefaultComesBack) {
  std::vector<Heard> heard = importHeard(schemaFile("dataDef A{ rktype_ival }"));
  std::vector<std::string> texts;
  for (const Heard &h : heard) texts.push_back(h.text);
  EXPECT_EQ(testing::PrintToString(texts),
            testing::PrintToString(std::vector<std::string>{
                "ERROR: Cannot read list", "ERROR: Type for \"A{\" unknown!  Using rktype_ival.",
                "Unrecognized command: \"rktype_ival\"", "Aborted."}));
  heard = importHeard(schemaFile("dataDef B { rktype_fval, KEY=1, MIN=x };\n")); /* the option at hand is named */
  EXPECT_EQ(heard.empty() ? "" : heard[0].text, "WARNING: Value of MIN is not a number: \"x\".");

  int site = newSite("s");
  heard.clear();
  ddSetMessageHandler(hear, &heard);
  EXPECT_EQ(ddExportSchema(site), 0);
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].file + " " + describe(heard[0]) + " " + heard[0].text,
            "(null) 0:0 error not-implemented Not implemented.");
  std::string longText = std::string(600, 'x') + "end"; /* past the room a text is first formatted in */
  ddReport(DD_MSG_NOT_IMPLEMENTED, "%s", longText.c_str());
  EXPECT_EQ(heard.size() == 2 ? heard[1].text : "", longText);
  ddSetMessageHandler(nullptr, nullptr);
  testing::internal::CaptureStdout();
  ddExportSchema(site);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Not implemented.\n");
}

/* Every import keeps where each definition's name stands, handler or not:
** records and data items in any order of the file, past thousands of lines
** and chunks; nothing for a definition made by a call or a code that names
** nothing, whose out-words stay as they were. */
TEST(Messages, PlacesOfDefinitionsKeptByEveryImport) {
  std::string text;
  for (int i = 0; i < 9000; i++) text += "// filler\n";
  text += "recordDef R { rktype_bead, rkNULL };\ndataDef  A { rktype_ival };\n";
  text += "  dataDef B { rktype_fval }; recordDef   S { rktype_bead, rkNULL };\n";
  for (bool handled : {false, true}) {
    std::vector<Heard> heard;
    if (handled) ddSetMessageHandler(hear, &heard);
    testing::internal::CaptureStdout();
    int site;
    ASSERT_EQ(ddImportSchema(schemaFile(text).c_str(), &site), 1);
    testing::internal::GetCapturedStdout();
    ddSetMessageHandler(nullptr, nullptr);
    std::vector<std::string> got;
    for (const char *name : {"R", "A", "B", "S"}) {
      /* the second import holds the names again: the same local codes in its own site */
      int code = site * 4096 + ddGetMyCode(ddNameToCode(name)), line = -1, column = -1;
      EXPECT_EQ(ddGetPlace(code, &line, nullptr), 1);
      ddGetPlace(code, nullptr, &column);
      got.push_back(std::string(name) + " " + std::to_string(line) + ":" + std::to_string(column));
    }
    EXPECT_EQ(testing::PrintToString(got), R"({ "R 9001:11", "A 9002:10", "B 9003:11", "S 9003:42" })");
  }
  int site = newSite("calls"), line = -7, column = -7;
  for (int code : {ddNewDataDef(site), ddNewRecordDef(site), 0, -1, 4096 * 11})
    EXPECT_EQ(ddGetPlace(code, &line, &column), 0) << code;
  EXPECT_EQ(line + column, -14);
}

/* A hint names the closest known word, case set aside, within one edit of a
** word of three or four letters and two of a longer one; a swap of two
** neighbours is one edit wherever it stands. */
TEST(Messages, HintsNameTheClosestWordWithinItsReach) {
  const char *const known[] = {"LEN", "LABEL", "PARENT"};
  const char *const cases[][2] = {
      {"ELN", "LEN"},     {"LNE", "LEN"}, {"len", "LEN"},         {"LN", ""},  {"LXNX", ""},
      {"ALBEL", "LABEL"}, {"LBL", ""},    {"PAERNTT", "PARENT"}, {"LEN", ""},  {"LEEN", "LEN"},
      {"LBEL", "LABEL"},
  };
  for (const auto &c : cases) {
    std::vector<Heard> heard;
    ddSetMessageHandler(hear, &heard);
    ddHintWord(c[0], known, 3);
    ddSetMessageHandler(nullptr, nullptr);
    std::string want = *c[1] ? std::string("did you mean `") + c[1] + "`?" : "";
    EXPECT_EQ(heard.empty() ? "" : heard[0].text, want) << c[0];
  }
}
