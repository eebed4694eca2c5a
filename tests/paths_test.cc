/* Paths between records: the path table, search order, the cache, cycles. */
#include <cctype>
#include <map>
#include <sstream>
#include <string>

#include "rkruntime.h"
#include "store_fixture.h"
#include "support/mlist.h"

namespace {

class Paths : public StoreTest {
protected:
  std::map<std::string, int> codes;
  std::string prefix; /* keeps names apart between schemas of one process */

  int code(const std::string &name) {
    if (!codes.count(name))
      codes[name] = std::islower(name[0]) ? data(4) : record((prefix + name).c_str());
    return codes[name];
  }

  /* "R{x,S^,P*}; E>R{t}": upper case names records, lower case data; a slot
  ** with ^ holds a structure, with * a pointer; E>R makes E extend R. */
  void build(const std::string &schema) {
    std::vector<std::pair<int, int>> extends;
    std::stringstream decls(schema);
    for (std::string decl; std::getline(decls >> std::ws, decl, ';');) {
      size_t brace = decl.find('{'), arrow = decl.find('>');
      int owner = code(decl.substr(0, std::min(brace, arrow)));
      if (arrow != std::string::npos)
        extends.push_back({owner, code(decl.substr(arrow + 1, brace - arrow - 1))});
      if (brace == std::string::npos) continue;
      std::vector<ddField> slots;
      std::stringstream in(decl.substr(brace + 1, decl.size() - brace - 2));
      for (std::string s; std::getline(in, s, ',');) {
        int kind = s.back() == '*' ? DD_KIND_POINTER : s.back() == '^' ? DD_KIND_STRUCTURE : 0;
        slots.push_back(makeSlot(code(kind ? s.substr(0, s.size() - 1) : s), kind));
      }
      ASSERT_EQ(setFields(owner, slots), 1) << decl;
    }
    for (auto [ext, target] : extends) ASSERT_EQ(ddSetXcode(ext, ddGetName(target)), 1);
  }

  /* The cached path as names, "-E" for an extension hop. */
  std::string path(int start, int target) {
    std::string out;
    for (int i = 0, n = ddBuildPath(start, target); i < n; i++) {
      int element = -1, flag = -1;
      EXPECT_EQ(ddGetNthParent(start, target, i, &element, &flag), 1);
      for (auto &[name, c] : codes)
        if (c == element) out += (out.empty() ? "" : " ") + std::string(flag ? "-" : "") + name;
    }
    return out;
  }
};

} // namespace

TEST_F(Paths, EveryRowOfThePathTableAndTheSearchOrder) {
  struct Case {
    const char *schema, *start, *target, *path;
  } cases[] = {
      {"R{x,t}", "R", "t", "R"},
      {"R{S^}; S{t}", "R", "t", "R"},
      {"R{A^}; A{B^}; B{t}", "R", "t", "A"},
      {"R{P*}; P{t}", "R", "t", "R P"},
      {"R{x}; E>R{t}", "R", "t", "-E"},
      {"R{x}; E>R", "R", "E", "-E"},
      {"R{x}; d>R", "R", "d", "-d"},
      {"R{x}; E>R{x}; F>E{t}", "R", "t", "-F"},
      {"R{x}; E>R{P*}; P{t}", "R", "t", "-E P"},
      {"R{P*}; P{x}; E>P{t}", "R", "t", "R -E"},
      /* The search order: extensions, newest first, then the slots in order. */
      {"R{A^,t}; A{B^}; B{t}", "R", "t", "A"},
      {"R{t}; E>R{t}", "R", "t", "-E"},
      {"R{x}; A>R{t}; B>R{t}", "R", "t", "-B"},
      {"R{R*,t}", "R", "t", "R"},
      {"R{R*,t}", "R", "R", "R"},
      {"R{S}; S{t}", "R", "t", "R"},
      {"R{d^,d*}", "R", "t", ""},
      /* A hop that found nothing leaves no trace on the next one. */
      {"R{P*,S^}; P{x}; S{t}", "R", "t", "R"},
      {"R{S^}; E>R{x}; S{t}", "R", "t", "R"},
      {"R; E>R{t}", "R", "t", ""}, /* no table: its extensions are not searched */
      /* Cycles of pointers, structures, extensions and all three. */
      {"C{D*}; D{E*}; E{C*,F*}; F{t}", "C", "t", "C D E F"},
      {"C{D^}; D{G}; G{C^,S^}; S{t}", "C", "t", "G"},
      {"A>A{x}", "A", "z", ""},
      {"D>F{x}; E>D{x}; F>E{x}; G>F{t}", "D", "z", ""},
      {"D>F{x}; E>D{x}; F>E{x}; G>F{t}", "D", "t", "-G"},
      {"A{B*}; B{C^}; C>A{x,P*}; P{A*,t}", "P", "z", ""},
      {"A{B*}; B{C^}; C>A{x,P*}; P{A*,t}", "A", "t", "-C P"},
      {"A{B*}; B{C^}; C>A{x,P*}; P{A*,t}", "B", "t", "B P"},
  };
  for (const Case &c : cases) {
    codes.clear();
    prefix = std::to_string(&c - cases) + "_";
    build(c.schema);
    EXPECT_EQ(path(code(c.start), code(c.target)), c.path) << c.schema << " " << c.start;
  }
}

TEST_F(Paths, ManyPathsStayFast) {
  /* Each rung points to, holds and is extended by the next: 3^40 ways without memory. */
  std::string schema = "R39>R38{R0*}";
  for (int i = 0; i < 39; i++) {
    std::string next = "R" + std::to_string(i + 1);
    schema += ";R" + std::to_string(i) + (i ? ">R" + std::to_string(i - 1) : "");
    schema += "{" + next + "*," + next + "^}";
  }
  build(schema);
  EXPECT_EQ(path(code("R0"), code("z")), "");
  EXPECT_EQ(path(code("R0"), code("R39")), "-R39");
}

TEST_F(Paths, TheCacheOnTheTarget) {
  build("R{P*}; P{t}; Q{t}; L{x}; S{x}; E>S{t}");
  int r = code("R"), q = code("Q"), t = code("t"), e = code("E"), s = code("S");
  ASSERT_EQ(ddBuildPath(r, t), 2);
  mlist *cached = ddGetSchema(t)->pathList;
  ASSERT_EQ(setFields(r, {makeSlot(t)}), 1);
  EXPECT_EQ(ddBuildPath(r, t), 2); /* the same start keeps the list, stale or not */
  EXPECT_EQ(ddGetSchema(t)->pathList, cached);
  ASSERT_EQ(ddBuildPath(q, t), 1); /* another start replaces it */
  int element = 0, flag = 7;
  ASSERT_EQ(ddGetNthParent(r, t, 0, &element, &flag), 1); /* start is not read */
  EXPECT_EQ(V({element, flag}), V({q, 0}));
  element = flag = 9;
  EXPECT_EQ(ddGetNthParent(r, t, 1, &element, &flag), 1); /* past the end */
  EXPECT_EQ(V({element, flag}), V({0, 0}));
  EXPECT_EQ(ddGetNthParent(r, t, 0, nullptr, nullptr), 1);
  EXPECT_EQ(ddBuildPath(code("L"), t), 0); /* a failed search drops it */
  EXPECT_EQ(ddGetSchema(t)->pathList, nullptr);
  element = flag = 5;
  EXPECT_EQ(ddGetNthParent(r, t, 0, &element, &flag), 0);
  EXPECT_EQ(ddGetNthParent(r, t + 900, 0, &element, &flag), 0);
  EXPECT_EQ(V({element, flag}), V({5, 5}));
  EXPECT_EACH(0, ddBuildPath(t, t), ddBuildPath(0, t));
  /* A list whose first element is an extension hop reads as that extension. */
  ASSERT_EQ(ddBuildPath(s, t), 1);
  cached = ddGetSchema(t)->pathList;
  EXPECT_EQ(ddBuildPath(e, t), 1);
  EXPECT_EQ(ddGetSchema(t)->pathList, cached);
  /* A target without a definition: the count, but the list is released. */
  int undefinedCode = ddSiteDataCode(site, 40);
  ddCacheFixups(1);
  ASSERT_EQ(setFields(r, {makeSlot(undefinedCode)}), 1);
  long before = UZA_liveBlocks("mlist1");
  EXPECT_EQ(ddBuildPath(r, undefinedCode), 1);
  EXPECT_EQ(UZA_liveBlocks("mlist1"), before);
}

TEST_F(Paths, FindFieldParent) {
  int d = data(4), elsewhere = record(nullptr, newSite("other")), r1 = record(), r2 = record();
  int inner = record();
  ASSERT_EQ(setFields(elsewhere, {makeSlot(d)}), 1);
  EXPECT_EQ(ddFindFieldParent(d), 0); /* only the code's own site is searched */
  ASSERT_EQ(setFields(r2, {makeSlot(d), makeSlot(inner, 7)}), 1);
  ASSERT_EQ(setFields(r1, {makeSlot(data(1)), makeSlot(d, DD_KIND_POINTER)}), 1);
  EXPECT_EQ(V({ddFindFieldParent(d), ddFindFieldParent(inner)}), V({r1, r2}));
  EXPECT_EACH(0, ddFindFieldParent(r1), ddFindFieldParent(0), ddFindFieldParent(d + 1000));
}
