/*
** One import, for counting its instructions under callgrind:
**   rkdd_import_once FILE [--handler]
** With --handler a handler that counts the messages is installed, so that
** the cost of finding places and hearing what only a handler hears shows.
*/
#include <stdio.h>
#include <string.h>

#include <rkdd/rkdd.h>

static void count(const ddMessage *message, void *context) {
  (void)message;
  ++*(long *)context;
}

int main(int argc, char **argv) {
  long heard = 0;
  int site = -1;
  if (argc < 2) {
    fprintf(stderr, "usage: rkdd_import_once FILE [--handler]\n");
    return 2;
  }
  if (argc > 2 && strcmp(argv[2], "--handler") == 0) ddSetMessageHandler(count, &heard);
  int result = ddImportSchema(argv[1], &site);
  fprintf(stderr, "result %d, %ld messages heard\n", result, heard);
  return result ? 0 : 1;
}
