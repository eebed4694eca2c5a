/*
** Sequences of store calls decoded from the input, each sequence on a fresh
** store (see fuzzFresh). After every call the store's invariants must
** hold; after every fix-up the layouts must be those that the field tables
** and the definitions' lengths give.
*/
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_common.h"

namespace {

/* The input as a stream of small decisions; past its end every read is 0. */
struct Input {
  const uint8_t *at, *end;
  uint8_t byte() { return at < end ? *at++ : 0; }
  int below(int n) { return byte() % n; }
  int32_t word() {
    uint32_t w = 0;
    for (int i = 0; i < 4; i++) w = (w << 8) | byte();
    return static_cast<int32_t>(w);
  }
  bool more() const { return at < end; }
};

const char *const kNames[] = {"alpha", "beta", "gamma", "delta", "A", "B", "", "alpha"};
const char *const kIds[] = {"core", "ext", "temp", "averyverylongid", "", "x"};

struct Run {
  Input in;
  std::vector<int> codes; /* every code a creation call gave */
  bool caching = false;

  /* Mostly a code made so far, sometimes one from nowhere. */
  int code() {
    int pick = in.byte();
    if (!codes.empty() && pick < 224) return codes[pick % codes.size()];
    switch (pick % 4) {
    case 0: return 0;
    case 1: return in.word();
    case 2: return DD_CODE_BASE * in.below(11) + 256 + in.below(8);
    default: return DD_CODE_BASE * in.below(11) + 2048 + in.below(8);
    }
  }
  int siteNo() { return in.below(12) - 1; }
  const char *name() {
    int pick = in.below(10);
    return pick < 8 ? kNames[pick] : nullptr;
  }

  ddRSchema *record(int c) { return ddGetRSchema(c); }

  /* A slot table of up to 8 slots with random codes, kinds and bits. */
  std::vector<ddField> slots() {
    std::vector<ddField> v(in.below(9));
    for (ddField &f : v) {
      f.code = code();
      int kind = in.below(8);
      f.bits = static_cast<uint32_t>(in.below(64)) |
               (static_cast<uint32_t>(kind < 3 ? kind : in.word()) << DD_FIELD_KIND_SHIFT &
                DD_FIELD_KIND_MASK);
      if (in.below(4) == 0) f.bits |= static_cast<uint32_t>(in.word()) & 0xFFFF0000u;
      f.offset = in.word();
    }
    return v;
  }

  std::vector<int> links() {
    std::vector<int> v(in.below(6));
    for (int &c : v) c = code();
    return v;
  }

  /* One store call per step, chosen by a byte: a table of the named steps
  ** below, two entries for the calls that build most of a store. */
  void step() {
    using Step = void (Run::*)();
    static constexpr Step kSteps[] = {
        &Run::newSite,     &Run::newTemp,      &Run::newRecord,    &Run::newRecord,
        &Run::newData,     &Run::newData,      &Run::setName,      &Run::setText,
        &Run::setTagType,  &Run::setLength,    &Run::setFields,    &Run::setFields,
        &Run::setUnpacked, &Run::handBack,     &Run::markField,    &Run::setLinks,
        &Run::setXcode,    &Run::cacheFixups,  &Run::fixup,        &Run::buildPath,
        &Run::tempCode,    &Run::fieldQueries, &Run::setProperty,  &Run::plainQueries};
    (this->*kSteps[in.below(sizeof kSteps / sizeof kSteps[0])])();
  }

  void newSite() {
    int n = -1;
    int pick = in.below(7);
    if (ddNewSite(pick < 6 ? kIds[pick] : nullptr, in.below(3) ? "a site" : nullptr, &n))
      FUZZ_CHECK(n >= 0 && n < ddSiteCount());
  }
  void newTemp() {
    int n = -1;
    int pick = in.below(7);
    if (ddInitTemp(pick < 6 ? kIds[pick] : nullptr, 0, &n)) FUZZ_CHECK(ddSiteNo2SiteInfo(n));
  }
  void newRecord() {
    int c = ddNewRecordDef(siteNo());
    if (c == 0) return;
    FUZZ_CHECK(ddIsRcode(c) && ddGetSchema(c)->code == c);
    codes.push_back(c);
  }
  void newData() {
    int c = ddNewDataDef(siteNo());
    if (c == 0) return;
    FUZZ_CHECK(ddIsDcode(c) && ddGetSchema(c)->code == c);
    codes.push_back(c);
  }
  void setName() {
    int c = code();
    const char *n = name();
    if (ddSetName(c, n)) FUZZ_CHECK(n ? std::strcmp(ddGetName(c), n) == 0 : !ddGetName(c));
  }
  void setText() {
    int c = code();
    switch (in.below(4)) {
    case 0: ddSetLabel(c, name()); break;
    case 1: ddSetDesc(c, name()); break;
    case 2: ddSetPrefix(c, name()); break;
    default: ddSetName(c, ddGetName(code())); break; /* another entry's own text */
    }
  }
  void setTagType() {
    int c = code(), tag = in.below(20) - 2;
    if (ddSetTagType(c, tag)) FUZZ_CHECK(ddGetTagType(c) == tag);
  }
  void setLength() {
    int c = code(), length = in.below(4) == 0 ? in.word() : in.below(40) - 4;
    ddSetLength(c, length);
  }
  void setFields() {
    int c = code();
    std::vector<ddField> v = slots();
    int count = static_cast<int>(v.size());
    if (in.below(8) == 0) count = in.below(3) - 1; /* a count that does not match */
    if (ddSetField(c, v.empty() ? nullptr : v.data(), count)) FUZZ_CHECK(ddGetFieldCount(c) == count);
  }
  void setUnpacked() {
    int c = code();
    std::vector<ddField> v = slots();
    ddSetUnpackedField(c, v.empty() ? nullptr : v.data(), static_cast<int>(v.size()), in.below(64));
  }
  /* The record's own live table, or a part of it, handed back. */
  void handBack() {
    int c = code();
    ddRSchema *r = record(c);
    if (r == nullptr || r->fields == nullptr) return;
    int from = in.below(r->fieldCount);
    int count = in.below(r->fieldCount - from + 1);
    if (in.below(2))
      ddSetField(c, count ? r->fields + from : nullptr, count);
    else
      ddSetUnpackedField(c, count ? r->fields + from : nullptr, count, in.below(64));
  }
  void markField() {
    int c = code();
    ddRSchema *r = record(c);
    ddField *slot = r && r->fields ? &r->fields[in.below(r->fieldCount)] : nullptr;
    switch (in.below(3)) {
    case 0: ddSetFieldIsPointer(c, slot); break;
    case 1: ddSetFieldIsStructure(c, slot); break;
    default: ddSetFieldIsDC(c, slot); break;
    }
  }
  void setLinks() {
    int c = code();
    std::vector<int> v = links();
    int count = static_cast<int>(v.size());
    int *given = v.empty() ? nullptr : v.data();
    ddRSchema *r = record(c);
    int which = in.below(3);
    if (in.below(4) == 0 && r && r->links) { /* the live array handed back */
      given = which == 0 ? r->links->parents : which == 1 ? r->links->children : r->links->aliases;
      count = which == 0 ? r->links->parentCount : which == 1 ? r->links->childCount : r->links->aliasCount;
    }
    int ok = which == 0 ? ddSetParent(c, given, count)
             : which == 1 ? ddSetChild(c, given, count)
                          : ddSetAlias(c, given, count);
    if (!ok) return;
    int got = which == 0 ? ddGetParentCount(c) : which == 1 ? ddGetChildCount(c) : ddGetAliasCount(c);
    FUZZ_CHECK(got == count);
  }
  void setXcode() {
    int c = code();
    const char *n = name();
    if (ddSetXcode(c, n) && n != nullptr && ddNameToCode(n) != 0 && ddIsRcode(ddNameToCode(n)))
      FUZZ_CHECK(ddGetExtendCode(c) != 0);
  }
  void cacheFixups() {
    caching = in.below(2);
    ddCacheFixups(caching);
  }
  /* A real pass: a change is marked, then laid out. */
  void fixup() {
    ddMarkFixup(0);
    ddFixup();
    FUZZ_CHECK(ddFixupPending == 0);
    fuzzCheckLayout();
  }
  void buildPath() {
    int a = code(), b = code();
    int length = ddBuildPath(a, b);
    FUZZ_CHECK(length >= 0);
    int element = 0, flag = 0;
    for (int k = 0; k < length && ddGetNthParent(a, b, k, &element, &flag); k++)
      FUZZ_CHECK(flag == 0 || flag == 1);
  }
  /* Temporary codes stay below the data range, so that no record slot
  ** shadows a data code; sometimes one out of reach: below the base or
  ** past a site's span (a word that falls within a site's codes is moved up). */
  void tempCode() {
    int site = siteNo();
    int local = in.below(8) == 0 ? in.word() : 200 + in.below(1848);
    if (local >= 200 + 1848 && local < DD_CODE_BASE) local += DD_CODE_BASE;
    ddSetTempCode(site, local, in.below(64), in.byte(), in.byte());
  }
  void fieldQueries() {
    int a = code(), b = code();
    ddIsFieldFollowAll(a, b);
    ddIsFieldFollowInLine(a, b);
    ddIsFieldFollowPointer(a, b);
    ddFindFieldParent(a);
    ddHasExtension(a);
    ddGetExtFieldNth(a, in.below(4));
    int offset, bit, kind;
    if (ddGetFieldOffset(a, b, &offset, &bit, &kind)) FUZZ_CHECK(ddIsField(a, b));
    ddIsLegalXcode(a, b);
  }
  void setProperty() {
    int c = code();
    switch (in.below(6)) {
    case 0: ddSetRange(c, static_cast<float>(in.word()), static_cast<float>(in.word())); break;
    case 1: ddSetDefVal(c, static_cast<float>(in.word())); break;
    case 2: ddSetKey(c, in.below(6) - 1); break;
    case 3: ddSetIlevel(c, in.word()); break;
    case 4: ddSetMaxId(c, in.word()); break;
    default: ddSetIsDisplay(c, in.byte()); break;
    }
  }
  void plainQueries() {
    int c = code();
    ddGetLength(c);
    ddGetArrayCount(c);
    ddGetSubRev(c);
    ddGetSiteId(c);
    ddLabelToCode(name());
    ddIlevel2Code(in.below(300));
    int index, tag, length, fields, ilevel;
    const char *n;
    ddDeRcode(c, &index, &tag, &length, &n, &fields, &ilevel);
    ddDeDcode(c, &index, &tag, &length, &n);
  }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzzFresh([data, size] {
    Run run{{data, data + size}, {}, false};
    int steps = 0;
    while (run.in.more() && steps++ < 400) {
      run.step();
      fuzzCheckTables();
    }
    ddMarkFixup(0);
    ddFixup();
    fuzzCheckLayout();
  });
  return 0;
}
