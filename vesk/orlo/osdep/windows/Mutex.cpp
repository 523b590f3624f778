// The machine-wide lock as the named mutex "Global\<name>". Its security
// descriptor has a null DACL (everybody has full access) and the SACL of
// "S:(ML;;NW;;;LW)", a low mandatory label without write-up, so that
// processes of any integrity level can open it.
//
// A Windows mutex belongs to the thread that obtained it and counts how often
// that thread did. The lock here is not counted: unlock() releases every
// level, and the destructor releases what this object still holds before
// closing the handle. The system hands a mutex whose holder died to the next
// waiter as abandoned, which counts as obtained.
//
// When VESK_TARNHIVE_LOCK_DIR is set, its text (with "\" written "/", which
// mutex names allow) is appended to the name after a "|": a test or a
// private installation gets a lock space of its own, as the variable gives
// one on POSIX.
#include "vesk/orlo/osdep/Mutex.h"

#include <windows.h>

#include "vesk/orlo/osdep/windows/LockSecurity.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

HANDLE handleOf(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

std::intptr_t createMutex(const WideString& name) {
  windows::LockSecurity security;
  WideString full(L"Global\\");
  full += windows::lockSpaceName(name);
  HANDLE handle = ::CreateMutexW(security.attributes(), FALSE, full.c_str());
  if (handle == nullptr) windows::throwLastWinError(kMUTEX_CREATE);
  return reinterpret_cast<std::intptr_t>(handle);
}

}  // namespace

Mutex::Mutex(const WideString& name) : handle_(createMutex(name)) {}

Mutex::~Mutex() {
  unlock();
  ::CloseHandle(handleOf(handle_));
}

void Mutex::lock() {
  if (::WaitForSingleObject(handleOf(handle_), INFINITE) == WAIT_FAILED) {
    windows::throwLastWinError(kMUTEX_LOCK);
  }
}

bool Mutex::tryLock() {
  const DWORD result = ::WaitForSingleObject(handleOf(handle_), 0);
  if (result == WAIT_FAILED) windows::throwLastWinError(kMUTEX_TRYLOCK);
  return result != WAIT_TIMEOUT;
}

void Mutex::unlock() noexcept {
  // Fails once this thread holds no level any more.
  while (::ReleaseMutex(handleOf(handle_))) {
  }
}

}  // namespace vesk::orlo::osdep
