#include "vesk/orlo/osdep/windows/WindowsFailure.h"

#include <windows.h>

#include <cerrno>

#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep::windows {

void throwLastError(ErrorSite site) {
  const int error = errno;
  throwError(error, site);
}

void throwError(int error, ErrorSite site) {
  exception::raise(PosixError(error), site.file, site.line);
}

void throwLastWinError(ErrorSite site) {
  const DWORD error = ::GetLastError();
  throwWinError(error, site);
}

void throwWinError(std::uint32_t winError, ErrorSite site) {
  exception::raise(WinError(winError), site.file, site.line);
}

}  // namespace vesk::orlo::osdep::windows
