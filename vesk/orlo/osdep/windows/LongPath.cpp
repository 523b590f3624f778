#include "vesk/orlo/osdep/windows/LongPath.h"

#include <windows.h>

namespace vesk::orlo::osdep::windows {
namespace {

constexpr std::uint32_t kLongPathLength = MAX_PATH;

bool startsWith(const WideString& text, const wchar_t* prefix) {
  const std::uint32_t n = WideString::measure(prefix);
  return text.length() >= n && text.substring(0, n) == prefix;
}

// The full path with "\" separators and no "." or ".." parts, or the path
// as it stands when the system cannot resolve it.
WideString resolved(const WideString& path) {
  const DWORD needed = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return path;
  WideString full;
  full.resize(needed);
  const DWORD written = ::GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
  if (written == 0 || written >= needed) return path;
  full.resize(written);
  return full;
}

}  // namespace

WideString widePathForSystem(const WideString& path) {
  if (path.length() < kLongPathLength || startsWith(path, L"\\\\?\\")) return path;
  const WideString full = resolved(path);
  WideString out;
  if (startsWith(full, L"\\\\")) {
    out = L"\\\\?\\UNC\\";
    out += full.substring(2);
  } else if (full.length() >= 3 && full[1] == L':') {
    out = L"\\\\?\\";
    out += full;
  } else {
    return path;
  }
  return out;
}

}  // namespace vesk::orlo::osdep::windows
