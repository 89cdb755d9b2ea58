// Worker processes on POSIX: posix_spawn of this very test program.
#if !defined(_WIN32)
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <stdexcept>

#include "kvtest.h"

extern char** environ;

namespace kvtest {

Worker SpawnWorker(const std::string& name, const std::vector<std::string>& args) {
  char self[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) throw std::runtime_error("cannot find the test program");
  self[n] = '\0';
  std::vector<std::string> all = {self, "--kv-worker", name};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid;
  if (posix_spawn(&pid, self, nullptr, nullptr, argv.data(), environ) != 0) {
    throw std::runtime_error("posix_spawn failed");
  }
  Worker w;
  w.id = pid;
  return w;
}

bool WaitWorkerFor(Worker& worker, int32_t timeoutMs, int* exitCode) {
  if (worker.id <= 0) {
    *exitCode = -1;
    return true;
  }
  for (int32_t waited = 0;; waited += 2) {
    int status = 0;
    pid_t r = waitpid(static_cast<pid_t>(worker.id), &status, WNOHANG);
    if (r < 0 && errno == EINTR) continue;
    if (r != 0) {
      worker.id = -1;
      *exitCode = (r > 0 && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
      return true;
    }
    if (waited >= timeoutMs) return false;
    usleep(2000);
  }
}

void KillWorker(Worker& worker) {
  if (worker.id <= 0) return;
  kill(static_cast<pid_t>(worker.id), SIGKILL);
  int status = 0;
  while (waitpid(static_cast<pid_t>(worker.id), &status, 0) < 0 && errno == EINTR) {
  }
  worker.id = -1;
}

}  // namespace kvtest
#endif
