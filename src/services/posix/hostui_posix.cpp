// Default host user interface where there is no desktop: messages and
// questions go to standard error as UTF-8; a question is answered "No" so
// that the operation that asked can finish.
#include <cstdio>
#include <string>

#include "kvdata/kvhost.h"
#include "services/encoding.h"
#include "services/hostui.h"
#include "services/hostui_impl.h"

namespace kv {

void DefaultMessage(const char* caption, const char* text, uint32_t /*flags*/) {
  std::string line = Cp1252ToUtf8(caption ? caption : "") + ": " + Cp1252ToUtf8(text ? text : "");
  std::fprintf(stderr, "%s\n", line.c_str());
  std::fflush(stderr);
}

int32_t DefaultQuestion(const char* caption, const char* text, uint32_t flags) {
  DefaultMessage(caption, text, flags);
  std::fprintf(stderr, "(answered: No)\n");
  return 0;
}

void ConsoleErrorLine(const char* text) {
  std::string line = Cp1252ToUtf8(text ? text : "");
  std::fprintf(stderr, "%s\n", line.c_str());
  std::fflush(stderr);
}

void DefaultBeep(uint32_t /*type*/) {}
void DefaultWaitCursor(bool /*on*/) {}

}  // namespace kv
