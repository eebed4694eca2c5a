/*
** A host that takes the library's messages itself: each mistake of a schema
** file comes with its severity, kind and place, and nothing is printed on
** standard output. Usage: messages FILE; exit status 1 if FILE has an error.
*/
#include <stdio.h>

#include "rkdd/rkdd.h"

static void onMessage(const ddMessage *message, void *context) {
  static const char *const severities[] = {"", "error", "warning", "note"};
  int *errors = (int *)context;
  if (message->severity == DD_MESSAGE_ERROR) ++*errors;
  fprintf(stderr, "%s:%d:%d: %s: %s [%s]\n", message->file ? message->file : "-", message->line,
          message->column, severities[message->severity], message->text, message->id);
}

int main(int argc, char **argv) {
  int errors = 0, site;
  if (argc != 2) {
    fprintf(stderr, "usage: messages FILE\n");
    return 2;
  }
  ddSetMessageHandler(onMessage, &errors);
  if (!ddImportSchema(argv[1], &site)) errors++;
  ddSetMessageHandler(NULL, NULL);
  return errors > 0;
}
