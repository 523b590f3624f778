// The real and the failing call tables, and the hooks by which the fault
// counter switches between them. A failing runtime call sets errno to the
// armed error; a failing system call sets the last error to its nearest
// Win32 number.
#include "vesk/orlo/osdep/windows/SystemCalls.h"

#include <direct.h>
#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "vesk/orlo/osdep/FileFaults.h"

namespace vesk::orlo::osdep::windows {
namespace {

// The errno value of a failed CreateFileW, as the runtime's own open would
// set it.
int errnoOf(DWORD error) noexcept {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE: return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION: return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return EEXIST;
    case ERROR_TOO_MANY_OPEN_FILES: return EMFILE;
    case ERROR_DISK_FULL: return ENOSPC;
    default: return EINVAL;
  }
}

// The runtime's _wsopen shares a file for reading and writing only, so it
// could not be renamed or deleted while open. The registry's files must be
// (as on POSIX), so the descriptor is made over a handle opened with every
// share mode: no sharing restriction at all. The handle is not inherited.
int openFile(const wchar_t* path, int flags, int) {
  DWORD access = 0;
  switch (flags & (_O_RDONLY | _O_WRONLY | _O_RDWR)) {
    case _O_WRONLY: access = GENERIC_WRITE; break;
    case _O_RDWR: access = GENERIC_READ | GENERIC_WRITE; break;
    default: access = GENERIC_READ; break;
  }
  const bool create = flags & _O_CREAT;
  const bool truncate = flags & _O_TRUNC;
  const DWORD disposition = create && truncate ? CREATE_ALWAYS
                            : create           ? OPEN_ALWAYS
                            : truncate         ? TRUNCATE_EXISTING
                                               : OPEN_EXISTING;
  HANDLE handle = ::CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = errnoOf(::GetLastError());
    return -1;
  }
  const int fd = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle),
                                   flags & (_O_RDONLY | _O_WRONLY | _O_RDWR | _O_BINARY));
  if (fd == -1) ::CloseHandle(handle);
  return fd;
}
int readFile(int fd, void* buffer, unsigned int count) { return ::_read(fd, buffer, count); }
int writeFile(int fd, const void* buffer, unsigned int count) { return ::_write(fd, buffer, count); }
long long seekFile(int fd, long long offset, int origin) { return ::_lseeki64(fd, offset, origin); }
int resizeFile(int fd, long long size) { return ::_chsize_s(fd, size); }
int statFile(const wchar_t* path, struct _stat64i32* status) { return ::_wstat64i32(path, status); }

const SystemCalls kReal = {
    openFile,   readFile,     writeFile,       seekFile,       resizeFile,       ::_commit,
    ::_close,   statFile,     ::_wmkdir,       ::_wfindfirst64i32, ::_wfindnext64i32, ::_findclose,
    ::_wfopen,  ::fwrite,     ::fgets,         ::ferror,       ::fflush,         ::fclose,
    ::MoveFileExA, ::DeleteFileA, ::RemoveDirectoryA, ::GetFileAttributesA, ::SetFileAttributesA,
    ::GetFileAttributesW,
};

// The fault being injected. Written only while no failing call runs.
std::atomic<int> gError{0};
std::atomic<std::size_t> gTornBytes{0};

template <class Result>
Result fail(Result result) {
  errno = gError.load(std::memory_order_relaxed);
  return result;
}

// The Win32 number closest to the armed errno value.
DWORD winErrorOf(int error) noexcept {
  switch (error) {
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case EACCES: return ERROR_ACCESS_DENIED;
    case ENOSPC: return ERROR_DISK_FULL;
    default: return ERROR_WRITE_FAULT;
  }
}

template <class Result>
Result failSystem(Result result) {
  ::SetLastError(winErrorOf(gError.load(std::memory_order_relaxed)));
  return result;
}

// A torn write puts the first bytes of the buffer in place, then fails.
int tornWrite(int fd, const void* buffer, unsigned int count) {
  const std::size_t torn = std::min<std::size_t>(count, gTornBytes.load(std::memory_order_relaxed));
  if (torn > 0) kReal.write(fd, buffer, static_cast<unsigned int>(torn));
  return fail(-1);
}

std::size_t tornFwrite(const void* buffer, std::size_t size, std::size_t count, std::FILE* stream) {
  const std::size_t torn = std::min(size * count, gTornBytes.load(std::memory_order_relaxed));
  if (torn > 0) {
    kReal.fwrite(buffer, 1, torn, stream);
    kReal.fflush(stream);
  }
  return fail<std::size_t>(0);
}

// Closing calls release the descriptor or stream even when they fail, as
// the runtime does, so a fault never leaks one.
const SystemCalls kFailing = {
    [](const wchar_t*, int, int) { return fail(-1); },
    [](int, void*, unsigned int) { return fail(-1); },
    tornWrite,
    [](int, long long, int) { return fail(-1LL); },
    [](int, long long) {
      errno = gError.load(std::memory_order_relaxed);
      return static_cast<int>(errno);
    },
    [](int) { return fail(-1); },
    [](int fd) {
      kReal.close(fd);
      return fail(-1);
    },
    [](const wchar_t*, struct _stat64i32*) { return fail(-1); },
    [](const wchar_t*) { return fail(-1); },
    [](const wchar_t*, struct _wfinddata64i32_t*) { return fail<intptr_t>(-1); },
    [](intptr_t, struct _wfinddata64i32_t*) { return fail(-1); },
    [](intptr_t search) {
      kReal.findclose(search);
      return fail(-1);
    },
    [](const wchar_t*, const wchar_t*) { return fail<std::FILE*>(nullptr); },
    tornFwrite,
    [](char*, int, std::FILE*) { return fail<char*>(nullptr); },
    [](std::FILE*) { return 1; },
    [](std::FILE*) { return fail(EOF); },
    [](std::FILE* stream) {
      kReal.fclose(stream);
      return fail(EOF);
    },
    [](LPCSTR, LPCSTR, DWORD) -> BOOL { return failSystem(FALSE); },
    [](LPCSTR) -> BOOL { return failSystem(FALSE); },
    [](LPCSTR) -> BOOL { return failSystem(FALSE); },
    [](LPCSTR) -> DWORD { return failSystem(INVALID_FILE_ATTRIBUTES); },
    [](LPCSTR, DWORD) -> BOOL { return failSystem(FALSE); },
    [](LPCWSTR) -> DWORD { return failSystem(INVALID_FILE_ATTRIBUTES); },
};

std::atomic<const SystemCalls*> gActive{&kReal};

}  // namespace

const SystemCalls& sys() noexcept { return *gActive.load(std::memory_order_relaxed); }

}  // namespace vesk::orlo::osdep::windows

namespace vesk::orlo::osdep::fileFaults::detail {

void failSystemCalls(int error, std::size_t tornBytes) noexcept {
  windows::gError.store(error, std::memory_order_relaxed);
  windows::gTornBytes.store(tornBytes, std::memory_order_relaxed);
  windows::gActive.store(&windows::kFailing, std::memory_order_relaxed);
}

void restoreSystemCalls() noexcept {
  windows::gActive.store(&windows::kReal, std::memory_order_relaxed);
}

// Ends at once, as a crash does: no exit handlers, no stream flushes; the
// system closes the handles and abandons a held mutex.
void exitProcess(int exitStatus) noexcept {
  ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(exitStatus));
  ::ExitProcess(static_cast<UINT>(exitStatus));
}

}  // namespace vesk::orlo::osdep::fileFaults::detail
