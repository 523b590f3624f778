#include "vesk/orlo/osdep/posix/LockDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"

namespace vesk::orlo::osdep::posix {

WideString lockDirectory() {
  const char* configured = std::getenv("VESK_TARNHIVE_LOCK_DIR");
  if (configured != nullptr && configured[0] != 0) return toWide(NarrowString(configured));
  if (path::isDirectory(u"/dev/shm")) return u"/dev/shm";
  return u"/tmp";
}

int openInLockDirectory(const WideString& fileName, ErrorSite site) {
  constexpr mode_t kEverybodyReadWrite = 0666;
  const NarrowString narrow = toNarrow(path::join(lockDirectory(), fileName));
  int fd;
  do {
    fd = ::open(narrow.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kEverybodyReadWrite);
  } while (fd == -1 && errno == EINTR);
  if (fd == -1) throwLastError(site);
  // The umask must not keep other users' processes out. Only the file's
  // owner may change its mode; for everybody else it is already set.
  (void)::fchmod(fd, kEverybodyReadWrite);
  return fd;
}

}  // namespace vesk::orlo::osdep::posix
