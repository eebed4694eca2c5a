/*
** Ruling on changes: which differences between two models break data
** written with the old one, and the layout changes that records holding a
** changed record in line inherit from it.
*/
#include <rkdd/kit.h>

#include "arena.h"
#include "change.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
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
  RULE_BREAKING,   /* renamed: the data reads the same, a look-up by the old name fails */
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

/* One model with the keys of its records; keys of fields are worked out
** for the few records that need them. */
struct Side {
  const kitModel &model;
  std::vector<std::string> records;
  std::map<std::string, int> recordAt;
  std::vector<std::vector<std::pair<int, int>>> holders; /* by record: (record, slot)
                                                         ** holding it in line */

  explicit Side(const kitModel &m)
      : model(m), records(keysOf(m.records, m.recordCount)), holders(m.recordCount) {
    for (int r = 0; r < m.recordCount; r++) {
      recordAt.emplace(records[r], r);
      for (int i = 0; i < m.records[r].fieldCount; i++)
        if (int nested = m.records[r].fields[i].nested; nested >= 0)
          holders[nested].push_back({r, i});
    }
  }

  int record(const std::string &key) const {
    auto it = recordAt.find(key);
    return it == recordAt.end() ? -1 : it->second;
  }

  std::vector<std::string> fieldKeys(int r) const {
    return keysOf(model.records[r].fields, model.records[r].fieldCount);
  }

  /* The key of slot i of record r: its name, with #n behind it when n - 1
  ** slots before it hold the same name. */
  std::string fieldKey(int r, int i) const {
    const kitField *f = model.records[r].fields;
    auto same = [&](const kitField &g) {
      if (g.name == nullptr || f[i].name == nullptr)
        return g.name == f[i].name && g.local == f[i].local;
      return std::strcmp(g.name, f[i].name) == 0;
    };
    int n = 1;
    for (int k = 0; k < i; k++) n += same(f[k]);
    std::string key = f[i].name ? std::string(f[i].name) : "#" + std::to_string(f[i].local);
    return n > 1 ? key + "#" + std::to_string(n) : key;
  }

  /* The slot of record r with this key, or -1. */
  int field(int r, const std::string &key) const {
    std::vector<std::string> keys = fieldKeys(r);
    auto it = std::find(keys.begin(), keys.end(), key);
    return it == keys.end() ? -1 : int(it - keys.begin());
  }
};

using Ruled = kit::Change;

class Judge {
public:
  Judge(const kitModel &a, const kitModel &b) : old_(a), new_(b) {}

  /* The nestedLayout changes that the changes of records give rise to: a
  ** breadth-first walk up through the records that hold a changed record
  ** in line in both models, each record once. */
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
      int at = old_.record(inner);
      if (at < 0) continue;
      for (auto [r, i] : old_.holders[at]) {
        const std::string &holder = old_.records[r];
        std::string field = old_.fieldKey(r, i);
        int nr = new_.record(holder);
        int ni = nr < 0 ? -1 : new_.field(nr, field);
        int held = ni < 0 ? -1 : new_.model.records[nr].fields[ni].nested;
        if (held < 0 || new_.records[held] != inner) continue;
        found.push_back({KIT_NESTED_LAYOUT, KIT_RECORD, holder, field, inner, inner, KIT_BREAKING});
        if (seen.insert(holder).second) work.push_back(holder);
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
      return c.defKind == KIT_DATA || heldInOld(c.def) ? KIT_BREAKING : KIT_COMPATIBLE;
    case KIT_LEVEL: return std::string(c.oldText) == "0" ? KIT_COMPATIBLE : KIT_BREAKING;
    case KIT_FIELD_ADDED:
      return heldInOld(c.def) || !afterAllOld(c) ? KIT_BREAKING : KIT_COMPATIBLE;
    default: return KIT_BREAKING;
    }
  }

private:
  bool heldInOld(const std::string &record) const {
    int at = old_.record(record);
    return at >= 0 && !old_.holders[at].empty();
  }

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
    std::vector<std::string> fields = new_.fieldKeys(nr), before = old_.fieldKeys(orr);
    for (size_t i = size_t(std::atoi(c.newText)) + 1; i < fields.size(); i++)
      if (std::find(before.begin(), before.end(), fields[i]) != before.end()) return false;
    return true;
  }

  Side old_, new_;
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
    kit::sortChanges(all);
    kitDiff *diff = arena->make<kitDiff>(1);
    diff->internal = arena;
    diff->changes = arena->make<kitChange>(all.size());
    diff->classes = arena->make<int32_t>(all.size());
    for (const Ruled &r : all) {
      kit::storeChange(*arena, diff->changes[diff->count], r);
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
