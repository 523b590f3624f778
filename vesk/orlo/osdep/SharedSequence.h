// SharedSequence: a 64-bit counter in memory that every process of the
// machine shares when it opens the same name. The registry counts its
// commits and compactions in it, so a process finds out that nothing
// changed with one atomic load, without a system call.
//
// On POSIX the memory is the file "<lock dir>/<name>.seq", mapped shared;
// the lock directory is the machine-wide lock's (see Mutex.h). On Windows
// it is the named file mapping "Global\<name>" (or "Local\<name>" where the
// process may not make global objects), with the lock's access rules and
// the same name suffix when VESK_TARNHIVE_LOCK_DIR is set.
//
// The counter only ever grows while the memory exists; it starts at 0 when
// the first process makes it (after a restart of the machine, for example),
// so callers compare values for equality, never for order across a restart.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

class SharedSequence {
 public:
  // Opens (making it when needed) the counter `name`. Throws the OS
  // exception (SharedSequence, line 40) on failure.
  explicit SharedSequence(const WideString& name);
  ~SharedSequence();
  SharedSequence(const SharedSequence&) = delete;
  SharedSequence& operator=(const SharedSequence&) = delete;

  // The counter's value: one atomic load.
  std::uint64_t load() const noexcept;

  // Adds 1, wakes every process waiting in waitForChange, and returns the
  // new value.
  std::uint64_t advance() noexcept;

  // Waits until the counter differs from `seen`, at most `milliseconds`.
  // True when it differs. Linux sleeps in the kernel until a change; other
  // platforms look again every few milliseconds.
  bool waitForChange(std::uint64_t seen, std::uint32_t milliseconds) const noexcept;

 private:
  void* memory_ = nullptr;
  std::intptr_t handle_ = -1;
};

}  // namespace vesk::orlo::osdep
