#include "vesk/orlo/osdep/GetFileSize.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep {

std::int32_t GetFileSize(const WideString& path) {
  const NarrowString narrow = toNarrow(path);
  struct stat status {};
  if (posix::sys().stat(narrow.c_str(), &status) == -1) posix::throwLastError(kGETFILESIZE);
  if (status.st_size > INT32_MAX) posix::throwError(EOVERFLOW, kGETFILESIZE);
  return static_cast<std::int32_t>(status.st_size);
}

}  // namespace vesk::orlo::osdep
