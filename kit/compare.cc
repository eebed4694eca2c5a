/*
** Comparing two models: definitions matched by kind and name, fields of a
** matched record by the name of what they hold, every difference listed as
** (definition, field, attribute, old text, new text) in a stable order.
*/
#include <rkdd/kit.h>

#include "arena.h"
#include "change.h"
#include "schematext.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using kit::Change;

constexpr const char *kAttrNames[KIT_ATTR_COUNT] = {
  "added", "removed", "fieldAdded", "fieldRemoved", "code", "tagType", "length",
  "arrayCount", "key", "display", "edit", "search", "packed", "version", "label",
  "description", "xcode", "extends", "level", "prefix", "maxId", "subRev", "parents",
  "children", "aliases", "range", "default", "defaultText", "enum", "fieldIndex",
  "fieldKind", "fieldOffset", "fieldSize", "fieldBitPos", "fieldArrayCount",
  "fieldTagType", "nestedLayout", "renamed"};

std::string text(const char *s) { return s ? std::string(s) : std::string("(none)"); }

std::string typeText(int tag) {
  const char *t = kitTagTypeName(tag);
  return t ? t : "type " + std::to_string(tag);
}

std::string kindText(int kind) {
  const char *word = kitKindName(kind);
  return word ? word : "kind " + std::to_string(kind);
}

/* The name a definition or field is matched by. */
std::string keyOf(const char *name, int local) {
  return name ? std::string(name) : "#" + std::to_string(local);
}

std::string linkText(const kitLink *links, int count) {
  std::string joined;
  for (int i = 0; i < count; i++) {
    if (i) joined += ", ";
    joined += keyOf(links[i].name, links[i].local);
  }
  return joined;
}

std::string rangeText(const kitDef &d) {
  if (!d.rangeSet) return "none";
  return kit::formatFloat(d.minVal) + " .. " + kit::formatFloat(d.maxVal);
}

std::string defaultText(const kitDef &d) {
  return d.defSet ? kit::formatFloat(d.defVal) : "none";
}

/* Definitions by name; a repeated name gets "#2", "#3" behind it. */
template <typename Item, typename KeyOf>
std::map<std::string, const Item *> byName(const Item *items, int count, KeyOf key) {
  std::map<std::string, const Item *> map;
  std::map<std::string, int> seen;
  for (int i = 0; i < count; i++) {
    std::string k = key(items[i]);
    int n = ++seen[k];
    if (n > 1) k += "#" + std::to_string(n);
    map.emplace(k, &items[i]);
  }
  return map;
}

std::string defKey(const kitDef &d) { return keyOf(d.name, d.local); }

/* Two definitions under one code that data written with either reads the
** same by: tag type, length, count and every figure of the field table. */
bool sameLayout(const kitDef &a, const kitDef &b) {
  if (a.local != b.local || a.tagType != b.tagType || a.length != b.length ||
      a.arrayCount != b.arrayCount || a.fieldCount != b.fieldCount)
    return false;
  for (int k = 0; k < a.fieldCount; k++) {
    const kitField &f = a.fields[k], &g = b.fields[k];
    if (f.local != g.local || f.kind != g.kind || f.offset != g.offset || f.size != g.size ||
        f.bitPos != g.bitPos || f.arrayCount != g.arrayCount || f.tagType != g.tagType)
      return false;
  }
  return true;
}

class Differ {
public:
  std::vector<Change> changes;

  void models(const kitModel &a, const kitModel &b) {
    findRenames(a.records, a.recordCount, b.records, b.recordCount);
    findRenames(a.data, a.dataCount, b.data, b.dataCount);
    kinds(a.records, a.recordCount, b.records, b.recordCount, KIT_RECORD);
    kinds(a.data, a.dataCount, b.data, b.dataCount, KIT_DATA);
  }

private:
  std::map<std::string, std::string> renamed_; /* OLD's name to NEW's */
  std::set<std::string> renamedTo_;

  void add(int attr, int kind, const std::string &def, const std::string &field,
           const std::string &was, const std::string &is) {
    changes.push_back({attr, kind, def, field, was, is});
  }

  /* A definition that only OLD has and one that only NEW has, with the same
  ** code and layout, are one definition renamed. */
  void findRenames(const kitDef *a, int na, const kitDef *b, int nb) {
    auto oldDefs = byName(a, na, defKey), newDefs = byName(b, nb, defKey);
    std::map<int, std::pair<std::string, const kitDef *>> added; /* by local code */
    for (const auto &[name, d] : newDefs)
      if (!oldDefs.count(name)) added.emplace(d->local, std::pair{name, d});
    for (const auto &[name, d] : oldDefs) {
      auto it = added.find(d->local);
      if (newDefs.count(name) || it == added.end() || !sameLayout(*d, *it->second.second)) continue;
      renamed_[name] = it->second.first;
      renamedTo_.insert(it->second.first);
      added.erase(it);
    }
  }

  /* The name a definition of OLD goes by in NEW. */
  std::string newKey(const std::string &oldKey) const {
    auto it = renamed_.find(oldKey);
    return it == renamed_.end() ? oldKey : it->second;
  }

  void kinds(const kitDef *a, int na, const kitDef *b, int nb, int kind) {
    auto oldDefs = byName(a, na, defKey), newDefs = byName(b, nb, defKey);
    for (const auto &[name, d] : oldDefs) {
      std::string now = newDefs.count(name) ? name : newKey(name);
      auto it = newDefs.find(now);
      if (it == newDefs.end()) {
        add(KIT_REMOVED, kind, name, "", std::to_string(d->local), "");
        continue;
      }
      if (now != name) add(KIT_RENAMED, kind, now, "", name, now);
      def(now, *d, *it->second);
    }
    for (const auto &[name, d] : newDefs)
      if (!oldDefs.count(name) && !renamedTo_.count(name))
        add(KIT_ADDED, kind, name, "", "", std::to_string(d->local));
  }

  void def(const std::string &name, const kitDef &a, const kitDef &b) {
    int kind = a.kind;
    auto num = [&](int attr, long long x, long long y) {
      if (x != y) add(attr, kind, name, "", std::to_string(x), std::to_string(y));
    };
    auto str = [&](int attr, const std::string &x, const std::string &y) {
      if (x != y) add(attr, kind, name, "", x, y);
    };
    num(KIT_CODE, a.local, b.local);
    str(KIT_TAG_TYPE, typeText(a.tagType), typeText(b.tagType));
    num(KIT_LENGTH, a.length, b.length);
    num(KIT_ARRAY_COUNT, a.arrayCount, b.arrayCount);
    num(KIT_KEY, a.key, b.key);
    num(KIT_DISPLAY, a.display, b.display);
    num(KIT_EDIT, a.edit, b.edit);
    num(KIT_SEARCH, a.search, b.search);
    num(KIT_PACKED, a.packed, b.packed);
    num(KIT_VERSION, a.version, b.version);
    str(KIT_LABEL, text(a.label), text(b.label));
    str(KIT_DESC, text(a.desc), text(b.desc));
    str(KIT_XCODE, text(a.xcodeName), text(b.xcodeName));
    str(KIT_EXTENDS, a.extendCode ? text(a.extendName) : "(none)",
        b.extendCode ? text(b.extendName) : "(none)");
    if (kind == KIT_DATA) {
      str(KIT_RANGE, rangeText(a), rangeText(b));
      str(KIT_DEFAULT, defaultText(a), defaultText(b));
      str(KIT_DEFAULT_TEXT, text(a.defString), text(b.defString));
      num(KIT_ENUM, a.enumSet, b.enumSet);
      return;
    }
    num(KIT_LEVEL, a.level, b.level);
    str(KIT_PREFIX, text(a.prefix), text(b.prefix));
    num(KIT_MAX_ID, a.maxId, b.maxId);
    num(KIT_SUB_REV, a.subRev, b.subRev);
    str(KIT_PARENTS, linkText(a.parents, a.parentCount), linkText(b.parents, b.parentCount));
    str(KIT_CHILDREN, linkText(a.children, a.childCount), linkText(b.children, b.childCount));
    str(KIT_ALIASES, linkText(a.aliases, a.aliasCount), linkText(b.aliases, b.aliasCount));
    fields(name, a, b);
  }

  void field(const std::string &name, const std::string &key, const kitDef &a, const kitField &f,
             const kitDef &b, const kitField &g) {
    auto num = [&](int attr, long long x, long long y) {
      if (x != y) add(attr, KIT_RECORD, name, key, std::to_string(x), std::to_string(y));
    };
    num(KIT_FIELD_INDEX, &f - a.fields, &g - b.fields);
    if (f.kind != g.kind) add(KIT_FIELD_KIND, KIT_RECORD, name, key, kindText(f.kind), kindText(g.kind));
    num(KIT_FIELD_OFFSET, f.offset, g.offset);
    num(KIT_FIELD_SIZE, f.size, g.size);
    num(KIT_FIELD_BIT_POS, f.bitPos, g.bitPos);
    num(KIT_FIELD_ARRAY_COUNT, f.arrayCount, g.arrayCount);
    if (f.tagType != g.tagType)
      add(KIT_FIELD_TAG_TYPE, KIT_RECORD, name, key, f.tagType < 0 ? "(none)" : typeText(f.tagType),
          g.tagType < 0 ? "(none)" : typeText(g.tagType));
  }

  /* A field of OLD is matched by the name its definition has in NEW. */
  std::string oldFieldKey(const kitField &f) const {
    return f.name ? newKey(f.name) : keyOf(nullptr, f.local);
  }
  static std::string fieldKey(const kitField &f) { return keyOf(f.name, f.local); }

  bool sameKey(const kitField &f, const kitField &g) const {
    if (f.name == nullptr || g.name == nullptr) return f.name == g.name && f.local == g.local;
    return oldFieldKey(f) == g.name;
  }

  void fields(const std::string &name, const kitDef &a, const kitDef &b) {
    /* Tables that hold the same names slot by slot pair up slot by slot;
    ** only where they do not are fields matched through their names. */
    bool aligned = a.fieldCount == b.fieldCount;
    for (int k = 0; aligned && k < a.fieldCount; k++) aligned = sameKey(a.fields[k], b.fields[k]);
    if (aligned) {
      for (int k = 0; k < a.fieldCount; k++) {
        const kitField &f = a.fields[k], &g = b.fields[k];
        if (f.kind == g.kind && f.offset == g.offset && f.size == g.size && f.bitPos == g.bitPos &&
            f.arrayCount == g.arrayCount && f.tagType == g.tagType)
          continue;
        std::string key = oldFieldKey(f);
        int n = 0;
        for (int j = 0; j < k; j++) n += oldFieldKey(a.fields[j]) == key;
        field(name, n ? key + "#" + std::to_string(n + 1) : key, a, f, b, g);
      }
      return;
    }
    auto oldFields = byName(a.fields, a.fieldCount, [this](const kitField &f) { return oldFieldKey(f); });
    auto newFields = byName(b.fields, b.fieldCount, fieldKey);
    for (const auto &entry : oldFields) {
      auto it = newFields.find(entry.first);
      if (it == newFields.end())
        add(KIT_FIELD_REMOVED, KIT_RECORD, name, entry.first, std::to_string(entry.second - a.fields), "");
      else
        field(name, entry.first, a, *entry.second, b, *it->second);
    }
    for (const auto &[field, g] : newFields)
      if (!oldFields.count(field))
        add(KIT_FIELD_ADDED, KIT_RECORD, name, field, "", std::to_string(g - b.fields));
  }
};

} // namespace

extern "C" {

kitChanges *kitCompare(const kitModel *oldModel, const kitModel *newModel) {
  if (oldModel == nullptr || newModel == nullptr) return nullptr;
  auto *arena = new (std::nothrow) kit::Arena;
  if (arena == nullptr) return nullptr;
  try {
    Differ differ;
    differ.models(*oldModel, *newModel);
    std::vector<Change> &all = differ.changes;
    kit::sortChanges(all);
    kitChanges *list = arena->make<kitChanges>(1);
    list->internal = arena;
    list->changes = arena->make<kitChange>(all.size());
    for (const Change &c : all) kit::storeChange(*arena, list->changes[list->count++], c);
    return list;
  } catch (const std::bad_alloc &) {
    delete arena;
    return nullptr;
  }
}

void kitChangesFree(kitChanges *changes) {
  if (changes != nullptr) delete static_cast<kit::Arena *>(changes->internal);
}

const char *kitAttrName(int attr) {
  return attr >= 0 && attr < KIT_ATTR_COUNT ? kAttrNames[attr] : "?";
}

} // extern "C"
