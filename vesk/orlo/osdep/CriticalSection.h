// A re-entrant lock for the threads of one process: the thread that holds it
// may enter it again. Lock it only through CriticalSectionLock, so that every
// path out of a scope, exceptions included, leaves it.
#pragma once

#include <mutex>

namespace vesk::orlo::osdep {

class CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

 private:
  friend class CriticalSectionLock;
  void enter() { mutex_.lock(); }
  void leave() noexcept { mutex_.unlock(); }

  std::recursive_mutex mutex_;
};

// Holds a critical section for the lifetime of the object.
class CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CriticalSection& section) : section_(section) { section_.enter(); }
  ~CriticalSectionLock() { section_.leave(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace vesk::orlo::osdep
