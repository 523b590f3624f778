#include "vesk/orlo/osdep/posix/PosixFailure.h"

#include <cerrno>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep::posix {

void throwLastError(ErrorSite site) {
  const int error = errno;
  throwError(error, site);
}

void throwError(int error, ErrorSite site) {
  exception::raise(PosixError(error), site.file, site.line);
}

}  // namespace vesk::orlo::osdep::posix
