/*
** Messages: the table of message kinds, the handler a host may install, and
** ddReport, through which every message of the library goes: printed as it
** always was by default, handed to the handler as one call when there is one.
*/
#include "ddreport.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>

ddPlace ddReportPlaceAtHand;

const ddMessageKind ddMessageKinds[DD_MSG_COUNT] = {
#define DD_MSG_ROW(name, id, severity, printed) {id, DD_MESSAGE_##severity, printed},
    DD_MESSAGES(DD_MSG_ROW)
#undef DD_MSG_ROW
};

namespace {

ddMessageHandler handler;
void *handlerContext;
const char *file;
ddPlaceResolver resolver;
ddCodePlacer placer;

/* Hands the text of length bytes at text, a buffer with room for one byte
** more, to the handler, less the line ends before and after it: the
** default's blank lines around "Aborted." and the like are layout, not text. */
void deliver(int kind, char *text, size_t length) {
  while (length > 0 && text[length - 1] == '\n') length--;
  text[length] = 0;
  while (*text == '\n') text++;
  int32_t line = 0, column = 0;
  if (ddReportPlaceAtHand.at > 0 && resolver != nullptr) resolver(ddReportPlaceAtHand.at, &line, &column);
  ddMessage message = {ddMessageKinds[kind].severity, ddMessageKinds[kind].id, text, file, line, column};
  handler(&message, handlerContext);
}

} // namespace

void ddSetMessageHandler(ddMessageHandler h, void *context) {
  handler = h;
  handlerContext = h ? context : nullptr;
}

namespace {
void reportList(int kind, const char *format, va_list args) {
  if (handler == nullptr) {
    if (ddMessageKinds[kind].printed) std::vprintf(format, args);
  } else {
    /* Every text is short (names and values are cut at RKDD_WORD_MAX characters); a
    ** longer one is formatted a second time into room of its size. */
    char small[512];
    va_list again;
    va_copy(again, args);
    int n = std::vsnprintf(small, sizeof small, format, args);
    if (n >= 0 && static_cast<size_t>(n) < sizeof small) {
      deliver(kind, small, static_cast<size_t>(n));
    } else if (n >= 0) {
      std::string big(static_cast<size_t>(n), '\0');
      std::vsnprintf(big.data(), big.size() + 1, format, again);
      deliver(kind, big.data(), big.size());
    }
    va_end(again);
  }
}
} // namespace

void ddReport(int kind, const char *format, ...) {
  va_list args;
  va_start(args, format);
  reportList(kind, format, args);
  va_end(args);
}

void ddReportOn(ddPlace at, int kind, const char *format, ...) {
  ddReportPlaceAtHand = at;
  va_list args;
  va_start(args, format);
  reportList(kind, format, args);
  va_end(args);
}

void ddReportText(int kind, char *text, size_t length) {
  if (handler != nullptr)
    deliver(kind, text, length);
  else if (ddMessageKinds[kind].printed)
    std::fwrite(text, 1, length, stdout);
}

int ddReportHandled(void) { return handler != nullptr; }

void ddReportFile(const char *path) { file = path; }

void ddReportLines(ddPlaceResolver r) { resolver = r; }

void ddReportPlacer(ddCodePlacer p) { placer = p; }

void ddReportAtCode(int code) { ddReportPlaceAtHand = placer ? placer(code) : ddPlace{}; }
