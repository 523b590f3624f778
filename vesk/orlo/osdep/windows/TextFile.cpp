// TextFile on a runtime stream opened with _wfopen. The streams are binary,
// as on POSIX: the bytes written are the bytes on disk, so the files the
// registry writes (which end their lines with "\r\n" themselves) are the
// same on every platform. readLine takes "\n" and "\r\n" as line ends.
#include "vesk/orlo/osdep/TextFile.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/windows/LongPath.h"
#include "vesk/orlo/osdep/windows/SystemCalls.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

// The last mode creates the file only when nothing is at the path: it is
// opened as a descriptor first, as the runtime's streams know no such mode.
constexpr const wchar_t* kModes[] = {L"rb", L"r+b", L"wb", L"w+b", L"ab", L"a+b", L"wb"};

std::FILE* openStream(const WideString& systemPath, std::uint32_t mode) {
  if (mode != TextFile::kCREATENEW) return windows::sys().wfopen(systemPath.c_str(), kModes[mode]);
  const int fd = windows::sys().wsopen(systemPath.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY,
                                       _S_IREAD | _S_IWRITE);
  if (fd == -1) return nullptr;
  std::FILE* stream = ::_fdopen(fd, "wb");
  if (stream == nullptr) windows::sys().close(fd);
  return stream;
}
constexpr std::uint32_t kModeCount = sizeof kModes / sizeof kModes[0];

}  // namespace

TextFile::~TextFile() { close(); }

void TextFile::open(const WideString& path, std::uint32_t mode) {
  if (isOpen() || mode >= kModeCount) windows::throwError(EINVAL, kTEXTFILE_OPEN);
  const WideString systemPath = windows::widePathForSystem(path);
  FileOperation operation;
  std::FILE* stream = openStream(systemPath, mode);
  if (stream == nullptr) windows::throwLastError(kTEXTFILE_OPEN);
  stream_ = stream;
}

std::int64_t TextFile::write(const NarrowString& text) {
  if (!isOpen()) return -1;
  FileOperation operation;
  const std::size_t written = windows::sys().fwrite(text.data(), 1, text.length(), stream_);
  return written == text.length() ? static_cast<std::int64_t>(written) : -1;
}

int TextFile::flush() {
  if (!isOpen()) return -1;
  FileOperation operation;
  return windows::sys().fflush(stream_) == 0 ? 0 : -1;
}

void TextFile::sync() {
  if (!isOpen()) return;
  FileOperation operation;
  if (windows::sys().commit(::_fileno(stream_)) == -1) windows::throwLastError(kTEXTFILE_SYNC);
}

// Files take the access of the directory they are made in; there are no
// permission bits to give them.
bool TextFile::setPermissions(std::uint32_t) noexcept { return isOpen(); }

bool TextFile::readLine(NarrowString& line) {
  line.clear();
  if (!isOpen()) return false;
  FileOperation operation;
  char piece[256];
  bool any = false;
  while (true) {
    errno = 0;
    if (windows::sys().fgets(piece, sizeof piece, stream_) == nullptr) {
      const int error = errno;
      if (windows::sys().ferror(stream_)) {
        line.clear();
        windows::throwError(error != 0 ? error : EIO, kTEXTFILE_READLINE);
      }
      break;
    }
    any = true;
    std::uint32_t n = static_cast<std::uint32_t>(std::strlen(piece));
    const bool ended = n > 0 && piece[n - 1] == '\n';
    if (ended) --n;
    line.append(piece, n);
    if (ended) break;
  }
  if (line.length() > 0 && line[line.length() - 1] == '\r') line.resize(line.length() - 1);
  return any;
}

void TextFile::close() noexcept {
  if (!isOpen()) return;
  FileOperation operation;
  windows::sys().fclose(stream_);
  stream_ = nullptr;
}

}  // namespace vesk::orlo::osdep
