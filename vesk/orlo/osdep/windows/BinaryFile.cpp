// BinaryFile on a runtime descriptor: _wsopen in binary mode without sharing
// restrictions and not inherited by child processes, _read and _write in
// pieces the runtime accepts, _lseeki64, _chsize_s and _commit.
#include "vesk/orlo/osdep/BinaryFile.h"

#include <fcntl.h>
#include <windows.h>
#include <io.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>

#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/windows/LongPath.h"
#include "vesk/orlo/osdep/windows/SystemCalls.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

constexpr std::size_t kMaxTransfer = 0xFFFFFFFFu;
// The runtime moves at most INT_MAX bytes per call.
constexpr std::size_t kPiece = 0x40000000u;

int openFlags(std::uint32_t mode) noexcept {
  int flags = _O_BINARY | _O_NOINHERIT;
  switch (mode & 3u) {
    case BinaryFile::kREAD: flags |= _O_RDONLY; break;
    case BinaryFile::kWRITE: flags |= _O_WRONLY; break;
    case BinaryFile::kREADWRITE: flags |= _O_RDWR; break;
    default: return -1;
  }
  if (mode & BinaryFile::kTRUNCATE) flags |= _O_TRUNC;
  if (mode & BinaryFile::kCREATE) flags |= _O_CREAT;
  return flags;
}

// The identity of an open file: volume and file index.
bool identify(HANDLE handle, BY_HANDLE_FILE_INFORMATION& info) {
  return handle != INVALID_HANDLE_VALUE && ::GetFileInformationByHandle(handle, &info) != 0;
}

}  // namespace

BinaryFile::~BinaryFile() { close(); }

void BinaryFile::open(const WideString& path, std::uint32_t mode) {
  const int flags = openFlags(mode);
  if (isOpen() || flags == -1) windows::throwError(EINVAL, kBINARYFILE_OPEN);
  const WideString systemPath = windows::widePathForSystem(path);
  FileOperation operation;
  const int fd = windows::sys().wsopen(systemPath.c_str(), flags, _S_IREAD | _S_IWRITE);
  if (fd == -1) windows::throwLastError(kBINARYFILE_OPEN);
  descriptor_ = fd;
}

std::int64_t BinaryFile::read(void* buffer, std::size_t count) {
  if (count > kMaxTransfer) {
    exception::raise(exception::OutOfRange(), kBINARYFILE_READ_RANGE.file,
                     kBINARYFILE_READ_RANGE.line);
  }
  if (!isOpen()) return -1;
  FileOperation operation;
  auto* bytes = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const std::size_t piece = count - done < kPiece ? count - done : kPiece;
    const int n = windows::sys().read(descriptor_, bytes + done, static_cast<unsigned int>(piece));
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  return static_cast<std::int64_t>(done);
}

std::int64_t BinaryFile::write(const void* buffer, std::size_t count) {
  if (count > kMaxTransfer) {
    exception::raise(exception::OutOfRange(), kBINARYFILE_WRITE_RANGE.file,
                     kBINARYFILE_WRITE_RANGE.line);
  }
  if (!isOpen()) return -1;
  FileOperation operation;
  const auto* bytes = static_cast<const char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const std::size_t piece = count - done < kPiece ? count - done : kPiece;
    const int n = windows::sys().write(descriptor_, bytes + done, static_cast<unsigned int>(piece));
    if (n <= 0) {
      // A write that makes no progress would repeat for ever.
      if (n == 0) errno = ENOSPC;
      return -1;
    }
    done += static_cast<std::size_t>(n);
  }
  return static_cast<std::int64_t>(count);
}

std::int32_t BinaryFile::seek(std::int32_t offset, int origin) noexcept {
  if (!isOpen()) return -1;
  FileOperation operation;
  const long long position = windows::sys().lseeki64(descriptor_, offset, origin);
  if (position < 0 || position > INT32_MAX) return -1;
  return static_cast<std::int32_t>(position);
}

void BinaryFile::setSize(std::int32_t size) {
  if (!isOpen()) return;
  FileOperation operation;
  const int error = windows::sys().chsize(descriptor_, size);
  if (error != 0) windows::throwError(error, kBINARYFILE_SETSIZE);
}

void BinaryFile::flush() {
  if (!isOpen()) return;
  FileOperation operation;
  if (windows::sys().commit(descriptor_) == -1) windows::throwLastError(kBINARYFILE_FLUSH);
}

// Files take the access of the directory they are made in; there are no
// permission bits to give them.
bool BinaryFile::setPermissions(std::uint32_t) noexcept { return isOpen(); }

void BinaryFile::close() noexcept {
  if (!isOpen()) return;
  FileOperation operation;
  windows::sys().close(descriptor_);
  descriptor_ = -1;
}

bool BinaryFile::isFileAt(const WideString& path) const noexcept {
  if (descriptor_ == -1) return false;
  try {
    BY_HANDLE_FILE_INFORMATION open{};
    BY_HANDLE_FILE_INFORMATION named{};
    if (!identify(reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor_)), open)) return false;
    const WideString systemPath = windows::widePathForSystem(path);
    // Opened for no access, sharing everything: only its identity is read.
    HANDLE handle = ::CreateFileW(systemPath.c_str(), 0,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const bool known = identify(handle, named);
    if (handle != INVALID_HANDLE_VALUE) ::CloseHandle(handle);
    return known && open.dwVolumeSerialNumber == named.dwVolumeSerialNumber &&
           open.nFileIndexHigh == named.nFileIndexHigh && open.nFileIndexLow == named.nFileIndexLow;
  } catch (...) {
    return false;
  }
}

}  // namespace vesk::orlo::osdep
