/*
** Tests of records as data in rkddkit: a record of every kind of field packed
** by hand, the round trips of bytes and of JSON, bad input, and nesting deep
** enough that recursion would show.
*/
#include <gtest/gtest.h>

#include <rkdd/kit.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <pthread.h>
#include <unistd.h>

namespace {

using Model = std::unique_ptr<kitModel, decltype(&kitModelFree)>;
using Type = std::unique_ptr<kitRecordType, decltype(&kitRecordTypeFree)>;
using Bytes = std::vector<unsigned char>;

int importFile(const std::string &path) {
  int site = -1;
  EXPECT_EQ(ddImportSchema(path.c_str(), &site), 1) << path;
  return site;
}

int importText(const std::string &text) {
  std::string path = ::testing::TempDir() + "rkdd_record_" + std::to_string(getpid()) + ".schema";
  std::ofstream(path) << text;
  int site = importFile(path);
  std::remove(path.c_str());
  return site;
}

struct Fixture {
  Model model{nullptr, kitModelFree};
  Type type{nullptr, kitRecordTypeFree};
  Fixture(int site, const char *record, int flags = 0) {
    model.reset(kitModelRead(site));
    const kitDef *d = kitFindName(model.get(), record);
    type.reset(d ? kitRecordTypeMake(model.get(), d->code, flags, nullptr) : nullptr);
  }
};

const std::string kAll = RKDD_SOURCE_DIR "/tests/kit/records.schema";

std::string toJson(const kitRecordType *t, const Bytes &b, int indent = 0) {
  kitRecordError err{};
  char *text = kitRecordToJson(t, b.data(), b.size(), indent, &err);
  EXPECT_NE(text, nullptr) << err.message;
  std::string s = text ? text : "";
  std::free(text);
  return s;
}

Bytes fromJson(const kitRecordType *t, const std::string &json, kitRecordError *err) {
  Bytes b(static_cast<size_t>(kitRecordLength(t)));
  *err = kitRecordError{};
  kitRecordFromJson(t, json.data(), json.size(), b.data(), b.size(), err);
  return b;
}

/* The record All of records.schema, little-endian, packed byte by byte. */
const Bytes kPacked = {
  0xfe,                                     /* C = -2 */
  0xc8,                                     /* UC = 200 */
  0x30, 0xf8,                               /* S = -2000 */
  0xe9, 0xfd,                               /* US = 65001 */
  0x15, 0xcd, 0x5b, 0x87,                   /* I = -2024026859 */
  0xff, 0xff, 0xff, 0xff,                   /* UI = 4294967295 */
  0x00, 0x00, 0xc0, 0x7f,                   /* F = nan */
  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0xbf, /* D = -1 */
  'h', 0xc3, 0xa9, 0xff, 0x00, 0x00,        /* T = "hé" and a byte that is no UTF-8 */
  0x01, 0x00, 0xff, 0xff, 0x00, 0x80,       /* A = [1, -1, -32768] */
  0x07, 0x00, 0x09, 0xf9, 0xff, 0x0a,       /* Pt = [{S 7, UC 9}, {S -7, UC 10}] */
  0x78, 0x56, 0x34, 0x12,                   /* Head = 0x12345678 */
  0x01,                                     /* G: bit 0 */
  0x00,                                     /* H: bit 1, clear */
  0x14, 0x00, 0x00, 0x00,                   /* E = 5, from bit 2 */
};

const std::string kPackedJson =
  R"({"C":-2,"UC":200,"S":-2000,"US":65001,"I":-2024026859,"UI":4294967295,"F":"nan","D":-1,)"
  R"("T":"hé\udcff","A":[1,-1,-32768],"Pt":[{"S":7,"UC":9},{"S":-7,"UC":10}],"Head":305419896,)"
  R"("G":true,"H":false,"E":5})";

TEST(Record, EveryKindOfFieldPackedByHandDecodesAndEncodesBack) {
  Fixture f(importFile(kAll), "All");
  ASSERT_NE(f.type, nullptr);
  ASSERT_EQ(kitRecordLength(f.type.get()), static_cast<int32_t>(kPacked.size()));
  EXPECT_EQ(toJson(f.type.get(), kPacked), kPackedJson);
  kitRecordError err;
  EXPECT_EQ(fromJson(f.type.get(), kPackedJson, &err), kPacked) << err.path << ": " << err.message;

  struct Case {
    const char *path;
    int kind;
    double value;
  } cases[] = {{"C", KIT_VALUE_INT, -2}, {"UC", KIT_VALUE_UINT, 200}, {"US", KIT_VALUE_UINT, 65001},
               {"I", KIT_VALUE_INT, -2024026859}, {"D", KIT_VALUE_REAL, -1},
               {"A[2]", KIT_VALUE_INT, -32768}, {"Pt[1].S", KIT_VALUE_INT, -7},
               {"Pt[1].UC", KIT_VALUE_UINT, 10}, {"Head", KIT_VALUE_UINT, 0x12345678},
               {"G", KIT_VALUE_UINT, 1}, {"H", KIT_VALUE_UINT, 0}, {"E", KIT_VALUE_UINT, 5}};
  for (const Case &c : cases) {
    kitValue v{};
    ASSERT_EQ(kitRecordGet(f.type.get(), kPacked.data(), kPacked.size(), c.path, &v, nullptr), 0) << c.path;
    EXPECT_EQ(v.kind, c.kind) << c.path;
    EXPECT_EQ(c.kind == KIT_VALUE_INT ? double(v.i) : c.kind == KIT_VALUE_UINT ? double(v.u) : v.real, c.value) << c.path;
  }
  kitValue text{};
  kitRecordGet(f.type.get(), kPacked.data(), kPacked.size(), "T", &text, nullptr);
  EXPECT_EQ(std::string(text.bytes, static_cast<size_t>(text.length)), "h\xc3\xa9\xff");
}

TEST(Record, BigEndianTurnsNumbersAndTheEnumerationWordButNotText) {
  Fixture f(importFile(kAll), "All", KIT_BIG_ENDIAN);
  kitRecordError err;
  Bytes b = fromJson(f.type.get(), R"({"S":-2000,"D":-1,"T":"ab","E":5,"Head":305419896})", &err);
  ASSERT_EQ(err.code, 0) << err.message;
  EXPECT_EQ(Bytes(b.begin() + 2, b.begin() + 4), (Bytes{0xf8, 0x30}));
  EXPECT_EQ(Bytes(b.begin() + 18, b.begin() + 20), (Bytes{0xbf, 0xf0}));
  EXPECT_EQ(Bytes(b.begin() + 26, b.begin() + 28), (Bytes{'a', 'b'}));
  EXPECT_EQ(Bytes(b.begin() + 44, b.begin() + 48), (Bytes{0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(Bytes(b.begin() + 50, b.end()), (Bytes{0, 0, 0, 0x14}));
}

TEST(Record, LeftOutFieldsTakeTheirDefaultsAndSetKeepsTheSlotsOtherBits) {
  Fixture f(importFile(kAll), "All");
  kitRecordError err;
  Bytes b = fromJson(f.type.get(), " { } ", &err);
  ASSERT_EQ(err.code, 0) << err.message;
  Bytes defaults(b.size(), 0xaa);
  kitRecordDefaults(f.type.get(), defaults.data(), defaults.size());
  EXPECT_EQ(b, defaults);
  EXPECT_EQ(toJson(f.type.get(), b),
            R"({"C":0,"UC":0,"S":0,"US":0,"I":-7,"UI":0,"F":2.5,"D":0,"T":"","A":[0,0,0],)"
            R"("Pt":[{"S":0,"UC":0},{"S":0,"UC":0}],"Head":0,"G":true,"H":false,"E":0})");

  b[49] = 0xfd; /* every bit but H's */
  b[50] = 0x03; /* the bits below E's */
  kitValue one{KIT_VALUE_UINT, 0, 0, 1, 0, nullptr}, seven{KIT_VALUE_REAL, 0, 0, 0, 7, nullptr};
  ASSERT_EQ(kitRecordSet(f.type.get(), b.data(), b.size(), "H", &one, nullptr), 0);
  ASSERT_EQ(kitRecordSet(f.type.get(), b.data(), b.size(), "E", &seven, nullptr), 0);
  EXPECT_EQ(b[49], 0xff);
  EXPECT_EQ(b[50], 0x1f);
}

/* Byte ranges that values of fields other than flags and enumerations cover. */
struct Cover {
  std::vector<std::pair<int, int>> ranges;
};

int coverOf(const kitItem *item, void *context) {
  int tag = item->field->tagType;
  if (item->event == KIT_ITEM_VALUE && tag != MTYPE_FLAG && tag != MTYPE_ENUM)
    static_cast<Cover *>(context)->ranges.push_back({item->offset, item->size});
  return 0;
}

TEST(Record, RandomBytesComeBackThroughJsonInEveryByteAFieldCovers) {
  int site = importFile(kAll), scene = importFile(RKDD_SOURCE_DIR "/examples/scene.schema");
  std::mt19937 random(30);
  for (auto [s, name] : {std::pair{site, "All"}, std::pair{scene, "LpLight"}}) {
    Fixture f(s, name);
    Bytes b(static_cast<size_t>(kitRecordLength(f.type.get())));
    Cover cover;
    kitRecordWalk(f.type.get(), b.data(), b.size(), coverOf, &cover, nullptr);
    for (int round = 0; round < 2000; round++) {
      for (auto &x : b) x = static_cast<unsigned char>(random() % 4 == 0 ? random() % 4 * 0x40 : random());
      std::string json = toJson(f.type.get(), b, round % 2 ? 2 : 0);
      kitRecordError err;
      Bytes back = fromJson(f.type.get(), json, &err);
      ASSERT_EQ(err.code, 0) << json << "\n" << err.path << ": " << err.message;
      for (auto [at, size] : cover.ranges)
        ASSERT_EQ(Bytes(b.begin() + at, b.begin() + at + size), Bytes(back.begin() + at, back.begin() + at + size))
          << name << " at " << at << "\n" << json;
      ASSERT_EQ(toJson(f.type.get(), back, round % 2 ? 2 : 0), json);
    }
  }
}

/* A random value of a field, as the JSON writer writes it. */
std::string randomValue(const kitModel *model, const kitItem &item, std::mt19937 &random) {
  const char *pieces[] = {"a", "Z", " ", "é", "€", "😀", "\\\"", "\\\\", "\\n", "\\u0001", "\\udcff", "\\u0000"};
  const int sizes[] = {1, 1, 1, 2, 3, 4, 1, 1, 1, 1, 1, 1};
  char buf[64];
  switch (item.field->tagType) {
  case MTYPE_FLAG: return random() % 2 ? "true" : "false";
  case MTYPE_FLOAT: {
    const char *special[] = {"\"nan\"", "\"inf\"", "\"-inf\"", "\"nan(0xffc00001)\""};
    if (random() % 8 == 0) return special[random() % 4];
    uint32_t bits = static_cast<uint32_t>(random()) & 0xff7fffffu;
    float x;
    std::memcpy(&x, &bits, 4);
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, x).ptr);
  }
  case MTYPE_DOUBLE: {
    uint64_t bits = ((uint64_t(random()) << 32) | random()) & 0xffefffffffffffffull;
    double x;
    std::memcpy(&x, &bits, 8);
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, x).ptr);
  }
  case MTYPE_TEXT: {
    std::string s;
    int room = item.size;
    for (int n = static_cast<int>(random() % 5); n > 0; n--) {
      int k = static_cast<int>(random() % 12);
      if (sizes[k] <= room) s += pieces[k], room -= sizes[k];
    }
    while (s.ends_with("\\u0000")) s.resize(s.size() - 6);
    return "\"" + s + "\"";
  }
  default: {
    int bits = item.size * 8;
    bool isSigned = item.field->kind != DD_KIND_POINTER &&
                    (item.field->tagType == MTYPE_CHAR || item.field->tagType == MTYPE_SHORT ||
                     item.field->tagType == MTYPE_INT);
    int low = 0, width = 0;
    if (item.field->tagType == MTYPE_ENUM && kitFieldBits(model, item.field, &low, &width)) bits = width;
    uint64_t u = ((uint64_t(random()) << 32) | random()) & (bits >= 64 ? ~0ull : (1ull << bits) - 1);
    if (isSigned && (u >> (bits - 1))) return std::to_string(int64_t(u | ~0ull << (bits - 1)));
    return std::to_string(u);
  }
  }
}

/* Writes compact JSON with random values, following the walk of a record. */
struct JsonMaker {
  std::mt19937 *random;
  const kitModel *model;
  std::string out = "{";
  std::vector<int> counts{0};
};

int makeJson(const kitItem *item, void *context) {
  auto &m = *static_cast<JsonMaker *>(context);
  if (item->event == KIT_ITEM_END) {
    m.counts.pop_back();
    m.out += item->index < 0 && item->field->arrayCount >= 2 ? "]" : "}";
    return 0;
  }
  if (m.counts.back()++ > 0) m.out += ",";
  if (item->index < 0) m.out += "\"" + std::string(item->key) + "\":";
  if (item->event == KIT_ITEM_VALUE) m.out += randomValue(m.model, *item, *m.random);
  else {
    m.out += item->event == KIT_ITEM_RECORD ? "{" : "[";
    m.counts.push_back(0);
  }
  return 0;
}

TEST(Record, RandomJsonComesBackFromTheBytes) {
  int site = importFile(kAll), scene = importFile(RKDD_SOURCE_DIR "/examples/scene.schema");
  std::mt19937 random(3030);
  for (auto [s, name] : {std::pair{site, "All"}, std::pair{scene, "LpLight"}}) {
    Fixture f(s, name);
    Bytes zero(static_cast<size_t>(kitRecordLength(f.type.get())));
    for (int round = 0; round < 2000; round++) {
      JsonMaker maker{&random, f.model.get()};
      kitRecordWalk(f.type.get(), zero.data(), zero.size(), makeJson, &maker, nullptr);
      maker.out += "}";
      kitRecordError err;
      Bytes b = fromJson(f.type.get(), maker.out, &err);
      ASSERT_EQ(err.code, 0) << maker.out << "\n" << err.path << ": " << err.message;
      ASSERT_EQ(toJson(f.type.get(), b), maker.out);
    }
  }
}

TEST(Record, BadInputIsRefusedWithWhereAndWhy) {
  Fixture f(importFile(kAll), "All");
  struct Case {
    const char *json;
    int code;
    const char *path;
  } cases[] = {
    {R"({"Nope":1})", KIT_RECORD_NO_FIELD, "$.Nope"},
    {R"({"Pt":[{"S":1,"X":2},{}]})", KIT_RECORD_NO_FIELD, "$.Pt[0].X"},
    {R"({"UC":256})", KIT_RECORD_RANGE, "$.UC"},
    {R"({"C":-129})", KIT_RECORD_RANGE, "$.C"},
    {R"({"UI":-1})", KIT_RECORD_RANGE, "$.UI"},
    {R"({"I":1.5})", KIT_RECORD_RANGE, "$.I"},
    {R"({"I":2147483648})", KIT_RECORD_RANGE, "$.I"},
    {R"({"F":1e39})", KIT_RECORD_RANGE, "$.F"},
    {R"({"E":1073741824})", KIT_RECORD_RANGE, "$.E"},
    {R"({"T":"1234567"})", KIT_RECORD_RANGE, "$.T"},
    {R"({"T":"ab\u0000"})", KIT_RECORD_RANGE, "$.T"},
    {R"({"T":"\udce2\udc82\udcac"})", KIT_RECORD_RANGE, "$.T"},
    {R"({"T":"\ud800"})", KIT_RECORD_RANGE, "$.T"},
    {R"({"A":[1,2,"x"]})", KIT_RECORD_WRONG_KIND, "$.A[2]"},
    {R"({"I":"1"})", KIT_RECORD_WRONG_KIND, "$.I"},
    {R"({"T":1})", KIT_RECORD_WRONG_KIND, "$.T"},
    {R"({"G":1})", KIT_RECORD_WRONG_KIND, "$.G"},
    {R"j({"D":"nan(0x7ff0000000000000)"})j", KIT_RECORD_WRONG_KIND, "$.D"},
    {R"({"Pt":{}})", KIT_RECORD_SYNTAX, "$.Pt"},
    {R"({"A":[1,2]})", KIT_RECORD_SYNTAX, "$.A"},
    {R"({"Pt":[{},{},{}]})", KIT_RECORD_SYNTAX, "$.Pt"},
    {R"({"C":1,"C":2})", KIT_RECORD_SYNTAX, "$.C"},
    {R"({"C":1,})", KIT_RECORD_SYNTAX, "$"},
    {R"({"C":01})", KIT_RECORD_SYNTAX, "$"},
    {R"({"C":1} x)", KIT_RECORD_SYNTAX, "$"},
    {R"([{}])", KIT_RECORD_SYNTAX, "$"},
  };
  kitRecordError err;
  Bytes before = fromJson(f.type.get(), "{}", &err);
  for (const Case &c : cases) {
    Bytes b = fromJson(f.type.get(), c.json, &err);
    EXPECT_EQ(err.code, c.code) << c.json << ": " << err.message;
    EXPECT_STREQ(err.path, c.path) << c.json << ": " << err.message;
    EXPECT_EQ(b, Bytes(b.size(), 0)) << c.json;
  }
  Bytes small(static_cast<size_t>(kitRecordLength(f.type.get())) - 1);
  kitValue v{};
  EXPECT_EQ(kitRecordFromJson(f.type.get(), "{}", 2, small.data(), small.size(), &err), KIT_RECORD_SHORT);
  EXPECT_EQ(kitRecordGet(f.type.get(), small.data(), small.size(), "C", &v, &err), KIT_RECORD_SHORT);
  EXPECT_EQ(kitRecordToJson(f.type.get(), small.data(), small.size(), 0, &err), nullptr);
  struct PathCase {
    const char *path;
    int code;
  } paths[] = {{"Nope", KIT_RECORD_NO_FIELD}, {"A", KIT_RECORD_NOT_VALUE}, {"A[3]", KIT_RECORD_NO_FIELD},
               {"Pt[1]", KIT_RECORD_NOT_VALUE}, {"Pt[0].Nope", KIT_RECORD_NO_FIELD}, {"C[0]", KIT_RECORD_NO_FIELD},
               {"A[x]", KIT_RECORD_SYNTAX}, {"Pt[0]S", KIT_RECORD_SYNTAX}, {"C.S", KIT_RECORD_NO_FIELD}};
  for (const PathCase &c : paths)
    EXPECT_EQ(kitRecordGet(f.type.get(), before.data(), before.size(), c.path, &v, &err), c.code) << c.path;
  kitValue big{KIT_VALUE_INT, 0, 300, 0, 0, nullptr}, word{KIT_VALUE_TEXT, 1, 0, 0, 0, "x"};
  Bytes kept = before;
  EXPECT_EQ(kitRecordSet(f.type.get(), kept.data(), kept.size(), "Pt[1].UC", &big, &err), KIT_RECORD_RANGE);
  EXPECT_EQ(kitRecordSet(f.type.get(), kept.data(), kept.size(), "D", &word, &err), KIT_RECORD_WRONG_KIND);
  EXPECT_EQ(kept, before);
}

/* Records each holding the one before in line, imported, then read and
** written as JSON on a small stack. */
struct Deep {
  Fixture *fixture;
  bool ok;
};

void *deepRoundTrip(void *arg) {
  auto *deep = static_cast<Deep *>(arg);
  const kitRecordType *t = deep->fixture->type.get();
  Bytes b(static_cast<size_t>(kitRecordLength(t)), 0x41);
  std::string json = toJson(t, b);
  kitRecordError err;
  deep->ok = fromJson(t, json, &err) == b && json.size() > 9000;
  return nullptr;
}

TEST(Record, NestingIsFollowedOnTheHeap) {
  std::string text = "dataDef V { rktype_ucval };\nstruct S0 { V; };\nrecordDef R0 { rktype_rec, S0 };\n";
  const int depth = 1500;
  for (int i = 1; i < depth; i++)
    text += "struct S" + std::to_string(i) + " { R" + std::to_string(i - 1) + "; };\nrecordDef R" +
            std::to_string(i) + " { rktype_rec, S" + std::to_string(i) + " };\n";
  Fixture f(importText(text), ("R" + std::to_string(depth - 1)).c_str());
  ASSERT_NE(f.type, nullptr);
  Deep arg{&f, false};
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 128 * 1024);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attr, deepRoundTrip, &arg), 0);
  pthread_join(thread, nullptr);
  EXPECT_TRUE(arg.ok);
}

} // namespace
