// The one place where the POSIX layer turns an error number into an
// exception. Every failed system call of the layer ends here with the
// location of the operation that made it.
#pragma once

#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep::posix {

// Throws PosixError for the current errno. Call it directly after the failed
// call: errno is read before anything else can change it.
[[noreturn]] void throwLastError(ErrorSite site);

// Throws PosixError for `error`, for callers that saved errno before a
// clean-up or that fail without a system call.
[[noreturn]] void throwError(int error, ErrorSite site);

}  // namespace vesk::orlo::osdep::posix
