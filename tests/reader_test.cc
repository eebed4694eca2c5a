/*
** The schema text reader: scanning, the eight commands and their messages,
** limits, and files that end too early or are not schemas at all.
*/
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "import/ddread.h"
#include "rkruntime.h"
#include "support/mlist.h"

namespace {

struct Read {
  int result;
  std::string out;
  ddBuffer buf;
};

std::string writeFile(std::string_view text) {
  static int serial;
  std::string path = testing::TempDir() + "rkdd_reader_" + std::to_string(getpid()) + "_" +
                     std::to_string(serial++) + ".txt";
  FILE *f = std::fopen(path.c_str(), "wb");
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
  return path;
}

Read readText(std::string_view text) {
  Read r;
  ddBufferInit(&r.buf);
  std::string path = writeFile(text);
  testing::internal::CaptureStdout();
  r.result = ddReadSchemaFile(path.c_str(), &r.buf);
  r.out = testing::internal::GetCapturedStdout();
  std::remove(path.c_str());
  return r;
}

template <class T = ddBufKey> std::vector<T *> all(intptr_t set) {
  std::vector<T *> out;
  for (mlistNode *n = mlistHead(reinterpret_cast<mlist *>(set)); n; n = n->next)
    out.push_back(reinterpret_cast<T *>(n->value));
  return out;
}

template <class T> T *find(const char *name, intptr_t set) {
  return static_cast<T *>(ddBufferFindName(name, set));
}

/* ddReadList on text: result, items joined by '|', output, and the rest. */
struct List {
  int result;
  std::string items, out, rest;
};
List list(std::string_view text, const char *stops = "{,}") {
  ddStream s = {text.data(), text.data() + text.size()};
  char *items[DD_LIST_SLOTS];
  int count = 0;
  List l;
  testing::internal::CaptureStdout();
  l.result = ddReadList(&s, &count, items, stops);
  l.out = testing::internal::GetCapturedStdout();
  for (int i = 0; i < count; i++) l.items.append(i ? "|" : "").append(items[i]);
  l.rest.assign(s.at, s.end);
  ddFreeList(&count, items);
  EXPECT_EQ(count, 0);
  return l;
}

const char kExample[] = R"(// Two data items, a structure and a record.
dataDef AreaName { rktype_text, LEN=32, LABEL="Area name" };
dataDef AreaDepth
{
    rktype_fval,          /* the type comes first */
    MIN=0, MAX = 100.5,
    NOEDIT
}

struct AreaBody
{
    AreaName;
    AreaDepth, PTR;
};

recordDef Area { rktype_rec, AreaBody, LEV=IFACELVL, PARENT=AreaUsers, KEY=1 };

parent AreaUsers { Area; };

describe Area { One area
of the model. }
define AreaLimit 16
)";

const std::string kErr = "ERROR: Cannot read list\n";

} // namespace

TEST(Reader, WorkedExample) {
  Read r = readText(kExample);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.out, "");
  auto *name = find<ddBufData>("AreaName", r.buf.dataByName);
  auto *depth = find<ddBufData>("AreaDepth", r.buf.dataByName);
  ASSERT_TRUE(name && depth);
  EXPECT_TRUE(name->number == 0 && name->type == 11 && name->len == 32);
  EXPECT_STREQ(name->label, "\"Area name\"");
  EXPECT_TRUE(depth->number == 1 && depth->type == 7 && depth->len == 4);
  EXPECT_TRUE(depth->minSet && depth->maxSet && depth->min == 0.0f && depth->max == 100.5f);
  EXPECT_TRUE(depth->disp && !depth->edit && depth->search && !depth->defSet);
  auto *body = find<ddBufStruct>("AreaBody", r.buf.structs);
  ASSERT_TRUE(body);
  auto members = all<ddBufMember>(body->members);
  ASSERT_EQ(members.size(), 2u);
  EXPECT_STREQ(members[0]->name, "AreaName");
  EXPECT_STREQ(members[1]->name, "AreaDepth");
  EXPECT_TRUE(!members[0]->ptr && members[1]->ptr && members[1]->index == 1);
  EXPECT_TRUE(body->memberCount == 2 && body->nextIndex == 2);
  auto *area = find<ddBufRecord>("Area", r.buf.recordByName);
  ASSERT_TRUE(area);
  EXPECT_STREQ(area->structName, "AreaBody");
  EXPECT_STREQ(area->parentName, "AreaUsers");
  EXPECT_TRUE(area->lev == 3 && area->key == 1 && area->number == 0 && area->type == 14);
  auto *users = find<ddBufCodeList>("AreaUsers", r.buf.parents);
  ASSERT_TRUE(users);
  ASSERT_EQ(users->count, 1);
  EXPECT_STREQ(all(users->items)[0]->name, "Area");
  EXPECT_STREQ(find<ddBufDescribe>("Area", r.buf.describes)->text, "One area\nof the model. ");
  EXPECT_STREQ(find<ddBufDefine>("AreaLimit", r.buf.defines)->value, "16");
  EXPECT_EQ(all(r.buf.dataByNumber).size(), 2u);
  EXPECT_EQ(all(r.buf.recordByNumber).size(), 1u);
  EXPECT_EQ(r.buf.children | r.buf.aliases, 0);
}

TEST(Reader, ListsCommentsAndQuotes) {
  struct Case {
    const char *text, *stops;
    int result;
    const char *items, *out, *rest;
  } cases[] = {
      {"{}x", "{,}", 1, "", "", "x"},
      {"{a,}", "{,}", 1, "a|", "", ""},
      {"{ a ,, b c }; ;\n x", "{,}", 1, "a||b c", "", "x"},
      {"{a/*c*/b, a /*c*/ b}", "{,}", 1, "ab|a b", "", ""},
      {"{X=a/b, Y=\"a/b,}\"}", "{,}", 1, "X=ab|Y=\"a/b,}\"",
       "ERROR: Only comments can start with '/'\n", ""},
      {"{\"a\\\"b\", \"x\\\n    y\"}", "{,}", 1, "\"a\\\"b\"|\"x\\y\"", "", ""},
      {"{a; b} }", "{,}", 1, "a; b", "", "}"},
      {"x}", "{,}", 0, "", kErr.c_str(), "x}"},
      {"LEN=1, SN=a) {", " ,)", 1, "LEN=1|SN=a", "", "{"},
      {"a, PTR;; b;", " ,;", 1, "a|PTR", "", "b;"},
      {"/* x **/ a; /*/ b */ c; // d\n e;", " ,;", 1, "a", "", "/*/ b */ c; // d\n e;"},
      {"/x a;", " ,;", 1, "x a", "ERROR: Only comments can start with '/'\n", ""},
      /* The end of input inside a list, a quote, an escape, a comment. */
      {"{a, b", "{,}", 0, "", kErr.c_str(), ""},
      {"{a, \"b}", "{,}", 0, "", kErr.c_str(), ""},
      {"{\"b\\", "{,}", 0, "", kErr.c_str(), ""},
      {"{a /* b}", "{,}", 0, "", kErr.c_str(), ""},
      {"a, b // ;", " ,;", 0, "", kErr.c_str(), ""},
      {"", " ,;", 0, "", kErr.c_str(), ""},
      {"", "{,}", 0, "", kErr.c_str(), ""},
  };
  for (const Case &c : cases) {
    List l = list(c.text, c.stops);
    EXPECT_EQ(l.result, c.result) << c.text;
    EXPECT_EQ(l.items, c.items) << c.text;
    EXPECT_EQ(l.out, c.out) << c.text;
    EXPECT_EQ(l.rest, c.rest) << c.text;
  }
  std::string t = "  /*c*/ { // d\n x";
  ddStream s = {t.data(), t.data() + t.size()};
  EXPECT_EQ(ddExpectChar(&s, '{'), 1);
  EXPECT_EQ(ddExpectChar(&s, '}'), 0);
  EXPECT_EQ(std::string(s.at, s.end), "x");
}

TEST(Reader, SplitOption) {
  struct Case {
    const char *item, *key, *value;
  } cases[] = {
      {"LEN = 32", "LEN", "32"},
      {"LEN=32", "LEN", "32"},
      {"LEN  32", "LEN", "32"},
      {"KEY=1=2", "KEY", "1=2"},
      {"NODISP", "NODISP", ""},
      {"2D=\"a b\"", "2D", "\"a b\""},
      {"A_B=3", "", ""},
      {"Key=1", "", ""},
      {"LEN=", "", ""},
      {"", "", ""},
      {"=5", "", ""},
  };
  for (const Case &c : cases) {
    char key[DD_OPTION_SIZE] = "junk", value[DD_OPTION_SIZE] = "junk";
    testing::internal::CaptureStdout();
    ddSplitOption(c.item, key, value);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_STREQ(key, c.key) << c.item;
    EXPECT_STREQ(value, c.value) << c.item;
    EXPECT_EQ(out,
              *c.key ? "" : "ERROR: Optional argument parsing: \"" + std::string(c.item) + "\"\n");
  }
}

TEST(Reader, DataAndRecordOptions) {
  Read r = readText(
      "dataDef t { rktype_text, DEF=abc, MSG=\"Area, name\", LABEL=l, SITE=s, XCODE=x, VER=70000, "
      "KEY=2,\n"
      "  ACNT=3, LEN=8, NODISP=0, NOEDIT, NOSEARCH, ENUM, LABEL=second }\n"
      "dataDef f { MTYPE_FLOAT, MIN=abc, MAX=2.5, DEF=1.5, LEN=12abc, LABEL }\n"
      "dataDef n { rktype_text } dataDef z { rktype_text, LEN } dataDef m { rktype_ival, LEN=-1 }\n"
      "dataDef q { nothing, LEN=\"32\", LABEL=, PREFIX=p, }\n"
      "dataDef e {} dataDef f { rktype_ival }\n"
      "recordDef R { rktype_rec, LEV=3 } recordDef T { MTYPE_INT } recordDef U { rktype_rec, "
      "RK_NULL, LEV=level }\n"
      "recordDef S { bogus, rkNULL, LEV=IFACELVL, PARENT=P, CHILD=C, ALIAS=A, ACNT=2, KEY=1, "
      "NODISP,\n"
      "  NOEDIT, NOSEARCH, LABEL=l, MSG=m, SITE=s, VER=65537, XCODE=x, PREFIX=pf, LEN=1 }\n"
      "dataDef R { rktype_ival } recordDef t { rktype_rec, rkNULL }\n");
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r.out,
            "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"n\".\n"
            "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"m\".\n"
            "ERROR: Type for \"q\" unknown!  Using rktype_ival.\n"
            "ERROR: Optional argument parsing: \"LABEL=\"\nUNRECOGNIZED OPTION! \"\"\n"
            "UNRECOGNIZED OPTION! \"PREFIX\"\n"
            "ERROR: Optional argument parsing: \"\"\nUNRECOGNIZED OPTION! \"\"\n"
            "ERROR: Type for \"e\" unknown!  Using rktype_ival.\n"
            "ERROR: \"f\" already defined!"
            "ERROR: Invalid IFMT Level: \"level\"\n"
            "ERROR: Type for \"S\" unknown!  Using rktype_rec.\n"
            "UNRECOGNIZED OPTION! \"LEN\"\n"
            "ERROR: \"R\" already defined!ERROR: \"t\" already defined!");
  auto *t = find<ddBufData>("t", r.buf.dataByName);
  EXPECT_TRUE(t->defSet && t->defVal == 0.0f && t->isEnum && !t->disp && !t->edit && !t->search);
  EXPECT_STREQ(t->defStr, "abc");
  EXPECT_STREQ(t->label, "second");
  EXPECT_STREQ(t->msg, "\"Area, name\"");
  EXPECT_STREQ(t->site, "s");
  EXPECT_STREQ(t->xcode, "x");
  EXPECT_TRUE(t->ver == 4464 && t->key == 2 && t->acnt == 3 && t->len == 8);
  auto *f = find<ddBufData>("f", r.buf.dataByName);
  EXPECT_TRUE(f->minSet && f->min == 0.0f && f->maxSet && f->max == 2.5f && f->defSet &&
              f->defVal == 1.5f);
  EXPECT_TRUE(f->len == 12 && f->defStr == nullptr && f->disp && f->edit && f->search &&
              !f->isEnum);
  EXPECT_STREQ(f->label, "");
  EXPECT_EQ(find<ddBufData>("n", r.buf.dataByName)->len, 1);
  EXPECT_EQ(find<ddBufData>("z", r.buf.dataByName)->len, 0);
  auto *q = find<ddBufData>("q", r.buf.dataByName);
  EXPECT_TRUE(q->type == 5 && q->len == 0 && q->label == nullptr && q->number == 5);
  EXPECT_EQ(find<ddBufData>("e", r.buf.dataByName)->type, 5);
  EXPECT_EQ(all(r.buf.dataByNumber).size(), 7u);

  auto *R = find<ddBufRecord>("R", r.buf.recordByName);
  EXPECT_STREQ(R->structName, "LEV=3");
  EXPECT_TRUE(R->lev == 0 && R->number == 0 && R->type == 14 && R->disp && R->edit && R->search);
  auto *T = find<ddBufRecord>("T", r.buf.recordByName);
  EXPECT_TRUE(T->structName == nullptr && T->type == 5 && T->number == 1);
  auto *U = find<ddBufRecord>("U", r.buf.recordByName);
  EXPECT_TRUE(U->structName == nullptr && U->lev == 225 && U->type == 14);
  auto *S = find<ddBufRecord>("S", r.buf.recordByName);
  EXPECT_TRUE(S->structName == nullptr && S->lev == 3 && S->acnt == 2 && S->key == 1 &&
              S->ver == 1);
  EXPECT_TRUE(!S->disp && !S->edit && !S->search && S->number == 3);
  const char *texts[][2] = {{S->parentName, "P"}, {S->childName, "C"}, {S->aliasName, "A"},
                            {S->label, "l"},      {S->msg, "m"},       {S->site, "s"},
                            {S->xcode, "x"},      {S->prefix, "pf"}};
  for (auto &t : texts) EXPECT_STREQ(t[0], t[1]);
  EXPECT_EQ(all(r.buf.recordByNumber).size(), 4u);
}

TEST(Reader, StructsAndLists) {
  Read r = readText("struct H /* c */ (SN=sn, UN=un, LEN=12, BAD) { x, PAD=4; y; z, SHARE=no; w, "
                    "PTR=0, BIT=3, OFF=8, FN=f, NO;\n"
                    "  a PTR; p, PAD; p, PAD=0; p, PAD=-3; y; };;\n"
                    "struct E { } struct P ( ) { }\n"
                    "parent L { a, b; c; } child L { } alias L { x; x; }\n"
                    "describe R { } describe D {//x\n t\n }\n define X \"a b\"\n");
  EXPECT_EQ(r.result, 0);
  const std::string pad = "WARNING: Value for PAD must be greater than 0.\n\tSetting to 1.\n";
  EXPECT_EQ(r.out, "ILLEGAL OPTION! \"BAD\"\nUNRECOGNIZED OPTION! \"NO\"\n" + pad + pad + pad +
                       "ERROR: Optional argument parsing: \"\"\nILLEGAL OPTION! \"\"\n"
                       "Unrecognized command: \"b\"\"\nAborted.\n\n");
  auto *h = find<ddBufStruct>("H", r.buf.structs);
  EXPECT_TRUE(h->len == 12 && h->nextIndex == 9 && h->memberCount == 4 && h->state == 0);
  EXPECT_STREQ(h->sn, "sn");
  EXPECT_STREQ(h->un, "un");
  auto m = all<ddBufMember>(h->members);
  ASSERT_EQ(m.size(), 9u);
  for (int i = 0; i < 9; i++) EXPECT_EQ(m[i]->index, i);
  EXPECT_TRUE(m[0]->pad == 4 && m[2]->share && m[3]->ptr && m[3]->bit == 3 && m[3]->off == 8);
  EXPECT_STREQ(m[3]->fn, "f");
  EXPECT_STREQ(m[4]->name, "a PTR");
  EXPECT_TRUE(m[5]->pad == 1 && m[6]->pad == 1 && m[7]->pad == 1);
  EXPECT_STREQ(m[8]->name, "y"); /* a repeated member is kept */
  auto *e = find<ddBufStruct>("E", r.buf.structs);
  EXPECT_TRUE(e->nextIndex == 0 && e->memberCount == 0 && e->members == 0);
  auto *p = find<ddBufCodeList>("L", r.buf.parents);
  ASSERT_EQ(p->count, 2);
  EXPECT_STREQ(all(p->items)[1]->name, "c");
  EXPECT_EQ(find<ddBufCodeList>("L", r.buf.children)->count, 0);
  auto a = all<ddBufCodeItem>(find<ddBufCodeList>("L", r.buf.aliases)->items);
  ASSERT_EQ(a.size(), 2u);
  EXPECT_TRUE(a[0]->index == 0 && a[1]->index == 1);
  EXPECT_EQ(find<ddBufDescribe>("R", r.buf.describes)->text, nullptr);
  EXPECT_STREQ(find<ddBufDescribe>("D", r.buf.describes)->text, "t\n ");
  EXPECT_STREQ(find<ddBufDefine>("X", r.buf.defines)->value, "\"a");

  /* A repeated name leaves the body unread; the loop then stops on it. */
  r = readText("struct S { a; } struct S { a; }");
  EXPECT_EQ(r.out, "ERROR: \"S\" already defined!Unrecognized command: \"{\"\nAborted.\n\n");
  EXPECT_EQ(r.result, 0);
  r = readText("describe R { a } b }");
  EXPECT_EQ(r.out, "Unrecognized command: \"b\"\nAborted.\n\n");
  EXPECT_STREQ(find<ddBufDescribe>("R", r.buf.describes)->text, "a ");
  EXPECT_EQ(readText("describe X { t };").out, "Unrecognized command: \";\"\nAborted.\n\n");
  EXPECT_EQ(readText("define X 5 ;").result, 0);
  r = readText("define X 5; define Y a b");
  EXPECT_STREQ(find<ddBufDefine>("X", r.buf.defines)->value, "5;");
  EXPECT_EQ(r.out, "Unrecognized command: \"b\"\nAborted.\n\n");
  r = readText("define X 1 define X 2 define Y");
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "ERROR: \"X\" already defined!Unrecognized command: \"2\"\nAborted.\n\n");
}

TEST(Reader, FilesAndCommandLoop) {
  ddBuffer b;
  ddBufferInit(&b);
  testing::internal::CaptureStdout();
  EXPECT_EQ(ddReadSchemaFile("/nonexistent/schema.txt", &b), 0);
  EXPECT_EQ(ddReadSchemaFile(testing::TempDir().c_str(), &b),
            0); /* a directory reads with an error */
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nFile open failure, error 0\n\nFile open failure, error 1\n");
  for (const char *text : {"", " \n\t", "// x\n/* y **/ \n", "/* open", "// x", "/"}) {
    Read r = readText(text);
    EXPECT_EQ(r.result, 1) << text;
    EXPECT_EQ(r.out, "") << text;
    EXPECT_EQ(r.buf.dataByName | r.buf.structs | r.buf.defines, 0) << text;
  }
  EXPECT_EQ(readText("DataDef X {}").out, "Unrecognized command: \"DataDef\"\nAborted.\n\n");
  Read r = readText("dataDef a{ rktype_ival }");
  EXPECT_EQ(r.out, kErr + "ERROR: Type for \"a{\" unknown!  Using rktype_ival.\n"
                          "Unrecognized command: \"rktype_ival\"\nAborted.\n\n");
  /* A comment may follow a list's '}', but a ';' behind it is a command. */
  EXPECT_EQ(readText("dataDef a {rktype_ival} // c\n ;").out,
            "Unrecognized command: \";\"\nAborted.\n\n");
  EXPECT_EQ(readText("parent P { a; } // c\n ;").result, 1);
}

TEST(Reader, EndOfInputEndsTheRead) {
  struct Case {
    const char *text;
    std::string out;
  } cases[] = {
      {"dataDef", "ERROR: No name behind \"dataDef\" at the end of the file.\n"},
      {"struct /* c */ ", "ERROR: No name behind \"struct\" at the end of the file.\n"},
      {"dataDef X", kErr + "ERROR: Type for \"X\" unknown!  Using rktype_ival.\n"},
      {"dataDef X { MTYPE_CHAR, LEN=3",
       kErr + "ERROR: Type for \"X\" unknown!  Using rktype_ival.\n"},
      {"recordDef X { rktype_rec, \"S",
       kErr + "ERROR: Type for \"X\" unknown!  Using rktype_rec.\n"},
      {"struct S", kErr},
      {"struct S (LEN=1", kErr},
      {"struct S { a; b, PTR", kErr},
      {"parent S { a; b", kErr},
      {"child S {", kErr},
      {"describe S { abc", ""},
      {"define S", ""},
  };
  for (const Case &c : cases) {
    Read r = readText(c.text);
    EXPECT_EQ(r.result, 1) << c.text;
    EXPECT_EQ(r.out, c.out) << c.text;
  }
  EXPECT_EQ(readText("dataDef").buf.dataByName, 0); /* no handler ran */
  auto *x = find<ddBufData>("X", readText("dataDef X { MTYPE_CHAR, LEN=3").buf.dataByName);
  EXPECT_TRUE(x && x->type == 5 && x->len == 4);
  auto *rec = find<ddBufRecord>("X", readText("recordDef X { rktype_rec, \"S").buf.recordByName);
  EXPECT_TRUE(rec && rec->structName == nullptr && rec->number == 0);
  auto *s = find<ddBufStruct>("S", readText("struct S (LEN=1").buf.structs);
  EXPECT_TRUE(s && s->len == 0 && s->members == 0);
  s = find<ddBufStruct>("S", readText("struct S { a; b, PTR").buf.structs);
  EXPECT_TRUE(s && s->nextIndex == 1 && s->memberCount == 1);
  EXPECT_EQ(find<ddBufCodeList>("S", readText("parent S { a; b").buf.parents)->count, 1);
  EXPECT_STREQ(find<ddBufDescribe>("S", readText("describe S { abc").buf.describes)->text, "abc");
  EXPECT_EQ(find<ddBufDefine>("S", readText("define S").buf.defines)->value, nullptr);
}

TEST(Reader, TextLimits) {
  auto cut = [](const std::string &text, int limit) {
    return "ERROR: \"" + text.substr(0, 20) + "...\" is longer than " + std::to_string(limit) +
           " characters; the rest is skipped.\n";
  };
  for (size_t over : {0, 1, 3000}) {
    std::string name(99 + over, 'n'), label = "LABEL=" + std::string(93 + over, 'l');
    std::string text(4095 + over, 't'), value(4095 + over, 'v');
    Read r = readText("define " + name + " v dataDef d {rktype_ival," + label +
                      "}\n"
                      "describe D {" +
                      text + "} define V " + value + " define Z z");
    EXPECT_EQ(r.result, 1);
    EXPECT_EQ(r.out,
              over ? cut(name, 99) + cut(label, 99) + cut(text, 4095) + cut(value, 4095) : "");
    EXPECT_STREQ(find<ddBufDefine>(name.substr(0, 99).c_str(), r.buf.defines)->value, "v");
    EXPECT_EQ(find<ddBufData>("d", r.buf.dataByName)->label, label.substr(6, 93));
    EXPECT_EQ(find<ddBufDescribe>("D", r.buf.describes)->text, text.substr(0, 4095));
    EXPECT_EQ(find<ddBufDefine>("V", r.buf.defines)->value, value.substr(0, 4095));
    EXPECT_STREQ(find<ddBufDefine>("Z", r.buf.defines)->value, "z");

    /* 50 items: the 50th, NOEDIT, applies; past that it is skipped. */
    std::string list = "dataDef d {rktype_ival";
    for (size_t i = 1; i < 49 + over; i++) list += ",KEY=1";
    r = readText(list + ",NOEDIT} define Z z");
    EXPECT_EQ(r.out, over ? "ERROR: List longer than 50 items; the rest is skipped.\n" : "");
    EXPECT_EQ(find<ddBufData>("d", r.buf.dataByName)->edit, over ? 1 : 0);
    EXPECT_NE(find<ddBufDefine>("Z", r.buf.defines), nullptr);

    std::string key(99 + over, 'K'), val(99 + over, 'v');
    char k[DD_OPTION_SIZE], v[DD_OPTION_SIZE];
    testing::internal::CaptureStdout();
    ddSplitOption((key + "=" + val).c_str(), k, v);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), over ? cut(key, 99) + cut(val, 99) : "");
    EXPECT_EQ(k, key.substr(0, 99));
    EXPECT_EQ(v, val.substr(0, 99));
  }
}

TEST(Reader, FieldCountStaysWithinItsByte) {
  std::string text = "struct S {";
  for (int i = 0; i < 257; i++) text += " m" + std::to_string(i) + ";";
  Read r = readText(text + " p, PAD=1; s, SHARE; }");
  EXPECT_EQ(r.out, "ERROR: \"S\" has 255 fields already; member \"m255\" is skipped.\n"
                   "ERROR: \"S\" has 255 fields already; member \"m256\" is skipped.\n");
  auto *s = find<ddBufStruct>("S", r.buf.structs);
  EXPECT_EQ(s->memberCount, 255);
  EXPECT_EQ(s->nextIndex, 257);
  EXPECT_STREQ(all(s->members).back()->name, "s");
}

TEST(Reader, ReleasesWhatItDoesNotKeep) {
  long before = UZA_liveBlocks("ddread1");
  Read r =
      readText("dataDef a {rktype_ival, KEY=1, LABEL=x, LABEL=y} struct S (LEN=2) { a, BIT=1; }\n"
               "parent P { a, b; } define X v describe D { d }");
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(UZA_liveBlocks("ddread1") - before, 3); /* label y, value v, text d */
}

/* Every prefix of a valid schema, and random text made of the characters
** that matter, must read to an end without overrunning anything. */
TEST(Reader, MalformedFilesEnd) {
  std::string example = kExample;
  for (size_t n = 0; n <= example.size(); n++) {
    Read r = readText(example.substr(0, n));
    EXPECT_TRUE(r.result == 0 || r.result == 1);
  }
  std::mt19937 random(5);
  const std::string_view pieces[] = {
      "{",          "}",           "(",        ")",        ",",          ";",
      "=",          "/",           "*",        "\"",       "\\",         " ",
      "\n",         "a",           "LEN",      "PAD=0",    "\xff",       std::string_view("\0", 1),
      "dataDef x",  "recordDef r", "struct s", "parent p", "describe d", "define e",
      "rktype_text"};
  for (int file = 0; file < 300; file++) {
    std::string text;
    for (int i = random() % 200; i > 0; i--) text += pieces[random() % std::size(pieces)];
    Read r = readText(text);
    EXPECT_TRUE(r.result == 0 || r.result == 1);
  }
}
