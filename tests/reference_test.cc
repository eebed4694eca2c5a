/* The schema language reference, docs/schema.md, against the library: every
** message id the library can report has a row or heading there, every row of
** its message tables names an id the library knows, once, and gives the
** severity the library gives and the output (default or handler only) that
** the message reaches. */
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/ddreport.h"

namespace {

const char *const kReferencePath = RKDD_EXAMPLES_DIR "/../docs/schema.md";
const char *const kMessagesHeading = "## Messages";
const char *const kHandlerOnlyHeading = "### Heard by a handler only";

/* A row of a message table: its id, its severity cell, and the heading of
** the table it stands under. */
struct Row {
  std::string id;
  std::string severity;
  std::string section;
};

struct Reference {
  std::set<std::string> listed; /* ids that start a table row or stand in a heading */
  std::vector<Row> messages;    /* the rows under the messages heading */
};

std::string trim(const std::string &text) {
  size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

/* The cells of a table row "| a | b |", trimmed. */
std::vector<std::string> cells(const std::string &line) {
  std::vector<std::string> out;
  std::stringstream in(line.substr(1));
  for (std::string cell; std::getline(in, cell, '|');) out.push_back(trim(cell));
  return out;
}

/* The text of a cell that is one code span and nothing else, or "". */
std::string codeOnly(const std::string &cell) {
  bool one = cell.size() > 2 && cell.front() == '`' && cell.back() == '`' &&
             cell.find('`', 1) == cell.size() - 1;
  return one ? cell.substr(1, cell.size() - 2) : "";
}

Reference parse(std::istream &in) {
  Reference ref;
  bool inMessages = false;
  std::string section;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("#")) {
      if (line.starts_with("## ")) inMessages = line == kMessagesHeading;
      section = line;
      for (size_t at = line.find('`'); at != std::string::npos; at = line.find('`', at)) {
        size_t end = line.find('`', at + 1);
        if (end == std::string::npos) break;
        ref.listed.insert(line.substr(at + 1, end - at - 1));
        at = end + 1;
      }
    } else if (line.starts_with("|")) {
      std::vector<std::string> row = cells(line);
      std::string id = row.empty() ? "" : codeOnly(row[0]);
      if (id.empty()) continue;
      ref.listed.insert(id);
      if (inMessages) ref.messages.push_back({id, row.size() > 1 ? row[1] : "", section});
    }
  }
  return ref;
}

Reference readReference() {
  std::ifstream file(kReferencePath);
  EXPECT_TRUE(file.is_open()) << kReferencePath;
  return parse(file);
}

/* What the library says of each id: its severity's name and whether the
** default output prints it. */
struct Kind {
  std::string severity;
  bool printed;
};

std::map<std::string, Kind> libraryKinds() {
  static const char *const names[] = {"", "error", "warning", "note"};
  std::map<std::string, Kind> kinds;
  for (const ddMessageKind &k : ddMessageKinds)
    kinds[k.id] = {k.severity >= 1 && k.severity <= 3 ? names[k.severity] : "?", k.printed != 0};
  return kinds;
}

/* The parser itself: what counts as listing an id, and what does not. */
TEST(Reference, ListedOnlyAtTheStartOfARowOrInAHeading) {
  struct Case {
    const char *text;
    bool listed;
  };
  const Case cases[] = {
      {"| `a-b` | error | text |", true},
      {"|`a-b`|warning|", true},
      {"### The `a-b` message", true},
      {"A sentence naming `a-b` in passing.", false},
      {"| text | `a-b` |", false},
      {"| `a-b`, `c` | error |", false},
      {"| a-b | error |", false},
  };
  for (const Case &c : cases) {
    std::istringstream in(c.text);
    EXPECT_EQ(parse(in).listed.count("a-b"), c.listed ? 1u : 0u) << c.text;
  }
  std::istringstream doc("## Messages\n### Heard by a handler only\n| `x` | note | t |\n## After\n| `y` | error |\n");
  Reference ref = parse(doc);
  ASSERT_EQ(ref.messages.size(), 1u);
  EXPECT_EQ(ref.messages[0].id, "x");
  EXPECT_EQ(ref.messages[0].severity, "note");
  EXPECT_EQ(ref.messages[0].section, kHandlerOnlyHeading);
}

TEST(Reference, ListsEveryIdTheLibraryReports) {
  Reference ref = readReference();
  for (const auto &[id, kind] : libraryKinds())
    EXPECT_EQ(ref.listed.count(id), 1u) << "`" << id << "` is not listed in " << kReferencePath;
}

TEST(Reference, MessageTablesNameKnownIdsOnce) {
  Reference ref = readReference();
  std::map<std::string, Kind> kinds = libraryKinds();
  EXPECT_EQ(ref.messages.size(), kinds.size()) << "one row per id under " << kMessagesHeading;
  std::set<std::string> seen;
  for (const Row &row : ref.messages) {
    EXPECT_EQ(kinds.count(row.id), 1u) << "`" << row.id << "` is no message id of the library";
    EXPECT_TRUE(seen.insert(row.id).second) << "`" << row.id << "` has two rows";
  }
}

TEST(Reference, RowsGiveTheSeverityAndOutputOfTheLibrary) {
  Reference ref = readReference();
  std::map<std::string, Kind> kinds = libraryKinds();
  for (const Row &row : ref.messages) {
    auto kind = kinds.find(row.id);
    if (kind == kinds.end()) continue; /* reported by MessageTablesNameKnownIdsOnce */
    EXPECT_EQ(row.severity, kind->second.severity) << row.id;
    EXPECT_EQ(row.section == kHandlerOnlyHeading, !kind->second.printed)
        << row.id << " stands under " << row.section;
  }
}

} // namespace
