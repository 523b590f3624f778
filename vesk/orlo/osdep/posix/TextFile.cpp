#include "vesk/orlo/osdep/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/RobustCalls.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep {
namespace {

// The stream modes by mode number, and the open flags of the modes that
// write: those are opened as descriptors first, so that a symbolic link is
// never followed. "e" opens the descriptor close-on-exec.
struct StreamMode {
  const char* stream;
  int flags;  // 0: opened by the stream itself
};
constexpr StreamMode kModes[] = {
    {"re", 0},
    {"r+e", 0},
    {"w", O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW},
    {"w+", O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW},
    {"a", O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW},
    {"a+", O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW},
    {"w", O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW},
};
constexpr std::uint32_t kModeCount = sizeof kModes / sizeof kModes[0];
constexpr mode_t kCreatePermissions = 0666;

std::FILE* openStream(const char* path, const StreamMode& mode) {
  if (mode.flags == 0) return posix::sys().fopen(path, mode.stream);
  const int fd = posix::robustOpen(path, mode.flags, kCreatePermissions);
  if (fd == -1) return nullptr;
  std::FILE* stream = ::fdopen(fd, mode.stream);
  if (stream == nullptr) {
    const int error = errno;
    posix::closeOnce(fd);
    errno = error;
  }
  return stream;
}

// The buffer that getline grows, freed on every path out.
struct LineBuffer {
  ~LineBuffer() { std::free(data); }
  char* data = nullptr;
  size_t size = 0;
};

}  // namespace

TextFile::~TextFile() { close(); }

void TextFile::open(const WideString& path, std::uint32_t mode) {
  if (isOpen() || mode >= kModeCount) posix::throwError(EINVAL, kTEXTFILE_OPEN);
  const NarrowString narrow = toNarrow(path);
  FileOperation operation;
  std::FILE* stream = openStream(narrow.c_str(), kModes[mode]);
  if (stream == nullptr) posix::throwLastError(kTEXTFILE_OPEN);
  stream_ = stream;
}

std::int64_t TextFile::write(const NarrowString& text) {
  if (!isOpen()) return -1;
  FileOperation operation;
  const size_t written = posix::sys().fwrite(text.data(), 1, text.length(), stream_);
  return written == text.length() ? static_cast<std::int64_t>(written) : -1;
}

int TextFile::flush() {
  if (!isOpen()) return -1;
  FileOperation operation;
  return posix::sys().fflush(stream_) == 0 ? 0 : -1;
}

void TextFile::sync() {
  if (!isOpen()) return;
  FileOperation operation;
  if (posix::robustFdatasync(::fileno(stream_)) == -1) posix::throwLastError(kTEXTFILE_SYNC);
}

bool TextFile::readLine(NarrowString& line) {
  line.clear();
  if (!isOpen()) return false;
  FileOperation operation;
  LineBuffer buffer;
  errno = 0;
  ssize_t n = posix::sys().getline(&buffer.data, &buffer.size, stream_);
  if (n == -1) {
    const int error = errno;
    if (posix::sys().ferror(stream_)) posix::throwError(error != 0 ? error : EIO, kTEXTFILE_READLINE);
    return false;
  }
  if (n > 0 && buffer.data[n - 1] == '\n') --n;
  if (n > 0 && buffer.data[n - 1] == '\r') --n;
  line.assign(buffer.data, static_cast<std::uint32_t>(n));
  return true;
}

bool TextFile::setPermissions(std::uint32_t permissions) noexcept {
  if (!isOpen()) return false;
  if (permissions == 0) return true;
  return ::fchmod(::fileno(stream_), static_cast<mode_t>(permissions & 07777)) == 0;
}

void TextFile::close() noexcept {
  if (!isOpen()) return;
  FileOperation operation;
  posix::sys().fclose(stream_);
  stream_ = nullptr;
}

}  // namespace vesk::orlo::osdep
