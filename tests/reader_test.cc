/* The schema text reader: lists, commands, options, messages, limits, broken files. */
#include <fstream>
#include <iterator>

#include "import/ddread.h"
#include "rkruntime.h"
#include "store_fixture.h"

using namespace testing::internal; /* CaptureStdout */
struct Read { int result; std::string out; ddBuffer buf; };
static Read readPath(const std::string &path) {
  Read r;
  ddBufferInit(&r.buf);
  CaptureStdout();
  r.result = ddReadSchemaFile(path.c_str(), &r.buf);
  r.out = GetCapturedStdout();
  static auto *kept = new std::vector<ddBuffer>; /* a buffer's blocks are kept for good */
  kept->push_back(r.buf);
  return r;
}
static Read readText(std::string_view text) { return readPath(schemaFile(text)); }

template <class T> static std::vector<T *> all(const ddBufSet<T> &set) {
  std::vector<T *> out;
  for (T *entry : set) out.push_back(entry);
  return out;
}
template <class T> static T *find(const char *name, const ddBufSet<T> &set) { return ddBufferFindName(name, set); }
static std::string join(std::initializer_list<const char *> texts) { /* "~" for null */
  std::string out;
  for (const char *t : texts) out.append(t ? t : "~").append("|");
  return out;
}

const std::string kErr = "ERROR: Cannot read list\n", kAbort = "\"\nAborted.\n\n";

TEST(Reader, FilesThatCannotBeReadOrHoldNothingAndTheCommandLoop) {
  Read missing = readPath("/nonexistent/schema.txt"), directory = readPath(testing::TempDir());
  EXPECT_EQ(std::to_string(missing.result + directory.result) + missing.out + directory.out,
            "0\nFile open failure, error 0\n\nFile open failure, error 1\n");
  for (const char *text : {"", " \n\t", "// x\n/* y **/ \n", "/* open", "// x", "/"}) {
    Read r = readText(text);
    EXPECT_EQ(r.out + std::to_string(r.result + (r.buf.dataByName.list || r.buf.structs.list)), "1") << text;
  }
  EXPECT_EQ(readText("dataDef a{ rktype_ival }").out,
            kErr + "ERROR: Type for \"a{\" unknown!  Using rktype_ival.\n"
                   "Unrecognized command: \"rktype_ival" + kAbort);
  /* A comment may follow a list's '}', but a ';' behind it is a command. */
  EXPECT_EQ(readText("dataDef a {rktype_ival}//c\n ;").out, "Unrecognized command: \";" + kAbort);
}

TEST(Reader, ListsCommentsAndQuotes) {
  /* text, stops, "result [items joined by |] rest", output */
  const std::string cases[][4] = {
      {"{}x", "{,}", "1 [] x", ""},
      {"{a,}", "{,}", "1 [a|] ", ""},
      {"{ a ,, b c }; ;\n x", "{,}", "1 [a||b c] x", ""},
      {"{a/*c*/b, a /*c*/ b}", "{,}", "1 [ab|a b] ", ""},
      {"{X=a/b, Y=\"a/b,}\"}", "{,}", "1 [X=ab|Y=\"a/b,}\"] ",
       "ERROR: Only comments can start with '/'\n"},
      {"{\"a\\\"b\", \"x\\\n    y\"}", "{,}", "1 [\"a\\\"b\"|\"x\\y\"] ", ""},
      {"x}", "{,}", "0 [] x}", kErr},
      {"LEN=1, SN=a) {", " ,)", "1 [LEN=1|SN=a] {", ""},
      {"a, PTR;; b;", " ,;", "1 [a|PTR] b;", ""},
      {"/* x **/ a; /*/ b */ c; // d\n e;", " ,;", "1 [a] /*/ b */ c; // d\n e;", ""},
      /* The end of input inside a list, a quote, an escape, a comment. */
      {"{a, b", "{,}", "0 [] ", kErr},
      {"{a, \"b}", "{,}", "0 [] ", kErr},
      {"{\"b\\", "{,}", "0 [] ", kErr},
      {"{a /* b}", "{,}", "0 [] ", kErr},
      {"a, b // ;", " ,;", "0 [] ", kErr},
      {"", " ,;", "0 [] ", kErr},
  };
  /* Each case in memory, then read from a file a chunk of 1 or 3 bytes at a
  ** time, so that every step meets the end of its chunk somewhere. */
  for (size_t chunkSize : {0, 1, 3})
    for (auto &[text, stops, want, out] : cases) {
      ddStream s = {text.data(), text.data() + text.size(), nullptr, nullptr, 0, 0, 0, 0, 0, 0};
      char chunk[3];
      FILE *file = chunkSize ? fmemopen(const_cast<char *>(text.data()), text.size(), "r") : nullptr;
      if (file) s = {chunk, chunk, file, chunk, chunkSize, 0, 0, 0, 0, 0};
      char *items[DD_LIST_SLOTS];
      int count = 0;
      CaptureStdout();
      std::string got = std::to_string(ddReadList(&s, &count, items, stops.c_str())) + " [";
      EXPECT_EQ(GetCapturedStdout(), out) << text << chunkSize;
      for (int i = 0; i < count; i++) got += (i ? "|" : "") + std::string(items[i]);
      ddFreeList(&count, items);
      std::string rest(s.at, s.end);
      for (int c; file && (c = std::fgetc(file)) != EOF;) rest += static_cast<char>(c);
      if (file) std::fclose(file);
      EXPECT_EQ(got + "] " + rest + std::to_string(count), want + "0") << text << chunkSize;
    }
}

TEST(Reader, CommandsOptionsAndTheirMessages) {
  Read r = readText(
      "dataDef t { rktype_text, DEF=abc, MSG=\"Area, name\", LABEL=l, SITE=s, XCODE=x, VER=70000,\n"
      "  KEY=2, ACNT=3, LEN=8, NODISP=0, NOEDIT, NOSEARCH, ENUM, LABEL=second }\n"
      "dataDef f { MTYPE_FLOAT, MIN=abc, MAX=2.5, DEF=1.5, LEN=12abc, LABEL } dataDef f {}\n"
      "dataDef n { rktype_text } dataDef z { rktype_text, LEN } dataDef m { rktype_ival, LEN=-1 }\n"
      "dataDef q { nothing, LEN=\"32\", LABEL=, PREFIX=p, }\n"
      "recordDef R { rktype_rec, LEV=3 } recordDef T { MTYPE_INT } dataDef R { rktype_ival }\n"
      "recordDef U { rktype_rec, RK_NULL, LEV=level }\n"
      "recordDef S { bogus, rkNULL, LEV=IFACELVL, PARENT=P, CHILD=C, ALIAS=A, ACNT=2, KEY=1,\n"
      "  NODISP, NOEDIT, NOSEARCH, LABEL=l, MSG=m, SITE=s, VER=65537, XCODE=x, PREFIX=pf, LEN=1 }\n"
      "struct H /* c */ (SN=sn, UN=un, LEN=12, BAD) { x, PAD=4; y; z, SHARE=no;\n"
      "  w, PTR=0, BIT=3, OFF=8, FN=f, NO; a PTR; p, PAD; p, PAD=0; p, PAD=-3; y; };;\n"
      "struct E { } struct P ( ) { } parent L { a, b; c; } child L { } alias L { x; x; }\n"
      "describe R { } describe D {//x\n t\n }\n define W 5; define X \"a b\"\n");
  const std::string pad = "WARNING: Value for PAD must be greater than 0.\n\tSetting to 1.\n";
  EXPECT_EQ(std::to_string(r.result) + r.out,
            "0ERROR: \"f\" already defined!"
            "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"n\".\n"
            "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"m\".\n"
            "ERROR: Type for \"q\" unknown!  Using rktype_ival.\n"
            "ERROR: Optional argument parsing: \"LABEL=\"\nUNRECOGNIZED OPTION! \"\"\n"
            "UNRECOGNIZED OPTION! \"PREFIX\"\n"
            "ERROR: Optional argument parsing: \"\"\nUNRECOGNIZED OPTION! \"\"\n"
            "ERROR: \"R\" already defined!ERROR: Invalid IFMT Level: \"level\"\n"
            "ERROR: Type for \"S\" unknown!  Using rktype_rec.\nUNRECOGNIZED OPTION! \"LEN\"\n"
            "ILLEGAL OPTION! \"BAD\"\nUNRECOGNIZED OPTION! \"NO\"\n" + pad + pad + pad +
            "ERROR: Optional argument parsing: \"\"\nILLEGAL OPTION! \"\"\n"
            "Unrecognized command: \"b\"" + kAbort);
  auto data = [&](const char *name) { return find<ddBufData>(name, r.buf.dataByName); };
  auto rec = [&](const char *name) { return find<ddBufRecord>(name, r.buf.recordByName); };
  auto *t = data("t"), *f = data("f"), *q = data("q");
  auto *S = rec("S");
  EXPECT_TRUE(t->defSet && t->defVal == 0.0f && t->isEnum && !t->disp && !t->edit && !t->search &&
              t->ver == 4464 && t->key == 2 && t->acnt == 3 && t->len == 8 && f->min == 0.0f &&
              f->max == 2.5f && f->defVal == 1.5f && f->len == 12 && !f->defStr && !*f->label);
  EXPECT_TRUE(q->type == 5 && q->len == 0 && !q->label && q->number == 5 && data("n")->len == 1 &&
              data("z")->len == 0 && rec("T")->type == 5 && rec("U")->lev == 225 && S->lev == 3 &&
              S->acnt == 2 && S->ver == 1 && !S->disp && !S->search && S->number == 3);
  EXPECT_EQ(join({t->defStr, t->label, t->msg, t->xcode, rec("R")->structName, S->parentName,
                  S->childName, S->aliasName, S->site, S->prefix}),
            "abc|second|\"Area, name\"|x|LEV=3|P|C|A|s|pf|");
  auto *h = find<ddBufStruct>("H", r.buf.structs);
  auto m = all<ddBufMember>(h->members);
  auto p = all(find<ddBufCodeList>("L", r.buf.parents)->items);
  auto a = all<ddBufCodeItem>(find<ddBufCodeList>("L", r.buf.aliases)->items);
  ASSERT_TRUE(m.size() == 9 && p.size() == 2 && a.size() == 2);
  EXPECT_TRUE(h->len == 12 && h->nextIndex == 9 && h->memberCount == 4 && m[8]->number == 8 &&
              m[0]->pad == 4 && m[2]->share && m[3]->ptr && m[3]->bit == 3 && m[3]->off == 8 &&
              m[5]->pad == 1 && m[6]->pad == 1 && m[7]->pad == 1 && a[1]->number == 1 &&
              !find<ddBufStruct>("E", r.buf.structs)->members.list);
  EXPECT_EQ(join({h->sn, h->un, m[3]->fn, m[4]->name, p[1]->name,
                  find<ddBufDescribe>("R", r.buf.describes)->text,
                  find<ddBufDescribe>("D", r.buf.describes)->text,
                  find<ddBufDefine>("W", r.buf.defines)->value,
                  find<ddBufDefine>("X", r.buf.defines)->value}),
            "sn|un|f|a PTR|c|~|t\n |5;|\"a|");
  EXPECT_EQ(readText("define X 1 define X 2").out, /* the rest stays unread */
            "ERROR: \"X\" already defined!Unrecognized command: \"2" + kAbort);
}

TEST(Reader, LimitsAtLengthOneOverAndFarOver) {
  auto cut = [](const std::string &text, int limit) { return "ERROR: \"" + text.substr(0, 20) +
      "...\" is longer than " + std::to_string(limit) + " characters; the rest is skipped.\n"; };
  for (size_t over : {0, 1, 3000}) {
    std::string name(99 + over, 'n'), label = "LABEL=" + std::string(93 + over, 'l');
    std::string text(4095 + over, 't'), value(4095 + over, 'v');
    Read r = readText("define " + name + " v dataDef d {rktype_ival," + label + "}\ndescribe D {" +
                      text + "} define V " + value + " define Z z");
    EXPECT_EQ(r.out, over ? cut(name, 99) + cut(label, 99) + cut(text, 4095) + cut(value, 4095)
                          : "");
    EXPECT_EQ(join({find<ddBufDefine>(name.substr(0, 99).c_str(), r.buf.defines)->value,
                    find<ddBufDescribe>("D", r.buf.describes)->text,
                    find<ddBufDefine>("Z", r.buf.defines)->value}),
              "v|" + text.substr(0, 4095) + "|z|");
    /* 50 items: the 50th, NOEDIT, applies; past that it is skipped. */
    std::string items = "dataDef d {rktype_ival";
    for (size_t i = 1; i < 49 + over; i++) items += ",KEY=1";
    r = readText(items + ",NOEDIT} define Z z");
    EXPECT_EQ(r.out, over ? "ERROR: List longer than 50 items; the rest is skipped.\n" : "");
    EXPECT_EQ(find<ddBufData>("d", r.buf.dataByName)->edit, over ? 1 : 0);
    std::string key(99 + over, 'K'), val(99 + over, 'v');
    char k[DD_OPTION_SIZE], v[DD_OPTION_SIZE];
    CaptureStdout();
    ddSplitOption((key + "=" + val).c_str(), k, v);
    EXPECT_EQ(GetCapturedStdout(), over ? cut(key, 99) + cut(val, 99) : "");
    /* 255 fields fit a structure; PAD and SHARE members still go. */
    std::string members = "struct S {", skipped;
    for (size_t i = 0; i < 255 + std::min<size_t>(over, 2); i++) {
      members += " m" + std::to_string(i) + ";";
      if (i >= 255) skipped += "ERROR: \"S\" has 255 fields already; member \"m" +
                               std::to_string(i) + "\" is skipped.\n";
    }
    r = readText(members + " p, PAD=1; s, SHARE; }");
    auto *s = find<ddBufStruct>("S", r.buf.structs);
    EXPECT_TRUE(r.out == skipped && s->memberCount == 255 && s->nextIndex == 257);
  }
}

/* The end of input in every construct ends the read; every prefix of a schema
** reads to an end without overrunning anything. */
TEST(Reader, EndOfInputAndMalformedFiles) {
  const std::string ival = kErr + "ERROR: Type for \"X\" unknown!  Using rktype_ival.\n";
  const std::string cases[][2] = {
      {"dataDef", "ERROR: No name behind \"dataDef\" at the end of the file.\n"},
      {"struct /* c */ ", "ERROR: No name behind \"struct\" at the end of the file.\n"},
      {"dataDef X", ival}, {"dataDef X { MTYPE_CHAR, LEN=3", ival},
      {"recordDef X { rktype_rec, \"S",
       kErr + "ERROR: Type for \"X\" unknown!  Using rktype_rec.\n"},
      {"struct S", kErr}, {"struct S (LEN=1", kErr}, {"struct S { a; b, PTR", kErr},
      {"parent S { a; b", kErr}, {"child S {", kErr}, {"describe S { abc", ""}, {"define S", ""}};
  for (auto &[text, out] : cases) {
    Read r = readText(text);
    EXPECT_EQ(std::to_string(r.result) + r.out, "1" + out) << text;
  }
  EXPECT_EQ(find<ddBufCodeList>("S", readText("parent S { a; b").buf.parents)->count, 1); /* kept */
  std::ifstream in(RKDD_EXAMPLES_DIR "/scene.schema");
  const std::string example{std::istreambuf_iterator<char>(in), {}};
  ASSERT_GT(example.size(), 1000u);
  for (size_t n = 0; n <= example.size(); n++) {
    int result = readText(example.substr(0, n)).result;
    EXPECT_TRUE(result == 0 || result == 1) << n;
  }
}
