#include "vesk/orlo/osdep/BinaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/RobustCalls.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep {
namespace {

constexpr std::size_t kMaxTransfer = 0xFFFFFFFFu;
constexpr mode_t kCreatePermissions = 0666;

// The open flags of a mode, or -1 for access bits that name no access.
int openFlags(std::uint32_t mode) noexcept {
  int flags = 0;
  switch (mode & 3u) {
    case BinaryFile::kREAD: flags = O_RDONLY; break;
    case BinaryFile::kWRITE: flags = O_WRONLY; break;
    case BinaryFile::kREADWRITE: flags = O_RDWR; break;
    default: return -1;
  }
  if (mode & BinaryFile::kTRUNCATE) flags |= O_TRUNC;
  if (mode & BinaryFile::kCREATE) flags |= O_CREAT;
  // A file opened for writing is never reached through a symbolic link, so
  // that a link planted in a shared directory cannot send writes elsewhere;
  // a file that is only read (an options file) may be one.
  if ((mode & 3u) != BinaryFile::kREAD) flags |= O_NOFOLLOW;
  return flags;
}

}  // namespace

BinaryFile::~BinaryFile() { close(); }

void BinaryFile::open(const WideString& path, std::uint32_t mode) {
  const int flags = openFlags(mode);
  if (isOpen() || flags == -1) posix::throwError(EINVAL, kBINARYFILE_OPEN);
  const NarrowString narrow = toNarrow(path);
  FileOperation operation;
  const int fd = posix::robustOpen(narrow.c_str(), flags, kCreatePermissions);
  if (fd == -1) posix::throwLastError(kBINARYFILE_OPEN);
  descriptor_ = fd;
}

std::int64_t BinaryFile::read(void* buffer, std::size_t count) {
  if (count > kMaxTransfer) {
    exception::raise(exception::OutOfRange(), kBINARYFILE_READ_RANGE.file,
                     kBINARYFILE_READ_RANGE.line);
  }
  if (!isOpen()) return -1;
  FileOperation operation;
  return posix::robustRead(descriptor_, buffer, count);
}

std::int64_t BinaryFile::write(const void* buffer, std::size_t count) {
  if (count > kMaxTransfer) {
    exception::raise(exception::OutOfRange(), kBINARYFILE_WRITE_RANGE.file,
                     kBINARYFILE_WRITE_RANGE.line);
  }
  if (!isOpen()) return -1;
  FileOperation operation;
  if (!posix::robustWrite(descriptor_, buffer, count)) return -1;
  return static_cast<std::int64_t>(count);
}

std::int32_t BinaryFile::seek(std::int32_t offset, int origin) noexcept {
  if (!isOpen()) return -1;
  FileOperation operation;
  const off_t position = posix::sys().lseek(descriptor_, offset, origin);
  if (position < 0 || position > INT32_MAX) return -1;
  return static_cast<std::int32_t>(position);
}

void BinaryFile::setSize(std::int32_t size) {
  if (!isOpen()) return;
  FileOperation operation;
  if (posix::robustFtruncate(descriptor_, size) == -1) posix::throwLastError(kBINARYFILE_SETSIZE);
}

void BinaryFile::flush() {
  if (!isOpen()) return;
  FileOperation operation;
  if (posix::robustFdatasync(descriptor_) == -1) posix::throwLastError(kBINARYFILE_FLUSH);
}

void BinaryFile::close() noexcept {
  if (!isOpen()) return;
  FileOperation operation;
  posix::closeOnce(descriptor_);
  descriptor_ = -1;
}

bool BinaryFile::setPermissions(std::uint32_t permissions) noexcept {
  if (descriptor_ == -1) return false;
  if (permissions == 0) return true;
  return ::fchmod(descriptor_, static_cast<mode_t>(permissions & 07777)) == 0;
}

bool BinaryFile::isFileAt(const WideString& path) const noexcept {
  if (descriptor_ == -1) return false;
  struct stat open {};
  struct stat named {};
  try {
    if (::fstat(descriptor_, &open) != 0) return false;
    if (posix::sys().stat(toNarrow(path).c_str(), &named) != 0) return false;
  } catch (...) {
    return false;
  }
  return open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

}  // namespace vesk::orlo::osdep
