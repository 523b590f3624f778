// Paths on Windows. Queries and directory creation go through the wide
// calls (with the long-path form where a path needs it); deletion and
// renaming through the narrow calls DeleteFileA and MoveFileExA, whose text
// is in the system's ANSI code page, so a path that code page cannot spell
// is not reachable by them and fails.
#include "vesk/orlo/osdep/Path.h"

#include <windows.h>

#include <cerrno>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/common/PathText.h"
#include "vesk/orlo/osdep/windows/LongPath.h"
#include "vesk/orlo/osdep/windows/SystemCalls.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep::path {
namespace {

bool isValid(const WideString& path) noexcept {
  return !path.empty() && path.find(0) == WideString::kNotFound;
}

[[noreturn]] void invalidArgument(ErrorSite site) {
  exception::raise(exception::InvalidArgument(), site.file, site.line);
}

bool isSeparator(WChar unit) noexcept { return unit == L'\\' || unit == L'/'; }

// "\..." or "C:..." : a name that join takes as it stands.
bool isComplete(const WideString& name) noexcept {
  return !name.empty() && (isSeparator(name[0]) || (name.length() >= 2 && name[1] == L':'));
}

DWORD attributesOf(const WideString& path) {
  return windows::sys().getFileAttributesW(windows::widePathForSystem(path).c_str());
}

// Where the directories of a path begin: after "C:\", "\\server\share\",
// "\\?\C:\" or a leading separator.
std::uint32_t rootLength(const WideString& path) noexcept {
  std::uint32_t at = 0;
  if (path.length() >= 4 && path.substring(0, 4) == L"\\\\?\\") at = 4;
  if (path.length() >= at + 2 && path[at + 1] == L':') return at + 2;
  if (at == 0 && path.length() >= 2 && isSeparator(path[0]) && isSeparator(path[1])) {
    // Server and share name.
    std::uint32_t parts = 0;
    for (std::uint32_t i = 2; i < path.length(); ++i) {
      if (isSeparator(path[i]) && ++parts == 2) return i;
    }
    return path.length();
  }
  return at;
}

void makeDirectory(const WideString& path) {
  if (windows::sys().wmkdir(windows::widePathForSystem(path).c_str()) == 0) return;
  const int error = errno;
  if (error == EEXIST) {
    if (isDirectory(path)) return;
    windows::throwError(ENOTDIR, kPATH_CREATE_DIRECTORY);
  }
  windows::throwError(error, kPATH_CREATE_DIRECTORY);
}

bool deleteNarrow(const NarrowString& path) {
  const auto& calls = windows::sys();
  const DWORD attributes = calls.getFileAttributesA(path.c_str());
  const DWORD link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & link) == link) {
    return calls.removeDirectory(path.c_str()) != 0;
  }
  if (calls.deleteFile(path.c_str())) return true;
  const DWORD error = ::GetLastError();
  // A read-only file is made writable and tried once more.
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) &&
      calls.setFileAttributesA(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY}) &&
      calls.deleteFile(path.c_str())) {
    return true;
  }
  ::SetLastError(error);
  return false;
}

}  // namespace

WideString join(const WideString& directory, const WideString& name) {
  if (!directory.empty() && directory[directory.length() - 1] == L'/') {
    return common::joinPath(directory, name, L'/', isComplete(name));
  }
  return common::joinPath(directory, name, kSEPARATOR, isComplete(name));
}

WideString fileName(const WideString& path) {
  for (std::uint32_t i = path.length(); i > 0; --i) {
    if (isSeparator(path[i - 1]) || path[i - 1] == L':') return path.substring(i);
  }
  return path;
}

bool exists(const WideString& path) {
  if (!isValid(path)) invalidArgument(kPATH_EXISTS_INVALID);
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// A link is an entry like any other here: the attributes are those of the
// entry the name leads to, which is what the registry asks.
bool entryExists(const WideString& path) noexcept {
  if (!isValid(path)) return false;
  try {
    const DWORD attributes = attributesOf(path);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
  } catch (...) {
    return false;
  }
}

std::uint32_t permissionsOf(const WideString&) noexcept { return 0; }

// Renames and creations are written through by the file system's own log;
// there is no handle to force a directory with.
void syncDirectory(const WideString&) {}

bool isDirectory(const WideString& path) {
  if (!isValid(path)) return false;
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

WideString canonical(const WideString& path) noexcept {
  try {
    wchar_t buffer[32768];
    const DWORD length = ::GetFullPathNameW(path.c_str(), 32768, buffer, nullptr);
    if (length == 0 || length >= 32768) return path;
    return WideString(buffer);
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
  if (deleteNarrow(narrow)) return true;
  if (ignoreErrors) return false;
  windows::throwLastWinError(kPATH_DELETE);
}

void rename(const WideString& from, const WideString& to) {
  if (!isValid(from) || !isValid(to)) invalidArgument(kPATH_RENAME_INVALID);
  if (from == to) return;
  const NarrowString source = toNarrow(from);
  const NarrowString target = toNarrow(to);
  FileOperation operation;
  if (windows::sys().moveFileEx(source.c_str(), target.c_str(),
                                MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)) {
    return;
  }
  windows::throwLastWinError(kPATH_RENAME);
}

void createDirectories(const WideString& path) {
  if (isDirectory(path)) return;
  if (!isValid(path)) windows::throwError(ENOENT, kPATH_CREATE_DIRECTORY);
  for (std::uint32_t i = rootLength(path) + 1; i < path.length(); ++i) {
    if (isSeparator(path[i]) && !isSeparator(path[i - 1])) makeDirectory(path.substring(0, i));
  }
  makeDirectory(path);
}

}  // namespace vesk::orlo::osdep::path
