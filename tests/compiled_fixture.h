/* Compiled schemas for tests, installed as a library with its schema compiled
** in does at start-up. ddSetCode rewrites the tables, so install each once. */
#ifndef RKDD_TESTS_COMPILED_FIXTURE_H
#define RKDD_TESTS_COMPILED_FIXTURE_H

#include "rkdd/rkdd.h"

namespace fx {

inline ddDSchema data(int code, const char *name, int tagType, int length) {
  ddDSchema d{};
  d.head.code = code, d.head.tagType = tagType, d.head.flags = DD_FLAG_IS_PACKED;
  d.head.name = name, d.head.arrayCount = 1, d.head.length = length;
  return d;
}

/* What a compiled record entry states; everything else is zero. */
struct Record {
  int code = 0;
  const char *name = nullptr, *xcodeName = nullptr;
  int tagType = MTYPE_NULL, ilevel = 0;
  ddField *fields = nullptr; int fieldCount = 0;
  const char **parents = nullptr; int parentCount = 0;
  const char **children = nullptr; int childCount = 0;
  const char **aliases = nullptr; int aliasCount = 0;
};

inline ddRSchema record(const Record &s) {
  ddRSchema r{};
  r.head = data(s.code, s.name, s.tagType, 0).head;
  r.head.xcodeName = s.xcodeName, r.ilevel = s.ilevel;
  r.fields = s.fields, r.fieldCount = static_cast<uint8_t>(s.fieldCount);
  r.parentNames = s.parents, r.parentNameCount = static_cast<uint8_t>(s.parentCount);
  r.childNames = s.children, r.childNameCount = static_cast<uint8_t>(s.childCount);
  r.aliasNames = s.aliases, r.aliasNameCount = static_cast<uint8_t>(s.aliasCount);
  return r;
}

/* The site fields a compiled library writes before it calls ddSetCode. */
struct Tables {
  ddRSchema *records = nullptr;
  int recordCount = 0, firstRecord = 256, lastRecord = 255, recordBase = 256;
  int32_t *recordMap = nullptr;
  ddDSchema *data = nullptr;
  int dataCount = 0, firstData = 2048, lastData = 2047, dataBase = 2048;
  int32_t *dataMap = nullptr;
};

/* A library's start-up: register a site and fill in its tables (siteWith),
** then fix them up (install, giving the site number). */
inline ddSite *siteWith(const char *id, const Tables &t, int *n) {
  ddSite *s = ddNewSite(id, "compiled schema", n);
  s->recordTable = t.records, s->recordCount = t.recordCount, s->recordMap = t.recordMap;
  s->firstRecord = t.firstRecord, s->lastRecord = t.lastRecord, s->recordBase = t.recordBase;
  s->dataTable = t.data, s->dataCount = t.dataCount, s->dataMap = t.dataMap;
  s->firstData = t.firstData, s->lastData = t.lastData, s->dataBase = t.dataBase;
  return s;
}

inline int install(const char *id, const Tables &t) {
  int n = -1;
  ddSetCode(siteWith(id, t, &n));
  return n;
}

/* The core schema: a root holding nodes, which hold points. */
enum : int { kRoot = 256, kNode, kPoint, kXpos = 2048, kYpos, kCaption };
constexpr uint32_t kStructure = DD_KIND_STRUCTURE << DD_FIELD_KIND_SHIFT;

inline Tables coreTables() {
  static const char *rootKids[] = {"node"}, *nodeUp[] = {"root"}, *nodeKids[] = {"point"},
                    *pointUp[] = {"node"};
  static ddField nodeFields[] = {{kXpos, 0, 0}, {kYpos, 0, 4}, {kCaption, 0, 8}, {kPoint, kStructure, 24}};
  static ddField pointFields[] = {{kXpos, 0, 0}, {kYpos, 0, 4}};
  static ddRSchema records[] = {
      record({.code = kRoot, .name = "root", .tagType = MTYPE_ROOT, .ilevel = 1, .children = rootKids, .childCount = 1}),
      record({.code = kNode, .name = "node", .tagType = MTYPE_BEAD, .ilevel = 2, .fields = nodeFields,
              .fieldCount = 4, .parents = nodeUp, .parentCount = 1, .children = nodeKids, .childCount = 1}),
      record({.code = kPoint, .name = "point", .tagType = MTYPE_REC, .ilevel = 3, .fields = pointFields,
              .fieldCount = 2, .parents = pointUp, .parentCount = 1}),
  };
  static ddDSchema items[] = {data(kXpos, "xpos", MTYPE_INT, 4), data(kYpos, "ypos", MTYPE_INT, 4),
                              data(kCaption, "caption", MTYPE_TEXT, 16)};
  static int32_t recordMap[3], dataMap[3];
  return {records, 3, kRoot, kPoint, kRoot, recordMap, items, 3, kXpos, kCaption, kXpos, dataMap};
}

/* An extension schema for site 1. Its bounds keep off the core's codes, so
** that its fields may name core data by code. */
enum : int { kMarker = 1024, kTag, kNote, kWeight = 3072, kColour };

inline Tables extensionTables() {
  static const char *markerUp[] = {"node", "marker"}, *tagAlias[] = {"point"};
  static ddField markerFields[] = {{kWeight, 0, 0}, {kXpos, 0, 4}, {kTag, kStructure, 8}};
  static ddField tagFields[] = {{kColour, 0, 0}};
  static ddRSchema records[] = {
      record({.code = kMarker, .name = "marker", .xcodeName = "node", .tagType = MTYPE_BEAD, .ilevel = 99,
              .fields = markerFields, .fieldCount = 3, .parents = markerUp, .parentCount = 2}),
      record({.code = kTag, .name = "tag", .tagType = MTYPE_REC, .fields = tagFields, .fieldCount = 1,
              .aliases = tagAlias, .aliasCount = 1}),
      record({.code = kNote, .name = "note", .tagType = MTYPE_INT, .ilevel = 7}),
  };
  static ddDSchema items[] = {data(kWeight, "weight", MTYPE_FLOAT, 4), data(kColour, "colour", MTYPE_INT, 4)};
  static int32_t recordMap[3], dataMap[2];
  return {records, 3, kMarker, kNote, kMarker, recordMap, items, 2, kWeight, kColour, kWeight, dataMap};
}

} // namespace fx

#endif
