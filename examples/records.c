/*
** Records as data through rkddkit: a new LpLight record of the example
** schema written field by field by path, read back, printed as JSON, read
** again from that JSON, and written to a file for `rkdd decode`.
*/
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <rkdd/kit.h>

/* The library's errors on standard error; its warnings and notes left out. */
static void errorsOnly(const ddMessage *m, void *context) {
  (void)context;
  if (m->severity == DD_MESSAGE_ERROR) fprintf(stderr, "%s\n", m->text);
}

static int set(const kitRecordType *type, unsigned char *record, size_t size, const char *path,
               kitValue value) {
  kitRecordError err;
  if (kitRecordSet(type, record, size, path, &value, &err) == KIT_RECORD_OK) return 1;
  printf("%s: %s\n", err.path, err.message);
  return 0;
}

int main(int argc, char **argv) {
  const char *schema = argc > 1 ? argv[1] : "examples/scene.schema";
  int site = -1, ok = 1;
  kitRecordError err;
  kitValue value;

  ddSetMessageHandler(errorsOnly, NULL);
  if (!ddImportSchema(schema, &site)) return 2;
  kitModel *model = kitModelRead(site);
  const kitDef *light = kitFindName(model, "LpLight");
  kitRecordType *type = light ? kitRecordTypeMake(model, light->code, 0, &err) : NULL;
  if (type == NULL) return 2;
  size_t size = (size_t)kitRecordLength(type);
  unsigned char *record = malloc(size), *again = malloc(size);

  /* A new record holds each field's default (LpIntensity 1000, LpVisible 1). */
  kitRecordDefaults(type, record, size);
  ok &= set(type, record, size, "LpName", (kitValue){.kind = KIT_VALUE_TEXT, .length = 6, .bytes = "beacon"});
  ok &= set(type, record, size, "LpOrigin[1].LpWeight", (kitValue){.kind = KIT_VALUE_REAL, .real = 2.5});
  ok &= set(type, record, size, "LpOrigin[1].LpCount[2]", (kitValue){.kind = KIT_VALUE_INT, .i = -3});
  ok &= set(type, record, size, "LpModes.LpPolarity", (kitValue){.kind = KIT_VALUE_UINT, .u = 5});
  /* Refused, with where and why: a short holds no 70000. */
  ok &= !set(type, record, size, "LpOrigin[0].LpCount[0]", (kitValue){.kind = KIT_VALUE_INT, .i = 70000});

  ok &= kitRecordGet(type, record, size, "LpIntensity", &value, &err) == KIT_RECORD_OK;
  printf("LpIntensity = %g\n", value.real);
  ok &= kitRecordGet(type, record, size, "LpOrigin[1].LpCount[2]", &value, &err) == KIT_RECORD_OK;
  printf("LpOrigin[1].LpCount[2] = %lld\n", (long long)value.i);

  char *json = kitRecordToJson(type, record, size, 2, &err);
  printf("%s\n", json);
  ok &= kitRecordFromJson(type, json, strlen(json), again, size, &err) == KIT_RECORD_OK;
  ok &= memcmp(record, again, size) == 0;
  printf("the JSON reads back as the same %zu bytes: %s\n", size, ok ? "yes" : "no");

  if (argc > 2) {
    FILE *out = fopen(argv[2], "wb");
    ok &= out != NULL && fwrite(record, 1, size, out) == size;
    if (out) ok &= fclose(out) == 0;
  }
  free(json);
  free(record);
  free(again);
  kitRecordTypeFree(type);
  kitModelFree(model);
  return ok ? 0 : 1;
}
