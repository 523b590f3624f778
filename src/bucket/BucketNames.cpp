// Name derivation for buckets. Names split as the support library's
// tokenizer splits them (empty components skipped), in one pass.
#include "bucket/BucketNames.h"

#include <vector>

#include "vesk/orlo/StringCase.h"

namespace vesk::tarnhive {

using orlo::WideString;

std::vector<NameComponent> componentsOf(const WideString& fullName) {
  std::vector<NameComponent> components;
  const std::uint32_t n = fullName.length();
  std::uint32_t at = 0;
  while (at < n) {
    while (at < n && fullName[at] == kNameSeparator) ++at;
    const std::uint32_t begin = at;
    while (at < n && fullName[at] != kNameSeparator) ++at;
    if (at > begin) components.push_back({begin, at});
  }
  return components;
}

WideString shortNameOf(const WideString& fullName) {
  const std::vector<NameComponent> components = componentsOf(fullName);
  if (components.empty()) return WideString();
  const NameComponent last = components.back();
  return fullName.substring(last.begin, last.end - last.begin);
}

WideString parentNameOf(const WideString& fullName) {
  const std::vector<NameComponent> components = componentsOf(fullName);
  if (components.size() < 2) return WideString(kRootName);
  WideString parent;
  for (std::size_t i = 0; i + 1 < components.size(); ++i) {
    parent += kNameSeparator;
    parent += fullName.substring(components[i].begin, components[i].end - components[i].begin);
  }
  return parent;
}

WideString childNameOf(const WideString& fullName, const WideString& childShortName) {
  WideString child(fullName == kRootName ? WideString() : fullName);
  child += kNameSeparator;
  child += childShortName;
  return child;
}

bool isRootName(const WideString& fullName) noexcept {
  return orlo::compareIgnoreCase(fullName, kRootName) == 0;
}

}  // namespace vesk::tarnhive
