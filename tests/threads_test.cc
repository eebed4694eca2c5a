/*
** Queries from many threads: eight threads of mixed queries over a large
** imported site, against one thread's answers; the handler from two threads.
*/
#include "store_fixture.h"
#include "schemagen.h"

#include <bit>
#include <latch>
#include <mutex>
#include <thread>

namespace {

using Answers = std::vector<intptr_t>;

/* What the queries say about one code: numbers, entries by their address,
** texts by a hash of their bytes and slots by their place in the table. */
Answers answersFor(int code) {
  const char *name = ddGetName(code), *label = ddGetLabel(code);
  auto bits = [](float v) { return static_cast<intptr_t>(std::bit_cast<uint32_t>(v)); };
  auto at = [](const void *p) { return reinterpret_cast<intptr_t>(p); };
  auto text = [](const char *t) { return t ? static_cast<intptr_t>(std::hash<std::string_view>()(t)) : 0; };
  Answers out = {at(ddGetSchema(code)), text(name), text(label), text(ddGetDesc(code)), text(ddGetSiteId(code)),
                 ddGetTagType(code), ddGetLength(code), ddGetArrayCount(code), ddGetKey(code), ddIsDisplay(code),
                 ddGetExtendCode(code), name ? ddNameToCode(name) : -1, label ? ddLabelToCode(label) : -1};
  if (!ddIsRcode(code)) {
    out.insert(out.end(), {bits(ddGetMinVal(code)), bits(ddGetMaxVal(code)), bits(ddGetDefVal(code)),
                           ddIsRangeSet(code), ddFindFieldParent(code)});
    return out;
  }
  out.insert(out.end(), {text(ddGetPrefix(code)), ddGetIlevel(code), ddIlevel2Code(ddGetIlevel(code)),
                         ddGetParentCount(code), ddGetParentNth(code, 0), ddGetChildNth(code, 0),
                         ddGetAliasCount(code), ddHasExtension(code), ddGetExtFieldCount(code)});
  for (int i = 0; i < ddGetFieldCount(code); i++) {
    int field = ddGetFieldNth(code, static_cast<unsigned>(i)), offset = -1, bit = -1, kind = -1;
    int found = ddGetFieldOffset(code, field, &offset, &bit, &kind);
    out.insert(out.end(), {found, offset, bit, kind, ddIsPointer(code, field),
                           ddGetFieldSchema(code, field) - ddGetField(code)});
  }
  return out;
}

/* Every code of the site, from the one at start on, wrapping round. */
std::vector<Answers> answersFrom(const V &codes, size_t start) {
  std::vector<Answers> out(codes.size());
  for (size_t n = 0; n < codes.size(); n++) {
    size_t i = (start + n) % codes.size();
    out[i] = answersFor(codes[i]);
  }
  return out;
}

V codesOf(int site) {
  V codes;
  for (int n = 0; ddSiteGetNthRcode(site, n) != 0; n++) codes.push_back(ddSiteGetNthRcode(site, n));
  for (int n = 0; ddSiteGetNthDcode(site, n) != 0; n++) codes.push_back(ddSiteGetNthDcode(site, n));
  return codes;
}

/* Sets every field table and one name again to what they are, as a host
** editing the site would, so that the queries after it meet what the store
** builds after a change; gives the number of setters that refused. */
int setAgain(const V &codes) {
  int caching = ddCacheFixups(1), refused = 0;
  for (int code : codes)
    if (ddIsRcode(code)) refused += ddSetField(code, ddGetField(code), ddGetFieldCount(code)) != 1;
  ddFixup();
  ddCacheFixups(caching);
  return refused + !ddSetName(codes[0], ddGetName(codes[0]));
}

} // namespace

/* 1,536 records of 40 fields each (nested records, pointers, links, levels)
** and 128 data items; the threads start together, each at its own code. */
TEST(Threads, EightThreadsGiveTheAnswersOfOne) {
  int site = -1;
  ddSetMessageHandler([](const ddMessage *, void *) {}, nullptr); /* the generated text's notes */
  ASSERT_EQ(ddImportSchema(schemaFile(gen::rkddSchema({128, 1536, 40}, 0)).c_str(), &site), 1);
  ddSetMessageHandler(nullptr, nullptr);
  V codes = codesOf(site);
  ASSERT_EQ(codes.size(), 1536u + 128u);
  std::vector<Answers> expected = answersFrom(codes, 0);
  for (int round = 0; round < 4; round++) {
    ASSERT_EQ(setAgain(codes), 0);
    std::vector<std::vector<Answers>> got(8);
    std::latch start(static_cast<ptrdiff_t>(got.size()));
    std::vector<std::thread> threads;
    for (size_t t = 0; t < got.size(); t++)
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        got[t] = answersFrom(codes, t * codes.size() / got.size());
      });
    for (std::thread &thread : threads) thread.join();
    for (size_t t = 0; t < got.size(); t++)
      for (size_t i = 0; i < codes.size(); i++)
        ASSERT_EQ(got[t][i], expected[i]) << "round " << round << ", thread " << t << ", code " << codes[i];
  }
}

/* The handler is the process's: installed on one thread, it hears the
** messages of queries on any thread, each on the thread that caused it. */
TEST(Threads, HandlerHearsEachThreadOnItsOwnThread) {
  int site = newSite("msgs");
  struct Heard {
    std::mutex lock;
    std::vector<std::pair<std::thread::id, std::string>> calls;
  } heard;
  ddSetMessageHandler(
      [](const ddMessage *m, void *context) {
        auto *h = static_cast<Heard *>(context);
        std::lock_guard<std::mutex> hold(h->lock);
        h->calls.emplace_back(std::this_thread::get_id(), std::string(m->id) + ": " + m->text);
      },
      &heard);
  std::thread::id ids[2];
  std::thread threads[2];
  for (int t = 0; t < 2; t++)
    threads[t] = std::thread([&, t] {
      ids[t] = std::this_thread::get_id();
      for (int i = 0; i < 500; i++) ddExportSchema(site);
    });
  for (std::thread &thread : threads) thread.join();
  ddSetMessageHandler(nullptr, nullptr);
  int count[2] = {0, 0};
  for (const auto &[id, what] : heard.calls) {
    EXPECT_EQ(what, "not-implemented: Not implemented.");
    for (int t = 0; t < 2; t++) count[t] += id == ids[t];
  }
  EXPECT_EQ(count[0], 500);
  EXPECT_EQ(count[1], 500);
}
