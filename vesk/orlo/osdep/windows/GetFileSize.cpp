#include "vesk/orlo/osdep/GetFileSize.h"

#include <cerrno>
#include <cstdint>

#include "vesk/orlo/osdep/windows/LongPath.h"
#include "vesk/orlo/osdep/windows/SystemCalls.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {

std::int32_t GetFileSize(const WideString& path) {
  const WideString systemPath = windows::widePathForSystem(path);
  struct _stat64i32 status {};
  if (windows::sys().wstat(systemPath.c_str(), &status) == -1) {
    windows::throwLastError(kGETFILESIZE);
  }
  if (status.st_size < 0) windows::throwError(EOVERFLOW, kGETFILESIZE);
  return static_cast<std::int32_t>(status.st_size);
}

}  // namespace vesk::orlo::osdep
