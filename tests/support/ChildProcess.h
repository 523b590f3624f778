// Child processes of a test, the same way on every platform: the test binary
// starts itself again to run one named job, so tests need no fork.
//
// A job is a function registered at start-up under a name; it takes its
// arguments as strings and reports through its exit status: 0 when it
// returns, 1 when it throws or a CHILD_CHECK fails. Everything a job needs
// (directories, options, expected content) travels in its arguments or in
// files, since the child shares no memory with the test.
//
//   TARNHIVE_CHILD_JOB(CommitOnce) {             // args: registry directory
//     openAndCommit(args.at(0));
//   }
//   ...
//   EXPECT_EQ(test::runChild({"CommitOnce", {dir}}), 0);
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace vesk::test {

using ChildArgs = std::vector<std::string>;
using ChildJobBody = void (*)(const ChildArgs& args);

// A job and the arguments to run it with.
struct ChildJob {
  std::string name;
  ChildArgs args;
};

// Registers `body` under `name`; used through TARNHIVE_CHILD_JOB.
struct ChildJobRegistration {
  ChildJobRegistration(const char* name, ChildJobBody body);
};

#define TARNHIVE_CHILD_JOB(jobName)                                                  \
  static void jobName##_childJob(const ::vesk::test::ChildArgs& args);               \
  static const ::vesk::test::ChildJobRegistration jobName##_childJobRegistration(    \
      #jobName, &jobName##_childJob);                                                \
  static void jobName##_childJob([[maybe_unused]] const ::vesk::test::ChildArgs& args)

// In a job, a failed check ends the child with status 1 after saying where.
#define CHILD_CHECK(condition)                                                            \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::fflush(stderr);                                                                \
      std::_Exit(1);                                                                      \
    }                                                                                     \
  } while (0)

// The exit status of a child whose job returned, and of one whose job threw
// or whose check failed.
inline constexpr int kCHILD_COMPLETED = 0;
inline constexpr int kCHILD_FAILED = 1;

// A running child process of the test binary; killed and waited for on
// destruction if it is still running.
class ChildProcess {
 public:
  explicit ChildProcess(const ChildJob& job);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for the end of the child; its exit status, or -1 when it was
  // killed by a signal.
  int wait();
  // Ends the child at once, as a crash or a kill by the user would, and
  // waits for it.
  void kill();

 private:
  std::intptr_t handle_ = 0;  // process id or handle; 0 once waited for
};

// Starts `job` in a child and waits for it; its exit status.
int runChild(const ChildJob& job);

// Waits until `file` exists (a child says it is ready by making it); false
// after a minute.
bool waitForFile(const std::string& file);

// The registered job named `name`, or null.
ChildJobBody findChildJob(const std::string& name);

// The command-line arguments, after the program, that start `job`.
std::vector<std::string> childCommandArguments(const ChildJob& job);

// The test binary's main: runs the job named on the command line when the
// process is a child, or else every test.
int runTestsOrChildJob(int argc, char** argv);

}  // namespace vesk::test
