/*
** The words that show and the reference pages both print for what a site
** holds, so that the two say each thing the same way.
*/
#ifndef RKDD_WORDS_H
#define RKDD_WORDS_H

#include <rkdd/kit.h>

#include <string>

/* "1 record", "2 records". */
inline std::string countWords(long long n, const char *one, const char *many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

/* A tag type's keyword, "type N" for a number without one, "?" for none. */
inline std::string typeWords(int tagType) {
  if (tagType < 0) return "?";
  const char *name = kitTagTypeName(tagType);
  return name ? name : "type " + std::to_string(tagType);
}

/* A format level: "none", its keyword with the number, or the number. */
inline std::string levelWords(int level) {
  if (level == 0) return "none";
  const char *name = kitLevelName(level);
  return name ? std::string(name) + " (" + std::to_string(level) + ")" : std::to_string(level);
}

/* A length: bytes as a number, a flag's in bits. */
inline std::string lengthWords(bool flagItem, long long length) {
  if (!flagItem) return std::to_string(length);
  return std::to_string(length) + (length == 1 ? " bit" : " bits");
}

/* The tag type keyword of what a field's slot holds, with its array count. */
inline std::string fieldTypeWords(const kitField &f) {
  std::string type = typeWords(f.tagType);
  if (f.tagType >= 0 && f.arrayCount >= 2) type += "[" + std::to_string(f.arrayCount) + "]";
  return type;
}

/* What a definition's attributes differ in from a plain one; empty when
** nothing does. A record has a maximum id, a data item the enum flag. */
struct AttributeFacts {
  bool record;
  long long key, display, edit, search, packed, version, arrayCount, maxId, enumSet;
  const char *extends; /* null for none */
};

inline std::string attributeWords(const AttributeFacts &a) {
  std::string words;
  auto add = [&words](const std::string &s) { words += (words.empty() ? "" : ", ") + s; };
  if (a.key != 0) add("key " + std::to_string(a.key));
  if (a.display) add("display");
  if (a.edit) add("edit");
  if (a.search) add("search");
  if (!a.packed) add("unpacked");
  if (a.version != 0) add("version " + std::to_string(a.version));
  if (a.arrayCount != 1) add("array " + std::to_string(a.arrayCount));
  if (a.record && a.maxId != 0) add("max id " + std::to_string(a.maxId));
  if (!a.record && a.enumSet) add("enum");
  if (a.extends != nullptr) add(std::string("extends ") + a.extends);
  return words;
}

#endif /* RKDD_WORDS_H */
