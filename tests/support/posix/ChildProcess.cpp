// Child processes on POSIX: the test binary spawned again from
// /proc/self/exe with the current environment.
#include "support/ChildProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <stdexcept>

extern char** environ;

namespace vesk::test {

ChildProcess::ChildProcess(const ChildJob& job) {
  static const char kSelf[] = "/proc/self/exe";
  std::vector<std::string> arguments = childCommandArguments(job);
  arguments.insert(arguments.begin(), kSelf);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  std::fflush(nullptr);  // nothing buffered is written twice
  pid_t child = 0;
  const int error = ::posix_spawn(&child, kSelf, nullptr, nullptr, argv.data(), environ);
  if (error != 0) throw std::runtime_error("the child process could not be started");
  handle_ = child;
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(static_cast<pid_t>(handle_), &status, 0) == -1 && errno == EINTR) {
  }
  handle_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildProcess::kill() {
  ::kill(static_cast<pid_t>(handle_), SIGKILL);
  wait();
}

}  // namespace vesk::test
