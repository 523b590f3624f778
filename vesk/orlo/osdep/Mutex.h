// Mutex: the machine-wide lock that serialises the processes changing one
// registry. Every Mutex object made with the same name, in any process of
// the machine, is the same lock: at most one object holds it at a time.
//
// When the holder's process dies the lock is released by the system, and the
// next caller obtains it (an abandoned lock counts as obtained). The lock is
// not counted: lock() on an object that already holds it succeeds at once,
// and one unlock() releases it. Closing (destroying) the object releases a
// lock it still holds.
//
// On POSIX the lock is a file "<lock dir>/<name>.lock", readable and
// writable by everybody. The lock directory is $VESK_TARNHIVE_LOCK_DIR when
// set, else /dev/shm when it is a directory, else /tmp.
//
// A forked child shares the lock state of the objects it inherits (an exec
// closes them). One object is not meant for concurrent use by several
// threads; the bucket manager guards its own.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

class Mutex {
 public:
  // Opens (creating if needed) the lock `name`; does not take it. Throws
  // the OS exception (Mutex, line 42) on failure.
  explicit Mutex(const WideString& name);
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Waits without a time-out until the lock is obtained. Throws the OS
  // exception (line 55) when the wait fails.
  void lock();

  // Takes the lock if it is free and returns at once: true when obtained,
  // false when another holder has it. Never blocks. Throws the OS exception
  // (line 69) when the attempt fails.
  bool tryLock();

  // Releases the lock; releasing a lock not held does nothing.
  void unlock() noexcept;

 private:
  std::intptr_t handle_;
};

}  // namespace vesk::orlo::osdep
