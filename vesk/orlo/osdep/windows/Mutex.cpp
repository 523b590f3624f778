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
#include <sddl.h>

#include <cstdlib>

#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

constexpr char kLowIntegrityLabel[] = "S:(ML;;NW;;;LW)";

WideString mutexName(const WideString& name) {
  WideString full(L"Global\\");
  full += name;
  const wchar_t* space = ::_wgetenv(L"VESK_TARNHIVE_LOCK_DIR");
  if (space != nullptr && space[0] != 0) {
    full += L'|';
    for (const wchar_t* at = space; *at != 0; ++at) full += *at == L'\\' ? L'/' : *at;
  }
  return full;
}

// The descriptor of the mutex; the label's descriptor is freed on every path
// out, the SACL is copied out of it first.
class LockSecurity {
 public:
  LockSecurity() {
    ::InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE);
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorA(kLowIntegrityLabel, SDDL_REVISION_1,
                                                               &label_, nullptr)) {
      BOOL present = FALSE;
      BOOL defaulted = FALSE;
      PACL sacl = nullptr;
      if (::GetSecurityDescriptorSacl(label_, &present, &sacl, &defaulted) && present) {
        ::SetSecurityDescriptorSacl(&descriptor_, TRUE, sacl, FALSE);
      }
    }
    attributes_.nLength = sizeof attributes_;
    attributes_.lpSecurityDescriptor = &descriptor_;
    attributes_.bInheritHandle = FALSE;
  }
  ~LockSecurity() {
    if (label_ != nullptr) ::LocalFree(label_);
  }
  LockSecurity(const LockSecurity&) = delete;
  LockSecurity& operator=(const LockSecurity&) = delete;

  SECURITY_ATTRIBUTES* attributes() noexcept { return &attributes_; }

 private:
  SECURITY_DESCRIPTOR descriptor_{};
  PSECURITY_DESCRIPTOR label_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

HANDLE handleOf(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

std::intptr_t createMutex(const WideString& name) {
  LockSecurity security;
  HANDLE handle = ::CreateMutexW(security.attributes(), FALSE, mutexName(name).c_str());
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
