/*
** The schema text reader: a cursor over the file's bytes, the shared scanning
** steps (blanks, comments, lists, splitting options), the command loop, and
** the handlers of dataDef, recordDef, struct, parent, child, alias, describe
** and define. The option tables are in ddoption1, the line table in ddplace1.
*/
#define RK_SOURCE_NAME "ddread1"
#include "ddread.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

#include "import/ddhint.h"
#include "import/ddoption.h"
#include "import/ddutil.h"
#include "store/ddstore.h"
#include "support/ddreport.h"
#include "support/rkmem.h"

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
  if (s->lines) ddStreamNoteLines(s);
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

/* Classes of characters, one table look-up each, from the sets that
** rkdd/keywords.h publishes (the kit's writer quotes by the same sets): the
** scanner's blanks, the wider white space around words, the characters of
** an option's key, those that stop a list item's plain text, and those that
** end a plain list item (see takePlainItem): blanks, stops, and the
** separators and terminators the commands' lists use. */
enum : uint8_t { kBlankChar = 1, kWhiteChar = 2, kKeyChar = 4, kEndsPlain = 8, kItemStop = 16 };
constexpr std::array<uint8_t, 256> kCharClass = [] {
  std::array<uint8_t, 256> cls{};
  for (unsigned char c : std::string_view(RKDD_BLANKS)) cls[c] |= kBlankChar | kEndsPlain;
  for (unsigned char c : std::string_view(RKDD_WHITE)) cls[c] |= kWhiteChar;
  for (int c = 'A'; c <= 'Z'; c++) cls[c] |= kKeyChar;
  for (int c = '0'; c <= '9'; c++) cls[c] |= kKeyChar;
  for (unsigned char c : std::string_view(RKDD_ITEM_STOPS)) cls[c] |= kItemStop | kEndsPlain;
  for (unsigned char c : std::string_view(",;})")) cls[c] |= kEndsPlain;
  return cls;
}();
bool hasClass(int c, uint8_t cls) { return (kCharClass[static_cast<unsigned char>(c)] & cls) != 0; }

bool isBlankChar(char c) { return hasClass(c, kBlankChar); }

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
  ddStream *placeIn = nullptr; /* when set, first is found: the place of the first non-blank */
  ddPlace first{};
  bool placed = false;

  /* Notes the first non-blank of [from, to), text of placeIn at hand. */
  void place(const char *from, const char *to) {
    if (placeIn == nullptr || placed) return;
    while (from < to && isBlankChar(*from)) from++;
    if (from == to) return;
    first = ddStreamPlace(placeIn, from);
    placed = true;
  }

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
      ddReport(DD_MSG_TEXT_TOO_LONG, "ERROR: \"%.20s...\" is longer than %d characters; the rest is skipped.\n",
               data, size - 1);
  }
};

/* Passes over the run of characters before the first one that stop accepts,
** or to the end of input, into g when one is given. */
template <class Stop> void passUntil(ddStream *s, Stop stop, Gather *g = nullptr) {
  while (more(s)) {
    const char *p = s->at;
    while (p < s->end && !stop(static_cast<unsigned char>(*p))) p++;
    if (g) {
      g->place(s->at, p);
      g->add(s->at, p);
    }
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
  auto endsText = [=](int c) { return c == separator || c == terminator || hasClass(c, kItemStop); };
  auto endsQuoted = [](int c) { return c == '\\' || c == '"'; };
  for (;;) {
    gatherUntil(s, g, endsText);
    if (take(s, '=')) {
      g.place(s->at - 1, s->at);
      g.add('=');
    }
    if (take(s, '"')) {
      g.place(s->at - 1, s->at);
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

/* The place of the first non-blank in [from, s->at), a word that
** takePlainItem took. */
ddPlace plainPlace(const ddStream *s, const char *from) {
  if (!s->track) return {};
  while (isBlankChar(*from)) from++;
  return ddStreamPlace(s, from);
}

/* A word as "%s" reads it: white space skipped, then up to the next white
** space. False, with nothing read, at end of input. */
bool readWord(ddStream *s, char *out, int size, ddPlace *place) {
  skipWhile(s, isWhite);
  if (peek(s) == kEnd) return false;
  *place = ddStreamHere(s, s->at); /* kept for every definition's name */
  if (s->track) ddReportAt(*place);
  ddMarkUnit(s);
  Gather word{out, size};
  gatherUntil(s, word, isWhite);
  word.finish();
  return true;
}

/* Texts live as long as the entries that hold them. */
char *copyText(const char *text) { return ddBufferText(text, std::strlen(text)); }

/* What the read at hand reports beyond the default, known while it runs:
** whether a handler is there to hear it, and where the command's word and
** name stood. */
bool tracking;
ddPlace wordPlace, namePlace;

/* The texts of the items of the latest list: a slot of DD_ITEM_SIZE each.
** Every list statement of a file is read, used and let go before the next
** is read, so one set of slots serves them all and no item needs a block.
** listPlaces holds where each item's first character stood. */
char listSlots[DD_LIST_SLOTS][DD_ITEM_SIZE];
ddPlace listPlaces[DD_LIST_SLOTS];

/* A new entry of the kind named name, at the name's place; null, with the
** message, when the name is taken. */
template <class E> E *addEntry(ddBuffer *buffer, ddBufSet<E> ddBuffer::*set, const char *name) {
  E *entry = ddBufferAdd(buffer, &(buffer->*set), name);
  if (entry == nullptr)
    ddReportOn(namePlace, DD_MSG_ALREADY_DEFINED, "ERROR: \"%s\" already defined!", name);
  else
    entry->place = namePlace;
  return entry;
}

int readCodeList(ddBuffer *buffer, ddStream *s, const char *name, ddBufSet<ddBufCodeList> ddBuffer::*kind) {
  ddBufCodeList *list = addEntry(buffer, kind, name);
  if (list == nullptr) return 0;
  ddExpectChar(s, '{');
  char *items[DD_LIST_SLOTS];
  int count = 0;
  while (!ddExpectChar(s, '}')) {
    ddReadList(s, &count, items, " ,;");
    if (count == 0) return 0; /* only the end of input leaves a statement empty */
    /* A name may stand twice: each stays, with an index of its own. */
    ddBufferAddItem(&list->items, items[0], list->count++)->place = listPlaces[0];
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

namespace {
/* What follows a '/' just taken, at place slash: a comment, passed over, or
** a character that starts none. Apart from ddSkipSpace, whose common case
** of nothing to skip then needs no frame. */
[[gnu::noinline]] void skipComment(ddStream *s, ddPlace slash) {
  if (take(s, '/')) {
    skipWhile(s, [](int c) { return c != '\n' && c != '\r'; });
  } else if (take(s, '*')) {
    /* Ends behind the first star that a slash follows, or at end of input. */
    bool closed = false;
    do {
      skipWhile(s, [](int c) { return c != '*'; });
    } while (take(s, '*') && !(closed = take(s, '/')));
    if (!closed)
      ddReportOn(slash, DD_MSG_UNTERMINATED_COMMENT,
                 "WARNING: A comment begun here never ends; the rest of the file is in it.\n");
  } else if (peek(s) != kEnd) {
    ddReportOn(slash, DD_MSG_SLASH, "ERROR: Only comments can start with '/'\n");
  }
}
} // namespace

void ddSkipSpace(ddStream *s) {
  if (s->at < s->end && !isBlank(static_cast<unsigned char>(*s->at)) && *s->at != '/') return;
  for (;;) {
    skipWhile(s, isBlank);
    if (!take(s, '/')) return;
    skipComment(s, ddStreamPlace(s, s->at - 1));
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
      ddReportOn(ddStreamPlace(s, s->at), DD_MSG_CANNOT_READ_LIST, "ERROR: Cannot read list\n");
      return 0;
    }
  } else {
    ddSkipSpace(s);
  }
  ddMarkUnit(s);
  ddPlace start = ddStreamPlace(s, s->at);
  char work[DD_ITEM_SIZE];
  Gather item{work, DD_ITEM_SIZE};
  if (s->track) item.placeIn = s;
  bool dropped = false;
  for (;;) {
    const char *from = s->at;
    int stop = takePlainItem(s, separator, terminator, item);
    ddPlace at{};
    if (stop == kEnd) {
      stop = gatherItem(s, item, separator, terminator);
      /* An empty item is where its stop is. */
      if (s->track) at = item.placed ? item.first : ddStreamPlace(s, s->at);
    } else if (s->track) {
      at = plainPlace(s, from);
    }
    if (stop == kEnd) {
      /* No terminator will come: nothing of the list is kept. */
      *count = 0;
      ddReportOn(start, DD_MSG_CANNOT_READ_LIST, "ERROR: Cannot read list\n");
      return 0;
    }
    s->at++;
    if (s->track) ddReportAt(at);
    item.finish();
    std::string_view text(work, item.len);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    if (*count < DD_LIST_SLOTS) {
      char *slot = listSlots[*count];
      std::memcpy(slot, text.data(), text.size());
      slot[text.size()] = 0;
      listPlaces[*count] = at;
      items[(*count)++] = slot;
    } else if (!dropped) {
      dropped = true;
      ddReport(DD_MSG_LIST_TOO_LONG, "ERROR: List longer than %d items; the rest is skipped.\n", DD_LIST_SLOTS);
    }
    item.len = 0;
    item.cut = false;
    item.placed = false;
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

namespace {
/* A schema file open for reading, and the memory of its chunk. */
struct OpenFile {
  std::unique_ptr<FILE, FileCloser> file;
  std::unique_ptr<char, BlockFree> chunk;
};

/* Opens path as stream, with its first chunk read; false, with the message,
** when it does not open. A file that gives an error on its first read (a
** directory does) counts as one that did not open; a later error ends the
** input. *size is the file's size where known, a hint for the line table. */
bool openStream(const char *path, OpenFile &open, ddStream *stream, long long *size) {
  open.file.reset(std::fopen(path, "r"));
  FILE *file = open.file.get();
  if (file) {
    /* A file smaller than a chunk needs no more room than it holds: the
    ** pages of a whole chunk would be touched for nothing. */
    struct stat info;
    size_t room = kChunkSize;
    if (fstat(fileno(file), &info) == 0 && info.st_size > 0) {
      room = std::min(room, static_cast<size_t>(info.st_size));
      *size = info.st_size;
    }
    open.chunk.reset(static_cast<char *>(rkAllocate(room)));
    *stream = {nullptr, nullptr, file, open.chunk.get(), room, 0, 0, 0, 0, 0};
    refill(stream);
  }
  int error = file ? std::ferror(file) : 0;
  if (file && !error) return true;
  ddReport(DD_MSG_FILE_OPEN, "\nFile open failure, error %d\n", error);
  return false;
}

/* The command of word; null, with the message and "Aborted.", for a word
** that names none, which ends the read. */
const Command *commandOf(const char *word) {
  for (const Command &c : kCommands)
    if (c.word == word) return &c;
  ddReportOn(wordPlace, DD_MSG_UNKNOWN_COMMAND, "Unrecognized command: \"%s\"\n", word);
  if (tracking) {
    const char *words[std::size(kCommands)];
    for (size_t i = 0; i < std::size(kCommands); i++) words[i] = kCommands[i].word.data();
    ddHintWord(word, words, static_cast<int>(std::size(kCommands)));
  }
  ddReport(DD_MSG_ABORTED, "Aborted.\n\n");
  return nullptr;
}
} // namespace

int ddReadSchemaFile(const char *path, ddBuffer *buffer) {
  OpenFile open;
  ddStream stream = {};
  long long fileSize = 0;
  if (!openStream(path, open, &stream, &fileSize)) return 0;
  ddStream *s = &stream;
  tracking = ddReportHandled();
  wordPlace = namePlace = ddPlace{};
  ddStreamKeepLines(s, fileSize);
  s->track = tracking;
  char word[DD_WORD_SIZE], name[DD_WORD_SIZE];
  char *items[DD_LIST_SLOTS];
  ddSkipSpace(s);
  while (readWord(s, word, sizeof word, &wordPlace)) {
    ddSkipSpace(s);
    bool named = readWord(s, name, sizeof name, &namePlace);
    if (s->overrun) break;
    const Command *command = commandOf(word);
    if (command == nullptr) return 0;
    if (!named) {
      ddReportOn(wordPlace, DD_MSG_MISSING_NAME, "ERROR: No name behind \"%s\" at the end of the file.\n", word);
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
int typeOf(const char *name, int count, char **items, int fallback, ddPlace at) {
  int type = ddTypeFromName(count > 0 ? items[0] : "");
  if (type >= 0) return type;
  ddReportOn(at, DD_MSG_UNKNOWN_TYPE, "ERROR: Type for \"%s\" unknown!  Using %s.\n", name, ddTypeKeyword(fallback));
  if (tracking && count > 0) ddHintTagType(items[0]);
  return fallback;
}

/* Where item i of the latest list stood; the name's place for an item the
** list did not give. */
ddPlace itemPlace(int i, int count) { return i < count ? listPlaces[i] : namePlace; }

bool isRecordType(int type) {
  return type == MTYPE_ROOT || type == MTYPE_BEAD || type == MTYPE_REC || type == MTYPE_XFORM;
}

} // namespace

int ddReadDataDef(ddBuffer *buffer, const char *name, int count, char **items) {
  ddBufData *d = addEntry(buffer, &ddBuffer::dataByName, name);
  if (d == nullptr) return 0;
  d->typePlace = itemPlace(0, count);
  d->type = typeOf(name, count, items, MTYPE_INT, d->typePlace);
  if (tracking && isRecordType(d->type))
    ddReportOn(d->typePlace, DD_MSG_DATA_RECORD_TYPE,
               "WARNING: \"%s\" is a data item of a record's tag type, which has no length.\n", name);
  if (tracking) ddReportAt(d->typePlace);
  d->len = ddTypeSize(d->type);
  d->disp = d->edit = d->search = 1;
  ddApplyDataOptions(d, 1, count, items, listPlaces);
  if (d->len == -1) {
    ddReportOn(d->place, DD_MSG_TEXT_LENGTH,
        "ERROR: Size for rktype_text type not specified!\n\tSpecify LEN parameter for \"%s\".\n",
        name);
    d->len = 1;
  }
  ddBufferNumber(&buffer->dataByNumber, d, buffer->nextDataNumber++);
  return 1;
}

int ddReadRecordDef(ddBuffer *buffer, const char *name, int count, char **items) {
  ddBufRecord *r = addEntry(buffer, &ddBuffer::recordByName, name);
  if (r == nullptr) return 0;
  r->typePlace = itemPlace(0, count);
  r->structPlace = itemPlace(1, count);
  r->type = typeOf(name, count, items, MTYPE_REC, r->typePlace);
  /* Without a second item the record has no structure, as with rkNULL. */
  if (count > 1 && std::strcmp(items[1], "rkNULL") != 0 && std::strcmp(items[1], "RK_NULL") != 0)
    r->structName = copyText(items[1]);
  r->lev = 0;
  r->disp = r->edit = r->search = 1;
  ddApplyRecordOptions(r, 2, count, items, listPlaces);
  ddBufferNumber(&buffer->recordByNumber, r, buffer->nextRecordNumber++);
  return 1;
}

/* ---- struct and its members -------------------------------------------- */

int ddReadStruct(ddBuffer *buffer, ddStream *s, const char *name) {
  ddBufStruct *st = addEntry(buffer, &ddBuffer::structs, name);
  if (st == nullptr) return 0;
  char *items[DD_LIST_SLOTS];
  int count = 0;
  if (ddExpectChar(s, '(')) {
    if (!ddReadList(s, &count, items, " ,)")) return 0; /* end of input */
    ddApplyHeaderOptions(st, 0, count, items, listPlaces);
    ddFreeList(&count, items);
  }
  ddExpectChar(s, '{');
  char plain[DD_ITEM_SIZE];
  for (;;) {
    /* Most statements name a member and nothing else: such a one is taken
    ** in one step, as the full read below would take it. */
    Gather word{plain, DD_ITEM_SIZE};
    const char *from = s->at;
    if (takePlainItem(s, ';', ';', word) == ';') {
      listPlaces[0] = plainPlace(s, from);
      ddMarkUnit(s);
      s->at++;
      word.finish();
      skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
      char *one[] = {plain};
      ddReadMember(st, 1, one);
      continue;
    }
    if (ddExpectChar(s, '}')) break;
    if (!ddReadList(s, &count, items, " ,;")) return 0; /* end of input */
    ddReadMember(st, count, items);
    ddFreeList(&count, items);
  }
  skipWhile(s, [](int c) { return c == ';' || isBlank(c); });
  return 1;
}

namespace {
/* Adds a member named name with the options of scratch (none when null),
** unless it would be field 256: memberCount holds 255 at most and the
** field table is made from it, so such a member is refused whole. */
int addMember(ddBufStruct *owner, const char *name, const ddBufMember *scratch) {
  bool counted = scratch == nullptr || (!scratch->share && !scratch->pad);
  if (counted && owner->memberCount == UINT8_MAX) {
    ddReportOn(listPlaces[0], DD_MSG_TOO_MANY_FIELDS,
               "ERROR: \"%s\" has %d fields already; member \"%s\" is skipped.\n", owner->name, UINT8_MAX, name);
    return 0;
  }
  /* A name may stand twice: each stays, with an index of its own. */
  ddBufMember *m = ddBufferAddItem(&owner->members, name, owner->nextIndex++);
  if (scratch != nullptr) {
    ddBufMember kept = *scratch;
    kept.name = m->name;
    kept.number = m->number;
    *m = kept;
  }
  m->place = listPlaces[0];
  if (counted) owner->memberCount++;
  return 1;
}
} // namespace

int ddReadMember(ddBufStruct *owner, int count, char **items) {
  if (count < 1) return 0;
  if (count == 1) return addMember(owner, items[0], nullptr); /* as most members are */
  ddBufMember scratch{};
  ddApplyMemberOptions(&scratch, 1, count, items, listPlaces);
  return addMember(owner, items[0], &scratch);
}

/* ---- parent, child, alias, describe, define ----------------------------- */

int ddReadParent(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, &ddBuffer::parents);
}
int ddReadChild(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, &ddBuffer::children);
}
int ddReadAlias(ddBuffer *buffer, ddStream *s, const char *name) {
  return readCodeList(buffer, s, name, &ddBuffer::aliases);
}

int ddReadDescribe(ddBuffer *buffer, ddStream *s, const char *name) {
  ddBufDescribe *d = addEntry(buffer, &ddBuffer::describes, name);
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
  ddBufDefine *d = addEntry(buffer, &ddBuffer::defines, name);
  if (d == nullptr) return 0;
  ddSkipSpace(s);
  char value[DD_TEXT_SIZE];
  ddPlace at;
  if (!readWord(s, value, DD_TEXT_SIZE, &at)) return 0;
  d->value = copyText(value);
  return 1;
}
