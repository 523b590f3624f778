// Fault injection in the file layer, for crash and error-path tests. This is
// an internal header: nothing here is exported from the shared library or
// reachable through its interfaces; tests reach it through
// tests/support/FaultyOs.h.
//
// Every file operation passes one counter: each operation of BinaryFile and
// TextFile that reaches the system (open, read, write, seek, setSize, flush,
// close, readLine), path::deleteFile and path::rename. Queries (exists,
// isDirectory, GetFileSize, FindFiles) and directory creation are not
// counted. A test may arm the k-th operation from now (k = 1 is the next one):
//
//  - to fail: every system call that operation makes fails with the chosen
//    errno, so the operation takes its real error path and throws (or
//    returns -1) exactly as it would for that error from the disk. One-shot
//    faults end with the operation; persistent ones also fail every later
//    system call of the file layer, queries included, until disarm: the
//    process behaves as one whose disk stopped at operation k.
//  - to end the process at once with _exit, before the operation reaches the
//    system. Unflushed stream buffers are lost, as in a crash. Use it only in
//    a forked child.
//
// Unarmed, an operation costs one relaxed atomic load. Arming is meant for a
// test that performs file operations on one thread at a time.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vesk::orlo::osdep::fileFaults {

// Counts operations from 0 from now on, with no fault armed.
void startCounting() noexcept;

// Arms a failure of the k-th operation from now (k >= 1) with `error`.
// With `tornBytes` above 0, a write of a failing operation first applies that
// many of its bytes (a torn write).
void failAt(std::uint64_t k, int error, bool persistent, std::size_t tornBytes = 0) noexcept;

// Arms the end of the process, _exit(exitStatus), at the k-th operation from
// now (k >= 1).
void exitAt(std::uint64_t k, int exitStatus) noexcept;

// Stops counting, removes any fault and restores the system calls.
void disarm() noexcept;

// Operations counted since the last startCounting, failAt or exitAt.
std::uint64_t operationCount() noexcept;

// True once the armed operation has been reached (and has failed).
bool reached() noexcept;

namespace detail {

// Set while counting or armed; the only cost of the counter when clear.
extern std::atomic<bool> gActive;

// Counts one operation; true when it is to fail (or does not return when it
// is to end the process).
bool enterOperation() noexcept;
// Ends a failing operation: a one-shot fault restores the system calls.
void leaveOperation() noexcept;

// Implemented by each platform's file layer.
void failSystemCalls(int error, std::size_t tornBytes) noexcept;
void restoreSystemCalls() noexcept;
[[noreturn]] void exitProcess(int exitStatus) noexcept;

}  // namespace detail
}  // namespace vesk::orlo::osdep::fileFaults

namespace vesk::orlo::osdep {

// One counted file operation: construct it before the operation's first
// system call and keep it until the last one.
class FileOperation {
 public:
  FileOperation() noexcept {
    if (fileFaults::detail::gActive.load(std::memory_order_relaxed)) [[unlikely]] {
      failing_ = fileFaults::detail::enterOperation();
    }
  }
  ~FileOperation() {
    if (failing_) [[unlikely]] fileFaults::detail::leaveOperation();
  }
  FileOperation(const FileOperation&) = delete;
  FileOperation& operator=(const FileOperation&) = delete;

 private:
  bool failing_ = false;
};

}  // namespace vesk::orlo::osdep
