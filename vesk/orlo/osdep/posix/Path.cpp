#include "vesk/orlo/osdep/Path.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/common/PathText.h"
#include "vesk/orlo/osdep/posix/CrossDeviceMove.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/RobustCalls.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep::path {
namespace {

// A 0 unit would cut the path short at the system's interface.
bool isValid(const WideString& path) noexcept {
  return !path.empty() && path.find(0) == WideString::kNotFound;
}

[[noreturn]] void invalidArgument(ErrorSite site) {
  exception::raise(exception::InvalidArgument(), site.file, site.line);
}

bool statFollowing(const WideString& path, struct stat& status) {
  const NarrowString narrow = toNarrow(path);
  return posix::sys().stat(narrow.c_str(), &status) == 0;
}

// Makes one directory; an existing directory counts as made.
// Makes one directory; true when it was made, false when it stood already.
bool makeDirectory(const NarrowString& path) {
  if (posix::sys().mkdir(path.c_str(), 0777) == 0) return true;
  const int error = errno;
  struct stat status {};
  if (error == EEXIST && posix::sys().stat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return false;
    posix::throwError(ENOTDIR, kPATH_CREATE_DIRECTORY);
  }
  posix::throwError(error, kPATH_CREATE_DIRECTORY);
}

}  // namespace

WideString join(const WideString& directory, const WideString& name) {
  const bool complete = !name.empty() && name[0] == kSEPARATOR;
  return common::joinPath(directory, name, kSEPARATOR, complete);
}

WideString fileName(const WideString& path) { return common::lastComponent(path, kSEPARATOR); }

bool exists(const WideString& path) {
  if (!isValid(path)) invalidArgument(kPATH_EXISTS_INVALID);
  struct stat status {};
  return statFollowing(path, status) && !S_ISDIR(status.st_mode);
}

bool entryExists(const WideString& path) noexcept {
  if (!isValid(path)) return false;
  try {
    const NarrowString narrow = toNarrow(path);
    struct stat status {};
    return posix::sys().lstat(narrow.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
  } catch (...) {
    return false;
  }
}

std::uint32_t permissionsOf(const WideString& path) noexcept {
  if (!isValid(path)) return 0;
  try {
    struct stat status {};
    if (!statFollowing(path, status)) return 0;
    return static_cast<std::uint32_t>(status.st_mode & 07777);
  } catch (...) {
    return 0;
  }
}

bool isDirectory(const WideString& path) {
  struct stat status {};
  return isValid(path) && statFollowing(path, status) && S_ISDIR(status.st_mode);
}

WideString canonical(const WideString& path) noexcept {
  try {
    char* resolved = ::realpath(toNarrow(path).c_str(), nullptr);
    if (resolved == nullptr) return path;
    WideString result = toWide(NarrowString(resolved));
    std::free(resolved);
    return result;
  } catch (...) {
    return path;
  }
}

bool deleteFile(const WideString& path, bool ignoreErrors) {
  if (!isValid(path)) {
    if (ignoreErrors) return false;
    invalidArgument(kPATH_DELETE_INVALID);
  }
  const NarrowString narrow = toNarrow(path);
  FileOperation operation;
  if (posix::sys().unlink(narrow.c_str()) == 0) return true;
  if (ignoreErrors) return false;
  posix::throwLastError(kPATH_DELETE);
}

void rename(const WideString& from, const WideString& to) {
  if (!isValid(from) || !isValid(to)) invalidArgument(kPATH_RENAME_INVALID);
  if (from == to) return;
  const NarrowString source = toNarrow(from);
  const NarrowString target = toNarrow(to);
  FileOperation operation;
  if (posix::sys().rename(source.c_str(), target.c_str()) == 0) return;
  if (errno != EXDEV) posix::throwLastError(kPATH_RENAME);
  posix::moveAcrossDevices(source, target);
}

void syncDirectory(const WideString& path) {
  if (!isValid(path)) invalidArgument(kPATH_RENAME_INVALID);
  const NarrowString narrow = toNarrow(path);
  FileOperation operation;
  const int fd = posix::robustOpen(narrow.c_str(), O_RDONLY | O_DIRECTORY, 0);
  if (fd == -1) posix::throwLastError(kPATH_SYNC_DIRECTORY);
  const int result = posix::robustFdatasync(fd);
  const int error = errno;
  posix::closeOnce(fd);
  if (result == -1) posix::throwError(error, kPATH_SYNC_DIRECTORY);
}

void createDirectories(const WideString& path) {
  if (isDirectory(path)) return;
  if (!isValid(path)) posix::throwError(ENOENT, kPATH_CREATE_DIRECTORY);
  const NarrowString narrow = toNarrow(path);
  // Each directory made is forced into its parent: files forced to disk
  // inside a directory whose own entry was lost would be lost with it.
  const auto make = [](const NarrowString& directory) {
    if (!makeDirectory(directory)) return;
    std::uint32_t slash = directory.length();
    while (slash > 0 && directory[slash - 1] != '/') --slash;
    const NarrowString parent = slash <= 1 ? NarrowString("/") : directory.substring(0, slash - 1);
    syncDirectory(toWide(slash == 0 ? NarrowString(".") : parent));
  };
  for (std::uint32_t i = 1; i < narrow.length(); ++i) {
    if (narrow[i] == '/' && narrow[i - 1] != '/') make(narrow.substring(0, i));
  }
  make(narrow);
}

}  // namespace vesk::orlo::osdep::path
