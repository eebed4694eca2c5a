/*
** Hostile shapes of schema text: endless units through a pipe, nesting far
** deeper than the site can hold, and the deepest site the code space allows,
** each imported in a thread with a small stack; records doubling in size or
** in count, and lengths past what an int holds, in a bounded child process.
*/
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <csignal>
#include <functional>
#include <sstream>
#include <thread>

#include "store_fixture.h"

using namespace testing::internal; /* CaptureStdout */

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStackScale = 8; /* the sanitizer's red zones widen every frame */
#else
constexpr size_t kStackScale = 1;
#endif

/* Runs body in a thread of stackKiB KiB of stack and waits for it. */
void onSmallStack(size_t stackKiB, std::function<void()> body) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, stackKiB * 1024 * kStackScale), 0);
  pthread_t thread;
  auto run = [](void *arg) -> void * {
    (*static_cast<std::function<void()> *>(arg))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, &body), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

/* Structures nested depth deep: each holds the record of the one before and
** a data item of 2 bytes, the innermost holds a data item of 4; the outermost record
** is R0 and sorts first, so that sizing starts at the top. With ptr the
** records are held through pointers instead, and named P rather than R. */
const std::string &writeChain(int depth, bool ptr) {
  const char *r = ptr ? "P" : "R";
  std::ostringstream file;
  file << "dataDef " << r << "Inner { rktype_ival };\ndataDef " << r << "Pad { rktype_sval };\n";
  auto name = [&](int level) { return std::to_string(depth - 1 - level); };
  for (int level = 0; level < depth; level++) {
    file << "recordDef " << r << name(level) << " { rktype_rec, S" << name(level) << " };\n"
         << "struct S" << name(level) << " { ";
    if (level == 0)
      file << r << "Inner; };\n";
    else
      file << r << "Pad; " << r << name(level - 1) << (ptr ? ", PTR" : "") << "; };\n";
  }
  return schemaFile(file.str());
}

/* Records R1 up, each holding the one before twice; R0 holds one item. */
std::string doubling(int depth, const std::string &item) {
  std::string text = "dataDef Item { " + item + " };\nstruct S0 { Item; };\nrecordDef R0 { rktype_bead, S0 };\n";
  for (int i = 1; i < depth; i++) {
    std::string me = std::to_string(i), before = "R" + std::to_string(i - 1);
    text += "struct S" + me + " { " + before + "; " + before + "; };\nrecordDef R" + me + " { rktype_bead, S" + me + " };\n";
  }
  return text;
}

/* Runs body in a child process that is killed after seconds and, in builds
** without a memory checker (which reserves far more than it uses), fails to
** map more than megabytes; true when body gave true. */
bool inBoundedChild(unsigned seconds, size_t megabytes, const std::function<bool()> &body) {
  std::fflush(stdout);
  pid_t pid = fork();
  if (pid == 0) {
#ifndef RKRUNTIME_NO_POOL
    rlimit space{megabytes << 20, megabytes << 20};
    setrlimit(RLIMIT_AS, &space);
#else
    (void)megabytes;
#endif
    alarm(seconds);
    _exit(body() ? 0 : 1);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

TEST(Limits, EndlessUnitsEndTheReadWithAMessage) {
  /* A start, then one pattern repeated without end. */
  const struct {
    std::string start, repeat;
  } shapes[] = {
      {"", "word"},
      {"", std::string(1, '\0')},
      {"dataDef X { rktype_ival, ", "item"},
      {"dataDef X { rktype_ival, ", "a, "},
      {"dataDef X { rktype_ival, ", "KEY=KEY="},
      {"dataDef X { rktype_text, LABEL=\"", "quoted \\\" text"},
      {"struct S { ", "m, PTR, "},
      {"describe X { ", "text"},
      {"define X ", "value"},
      {"/* ", "comment"},
      {"dataDef X { rktype_ival };\n", " \n"},
  };
  std::signal(SIGPIPE, SIG_IGN);
  for (const auto &shape : shapes) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string block;
    while (block.size() < 4096) block += shape.repeat;
    std::thread writer([&, fd = fds[1]] {
      if (write(fd, shape.start.data(), shape.start.size()) >= 0)
        while (write(fd, block.data(), block.size()) > 0) {
        }
      close(fd);
    });
    int result = -1, site = -1;
    std::string out;
    onSmallStack(64, [&] {
      CaptureStdout();
      result = ddImportSchema(("/dev/fd/" + std::to_string(fds[0])).c_str(), &site);
      out = GetCapturedStdout();
    });
    close(fds[0]);
    writer.join();
    EXPECT_EQ(result, 0) << shape.start;
    EXPECT_EQ(site, -1) << shape.start;
    EXPECT_NE(out.find("characters without an end; not a schema text.\nAborted.\n"), std::string::npos)
        << shape.start << out;
  }
}

TEST(Limits, NestingPastTheSiteImportsOnASmallStack) {
  /* Far more records than a site holds: those past it are not built. */
  const std::string &path = writeChain(20000, false);
  int result = -1;
  onSmallStack(256, [&] {
    CaptureStdout();
    result = ddImportSchema(path.c_str(), nullptr);
    GetCapturedStdout();
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ddGetLength(ddNameToCode("R19000")), 4 + 2 * 999);
  EXPECT_EQ(ddNameToCode("R0"), 0); /* the 20,000th record had no code left */
}

TEST(Limits, TheDeepestSiteLaysOutAndFindsPathsOnASmallStack) {
  const int depth = 1790;
  for (bool ptr : {false, true}) {
    const std::string &path = writeChain(depth, ptr);
    int site = -1, result = -1;
    int top = 0, inner = 0, count = -1;
    onSmallStack(128, [&] {
      CaptureStdout();
      result = ddImportSchema(path.c_str(), &site);
      GetCapturedStdout();
      top = ddNameToCode(ptr ? "P0" : "R0");
      inner = ddNameToCode(ptr ? "PInner" : "RInner");
      count = ddBuildPath(top, inner);
      EXPECT_EQ(ddIsFieldFollowAll(top, inner), 1); /* below the first hop, one kind */
    });
    ASSERT_EQ(result, 1) << ptr;
    ASSERT_EQ(ddSiteNo2SiteInfo(site)->recordCount, depth);
    EXPECT_EQ(ddGetLength(top), ptr ? 6 : 4 + 2 * (depth - 1)) << ptr;
    EXPECT_EQ(count, ptr ? depth : 1) << ptr; /* every pointer hop names its record */
  }
}

TEST(Limits, ALinkListPastItsCountByteKeepsTheFirst255) {
  std::string text = "recordDef R { rktype_bead, rkNULL, PARENT=L };\nparent L {\n";
  for (int i = 0; i < 300; i++) text += "R;\n";
  int site = -1;
  CaptureStdout();
  EXPECT_EQ(ddImportSchema(schemaFile(text + "}\n").c_str(), &site), 1);
  EXPECT_NE(GetCapturedStdout().find("ERROR: Parent list \"L\" of \"R\" has 300 items; the first 255 are kept.\n"),
            std::string::npos);
  EXPECT_EQ(ddGetParentCount(ddNameToCode("R")), 255);
}

/* Records of length 0 held twice over, 40 deep, used to be laid out 2^40
** times; lengths past an int wrapped in silence. Each shape now ends at once,
** and a length that does not fit is one error at the record, which is laid
** out empty; the records holding it measure it as 0 bytes. */
TEST(Limits, DoublingAndLengthsPastAnIntEndWithOneErrorEach) {
  const struct {
    std::string text;
    std::vector<std::pair<const char *, int>> lengths;
    int errorLine; /* of the record too long, 0 for none */
  } shapes[] = {
      {doubling(40, "rktype_text, LEN=0"), {{"R0", 0}, {"R39", 0}}, 0},
      {doubling(64, "rktype_ival"), {{"R28", 1 << 30}, {"R29", 0}, {"R30", 0}, {"R63", 0}}, 3 + 2 * 29},
      {"dataDef Big { rktype_text, LEN=1500000000 };\nstruct S { Big; Big; Big; };\nrecordDef R { rktype_bead, S };\n",
       {{"R", 0}}, 3},
      {"dataDef Big { rktype_text, LEN=1000000000, ACNT=3 };\nstruct S { Big; };\nrecordDef R { rktype_bead, S };\n",
       {{"R", 0}}, 3},
  };
  for (const auto &shape : shapes) {
    const std::string &path = schemaFile(shape.text);
    bool ended = inBoundedChild(10, 256, [&] {
      std::vector<int> errorLines;
      ddSetMessageHandler([](const ddMessage *m, void *lines) {
        if (std::string(m->id) == "record-too-long") static_cast<std::vector<int> *>(lines)->push_back(m->line);
      }, &errorLines);
      int site = -1;
      EXPECT_EQ(ddImportSchema(path.c_str(), &site), 1);
      for (auto [name, length] : shape.lengths) EXPECT_EQ(ddGetLength(ddNameToCode(name)), length) << name;
      EXPECT_EQ(errorLines, shape.errorLine ? std::vector<int>{shape.errorLine} : std::vector<int>{});
      for (int i = 0; i < ddGetFieldCount(ddNameToCode("R")); i++) EXPECT_EQ(ddGetField(ddNameToCode("R"))[i].offset, 0);
      return !testing::Test::HasFailure();
    });
    EXPECT_TRUE(ended) << "in 10 s, within 256 MB: " << shape.text.substr(0, 80);
  }
}
