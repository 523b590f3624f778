// The one place where the Windows layer turns an error number into an
// exception: errno values of the runtime's file calls become PosixError,
// last errors of system calls WinError, each with the location of the
// operation that made the call.
#pragma once

#include <cstdint>

#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep::windows {

// PosixError for the current errno; call it directly after the failed call.
[[noreturn]] void throwLastError(ErrorSite site);
// PosixError for `error`.
[[noreturn]] void throwError(int error, ErrorSite site);

// WinError for GetLastError(); call it directly after the failed call.
[[noreturn]] void throwLastWinError(ErrorSite site);
// WinError for `winError`.
[[noreturn]] void throwWinError(std::uint32_t winError, ErrorSite site);

}  // namespace vesk::orlo::osdep::windows
