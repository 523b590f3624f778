// The real and the failing system-call tables, and the hooks by which the
// fault counter switches between them.
#include "vesk/orlo/osdep/posix/SystemCalls.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "vesk/orlo/osdep/FileFaults.h"

namespace vesk::orlo::osdep::posix {
namespace {

int openFile(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

SystemCalls gReal = {
    .open = openFile,
    .read = ::read,
    .write = ::write,
    .lseek = ::lseek,
    .ftruncate = ::ftruncate,
    .fdatasync = ::fdatasync,
    .close = ::close,
    .rename = ::rename,
    .unlink = ::unlink,
    .stat = ::stat,
    .lstat = ::lstat,
    .mkdir = ::mkdir,
    .opendir = ::opendir,
    .readdir = ::readdir,
    .closedir = ::closedir,
    .readlink = ::readlink,
    .fopen = ::fopen,
    .fwrite = ::fwrite,
    .getline = ::getline,
    .ferror = ::ferror,
    .fflush = ::fflush,
    .fclose = ::fclose,
};

// The fault being injected. Written only while no failing call runs.
std::atomic<int> gError{0};
std::atomic<std::size_t> gTornBytes{0};

template <class Result>
Result fail(Result result) {
  errno = gError.load(std::memory_order_relaxed);
  return result;
}

// A torn write puts the first bytes of the buffer in place, then fails.
ssize_t tornWrite(int fd, const void* buffer, size_t count) {
  const std::size_t torn = std::min(count, gTornBytes.load(std::memory_order_relaxed));
  if (torn > 0) gReal.write(fd, buffer, torn);
  return fail<ssize_t>(-1);
}

size_t tornFwrite(const void* buffer, size_t size, size_t count, std::FILE* stream) {
  const std::size_t torn = std::min(size * count, gTornBytes.load(std::memory_order_relaxed));
  if (torn > 0) {
    gReal.fwrite(buffer, 1, torn, stream);
    gReal.fflush(stream);
  }
  return fail<size_t>(0);
}

// Closing calls release the descriptor or stream even when they fail, as
// the system does, so a fault never leaks one.
const SystemCalls kFailing = {
    .open = [](const char*, int, mode_t) { return fail(-1); },
    .read = [](int, void*, size_t) { return fail<ssize_t>(-1); },
    .write = tornWrite,
    .lseek = [](int, off_t, int) { return fail<off_t>(-1); },
    .ftruncate = [](int, off_t) { return fail(-1); },
    .fdatasync = [](int) { return fail(-1); },
    .close =
        [](int fd) {
          gReal.close(fd);
          return fail(-1);
        },
    .rename = [](const char*, const char*) { return fail(-1); },
    .unlink = [](const char*) { return fail(-1); },
    .stat = [](const char*, struct stat*) { return fail(-1); },
    .lstat = [](const char*, struct stat*) { return fail(-1); },
    .mkdir = [](const char*, mode_t) { return fail(-1); },
    .opendir = [](const char*) { return fail<DIR*>(nullptr); },
    .readdir = [](DIR*) { return fail<struct dirent*>(nullptr); },
    .closedir =
        [](DIR* directory) {
          gReal.closedir(directory);
          return fail(-1);
        },
    .readlink = [](const char*, char*, size_t) { return fail<ssize_t>(-1); },
    .fopen = [](const char*, const char*) { return fail<std::FILE*>(nullptr); },
    .fwrite = tornFwrite,
    .getline = [](char**, size_t*, std::FILE*) { return fail<ssize_t>(-1); },
    .ferror = [](std::FILE*) { return 1; },
    .fflush = [](std::FILE*) { return fail(EOF); },
    .fclose =
        [](std::FILE* stream) {
          gReal.fclose(stream);
          return fail(EOF);
        },
};

std::atomic<const SystemCalls*> gActive{&gReal};

}  // namespace

const SystemCalls& sys() noexcept { return *gActive.load(std::memory_order_relaxed); }

SystemCalls& realSystemCalls() noexcept { return gReal; }

}  // namespace vesk::orlo::osdep::posix

namespace vesk::orlo::osdep::fileFaults::detail {

void failSystemCalls(int error, std::size_t tornBytes) noexcept {
  posix::gError.store(error, std::memory_order_relaxed);
  posix::gTornBytes.store(tornBytes, std::memory_order_relaxed);
  posix::gActive.store(&posix::kFailing, std::memory_order_relaxed);
}

void restoreSystemCalls() noexcept {
  posix::gActive.store(&posix::gReal, std::memory_order_relaxed);
}

void exitProcess(int exitStatus) noexcept { ::_exit(exitStatus); }

}  // namespace vesk::orlo::osdep::fileFaults::detail
