#include "vesk/orlo/osdep/posix/RobustCalls.h"

#include <fcntl.h>

#include <cerrno>

#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep::posix {
namespace {

template <class Call>
auto retryInterrupted(Call&& call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace

int robustOpen(const char* path, int flags, mode_t mode) {
  return retryInterrupted([&] { return sys().open(path, flags | O_CLOEXEC, mode); });
}

ssize_t robustRead(int fd, void* buffer, std::size_t count) {
  auto* bytes = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = retryInterrupted([&] { return sys().read(fd, bytes + done, count - done); });
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

bool robustWrite(int fd, const void* buffer, std::size_t count) {
  const auto* bytes = static_cast<const char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = retryInterrupted([&] { return sys().write(fd, bytes + done, count - done); });
    if (n < 0) return false;
    if (n == 0) {
      // A write that makes no progress would repeat for ever.
      errno = EIO;
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

int robustFtruncate(int fd, off_t length) {
  return retryInterrupted([&] { return sys().ftruncate(fd, length); });
}

int robustFdatasync(int fd) {
  return retryInterrupted([&] { return sys().fdatasync(fd); });
}

int closeOnce(int fd) { return sys().close(fd); }

}  // namespace vesk::orlo::osdep::posix
