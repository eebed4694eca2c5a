/*
** A record as JSON text and back, by hand and without a JSON library: the
** writer follows the walk of record.h, the reader the record's plan, each
** keeping its nesting on the heap.
*/
#include "record.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

using namespace kit;

namespace {

/* Bytes of the well-formed UTF-8 sequence at p (n bytes left), or 0. */
int utf8Length(const unsigned char *p, size_t n) {
  unsigned c = p[0];
  if (c < 0x80) return 1;
  int len = c >= 0xc2 && c <= 0xdf ? 2 : c >= 0xe0 && c <= 0xef ? 3 : c >= 0xf0 && c <= 0xf4 ? 4 : 0;
  if (len == 0 || n < static_cast<size_t>(len)) return 0;
  unsigned lo = 0x80, hi = 0xbf;
  if (c == 0xe0) lo = 0xa0;
  if (c == 0xed) hi = 0x9f;
  if (c == 0xf0) lo = 0x90;
  if (c == 0xf4) hi = 0x8f;
  if (p[1] < lo || p[1] > hi) return 0;
  for (int i = 2; i < len; i++)
    if (p[i] < 0x80 || p[i] > 0xbf) return 0;
  return len;
}

const char kHex[] = "0123456789abcdef";

void appendEscaped(std::string &out, const unsigned char *p, size_t n) {
  out += '"';
  for (size_t i = 0; i < n;) {
    unsigned c = p[i];
    int len = utf8Length(p + i, n - i);
    if (len == 0) {
      out += "\\udc";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    } else if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      const char *named = c == '\n' ? "\\n" : c == '\t' ? "\\t" : c == '\r' ? "\\r" : c == '\b' ? "\\b" : c == '\f' ? "\\f" : nullptr;
      if (named) out += named;
      else out += std::string("\\u00") + kHex[c >> 4] + kHex[c & 15];
    } else {
      out.append(reinterpret_cast<const char *>(p + i), static_cast<size_t>(len));
    }
    i += len ? static_cast<size_t>(len) : 1;
  }
  out += '"';
}

template <typename T> void appendNumber(std::string &out, T value) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  out.append(buf, r.ptr);
}

/* A float or double from its bits: the shortest number, or one of the strings. */
template <typename F, typename Bits> void appendReal(std::string &out, Bits bits, Bits quietNan) {
  F value;
  std::memcpy(&value, &bits, sizeof value);
  if (std::isinf(value)) {
    out += value < 0 ? "\"-inf\"" : "\"inf\"";
  } else if (std::isnan(value)) {
    if (bits == quietNan) {
      out += "\"nan\"";
    } else {
      out += "\"nan(0x";
      for (int shift = 8 * sizeof bits - 4; shift >= 0; shift -= 4) out += kHex[(bits >> shift) & 15];
      out += ")\"";
    }
  } else {
    appendNumber(out, value);
  }
}

/* The JSON text of one element of a slot, read from its bytes at p. */
void appendValue(std::string &out, const kitRecordType &t, const Slot &s, const unsigned char *p) {
  if (s.kind == Kind::Float || s.kind == Kind::Double) {
    kitValue raw{KIT_VALUE_UINT, 0, 0, 0, 0, nullptr};
    Slot asUint = s;
    asUint.kind = Kind::Uint;
    raw = readValue(t, asUint, p, 0);
    if (s.kind == Kind::Float) appendReal<float, uint32_t>(out, static_cast<uint32_t>(raw.u), 0x7fc00000u);
    else appendReal<double, uint64_t>(out, raw.u, 0x7ff8000000000000ull);
    return;
  }
  kitValue v = readValue(t, s, p, 0);
  switch (s.kind) {
  case Kind::Int: appendNumber(out, v.i); break;
  case Kind::Flag: out += v.u ? "true" : "false"; break;
  case Kind::Text: {
    size_t n = static_cast<size_t>(s.elemSize);
    while (n > 0 && p[n - 1] == 0) n--;
    appendEscaped(out, p, n);
    break;
  }
  case Kind::Bytes:
  case Kind::Record:
    out += '"';
    for (int32_t i = 0; i < s.elemSize; i++) {
      out += kHex[p[i] >> 4];
      out += kHex[p[i] & 15];
    }
    out += '"';
    break;
  default: appendNumber(out, v.u); break;
  }
}

class Writer {
public:
  Writer(const kitRecordType &t, const unsigned char *record, int indent)
      : t_(t), record_(record), indent_(indent < 0 ? 0 : indent) {}

  std::string run() {
    out_ = "{";
    open_.push_back({false, false, 0});
    walk(t_, [this](Event e, const Slot *s, int32_t index, int32_t at, int) {
      if (e == CLOSE) return close();
      begin(index < 0 ? s : nullptr);
      if (e == VALUE) appendValue(out_, t_, *s, record_ + at);
      else {
        out_ += e == OPEN_RECORD ? '{' : '[';
        open_.push_back({e == OPEN_ARRAY, e == OPEN_ARRAY && s->kind != Kind::Record, 0});
      }
      return true;
    });
    close();
    return std::move(out_);
  }

private:
  struct Open {
    bool array, inlineValues;
    int count;
  };

  void newline(size_t level) {
    if (indent_ == 0) return;
    out_ += '\n';
    out_.append(level * static_cast<size_t>(indent_), ' ');
  }

  void begin(const Slot *keyed) {
    Open &o = open_.back();
    if (o.count++ > 0) out_ += ',';
    if (!o.inlineValues) newline(open_.size());
    else if (o.count > 1 && indent_ > 0) out_ += ' ';
    if (keyed == nullptr) return;
    appendEscaped(out_, reinterpret_cast<const unsigned char *>(keyed->key.data()), keyed->key.size());
    out_ += indent_ ? ": " : ":";
  }

  bool close() {
    Open o = open_.back();
    open_.pop_back();
    if (o.count > 0 && !o.inlineValues) newline(open_.size());
    out_ += o.array ? ']' : '}';
    return true;
  }

  const kitRecordType &t_;
  const unsigned char *record_;
  size_t indent_;
  std::string out_;
  std::vector<Open> open_;
};

} // namespace

namespace {

/* Reads JSON text into records by the plan. Every error names the JSON path
** and the byte where it was found. */
class Reader {
public:
  Reader(const kitRecordType &t, const char *text, size_t length, kitRecordError *err)
      : t_(t), begin_(text), p_(text), end_(text + length), err_(err) {}

  /* One object into record (the record's length of bytes). */
  int record(unsigned char *record) {
    const Plan &root = t_.plans[0];
    if (!t_.defaults.empty()) std::memcpy(record, t_.defaults.data(), t_.defaults.size());
    stack_.clear();
    if (int r = expect('{', "expects an object")) return r;
    stack_.push_back({&root, nullptr, -1, 0, false, 0, std::vector<char>(root.slots.size(), 0)});
    while (!stack_.empty())
      if (int r = step(record)) return r;
    return KIT_RECORD_OK;
  }

  /* One object and nothing after it but blanks. */
  int one(unsigned char *out) {
    skip();
    if (int r = record(out)) return r;
    return finish();
  }

  /* An object or an array of objects. */
  int records(std::vector<unsigned char> &out, size_t *count) {
    size_t length = t_.defaults.size();
    skip();
    if (p_ >= end_ || *p_ != '[') {
      out.resize(length);
      if (int r = one(out.data())) return r;
      *count = 1;
      return KIT_RECORD_OK;
    }
    p_++;
    skip();
    for (bool first = true; p_ >= end_ || *p_ != ']'; first = false) {
      if (!first) {
        if (int r = expect(',', "expects , or ] after a record")) return r;
        skip();
      }
      out.resize(out.size() + length);
      if (int r = record(out.data() + out.size() - length)) return r;
      ++*count;
      skip();
    }
    p_++;
    return finish();
  }

  int finish() {
    skip();
    return p_ == end_ ? KIT_RECORD_OK : error(KIT_RECORD_SYNTAX, "text after the end");
  }

private:
  struct Ctx {
    const Plan *plan;  /* the record being read; null in an array of records */
    const Slot *slot;  /* how it was reached (null for the top) */
    int32_t index;     /* its element index, or -1 */
    int32_t base;      /* its first byte */
    bool array;        /* an array of records, of slot */
    int32_t members;   /* read so far */
    std::vector<char> seen;
  };

  int step(unsigned char *record) {
    Ctx &c = stack_.back();
    skip();
    if (c.members > 0 || (p_ < end_ && *p_ == (c.array ? ']' : '}'))) {
      if (p_ < end_ && *p_ == (c.array ? ']' : '}')) {
        if (c.array && c.members != c.slot->count)
          return error(KIT_RECORD_SYNTAX, "expects " + std::to_string(c.slot->count) + " records");
        p_++;
        stack_.pop_back();
        return KIT_RECORD_OK;
      }
      if (int r = expect(',', c.array ? "expects , or ]" : "expects , or }")) return r;
      skip();
    }
    if (c.array) {
      if (c.members == c.slot->count)
        return error(KIT_RECORD_SYNTAX, "expects " + std::to_string(c.slot->count) + " records");
      if (int r = expect('{', "expects an object")) return r;
      const Plan &inner = t_.plans[static_cast<size_t>(c.slot->nested)];
      int32_t at = c.base + c.members * c.slot->elemSize, index = c.members++;
      const Slot *slot = c.slot;
      stack_.push_back({&inner, slot, index, at, false, 0, std::vector<char>(inner.slots.size(), 0)});
      return KIT_RECORD_OK;
    }
    return member(record);
  }

  int member(unsigned char *record) {
    Ctx &c = stack_.back();
    std::string key, escaped;
    if (p_ >= end_ || *p_ != '"') return error(KIT_RECORD_SYNTAX, "expects a key in quotes");
    if (int r = string(key, escaped)) return r;
    auto found = c.plan->byKey.find(key);
    pending_ = key;
    if (found == c.plan->byKey.end()) return error(KIT_RECORD_NO_FIELD, "names no field");
    size_t i = static_cast<size_t>(found->second);
    if (c.seen[i]++) return error(KIT_RECORD_SYNTAX, "given twice");
    c.members++;
    skip();
    if (int r = expect(':', "expects :")) return r;
    skip();
    const Slot &s = c.plan->slots[i];
    int32_t at = c.base + s.offset;
    if (s.kind == Kind::Record) {
      if (int r = expect(s.array ? '[' : '{', s.array ? "expects an array" : "expects an object"))
        return r;
      const Plan &inner = t_.plans[static_cast<size_t>(s.nested)];
      pending_.clear();
      if (s.array) stack_.push_back({nullptr, &s, -1, at, true, 0, {}});
      else stack_.push_back({&inner, &s, -1, at, false, 0, std::vector<char>(inner.slots.size(), 0)});
      return KIT_RECORD_OK;
    }
    int r = s.array ? values(s, record, at) : leaf(s, record + at);
    pending_.clear();
    return r;
  }

  /* The elements of an array of values, exactly as many as the field holds. */
  int values(const Slot &s, unsigned char *record, int32_t at) {
    if (int r = expect('[', "expects an array")) return r;
    for (int32_t e = 0;; e++) {
      skip();
      if (p_ < end_ && *p_ == ']' && e == s.count) break;
      if (e == s.count || (p_ < end_ && *p_ == ']'))
        return pendingIndex_ = -1, error(KIT_RECORD_SYNTAX, "expects " + std::to_string(s.count) + " elements");
      if (e > 0) {
        if (int r = expect(',', "expects , or ]")) return r;
        skip();
      }
      pendingIndex_ = e;
      if (int r = leaf(s, record + at + e * s.elemSize)) return r;
    }
    pendingIndex_ = -1;
    p_++;
    return KIT_RECORD_OK;
  }

  int leaf(const Slot &s, unsigned char *p) {
    const char *start = p_;
    if (p_ >= end_) return error(KIT_RECORD_SYNTAX, "expects a value");
    char c = *p_;
    if (c == '"') return stringLeaf(s, p);
    if (s.kind == Kind::Flag && (word("true") || word("false"))) {
      kitValue v{KIT_VALUE_UINT, 0, 0, start[0] == 't', 0, nullptr};
      return put(s, p, v, start);
    }
    if (c == '-' || (c >= '0' && c <= '9')) return numberLeaf(s, p);
    return error(KIT_RECORD_WRONG_KIND, expectation(s));
  }

  static std::string expectation(const Slot &s) {
    switch (s.kind) {
    case Kind::Flag: return "expects true or false";
    case Kind::Text: return "expects a text in quotes";
    case Kind::Bytes: return "expects a string of hexadecimal digits";
    case Kind::Float:
    case Kind::Double: return "expects a number, \"nan\", \"inf\" or \"-inf\"";
    default: return "expects a whole number";
    }
  }

  int put(const Slot &s, unsigned char *p, const kitValue &v, const char *start) {
    std::string why;
    if (int r = writeValue(t_, s, p, 0, v, &why)) {
      p_ = start;
      return error(r, why);
    }
    return KIT_RECORD_OK;
  }

  int numberLeaf(const Slot &s, unsigned char *p) {
    const char *start = p_;
    bool whole = true;
    if (*p_ == '-') p_++;
    if (p_ < end_ && *p_ == '0') p_++;
    else if (!digits()) return error(KIT_RECORD_SYNTAX, "a number that does not parse");
    if (p_ < end_ && *p_ == '.') {
      p_++, whole = false;
      if (!digits()) return error(KIT_RECORD_SYNTAX, "a number that does not parse");
    }
    if (p_ < end_ && (*p_ == 'e' || *p_ == 'E')) {
      p_++, whole = false;
      if (p_ < end_ && (*p_ == '+' || *p_ == '-')) p_++;
      if (!digits()) return error(KIT_RECORD_SYNTAX, "a number that does not parse");
    }
    if (s.kind == Kind::Text || s.kind == Kind::Bytes || s.kind == Kind::Flag) {
      p_ = start;
      return error(KIT_RECORD_WRONG_KIND, expectation(s));
    }
    kitValue v{KIT_VALUE_REAL, 0, 0, 0, 0, nullptr};
    std::errc ec;
    if (s.kind == Kind::Float) {
      float f;
      ec = std::from_chars(start, p_, f).ec;
      v.real = f;
    } else if (whole && s.kind != Kind::Double) {
      bool minus = *start == '-';
      v.kind = minus ? KIT_VALUE_INT : KIT_VALUE_UINT;
      ec = minus ? std::from_chars(start, p_, v.i).ec : std::from_chars(start, p_, v.u).ec;
    } else {
      ec = std::from_chars(start, p_, v.real).ec;
    }
    if (ec != std::errc()) {
      p_ = start;
      return error(KIT_RECORD_RANGE, "does not fit");
    }
    if (s.kind == Kind::Float) {
      uint32_t bits;
      float f = static_cast<float>(v.real);
      std::memcpy(&bits, &f, 4);
      return put(asBits(s), p, kitValue{KIT_VALUE_UINT, 0, 0, bits, 0, nullptr}, start);
    }
    return put(s, p, v, start);
  }

  /* A float or double slot written as the unsigned integer of its bits. */
  static Slot asBits(const Slot &s) {
    Slot b = s;
    b.kind = Kind::Uint;
    return b;
  }

  int stringLeaf(const Slot &s, unsigned char *p) {
    const char *start = p_;
    std::string bytes, escaped;
    if (int r = string(bytes, escaped)) return r;
    if (s.kind == Kind::Float || s.kind == Kind::Double) return special(s, p, bytes, start);
    if (s.kind == Kind::Bytes) return hex(s, p, bytes, start);
    if (s.kind != Kind::Text) {
      p_ = start;
      return error(KIT_RECORD_WRONG_KIND, expectation(s));
    }
    const auto *u = reinterpret_cast<const unsigned char *>(bytes.data());
    for (size_t i = 0; i < bytes.size();) {
      int len = utf8Length(u + i, bytes.size() - i);
      for (int k = 0; k < len; k++)
        if (escaped[i + static_cast<size_t>(k)]) {
          p_ = start;
          return error(KIT_RECORD_RANGE, "an escape \\udc80..\\udcff stands for a byte of "
                                         "well-formed UTF-8 here; write the character");
        }
      i += len ? static_cast<size_t>(len) : 1;
    }
    if (!bytes.empty() && bytes.back() == 0) {
      p_ = start;
      return error(KIT_RECORD_RANGE, "a text may not end in \\u0000");
    }
    kitValue v{KIT_VALUE_TEXT, static_cast<int32_t>(std::min<size_t>(bytes.size(), INT32_MAX)), 0, 0, 0, bytes.data()};
    return put(s, p, v, start);
  }

  int special(const Slot &s, unsigned char *p, const std::string &text, const char *start) {
    bool single = s.kind == Kind::Float;
    uint64_t bits = 0;
    if (text == "nan") bits = single ? 0x7fc00000u : 0x7ff8000000000000ull;
    else if (text == "inf") bits = single ? 0x7f800000u : 0x7ff0000000000000ull;
    else if (text == "-inf") bits = single ? 0xff800000u : 0xfff0000000000000ull;
    else {
      size_t digitsWanted = single ? 8 : 16;
      bool ok = text.size() == 7 + digitsWanted && text.starts_with("nan(0x") && text.back() == ')';
      const char *from = text.data() + 6, *to = text.data() + text.size() - 1;
      ok = ok && std::from_chars(from, to, bits, 16).ptr == to;
      uint64_t exponent = single ? 0x7f800000u : 0x7ff0000000000000ull;
      uint64_t fraction = single ? 0x7fffffu : 0xfffffffffffffull;
      if (!ok || (bits & exponent) != exponent || (bits & fraction) == 0) {
        p_ = start;
        return error(KIT_RECORD_WRONG_KIND, std::string("expects a number, \"nan\", \"inf\", \"-inf\" "
                                                        "or \"nan(0x\" and the ") +
                                              (single ? "8" : "16") + " hexadecimal digits of a NaN");
      }
    }
    return put(asBits(s), p, kitValue{KIT_VALUE_UINT, 0, 0, bits, 0, nullptr}, start);
  }

  int hex(const Slot &s, unsigned char *p, const std::string &text, const char *start) {
    std::string bytes;
    bool ok = text.size() == 2 * static_cast<size_t>(s.elemSize);
    for (size_t i = 0; ok && i < text.size(); i += 2) {
      unsigned char b = 0;
      ok = std::from_chars(text.data() + i, text.data() + i + 2, b, 16).ptr == text.data() + i + 2;
      bytes += static_cast<char>(b);
    }
    if (!ok) {
      p_ = start;
      return error(KIT_RECORD_RANGE, "expects " + std::to_string(2 * s.elemSize) + " hexadecimal digits");
    }
    return put(s, p, kitValue{KIT_VALUE_BYTES, s.elemSize, 0, 0, 0, bytes.data()}, start);
  }

  /* A string at p_ as bytes; escaped[i] is 1 for a byte given as \udc80..\udcff. */
  int string(std::string &bytes, std::string &escaped) {
    p_++;
    while (true) {
      if (p_ >= end_) return error(KIT_RECORD_SYNTAX, "a string without its end");
      auto c = static_cast<unsigned char>(*p_);
      if (c == '"') break;
      if (c < 0x20) return error(KIT_RECORD_SYNTAX, "a control character in a string");
      if (c == '\\') {
        if (int r = escape(bytes, escaped)) return r;
        continue;
      }
      int len = utf8Length(reinterpret_cast<const unsigned char *>(p_), static_cast<size_t>(end_ - p_));
      if (len == 0) return error(KIT_RECORD_SYNTAX, "a string that is not UTF-8");
      bytes.append(p_, static_cast<size_t>(len));
      escaped.append(static_cast<size_t>(len), 0);
      p_ += len;
    }
    p_++;
    return KIT_RECORD_OK;
  }

  int escape(std::string &bytes, std::string &escaped) {
    if (end_ - p_ < 2) return error(KIT_RECORD_SYNTAX, "a string without its end");
    char e = p_[1];
    const char *simple = std::strchr("\"\\/bfnrt", e);
    if (simple != nullptr && e != 0) {
      bytes += "\"\\/\b\f\n\r\t"[simple - "\"\\/bfnrt"];
      escaped += '\0';
      p_ += 2;
      return KIT_RECORD_OK;
    }
    unsigned u = 0;
    if (e != 'u' || !hex4(p_ + 2, &u)) return error(KIT_RECORD_SYNTAX, "a bad escape");
    p_ += 6;
    if (u >= 0xdc80 && u <= 0xdcff) {
      bytes += static_cast<char>(u - 0xdc00);
      escaped += '\1';
      return KIT_RECORD_OK;
    }
    if (u >= 0xd800 && u <= 0xdbff) {
      unsigned low = 0;
      if (end_ - p_ < 6 || p_[0] != '\\' || p_[1] != 'u' || !hex4(p_ + 2, &low) || low < 0xdc00 || low > 0xdfff)
        return p_ -= 6, error(KIT_RECORD_RANGE, "a lone surrogate escape");
      p_ += 6;
      u = 0x10000 + ((u - 0xd800) << 10) + (low - 0xdc00);
    } else if (u >= 0xdc00 && u <= 0xdfff) {
      return p_ -= 6, error(KIT_RECORD_RANGE, "a lone surrogate escape other than \\udc80..\\udcff");
    }
    char out[4];
    size_t n = u < 0x80 ? 1 : u < 0x800 ? 2 : u < 0x10000 ? 3 : 4;
    static const unsigned char lead[] = {0, 0, 0xc0, 0xe0, 0xf0};
    for (size_t i = n; i-- > 1; u >>= 6) out[i] = static_cast<char>(0x80 | (u & 0x3f));
    out[0] = static_cast<char>(lead[n] | u);
    bytes.append(out, n);
    escaped.append(n, 0);
    return KIT_RECORD_OK;
  }

  bool hex4(const char *at, unsigned *u) {
    return end_ - at >= 4 && std::from_chars(at, at + 4, *u, 16).ptr == at + 4;
  }

  bool digits() {
    const char *from = p_;
    while (p_ < end_ && *p_ >= '0' && *p_ <= '9') p_++;
    return p_ > from;
  }

  bool word(const char *w) {
    size_t n = std::strlen(w);
    if (static_cast<size_t>(end_ - p_) < n || std::memcmp(p_, w, n) != 0) return false;
    p_ += n;
    return true;
  }

  void skip() {
    while (p_ < end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r')) p_++;
  }

  int expect(char c, const char *what) {
    if (p_ < end_ && *p_ == c) {
      p_++;
      return KIT_RECORD_OK;
    }
    return error(KIT_RECORD_SYNTAX, what);
  }

  /* The JSON path of where the reader is. */
  std::string path() const {
    std::string path = "$";
    for (size_t i = 1; i < stack_.size(); i++) {
      const Ctx &c = stack_[i];
      if (c.index < 0 || stack_[i - 1].array == false) path += "." + c.slot->key;
      if (c.index >= 0) path += "[" + std::to_string(c.index) + "]";
    }
    if (!pending_.empty()) path += "." + pending_;
    if (!pending_.empty() && pendingIndex_ >= 0) path += "[" + std::to_string(pendingIndex_) + "]";
    return path;
  }

  int error(int code, const std::string &message) {
    return fail(err_, code, path(), message, p_ - begin_);
  }

  const kitRecordType &t_;
  const char *begin_, *p_, *end_;
  kitRecordError *err_;
  std::vector<Ctx> stack_;
  std::string pending_;     /* the key being read */
  int32_t pendingIndex_ = -1;
};

} // namespace

extern "C" {

char *kitRecordToJson(const kitRecordType *type, const void *record, size_t size, int indent,
                      kitRecordError *err) {
  if (type == nullptr || (record == nullptr && kitRecordLength(type) > 0)) {
    fail(err, KIT_RECORD_BAD_ARGUMENT, "", "a null argument");
    return nullptr;
  }
  if (size < static_cast<size_t>(kitRecordLength(type))) {
    fail(err, KIT_RECORD_SHORT, "$", std::to_string(size) + " bytes, the record takes " +
                                       std::to_string(kitRecordLength(type)));
    return nullptr;
  }
  try {
    std::string text = Writer(*type, static_cast<const unsigned char *>(record), indent).run();
    char *out = static_cast<char *>(std::malloc(text.size() + 1));
    if (out != nullptr) std::memcpy(out, text.c_str(), text.size() + 1);
    else fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
    return out;
  } catch (const std::bad_alloc &) {
    fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
    return nullptr;
  }
}

size_t kitItemJson(const kitRecordType *type, const kitItem *item, char *out, size_t size) {
  std::string text;
  if (type != nullptr && item != nullptr && item->event == KIT_ITEM_VALUE && item->internal) {
    const auto *s = static_cast<const Slot *>(item->internal);
    appendValue(text, *type, *s, static_cast<const unsigned char *>(item->data));
  }
  if (size > 0) {
    size_t n = std::min(text.size(), size - 1);
    std::memcpy(out, text.data(), n);
    out[n] = 0;
  }
  return text.size();
}

int kitRecordFromJson(const kitRecordType *type, const char *json, size_t length, void *record,
                      size_t size, kitRecordError *err) {
  if (type == nullptr || json == nullptr || (record == nullptr && kitRecordLength(type) > 0))
    return fail(err, KIT_RECORD_BAD_ARGUMENT, "", "a null argument");
  if (size < static_cast<size_t>(kitRecordLength(type)))
    return fail(err, KIT_RECORD_SHORT, "$", std::to_string(size) + " bytes, the record takes " +
                                              std::to_string(kitRecordLength(type)));
  auto *bytes = static_cast<unsigned char *>(record);
  try {
    int r = Reader(*type, json, length, err).one(bytes);
    if (r != KIT_RECORD_OK && kitRecordLength(type) > 0)
      std::memset(bytes, 0, static_cast<size_t>(kitRecordLength(type)));
    return r;
  } catch (const std::bad_alloc &) {
    if (kitRecordLength(type) > 0) std::memset(bytes, 0, static_cast<size_t>(kitRecordLength(type)));
    return fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
  }
}

void *kitRecordsFromJson(const kitRecordType *type, const char *json, size_t length, size_t *count,
                         kitRecordError *err) {
  size_t none = 0;
  if (count == nullptr) count = &none;
  *count = 0;
  if (type == nullptr || json == nullptr) {
    fail(err, KIT_RECORD_BAD_ARGUMENT, "", "a null argument");
    return nullptr;
  }
  try {
    std::vector<unsigned char> out;
    if (Reader(*type, json, length, err).records(out, count) != KIT_RECORD_OK) {
      *count = 0;
      return nullptr;
    }
    void *copy = std::malloc(out.empty() ? 1 : out.size());
    if (copy == nullptr) {
      *count = 0;
      fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
    } else if (!out.empty()) {
      std::memcpy(copy, out.data(), out.size());
    }
    return copy;
  } catch (const std::bad_alloc &) {
    *count = 0;
    fail(err, KIT_RECORD_NO_MEMORY, "$", "out of memory");
    return nullptr;
  }
}

} // extern "C"
