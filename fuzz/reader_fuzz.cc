/*
** The schema reader and structure autosize on arbitrary bytes. The buffer
** keeps its entries for good by design; here, once an input is done, the
** target discards all that the buffers hold, and demands that the memory
** layer then counts as many live blocks as before the read: a block the
** reader took outside the buffer and lost on the way shows up as one too
** many.
*/
#include <cstdint>
#include <cstring>

#include "fuzz_common.h"
#include "import/ddbuffer.h"
#include "import/ddread.h"
#include "rkruntime.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *path = fuzzWriteInput(data, size);
  fuzzHearMessages(data, size);
  long before = UZA_liveBlocks(nullptr);
  ddBuffer buffer;
  ddBufferInit(&buffer);
  int read = ddReadSchemaFile(path, &buffer);
  FUZZ_CHECK(read == 0 || read == 1);
  ddAutosize(&buffer);
  /* Every structure has been sized or found to carry compile-time offsets. */
  for (const ddBufStruct *s : buffer.structs) {
    FUZZ_CHECK(s->state == 1 || s->state == 3);
    FUZZ_CHECK(s->memberCount <= s->nextIndex);
  }
  ddBufferRelease(&buffer);
  ddBufferDiscardAll();
  FUZZ_CHECK(UZA_liveBlocks(nullptr) == before);
  return 0;
}
