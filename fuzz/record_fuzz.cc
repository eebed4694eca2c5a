/*
** Records as data on arbitrary input: the schemas of fuzz/corpus/record
** (every kind of field, and the example scene) are imported once; the first
** byte of an input picks a record, the second whether the rest is a packed
** record or JSON text. Bytes are decoded to JSON and encoded back: every byte
** a field other than a flag or an enumeration covers must come back, and
** the JSON of the result must be the same. JSON that encode takes must come
** back from its bytes as JSON that encodes to the same bytes.
*/
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <rkdd/kit.h>

#include "fuzz_common.h"

namespace {

struct Schemas {
  std::vector<kitModel *> models;
  std::vector<kitRecordType *> types;
  Schemas() {
    for (const char *file : {"all.schema", "scene.schema"}) {
      int site = -1;
      std::string path = std::string(RKDD_FUZZ_CORPUS "/") + file;
      FUZZ_CHECK(ddImportSchema(path.c_str(), &site) == 1);
      kitModel *m = kitModelRead(site);
      FUZZ_CHECK(m != nullptr);
      models.push_back(m);
      for (int i = 0; i < m->recordCount; i++)
        for (int flags : {0, int(KIT_BIG_ENDIAN)})
          types.push_back(kitRecordTypeMake(m, m->records[i].code, flags, nullptr));
    }
  }
};

std::string json(const kitRecordType *t, const std::vector<unsigned char> &b, int indent) {
  kitRecordError err{};
  char *text = kitRecordToJson(t, b.data(), b.size(), indent, &err);
  FUZZ_CHECK(text != nullptr);
  std::string s = text;
  std::free(text);
  return s;
}

struct Covered {
  const std::vector<unsigned char> *a, *b;
  bool same = true;
};

int compareCovered(const kitItem *item, void *context) {
  auto *c = static_cast<Covered *>(context);
  int tag = item->field->tagType;
  if (item->event == KIT_ITEM_VALUE && tag != MTYPE_FLAG && tag != MTYPE_ENUM)
    c->same &= item->size == 0 || std::memcmp(c->a->data() + item->offset, c->b->data() + item->offset,
                           static_cast<size_t>(item->size)) == 0;
  return 0;
}

std::vector<unsigned char> encode(const kitRecordType *t, const std::string &text, bool *ok) {
  std::vector<unsigned char> b(static_cast<size_t>(kitRecordLength(t)));
  kitRecordError err{};
  *ok = kitRecordFromJson(t, text.data(), text.size(), b.data(), b.size(), &err) == KIT_RECORD_OK;
  return b;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static Schemas schemas;
  if (size < 2) return 0;
  const kitRecordType *t = schemas.types[data[0] % schemas.types.size()];
  FUZZ_CHECK(t != nullptr);
  size_t length = static_cast<size_t>(kitRecordLength(t));
  bool ok = false;
  if (data[1] % 2 == 0) {
    std::vector<unsigned char> bytes(length);
    if (length > 0 && size > 2) std::memcpy(bytes.data(), data + 2, std::min(length, size - 2));
    std::string text = json(t, bytes, data[1] % 4);
    std::vector<unsigned char> back = encode(t, text, &ok);
    FUZZ_CHECK(ok);
    Covered c{&bytes, &back};
    kitRecordWalk(t, bytes.data(), bytes.size(), compareCovered, &c, nullptr);
    FUZZ_CHECK(c.same);
    FUZZ_CHECK(json(t, back, data[1] % 4) == text);
  } else {
    std::string text(reinterpret_cast<const char *>(data + 2), size - 2);
    std::vector<unsigned char> bytes = encode(t, text, &ok);
    if (!ok) return 0;
    std::string again = json(t, bytes, 0);
    std::vector<unsigned char> back = encode(t, again, &ok);
    FUZZ_CHECK(ok && back == bytes);
  }
  return 0;
}
