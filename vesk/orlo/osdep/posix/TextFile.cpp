#include "vesk/orlo/osdep/TextFile.h"

#include <cerrno>
#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/FileFaults.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep {
namespace {

// The stream modes by mode number; "e" opens the descriptor close-on-exec.
constexpr const char* kModes[] = {"re", "r+e", "we", "w+e", "ae", "a+e"};
constexpr std::uint32_t kModeCount = sizeof kModes / sizeof kModes[0];

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
  std::FILE* stream = posix::sys().fopen(narrow.c_str(), kModes[mode]);
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

void TextFile::close() noexcept {
  if (!isOpen()) return;
  FileOperation operation;
  posix::sys().fclose(stream_);
  stream_ = nullptr;
}

}  // namespace vesk::orlo::osdep
