/*
** The options of dataDef, recordDef, a structure's header and its members:
** a table of keys per command, what each does to the entry, and what only a
** handler hears of the values given.
*/
#include "import/ddoption.h"

#include <cctype>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "import/ddhint.h"
#include "import/ddread.h"
#include "import/ddutil.h"
#include "support/ddreport.h"

namespace {

/* Whether a handler hears this list's options, and the key being applied. */
bool tracking;
const char *optionKey = "";

/* Texts live as long as the entries that hold them; a repeated option
** replaces the earlier text, which stays unused beside the entries. */
void setText(char *&field, const char *value) { field = ddBufferText(value, std::strlen(value)); }

/* A number option's value that is not wholly a number is used as far as it
** goes; a handler hears of it. */
void checkNumber(const char *v, const char *end, bool range, const char *what) {
  if (tracking && (end == v || *end != 0 || range))
    ddReport(DD_MSG_BAD_NUMBER, "WARNING: Value of %s is not %s: \"%s\".\n", optionKey, what, v);
}

/* atoi and atof without their undefined cases: a number too large for an int
** wraps as strtol's long does, one too large for a float becomes infinite. */
int toInt(const char *v) {
  char *end;
  long n = std::strtol(v, &end, 10);
  checkNumber(v, end, n < INT_MIN || n > INT_MAX, "a whole number that an int holds");
  return static_cast<int>(n);
}
float toFloat(const char *v) {
  char *end;
  double d = std::strtod(v, &end);
  checkNumber(v, end, false, "a number");
  if (std::fabs(d) > FLT_MAX && std::isfinite(d)) return d > 0 ? HUGE_VALF : -HUGE_VALF;
  return static_cast<float>(d);
}

/* A level given as a number must be a whole one, and one an int holds;
** the common short one is checked without converting it again. */
void checkLevel(const char *v) {
  size_t digits = std::strspn(v, "0123456789");
  if (digits < 10)
    checkNumber(v, v + digits, false, "a whole number that an int holds");
  else
    toInt(v);
}

template <class E> struct Option {
  std::string_view key;
  void (*apply)(E *entry, const char *value);
  ddPlace E::*place = nullptr; /* where the entry keeps the option's place for later steps */
};

/* Applies the row of key, or gives false when no row has it. */
template <class E, size_t N>
bool applyOption(const Option<E> (&table)[N], E *entry, const char *key, const char *value, ddPlace at) {
  for (const Option<E> &row : table)
    if (row.key == key) {
      optionKey = key;
      row.apply(entry, value);
      if (row.place) entry->*row.place = at;
      return true;
    }
  return false;
}

/* An option that changes nothing where it stands; a handler hears why. */
void noEffect(const char *why) {
  if (tracking) ddReport(DD_MSG_NO_EFFECT, "WARNING: %s has no effect: %s.\n", optionKey, why);
}

/* Rows that data items and records share: fields of their ddBufHead. */
template <class E> void optAcnt(E *e, const char *v) { e->acnt = toInt(v); }
template <class E> void optKey(E *e, const char *v) {
  e->key = toInt(v);
  if (tracking && (e->key < 0 || e->key > static_cast<int>(DD_FLAG_KEY_MASK)))
    ddReport(DD_MSG_KEY_OUT_OF_RANGE, "WARNING: KEY %d is out of range 0..%u; it keeps its low bits.\n",
             e->key, DD_FLAG_KEY_MASK);
}
template <class E> void optNoDisp(E *e, const char *) { e->disp = 0; }
template <class E> void optNoEdit(E *e, const char *) { e->edit = 0; }
template <class E> void optNoSearch(E *e, const char *) { e->search = 0; }
template <class E> void optLabel(E *e, const char *v) { setText(e->label, v); }
template <class E> void optMsg(E *e, const char *v) { setText(e->msg, v); }
template <class E> void optSite(E *e, const char *v) { setText(e->site, v); }
template <class E> void optVer(E *e, const char *v) { e->ver = static_cast<uint16_t>(toInt(v)); }
template <class E> void optXcode(E *e, const char *v) { setText(e->xcode, v); }

/* Types whose length the file gives; every other type has a fixed one. */
bool takesLength(int type) {
  return type == MTYPE_FLAG || type == MTYPE_ENUM || type == MTYPE_TEXT || type == MTYPE_DATA;
}

constexpr Option<ddBufData> kDataOptions[] = {
    {"LEN",
     [](ddBufData *d, const char *v) {
       d->len = toInt(v);
       if (!takesLength(d->type)) noEffect("the type has a length of its own");
     }},
    {"ACNT", optAcnt<ddBufData>},
    {"DEF",
     [](ddBufData *d, const char *v) {
       if (d->type == MTYPE_TEXT)
         setText(d->defStr, v);
       else
         d->defVal = toFloat(v);
       d->defSet = 1;
     },
     &ddBufData::defPlace},
    {"MIN",
     [](ddBufData *d, const char *v) {
       d->min = toFloat(v);
       d->minSet = 1;
     },
     &ddBufData::minPlace},
    {"MAX",
     [](ddBufData *d, const char *v) {
       d->max = toFloat(v);
       d->maxSet = 1;
     },
     &ddBufData::maxPlace},
    {"KEY", optKey<ddBufData>},
    {"NODISP", optNoDisp<ddBufData>},
    {"NOEDIT", optNoEdit<ddBufData>},
    {"NOSEARCH", optNoSearch<ddBufData>},
    {"LABEL", optLabel<ddBufData>},
    {"MSG", optMsg<ddBufData>},
    {"SITE", optSite<ddBufData>},
    {"VER", optVer<ddBufData>},
    {"XCODE", optXcode<ddBufData>, &ddBufData::xcodePlace},
    {"ENUM", [](ddBufData *d, const char *) { d->isEnum = 1; }},
};

constexpr Option<ddBufRecord> kRecordOptions[] = {
    {"LEV",
     [](ddBufRecord *r, const char *v) {
       r->lev = ddLevelFromName(v);
       if (tracking && std::isdigit(static_cast<unsigned char>(*v))) checkLevel(v);
     }},
    {"PARENT", [](ddBufRecord *r, const char *v) { setText(r->parentName, v); }, &ddBufRecord::parentPlace},
    {"CHILD", [](ddBufRecord *r, const char *v) { setText(r->childName, v); }, &ddBufRecord::childPlace},
    {"ALIAS", [](ddBufRecord *r, const char *v) { setText(r->aliasName, v); }, &ddBufRecord::aliasPlace},
    {"ACNT", optAcnt<ddBufRecord>},
    {"KEY", optKey<ddBufRecord>},
    {"NODISP", optNoDisp<ddBufRecord>},
    {"NOEDIT", optNoEdit<ddBufRecord>},
    {"NOSEARCH", optNoSearch<ddBufRecord>},
    {"LABEL", optLabel<ddBufRecord>},
    {"MSG", optMsg<ddBufRecord>},
    {"SITE", optSite<ddBufRecord>},
    {"VER", optVer<ddBufRecord>},
    {"XCODE", optXcode<ddBufRecord>, &ddBufRecord::xcodePlace},
    {"PREFIX", [](ddBufRecord *r, const char *v) { setText(r->prefix, v); }},
};

constexpr Option<ddBufStruct> kHeaderOptions[] = {
    {"SN", [](ddBufStruct *s, const char *v) { setText(s->sn, v); }},
    {"UN", [](ddBufStruct *s, const char *v) { setText(s->un, v); }},
    {"LEN", [](ddBufStruct *s, const char *v) { s->len = toInt(v); }},
};

/* Every record that import builds is laid out packed by the store, in
** member order, so these member options change nothing of its layout. */
constexpr Option<ddBufMember> kMemberOptions[] = {
    {"PTR", [](ddBufMember *m, const char *) { m->ptr = 1; }},
    {"BIT", [](ddBufMember *m, const char *v) { m->bit = toInt(v); }},
    {"OFF",
     [](ddBufMember *m, const char *v) {
       m->off = toInt(v);
       noEffect("offsets are worked out from the members");
     }},
    {"FN",
     [](ddBufMember *m, const char *v) {
       setText(m->fn, v);
       noEffect("nothing keeps it");
     }},
    {"SHARE",
     [](ddBufMember *m, const char *) {
       m->share = 1;
       noEffect("records are laid out packed, and the member is left out of them");
     }},
    {"PAD",
     [](ddBufMember *m, const char *v) {
       m->pad = toInt(v);
       noEffect("records are laid out packed, with no gaps");
       if (m->pad > 0) return;
       ddReport(DD_MSG_PAD_NOT_POSITIVE, "WARNING: Value for PAD must be greater than 0.\n\tSetting to 1.\n");
       m->pad = 1;
     }},
};

/* The keys of a table, for a hint at a mistyped one. */
template <class E, size_t N> void hintKey(const Option<E> (&table)[N], const char *key) {
  if (!tracking || *key == 0) return;
  const char *keys[N];
  for (size_t i = 0; i < N; i++) keys[i] = table[i].key.data();
  ddHintWord(key, keys, static_cast<int>(N));
}

/* Splits items[first..count) and applies each to entry through table; a key
** in no row gets the message of unknown, with the key. Each item's messages
** are about its place. */
template <class E, size_t N>
void applyOptions(const Option<E> (&table)[N], E *entry, int first, int count, char **items,
                  const ddPlace *places, const char *unknown) {
  if (first >= count) return;
  tracking = ddReportHandled();
  char key[DD_OPTION_SIZE], value[DD_OPTION_SIZE];
  for (int i = first; i < count; i++) {
    if (tracking) ddReportAt(places[i]);
    ddSplitOption(items[i], key, value);
    if (!applyOption(table, entry, key, value, places[i])) {
      ddReport(DD_MSG_UNKNOWN_OPTION, unknown, key);
      hintKey(table, key);
    }
  }
}

/* What only a handler hears of a data item's range and default. */
void checkRange(const ddBufData *d) {
  if (d->minSet && d->maxSet && d->min > d->max)
    ddReportOn(d->minPlace, DD_MSG_RANGE_INVERTED, "WARNING: MIN %g of \"%s\" is above its MAX %g.\n",
               static_cast<double>(d->min), d->name, static_cast<double>(d->max));
  if (d->defSet && d->type != MTYPE_TEXT &&
      ((d->minSet && d->defVal < d->min) || (d->maxSet && d->defVal > d->max)))
    ddReportOn(d->defPlace, DD_MSG_DEFAULT_OUT_OF_RANGE, "WARNING: DEF %g of \"%s\" is outside its range.\n",
               static_cast<double>(d->defVal), d->name);
}

} // namespace

void ddApplyDataOptions(ddBufData *entry, int first, int count, char **items, const ddPlace *places) {
  applyOptions(kDataOptions, entry, first, count, items, places, "UNRECOGNIZED OPTION! \"%s\"\n");
  if (tracking) checkRange(entry);
}

void ddApplyRecordOptions(ddBufRecord *entry, int first, int count, char **items, const ddPlace *places) {
  applyOptions(kRecordOptions, entry, first, count, items, places, "UNRECOGNIZED OPTION! \"%s\"\n");
}

void ddApplyHeaderOptions(ddBufStruct *entry, int first, int count, char **items, const ddPlace *places) {
  applyOptions(kHeaderOptions, entry, first, count, items, places, "ILLEGAL OPTION! \"%s\"\n");
}

void ddApplyMemberOptions(ddBufMember *entry, int first, int count, char **items, const ddPlace *places) {
  applyOptions(kMemberOptions, entry, first, count, items, places, "UNRECOGNIZED OPTION! \"%s\"\n");
}
