#include "support/FaultyOs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace vesk::test {
namespace {

constexpr int kBodyThrew = 1;

// The child's side: run, then leave without unwinding into the test
// framework or running its exit handlers.
[[noreturn]] void runChildBody(const std::function<void()>& body, std::uint64_t k) {
  if (k > 0) orlo::osdep::fileFaults::exitAt(k, kCRASH_EXIT_STATUS);
  int status = 0;
  try {
    body();
  } catch (...) {
    status = kBodyThrew;
  }
  orlo::osdep::fileFaults::disarm();
  std::fflush(nullptr);
  ::_exit(status);
}

}  // namespace

ChildExit runInChild(const std::function<void()>& body, std::uint64_t k) {
  std::fflush(nullptr);  // nothing buffered is written twice
  const pid_t child = ::fork();
  if (child == -1) throw std::runtime_error("fork failed");
  if (child == 0) runChildBody(body, k);
  ChildExit end;
  while (::waitpid(child, &end.waitStatus, 0) == -1 && errno == EINTR) {
  }
  const bool exited = WIFEXITED(end.waitStatus);
  end.crashed = exited && WEXITSTATUS(end.waitStatus) == kCRASH_EXIT_STATUS;
  end.completed = exited && WEXITSTATUS(end.waitStatus) == 0;
  return end;
}

std::uint64_t countOperationsInChild(const std::function<void()>& body) {
  int channel[2];
  if (::pipe(channel) == -1) throw std::runtime_error("pipe failed");
  runInChild([&] {
    orlo::osdep::fileFaults::startCounting();
    body();
    const std::uint64_t count = orlo::osdep::fileFaults::operationCount();
    if (::write(channel[1], &count, sizeof count) != sizeof count) throw std::runtime_error("pipe");
  });
  ::close(channel[1]);
  std::uint64_t count = 0;
  const bool received = ::read(channel[0], &count, sizeof count) == sizeof count;
  ::close(channel[0]);
  if (!received) throw std::runtime_error("the counting child did not report");
  return count;
}

std::uint64_t forEachCrashPoint(const std::function<void()>& prepare,
                                const std::function<void()>& body,
                                const std::function<void(std::uint64_t, const ChildExit&)>& check) {
  for (std::uint64_t k = 1;; ++k) {
    prepare();
    const ChildExit end = runInChild(body, k);
    check(k, end);
    if (!end.crashed) return k;
  }
}

}  // namespace vesk::test
