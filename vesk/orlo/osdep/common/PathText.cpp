#include "vesk/orlo/osdep/common/PathText.h"

namespace vesk::orlo::osdep::common {

WideString joinPath(const WideString& directory, const WideString& name, WChar separator,
                    bool nameIsComplete) {
  if (nameIsComplete || directory.empty()) return name;
  WideString joined(directory);
  if (joined[joined.length() - 1] != separator) joined.append(separator);
  joined.append(name);
  return joined;
}

std::uint32_t nameStart(const WideString& path, WChar separator) noexcept {
  for (std::uint32_t i = path.length(); i > 0; --i) {
    if (path[i - 1] == separator) return i;
  }
  return 0;
}

WideString lastComponent(const WideString& path, WChar separator) {
  return path.substring(nameStart(path, separator));
}

WideString directoryPart(const WideString& path, WChar separator) {
  return path.substring(0, nameStart(path, separator));
}

}  // namespace vesk::orlo::osdep::common
