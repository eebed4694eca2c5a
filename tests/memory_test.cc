/* Memory accounting: after importing the example schema, the blocks live
** per source file are exactly those the library keeps on purpose, so a block
** lost on the way shows up as a count that changed; a small file is read in
** room its size. */
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string>

#include "rkdd/rkdd.h"
#include "rkruntime.h"

namespace {

const char *const kFiles[] = {"apidd1", "apidd2", "ddbuffer1", "ddread1", "ddmod1", "mlist1", "mmap1"};

std::map<std::string, long> liveBlocks() {
  std::map<std::string, long> n;
  for (const char *file : kFiles) n[file] = UZA_liveBlocks(file);
  return n;
}

/* What examples/scene.schema holds. */
constexpr long kData = 11, kRecords = 6, kDefinitions = kData + kRecords;
constexpr long kStructs = 4, kMembers = 2 + 2 + 9 + 2;  /* LpPoint, LpMode, LpBody, LpHeaderBody */
constexpr long kLists = 3, kListItems = 2 + 2 + 1;      /* parents, children, aliases */
constexpr long kDescribes = 1, kDefines = 1;
constexpr long kLabels = 11 + 5;                /* every data item, every record but LpGroup */
constexpr long kMessages = 2;                   /* LpName, LpLight */
constexpr long kPrefixes = 2;                   /* LpHeader, LpLight */
constexpr long kStructNames = 5;                /* every record but LpGroup (rkNULL) */
constexpr long kListNames = 2 + 2 + 1;          /* PARENT=, CHILD=, ALIAS= options */
constexpr long kFieldNames = 0;                 /* no FN= option */
constexpr long kRecordsWithFields = 5;          /* as kStructNames */
constexpr long kRecordsWithLinks = 4;           /* LpHeader, LpLight, LpStrobe, LpGroup */
constexpr long kLinkArrays = 1 + 2 + 1 + 1;     /* LpLight has parents and aliases */

} // namespace

TEST(Memory, ImportKeepsWhatTheDesignKeepsAndNothingElse) {
  std::map<std::string, long> before = liveBlocks();
  int site = -1;
  testing::internal::CaptureStdout();
  int result = ddImportSchema(RKDD_EXAMPLES_DIR "/scene.schema", &site);
  std::string out = testing::internal::GetCapturedStdout();
  ASSERT_EQ(result, 1) << out;
  std::map<std::string, long> after = liveBlocks();
  std::map<std::string, long> kept;
  for (const char *file : kFiles) kept[file] = after[file] - before[file];

  /* The site; one record table, record map, data table and data map (each
  ** growth frees the old pair); per definition a site id and a name; the
  ** labels; the descriptions (LpLight's message is replaced by its describe
  ** text, and the old one freed); the prefixes. */
  EXPECT_EQ(kept["apidd1"], 1 + 4 + 2 * kDefinitions + kLabels + kMessages + kPrefixes);
  /* A copy of the field table per record with a structure, a link block per
  ** record with a list, and each link array. */
  EXPECT_EQ(kept["apidd2"], kRecordsWithFields + kRecordsWithLinks + kLinkArrays);
  /* The buffer keeps every entry, member and list item, the option texts,
  ** structure and list names, the describe text, the define value, and its
  ** sets: ten, and one per structure and list, a head each and a node per
  ** element; one large block holds them all, unless the memory layer serves
  ** every block from malloc. The read's scratch, the build context, its maps
  ** and the cached tables are gone. */
  long entries = kDefinitions + kStructs + kLists + kDescribes + kDefines + kMembers + kListItems;
  long texts = kLabels + kMessages + kPrefixes + kStructNames + kListNames + kFieldNames + kDescribes + kDefines;
  long sets = 10 + kStructs + kLists;
  long nodes = 2 * kDefinitions + kStructs + kLists + kDescribes + kDefines + kMembers + kListItems;
  long pieces = entries + texts + sets + nodes;
#if defined(RKRUNTIME_NO_POOL)
  EXPECT_EQ(kept["ddbuffer1"], pieces);
#else
  EXPECT_EQ(kept["ddbuffer1"], 1) << pieces << " pieces share one block";
#endif
  for (const char *file : {"ddread1", "ddmod1", "mmap1", "mlist1"}) EXPECT_EQ(kept[file], 0) << file;

  /* Queries and a layout pass allocate nothing. */
  int light = ddNameToCode("LpLight");
  ASSERT_NE(light, 0);
  EXPECT_GT(ddGetLength(light), 0);
  ddIsFieldFollowAll(light, ddNameToCode("LpWeight"));
  ddFixup();
  EXPECT_EQ(liveBlocks(), after);
}

/* A file smaller than a read chunk (64 KiB) is read in room its size: the
** reader's blocks, seen while a message of the file is heard, stay small. */
TEST(Memory, ASmallFileIsReadInRoomItsSize) {
  static long reading = -1;
  auto sample = [](const ddMessage *, void *) { reading = std::max(reading, UZA_liveBytes("ddread1")); };
  ddSetMessageHandler(sample, nullptr);
  int site = -1;
  ddImportSchema(RKDD_EXAMPLES_DIR "/../tests/mistakes/option_typo.schema", &site);
  ddSetMessageHandler(nullptr, nullptr);
  EXPECT_GT(reading, 0);
  EXPECT_LT(reading, 1024); /* the file holds 74 bytes */
}
