// Worker processes on Windows: CreateProcess of this very test program with
// "--kv-worker name args...".
#if defined(_WIN32)
#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "kvdata/kvhost.h"
#include "kvtest.h"
#include "services/encoding.h"

namespace kvtest {

namespace {

// One argument quoted so that the C runtime's command-line parser gives it
// back unchanged: backslashes are literal except before a quote.
std::string Quote(const std::string& arg) {
  if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos) return arg;
  std::string out = "\"";
  size_t backslashes = 0;
  for (char c : arg) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    if (c == '"') {
      out.append(backslashes * 2 + 1, '\\');
    } else {
      out.append(backslashes, '\\');
    }
    backslashes = 0;
    out.push_back(c);
  }
  out.append(backslashes * 2, '\\');
  out.push_back('"');
  return out;
}

// Tests run unattended: a library dialog must not wait for a click that
// never comes. Every test program (and every worker) answers the way the
// library's console default does elsewhere: the message on standard error
// in UTF-8, a question answered "No", so that tests see the same output on
// both systems. Tests that need another answer install their own handler.
void ConsoleMessage(const char* caption, const char* text, uint32_t, void*) {
  std::string line = kv::Cp1252ToUtf8(caption) + ": " + kv::Cp1252ToUtf8(text);
  std::fprintf(stderr, "%s\n", line.c_str());
  std::fflush(stderr);
}
int32_t ConsoleQuestion(const char* caption, const char* text, uint32_t flags, void* context) {
  ConsoleMessage(caption, text, flags, context);
  std::fprintf(stderr, "(answered: No)\n");
  return 0;
}
struct UnattendedHost {
  UnattendedHost() {
    KVHOST_SetMessageHandler(&ConsoleMessage, nullptr);
    KVHOST_SetQuestionHandler(&ConsoleQuestion, nullptr);
    // Death tests and crashes must end the process, not open an error box.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  }
} g_unattended;

}  // namespace

Worker SpawnWorker(const std::string& name, const std::vector<std::string>& args) {
  char self[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, self, sizeof self);
  if (n == 0 || n >= sizeof self) throw std::runtime_error("cannot find the test program");
  std::string line = Quote(self) + " --kv-worker " + Quote(name);
  for (const std::string& a : args) line += " " + Quote(a);
  STARTUPINFOA si;
  ZeroMemory(&si, sizeof si);
  si.cb = sizeof si;
  PROCESS_INFORMATION pi;
  ZeroMemory(&pi, sizeof pi);
  if (!CreateProcessA(self, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) {
    throw std::runtime_error("CreateProcess failed");
  }
  CloseHandle(pi.hThread);
  Worker w;
  w.id = reinterpret_cast<intptr_t>(pi.hProcess);
  return w;
}

bool WaitWorkerFor(Worker& worker, int32_t timeoutMs, int* exitCode) {
  if (worker.id <= 0) {
    *exitCode = -1;
    return true;
  }
  HANDLE process = reinterpret_cast<HANDLE>(static_cast<intptr_t>(worker.id));
  DWORD r = WaitForSingleObject(process, static_cast<DWORD>(timeoutMs < 0 ? 0 : timeoutMs));
  if (r == WAIT_TIMEOUT) return false;
  DWORD code = 0;
  bool ok = r == WAIT_OBJECT_0 && GetExitCodeProcess(process, &code);
  CloseHandle(process);
  worker.id = -1;
  *exitCode = ok ? static_cast<int>(code) : -1;
  return true;
}

void KillWorker(Worker& worker) {
  if (worker.id <= 0) return;
  HANDLE process = reinterpret_cast<HANDLE>(static_cast<intptr_t>(worker.id));
  TerminateProcess(process, 137);
  WaitForSingleObject(process, 30000);
  CloseHandle(process);
  worker.id = -1;
}

}  // namespace kvtest
#endif
