// Test access to the file layer's fault seam: counting file operations,
// failing the k-th one, ending a child process at the k-th one, and
// replacing single system calls of the POSIX file layer.
//
// The crash-test loop of a store test:
//
//   vesk::test::forEachCrashPoint(
//       [&] { makeStoreWithOneCommit(dir); },          // test, before each run
//       {"CommitOnce", {dir}},                          // child job, ends at op k
//       [&](std::uint64_t k, const ChildExit& end) {    // test, after each run
//         EXPECT_TRUE(end.crashed || end.completed);
//         expectOldOrNewState(dir);
//       });
//
// The error-path loop, in process (failFrom for a disk that stays gone):
//
//   for (std::uint64_t k = 1;; ++k) {
//     bool hit;
//     {
//       FaultyOs faults;
//       faults.failAt(k);
//       commit(&status);               // kOSERROR whenever the fault was hit
//       hit = faults.reached();
//     }                                // disarmed here
//     reopenAndExpectOldOrNewState();
//     if (!hit) break;
//   }
//
// A fault never arms EINTR: the layer repeats interrupted calls, and a call
// that always fails with EINTR would be repeated for ever.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>

#include "support/ChildProcess.h"
#include "vesk/orlo/osdep/FileFaults.h"
#if !defined(_WIN32)
#include "vesk/orlo/osdep/posix/SystemCalls.h"
#endif

namespace vesk::test {

// The exit status of a child ended by a fault.
inline constexpr int kCRASH_EXIT_STATUS = 86;

// Arms the fault counter for a scope; counting starts at construction and
// every arming counts from the moment it is made. Disarms on destruction.
class FaultyOs {
 public:
  FaultyOs() { orlo::osdep::fileFaults::startCounting(); }
  ~FaultyOs() { orlo::osdep::fileFaults::disarm(); }
  FaultyOs(const FaultyOs&) = delete;
  FaultyOs& operator=(const FaultyOs&) = delete;

  // The k-th operation from now fails with `error`; later ones succeed.
  void failAt(std::uint64_t k, int error = EIO) {
    orlo::osdep::fileFaults::failAt(k, error, false);
  }
  // The k-th operation and every later one fail with `error`.
  void failFrom(std::uint64_t k, int error = EIO) {
    orlo::osdep::fileFaults::failAt(k, error, true);
  }
  // The k-th operation fails; a write of it first applies `bytes` bytes.
  void tearWriteAt(std::uint64_t k, std::size_t bytes, int error = EIO) {
    orlo::osdep::fileFaults::failAt(k, error, false, bytes);
  }
  // The process ends at the k-th operation. Only in a child process.
  void exitAt(std::uint64_t k, int exitStatus = kCRASH_EXIT_STATUS) {
    orlo::osdep::fileFaults::exitAt(k, exitStatus);
  }

  std::uint64_t operations() const { return orlo::osdep::fileFaults::operationCount(); }
  bool reached() const { return orlo::osdep::fileFaults::reached(); }
};

// How a child ended.
struct ChildExit {
  bool crashed = false;    // ended by the armed fault
  bool completed = false;  // the job returned normally
  int exitStatus = 0;      // as the child reported it
};

// Runs `job` in a child process and waits for it. With k above 0 the child
// ends at its k-th file operation.
ChildExit runInChild(const ChildJob& job, std::uint64_t k = 0);

// The number of file operations `job` makes, counted in a child so that the
// caller's objects and counter are not changed. Its files on disk are:
// prepare them again before the run that counts.
std::uint64_t countOperationsInChild(const ChildJob& job);

// For k = 1, 2, ...: runs `prepare` in the test, `job` in a child that ends
// at its k-th file operation, then `check(k, end)` in the test. Stops after
// the first run that completes without reaching k (or that neither crashed
// nor completed), and returns the number of runs.
std::uint64_t forEachCrashPoint(const std::function<void()>& prepare, const ChildJob& job,
                                const std::function<void(std::uint64_t, const ChildExit&)>& check);

#if !defined(_WIN32)
// Replaces one entry of the POSIX system-call table for a scope. A
// replacement that forwards calls the system function itself (::write).
template <class Call>
class ScopedSystemCall {
 public:
  using Entry = Call orlo::osdep::posix::SystemCalls::*;
  ScopedSystemCall(Entry entry, Call replacement)
      : entry_(entry), saved_(orlo::osdep::posix::realSystemCalls().*entry) {
    orlo::osdep::posix::realSystemCalls().*entry_ = replacement;
  }
  ~ScopedSystemCall() { orlo::osdep::posix::realSystemCalls().*entry_ = saved_; }
  ScopedSystemCall(const ScopedSystemCall&) = delete;
  ScopedSystemCall& operator=(const ScopedSystemCall&) = delete;

 private:
  Entry entry_;
  Call saved_;
};
#endif

}  // namespace vesk::test
