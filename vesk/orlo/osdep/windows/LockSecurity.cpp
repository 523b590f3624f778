#include "vesk/orlo/osdep/windows/LockSecurity.h"

#include <sddl.h>

#include <cstdlib>

namespace vesk::orlo::osdep::windows {
namespace {

constexpr char kLowIntegrityLabel[] = "S:(ML;;NW;;;LW)";

}  // namespace

// The label's descriptor is freed on every path out; the SACL is copied out
// of it first.
LockSecurity::LockSecurity() {
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

LockSecurity::~LockSecurity() {
  if (label_ != nullptr) ::LocalFree(label_);
}

WideString lockSpaceName(const WideString& name) {
  WideString full(name);
  const wchar_t* space = ::_wgetenv(L"VESK_TARNHIVE_LOCK_DIR");
  if (space != nullptr && space[0] != 0) {
    full += L'|';
    for (const wchar_t* at = space; *at != 0; ++at) full += *at == L'\\' ? L'/' : *at;
  }
  return full;
}

}  // namespace vesk::orlo::osdep::windows
