// The machine-wide lock as a lock file with open-file-description locks.
//
// Why OFD locks (F_OFD_SETLK) and not classic fcntl record locks: a classic
// lock belongs to the process, so a second Mutex in the same process would
// "obtain" a lock its own process already holds, and closing any descriptor
// of the lock file anywhere in the process would silently drop it. An OFD
// lock belongs to the open file description of this object alone: two
// objects exclude each other even within one process, and only this object's
// close releases it. Like every file lock, it is released by the kernel when
// the holder dies, which gives the abandoned-lock behaviour. Where OFD locks
// are missing, flock() has the same ownership rules.
#include "vesk/orlo/osdep/Mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/posix/LockDirectory.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"

namespace vesk::orlo::osdep {
namespace {

int openLockFile(const WideString& name) {
  WideString fileName(name);
  fileName += u".lock";
  return posix::openInLockDirectory(fileName, kMUTEX_CREATE);
}

#if defined(F_OFD_SETLK)

// 0 when obtained or released, else -1 with errno (EAGAIN or EACCES when
// another holder has the lock).
int setLock(int fd, short type, bool wait) {
  struct flock request {};
  request.l_type = type;
  request.l_whence = SEEK_SET;  // start 0, length 0: the whole file
  return ::fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &request);
}

int takeLock(int fd, bool wait) { return setLock(fd, F_WRLCK, wait); }
void dropLock(int fd) { setLock(fd, F_UNLCK, false); }

#else

int takeLock(int fd, bool wait) { return ::flock(fd, LOCK_EX | (wait ? 0 : LOCK_NB)); }
void dropLock(int fd) { ::flock(fd, LOCK_UN); }

#endif

bool heldElsewhere(int error) noexcept {
  return error == EAGAIN || error == EACCES || error == EWOULDBLOCK;
}

}  // namespace

Mutex::Mutex(const WideString& name) : handle_(openLockFile(name)) {}

Mutex::~Mutex() { ::close(static_cast<int>(handle_)); }

void Mutex::lock() {
  const int fd = static_cast<int>(handle_);
  int result;
  do {
    result = takeLock(fd, true);
  } while (result == -1 && errno == EINTR);
  if (result == -1) posix::throwLastError(kMUTEX_LOCK);
}

bool Mutex::tryLock() {
  const int fd = static_cast<int>(handle_);
  int result;
  do {
    result = takeLock(fd, false);
  } while (result == -1 && errno == EINTR);
  if (result == 0) return true;
  if (heldElsewhere(errno)) return false;
  posix::throwLastError(kMUTEX_TRYLOCK);
}

void Mutex::unlock() noexcept { dropLock(static_cast<int>(handle_)); }

}  // namespace vesk::orlo::osdep
