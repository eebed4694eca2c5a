/*
** The schema reader and structure autosize on arbitrary bytes. The buffer
** keeps its entries for good by design; here, once an input is done, the
** target releases every entry (with its name, which lives in its block),
** text and set itself, and demands that the memory layer then counts as
** many live blocks as before the read: a block the reader lost on the way
** shows up as one too many.
*/
#include <cstdint>
#include <cstring>

#include "fuzz_common.h"
#include "import/ddbuffer.h"
#include "import/ddread.h"
#include "rkruntime.h"
#include "support/mlist.h"

namespace {

void release(void *block) {
  if (block != nullptr) UZA_free(block, "reader_fuzz", __LINE__);
}

/* Calls each(entry) on every element of a set, then frees the set's list. */
template <typename T, typename Each> void releaseSet(intptr_t root, Each each) {
  auto *list = reinterpret_cast<mlist *>(root);
  if (list == nullptr) return;
  for (mlistNode *n = list->first; n != nullptr; n = n->next) each(reinterpret_cast<T *>(n->value));
  mlistFree(list);
}

void releaseBuffer(ddBuffer *b) {
  /* The number sets hold the same entries as the name sets. */
  releaseSet<void>(b->dataByNumber, [](void *) {});
  releaseSet<void>(b->recordByNumber, [](void *) {});
  releaseSet<ddBufData>(b->dataByName, [](ddBufData *d) {
    for (char *t : {d->label, d->msg, d->site, d->xcode, d->defStr}) release(t);
    release(d);
  });
  releaseSet<ddBufRecord>(b->recordByName, [](ddBufRecord *r) {
    for (char *t : {r->label, r->msg, r->site, r->xcode, r->structName, r->parentName,
                    r->childName, r->aliasName, r->prefix})
      release(t);
    release(r);
  });
  releaseSet<ddBufStruct>(b->structs, [](ddBufStruct *s) {
    releaseSet<ddBufMember>(s->members, [](ddBufMember *m) {
      release(m->fn);
      release(m);
    });
    for (char *t : {s->sn, s->un}) release(t);
    release(s);
  });
  for (intptr_t set : {b->aliases, b->parents, b->children})
    releaseSet<ddBufCodeList>(set, [](ddBufCodeList *l) {
      releaseSet<ddBufCodeItem>(l->items, [](ddBufCodeItem *i) {
        release(i);
      });
      release(l);
    });
  releaseSet<ddBufDescribe>(b->describes, [](ddBufDescribe *d) {
    release(d->text);
    release(d);
  });
  releaseSet<ddBufDefine>(b->defines, [](ddBufDefine *d) {
    release(d->value);
    release(d);
  });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *path = fuzzWriteInput(data, size);
  long before = UZA_liveBlocks(nullptr);
  ddBuffer buffer;
  ddBufferInit(&buffer);
  int read = ddReadSchemaFile(path, &buffer);
  FUZZ_CHECK(read == 0 || read == 1);
  ddAutosize(&buffer);
  /* Every structure has been sized or found to carry compile-time offsets. */
  if (auto *list = reinterpret_cast<mlist *>(buffer.structs))
    for (mlistNode *n = list->first; n != nullptr; n = n->next) {
      auto *s = reinterpret_cast<ddBufStruct *>(n->value);
      FUZZ_CHECK(s->state == 1 || s->state == 3);
      FUZZ_CHECK(s->memberCount <= s->nextIndex);
    }
  ddBufferRelease(&buffer);
  releaseBuffer(&buffer);
  FUZZ_CHECK(UZA_liveBlocks(nullptr) == before);
  return 0;
}
