/* The companion library's header as a C99 program. */
#include <rkdd/kit.h>

#include <string.h>

int main(void) {
  kitModel *none = kitModelRead(9); /* no such site */
  return none == NULL && strcmp(kitAttrName(KIT_FIELD_OFFSET), "fieldOffset") == 0 ? 0 : 1;
}
