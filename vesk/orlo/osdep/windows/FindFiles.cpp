// Directory listing through _wfindfirst64i32 / _wfindnext64i32. The system
// is asked for every entry ("*") and the names are matched here: the
// system's own matching also tries each file's short 8.3 name, so a pattern
// could find a name that does not match it. Names match ignoring case, as
// the file system compares them.
#include "vesk/orlo/osdep/FindFiles.h"

#include <cerrno>

#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/common/Wildcard.h"
#include "vesk/orlo/osdep/windows/LongPath.h"
#include "vesk/orlo/osdep/windows/SystemCalls.h"
#include "vesk/orlo/osdep/windows/WindowsFailure.h"

namespace vesk::orlo::osdep {
namespace {

constexpr WChar kSeparator = path::kSEPARATOR;
constexpr bool kIgnoreCase = true;

// Closes the search on every path out.
class Search {
 public:
  explicit Search(intptr_t handle) noexcept : handle_(handle) {}
  ~Search() {
    if (handle_ != -1) windows::sys().findclose(handle_);
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  intptr_t get() const noexcept { return handle_; }

 private:
  intptr_t handle_;
};

bool isDotEntry(const wchar_t* name) noexcept {
  return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0));
}

// Whether the entry passes the flags, and the text it contributes. Symbolic
// links are listed as themselves: their targets are not read.
bool admit(const WideString& directory, const _wfinddata64i32_t& found, std::uint32_t flags,
           WideString& out) {
  const bool dots = isDotEntry(found.name);
  if (dots && !(flags & kFIND_DOT_ENTRIES)) return false;
  if (!dots && (found.attrib & _A_HIDDEN) && !(flags & kFIND_HIDDEN)) return false;
  if ((flags & kFIND_DIRECTORIES) && !(found.attrib & _A_SUBDIR)) return false;
  out = directory;
  out += found.name;
  if (flags & kFIND_DIRECTORIES) out += kSeparator;
  return true;
}

}  // namespace

std::vector<WideString> FindFiles(const WideString& pattern, std::uint32_t flags,
                                  bool ignoreMissing) {
  // The directory part ends at the last separator of either kind; results
  // start with it as the caller wrote it.
  std::uint32_t split = pattern.length();
  while (split > 0 && pattern[split - 1] != L'/' && pattern[split - 1] != kSeparator) --split;
  const WideString directory = pattern.substring(0, split);
  const WideString namePattern = pattern.substring(split);
  WideString everything(directory);
  everything += L"*";

  _wfinddata64i32_t found{};
  const WideString systemPattern = windows::widePathForSystem(everything);
  Search search(windows::sys().wfindfirst(systemPattern.c_str(), &found));
  if (search.get() == -1) {
    const int error = errno;
    const bool present = directory.empty() || path::isDirectory(directory);
    if (!present) {
      if (ignoreMissing) return {};
      windows::throwWinError(ERROR_PATH_NOT_FOUND, kFINDFILES);
    }
    if (error == ENOENT) return {};
    windows::throwError(error, kFINDFILES);
  }
  std::vector<WideString> results;
  WideString entry;
  do {
    if (!common::matchesWildcard(namePattern, WideString(found.name), kIgnoreCase)) continue;
    if (admit(directory, found, flags, entry)) results.push_back(entry);
  } while (windows::sys().wfindnext(search.get(), &found) == 0);
  if (errno != ENOENT) windows::throwLastError(kFINDFILES);
  return results;
}

}  // namespace vesk::orlo::osdep
