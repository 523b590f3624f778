#include "vesk/orlo/osdep/posix/CrossDeviceMove.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/RobustCalls.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep::posix {
namespace {

constexpr std::size_t kChunk = 64 * 1024;

// Closes a descriptor of this move on every path out.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() { release(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return fd_; }
  // Closes now; false when the close reports a failure.
  bool release() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return fd == -1 || closeOnce(fd) == 0;
  }

 private:
  int fd_;
};

// Copies all of `in` to `out`; false with errno set on failure.
bool copyData(int in, int out) {
  const std::unique_ptr<char[]> buffer(new char[kChunk]);
  while (true) {
    const ssize_t n = robustRead(in, buffer.get(), kChunk);
    if (n < 0) return false;
    if (n == 0) return true;
    if (!robustWrite(out, buffer.get(), static_cast<std::size_t>(n))) return false;
  }
}

// Writes the copy at `temporary`; false with errno set on failure.
bool writeCopy(const NarrowString& from, const NarrowString& temporary, mode_t mode) {
  Descriptor in(robustOpen(from.c_str(), O_RDONLY, 0));
  if (in.get() == -1) return false;
  Descriptor out(robustOpen(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode));
  if (out.get() == -1) return false;
  return copyData(in.get(), out.get()) && robustFdatasync(out.get()) == 0 && out.release();
}

}  // namespace

void moveAcrossDevices(const NarrowString& from, const NarrowString& to) {
  struct stat status {};
  if (sys().stat(from.c_str(), &status) == -1) throwLastError(kPATH_RENAME);
  if (!S_ISREG(status.st_mode)) throwError(EXDEV, kPATH_RENAME);

  NarrowString temporary(to);
  temporary += ".moving";
  if (!writeCopy(from, temporary, status.st_mode & 07777) ||
      sys().rename(temporary.c_str(), to.c_str()) == -1) {
    const int error = errno;
    sys().unlink(temporary.c_str());
    throwError(error, kPATH_RENAME);
  }
  if (sys().unlink(from.c_str()) == -1) throwLastError(kPATH_RENAME);
}

}  // namespace vesk::orlo::osdep::posix
