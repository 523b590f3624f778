// The shared counter as a small file in the lock directory, mapped shared
// into every process that opens it. The counter is the first 8 bytes; on
// Linux a waiter sleeps on its low 32 bits with a futex, which every
// advance wakes.
#include "vesk/orlo/osdep/SharedSequence.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#endif

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>

#include "vesk/orlo/osdep/posix/LockDirectory.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"

namespace vesk::orlo::osdep {
namespace {

// The file is larger than the counter, so that later fields may follow.
constexpr off_t kFileSize = 64;

static_assert(std::atomic<std::uint64_t>::is_always_lock_free,
              "the shared counter must be lock-free to live in shared memory");

std::atomic<std::uint64_t>& counterAt(void* memory) noexcept {
  return *static_cast<std::atomic<std::uint64_t>*>(memory);
}

// The low 32 bits of the counter, where a futex waits (little-endian).
std::uint32_t* wakeWordAt(void* memory) noexcept { return static_cast<std::uint32_t*>(memory); }

[[noreturn]] void failWith(int fd, int error) {
  if (fd != -1) ::close(fd);
  posix::throwError(error, kSHAREDSEQUENCE_OPEN);
}

}  // namespace

SharedSequence::SharedSequence(const WideString& name) {
  WideString fileName(name);
  fileName += u".seq";
  const int fd = posix::openInLockDirectory(fileName, kSHAREDSEQUENCE_OPEN);
  struct stat info {};
  if (::fstat(fd, &info) == -1) failWith(fd, errno);
  // Growing a file that another process has grown already changes nothing,
  // so two first openers cannot wipe a counter between them.
  if (info.st_size < kFileSize && ::ftruncate(fd, kFileSize) == -1) failWith(fd, errno);
  void* memory = ::mmap(nullptr, kFileSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) failWith(fd, errno);
  ::close(fd);
  memory_ = memory;
}

SharedSequence::~SharedSequence() {
  if (memory_ != nullptr) ::munmap(memory_, kFileSize);
}

std::uint64_t SharedSequence::load() const noexcept {
  return counterAt(memory_).load(std::memory_order_acquire);
}

std::uint64_t SharedSequence::advance() noexcept {
  const std::uint64_t value = counterAt(memory_).fetch_add(1, std::memory_order_acq_rel) + 1;
#if defined(__linux__)
  ::syscall(SYS_futex, wakeWordAt(memory_), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
#endif
  return value;
}

bool SharedSequence::waitForChange(std::uint64_t seen, std::uint32_t milliseconds) const noexcept {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (load() == seen) {
    const auto left = deadline - Clock::now();
    if (left <= Clock::duration::zero()) return false;
#if defined(__linux__)
    // Sleeps only while the low word still holds what it held at `seen`;
    // a change in between returns at once.
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    struct timespec timeout {};
    timeout.tv_sec = static_cast<time_t>(nanoseconds / 1000000000);
    timeout.tv_nsec = static_cast<long>(nanoseconds % 1000000000);
    ::syscall(SYS_futex, wakeWordAt(memory_), FUTEX_WAIT, static_cast<std::uint32_t>(seen),
              &timeout, nullptr, 0);
#else
    struct timespec pause {0, 2000000};
    ::nanosleep(&pause, nullptr);
#endif
  }
  return true;
}

}  // namespace vesk::orlo::osdep
