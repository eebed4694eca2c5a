/*
** The schema text reader: a cursor over the file's bytes, the shared scanning
** steps (blanks, comments, lists, options), the command loop, and the handlers
** of dataDef, recordDef, struct, parent, child, alias, describe and define.
*/
#define RK_SOURCE_NAME "ddread1"
#include "ddread.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "import/ddutil.h"
#include "store/ddstore.h"
#include "support/rkmem.h"
#include "support/ddreport.h"

namespace {

/* ---- Cursor ---------------------------------------------------------- */

constexpr int kEnd = -1;

/* Makes the next chunk of the file the text at hand; false at end of input,
** or when the file cannot be read further, which ends the input too. */
bool refill(ddStream *s) {
  if (s->file == nullptr || s->overrun) return false;
  if (s->read - s->mark > DD_UNIT_LIMIT) {
    s->overrun = 1;
    s->at = s->end;
    return false;
  }
  size_t got = std::fread(s->chunk, 1, s->chunkSize, s->file);
  s->at = s->chunk;
  s->end = s->chunk + got;
  s->read += static_cast<long long>(got);
  return got > 0;
}

/* True while input remains, with at least one character at hand. */
bool more(ddStream *s) { return s->at < s->end || refill(s); }

int peek(ddStream *s) { return more(s) ? static_cast<unsigned char>(*s->at) : kEnd; }

bool take(ddStream *s, int c) {
  if (c == kEnd || peek(s) != c) return false;
  s->at++;
  return true;
}

/* Classes of characters, one table look-up each: the scanner's blanks, the
** wider white space around words, the characters of an option's key, and
** those that end a plain list item (see takePlainItem). */
enum : uint8_t { kBlankChar = 1, kWhiteChar = 2, kKeyChar = 4, kEndsPlain = 8 };
constexpr std::array<uint8_t, 256> kCharClass = [] {
  std::array<uint8_t, 256> cls{};
  for (unsigned char c : std::string_view(" \t\n\r")) cls[c] |= kBlankChar | kWhiteChar;
  for (unsigned char c : std::string_view("\v\f")) cls[c] |= kWhiteChar;
  for (int c = 'A'; c <= 'Z'; c++) cls[c] |= kKeyChar;
  for (int c = '0'; c <= '9'; c++) cls[c] |= kKeyChar;
  for (unsigned char c : std::string_view(" \t\n\r/=\",;})")) cls[c] |= kEndsPlain;
  return cls;
}();
bool hasClass(int c, uint8_t cls) { return (kCharClass[static_cast<unsigned char>(c)] & cls) != 0; }

/* Objects rather than functions, so that a scan given one inlines it. */
constexpr auto isBlank = [](int c) { return hasClass(c, kBlankChar); };
constexpr auto isWhite = [](int c) { return hasClass(c, kWhiteChar); };

/* Text gathered into a fixed buffer: what does not fit is dropped, and
** finish() reports it once. */
struct Gather {
  char *data;
  int size;
  int len = 0;
  bool cut = false;

  void add(int c) {
    if (len < size - 1)
      data[len++] = static_cast<char>(c);
    else
      cut = true;
  }
  void add(const char *from, const char *to) {
    size_t n = static_cast<size_t>(to - from), room = static_cast<size_t>(size - 1 - len);
    if (n > room) cut = true, n = room;
    std::memcpy(data + len, from, n);
    len += static_cast<int>(n);
  }
  void finish() {
    data[len] = 0;
    if (cut)
      ddReport(DD_MSG_TEXT_TOO_LONG, "ERROR: \"%.20s...\" is longer than %d characters; the rest is skipped.\n", data,
                  size - 1);
  }
};

/* Passes over the run of characters before the first one that stop accepts,
** or to the end of input, into g when one is given. */
template <class Stop> void passUntil(ddStream *s, Stop stop, Gather *g = nullptr) {
  while (more(s)) {
    const char *p = s->at;
    while (p < s->end && !stop(static_cast<unsigned char>(*p))) p++;
    if (g) g->add(s->at, p);
    s->at = p;
    if (p < s->end) return;
  }
}
template <class Stop> void gatherUntil(ddStream *s, Gather &g, Stop stop) { passUntil(s, stop, &g); }
template <class Keep> void skipWhile(ddStream *s, Keep keep) {
  passUntil(s, [&](int c) { return !keep(c); });
}

/* The common list item, a plain word between blanks, taken in one step: a
** run of characters other than blanks, the separator, the terminator, '/',
** '=' and '"', with only blanks around it, then the separator or the
** terminator, all in the text at hand and short enough not to be cut. Puts
** the word into g and gives the stop character, which is left unread. Any
** other shape gives kEnd with nothing read, and the full scan reads it to
** the same result. */
int takePlainItem(ddStream *s, int separator, int terminator, Gather &g) {
  /* A plain word ends at any separator or terminator that the commands'
  ** lists use, and one that is not this list's sends the item to the full
  ** scan, as does a list with stops of its own. */
  if (!hasClass(separator, kEndsPlain) || !hasClass(terminator, kEndsPlain)) return kEnd;
  const char *p = s->at, *end = s->end;
  while (p < end && isBlank(static_cast<unsigned char>(*p))) p++;
  const char *word = p;
  while (p < end && !hasClass(*p, kEndsPlain)) p++;
  const char *wordEnd = p;
  while (p < end && isBlank(static_cast<unsigned char>(*p))) p++;
  if (p == end || p - s->at >= g.size) return kEnd;
  int stop = static_cast<unsigned char>(*p);
  if (stop != separator && stop != terminator) return kEnd;
  g.add(word, wordEnd);
  s->at = p;
  return stop;
}

/* One list item in full into g: text up to the separator or terminator,
** with an '=' and a quoted text (backslash escapes kept) in it and comments
** between its parts. Gives the stop character, left unread, or kEnd when the
** input ends first. */
int gatherItem(ddStream *s, Gather &g, int separator, int terminator) {
  auto endsText = [=](int c) { return c == separator || c == terminator || c == '/' || c == '=' || c == '"'; };
  auto endsQuoted = [](int c) { return c == '\\' || c == '"'; };
  for (;;) {
    gatherUntil(s, g, endsText);
    if (take(s, '=')) g.add('=');
    if (take(s, '"')) {
      g.add('"');
      for (;;) {
        gatherUntil(s, g, endsQuoted);
        if (take(s, '"')) {
          g.add('"');
          break;
        }
        if (!take(s, '\\')) break; /* end of input */
        g.add('\\');
        skipWhile(s, isWhite); /* white space behind a backslash is lost */
        if (peek(s) == kEnd) break;
        g.add(*s->at++);
      }
    }
    ddSkipSpace(s);
    int stop = peek(s);
    if (stop == kEnd || stop == separator || stop == terminator) return stop;
  }
}

/* A word as "%s" reads it: white space skipped, then up to the next white
** space. False, with nothing read, at end of input. */
bool readWord(ddStream *s, char *out, int size) {
  skipWhile(s, isWhite);
  if (peek(s) == kEnd) return false;
  ddMarkUnit(s);
  Gather word{out, size};
  gatherUntil(s, word, isWhite);
  word.finish();
  return true;
}

/* Texts live as long as the entries that hold them. */
char *copyText(const char *text) { return ddBufferText(text, std::strlen(text)); }

/* A repeated option replaces the earlier text, which stays unused beside
** the entries. */
void setText(char *&field, const char *value) { field = copyText(value); }

/* atoi and atof without their undefined cases: a number too large for an int
** wraps as strtol's long does, one too large for a float becomes infinite. */
int toInt(const char *v) { return static_cast<int>(std::strtol(v, nullptr, 10)); }
float toFloat(const char *v) {
  double d = std::strtod(v, nullptr);
  if (std::fabs(d) > FLT_MAX && std::isfinite(d)) return d > 0 ? HUGE_VALF : -HUGE_VALF;
  return static_cast<float>(d);
}

/* The texts of the items of the latest list: a slot of DD_ITEM_SIZE each.
** Every list statement of a file is read, used and let go before the next
** is read, so one set of slots serves them all and no item needs a block. */
char listSlots[DD_LIST_SLOTS][DD_ITEM_SIZE];

/* ---- Option tables --------------------------------------------------- */

template <class E> struct Option {
  std::string_view key;
  void (*apply)(E *entry, const char *value);
};

/* Applies the row of key, or gives false when no row has it. */
template <class E, size_t N>
bool applyOption(const Option<E> (&table)[N], E *entry, const char *key, const char *value) {
  for (const Option<E> &row : table)
    if (row.key == key) {
      row.apply(entry, value);
      return true;
    }
  return false;
}

/* Rows that data items and records share; their fields have the same names. */
template <class E> void optAcnt(E *e, const char *v) { e->acnt = toInt(v); }
template <class E> void optKey(E *e, const char *v) { e->key = toInt(v); }
template <class E> void optNoDisp(E *e, const char *) { e->disp = 0; }
template <class E> void optNoEdit(E *e, const char *) { e->edit = 0; }
template <class E> void optNoSearch(E *e, const char *) { e->search = 0; }
template <class E> void optLabel(E *e, const char *v) { setText(e->label, v); }
template <class E> void optMsg(E *e, const char *v) { setText(e->msg, v); }
template <class E> void optSite(E *e, const char *v) { setText(e->site, v); }
template <class E> void optVer(E *e, const char *v) { e->ver = static_cast<uint16_t>(toInt(v)); }
template <class E> void optXcode(E *e, const char *v) { setText(e->xcode, v); }

constexpr int kTextType = 11;

constexpr Option<ddBufData> kDataOptions[] = {
    {"LEN", [](ddBufData *d, const char *v) { d->len = toInt(v); }},
    {"ACNT", optAcnt<ddBufData>},
    {"DEF",
     [](ddBufData *d, const char *v) {
       if (d->type == kTextType)
         setText(d->defStr, v);
       else
         d->defVal = toFloat(v);
       d->defSet = 1;
     }},
    {"MIN",
     [](ddBufData *d, const char *v) {
       d->min = toFloat(v);
       d->minSet = 1;
     }},
    {"MAX",
     [](ddBufData *d, const char *v) {
       d->max = toFloat(v);
       d->maxSet = 1;
     }},
    {"KEY", optKey<ddBufData>},
    {"NODISP", optNoDisp<ddBufData>},
    {"NOEDIT", optNoEdit<ddBufData>},
    {"NOSEARCH", optNoSearch<ddBufData>},
    {"LABEL", optLabel<ddBufData>},
    {"MSG", optMsg<ddBufData>},
    {"SITE", optSite<ddBufData>},
    {"VER", optVer<ddBufData>},
    {"XCODE", optXcode<ddBufData>},
    {"ENUM", [](ddBufData *d, const char *) { d->isEnum = 1; }},
};

constexpr Option<ddBufRecord> kRecordOptions[] = {
    {"LEV", [](ddBufRecord *r, const char *v) { r->lev = ddLevelFromName(v); }},
    {"PARENT", [](ddBufRecord *r, const char *v) { setText(r->parentName, v); }},
    {"CHILD", [](ddBufRecord *r, const char *v) { setText(r->childName, v); }},
    {"ALIAS", [](ddBufRecord *r, const char *v) { setText(r->aliasName, v); }},
    {"ACNT", optAcnt<ddBufRecord>},
    {"KEY", optKey<ddBufRecord>},
    {"NODISP", optNoDisp<ddBufRecord>},
    {"NOEDIT", optNoEdit<ddBufRecord>},
    {"NOSEARCH", optNoSearch<ddBufRecord>},
    {"LABEL", optLabel<ddBufRecord>},
    {"MSG", optMsg<ddBufRecord>},
    {"SITE", optSite<ddBufRecord>},
    {"VER", optVer<ddBufRecord>},
    {"XCODE", optXcode<ddBufRecord>},
    {"PREFIX", [](ddBufRecord *r, const char *v) { setText(r->prefix, v); }},
};

constexpr Option<ddBufStruct> kHeaderOptions[] = {
    {"SN", [](ddBufStruct *s, const char *v) { setText(s->sn, v); }},
    {"UN", [](ddBufStruct *s, const char *v) { setText(s->un, v); }},
    {"LEN", [](ddBufStruct *s, const char *v) { s->len = toInt(v); }},
};

constexpr Option<ddBufMember> kMemberOptions[] = {
    {"PTR", [](ddBufMember *m, const char *) { m->ptr = 1; }},
    {"BIT", [](ddBufMember *m, const char *v) { m->bit = toInt(v); }},
    {"OFF", [](ddBufMember *m, const char *v) { m->off = toInt(v); }},
    {"FN", [](ddBufMember *m, const char *v) { setText(m->fn, v); }},
    {"SHARE", [](ddBufMember *m, const char *) { m->share = 1; }},
    {"PAD",
     [](ddBufMember *m, const char *v) {
       m->pad = toInt(v);
       if (m->pad > 0) return;
       ddReport(DD_MSG_PAD_NOT_POSITIVE, "WARNING: Value for PAD must be greater than 0.\n\tSetting to 1.\n");
       m->pad = 1;
     }},
};

/* Splits items[first..count) and applies each to entry through table; a key
** in no row gets the message of unknown, with the key. */
template <class E, size_t N>
void applyOptions(const Option<E> (&table)[N], E *entry, int first, int count, char **items,
                  const char *unknown) {
  char key[DD_OPTION_SIZE], value[DD_OPTION_SIZE];
  for (int i = first; i < count; i++) {
    ddSplitOption(items[i], key, value);
    if (!applyOption(table, entry, key, value)) ddReport(DD_MSG_UNKNOWN_OPTION, unknown, key);
  }
}

/* A new entry of the kind named name; null, with the message, when the
** name is taken. */
template <class E> E *addEntry(ddBuffer *buffer, int kind, const char *name) {
  auto *entry = static_cast<E *>(ddBufferAddName(buffer, kind, name));
  if (entry == nullptr) ddReport(DD_MSG_ALREADY_DEFINED, "ERROR: \"%s\" already defined!", name);
  return entry;
}

int readCodeList(ddBuffer *buffer, ddStream *s, const char *name, int kind) {
  auto *list = addEntry<ddBufCodeList>(buffer, kind, name);
  if (list == nullptr) return 0;
  ddExpectChar(s, '{');
  char *items[DD_LIST_SLOTS];
  int count = 0;
  while (!ddExpectChar(s, '}')) {
    ddReadList(s, &count, items, " ,;");
    if (count == 0) return 0; /* only the end of input leaves a statement empty */
    /* A name may stand twice: each stays, with an index of its own. */
    ddBufferAddItem(buffer, kind, &list->items, items[0], list->count++);
    ddFreeList(&count, items);
  }
  skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
  return 1;
}

/* ---- Command loop ---------------------------------------------------- */

struct Command {
  std::string_view word;
  int (*withList)(ddBuffer *, const char *, int, char **); /* list read here */
  int (*withBody)(ddBuffer *, ddStream *, const char *);   /* reads its own body */
};

constexpr Command kCommands[] = {
    {"dataDef", ddReadDataDef, nullptr},   {"recordDef", ddReadRecordDef, nullptr},
    {"struct", nullptr, ddReadStruct},     {"parent", nullptr, ddReadParent},
    {"child", nullptr, ddReadChild},       {"alias", nullptr, ddReadAlias},
    {"describe", nullptr, ddReadDescribe}, {"define", nullptr, ddReadDefine},
};

struct FileCloser {
  void operator()(FILE *f) const { std::fclose(f); }
};
struct BlockFree {
  void operator()(char *p) const { rkFree(p); }
};

/* How much of a schema file is at hand at once; a fuzzing build sets less,
** with its smaller DD_UNIT_LIMIT. */
#ifndef DD_CHUNK_SIZE
#define DD_CHUNK_SIZE (64 * 1024)
#endif
constexpr size_t kChunkSize = DD_CHUNK_SIZE;

} // namespace

/* ---- Scanner --------------------------------------------------------- */

void ddMarkUnit(ddStream *s) { s->mark = s->read - (s->end - s->at); }

void ddSkipSpace(ddStream *s) {
  if (s->at < s->end && !isBlank(static_cast<unsigned char>(*s->at)) && *s->at != '/') return;
  for (;;) {
    skipWhile(s, isBlank);
    if (!take(s, '/')) return;
    if (take(s, '/')) {
      skipWhile(s, [](int c) { return c != '\n' && c != '\r'; });
    } else if (take(s, '*')) {
      /* Ends behind the first star that a slash follows, or at end of input. */
      do {
        skipWhile(s, [](int c) { return c != '*'; });
      } while (take(s, '*') && !take(s, '/'));
    } else if (peek(s) != kEnd) {
      ddReport(DD_MSG_SLASH, "ERROR: Only comments can start with '/'\n");
    }
  }
}

int ddExpectChar(ddStream *s, char c) {
  ddSkipSpace(s);
  bool taken = take(s, static_cast<unsigned char>(c));
  ddSkipSpace(s);
  return taken;
}

int ddReadList(ddStream *s, int *count, char **items, const char *stops) {
  const int opener = stops[0], separator = stops[1], terminator = stops[2];
  *count = 0;
  if (opener != ' ') {
    if (!ddExpectChar(s, static_cast<char>(opener))) {
      ddReport(DD_MSG_CANNOT_READ_LIST, "ERROR: Cannot read list\n");
      return 0;
    }
  } else {
    ddSkipSpace(s);
  }
  ddMarkUnit(s);
  char work[DD_ITEM_SIZE];
  Gather item{work, DD_ITEM_SIZE};
  bool dropped = false;
  for (;;) {
    int stop = takePlainItem(s, separator, terminator, item);
    if (stop == kEnd) stop = gatherItem(s, item, separator, terminator);
    if (stop == kEnd) {
      /* No terminator will come: nothing of the list is kept. */
      *count = 0;
      ddReport(DD_MSG_CANNOT_READ_LIST, "ERROR: Cannot read list\n");
      return 0;
    }
    s->at++;
    item.finish();
    std::string_view text(work, item.len);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    if (*count < DD_LIST_SLOTS) {
      char *slot = listSlots[*count];
      std::memcpy(slot, text.data(), text.size());
      slot[text.size()] = 0;
      items[(*count)++] = slot;
    } else if (!dropped) {
      dropped = true;
      ddReport(DD_MSG_LIST_TOO_LONG, "ERROR: List longer than %d items; the rest is skipped.\n", DD_LIST_SLOTS);
    }
    item.len = 0;
    item.cut = false;
    if (stop == terminator) break;
  }
  skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
  return 1;
}

void ddFreeList(int *count, char **) { *count = 0; }

void ddSplitOption(const char *item, char *key, char *value) {
  std::string_view text(item ? item : "");
  size_t keyLen = 0;
  while (keyLen < text.size() && hasClass(text[keyLen], kKeyChar)) keyLen++;
  size_t gap = 0;
  while (keyLen + gap < text.size() && (text[keyLen + gap] == '=' || isBlank(text[keyLen + gap])))
    gap++;
  std::string_view rest = text.substr(keyLen + gap);
  /* A separator needs text behind it, and text needs a separator before it. */
  if (keyLen == 0 || (gap > 0) != !rest.empty()) {
    ddReport(DD_MSG_OPTION_SYNTAX, "ERROR: Optional argument parsing: \"%s\"\n", item ? item : "");
    key[0] = value[0] = 0;
    return;
  }
  Gather k{key, DD_OPTION_SIZE}, v{value, DD_OPTION_SIZE};
  k.add(text.data(), text.data() + keyLen);
  v.add(rest.data(), rest.data() + rest.size());
  k.finish();
  v.finish();
}

/* ---- Command loop ---------------------------------------------------- */

int ddReadSchemaFile(const char *path, ddBuffer *buffer) {
  std::unique_ptr<FILE, FileCloser> file(std::fopen(path, "r"));
  std::unique_ptr<char, BlockFree> chunk;
  ddStream stream = {};
  if (file) {
    /* A file smaller than a chunk needs no more room than it holds: the
    ** pages of a whole chunk would be touched for nothing. */
    struct stat info;
    size_t size = kChunkSize;
    if (fstat(fileno(file.get()), &info) == 0 && info.st_size > 0)
      size = std::min(size, static_cast<size_t>(info.st_size));
    chunk.reset(static_cast<char *>(rkAllocate(size)));
    stream = {nullptr, nullptr, file.get(), chunk.get(), size, 0, 0, 0};
    refill(&stream);
  }
  /* A file that gives an error on its first read (a directory does) counts
  ** as one that did not open; a later error ends the input. */
  int error = file ? std::ferror(file.get()) : 0;
  if (!file || error) {
    ddReport(DD_MSG_FILE_OPEN, "\nFile open failure, error %d\n", error);
    return 0;
  }
  ddStream *s = &stream;
  char word[DD_WORD_SIZE], name[DD_WORD_SIZE];
  char *items[DD_LIST_SLOTS];
  ddSkipSpace(s);
  while (readWord(s, word, sizeof word)) {
    ddSkipSpace(s);
    bool named = readWord(s, name, sizeof name);
    if (s->overrun) break;
    const Command *command = nullptr;
    for (const Command &c : kCommands)
      if (c.word == word && !command) command = &c;
    if (command == nullptr) {
      ddReport(DD_MSG_UNKNOWN_COMMAND, "Unrecognized command: \"%s\"\n", word);
      ddReport(DD_MSG_ABORTED, "Aborted.\n\n");
      return 0;
    }
    if (!named) {
      ddReport(DD_MSG_MISSING_NAME, "ERROR: No name behind \"%s\" at the end of the file.\n", word);
      break;
    }
    if (command->withList) {
      int count = 0;
      ddReadList(s, &count, items, "{,}");
      command->withList(buffer, name, count, items);
      ddFreeList(&count, items);
    } else {
      command->withBody(buffer, s, name);
    }
    ddSkipSpace(s);
  }
  if (s->overrun) {
    ddReport(DD_MSG_UNIT_TOO_LONG, "ERROR: More than %ld characters without an end; not a schema text.\n",
             static_cast<long>(DD_UNIT_LIMIT));
    ddReport(DD_MSG_ABORTED, "Aborted.\n\n");
    return 0;
  }
  return 1;
}

/* ---- dataDef, recordDef ------------------------------------------------ */

namespace {
/* The tag type that a definition's list names first; an unknown one, or none
** (a list that gave nothing), is reported and gives fallback. */
int typeOf(const char *name, int count, char **items, int fallback, const char *fallbackName) {
  int type = ddTypeFromName(count > 0 ? items[0] : "");
  if (type >= 0) return type;
  ddReport(DD_MSG_UNKNOWN_TYPE, "ERROR: Type for \"%s\" unknown!  Using %s.\n", name, fallbackName);
  return fallback;
}
} // namespace

int ddReadDataDef(ddBuffer *buffer, const char *name, int count, char **items) {
  auto *d = addEntry<ddBufData>(buffer, DDBUF_DATA, name);
  if (d == nullptr) return 0;
  d->type = typeOf(name, count, items, 5, "rktype_ival");
  d->len = ddTypeSize(d->type);
  d->disp = d->edit = d->search = 1;
  applyOptions(kDataOptions, d, 1, count, items, "UNRECOGNIZED OPTION! \"%s\"\n");
  if (d->len == -1) {
    ddReport(DD_MSG_TEXT_LENGTH,
        "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"%s\".\n",
        name);
    d->len = 1;
  }
  ddBufferNumber(buffer, DDBUF_DATA, name, buffer->nextDataNumber++);
  return 1;
}

int ddReadRecordDef(ddBuffer *buffer, const char *name, int count, char **items) {
  auto *r = addEntry<ddBufRecord>(buffer, DDBUF_RECORD, name);
  if (r == nullptr) return 0;
  r->type = typeOf(name, count, items, 14, "rktype_rec");
  /* Without a second item the record has no structure, as with rkNULL. */
  if (count > 1 && std::strcmp(items[1], "rkNULL") != 0 && std::strcmp(items[1], "RK_NULL") != 0)
    r->structName = copyText(items[1]);
  r->lev = 0;
  r->disp = r->edit = r->search = 1;
  applyOptions(kRecordOptions, r, 2, count, items, "UNRECOGNIZED OPTION! \"%s\"\n");
  ddBufferNumber(buffer, DDBUF_RECORD, name, buffer->nextRecordNumber++);
  return 1;
}

/* ---- struct and its members -------------------------------------------- */

int ddReadStruct(ddBuffer *buffer, ddStream *s, const char *name) {
  auto *st = addEntry<ddBufStruct>(buffer, DDBUF_STRUCT, name);
  if (st == nullptr) return 0;
  char *items[DD_LIST_SLOTS];
  int count = 0;
  if (ddExpectChar(s, '(')) {
    if (!ddReadList(s, &count, items, " ,)")) return 0; /* end of input */
    applyOptions(kHeaderOptions, st, 0, count, items, "ILLEGAL OPTION! \"%s\"\n");
    ddFreeList(&count, items);
  }
  ddExpectChar(s, '{');
  char plain[DD_ITEM_SIZE];
  for (;;) {
    /* Most statements name a member and nothing else: such a one is taken
    ** in one step, as the full read below would take it. */
    Gather word{plain, DD_ITEM_SIZE};
    if (takePlainItem(s, ';', ';', word) == ';') {
      ddMarkUnit(s);
      s->at++;
      word.finish();
      skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
      char *one[] = {plain};
      ddReadMember(buffer, st, 1, one);
      continue;
    }
    if (ddExpectChar(s, '}')) break;
    if (!ddReadList(s, &count, items, " ,;")) return 0; /* end of input */
    ddReadMember(buffer, st, count, items);
    ddFreeList(&count, items);
  }
  skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
  return 1;
}

int ddReadMember(ddBuffer *buffer, ddBufStruct *owner, int count, char **items) {
  if (count < 1) return 0;
  /* Options go to a scratch member first: a member that would be field 256
  ** is refused whole, since memberCount holds 255 at most and the field
  ** table is made from it. */
  ddBufMember scratch{};
  applyOptions(kMemberOptions, &scratch, 1, count, items, "UNRECOGNIZED OPTION! \"%s\"\n");
  bool counted = !scratch.share && !scratch.pad;
  if (counted && owner->memberCount == UINT8_MAX) {
    ddReport(DD_MSG_TOO_MANY_FIELDS, "ERROR: \"%s\" has %d fields already; member \"%s\" is skipped.\n", owner->name,
                UINT8_MAX, items[0]);
    return 0;
  }
  /* A name may stand twice: each stays, with an index of its own. */
  auto *m = static_cast<ddBufMember *>(
      ddBufferAddItem(buffer, DDBUF_STRUCT, &owner->members, items[0], owner->nextIndex++));
  scratch.name = m->name;
  scratch.index = m->index;
  *m = scratch;
  if (counted) owner->memberCount++;
  return 1;
}

/* ---- parent, child, alias, describe, define ----------------------------- */

int ddReadParent(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, DDBUF_PARENT);
}
int ddReadChild(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, DDBUF_CHILD);
}
int ddReadAlias(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, DDBUF_ALIAS);
}

int ddReadDescribe(ddBuffer *buffer, ddStream *s, const char *name) {
  auto *d = addEntry<ddBufDescribe>(buffer, DDBUF_DESCRIBE, name);
  if (d == nullptr) return 0;
  ddExpectChar(s, '{');
  ddMarkUnit(s);
  char text[DD_TEXT_SIZE];
  Gather g{text, DD_TEXT_SIZE};
  bool any = false;
  for (; peek(s) != kEnd && peek(s) != '}'; any = true) g.add(*s->at++);
  g.finish();
  ddExpectChar(s, '}');
  if (!any) return 0;
  d->text = ddBufferText(text, static_cast<size_t>(g.len));
  return 1;
}

int ddReadDefine(ddBuffer *buffer, ddStream *s, const char *name) {
  auto *d = addEntry<ddBufDefine>(buffer, DDBUF_DEFINE, name);
  if (d == nullptr) return 0;
  ddSkipSpace(s);
  char value[DD_TEXT_SIZE];
  if (!readWord(s, value, DD_TEXT_SIZE)) return 0;
  d->value = copyText(value);
  return 1;
}
