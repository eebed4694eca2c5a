/*
** Ruling on changes: which differences between two models break data
** written with the old one, and the layout changes that records holding a
** changed record in line inherit from it.
*/
#include <rkdd/kit.h>

#include "arena.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

/* The class of each attribute when nothing but the attribute decides;
** RULE_LOOK marks those that the models decide (see rule()). */
enum { RULE_COMPATIBLE = KIT_COMPATIBLE, RULE_BREAKING = KIT_BREAKING, RULE_LOOK };

constexpr int kRules[KIT_ATTR_COUNT] = {
  RULE_LOOK,       /* added */
  RULE_BREAKING,   /* removed */
  RULE_LOOK,       /* fieldAdded */
  RULE_BREAKING,   /* fieldRemoved */
  RULE_BREAKING,   /* code */
  RULE_BREAKING,   /* tagType */
  RULE_BREAKING,   /* length */
  RULE_LOOK,       /* arrayCount */
  RULE_COMPATIBLE, /* key */
  RULE_COMPATIBLE, /* display */
  RULE_COMPATIBLE, /* edit */
  RULE_COMPATIBLE, /* search */
  RULE_COMPATIBLE, /* packed */
  RULE_COMPATIBLE, /* version */
  RULE_COMPATIBLE, /* label */
  RULE_COMPATIBLE, /* description */
  RULE_COMPATIBLE, /* xcode */
  RULE_COMPATIBLE, /* extends */
  RULE_LOOK,       /* level */
  RULE_COMPATIBLE, /* prefix */
  RULE_COMPATIBLE, /* maxId */
  RULE_COMPATIBLE, /* subRev */
  RULE_COMPATIBLE, /* parents */
  RULE_COMPATIBLE, /* children */
  RULE_COMPATIBLE, /* aliases */
  RULE_COMPATIBLE, /* range */
  RULE_COMPATIBLE, /* default */
  RULE_COMPATIBLE, /* defaultText */
  RULE_COMPATIBLE, /* enum */
  RULE_BREAKING,   /* fieldIndex */
  RULE_BREAKING,   /* fieldKind */
  RULE_BREAKING,   /* fieldOffset */
  RULE_BREAKING,   /* fieldSize */
  RULE_BREAKING,   /* fieldBitPos */
  RULE_BREAKING,   /* fieldArrayCount */
  RULE_BREAKING,   /* fieldTagType */
  RULE_BREAKING,   /* nestedLayout */
};

/* Attributes of a record that change its layout. */
bool movesLayout(int attr) {
  return attr == KIT_LENGTH || attr == KIT_FIELD_ADDED || attr == KIT_FIELD_REMOVED ||
         (attr >= KIT_FIELD_INDEX && attr <= KIT_NESTED_LAYOUT);
}

/* Names as kitCompare matches them: the name, or #<local> for none, with
** #2, #3 behind a repeat. */
template <typename T>
std::vector<std::string> keysOf(const T *items, int count) {
  std::vector<std::string> keys;
  std::map<std::string, int> seen;
  for (int i = 0; i < count; i++) {
    std::string k = items[i].name ? std::string(items[i].name)
                                  : "#" + std::to_string(items[i].local);
    int n = ++seen[k];
    if (n > 1) k += "#" + std::to_string(n);
    keys.push_back(k);
  }
  return keys;
}

/* One model with the keys of its records and of their fields. */
struct Side {
  const kitModel &model;
  std::vector<std::string> records;
  std::map<std::string, int> recordAt;
  std::vector<std::vector<std::string>> fields;

  explicit Side(const kitModel &m) : model(m), records(keysOf(m.records, m.recordCount)) {
    for (int r = 0; r < m.recordCount; r++) {
      recordAt.emplace(records[r], r);
      fields.push_back(keysOf(m.records[r].fields, m.records[r].fieldCount));
    }
  }

  int record(const std::string &key) const {
    auto it = recordAt.find(key);
    return it == recordAt.end() ? -1 : it->second;
  }

  int field(int r, const std::string &key) const {
    const std::vector<std::string> &f = fields[r];
    auto it = std::find(f.begin(), f.end(), key);
    return it == f.end() ? -1 : int(it - f.begin());
  }

  /* Key of the record that field i of record r holds in line, or "". */
  std::string inLine(int r, int i) const {
    int nested = model.records[r].fields[i].nested;
    return nested >= 0 ? records[nested] : std::string();
  }
};

struct Holder {
  std::string record, field;
};

struct Ruled {
  int attr, defKind;
  std::string def, field, oldText, newText;
  int cls;
};

class Judge {
public:
  Judge(const kitModel &a, const kitModel &b) : old_(a), new_(b) {
    for (int r = 0; r < a.recordCount; r++)
      for (int i = 0; i < a.records[r].fieldCount; i++) {
        std::string inner = old_.inLine(r, i);
        if (inner.empty()) continue;
        heldInOld_.insert(inner);
        int nr = new_.record(old_.records[r]);
        int ni = nr < 0 ? -1 : new_.field(nr, old_.fields[r][i]);
        if (ni >= 0 && new_.inLine(nr, ni) == inner)
          holders_[inner].push_back({old_.records[r], old_.fields[r][i]});
      }
  }

  /* The nestedLayout changes that the changes of records give rise to:
  ** a breadth-first walk up through the holders, each record once. */
  std::vector<Ruled> inherited(const kitChanges &list) const {
    std::deque<std::string> work;
    std::set<std::string> seen;
    for (int i = 0; i < list.count; i++) {
      const kitChange &c = list.changes[i];
      if (c.defKind == KIT_RECORD && movesLayout(c.attr) && seen.insert(c.def).second)
        work.push_back(c.def);
    }
    std::vector<Ruled> found;
    while (!work.empty()) {
      std::string inner = work.front();
      work.pop_front();
      auto it = holders_.find(inner);
      if (it == holders_.end()) continue;
      for (const Holder &h : it->second) {
        found.push_back({KIT_NESTED_LAYOUT, KIT_RECORD, h.record, h.field, inner, inner,
                         KIT_BREAKING});
        if (seen.insert(h.record).second) work.push_back(h.record);
      }
    }
    return found;
  }

  int rule(const kitChange &c) const {
    int attr = c.attr;
    if (attr < 0 || attr >= KIT_ATTR_COUNT) return KIT_BREAKING;
    if (kRules[attr] != RULE_LOOK) return kRules[attr];
    switch (attr) {
    case KIT_ADDED: return codeWasTaken(c) ? KIT_BREAKING : KIT_COMPATIBLE;
    case KIT_ARRAY_COUNT:
      return c.defKind == KIT_DATA || heldInOld_.count(c.def) ? KIT_BREAKING : KIT_COMPATIBLE;
    case KIT_LEVEL: return std::string(c.oldText) == "0" ? KIT_COMPATIBLE : KIT_BREAKING;
    case KIT_FIELD_ADDED:
      return heldInOld_.count(c.def) || !afterAllOld(c) ? KIT_BREAKING : KIT_COMPATIBLE;
    default: return KIT_BREAKING;
    }
  }

private:
  /* An added definition whose local code OLD gave to a definition of the
  ** same kind. */
  bool codeWasTaken(const kitChange &c) const {
    int local = std::atoi(c.newText);
    const kitModel &m = old_.model;
    const kitDef *defs = c.defKind == KIT_RECORD ? m.records : m.data;
    int count = c.defKind == KIT_RECORD ? m.recordCount : m.dataCount;
    for (int i = 0; i < count; i++)
      if (defs[i].local == local) return true;
    return false;
  }

  /* An added field that only added fields follow in the new record. */
  bool afterAllOld(const kitChange &c) const {
    int nr = new_.record(c.def), orr = old_.record(c.def);
    if (nr < 0 || orr < 0) return false;
    const std::vector<std::string> &fields = new_.fields[nr];
    for (size_t i = size_t(std::atoi(c.newText)) + 1; i < fields.size(); i++)
      if (old_.field(orr, fields[i]) >= 0) return false;
    return true;
  }

  Side old_, new_;
  std::set<std::string> heldInOld_;
  std::map<std::string, std::vector<Holder>> holders_;
};

} // namespace

extern "C" {

kitDiff *kitDiffModels(const kitModel *oldModel, const kitModel *newModel) {
  if (oldModel == nullptr || newModel == nullptr) return nullptr;
  kitChanges *base = kitCompare(oldModel, newModel);
  if (base == nullptr) return nullptr;
  auto *arena = new (std::nothrow) kit::Arena;
  if (arena == nullptr) {
    kitChangesFree(base);
    return nullptr;
  }
  try {
    Judge judge(*oldModel, *newModel);
    std::vector<Ruled> all = judge.inherited(*base);
    for (int i = 0; i < base->count; i++) {
      const kitChange &c = base->changes[i];
      all.push_back({c.attr, c.defKind, c.def, c.field, c.oldText, c.newText, judge.rule(c)});
    }
    kitChangesFree(base);
    base = nullptr;
    std::stable_sort(all.begin(), all.end(), [](const Ruled &x, const Ruled &y) {
      return std::tie(x.def, x.defKind, x.field, x.attr) <
             std::tie(y.def, y.defKind, y.field, y.attr);
    });
    kitDiff *diff = arena->make<kitDiff>(1);
    diff->internal = arena;
    diff->changes = arena->make<kitChange>(all.size());
    diff->classes = arena->make<int32_t>(all.size());
    for (const Ruled &r : all) {
      kitChange &k = diff->changes[diff->count];
      k.attr = r.attr;
      k.defKind = r.defKind;
      k.def = arena->copy(r.def);
      k.field = arena->copy(r.field);
      k.oldText = arena->copy(r.oldText);
      k.newText = arena->copy(r.newText);
      diff->classes[diff->count++] = r.cls;
      if (r.cls == KIT_BREAKING) diff->breakingCount++;
    }
    return diff;
  } catch (const std::bad_alloc &) {
    kitChangesFree(base);
    delete arena;
    return nullptr;
  }
}

void kitDiffFree(kitDiff *diff) {
  if (diff != nullptr) delete static_cast<kit::Arena *>(diff->internal);
}

const char *kitClassName(int kitClass) {
  switch (kitClass) {
  case KIT_COMPATIBLE: return "compatible";
  case KIT_BREAKING: return "breaking";
  default: return "?";
  }
}

} // extern "C"
