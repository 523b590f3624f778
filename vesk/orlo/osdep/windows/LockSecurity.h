// What the machine-wide lock and the registry's shared memory have in
// common on Windows: their access rules and their names.
//
// The security descriptor has a null DACL (everybody has full access) and
// the SACL of "S:(ML;;NW;;;LW)", a low mandatory label without write-up, so
// that processes of any integrity level can open the object.
//
// When VESK_TARNHIVE_LOCK_DIR is set, its text (with "\" written "/", which
// object names allow) is appended to a name after a "|": a test or a
// private installation gets a lock space of its own, as the variable gives
// one on POSIX.
#pragma once

#include <windows.h>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep::windows {

class LockSecurity {
 public:
  LockSecurity();
  ~LockSecurity();
  LockSecurity(const LockSecurity&) = delete;
  LockSecurity& operator=(const LockSecurity&) = delete;

  SECURITY_ATTRIBUTES* attributes() noexcept { return &attributes_; }

 private:
  SECURITY_DESCRIPTOR descriptor_{};
  PSECURITY_DESCRIPTOR label_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

// `name` with the lock space's suffix, without a namespace prefix.
WideString lockSpaceName(const WideString& name);

}  // namespace vesk::orlo::osdep::windows
