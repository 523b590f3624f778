#include "vesk/orlo/osdep/FindFiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/common/PathText.h"
#include "vesk/orlo/osdep/common/Wildcard.h"
#include "vesk/orlo/osdep/posix/PosixFailure.h"
#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::orlo::osdep {
namespace {

constexpr WChar kSeparator = path::kSEPARATOR;
// POSIX names are case-sensitive, so the wildcards are too.
constexpr bool kIgnoreCase = false;

// Closes the directory stream on every path out.
class DirectoryStream {
 public:
  explicit DirectoryStream(DIR* stream) noexcept : stream_(stream) {}
  ~DirectoryStream() {
    if (stream_ != nullptr) posix::sys().closedir(stream_);
  }
  DirectoryStream(const DirectoryStream&) = delete;
  DirectoryStream& operator=(const DirectoryStream&) = delete;
  DIR* get() const noexcept { return stream_; }

 private:
  DIR* stream_;
};

bool isDotEntry(const char* name) noexcept {
  return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

// Whether the entry `name` passes the flags, and the text it contributes.
bool admit(const WideString& directory, const char* rawName, const WideString& name,
           std::uint32_t flags, WideString& out) {
  const bool dots = isDotEntry(rawName);
  if (dots && !(flags & kFIND_DOT_ENTRIES)) return false;
  if (!dots && rawName[0] == '.' && !(flags & kFIND_HIDDEN)) return false;
  out = directory;
  out += name;
  if (flags & kFIND_DIRECTORIES) {
    if (!path::isDirectory(out)) return false;
    out += kSeparator;
  }
  if (flags & kFIND_LINK_TARGETS) {
    const NarrowString narrow = toNarrow(out);
    struct stat status {};
    if (posix::sys().lstat(narrow.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
      char target[4096];
      const ssize_t n = posix::sys().readlink(narrow.c_str(), target, sizeof target);
      if (n > 0) {
        const WideString text = toWide(NarrowString(target, static_cast<std::uint32_t>(n)));
        out = text[0] == kSeparator ? WideString() : directory;
        out += text;
      }
    }
  }
  return true;
}

}  // namespace

std::vector<WideString> FindFiles(const WideString& pattern, std::uint32_t flags,
                                  bool ignoreMissing) {
  const WideString directory = common::directoryPart(pattern, kSeparator);
  const WideString namePattern = common::lastComponent(pattern, kSeparator);
  const NarrowString opened = toNarrow(directory.empty() ? WideString(u".") : directory);

  DirectoryStream stream(posix::sys().opendir(opened.c_str()));
  if (stream.get() == nullptr) {
    const int error = errno;
    if ((error == ENOENT || error == ENOTDIR) && ignoreMissing) return {};
    posix::throwError(error, kFINDFILES);
  }
  std::vector<WideString> results;
  WideString entry;
  while (true) {
    errno = 0;
    const struct dirent* found = posix::sys().readdir(stream.get());
    if (found == nullptr) break;
    const WideString name = toWide(NarrowString(found->d_name));
    if (!common::matchesWildcard(namePattern, name, kIgnoreCase)) continue;
    if (admit(directory, found->d_name, name, flags, entry)) results.push_back(entry);
  }
  if (errno != 0) posix::throwLastError(kFINDFILES);
  return results;
}

}  // namespace vesk::orlo::osdep
