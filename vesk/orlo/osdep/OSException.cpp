// Error-number tables of the OS exceptions; the same on every platform.
#include "vesk/orlo/osdep/OSException.h"

#include <cerrno>

#include "vesk/orlo/osdep/SystemErrorText.h"

namespace vesk::orlo::osdep {

WinError::WinError(std::uint32_t winError) : OSException(winError, winErrorText(winError).c_str()) {}

std::uint32_t WinError::codeOfWinError(std::uint32_t winError) noexcept {
  switch (winError) {
    case 0: return 0;
    case 2: case 3: case 15: return 7;
    case 4: return 11;
    case 5: return 0x80070005u;
    case 6: case 87: return 1;
    case 8: case 14: return 2;
    case 11: return 23;
    case 16: case 19: case 32: case 33: return 8;
    case 20: return 37;
    case 23: return static_cast<std::uint32_t>(-508);
    case 38: return 4;
    case 39: return 9;
    case 80: return static_cast<std::uint32_t>(-98);
    default: return 42;
  }
}

PosixError::PosixError() : PosixError(errno) {}

PosixError::PosixError(int error)
    : OSException(static_cast<std::uint32_t>(error), posixErrorText(error).c_str()) {}

std::uint32_t PosixError::errorCode() const noexcept {
  switch (osErrorCode()) {
    case 0: return 0;
    case ENOENT: return 7;
    default: return 42;
  }
}

}  // namespace vesk::orlo::osdep
